#include "shell/environment.h"

#include "model/expression_factory.h"
#include "model/expression_type_checker.h"
#include "model/model_factory.h"
#include "model/source_map.h"
#include "shell/configuration.h"
#include "shell/warnings.h"

namespace kelvo {

Environment::Environment() : Environment(OptionValues()) {}

Environment::Environment(const OptionValues& option_values)
    : model_factory_(std::make_unique<model::ModelFactory>(*this)),
      expression_factory_(std::make_unique<model::ExpressionFactory>(*this)),
      type_checker_(std::make_unique<model::ExpressionTypeChecker>(*this)),
      warning_manager_(std::make_unique<WarningManager>()),
      configuration_(std::make_unique<Configuration>()),
      source_map_(std::make_unique<model::SourceMap>()) {
  register_options(*configuration_, option_values);
}

Environment::~Environment() = default;

}  // namespace kelvo
