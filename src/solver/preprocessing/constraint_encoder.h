#pragma once

#include <memory>
#include <vector>

#include "solver/base/exception.h"
#include "solver/preprocessing/rewrite_step.h"
#include "solver/terms/term_manager.h"

namespace ordax {

/// Replaces terms that no theory understands by fresh constants with definitions. A definition
/// belongs to the backtrack point at which it was asserted, and is made once there.
class ConstraintEncoder {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  explicit ConstraintEncoder(TermManager& terms);
  ~ConstraintEncoder();
  void set_termination_test(TerminationTest* test);

  /// The formula over encoded terms; the definitions that it needs are appended to `definitions`.
  TermRef encode(TermRef formula, std::vector<TermRef>& definitions);
  /// The same with the definitions joined to the formula.
  TermRef encode(TermRef formula);

  void push() { levels_.push_back(encoded_.size()); }
  void pop();

 private:
  class ConstrElimRewriteStep;
  class enc_fun;
  class TermIteEncoder;
  class FloorEncoder;
  class DivideEncoder;
  class TimesIteEncoder;

  TermRef constant_of(TermRef term) const;
  TermRef new_constant(TermRef term, TermRef encoded, const Type* type);
  void define(TermRef definition) { definitions_.push_back(definition); }

  TermManager& terms_;
  std::unique_ptr<ConstrElimRewriteStep> step_;
  std::vector<std::unique_ptr<enc_fun>> encoders_;
  std::vector<enc_fun*> by_kind_;
  TermMap<TermRef> constants_;  // from a term with encoded arguments
  std::vector<TermRef> encoded_;
  std::vector<std::size_t> levels_;
  std::vector<TermRef> definitions_;
  bool has_int_variables_ = false;
};

}  // namespace ordax
