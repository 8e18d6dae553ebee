#include "parsers/pddl/pddl_builder.h"

#include <algorithm>

#include "model/model_factory.h"
#include "parsers/pddl/pddl_parser.h"
#include "shell/environment.h"
#include "shell/numbers.h"
#include "shell/warnings.h"

namespace kelvo {

using model::Expression;

namespace {

// Names of the model have no hyphens, and parameters a mark of their own, so that they never hide
// a predicate or an object.
std::string name_of(std::string_view text) {
  std::string name = text.front() == '?' ? "_param_" : "";
  name += text.front() == '?' ? text.substr(1) : text;
  std::ranges::replace(name, '-', '_');
  return name;
}

// The parts of a conjunction, nested ones opened, in the order of the text.
std::vector<Expression> conjuncts(const model::ExpressionFactory& ef, Expression e) {
  std::vector<Expression> result;
  std::vector<Expression> todo{e};
  while (!todo.empty()) {
    const Expression next = todo.back();
    todo.pop_back();
    if (ef.is_and(next)) {
      todo.insert(todo.end(), next->children().rbegin(), next->children().rend());
    } else {
      result.push_back(next);
    }
  }
  return result;
}

// The first line from `from` on where the expression is among sorted notes, or 0.
std::size_t line_of(const std::vector<model::StatementLine>& notes, Expression e,
                    std::size_t from = 0) {
  const auto found = std::ranges::partition_point(notes, [&](const model::StatementLine& note) {
    return note.statement->id() < e->id() || (note.statement == e && note.line < from);
  });
  return found != notes.end() && found->statement == e ? found->line : 0;
}

}  // namespace

PddlBuilder::PddlBuilder(PddlParser& parser, model::ProblemInstanceImpl& problem)
    : EnvObject(parser.environment()),
      parser_(parser),
      problem_(problem),
      ef_(environment().expression_factory()),
      problem_lines_(&lines_[""]) {}

void PddlBuilder::handle_error(const std::string& message) {
  parser_.handle_error(message);
}

PddlToken* PddlBuilder::token(const char* text, std::size_t length, std::size_t line) {
  const std::string_view key(text, length);
  auto found = tokens_.find(key);
  if (found == tokens_.end()) {
    found = tokens_.emplace(std::string(key), PddlToken{name_of(key), line}).first;
    found->second.spelling = found->first;
  }
  return &found->second;
}

const PddlToken* PddlBuilder::find_token(const std::string& name) const {
  const PddlToken* first = nullptr;
  for (const auto& [text, token] : tokens_) {
    if (token.name == name && (first == nullptr || token.line < first->line)) first = &token;
  }
  return first;
}

bool PddlBuilder::is_derived(const std::string& type, const std::string& base) const {
  const auto derived = problem_.user_types().find(type);
  if (derived == problem_.user_types().end()) return false;
  const auto found = problem_.user_types().find(base);
  return found != problem_.user_types().end() && derived->second->is_derived_from(found->second);
}

std::map<std::string, std::string> PddlBuilder::spellings() const {
  std::map<std::string, std::string> result;
  for (const auto& [text, token] : tokens_) {
    if (text.front() != '?' && text != token.name) result.emplace(token.name, text);
  }
  return result;
}

PddlBuilder::Mark PddlBuilder::push_expression(Expression e) {
  expressions_.push_back(e);
  return expressions_.size() - 1;
}

PddlBuilder::Mark PddlBuilder::push_conjunct(Expression e) {
  note_line(e);
  return push_expression(e);
}

// Facts are many, and what stands inside of one has its line.
PddlBuilder::Mark PddlBuilder::push_init(Expression e) {
  notes_.clear();
  init_lines_.push_back(last_line_);
  return push_expression(e);
}

Expression PddlBuilder::end_part(Expression e) {
  note_line(e);
  model::sort_lines(notes_);
  parts_.push_back(std::exchange(notes_, {}));
  return e;
}

void PddlBuilder::add_statement(Expression e, std::size_t line) {
  problem_.add_expression(e);
  if (line != 0) problem_lines_->push_back({e, line});
}

PddlBuilder::Mark PddlBuilder::push_name(const PddlToken* name) {
  names_.push_back(name);
  return names_.size() - 1;
}

PddlBuilder::Mark PddlBuilder::begin_typed_names() {
  group_ = typed_names_.size();
  return typed_names_.size();
}

void PddlBuilder::push_typed_name(const PddlToken* name) {
  typed_names_.push_back({name, nullptr});
}

void PddlBuilder::end_group(const PddlToken* type) {
  if (group_ == typed_names_.size()) typed_names_.push_back({nullptr, nullptr});
  for (; group_ < typed_names_.size(); ++group_) typed_names_[group_].type = type;
}

const std::vector<Expression>& PddlBuilder::pop_expressions(Mark mark) {
  const auto begin = expressions_.begin() + static_cast<std::ptrdiff_t>(mark);
  scratch_.assign(begin, expressions_.end());
  expressions_.erase(begin, expressions_.end());
  return scratch_;
}

model::Parameters PddlBuilder::pop_parameters(Mark mark) {
  const auto begin = parameters_.begin() + static_cast<std::ptrdiff_t>(mark);
  model::Parameters list(begin, parameters_.end());
  parameters_.erase(begin, parameters_.end());
  return list;
}

// The user type of the problem that has the name; made when there is none.
model::UserType PddlBuilder::declared_type(const std::string& name) {
  const auto found = problem_.user_types().find(name);
  if (found != problem_.user_types().end()) return found->second;
  const model::UserType type = environment().model_factory().make_user_type(name);
  problem_.add_user_type(type);
  return type;
}

void PddlBuilder::declare_types(Mark typed_names) {
  model::ModelFactory& mf = environment().model_factory();
  for (std::size_t i = typed_names; i < typed_names_.size(); ++i) {
    const auto& [name, parent] = typed_names_[i];
    const model::UserType base = parent == nullptr ? nullptr : declared_type(parent->name);
    if (name == nullptr || problem_.has_user_type(name->name)) continue;
    const model::UserType type = mf.make_user_type(name->name);
    if (base != nullptr) type->add_base_type(base);
    problem_.add_user_type(type);
  }
  typed_names_.resize(typed_names);
}

void PddlBuilder::declare_objects(Mark typed_names) {
  model::ModelFactory& mf = environment().model_factory();
  for (std::size_t i = typed_names; i < typed_names_.size(); ++i) {
    const auto& [name, type_name] = typed_names_[i];
    if (name == nullptr) continue;
    const model::UserType type =
        type_name == nullptr ? mf.make_object_type() : mf.make_unresolved_type(type_name->name);
    problem_.add_instance(mf.make_instance(name->name, type));
  }
  typed_names_.resize(typed_names);
}

void PddlBuilder::push_parameters(Mark names, const model::Type& type) {
  for (std::size_t i = names; i < names_.size(); ++i) {
    parameters_.push_back(environment().model_factory().make_parameter(names_[i]->name, type));
  }
  names_.resize(names);
}

void PddlBuilder::declare_parameters(Mark names, const PddlToken* type) {
  push_parameters(names, environment().model_factory().make_unresolved_type(type->name));
}

// The placeholders of the members know the union, the members themselves don't: a member is used
// for itself everywhere else. (`Domains` asks the placeholders.)
void PddlBuilder::declare_union_parameters(Mark names, Mark type_names) {
  std::string name = "either";
  for (std::size_t i = type_names; i < names_.size(); ++i) name += "_" + names_[i]->name;
  const model::UserType type = declared_type(name);
  for (std::size_t i = type_names; i < names_.size(); ++i) {
    environment().model_factory().make_unresolved_type(names_[i]->name)->add_base_type(type);
  }
  names_.resize(type_names);
  push_parameters(names, type);
}

void PddlBuilder::declare_fluent(const PddlToken* name, const model::Type& type, Mark parameters) {
  const model::Parameters list = pop_parameters(parameters);
  problem_.add_fluent(
      environment().model_factory().make_fluent(name->name, type, model::Path(), list));
}

void PddlBuilder::declare_predicate(const PddlToken* name, Mark parameters) {
  declare_fluent(name, environment().model_factory().make_boolean_type(), parameters);
}

void PddlBuilder::declare_function(const PddlToken* name, Mark parameters) {
  declare_fluent(name, environment().model_factory().make_rational_type(), parameters);
}

void PddlBuilder::declare_action(const PddlToken* name, Mark parameters, Expression duration,
                                 Expression condition, Expression effect) {
  Lines body;
  for (const Expression e : conjuncts(ef_, duration)) {
    body.push_back({e, line_of(parts_.front(), e)});
  }
  add_action(name, parameters, std::move(body), condition, effect);
}

void PddlBuilder::declare_uncontrollable_action(const PddlToken* name, Mark parameters,
                                                Expression duration, Expression condition,
                                                Expression effect) {
  const Expression chosen = ef_.is_and(duration) ? uncontrollable_duration(duration) : duration;
  add_action(name, parameters, {{chosen, line_of(parts_.front(), duration)}}, condition, effect);
}

Expression PddlBuilder::uncontrollable_duration(Expression duration) {
  Expression lower = nullptr;
  Expression upper = nullptr;
  for (const Expression e : conjuncts(ef_, duration)) {
    const bool is_le = ef_.is_le(e);
    if (!is_le && !ef_.is_ge(e)) continue;
    if (ef_.is_duration_anchor(e->child(0))) (is_le ? upper : lower) = e->child(1);
    if (ef_.is_duration_anchor(e->child(1))) (is_le ? lower : upper) = e->child(0);
  }
  if (lower == nullptr || upper == nullptr) {
    handle_error("An uncontrollable duration needs a lower and an upper bound");
  }
  const Expression anchor = ef_.make_duration_anchor();
  const Expression interval = ef_.make_closed_interval(lower, upper);
  return ef_.make_in_assign(anchor, interval);
}

void PddlBuilder::add_action(const PddlToken* name, Mark parameters, Lines body,
                             Expression condition, Expression effect) {
  const std::vector<Lines> parts = std::exchange(parts_, {});
  bool is_untimed = false;
  for (const Expression e : conjuncts(ef_, condition)) {
    is_untimed = is_untimed || !ef_.is_temporal_expression(e);
    body.push_back({e, line_of(parts[1], e)});
  }
  if (is_untimed) {
    environment().warning_manager().warn(
        "Action '" + name->name +
        "' has a condition without a time: write (at start ...), (over all ...) or (at end ...)");
  }
  for (const Expression e : conjuncts(ef_, effect)) {
    const std::size_t line = line_of(parts[2], e);
    for (const auto& [assignment, part] : parser_.condition_to_effect(e)) {
      body.push_back({assignment, std::max(line, line_of(parts[2], part, line))});
    }
  }
  model::ExpressionSet expressions;
  for (const model::StatementLine& statement : body) expressions.insert(statement.statement);
  std::erase_if(body, [](const model::StatementLine& statement) { return statement.line == 0; });
  lines_.try_emplace(name->name, std::move(body));
  const model::Parameters list = pop_parameters(parameters);
  problem_.add_action(
      environment().model_factory().make_action(name->name, model::Path(), list, expressions));
}

void PddlBuilder::add_init(Mark expressions) {
  for (std::size_t i = expressions; i < expressions_.size(); ++i) {
    const Expression e = expressions_[i];
    const bool is_timed = ef_.is_temporal_expression(e);
    for (const auto& [assignment, part] : parser_.condition_to_effect(e)) {
      add_statement(is_timed ? assignment : at_start(assignment), init_lines_[i - expressions]);
    }
  }
  expressions_.resize(expressions);
  init_lines_.clear();
}

// A goal is about the end, so that `at end` adds nothing to it.
void PddlBuilder::add_goal(Expression e) {
  note_line(e);
  model::sort_lines(notes_);
  const Lines notes = std::exchange(notes_, {});
  const Expression end = ef_.make_point_interval(ef_.make_end_anchor());
  const auto is_timed = [this](Expression x) { return ef_.is_temporal_expression(x); };
  Lines todo{{e, line_of(notes, e)}};
  // A part without a line of its own has that of the whole.
  const auto push_parts = [&](const std::vector<Expression>& parts, std::size_t line) {
    for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
      todo.push_back({*part, std::max(line, line_of(notes, *part, line))});
    }
  };
  while (!todo.empty()) {
    const auto [goal, line] = todo.back();
    todo.pop_back();
    if (is_timed(goal) && goal->child(0) == end) {
      push_parts({goal->child(1)}, line);
    } else if (is_timed(goal)) {
      environment().warning_manager().warn("Goals hold at the end: write them without a time");
      add_statement(at_end(goal), line);
    } else if (goal == e && ef_.is_and(goal)) {
      push_parts({goal->children().begin(), goal->children().end()}, line);
    } else if (const std::vector<Expression> parts = conjuncts(ef_, goal);
               ef_.is_and(goal) && std::ranges::any_of(parts, is_timed)) {
      push_parts(parts, line);
    } else {
      add_statement(at_end(goal), line);
    }
  }
}

Expression PddlBuilder::symbol(PddlToken* name) {
  if (name->expression == nullptr) name->expression = ef_.make_unresolved_symbol(name->name);
  return name->expression;
}

Expression PddlBuilder::number(PddlToken* number) {
  if (number->expression == nullptr) {
    number->expression = ef_.make_rational_constant(rational_from_string(number->name));
  }
  return number->expression;
}

Expression PddlBuilder::application(PddlToken* function, Mark arguments) {
  const Expression reference = symbol(function);
  if (arguments == expressions_.size()) return reference;
  return ef_.make_functional_apply(reference, pop_expressions(arguments));
}

Expression PddlBuilder::conjunction(Mark expressions) {
  return ef_.make_and(pop_expressions(expressions));
}

Expression PddlBuilder::disjunction(Mark expressions) {
  return ef_.make_or(pop_expressions(expressions));
}

Expression PddlBuilder::sum(Mark expressions) {
  return ef_.make_plus(pop_expressions(expressions));
}

Expression PddlBuilder::product(Mark expressions) {
  return ef_.make_times(pop_expressions(expressions));
}

Expression PddlBuilder::at(Expression time, Expression e) {
  return ef_.make_temporal_expression(ef_.make_point_interval(time), e);
}

Expression PddlBuilder::at_start(Expression e) {
  return at(ef_.make_start_anchor(), e);
}

Expression PddlBuilder::at_end(Expression e) {
  return at(ef_.make_end_anchor(), e);
}

Expression PddlBuilder::over_all(Expression e) {
  const Expression start = ef_.make_start_anchor();
  const Expression end = ef_.make_end_anchor();
  return ef_.make_temporal_expression(ef_.make_open_interval(start, end), e);
}

void* PddlBuilder::allocate_stack(std::size_t size) {
  stack_blocks_.emplace_back(std::malloc(size));
  return stack_blocks_.back().get();
}

void PddlBuilder::free_stack(void* block) {
  std::erase_if(stack_blocks_, [block](const auto& owned) { return owned.get() == block; });
}

}  // namespace kelvo
