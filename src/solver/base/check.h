#pragma once

#include <cstddef>

namespace ordax {

/// Prints a broken condition and ends the program.
[[noreturn]] void check_failed(const char* condition, const char* file, int line);

/// True where whole structures are audited: only in the library that the tests link.
#ifdef ORDAX_CHECKED
constexpr bool kAudits = true;
#else
constexpr bool kAudits = false;
#endif

/// Decides when a structure is looked through as a whole. Each call earns a fixed amount of work,
/// and an audit is due once its cost is earned: so small structures are looked through every time,
/// and large ones as often as costs no more than a constant for each call.
class Audit {
 public:
  bool due(std::size_t cost) {
    if constexpr (!kAudits) return false;
    earned_ += kEarned;
    if (earned_ < cost) return false;
    earned_ = 0;
    return true;
  }

 private:
  static constexpr std::size_t kEarned = 200;

  std::size_t earned_ = 0;
};

}  // namespace ordax

/// What only a fault of the library can break. Compiled in with ORDAX_CHECKED and without NDEBUG.
#if defined(ORDAX_CHECKED) || !defined(NDEBUG)
#define ORDAX_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : ::ordax::check_failed(#condition, __FILE__, __LINE__))
#else
#define ORDAX_CHECK(condition) static_cast<void>(0)
#endif
