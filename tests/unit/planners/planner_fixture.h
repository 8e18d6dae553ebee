#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "model/expression_factory.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/ftp/task/compiled_task.h"
#include "planners/own_compilation.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

/// Problems as text, and their compiled tasks.
class PlannerTest : public ::testing::Test {
 protected:
  model::ExpressionFactory& ef() { return env_.expression_factory(); }

  model::ProblemInstance parse(const std::string& text) {
    std::istringstream source(text);
    return AnmlParser(env_).parse(source);
  }

  /// The problem behind the own compilation of the search.
  model::ProblemInstance compiled_problem(const std::string& text) {
    OwnCompilation compilation;
    compilation.splits_durations = true;
    return compile(parse(text), compilation);
  }

  /// The chain stays in `chain_` until the next call.
  model::ProblemInstance compile(const model::ProblemInstance& problem,
                                 const OwnCompilation& compilation) {
    chain_.emplace(problem);
    apply_own_compilation(*chain_, compilation);
    return chain_->problem();
  }

  std::unique_ptr<ftp::CompiledTask> make_task(const std::string& text,
                                               const rational& plan_epsilon = rational(1, 100)) {
    return std::make_unique<ftp::CompiledTask>(compiled_problem(text), plan_epsilon);
  }

  Environment env_;
  std::optional<TransformerChain> chain_;
};

/// A dark cellar: mending a fuse takes light for all its time, and a match burns for a while.
inline const std::string MATCH_CELLAR = R"(
  type fuse;
  type match;
  instance fuse f1, f2;
  instance match m1, m2;
  fluent boolean light;
  fluent boolean hand_free;
  fluent boolean unused(match m);
  fluent boolean mended(fuse f);
  action light_match(match m) {
    duration := 5;
    [start] unused(m);
    [start] not light;
    [start] light := true;
    [start] unused(m) := false;
    [end] light := false;
  };
  action mend(fuse f) {
    duration := 2;
    [start] hand_free;
    [start] hand_free := false;
    [all] light;
    [end] mended(f) := true;
    [end] hand_free := true;
  };
  [start] light := false;
  [start] hand_free := true;
  [start] unused(m1) := true;
  [start] unused(m2) := true;
  [start] mended(f1) := false;
  [start] mended(f2) := false;
  [end] mended(f1) and mended(f2);
)";

}  // namespace kelvo
