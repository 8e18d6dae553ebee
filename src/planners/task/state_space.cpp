#include "planners/task/state_space.h"

#include <cassert>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/types.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;

StateSpace::StateSpace(Environment& env)
    : EnvObject(env), value_table_(std::make_shared<ValueTable>(env)) {}

void StateSpace::add_slot(Expression fluent, bool has_value) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const Expression reference =
      ef.is_functional_apply(fluent) ? ef.get_reference_from_functional_apply(fluent) : fluent;
  const model::Type type = ef.get_fluent_from_reference(reference)->type();
  const bool is_boolean = type->is_boolean() && has_value;
  assert(!fluent_index_.contains(fluent) && places_.size() == keys_.size());
  fluent_index_.emplace(fluent, keys_.size());
  keys_.push_back(fluent);
  types_.push_back(type);
  std::size_t& count = is_boolean ? num_booleans_ : num_ids_;
  places_.push_back({is_boolean, static_cast<std::uint32_t>(count++)});
}

std::vector<Expression> StateSpace::expressions(const StateValues& state) const {
  std::vector<Expression> result(num_slots());
  for (std::size_t slot = 0; slot < num_slots(); ++slot) result[slot] = expression(state, slot);
  return result;
}

}  // namespace kelvo
