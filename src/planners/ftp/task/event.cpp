#include "planners/ftp/task/event.h"

#include <ostream>

#include "model/action.h"
#include "model/print_expression.h"
#include "shell/hashing.h"

namespace kelvo::ftp {

bool operator<(const Event& a, const Event& b) {
  if (a.kind != b.kind) return a.kind < b.kind;
  if (a.action != b.action) {
    if (a.action == nullptr || b.action == nullptr) return a.action == nullptr;
    if (a.action->name() != b.action->name()) return a.action->name() < b.action->name();
  }
  if (a.index != b.index) return a.index < b.index;
  return a.fresh_id < b.fresh_id;
}

std::ostream& operator<<(std::ostream& os, const Event& event) {
  static constexpr const char* words[] = {"START_PLAN", "END_PLAN",  "START_ACTION",
                                          "END_ACTION", "CONDITION", "EFFECT"};
  os << "(" << words[static_cast<std::size_t>(event.kind)] << ", ";
  if (event.expression != nullptr) os << model::print_expression(event.expression) << ", ";
  if (event.action != nullptr) os << event.action->name() << ", ";
  return os << event.fresh_id << ")";
}

}  // namespace kelvo::ftp

std::size_t kelvo::TimePointHash<kelvo::ftp::Event>::operator()(
    const kelvo::ftp::Event& event) const {
  std::size_t seed = static_cast<std::size_t>(event.kind);
  hash_combine(seed, event.expression);
  hash_combine(seed, event.action);
  hash_combine(seed, event.index);
  hash_combine(seed, event.fresh_id);
  return seed;
}
