#pragma once

namespace kelvo {

class Configuration;

/// Registers every option of the program, in the order of the usage text.
void register_options(Configuration& configuration);

}  // namespace kelvo
