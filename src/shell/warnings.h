#pragma once

#include <string>
#include <vector>

namespace kelvo {

/// The warnings of a run in order of arrival.
class WarningManager {
 public:
  /// Logs the message at `WARN` and keeps it, also when the log is silent.
  void warn(const std::string& message);

  const std::vector<std::string>& warnings() const { return warnings_; }

 private:
  std::vector<std::string> warnings_;
};

}  // namespace kelvo
