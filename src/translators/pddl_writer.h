#pragma once

#include <array>
#include <iosfwd>
#include <string>
#include <vector>

#include "model/check_contains_walker.h"
#include "model/expression.h"
#include "model/parametric_object.h"
#include "shell/env_object.h"
#include "translators/pddl_expression_printer.h"
#include "translators/pddl_names.h"

namespace kelvo {

/// Writes a problem as a PDDL 2.1 domain and problem: effects at the ends of actions, `at` and
/// `over all` conditions, constant durations, boolean and rational fluents, an initial state and
/// goals at the end.
///
/// Structured types, effects inside actions and sets are compiled away first. What is left and has
/// no text is refused by an `InternalError`, and then nothing is written. There is no way back
/// from PDDL for plans.
class PddlWriter : public EnvObject {
 public:
  PddlWriter(const model::ProblemInstance& problem, const std::string& domain_name,
             const std::string& problem_name);

  void print_domain(std::ostream& os) const;
  /// The domain is called "pddldomain" here, whatever its name is.
  void print_problem(std::ostream& os) const;

 private:
  void check(const model::ExpressionSet& expressions) const;
  void print_fluents(std::ostream& os, bool boolean) const;
  void print_action(std::ostream& os, const model::ActionImpl& action) const;
  void print_parameter(std::ostream& os, const model::ParameterImpl& parameter) const;
  bool is_duration(model::Expression e) const;
  /// The goals go to the returned list.
  std::vector<model::Expression> print_init(std::ostream& os) const;

  model::ProblemInstance problem_;
  std::string domain_name_;
  std::string problem_name_;
  /// For the operators that no text of PDDL can hold.
  std::array<model::CheckContainsWalker, 4> forbidden_;
  PddlNames names_;
  PddlExpressionPrinter print_;
};

}  // namespace kelvo
