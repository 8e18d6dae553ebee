#pragma once

#include <array>
#include <cstddef>
#include <fstream>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "shell/input_parts.h"

namespace kelvo {

/// Reads several streams end to end as one text. The streams are borrowed.
///
/// Nothing is put between two of them. When one does not end in a newline although another follows,
/// the log says so at `WARN`, with the stream's name if there is one. An error of the device is an
/// `InvalidParameterError`; a stream on this buffer lets it through if its `exceptions` hold
/// `badbit`.
class ConcatStreamBuf : public std::streambuf {
 public:
  explicit ConcatStreamBuf(const std::vector<std::istream*>& streams,
                           std::vector<std::string> names = {});

  /// The streams that were read from, and where they begin.
  const InputParts& parts() const { return parts_; }

 protected:
  int_type underflow() override;

 private:
  std::size_t read_some();
  void finish_current();
  std::string current_name() const;

  std::vector<std::streambuf*> buffers_;
  InputParts parts_;
  std::size_t current_ = 0;
  std::size_t num_newlines_ = 0;
  char last_char_ = '\n';
  std::array<char, 1024> buffer_{};
};

/// The parts of a stream on a `ConcatStreamBuf`; of any other, none.
InputParts parts_of(const std::istream& stream);

/// The named files as one stream. A file that cannot be opened or read, and a directory, is an
/// `InvalidParameterError`.
class ConcatIfStream {
 public:
  explicit ConcatIfStream(const std::vector<std::string>& filenames);
  ConcatIfStream(const ConcatIfStream&) = delete;
  ConcatIfStream& operator=(const ConcatIfStream&) = delete;

  std::istream& stream() { return *stream_; }

 private:
  std::vector<std::unique_ptr<std::ifstream>> files_;
  std::unique_ptr<ConcatStreamBuf> buffer_;
  std::unique_ptr<std::istream> stream_;
};

}  // namespace kelvo
