#pragma once

#include <memory>

#include "shell/option_table.h"

namespace kelvo {

class Configuration;
class WarningManager;

namespace model {
class ExpressionFactory;
class ExpressionTypeChecker;
class ModelFactory;
class SourceMap;
}  // namespace model

/// The global state of one run. Everything that the run makes refers to it, so it is built first
/// and destroyed last; several may live in one process.
///
/// The members are named here only; constructor and destructor stand in the model, which has their
/// complete types.
class Environment {
 public:
  /// Builds the members and registers all options. Those that choose by name take the names that
  /// stand in `option_values`, or any when they are not there.
  Environment();
  explicit Environment(const OptionValues& option_values);
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment();

  model::ModelFactory& model_factory() { return *model_factory_; }
  model::ExpressionFactory& expression_factory() { return *expression_factory_; }
  model::ExpressionTypeChecker& type_checker() { return *type_checker_; }
  WarningManager& warning_manager() { return *warning_manager_; }
  Configuration& configuration() { return *configuration_; }
  model::SourceMap& source_map() { return *source_map_; }

 private:
  // In this order: the factories take a reference to the environment.
  std::unique_ptr<model::ModelFactory> model_factory_;
  std::unique_ptr<model::ExpressionFactory> expression_factory_;
  std::unique_ptr<model::ExpressionTypeChecker> type_checker_;
  std::unique_ptr<WarningManager> warning_manager_;
  std::unique_ptr<Configuration> configuration_;
  std::unique_ptr<model::SourceMap> source_map_;
};

}  // namespace kelvo
