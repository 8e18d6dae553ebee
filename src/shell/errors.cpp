#include "shell/errors.h"

namespace kelvo {

KelvoError::KelvoError(const std::string& exception_name, const std::string& message)
    : exception_name_(exception_name) {
  buffer_ << exception_name << ": " << message;
}

// `ate` puts the write position after the copied text; without it the next `<<` would overwrite
// it.
KelvoError::KelvoError(const KelvoError& other)
    : std::exception(other),
      buffer_(other.message(), std::ios_base::out | std::ios_base::ate),
      exception_name_(other.exception_name_) {}

const std::string& KelvoError::message() const {
  message_ = buffer_.str();
  return message_;
}

const char* KelvoError::what() const noexcept {
  return message().c_str();
}

}  // namespace kelvo
