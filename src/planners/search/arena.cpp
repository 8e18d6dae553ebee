#include "planners/search/arena.h"

#include <algorithm>
#include <cassert>
#include <new>

namespace kelvo {

void* Arena::allocate(std::size_t size) {
  const std::size_t grains = (size + GRAIN - 1) / GRAIN;
  if (grains < free_.size() && free_[grains] != nullptr) {
    FreeBlock* block = free_[grains];
    free_[grains] = block->next;
    return block;
  }
  assert(size > 0);
  const std::size_t wanted = grains * GRAIN;
  if (wanted > left_) {
    // What is left of the old chunk is given up: at most one block of the largest size in use.
    left_ = std::max(wanted, CHUNK_SIZE);
    memory_ += left_;
    chunks_.push_back(std::make_unique_for_overwrite<std::byte[]>(left_));
    next_ = chunks_.back().get();
  }
  void* block = next_;
  next_ += wanted;
  left_ -= wanted;
  return block;
}

void Arena::release(void* block, std::size_t size) {
  const std::size_t grains = (size + GRAIN - 1) / GRAIN;
  assert(block != nullptr && grains > 0);
  if (grains >= free_.size()) free_.resize(grains + 1, nullptr);
  free_[grains] = new (block) FreeBlock{free_[grains]};
}

}  // namespace kelvo
