#include "planners/ftp/ftp_options.h"

namespace kelvo::ftp {

std::vector<std::string> search_names() {
  return {"standard", "guided"};
}

}  // namespace kelvo::ftp
