#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace kelvo {

/// Memory for search states and path nodes: freed blocks are kept by size class and handed out
/// again. Everything goes back to the system with the arena.
class Arena {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  /// A block of at least `size` bytes, aligned for pointers and numbers.
  void* allocate(std::size_t size);
  /// Takes back a block that was allocated with this size.
  void release(void* block, std::size_t size);
  /// Bytes taken from the system.
  std::size_t memory() const { return memory_; }

 private:
  static constexpr std::size_t GRAIN = 64;
  static constexpr std::size_t CHUNK_SIZE = std::size_t{1} << 20;

  struct FreeBlock {
    FreeBlock* next;
  };

  std::vector<FreeBlock*> free_;  // by size in grains
  std::vector<std::unique_ptr<std::byte[]>> chunks_;
  std::byte* next_ = nullptr;
  std::size_t left_ = 0;
  std::size_t memory_ = 0;
};

}  // namespace kelvo
