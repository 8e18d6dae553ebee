#include "solver/api/environment.h"

#include <algorithm>
#include <cstdio>

#include "solver/api/option_parser.h"
#include "solver/api/smtlib2_api_tracer.h"
#include "solver/la/la_solver_interface.h"
#include "solver/preprocessing/dpll_preprocessor.h"
#include "solver/preprocessing/rewrite_step.h"
#include "solver/terms/term_printer.h"
#include "solver/theory/euf_solver_interface.h"

namespace ordax {
namespace {

constexpr std::size_t ERROR_TEXT_LENGTH = 200;

/// Types are checked where terms come from outside; inside a check the engines build terms, which
/// are normal forms also where the caller's terms are not.
class TypeCheckingOff {
 public:
  explicit TypeCheckingOff(TermManager& terms)
      : terms_(terms), before_(terms.type_checking()), simplified_(terms.simplifications()) {
    terms_.set_type_checking(false);
    terms_.set_simplifications(true);
  }
  TypeCheckingOff(const TypeCheckingOff&) = delete;
  TypeCheckingOff& operator=(const TypeCheckingOff&) = delete;
  ~TypeCheckingOff() {
    terms_.set_type_checking(before_);
    terms_.set_simplifications(simplified_);
  }

 private:
  TermManager& terms_;
  bool before_;
  bool simplified_;
};

/// The capacity that has room for one more element.
std::size_t grown(const std::vector<TermRef>& list) {
  return list.size() < list.capacity() ? list.capacity() : 2 * list.size() + 4;
}

/// Builds a term anew from its leaves.
class Normaliser : public RewriteStep {
 public:
  using RewriteStep::RewriteStep;

 protected:
  TermRef rebuild(TermRef term, const TermRef* args) override { return rebuild_always(term, args); }
};

}  // namespace

Environment::Environment(const Configuration& configuration)
    : configuration_(configuration),
      logger_(configuration_.verbosity, configuration_.debug.log_sections),
      terms_(configuration_.allow_bool_function_args),
      limits_(configuration_.limits) {
  simplifier_ = std::make_unique<StdTermSimplifier>(terms_);
  terms_.set_simplifier(simplifier_.get());
  terms_.set_simplifications(configuration_.debug.term_simplifications);
  warn_of_idle_options();
  open_tracer();
  Environment::create_components();
}

Environment::~Environment() {
  Environment::destroy_components();
}

// An option of what is not built has no effect, which is told once.
void Environment::warn_of_idle_options() {
  const Configuration defaults;
  std::string names;
  for (const OptionRow& row : option_table()) {
    if (!OptionParser::is_idle(row)) continue;
    if (OptionParser::value_text(row, configuration_) == OptionParser::value_text(row, defaults)) {
      continue;
    }
    names += std::string(names.empty() ? "" : ", ") + row.name;
  }
  if (names.empty()) return;
  std::fprintf(stderr, "ordax: warning: without effect, for what they are about is not built: %s\n",
               names.c_str());
}

void Environment::open_tracer() {
  const DebugConfiguration& debug = configuration_.debug;
  if (debug.api_call_trace == 0) return;
  std::FILE* stream = stdout;
  if (!debug.api_call_trace_filename.empty()) {
    stream = std::fopen(debug.api_call_trace_filename.c_str(), "w");
    if (stream == nullptr) {
      logger_.log(1, "ENV",
                  "WARNING: can't open file `" + debug.api_call_trace_filename +
                      "' for writing, tracing of API calls disabled");
      return;
    }
  }
  const bool scoped = debug.api_call_trace == 3;
  tracer_ = std::make_unique<SmtLib2ApiTracer>(stream, scoped, configuration_);
}

void Environment::create_components() {
  const PreprocessorConfiguration& pre = configuration_.preprocessor;
  polarities_ = std::make_unique<PolarityChecker>();
  engine_ = std::make_unique<DpllSolver>(configuration_, logger_);
  if (configuration_.dpll.preprocessor.mode != 0) {
    sat_preprocessor_ =
        std::make_unique<DpllPreprocessor>(configuration_.dpll.preprocessor, logger_);
    engine_->set_preprocessor(sat_preprocessor_.get());
  }
  theories_ =
      std::make_unique<TheoryManager>(configuration_, logger_, *engine_, polarities_->store());
  engine_->set_hook(theories_.get());
  theories_->add_solver(std::make_unique<EufSolverInterface>(), configuration_.theory.euf.enabled);
  auto arithmetic =
      std::make_unique<LaSolverInterface>(configuration_, logger_, terms_, polarities_->store());
  arithmetic_ = arithmetic.get();
  theories_->add_solver(std::move(arithmetic), configuration_.theory.la.enabled);
  if (pre.toplevel_propagation) {
    propagator_ = std::make_unique<ToplevelPropagator>(terms_, logger_);
  }
  if ((pre.simplification & (2 | 4 | 8)) != 0) {
    global_simplifier_ = std::make_unique<GlobalSimplifier>(terms_, pre.simplification);
  }
  if (pre.partial_nnf_conversion) nnf_ = std::make_unique<PartialNnf>(terms_);
  encoder_ = std::make_unique<ConstraintEncoder>(terms_);
  sink_ = std::make_unique<DpllClauseSink>(*engine_, configuration_.dpll, polarities_->store());
  cnf_ = std::make_unique<TseitinCNFGenerator>(*sink_, pre.full_cnf_conversion);
  engine_->set_conflict_limit(static_cast<std::uint64_t>(configuration_.limits.conflicts));
  pass_on_termination_test();
}

void Environment::destroy_components() {
  model_.reset();
  cnf_.reset();
  sink_.reset();
  encoder_.reset();
  nnf_.reset();
  global_simplifier_.reset();
  propagator_.reset();
  theories_.reset();
  engine_.reset();
  sat_preprocessor_.reset();
  polarities_.reset();
}

void Environment::set_termination_test(TerminationTest* test) {
  limits_.set_user_test(test);
  pass_on_termination_test();
  if (model_ != nullptr) model_->set_termination_test(test);
}

void Environment::pass_on_termination_test() {
  TerminationTest* const test = limits_.is_needed() ? &limits_ : nullptr;
  engine_->set_termination_test(test);
  theories_->set_termination_test(test);
  arithmetic_->set_termination_test(test);
  cnf_->set_termination_test(test);
  encoder_->set_termination_test(test);
  if (propagator_ != nullptr) propagator_->set_termination_test(test);
  if (global_simplifier_ != nullptr) global_simplifier_->set_termination_test(test);
  if (nnf_ != nullptr) nnf_->set_termination_test(test);
}

void Environment::invalidate_model() {
  model_.reset();
}

void Environment::rebuild() {
  destroy_components();
  create_components();
  asserted_upto_ = 0;
  flushed_points_ = 0;
  retired_labels_.clear();
  unsat_level_ = -1;
  needs_rebuild_ = false;
}

// ---------------------------------------------------------------- the assertion stack

void Environment::check_boolean(TermRef term, const char* operation) const {
  if (term->type()->is_bool()) return;
  throw error("type error. term " + print_term(term, ERROR_TEXT_LENGTH) + " has type " +
              terms_.types().to_string(term->type()) + ", but Bool was expected. (" + operation +
              ")");
}

void Environment::assert_formula(TermRef formula) {
  check_boolean(formula, "assert");
  if (tracer_ != nullptr) tracer_->assert_formula(formula);
  put_on_stack(formula);
  status_ = -1;
  invalidate_model();
}

// All or nothing, also when the memory is exhausted on the way.
void Environment::put_on_stack(TermRef formula) {
  assertions_.reserve(grown(assertions_));
  core_labels_.resize(assertions_.size() + 1, nullptr);
  assertions_.push_back(formula);
}

void Environment::refuse_in_callback(const char* operation) const {
  if (in_callback_) throw error(std::string(operation) + " inside an All-SAT callback");
}

void Environment::push_backtrack_point() {
  refuse_in_callback("push");
  if (tracer_ != nullptr) tracer_->push();
  TermRef label = nullptr;
  if (configuration_.shallow_incrementality) {
    const std::string name = ".point" + std::to_string(terms_.num_terms());
    label = terms_.make_internal_constant(name, terms_.bool_type());
    shallow_labels_.reserve(grown(shallow_labels_));
  }
  put_on_stack(nullptr);
  if (label != nullptr) shallow_labels_.push_back(label);
  ++num_points_;
  status_ = -1;
  invalidate_model();
}

void Environment::pop_backtrack_point() {
  refuse_in_callback("pop");
  if (num_points_ == 0) throw error("no backtrack points to pop");
  if (tracer_ != nullptr) tracer_->pop();
  retired_labels_.reserve(grown(retired_labels_));  // what follows cannot fail
  status_ = -1;
  invalidate_model();
  std::size_t start = assertions_.size();
  do {
    --start;
  } while (assertions_[start] != nullptr);
  if (asserted_upto_ > start) {
    --flushed_points_;
    if (configuration_.shallow_incrementality) {
      retired_labels_.push_back(shallow_labels_.back());
    } else if (!needs_rebuild_) {
      try {
        pop_engines();
      } catch (...) {
        needs_rebuild_ = true;  // the stack itself is popped all the same
      }
    }
    asserted_upto_ = start;
  }
  if (configuration_.shallow_incrementality) shallow_labels_.pop_back();
  assertions_.resize(start);
  core_labels_.resize(start);
  --num_points_;
  if (unsat_level_ > static_cast<int>(num_points_)) unsat_level_ = -1;
}

void Environment::reset() {
  refuse_in_callback("reset");
  if (tracer_ != nullptr) tracer_->reset();
  assertions_.clear();
  core_labels_.clear();
  shallow_labels_.clear();
  num_points_ = 0;
  status_ = -1;
  failed_assumptions_.clear();
  core_.clear();
  rebuild();
}

void Environment::push_engines() {
  if (propagator_ != nullptr) propagator_->push();
  encoder_->push();
  cnf_->push();
  engine_->push_backtrack_point();
  log("push");
}

void Environment::pop_engines() {
  engine_->pop_backtrack_point();
  cnf_->pop();
  encoder_->pop();
  if (propagator_ != nullptr) propagator_->pop();
}

// ---------------------------------------------------------------- check

int Environment::solve(const std::vector<TermRef>& assumptions) {
  for (const TermRef assumption : assumptions) check_boolean(assumption, "assume");
  if (tracer_ != nullptr) tracer_->solve(assumptions);
  const TypeCheckingOff off(terms_);
  status_ = -1;
  invalidate_model();
  failed_assumptions_.clear();
  if (!configuration_.debug.solver_enabled) return -1;
  limits_.start();
  try {
    if (needs_rebuild_) rebuild();
    flush_assertions();
    if (unsat_level_ < 0) {
      log("searching...");
      status_ = check(assumptions);
    } else {
      status_ = 0;
    }
  } catch (const LimitReached& e) {
    limit_reached_ = e.what();
    needs_rebuild_ = true;
    status_ = kLimitReached;
  } catch (...) {
    // Whatever was thrown, clauses may have been added in part.
    needs_rebuild_ = true;
    status_ = -1;
    throw;
  }
  return status_;
}

void Environment::flush_assertions() {
  for (const TermRef label : retired_labels_) pass_on(label);
  retired_labels_.clear();
  std::vector<std::size_t> pending;
  for (std::size_t i = asserted_upto_; i < assertions_.size(); ++i) {
    if (assertions_[i] != nullptr) {
      pending.push_back(i);
      continue;
    }
    flush_formulas(pending);
    if (!configuration_.shallow_incrementality) push_engines();
    ++flushed_points_;
    asserted_upto_ = i + 1;
  }
  flush_formulas(pending);
  asserted_upto_ = assertions_.size();
}

// Joins the formulas of one level, unless each has to be told apart from the others.
void Environment::flush_formulas(std::vector<std::size_t>& pending) {
  if (pending.empty()) return;
  const bool guarded = configuration_.shallow_incrementality && flushed_points_ > 0;
  const TermRef guard = guarded ? shallow_labels_[flushed_points_ - 1] : nullptr;
  if (tracks_core()) {
    for (const std::size_t i : pending) {
      const TermRef not_label = terms_.make_not(label_of_core(i));
      TermRef formula = terms_.make_or(not_label, assertions_[i]);
      if (guard != nullptr) formula = terms_.make_or(guard, formula);
      pass_on(formula);
    }
  } else {
    TermRef formula = terms_.make_true();
    for (const std::size_t i : pending) formula = terms_.make_and(formula, assertions_[i]);
    if (guard != nullptr) formula = terms_.make_or(guard, formula);
    pass_on(formula);
  }
  pending.clear();
}

TermRef Environment::label_of_core(std::size_t assertion) {
  TermRef& label = core_labels_[assertion];
  if (label == nullptr) {
    const std::string name = ".core" + std::to_string(terms_.num_terms());
    label = terms_.make_internal_constant(name, terms_.bool_type());
  }
  return label;
}

void Environment::pass_on(TermRef formula) {
  if (unsat_level_ >= 0) return;
  formula = normal_form(formula);
  if (nnf_ != nullptr) formula = nnf_->convert(formula);
  log("preprocessing...");
  if (propagator_ != nullptr) {
    log(" propagating top-level information...");
    formula = propagator_->rewrite(formula, configuration_.preprocessor.toplevel_propagation_limit);
  }
  if (global_simplifier_ != nullptr) {
    log(" simplifying...");
    formula = global_simplifier_->simplify(formula);
  }
  log(" constraint encoding...");
  formula = encoder_->encode(formula);
  to_engine(formula);
  log("done");
}

// Without simplifications the caller's terms stand as written, which the engines do not expect.
TermRef Environment::normal_form(TermRef term) {
  return configuration_.debug.term_simplifications ? term : Normaliser(terms_).rewrite(term);
}

void Environment::to_engine(TermRef formula) {
  invalidate_model();
  if (is_true(formula)) return;
  if (is_false(formula)) {
    unsat_level_ = static_cast<int>(flushed_points_);
    return;
  }
  std::vector<TermRef> relations;
  const bool is_first = !arithmetic_->has_variables();
  polarities_->add(formula, PolarityStore::POSITIVE, is_first ? &relations : nullptr);
  arithmetic_->choose_scale(relations);
  theories_->polarities_changed();
  if (propagator_ != nullptr) propagator_->note_in_engine(formula);
  log(" converting to cnf...");
  cnf_->convert(formula);
}

// Prepares one assumption. False if preprocessing knows that it contradicts the assertions.
bool Environment::map_assumption(TermRef term, Source source, TermRef reported,
                                 std::vector<Assumption>& mapped) {
  term = normal_form(term);
  if (propagator_ != nullptr) term = propagator_->apply(term);
  std::vector<TermRef> definitions;
  term = encoder_->encode(term, definitions);
  for (const TermRef definition : definitions) to_engine(definition);
  if (is_true(term)) return true;
  if (is_false(term)) {
    mapped.push_back({reported, kNoLit, true, source});
    return false;
  }
  polarities_->add(term, PolarityStore::BOTH);
  theories_->polarities_changed();
  if (propagator_ != nullptr) propagator_->note_in_engine(term);
  mapped.push_back({reported, cnf_->define(term), false, source});
  return true;
}

int Environment::check(const std::vector<TermRef>& assumptions) {
  std::vector<Assumption> mapped;
  core_.clear();
  bool possible = true;
  for (std::size_t i = 0; possible && i < shallow_labels_.size(); ++i) {
    const TermRef off = terms_.make_not(shallow_labels_[i]);
    possible = map_assumption(off, Source::POINT, off, mapped);
  }
  for (std::size_t i = 0; possible && i < core_labels_.size(); ++i) {
    if (core_labels_[i] == nullptr) continue;
    possible = map_assumption(core_labels_[i], Source::CORE, assertions_[i], mapped);
  }
  for (std::size_t i = 0; possible && i < assumptions.size(); ++i) {
    possible = map_assumption(assumptions[i], Source::USER, assumptions[i], mapped);
  }
  if (!possible) {
    const Assumption last = mapped.back();
    mapped.assign(1, last);
    // The engine was not asked: what it failed on last may have been popped since.
    collect_failed(mapped, LitVector());
    return 0;
  }
  LitVector literals;
  for (const Assumption& assumption : mapped) literals.push_back(assumption.literal);
  arithmetic_->start_check();
  if (!engine_->solve(literals)) {
    collect_failed(mapped, engine_->failed_assumptions());
    return 0;
  }
  if (configuration_.model_generation || configuration_.bool_model_generation) {
    model_ = std::make_shared<ModelStore>(terms_, *theories_, *engine_, propagator_.get(),
                                          configuration_.model_generation);
    model_->set_termination_test(limits_.user_test());
  }
  return 1;
}

// Finds the assumptions and assertions behind the failed literals.
void Environment::collect_failed(const std::vector<Assumption>& mapped, const LitVector& failed) {
  std::vector<std::uint8_t> is_failed(2 * engine_->num_vars(), 0);
  for (const Lit literal : failed) is_failed[static_cast<std::size_t>(literal)] = 1;
  for (const Assumption& assumption : mapped) {
    if (!assumption.is_false) {
      std::uint8_t& mark = is_failed[static_cast<std::size_t>(assumption.literal)];
      if (mark == 0) continue;
      mark = 0;  // one of several with the same literal is enough
    }
    if (assumption.source == Source::USER) failed_assumptions_.push_back(assumption.term);
    if (assumption.source == Source::CORE) core_.push_back(assumption.term);
  }
  if (failed_assumptions_.empty()) unsat_level_ = static_cast<int>(num_points_);
}

std::vector<TermRef> Environment::unsat_assumptions() const {
  if (status_ != 0) throw error("the environment status is not UNSAT");
  return failed_assumptions_;
}

std::vector<TermRef> Environment::unsat_core() const {
  if (!tracks_core()) throw error("unsat core generation not enabled");
  if (status_ != 0) throw error("the environment status is not UNSAT");
  return core_;
}

// ---------------------------------------------------------------- models

ModelStore& Environment::model() {
  if (status_ != 1) throw error("no model available");
  if (model_ == nullptr) throw error("model generation not enabled");
  if (!model_->is_complete()) {
    for (const TermRef assertion : assertions_) {
      if (assertion != nullptr) model_->add_formula(assertion);
    }
    model_->add_formula(nullptr);
  }
  return *model_;
}

TermRef Environment::get_model_value(TermRef term) {
  if (tracer_ != nullptr && status_ == 1) tracer_->get_model_value(term);
  const TypeCheckingOff off(terms_);
  return model().value(term);
}

// The constants that were declared and occur in the assertions, in the order of declaration.
std::vector<TermRef> Environment::declared_constants() const {
  TermSet seen;
  std::vector<TermRef> stack;
  std::vector<TermRef> constants;
  for (const TermRef assertion : assertions_) {
    if (assertion == nullptr) continue;
    walk_post_order(
        assertion, stack, [&](TermRef t) { return seen.contains(t); },
        [&](TermRef t) {
          seen.insert(t);
          if (is_variable(t) && terms_.signature().find_or_null(t->symbol->name) == t->symbol) {
            constants.push_back(t);
          }
        });
  }
  std::sort(constants.begin(), constants.end(),
            [](TermRef a, TermRef b) { return a->symbol->id < b->symbol->id; });
  return constants;
}

std::vector<std::pair<TermRef, TermRef>> Environment::get_model() {
  ModelStore& store = model();
  const std::vector<TermRef> constants = declared_constants();
  std::vector<std::pair<TermRef, TermRef>> result;
  for (const TermRef constant : constants) {
    if (!configuration_.model_generation && !constant->type()->is_bool()) continue;
    result.emplace_back(constant, store.value(constant));
  }
  return result;
}

std::vector<std::pair<std::string, std::uint64_t>> Environment::statistics() const {
  auto result = engine_->statistics_table();
  const auto arithmetic = arithmetic_->statistics_table();
  result.insert(result.end(), arithmetic.begin(), arithmetic.end());
  return result;
}

}  // namespace ordax
