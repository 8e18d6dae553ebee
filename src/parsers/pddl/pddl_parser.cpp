#include "parsers/pddl/pddl_parser.h"

#include <istream>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/source_map.h"
#include "model/user_type.h"
#include "parsers/name_resolver.h"
#include "parsers/pddl/pddl_builder.h"
#include "parsers/pddl/pddl_explanations.h"
#include "parsers/pddl/pddl_source.h"
#include "shell/concat_stream.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/warnings.h"

// The entry points of the generated code, whose headers would bring their macros along.
int kelvo_pddl_lex_init_extra(kelvo::PddlSource* source, void** scanner);
int kelvo_pddl_lex_destroy(void* scanner);
int kelvo_pddl_parse(void* scanner, kelvo::PddlBuilder& builder);

namespace kelvo {

using model::Expression;

namespace {

// The closed world: what a problem leaves open at its start is false.
class ClosedWorld : public EnvObject {
 public:
  explicit ClosedWorld(Environment& env) : EnvObject(env) {}

  model::ProblemInstance operator()(const model::ProblemInstance& problem) const {
    model::ExpressionFactory& ef = environment().expression_factory();
    model::ExpressionSet statements = problem->expressions();
    const Assigned assigned = assigned_fluents(statements);
    const Expression start = ef.make_start_anchor();
    const Expression at_start = ef.make_point_interval(start);
    const Expression no = ef.make_false();
    for (const Expression fluent : problem->all_ground_fluents(/*only_boolean=*/true)) {
      if (assigned.at_start.contains(fluent)) continue;
      if (assigned.at_zero.contains(fluent)) warn_of_double_effect(fluent);
      const Expression assignment = ef.make_assign(fluent, no);
      const Expression statement = ef.make_temporal_expression(at_start, assignment);
      statements.insert(statements.end(), statement);  // most are new, and so the last
    }
    return environment().model_factory().make_problem_instance(
        problem->actions(), problem->fluents(), problem->constants(), problem->instances(),
        problem->user_types(), statements);
  }

 private:
  /// The left sides of assignments at `start` and at the time 0.
  struct Assigned {
    std::unordered_set<Expression> at_start;
    std::unordered_set<Expression> at_zero;
  };

  Assigned assigned_fluents(const model::ExpressionSet& statements) const {
    const model::ExpressionFactory& ef = environment().expression_factory();
    Assigned result;
    for (const Expression e : statements) {
      if (!ef.is_temporal_expression(e) || !ef.is_assign(e->child(1))) continue;
      if (!ef.is_point_interval(e->child(0))) continue;
      const Expression time = e->child(0)->child(0);
      const Expression fluent = e->child(1)->child(0);
      if (ef.is_start_anchor(time)) result.at_start.insert(fluent);
      if (ef.is_zero(time)) result.at_zero.insert(fluent);
    }
    return result;
  }

  void warn_of_double_effect(Expression fluent) const {
    std::ostringstream warning;
    warning << "'" << model::print_expression(fluent)
            << "' is given a value by (at 0 ...) and is false at the start as well: drop the time";
    environment().warning_manager().warn(warning.str());
  }
};

}  // namespace

PddlParser::PddlParser(Environment& env) : EnvObject(env) {}

PddlParser::~PddlParser() {
  reset();
}

void PddlParser::reset() {
  if (flex_scanner_ != nullptr) kelvo_pddl_lex_destroy(flex_scanner_);
  flex_scanner_ = nullptr;
  source_ = nullptr;
  result_ = nullptr;
}

model::ProblemInstance PddlParser::parse(std::istream& source) {
  // The scanner and the raw problem go when the parse ends, also by an exception.
  struct Reset {
    PddlParser& parser;
    ~Reset() { parser.reset(); }
  };
  reset();
  const Reset at_end{*this};

  result_ = std::make_shared<model::ProblemInstanceImpl>(environment());
  PddlBuilder builder(*this, *result_);
  PddlSource text(source, builder);
  source_ = &text;
  if (kelvo_pddl_lex_init_extra(&text, &flex_scanner_) != 0) raise_error("out of memory");
  if (kelvo_pddl_parse(flex_scanner_, builder) != 0) raise_error("syntax error");
  kelvo_pddl_lex_destroy(flex_scanner_);
  flex_scanner_ = nullptr;
  spellings_ = builder.spellings();
  try {
    model::StatementLines lines = builder.take_lines();
    NameResolver resolver(environment());
    const model::ProblemInstance problem = resolver(result_, lines);
    environment().source_map().add(std::move(lines), parts_of(source));
    return ClosedWorld(environment())(problem);
  } catch (TypeCheckingError& error) {
    error << explain_failure(text, builder, error.message());
    throw;
  } catch (UnresolvedSymbolError& error) {
    error << explain_failure(text, builder, error.message());
    throw;
  } catch (InternalError& error) {
    error << explain_failure(text, builder, error.message());
    throw;
  }
}

void PddlParser::handle_error(const std::string& msg) {
  raise_error(msg);
}

void PddlParser::raise_error(const std::string& msg) {
  if (source_ == nullptr) throw ParserError(msg);
  ParserError error(msg);
  error << " at line " << source_->line;
  throw error << explain_parser_error(*source_, msg);
}

model::ProblemInstance PddlParser::result() const {
  return result_;
}

std::vector<PddlParser::Effect> PddlParser::condition_to_effect(Expression e) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const auto is_assignable = [&ef](Expression x) {
    return ef.is_fluent_reference(x) || ef.is_functional_apply(x) || ef.is_unresolved_symbol(x);
  };
  // The intervals around an expression, innermost first, as a chain in one vector.
  constexpr std::size_t no_interval = static_cast<std::size_t>(-1);
  struct Interval {
    Expression interval;
    std::size_t outer;
  };
  struct Open {
    Expression expression;
    std::size_t innermost;
  };
  std::vector<Interval> intervals;
  std::vector<Open> todo{{e, no_interval}};
  std::vector<Effect> result;
  while (!todo.empty()) {
    const Open next = todo.back();
    todo.pop_back();
    const Expression x = next.expression;
    if (ef.is_and(x)) {
      for (std::size_t i = x->arity(); i > 0; --i)
        todo.push_back({x->child(i - 1), next.innermost});
      continue;
    }
    if (ef.is_temporal_expression(x)) {
      intervals.push_back({x->child(0), next.innermost});
      todo.push_back({x->child(1), intervals.size() - 1});
      continue;
    }
    Expression assignment = nullptr;
    if (is_assignable(x)) {
      assignment = ef.make_assign(x, ef.make_true());
    } else if (ef.is_not(x) && is_assignable(x->child(0))) {
      assignment = ef.make_assign(x->child(0), ef.make_false());
    } else if (ef.is_equals(x) && is_assignable(x->child(0))) {
      assignment = ef.make_assign(x->child(0), x->child(1));
    } else {
      handle_error("Found a malformed effect");
    }
    for (std::size_t i = next.innermost; i != no_interval; i = intervals[i].outer) {
      assignment = ef.make_temporal_expression(intervals[i].interval, assignment);
    }
    result.push_back({assignment, x});
  }
  return result;
}

}  // namespace kelvo
