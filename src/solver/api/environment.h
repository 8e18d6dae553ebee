#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "solver/api/api_tracer.h"
#include "solver/api/check_limits.h"
#include "solver/base/configuration.h"
#include "solver/base/exception.h"
#include "solver/base/logger.h"
#include "solver/base/termination.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/preprocessing/constraint_encoder.h"
#include "solver/preprocessing/dpll_clause_sink.h"
#include "solver/preprocessing/global_simplifier.h"
#include "solver/preprocessing/partial_nnf.h"
#include "solver/preprocessing/polarity_checker.h"
#include "solver/preprocessing/toplevel_propagator.h"
#include "solver/preprocessing/tseitin_cnf_generator.h"
#include "solver/terms/std_term_simplifier.h"
#include "solver/terms/term_manager.h"
#include "solver/theory/model_store.h"
#include "solver/theory/theory_manager.h"

namespace ordax {

class LaSolverInterface;

/// One solver instance: the terms, the assertion stack, and the engines that answer checks.
///
/// Assertions only go on the stack; a check hands what is new through preprocessing to the engines.
/// A check that ends by an exception leaves the engines half filled: they are made anew, from the
/// stack, before the next check.
class Environment {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };
  using ModelCallback = std::function<bool(const std::vector<TermRef>&)>;

  explicit Environment(const Configuration& configuration);
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  virtual ~Environment();

  TermManager& terms() { return terms_; }
  const Configuration& configuration() const { return configuration_; }
  /// The answer of a check that one of the options `limits.*` has ended.
  static constexpr int kLimitReached = -2;
  /// -2, -1, 0 or 1: the result of the last check, -1 again after the stack has changed.
  int status() const { return status_; }
  /// What ended the last check that a limit has ended.
  const std::string& limit_reached() const { return limit_reached_; }
  /// Borrowed; null takes it away.
  void set_termination_test(TerminationTest* test);

  virtual void assert_formula(TermRef formula);
  void push_backtrack_point();
  void pop_backtrack_point();
  /// Forgets assertions and backtrack points.
  void reset();

  /// 1, 0, -1 or -2.
  virtual int solve(const std::vector<TermRef>& assumptions);
  int solve() { return solve({}); }
  std::vector<TermRef> unsat_assumptions() const;
  std::vector<TermRef> unsat_core() const;
  virtual int all_sat(const std::vector<TermRef>& important, const ModelCallback& on_model);

  TermRef get_model_value(TermRef term);
  /// The declared constants of the assertions with their values.
  std::vector<std::pair<TermRef, TermRef>> get_model();

  /// The counts of all engines since these were made.
  std::vector<std::pair<std::string, std::uint64_t>> statistics() const;
  /// For tests and measurements; null until the first check.
  const DpllSolver* engine() const { return engine_.get(); }

 protected:
  virtual void create_components();
  virtual void destroy_components();
  virtual void invalidate_model();
  virtual void rebuild();

 private:
  /// Who assumes: the caller, the label of an assertion, or that of a shallow backtrack point.
  enum class Source { USER, CORE, POINT };
  struct Assumption {
    TermRef term;  // what is reported if it fails
    Lit literal;
    bool is_false;  // preprocessing has decided it
    Source source;
  };

  void open_tracer();
  void warn_of_idle_options();
  std::vector<TermRef> declared_constants() const;
  void pass_on_termination_test();
  void put_on_stack(TermRef formula);
  void refuse_in_callback(const char* operation) const;
  TermRef normal_form(TermRef term);
  void check_boolean(TermRef term, const char* operation) const;
  ModelStore& model();
  int check(const std::vector<TermRef>& assumptions);
  void flush_assertions();
  void flush_formulas(std::vector<std::size_t>& pending);
  void push_engines();
  void pop_engines();
  void pass_on(TermRef formula);
  void to_engine(TermRef formula);
  bool map_assumption(TermRef term, Source source, TermRef reported,
                      std::vector<Assumption>& mapped);
  void collect_failed(const std::vector<Assumption>& mapped, const LitVector& failed);
  TermRef label_of_core(std::size_t assertion);
  std::size_t num_backtrack_points() const { return num_points_; }
  bool tracks_core() const { return configuration_.unsat_core_generation == 3; }
  void log(const char* text) {
    if (logger_.verbosity() >= 1) logger_.log(1, "ENV", text);
  }

  Configuration configuration_;
  Logger logger_;
  TermManager terms_;
  std::unique_ptr<StdTermSimplifier> simplifier_;
  std::unique_ptr<ApiTracer> tracer_;
  CheckLimits limits_;

  // The components, in the order in which they depend on one another.
  std::unique_ptr<PolarityChecker> polarities_;
  std::unique_ptr<DpllSolver> engine_;
  std::unique_ptr<SatPreprocessor> sat_preprocessor_;
  std::unique_ptr<TheoryManager> theories_;
  LaSolverInterface* arithmetic_ = nullptr;  // owned by the manager
  std::unique_ptr<ToplevelPropagator> propagator_;
  std::unique_ptr<GlobalSimplifier> global_simplifier_;
  std::unique_ptr<PartialNnf> nnf_;
  std::unique_ptr<ConstraintEncoder> encoder_;
  std::unique_ptr<DpllClauseSink> sink_;
  std::unique_ptr<TseitinCNFGenerator> cnf_;

  std::vector<TermRef> assertions_;   // null marks a backtrack point
  std::vector<TermRef> core_labels_;  // by position on the stack, where cores are tracked
  std::size_t asserted_upto_ = 0;
  std::size_t num_points_ = 0;
  // With shallow incrementality a backtrack point is a label; a popped one is asserted, which
  // satisfies the formulas that it guards.
  std::vector<TermRef> shallow_labels_;
  std::vector<TermRef> retired_labels_;
  std::size_t flushed_points_ = 0;  // backtrack points below `asserted_upto_`

  int unsat_level_ = -1;
  int status_ = -1;
  std::string limit_reached_;
  bool needs_rebuild_ = false;
  bool in_callback_ = false;  // of an All-SAT enumeration
  std::shared_ptr<ModelStore> model_;
  std::vector<TermRef> failed_assumptions_;
  std::vector<TermRef> core_;
};

}  // namespace ordax
