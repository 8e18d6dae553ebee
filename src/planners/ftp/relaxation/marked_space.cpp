#include "planners/ftp/relaxation/marked_space.h"

namespace kelvo::ftp {

MarkedSpace::MarkedSpace(RelaxedTask& relaxed)
    : space_(relaxed.task().space()),
      first_slot_(space_.num_slots()),
      num_task_words_(space_.num_words()) {
  const std::size_t num_task_bits = space_.num_booleans();
  for (const model::Expression marker : relaxed.markers()) space_.add_slot(marker);
  idle_bits_.assign(space_.num_words(), 0);
  bits_ = idle_bits_;
  for (std::size_t bit = 0; bit < num_task_bits; ++bit) {
    task_mask_.resize(num_task_words_, 0);
    task_mask_[bit / 64] |= std::uint64_t{1} << (bit % 64);
  }
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < relaxed.task().templates().size();
       ++id) {
    space_.set(idle_bits_.data(), nullptr, marker_slot(relaxed.first_marker(id)), ValueTable::TRUE);
  }
}

StateValues MarkedSpace::idle_values(const State& state) {
  bits_ = idle_bits_;
  for (std::size_t word = 0; word < num_task_words_; ++word) {
    bits_[word] |= state.values.bits[word] & task_mask_[word];
  }
  return {bits_.data(), state.values.ids};
}

void MarkedSpace::set_marker(std::size_t marker, bool value) {
  space_.set(bits_.data(), nullptr, marker_slot(marker),
             value ? ValueTable::TRUE : ValueTable::FALSE);
}

}  // namespace kelvo::ftp
