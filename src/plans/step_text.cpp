#include "plans/step_text.h"

#include <ostream>

#include "model/action.h"
#include "model/instance.h"
#include "model/print_expression.h"

namespace kelvo {

void print_step_action(std::ostream& os, const model::Instance& object, const model::Action& action,
                       const std::vector<model::Expression>& parameters) {
  if (object != nullptr) os << object->name() << ".";
  os << action->name() << "(";
  const char* separator = "";
  for (const model::Expression parameter : parameters) {
    os << separator << model::print_expression(parameter);
    separator = ", ";
  }
  os << ")";
}

}  // namespace kelvo
