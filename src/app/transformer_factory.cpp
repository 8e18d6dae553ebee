#include "app/transformer_factory.h"

#include "app/table.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "shell/concat_stream.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/numbers.h"
#include "transformers/bounder.h"
#include "transformers/constant_promoter.h"
#include "transformers/contains_compiler.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/intermediate_effects_compiler.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "transformers/usertype_fluents_compiler.h"

namespace kelvo {

namespace {

using model::ProblemInstance;
using Transformer = std::shared_ptr<BasicTransformer>;

template <typename T>
Transformer make(Environment&, const ProblemInstance& problem) {
  return std::make_shared<T>(problem);
}

template <bool full>
Transformer make_grounder(Environment& env, const ProblemInstance& problem) {
  const bool prune = !env.configuration().get_boolean_value("disable-prune-actions");
  return std::make_shared<Grounder>(problem, full, prune);
}

/// The problem of the option `bounding-problem`, flat.
ProblemInstance read_bounding_problem(Environment& env) {
  ConcatIfStream file({env.configuration().get_string_value("bounding-problem")});
  file.stream().unsetf(std::ios_base::skipws);
  const ProblemInstance problem = AnmlParser(env).parse(file.stream());
  return problem->is_flat() ? problem : Flattener(problem).output_problem();
}

Transformer make_bounder(Environment& env, const ProblemInstance& problem) {
  return std::make_shared<Bounder>(problem, read_bounding_problem(env));
}

Transformer make_intermediate_effects_compiler(Environment& env, const ProblemInstance& problem) {
  const std::string& epsilon = env.configuration().get_string_value("plan-epsilon");
  return std::make_shared<IntermediateEffectsCompiler>(problem, rational_from_string(epsilon));
}

struct Row {
  const char* name;
  Transformer (*make)(Environment&, const ProblemInstance&);
};

constexpr Row rows[] = {
    {"flattener", make<Flattener>},
    {"action-grounder", make_grounder</*full=*/false>},
    {"full-grounder", make_grounder</*full=*/true>},
    {"bounder", make_bounder},
    {"empty-conditions-compiler", make<EmptyConditionsCompiler>},
    {"partial-order-compiler", make<PartialOrderCompiler>},
    {"temporal-uncertainty-compiler", make<TemporalUncertaintyCompiler>},
    {"intermediate-effects-compiler", make_intermediate_effects_compiler},
    {"usertype-fluents-compiler", make<UserTypeFluentsCompiler>},
    {"contains-compiler", make<ContainsCompiler>},
    {"set-compiler", make<SetCompiler>},
    {"constant-promoter", make<ConstantPromoter>},
};

}  // namespace

std::vector<std::string> transformer_names() {
  return names_of(rows);
}

std::shared_ptr<BasicTransformer> make_transformer(Environment& env, const std::string& name,
                                                   const ProblemInstance& problem) {
  const Row* row = find_row(rows, name);
  if (row == nullptr) throw InternalError() << "Transformer '" << name << "' is unknown!";
  return row->make(env, problem);
}

}  // namespace kelvo
