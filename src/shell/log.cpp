#include "shell/log.h"

#include <array>
#include <ctime>

namespace kelvo {

std::ostream* Log::stream_ = nullptr;
LogLevel Log::reporting_level_ = LogLevel::ERR;

namespace {

void write_local_time(std::ostream& out) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y/%m/%d %H:%M:%S", &local);
  out << text.data();
}

}  // namespace

Log::Log(LogLevel level) : level_(level) {
  stream() << "- ";
  write_local_time(stream());
  stream() << ' ' << to_string(level_) << ": ";
}

Log::~Log() {
  stream() << std::endl;
}

std::string Log::to_string(LogLevel level) {
  static constexpr std::array<const char*, 6> words = {"NONE", "ERROR", "WARNING",
                                                       "INFO", "DEBUG", "TRACE"};
  return words.at(static_cast<std::size_t>(level));
}

}  // namespace kelvo
