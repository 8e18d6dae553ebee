#pragma once

#include <string>

namespace ordax {

struct Configuration;

/// Where a group of options stands: every group can reach the whole.
struct ConfigurationGroup {
  const Configuration* configuration = nullptr;
};

struct DebugConfiguration : ConfigurationGroup {
  int api_call_trace = 0;
  std::string api_call_trace_filename;
  bool api_call_trace_dump_config = true;
  bool dump_theory_lemmas = false;
  std::string log_sections;
  bool term_simplifications = true;
  bool solver_enabled = true;
};

/// What one check may use; 0 is no limit.
struct LimitConfiguration : ConfigurationGroup {
  int conflicts = 0;
  double cpu_time = 0;  // seconds of the thread
  int memory = 0;       // megabytes resident in the process
};

struct PrinterConfiguration : ConfigurationGroup {
  int bv_number_format = 0;
  int fp_number_format = 1;
  std::string defines_prefix;
  bool model_as_formula = false;
};

struct PreprocessorConfiguration : ConfigurationGroup {
  bool free_input_propagation = false;
  bool toplevel_propagation = true;
  int toplevel_propagation_limit = 0;  // rounds; 0 unlimited
  int simplification = 23;             // 1 term-ite, 2 bit-vector, 4 array, 8 global, 16 arithmetic
  bool ite_minimization = false;
  int ite_minimization_call_limit = 150000;
  bool interpolation_ite_elimination = false;
  bool partial_nnf_conversion = false;
  bool full_cnf_conversion = false;
};

/// Options that every conflict-driven engine has, also those inside other theories.
struct EngineConfiguration : ConfigurationGroup {
  int restart_strategy = 0;  // 0 geometric, 1 Luby, 2 Luby with agility, 3 dynamic on LBD
  int restart_initial = 200;
  double restart_geometric_factor = 1.5;
  double branching_random_frequency = 0.001;
  int branching_initial_phase = 0;  // 0 false first, 1 true first, 2 by polarity
  int branching_cache_phase = 2;    // 0 never, 1 implied literals of the last level, 2 always
  bool branching_random_invalidate_phase_cache = false;
  bool branching_random_ignore_polarity = true;
  bool ghost_filtering = false;
  bool glucose_var_activity = false;
  bool glucose_learnt_minimization = false;
};

struct DpllPreprocessorConfiguration : ConfigurationGroup {
  int mode = 0;  // 0 off, 1 once before the search, 2 at every simplification
  int clause_size_limit = 20;
  int subsumption_size_limit = 1000;
  int elimination_grow_limit = 0;
  int elimination_phase = 1;
  bool elimination_recent_vars_only = false;
  bool try_reelimination = true;
};

struct DpllConfiguration : EngineConfiguration {
  bool store_tlemmas = false;
  bool minimize_model = false;
  bool allsat_minimize_model = false;
  bool pop_btpoint_reset_var_order = true;
  DpllPreprocessorConfiguration preprocessor;
  int interpolation_mode = 0;
  bool proof_simplification = false;
  bool allsat_allow_duplicates = false;
  int forget_interval = 0;  // conflicts between two forgettings; 0: by the number of clauses

  // Constants without an option of their own.
  double var_decay_factor = 1 / 0.95;
  double cla_decay_factor = 1 / 0.999;
  double agility_decay = 0.9999;
  double agility_high = 0.2;
  double agility_low = 0.15;
  double boosted_activity_factor = 1.6;
  bool learnt_minimization = true;
  bool simplify_problem_clauses = true;
};

struct LaConfiguration : ConfigurationGroup {
  bool enabled = true;
  bool split_rat_eq = true;
  bool delay_alien = false;
  int pivoting_greedy_threshold = 0;  // 0: proportional to the number of variables
  int lazy_expl_threshold = 10;
  bool interpolation_laz_use_floor = true;
  bool pure_equality_filtering = true;
  bool detect_euf_fragment = false;
  bool deduction_enabled = true;
  bool laz_equality_elimination = true;
  bool laz_internal_branch_and_bound = true;
  int laz_internal_branch_and_bound_limit = 1;  // 0 unlimited, 1 proportional to the variables
  int laz_cuts_from_proofs_mode = 3;  // 0 off, 1 always, 2 external, 3 external with equalities
  bool laz_enabled = true;
  bool laz_unit_cube_test = true;
  int interpolation_mode = 0;
  bool interpolation_laz_split_mixed_eq = true;
};

struct EufConfiguration : ConfigurationGroup {
  bool enabled = true;
  int dyn_ack = 0;
  int dyn_ack_threshold = 1;
  int dyn_ack_limit = 1000;
};

struct ArrConfiguration : ConfigurationGroup {
  bool enabled = true;
  int mode = 0;
  bool lazy_lemmas = false;
  int max_ext_lemmas = 0;
  bool enable_ext_polarity = true;
  bool enable_ext_arg = true;
  bool enable_witness = true;
};

struct BvConfiguration : ConfigurationGroup {
  bool enabled = true;
  bool delay_propagated_eqs = true;
  bool eager = true;
  int bit_blast_mode = 1;
  int interpolation_mode = 0;
  bool proof_simplification = false;
  int div_by_zero_mode = 0;
  EngineConfiguration lazydpll;
};

struct FpConfiguration : ConfigurationGroup {
  bool enabled = true;
  int mode = 1;
  bool bv_combination_enabled = true;
  int bit_blast_mode = 2;
  int interpolation_mode = 0;
  int minmax_zero_mode = 1;
  int acdcl_conflict_generalization = 2;
  int acdcl_single_propagation_limit = 0;
  int acdcl_single_generalization_limit = 0;
  bool acdcl_generalization_fair = true;
  EngineConfiguration dpll;
};

struct NaConfiguration : ConfigurationGroup {
  bool enabled = true;
  bool permanent_lemmas = true;
  bool eager_lemmas = false;
  bool enable_tangent_lemmas_frontier = true;
  int tangent_lemmas_rat_approx = 0;
  int tangent_lemmas_limit = 0;
  bool tangent_lemmas_enabled = true;
  bool sat_check_enabled = true;
  bool bound_lemmas_enabled = true;
  bool nta_enabled = true;
  int nta_rat_approx = 3;
  int nta_rat_approx_limit = 10;
  int nta_sat_mode = 1;
  bool nta_eager = true;
};

struct TheoryConfiguration : ConfigurationGroup {
  bool eq_propagation = true;
  int interface_eq_policy = 2;  // 0 lazy, 1 eager, 2 heuristic, 3 none
  bool pairwise_interface_eq = true;
  int interface_eq_batch_size = 100;  // 0 unlimited
  bool pure_literal_filtering = false;
  LaConfiguration la;
  EufConfiguration euf;
  ArrConfiguration arr;
  BvConfiguration bv;
  FpConfiguration fp;
  NaConfiguration na;
};

/// All options of one environment with their defaults, as plain records. A copy is independent.
struct Configuration {
  Configuration();
  Configuration(const Configuration& other);
  Configuration& operator=(const Configuration& other);
  ~Configuration() = default;

  int verbosity = 0;
  bool proof_generation = false;
  bool interpolation = false;
  bool model_generation = false;
  bool bool_model_generation = false;
  int unsat_core_generation = 0;  // 0 off, 1 proofs, 2 lemma lifting, 3 assumptions
  bool shallow_incrementality = false;
  int random_seed = 91648253;
  bool allow_bool_function_args = false;

  LimitConfiguration limits;
  DebugConfiguration debug;
  PrinterConfiguration printer;
  PreprocessorConfiguration preprocessor;
  DpllConfiguration dpll;
  TheoryConfiguration theory;

 private:
  void connect();
};

}  // namespace ordax
