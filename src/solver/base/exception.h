#pragma once

#include <exception>
#include <string>
#include <utility>

namespace ordax {

/// Root of all failures of the solver. Each class has an `error` of its own derived from it; the
/// flat interface catches this type and keeps the text.
class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}

  const char* what() const noexcept override { return message_.c_str(); }
  const std::string& message() const { return message_; }

 private:
  std::string message_;
};

}  // namespace ordax
