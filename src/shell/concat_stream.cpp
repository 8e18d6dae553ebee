#include "shell/concat_stream.h"

#include <algorithm>
#include <filesystem>
#include <ios>
#include <system_error>
#include <utility>

#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo {

ConcatStreamBuf::ConcatStreamBuf(const std::vector<std::istream*>& streams,
                                 std::vector<std::string> names)
    : parts_(std::move(names)) {
  for (const std::istream* stream : streams) buffers_.push_back(stream->rdbuf());
}

ConcatStreamBuf::int_type ConcatStreamBuf::underflow() {
  if (gptr() == egptr()) {
    std::size_t count = 0;
    while (current_ < buffers_.size() && (count = read_some()) == 0) finish_current();
    if (count == 0) return traits_type::eof();
    last_char_ = buffer_[count - 1];
    parts_.begin(current_, num_newlines_ + 1);
    num_newlines_ +=
        static_cast<std::size_t>(std::count(buffer_.data(), buffer_.data() + count, '\n'));
    setg(buffer_.data(), buffer_.data(), buffer_.data() + count);
  }
  return traits_type::to_int_type(*gptr());
}

// A file buffer reports an error of the device by an exception.
std::size_t ConcatStreamBuf::read_some() {
  try {
    const std::streamsize count = buffers_[current_]->sgetn(buffer_.data(), std::ssize(buffer_));
    return static_cast<std::size_t>(count);
  } catch (const std::ios_base::failure& error) {
    throw InvalidParameterError() << current_name()
                                  << " cannot be read: " << error.code().message();
  }
}

void ConcatStreamBuf::finish_current() {
  if (last_char_ != '\n' && current_ + 1 < buffers_.size()) {
    LOG(LogLevel::WARN) << current_name() << " does not end in a newline: its last line runs into "
                        << "the first line of the next input";
  }
  last_char_ = '\n';
  ++current_;
}

std::string ConcatStreamBuf::current_name() const {
  if (!parts_.name(current_).empty()) return "Input file '" + parts_.name(current_) + "'";
  return "Input " + std::to_string(current_ + 1);
}

InputParts parts_of(const std::istream& stream) {
  const auto* buffer = dynamic_cast<const ConcatStreamBuf*>(stream.rdbuf());
  return buffer == nullptr ? InputParts() : buffer->parts();
}

ConcatIfStream::ConcatIfStream(const std::vector<std::string>& filenames) {
  std::vector<std::istream*> streams;
  std::vector<std::string> names;
  for (const std::string& name : filenames) {
    files_.push_back(std::make_unique<std::ifstream>(name));
    if (!files_.back()->is_open()) {
      throw InvalidParameterError() << "Input file '" << name << "' does not exist!\n";
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(name, ignored)) {
      throw InvalidParameterError() << "Input file '" << name << "' is a directory";
    }
    streams.push_back(files_.back().get());
    names.push_back(name);
  }
  buffer_ = std::make_unique<ConcatStreamBuf>(streams, names);
  stream_ = std::make_unique<std::istream>(buffer_.get());
  stream_->exceptions(std::ios_base::badbit);
}

}  // namespace kelvo
