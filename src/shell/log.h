#pragma once

#include <ostream>
#include <string>

namespace kelvo {

enum class LogLevel : int { NONE = 0, ERR = 1, WARN = 2, INFO = 3, DEBUG = 4, TRACE = 5 };

/// One line of the log, "- YYYY/MM/DD HH:MM:SS LEVEL: text", written to the process-wide stream.
/// Written through the macro `LOG`.
class Log {
 public:
  explicit Log(LogLevel level);
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;
  /// Ends the line and flushes.
  ~Log();

  LogLevel level() const { return level_; }

  static void set_stream(std::ostream& stream) { stream_ = &stream; }
  /// Only with a stream set.
  static std::ostream& stream() { return *stream_; }
  static std::ostream* stream_ptr() { return stream_; }
  static void set_reporting_level(LogLevel level) { reporting_level_ = level; }
  static LogLevel reporting_level() { return reporting_level_; }
  /// True when a line of the level would be written.
  static bool is_on(LogLevel level) { return level <= reporting_level_ && stream_ != nullptr; }
  static std::string to_string(LogLevel level);

 private:
  static std::ostream* stream_;
  static LogLevel reporting_level_;

  LogLevel level_;
};

/// Makes the streamed expression of `LOG` a void one. `&` binds weaker than `<<`.
struct LogVoidify {
  void operator&(const std::ostream&) const {}
};

}  // namespace kelvo

/// `LOG(LogLevel::DEBUG) << ...;` writes a line when the level is on; else nothing behind it is
/// evaluated. It is one expression, so that it fits between `if` and `else` without braces.
#define LOG(level)                                   \
  !::kelvo::Log::is_on(level) ? static_cast<void>(0) \
                              : ::kelvo::LogVoidify() & ::kelvo::Log(level).stream()
