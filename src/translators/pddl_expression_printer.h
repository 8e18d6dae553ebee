#pragma once

#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/numbers.h"

namespace kelvo {

class PddlNames;

/// Four blanks for each level.
std::string pddl_indent(int level);

/// Writes expressions in PDDL. Throws `InternalError` on what PDDL cannot say.
///
/// Works on a stack of its own, in the size of the text.
class PddlExpressionPrinter {
 public:
  PddlExpressionPrinter(const model::ExpressionFactory& ef, const PddlNames& names)
      : ef_(ef), names_(names) {}

  std::string operator()(model::Expression e) const;

 private:
  /// What is still to come: an expression or, if that is null, a text.
  struct Item {
    model::Expression e;
    std::string text;
  };
  class Run;

  const model::ExpressionFactory& ef_;
  const PddlNames& names_;
};

}  // namespace kelvo
