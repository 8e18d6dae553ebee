#include "solver/base/pool.h"

#include <mutex>

namespace ordax {
namespace {

// The first word of a chunk is its owner, so the link stands in the second.
struct FreeChunk {
  const void* owner;
  FreeChunk* next;
};

// One list for all threads. Chunks are taken and given seldom, so a lock costs nothing.
FreeChunk* free_chunks = nullptr;
std::mutex free_chunks_mutex;

void* allocate_aligned(std::size_t bytes) {
  void* result = std::aligned_alloc(ChunkStore::CHUNK_BYTES, bytes);
  if (result == nullptr) throw std::bad_alloc();
  return result;
}

template <typename T>
void make_room_for_one(std::vector<T>& list) {
  if (list.size() == list.capacity()) list.reserve(2 * list.size() + 4);
}

}  // namespace

void* ChunkStore::take() {
  {
    const std::lock_guard<std::mutex> lock(free_chunks_mutex);
    if (FreeChunk* const result = free_chunks; result != nullptr) {
      free_chunks = result->next;
      return result;
    }
  }
  return allocate_aligned(CHUNK_BYTES);
}

void ChunkStore::give(void* chunk) noexcept {
  const std::lock_guard<std::mutex> lock(free_chunks_mutex);
  free_chunks = ::new (chunk) FreeChunk{nullptr, free_chunks};
}

void* Arena::allocate_slow(std::size_t bytes) {
  if (bytes + sizeof(Header) > ChunkStore::CHUNK_BYTES / 4) {
    // Memory of its own, in whole chunks so that these can serve others later.
    make_room_for_one(large_);
    const std::size_t whole =
        (bytes + sizeof(Header) + ChunkStore::CHUNK_BYTES - 1) & ~(ChunkStore::CHUNK_BYTES - 1);
    void* memory = allocate_aligned(whole);
    large_.push_back(memory);
    large_bytes_ += whole;
    ::new (memory) Header{owner_};
    return static_cast<char*>(memory) + sizeof(Header);
  }
  make_room_for_one(chunks_);
  void* chunk = ChunkStore::take();
  chunks_.push_back(chunk);
  ::new (chunk) Header{owner_};
  next_ = static_cast<char*>(chunk) + sizeof(Header);
  left_ = ChunkStore::CHUNK_BYTES - sizeof(Header);
  void* result = next_;
  next_ += bytes;
  left_ -= bytes;
  return result;
}

void Arena::clear() noexcept {
  for (void* chunk : chunks_) ChunkStore::give(chunk);
  for (void* block : large_) std::free(block);
  chunks_.clear();
  large_.clear();
  large_bytes_ = 0;
  next_ = nullptr;
  left_ = 0;
}

void BlockPool::grow() {
  make_room_for_one(chunks_);
  const std::size_t bytes = block_bytes_ * chunk_blocks_;
  const bool stored = bytes > ChunkStore::CHUNK_BYTES / 2 && bytes <= ChunkStore::CHUNK_BYTES;
  void* memory = stored ? ChunkStore::take() : std::malloc(bytes);
  if (memory == nullptr) throw std::bad_alloc();
  chunks_.push_back({memory, stored});
  next_ = static_cast<char*>(memory);
  end_ = next_ + bytes;
  chunk_blocks_ =
      std::min(largest_, static_cast<std::size_t>(static_cast<float>(chunk_blocks_) * growth_));
}

void BlockPool::clear() noexcept {
  for (const Chunk& chunk : chunks_) {
    if (chunk.stored) {
      ChunkStore::give(chunk.memory);
    } else {
      std::free(chunk.memory);
    }
  }
  chunks_.clear();
  free_ = nullptr;
  next_ = nullptr;
  end_ = nullptr;
}

}  // namespace ordax
