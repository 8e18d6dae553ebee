#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace ordax {

/// Process-wide list of free memory chunks of one size. Environments come and go quickly (one for
/// each formula of a growing series), so what one gives back serves the next without a system call.
/// A chunk is aligned to its size.
class ChunkStore {
 public:
  static constexpr std::size_t CHUNK_BYTES = std::size_t{1} << 16;

  static void* take();
  static void give(void* chunk) noexcept;
};

/// Bump allocator: memory that is freed all at once. Alignment is 8 bytes. The owner of an arena
/// can be told from any block of it, also after the arena is gone: a chunk begins with its owner,
/// and blocks start within the first CHUNK_BYTES of aligned memory that is never unmapped.
class Arena {
 public:
  explicit Arena(const void* owner = nullptr) : owner_(owner) {}
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() { clear(); }

  void* allocate(std::size_t bytes) {
    bytes = (bytes + 7) & ~std::size_t{7};
    if (bytes > left_) return allocate_slow(bytes);
    void* result = next_;
    next_ += bytes;
    left_ -= bytes;
    return result;
  }

  /// Frees everything that was allocated.
  void clear() noexcept;

  std::size_t bytes() const { return chunks_.size() * ChunkStore::CHUNK_BYTES + large_bytes_; }

  /// The owner of the arena that `block`, a block of some arena, comes from; null if it is gone.
  static const void* owner_of(const void* block) {
    const auto address = reinterpret_cast<std::uintptr_t>(block) & ~(ChunkStore::CHUNK_BYTES - 1);
    return reinterpret_cast<const Header*>(address)->owner;
  }

 private:
  struct Header {
    const void* owner;
  };

  void* allocate_slow(std::size_t bytes);

  const void* owner_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
  std::vector<void*> chunks_;
  std::vector<void*> large_;
  std::size_t large_bytes_ = 0;
};

/// Free-list pool of raw blocks of one size; blocks come from chunks that grow from `FIRST` blocks
/// by `growth` up to `LARGEST`. Nothing is constructed or destroyed here.
class BlockPool {
 public:
  static constexpr std::size_t FIRST = 16;
  static constexpr std::size_t LARGEST = 8192;

  explicit BlockPool(std::size_t block_bytes, std::size_t first = FIRST,
                     std::size_t largest = LARGEST)
      : block_bytes_(std::max((block_bytes + 7) & ~std::size_t{7}, sizeof(Free))),
        chunk_blocks_(first),
        largest_(largest) {}
  BlockPool(const BlockPool&) = delete;
  BlockPool& operator=(const BlockPool&) = delete;
  ~BlockPool() { clear(); }

  void* allocate() {
    if (free_ != nullptr) {
      void* result = free_;
      free_ = free_->next;
      return result;
    }
    if (next_ == end_) grow();
    void* result = next_;
    next_ += block_bytes_;
    return result;
  }

  void release(void* block) noexcept { free_ = ::new (block) Free{free_}; }

  /// Gives all chunks back; blocks still in use die with them.
  void clear() noexcept;

 private:
  struct Free {
    Free* next;
  };
  struct Chunk {
    void* memory;
    bool stored;  // from the ChunkStore
  };

  void grow();

  std::size_t block_bytes_;
  std::size_t chunk_blocks_;
  std::size_t largest_;
  float growth_ = 2.0F;
  Free* free_ = nullptr;
  char* next_ = nullptr;
  char* end_ = nullptr;
  std::vector<Chunk> chunks_;
};

}  // namespace ordax
