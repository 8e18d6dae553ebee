#include "shell/warnings.h"

#include "shell/log.h"

namespace kelvo {

void WarningManager::warn(const std::string& message) {
  LOG(LogLevel::WARN) << message;
  warnings_.push_back(message);
}

}  // namespace kelvo
