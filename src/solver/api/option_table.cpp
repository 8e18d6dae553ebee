#include "solver/api/option_table.h"

#include <climits>

// One row names an option and its field at once: the dots of the name are those of the records.
#define BOOL_OPTION(group, name, help)                                              \
  {                                                                                 \
    OptionGroup::group, #name, OptionKind::BOOL, 0, 0, help,                        \
        [](Configuration& c) -> bool& { return c.name; }, nullptr, nullptr, nullptr \
  }
#define STR_OPTION(group, name, help)                                                  \
  {                                                                                    \
    OptionGroup::group, #name, OptionKind::STR, 0, 0, help, nullptr, nullptr, nullptr, \
        [](Configuration& c) -> std::string& { return c.name; }                        \
  }
#define INT_OPTION(group, name, least, most, help)                          \
  {                                                                         \
    OptionGroup::group, #name, OptionKind::INT, least, most, help, nullptr, \
        [](Configuration& c) -> int& { return c.name; }, nullptr, nullptr   \
  }
#define ENUM_OPTION(group, name, most, help)                              \
  {                                                                       \
    OptionGroup::group, #name, OptionKind::ENUM, 0, most, help, nullptr,  \
        [](Configuration& c) -> int& { return c.name; }, nullptr, nullptr \
  }
#define FLOAT_OPTION(group, name, least, most, help)                                   \
  {                                                                                    \
    OptionGroup::group, #name, OptionKind::FLOAT, least, most, help, nullptr, nullptr, \
        [](Configuration& c) -> double& { return c.name; }, nullptr                    \
  }

namespace ordax {
namespace {

// clang-format off
constexpr OptionRow ROWS[] = {
    INT_OPTION(GENERAL, verbosity, 0, INT_MAX, "level of the log on standard error"),
    BOOL_OPTION(GENERAL, proof_generation, "keep proofs (not built)"),
    BOOL_OPTION(GENERAL, interpolation, "enable interpolation (not built)"),
    BOOL_OPTION(GENERAL, model_generation, "answer for values after a satisfiable check"),
    BOOL_OPTION(GENERAL, bool_model_generation, "answer for Boolean values only"),
    ENUM_OPTION(GENERAL, unsat_core_generation, 3, "0 off, 1 proof based (not built), 2 lemma lifting (not built), 3 assumptions based"),
    BOOL_OPTION(GENERAL, shallow_incrementality, "guard the formulas of a backtrack point by a label instead of a push of the engines"),
    INT_OPTION(GENERAL, random_seed, 1, INT_MAX, "seed of random decisions"),
    BOOL_OPTION(GENERAL, allow_bool_function_args, "allow functions with Bool arguments"),
    INT_OPTION(GENERAL, limits.conflicts, 0, INT_MAX, "conflicts that a check may take, 0 for no limit"),
    FLOAT_OPTION(GENERAL, limits.cpu_time, 0.0, 1e9, "seconds of processor time that a check may take, 0 for no limit"),
    INT_OPTION(GENERAL, limits.memory, 0, INT_MAX, "megabytes that the process may hold during a check, 0 for no limit"),
    ENUM_OPTION(DEBUG, debug.api_call_trace, 3, "0 off, 1 SMT-LIB v2 with global declarations, 2 C (not built), 3 SMT-LIB v2 with scoped declarations"),
    STR_OPTION(DEBUG, debug.api_call_trace_filename, "where the trace goes, standard output if empty"),
    BOOL_OPTION(DEBUG, debug.api_call_trace_dump_config, "put the options at the head of the trace"),
    BOOL_OPTION(DEBUG, debug.dump_theory_lemmas, "write each theory lemma to a file tlemma_N.smt2"),
    STR_OPTION(DEBUG, debug.log_sections, "comma-separated sections of the log, ALL or empty for all"),
    BOOL_OPTION(DEBUG, debug.term_simplifications, "normalise terms while they are built"),
    BOOL_OPTION(DEBUG, debug.solver_enabled, "if off, each check answers unknown"),
    ENUM_OPTION(PRINTER, printer.bv_number_format, 2, "format of bit-vector numbers"),
    ENUM_OPTION(PRINTER, printer.fp_number_format, 2, "format of floating-point numbers"),
    STR_OPTION(PRINTER, printer.defines_prefix, "prefix of names defined by the printer"),
    BOOL_OPTION(PRINTER, printer.model_as_formula, "print a model as a formula"),
    BOOL_OPTION(PREPROCESSOR, preprocessor.free_input_propagation, "propagate free inputs (not built)"),
    BOOL_OPTION(PREPROCESSOR, preprocessor.toplevel_propagation, "replace variables that a top-level conjunct defines"),
    INT_OPTION(PREPROCESSOR, preprocessor.toplevel_propagation_limit, 0, INT_MAX, "most rounds of it, 0 for no limit"),
    ENUM_OPTION(PREPROCESSOR, preprocessor.simplification, 31, "bit mask: 1 term-ite, 2 bit-vector, 4 array, 8 global, 16 arithmetic"),
    BOOL_OPTION(PREPROCESSOR, preprocessor.ite_minimization, "minimise if-then-else terms (not built)"),
    INT_OPTION(PREPROCESSOR, preprocessor.ite_minimization_call_limit, 0, INT_MAX, "most calls of it"),
    BOOL_OPTION(PREPROCESSOR, preprocessor.interpolation_ite_elimination, "eliminate if-then-else for interpolation (not built)"),
    BOOL_OPTION(PREPROCESSOR, preprocessor.partial_nnf_conversion, "push negations inward first"),
    BOOL_OPTION(PREPROCESSOR, preprocessor.full_cnf_conversion, "give each connective a label"),
    ENUM_OPTION(DPLL, dpll.restart_strategy, 3, "0 geometric, 1 Luby, 2 Luby with agility, 3 dynamic"),
    INT_OPTION(DPLL, dpll.restart_initial, 1, INT_MAX, "conflicts before the first restart, or the Luby unit"),
    FLOAT_OPTION(DPLL, dpll.restart_geometric_factor, 1.0, 1e9, "growth of the geometric strategy"),
    BOOL_OPTION(DPLL, dpll.store_tlemmas, "keep level-0 literals in learnt clauses"),
    FLOAT_OPTION(DPLL, dpll.branching_random_frequency, 0.0, 1.0, "share of random decisions"),
    ENUM_OPTION(DPLL, dpll.branching_initial_phase, 2, "0 false first, 1 true first, 2 by polarity"),
    ENUM_OPTION(DPLL, dpll.branching_cache_phase, 2, "save phases: 0 never, 1 limited, 2 always"),
    BOOL_OPTION(DPLL, dpll.branching_random_invalidate_phase_cache, "a random decision forgets the saved phase"),
    BOOL_OPTION(DPLL, dpll.branching_random_ignore_polarity, "a random decision has a random sign"),
    BOOL_OPTION(DPLL, dpll.ghost_filtering, "do not decide filtered atoms"),
    BOOL_OPTION(DPLL, dpll.minimize_model, "drop assignments that no clause needs"),
    BOOL_OPTION(DPLL, dpll.allsat_minimize_model, "the same for the models of All-SAT"),
    BOOL_OPTION(DPLL, dpll.pop_btpoint_reset_var_order, "rebuild the decision order at a pop"),
    BOOL_OPTION(DPLL, dpll.glucose_var_activity, "bump variables of the conflict level with good reasons once more"),
    BOOL_OPTION(DPLL, dpll.glucose_learnt_minimization, "minimise learnt clauses with binary clauses"),
    ENUM_OPTION(DPLL, dpll.preprocessor.mode, 2, "SAT-level preprocessing: 0 off, 1 once, 2 inprocessing"),
    INT_OPTION(DPLL, dpll.preprocessor.clause_size_limit, 0, INT_MAX, "longest resolvent"),
    INT_OPTION(DPLL, dpll.preprocessor.subsumption_size_limit, 0, INT_MAX, "longest clause tested for subsumption"),
    INT_OPTION(DPLL, dpll.preprocessor.elimination_grow_limit, INT_MIN, INT_MAX, "clauses that an elimination may add"),
    INT_OPTION(DPLL, dpll.preprocessor.elimination_phase, 1, INT_MAX, "run at every N-th opportunity"),
    BOOL_OPTION(DPLL, dpll.preprocessor.elimination_recent_vars_only, "only variables new since the last run"),
    BOOL_OPTION(DPLL, dpll.preprocessor.try_reelimination, "eliminate a variable again that came back"),
    ENUM_OPTION(DPLL, dpll.interpolation_mode, 2, "mode of interpolation"),
    BOOL_OPTION(DPLL, dpll.proof_simplification, "simplify proofs"),
    BOOL_OPTION(DPLL, dpll.allsat_allow_duplicates, "All-SAT may report a model twice"),
    INT_OPTION(DPLL, dpll.forget_interval, 0, INT_MAX, "conflicts between two forgettings, 0 for a value by the number of clauses"),
    BOOL_OPTION(THEORY, theory.eq_propagation, "propagate equalities between theories"),
    ENUM_OPTION(THEORY, theory.interface_eq_policy, 3, "0 lazy, 1 eager, 2 heuristic, 3 none"),
    BOOL_OPTION(THEORY, theory.pairwise_interface_eq, "drop pairs that never meet in an argument position"),
    INT_OPTION(THEORY, theory.interface_eq_batch_size, 0, INT_MAX, "interface equalities at a time, 0 for no limit"),
    BOOL_OPTION(THEORY, theory.pure_literal_filtering, "do not tell the theories literals of the sign that the formula lacks"),
    BOOL_OPTION(THEORY, theory.la.enabled, "linear arithmetic"),
    BOOL_OPTION(THEORY, theory.la.split_rat_eq, "split rational equalities by lemmas"),
    BOOL_OPTION(THEORY, theory.la.delay_alien, "delay constraints with alien terms"),
    INT_OPTION(THEORY, theory.la.pivoting_greedy_threshold, 0, INT_MAX, "pivots before Bland's rule, 0 for a value by the number of variables"),
    INT_OPTION(THEORY, theory.la.lazy_expl_threshold, 0, INT_MAX, "longest implication that brings its explanation at once"),
    BOOL_OPTION(THEORY, theory.la.interpolation_laz_use_floor, "use floor in interpolants"),
    BOOL_OPTION(THEORY, theory.la.pure_equality_filtering, "ignore false equalities that occur only positively"),
    BOOL_OPTION(THEORY, theory.la.detect_euf_fragment, "leave equalities between variables to the equality solver"),
    BOOL_OPTION(THEORY, theory.la.deduction_enabled, "imply atoms from bounds"),
    BOOL_OPTION(THEORY, theory.la.laz_equality_elimination, "eliminate integer equations"),
    BOOL_OPTION(THEORY, theory.la.laz_internal_branch_and_bound, "branch and bound inside the theory"),
    INT_OPTION(THEORY, theory.la.laz_internal_branch_and_bound_limit, 0, INT_MAX, "its branches, 0 for no limit, 1 by the number of variables"),
    ENUM_OPTION(THEORY, theory.la.laz_cuts_from_proofs_mode, 3, "0 off, 1 always, 2 external branch and bound, 3 external with equalities"),
    BOOL_OPTION(THEORY, theory.la.laz_enabled, "integer reasoning"),
    BOOL_OPTION(THEORY, theory.la.laz_unit_cube_test, "test a unit cube for an integral point"),
    ENUM_OPTION(THEORY, theory.la.interpolation_mode, 2, "mode of interpolation"),
    BOOL_OPTION(THEORY, theory.la.interpolation_laz_split_mixed_eq, "split mixed equalities for interpolation"),
    BOOL_OPTION(THEORY, theory.euf.enabled, "equality and uninterpreted functions"),
    ENUM_OPTION(THEORY, theory.euf.dyn_ack, 2, "dynamic Ackermann expansion"),
    INT_OPTION(THEORY, theory.euf.dyn_ack_threshold, 0, INT_MAX, "conflicts before an expansion"),
    INT_OPTION(THEORY, theory.euf.dyn_ack_limit, 0, INT_MAX, "most expansions"),
    BOOL_OPTION(THEORY, theory.arr.enabled, "arrays"),
    ENUM_OPTION(THEORY, theory.arr.mode, 1, "mode of the array solver"),
    BOOL_OPTION(THEORY, theory.arr.lazy_lemmas, "array lemmas on demand"),
    INT_OPTION(THEORY, theory.arr.max_ext_lemmas, 0, INT_MAX, "most extensionality lemmas"),
    BOOL_OPTION(THEORY, theory.arr.enable_ext_polarity, "extensionality by polarity"),
    BOOL_OPTION(THEORY, theory.arr.enable_ext_arg, "extensionality for arguments"),
    BOOL_OPTION(THEORY, theory.arr.enable_witness, "witnesses of disequalities"),
    BOOL_OPTION(THEORY, theory.bv.enabled, "bit-vectors"),
    BOOL_OPTION(THEORY, theory.bv.delay_propagated_eqs, "delay propagated equalities"),
    BOOL_OPTION(THEORY, theory.bv.eager, "bit-blast before the search"),
    ENUM_OPTION(THEORY, theory.bv.bit_blast_mode, 2, "mode of bit-blasting"),
    ENUM_OPTION(THEORY, theory.bv.interpolation_mode, 4, "mode of interpolation"),
    BOOL_OPTION(THEORY, theory.bv.proof_simplification, "simplify proofs"),
    ENUM_OPTION(THEORY, theory.bv.div_by_zero_mode, 1, "meaning of a division by zero"),
    ENUM_OPTION(THEORY, theory.bv.lazydpll.restart_strategy, 3, "0 geometric, 1 Luby, 2 Luby with agility, 3 dynamic"),
    INT_OPTION(THEORY, theory.bv.lazydpll.restart_initial, 1, INT_MAX, "conflicts before the first restart, or the Luby unit"),
    FLOAT_OPTION(THEORY, theory.bv.lazydpll.restart_geometric_factor, 1.0, 1e9, "growth of the geometric strategy"),
    FLOAT_OPTION(THEORY, theory.bv.lazydpll.branching_random_frequency, 0.0, 1.0, "share of random decisions"),
    ENUM_OPTION(THEORY, theory.bv.lazydpll.branching_initial_phase, 2, "0 false first, 1 true first, 2 by polarity"),
    ENUM_OPTION(THEORY, theory.bv.lazydpll.branching_cache_phase, 2, "save phases: 0 never, 1 limited, 2 always"),
    BOOL_OPTION(THEORY, theory.bv.lazydpll.branching_random_invalidate_phase_cache, "a random decision forgets the saved phase"),
    BOOL_OPTION(THEORY, theory.bv.lazydpll.branching_random_ignore_polarity, "a random decision has a random sign"),
    BOOL_OPTION(THEORY, theory.bv.lazydpll.ghost_filtering, "do not decide filtered atoms"),
    BOOL_OPTION(THEORY, theory.bv.lazydpll.glucose_var_activity, "as in the main engine"),
    BOOL_OPTION(THEORY, theory.bv.lazydpll.glucose_learnt_minimization, "as in the main engine"),
    BOOL_OPTION(THEORY, theory.fp.enabled, "floating point"),
    ENUM_OPTION(THEORY, theory.fp.mode, 2, "mode of the floating-point solver"),
    BOOL_OPTION(THEORY, theory.fp.bv_combination_enabled, "combine with bit-vectors"),
    ENUM_OPTION(THEORY, theory.fp.bit_blast_mode, 2, "mode of bit-blasting"),
    ENUM_OPTION(THEORY, theory.fp.interpolation_mode, 5, "mode of interpolation"),
    ENUM_OPTION(THEORY, theory.fp.minmax_zero_mode, 4, "sign of zero in minimum and maximum"),
    ENUM_OPTION(THEORY, theory.fp.acdcl_conflict_generalization, 3, "generalisation of conflicts"),
    INT_OPTION(THEORY, theory.fp.acdcl_single_propagation_limit, 0, INT_MAX, "limit of propagations"),
    INT_OPTION(THEORY, theory.fp.acdcl_single_generalization_limit, 0, INT_MAX, "limit of generalisations"),
    BOOL_OPTION(THEORY, theory.fp.acdcl_generalization_fair, "fair generalisation"),
    ENUM_OPTION(THEORY, theory.fp.dpll.restart_strategy, 3, "0 geometric, 1 Luby, 2 Luby with agility, 3 dynamic"),
    INT_OPTION(THEORY, theory.fp.dpll.restart_initial, 1, INT_MAX, "conflicts before the first restart, or the Luby unit"),
    FLOAT_OPTION(THEORY, theory.fp.dpll.restart_geometric_factor, 1.0, 1e9, "growth of the geometric strategy"),
    FLOAT_OPTION(THEORY, theory.fp.dpll.branching_random_frequency, 0.0, 1.0, "share of random decisions"),
    ENUM_OPTION(THEORY, theory.fp.dpll.branching_initial_phase, 2, "0 false first, 1 true first, 2 by polarity"),
    ENUM_OPTION(THEORY, theory.fp.dpll.branching_cache_phase, 2, "save phases: 0 never, 1 limited, 2 always"),
    BOOL_OPTION(THEORY, theory.fp.dpll.branching_random_invalidate_phase_cache, "a random decision forgets the saved phase"),
    BOOL_OPTION(THEORY, theory.fp.dpll.branching_random_ignore_polarity, "a random decision has a random sign"),
    BOOL_OPTION(THEORY, theory.fp.dpll.ghost_filtering, "do not decide filtered atoms"),
    BOOL_OPTION(THEORY, theory.fp.dpll.glucose_var_activity, "as in the main engine"),
    BOOL_OPTION(THEORY, theory.fp.dpll.glucose_learnt_minimization, "as in the main engine"),
    BOOL_OPTION(THEORY, theory.na.enabled, "nonlinear arithmetic"),
    BOOL_OPTION(THEORY, theory.na.permanent_lemmas, "keep its lemmas"),
    BOOL_OPTION(THEORY, theory.na.eager_lemmas, "lemmas before the search"),
    BOOL_OPTION(THEORY, theory.na.enable_tangent_lemmas_frontier, "tangent lemmas at the frontier"),
    INT_OPTION(THEORY, theory.na.tangent_lemmas_rat_approx, 0, INT_MAX, "approximation of tangent points"),
    INT_OPTION(THEORY, theory.na.tangent_lemmas_limit, 0, INT_MAX, "most tangent lemmas"),
    BOOL_OPTION(THEORY, theory.na.tangent_lemmas_enabled, "tangent lemmas"),
    BOOL_OPTION(THEORY, theory.na.sat_check_enabled, "test for satisfiability"),
    BOOL_OPTION(THEORY, theory.na.bound_lemmas_enabled, "lemmas on bounds"),
    BOOL_OPTION(THEORY, theory.na.nta_enabled, "transcendental functions"),
    INT_OPTION(THEORY, theory.na.nta_rat_approx, 0, INT_MAX, "digits of approximation"),
    INT_OPTION(THEORY, theory.na.nta_rat_approx_limit, 0, INT_MAX, "most digits of approximation"),
    ENUM_OPTION(THEORY, theory.na.nta_sat_mode, 2, "mode of the test for satisfiability"),
    BOOL_OPTION(THEORY, theory.na.nta_eager, "refine early"),
};
// clang-format on
static_assert(sizeof(ROWS) / sizeof(ROWS[0]) == 144);

}  // namespace

OptionTable option_table() {
  return {ROWS, sizeof(ROWS) / sizeof(ROWS[0])};
}

const char* heading(OptionGroup group) {
  switch (group) {
    case OptionGroup::GENERAL:
      return "General options:";
    case OptionGroup::DEBUG:
      return "Debug options:";
    case OptionGroup::PRINTER:
      return "Printer options:";
    case OptionGroup::PREPROCESSOR:
      return "Preprocessor options:";
    case OptionGroup::DPLL:
      return "DPLL options:";
    case OptionGroup::THEORY:
      return "Theory options:";
  }
  return "";
}

}  // namespace ordax
