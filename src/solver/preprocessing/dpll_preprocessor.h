#pragma once

#include <cstdint>
#include <vector>

#include "solver/base/configuration.h"
#include "solver/base/logger.h"
#include "solver/dpll/sat_preprocessor.h"

namespace ordax {

/// Subsumption, strengthening and bounded variable elimination on the clauses of an engine (Een and
/// Biere, SAT 2005). The clauses of an eliminated variable are kept: they give its value in a
/// model, and bring it back when a new clause mentions it.
class DpllPreprocessor : public SatPreprocessor {
 public:
  DpllPreprocessor(const DpllPreprocessorConfiguration& configuration, Logger& logger)
      : configuration_(configuration), logger_(logger) {}

  void preprocess(Clauses& clauses, const std::vector<std::uint8_t>& frozen) override;
  void set_termination_test(TerminationTest* test) override { stop_.set(test); }
  bool is_eliminated(Var variable) const override;
  void restore(Var variable, Clauses& clauses) override;
  void extend_model(std::vector<Value>& values) const override;
  void forget_vars(Var first) override;

  std::size_t num_eliminated() const { return eliminated_.size(); }

 private:
  class VariableEliminationStep;

  struct Eliminated {
    Var variable;
    Clauses clauses;
  };
  enum class History : std::uint8_t { NEW, SEEN, ELIMINATED, CAME_BACK };

  History& history(Var variable);
  bool is_candidate(Var variable);

  const DpllPreprocessorConfiguration& configuration_;
  Logger& logger_;
  std::vector<Eliminated> eliminated_;  // in order of elimination
  std::vector<History> history_;        // by variable
  std::uint64_t runs_ = 0;
  StopPoint stop_;
};

}  // namespace ordax
