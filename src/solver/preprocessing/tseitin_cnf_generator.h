#pragma once

#include <cstdint>
#include <vector>

#include "solver/base/exception.h"
#include "solver/base/termination.h"
#include "solver/dpll/literal.h"
#include "solver/preprocessing/dpll_clause_sink.h"
#include "solver/terms/term.h"
#include "solver/terms/term_walk.h"

namespace ordax {

/// Turns formulas into clauses.
class CNFGenerator {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  virtual ~CNFGenerator() = default;

  /// Asserts a formula other than `true` and `false`.
  virtual void convert(TermRef formula) = 0;
  /// A literal that is equivalent to the formula, which is not asserted.
  virtual Lit define(TermRef formula) = 0;
  virtual void push() = 0;
  /// Forgets the definitions since the last push.
  virtual void pop() = 0;
};

/// Definitions with full equivalences after Tseitin. A subformula with two or more occurrences gets
/// one label; one that occurs once is merged into the clause or definition around it. Negations
/// carry no label, so occurrences are counted through them.
class TseitinCNFGenerator : public CNFGenerator {
 public:
  /// With `full_conversion`, every connective gets a label.
  TseitinCNFGenerator(DpllClauseSink& sink, bool full_conversion)
      : sink_(sink), full_conversion_(full_conversion) {}

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  void convert(TermRef formula) override;
  Lit define(TermRef formula) override;
  void push() override { levels_.push_back(defined_stack_.size()); }
  void pop() override;

 private:
  struct Signed {
    TermRef term;
    bool negated;
  };

  void prepare(TermRef formula);
  bool has_label(TermRef term) const;
  bool is_conjunction(const Signed& s) const;
  bool is_clause_shaped(const Signed& s) const;
  void convert_conjuncts(TermRef formula);
  void assert_clause(Signed root);
  void assert_iff(const Signed& s);
  void assert_unit(const Signed& s);
  void flatten(const Signed& root, bool conjunction, std::vector<Signed>& leaves);
  void define_all(TermRef term);
  void add_definition(TermRef term);
  void collect_arguments(TermRef term, std::vector<Signed>& arguments);
  void mark_defined(TermRef term);

  DpllClauseSink& sink_;
  bool full_conversion_;
  TerminationTest* termination_ = nullptr;

  TermMap<std::uint32_t> occurrences_;  // in the current formula
  TermSet defined_;                     // over all formulas of the open levels
  std::vector<TermRef> defined_stack_;
  std::vector<std::size_t> levels_;

  std::vector<Signed> work_;
  std::vector<TermRef> stack_;
  std::vector<Signed> arguments_;
  std::vector<Signed> flatten_work_;
};

}  // namespace ordax
