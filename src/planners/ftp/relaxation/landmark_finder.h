#pragma once

#include <cstdint>
#include <vector>

#include "planners/ftp/relaxation/landmarks.h"
#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

/// Finds the landmarks of a guided task. An atom is a literal (both of each boolean slot, of others
/// those that a conjunction asks for) or, after these, the fact that a step comes next. What a
/// condition asks for beyond a conjunction of literals is left out, which may only lose landmarks.
class LandmarkFinder {
 public:
  explicit LandmarkFinder(const GuidedTask& task);

  /// False when it takes too long.
  bool find();
  /// What was found.
  std::vector<GuidedLandmarks::Landmark> landmarks() const;

 private:
  using Atoms = std::vector<std::uint32_t>;
  using Words = std::vector<std::uint64_t>;

  static constexpr std::uint32_t NONE = 0xffffffff;

  void number_atoms();
  void number_literal(const SlotLiteral& literal);
  std::uint32_t find_number_of(const SlotLiteral& literal) const;
  void add_literals(const Condition& condition, Atoms& atoms) const;
  void lay_out_step(std::uint32_t number);
  void reach(std::uint32_t atom);
  void apply(std::uint32_t step);
  bool update_label(std::uint32_t atom, const Words& label);
  void note_change(std::uint32_t atom);
  std::vector<std::vector<std::uint32_t>> orders(const std::vector<std::uint32_t>& found) const;
  bool is_first_achiever(std::uint32_t step, std::uint32_t literal) const;
  Atoms conditions_of_action(std::uint32_t step) const;

  std::uint64_t* label(std::uint32_t atom) { return labels_.data() + atom * num_words_; }
  const std::uint64_t* label(std::uint32_t atom) const {
    return labels_.data() + atom * num_words_;
  }

  const GuidedTask& task_;
  std::vector<SlotLiteral> literals_;
  std::vector<Atoms> atoms_of_slot_;  // empty for one that never changes
  std::uint32_t num_literals_ = 0;
  std::size_t num_words_ = 0;

  // By step.
  std::vector<Atoms> conditions_;
  std::vector<Atoms> effects_;
  // By atom.
  std::vector<Atoms> users_;
  Words labels_;
  std::vector<bool> is_reached_;
  std::vector<bool> is_initial_;

  std::vector<std::uint32_t> queue_;
  std::vector<bool> is_queued_;
};

}  // namespace kelvo::ftp
