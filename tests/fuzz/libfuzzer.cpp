// The entry for libFuzzer, which looks for inputs by coverage. KELVO_FUZZ_TARGET names the target.

#include <cstddef>
#include <cstdint>

#include "tests/fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const kelvo::fuzz::Target* const target = kelvo::fuzz::find_target(KELVO_FUZZ_TARGET);
  target->run({reinterpret_cast<const char*>(data), size});
  return 0;
}
