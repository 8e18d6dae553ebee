#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/environment.h"
#include "shell/log.h"

namespace kelvo {

class ValidationFixture : public ::testing::Test {
 protected:
  ValidationFixture() {
    Log::set_stream(log);
    Log::set_reporting_level(LogLevel::DEBUG);
  }
  ~ValidationFixture() override { Log::set_reporting_level(LogLevel::NONE); }

  model::ProblemInstance read(const std::string& anml) {
    std::istringstream source(anml);
    return AnmlParser(env()).parse(source);
  }

  std::shared_ptr<TimeTriggeredPlan> read_plan(const model::ProblemInstance& problem,
                                               const std::string& text) {
    std::istringstream source(text);
    return TTPParser(env(), problem).parse(source);
  }

  std::vector<model::Fluent> fluents;  // kept alive
  // The log keeps its stream beyond the test.
  static inline std::ostringstream log;

  /// Forgets all that was read. Structured user types are interned for the life of an environment,
  /// so each problem gets one of its own.
  void reset() {
    fluents.clear();
    environment_ = std::make_unique<Environment>();
  }

  Environment& env() { return *environment_; }

 private:
  std::unique_ptr<Environment> environment_ = std::make_unique<Environment>();
};

}  // namespace kelvo
