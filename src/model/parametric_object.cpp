#include "model/parametric_object.h"

#include <algorithm>
#include <ostream>

#include "model/types.h"
#include "shell/errors.h"

namespace kelvo::model {

void add_distinct_parameter(Parameters& parameters, const Parameter& p, const char* owner_kind) {
  const auto same_name = [&p](const Parameter& other) { return other->name() == p->name(); };
  if (std::ranges::any_of(parameters, same_name)) {
    throw RedefinitionError() << "Parameter '" << p->name() << "' already defined for this "
                              << owner_kind;
  }
  parameters.push_back(p);
}

void print_parameters(std::ostream& os, const Parameters& parameters) {
  const char* separator = "";
  for (const Parameter& p : parameters) {
    os << separator << p->type() << ' ' << p->name();
    separator = ", ";
  }
}

}  // namespace kelvo::model
