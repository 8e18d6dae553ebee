#include "parsers/anml/anml_builder.h"

#include <sstream>

#include "model/model_factory.h"
#include "parsers/anml/anml_parser.h"
#include "shell/environment.h"
#include "shell/numbers.h"

namespace kelvo {

using model::Expression;

namespace {

// Deeper nesting of types serves nobody, and walks over scopes and set types may recurse.
constexpr std::size_t kMaxTypeNesting = 1000;

std::string quoted(const char* before, const std::string& name, const char* behind) {
  std::ostringstream text;
  text << before << " '" << name << "' " << behind;
  return text.str();
}

std::size_t depth_of_sets(model::Type type) {
  std::size_t depth = 0;
  for (; type->is_set(); type = model::as_set_type(type).type()) ++depth;
  return depth;
}

}  // namespace

AnmlBuilder::AnmlBuilder(AnmlParser& parser, model::ProblemInstanceImpl& problem)
    : EnvObject(parser.environment()),
      parser_(parser),
      problem_(problem),
      ef_(environment().expression_factory()),
      types_in_use_(environment().model_factory().user_types_in_use()),
      problem_lines_(&lines_[""]) {}

void AnmlBuilder::handle_error(const std::string& message) {
  parser_.handle_error(message);
}

AnmlBuilder::Mark AnmlBuilder::push_expression(Expression e) {
  expressions_.push_back(e);
  return expressions_.size() - 1;
}

void AnmlBuilder::push_statement(Expression e) {
  push_expression(e);
  body_lines_.push_back({e, line_});
}

void AnmlBuilder::add_statement(Expression e) {
  problem_.add_expression(e);
  problem_lines_->push_back({e, line_});
}

AnmlBuilder::Mark AnmlBuilder::push_name(const Token* name) {
  names_.push_back(name);
  return names_.size() - 1;
}

AnmlBuilder::Mark AnmlBuilder::push_parameter(const Token* name) {
  const model::Type type = pop_type();
  parameters_.push_back(environment().model_factory().make_parameter(name->first, type));
  return parameters_.size() - 1;
}

model::Type AnmlBuilder::pop_type() {
  model::Type type = std::move(types_.back());
  types_.pop_back();
  return type;
}

const std::vector<Expression>& AnmlBuilder::pop_expressions(Mark mark) {
  const auto begin = expressions_.begin() + static_cast<std::ptrdiff_t>(mark);
  scratch_.assign(begin, expressions_.end());
  expressions_.erase(begin, expressions_.end());
  return scratch_;
}

void AnmlBuilder::add_to_problem() {
  struct Add {
    AnmlBuilder& builder;
    model::ProblemInstanceImpl& problem;
    void operator()(const model::Action& a) const {
      problem.add_action(a);
      builder.own_lines(*a, a->name());
    }
    void operator()(const model::Fluent& f) const { problem.add_fluent(f); }
    void operator()(const model::Constant& c) const { problem.add_constant(c); }
    void operator()(const model::UserType& t) const { problem.add_user_type(t); }
  };
  std::visit(Add{*this, problem_}, members_.back());
  members_.pop_back();
}

void AnmlBuilder::declare_type(const Token* name, Mark base_types, Mark members) {
  model::ModelFactory& mf = environment().model_factory();
  const model::UserType type = declared_type(name->first);
  Names declared;
  for (Mark i = members; i < members_.size(); ++i) add_member(*type, members_[i], declared);
  members_.resize(members);
  for (Mark i = base_types; i < names_.size(); ++i) {
    type->add_base_type(mf.make_unresolved_type(names_[i]->first));
  }
  names_.resize(base_types);
  members_.emplace_back(type);
}

// User types are interned by name for the whole run, so a declaration may meet members from an
// earlier reading. Those that no problem has any more are forgotten, for what they refer to may be
// gone.
model::UserType AnmlBuilder::declared_type(const std::string& name) {
  model::UserType type = environment().model_factory().make_user_type(name);
  if (types_in_use_.insert(type.get()).second) type->forget_declaration();
  return type;
}

// Members that a living problem, or a type of the same name in another scope, has left there are
// kept. Twice within one declaration is the error of the scope.
void AnmlBuilder::add_member(model::UserTypeImpl& type, const Member& member, Names& declared) {
  struct Add {
    AnmlBuilder& builder;
    model::UserTypeImpl& type;
    Names& declared;

    bool is_kept(const std::string& name, bool is_there) const {
      return declared.insert(name).second && is_there;
    }
    void operator()(const model::Action& a) const {
      if (is_kept(a->name(), type.has_action(a->name()))) return;
      type.add_action(a);
      builder.own_lines(*a, type.name() + "." + a->name());
    }
    void operator()(const model::Fluent& f) const {
      if (!is_kept(f->name(), type.has_fluent(f->name()))) type.add_fluent(f);
    }
    void operator()(const model::Constant& c) const {
      if (!is_kept(c->name(), type.has_constant(c->name()))) type.add_constant(c);
    }
    void operator()(const model::UserType& t) const {
      if (is_kept(t->name(), type.has_user_type(t->name()))) return;
      builder.nest(type, *t);
      type.add_user_type(t);
    }
  };
  std::visit(Add{*this, type, declared}, member);
}

AnmlBuilder::Nesting& AnmlBuilder::nesting(const model::UserTypeImpl& type) {
  const auto [found, is_new] = nesting_.try_emplace(&type);
  if (is_new) {
    // What an earlier reading has left is nested no deeper than the limit.
    for (const auto& [name, nested] : type.user_types()) nest(type, *nested);
  }
  return nesting_[&type];
}

// A user type that is nested in itself would be a circle of owners, so heights are kept up to date
// and tested before anything is added.
void AnmlBuilder::nest(const model::UserTypeImpl& holder, const model::UserTypeImpl& nested) {
  nesting(holder);
  nesting(nested).holders.push_back(&holder);
  std::vector<const model::UserTypeImpl*> todo{&nested};
  while (!todo.empty()) {
    const Nesting& changed = nesting_[todo.back()];
    todo.pop_back();
    if (changed.height >= kMaxTypeNesting) {
      handle_error(quoted("User type", nested.name(), "is nested in itself or too deeply"));
    }
    for (const model::UserTypeImpl* above : changed.holders) {
      Nesting& place = nesting_[above];
      if (place.height > changed.height) continue;
      place.height = changed.height + 1;
      todo.push_back(above);
    }
  }
}

void AnmlBuilder::declare_fluent(const Token* name, Mark parameters) {
  const model::Parameters list = pop_list(parameters_, parameters);
  const model::Type type = pop_type();
  members_.emplace_back(
      environment().model_factory().make_fluent(name->first, type, model::Path(), list));
}

void AnmlBuilder::declare_constant(const Token* name, Mark parameters) {
  const model::Parameters list = pop_list(parameters_, parameters);
  const model::Type type = pop_type();
  members_.emplace_back(
      environment().model_factory().make_constant(name->first, type, model::Path(), list));
}

void AnmlBuilder::declare_action(const Token* name, Mark parameters, Mark body) {
  const model::Parameters list = pop_list(parameters_, parameters);
  const std::vector<Expression>& statements = pop_expressions(body);
  const model::ExpressionSet expressions(statements.begin(), statements.end());
  const model::Action action =
      environment().model_factory().make_action(name->first, model::Path(), list, expressions);
  actions_[action.get()] = std::exchange(body_lines_, {});
  members_.emplace_back(action);
}

void AnmlBuilder::own_lines(const model::ActionImpl& action, std::string owner) {
  if (auto lines = actions_.extract(&action)) {
    lines_.try_emplace(std::move(owner), std::move(lines.mapped()));
  }
}

void AnmlBuilder::declare_instances(Mark names) {
  const model::Type type = pop_type();
  if (!type->is_unresolved()) handle_error("The type of an instance must be a user type");
  const auto user_type = std::static_pointer_cast<model::UserTypeImpl>(type);
  for (Mark i = names; i < names_.size(); ++i) {
    problem_.add_instance(environment().model_factory().make_instance(names_[i]->first, user_type));
  }
  names_.resize(names);
}

void AnmlBuilder::boolean_type() {
  types_.push_back(environment().model_factory().make_boolean_type());
}

void AnmlBuilder::integer_type() {
  types_.push_back(environment().model_factory().make_integer_type());
}

void AnmlBuilder::integer_type(Expression minimum, Expression maximum) {
  types_.push_back(environment().model_factory().make_integer_type(
      ef_.get_integer_constant(minimum), ef_.get_integer_constant(maximum)));
}

void AnmlBuilder::float_type() {
  types_.push_back(environment().model_factory().make_rational_type());
}

void AnmlBuilder::float_type(Expression minimum, Expression maximum) {
  const rational& lower = ef_.get_rational_constant(minimum);
  const rational& upper = ef_.get_rational_constant(maximum);
  types_.push_back(environment().model_factory().make_rational_type(lower, upper));
}

void AnmlBuilder::named_type(const Token* name) {
  types_.push_back(environment().model_factory().make_unresolved_type(name->first));
}

void AnmlBuilder::set_type() {
  const model::Type element = pop_type();
  if (depth_of_sets(element) >= kMaxTypeNesting) handle_error("Set types are nested too deeply");
  types_.push_back(environment().model_factory().make_set_type(element));
}

Expression AnmlBuilder::symbol(Token* name) {
  if (name->second == nullptr) name->second = ef_.make_unresolved_symbol(name->first);
  return name->second;
}

Expression AnmlBuilder::star() {
  return ef_.make_unresolved_symbol("*");
}

Expression AnmlBuilder::natural(Token* number) {
  if (number->second == nullptr) {
    number->second = ef_.make_integer_constant(integer_from_string(number->first));
  }
  return number->second;
}

Expression AnmlBuilder::decimal(Token* number) {
  if (number->second == nullptr) {
    number->second = ef_.make_rational_constant(rational_from_string(number->first));
  }
  return number->second;
}

Expression AnmlBuilder::negated(Expression number) {
  if (ef_.is_integer_constant(number)) {
    return ef_.make_integer_constant(-ef_.get_integer_constant(number));
  }
  return ef_.make_rational_constant(-ef_.get_rational_constant(number));
}

Expression AnmlBuilder::scoping(Expression parent, Token* name) {
  return ef_.make_scoping(parent, symbol(name));
}

Expression AnmlBuilder::application(Expression function, Mark arguments) {
  return ef_.make_functional_apply(function, pop_expressions(arguments));
}

Expression AnmlBuilder::set_constant(Mark elements) {
  return ef_.make_set_constant(pop_expressions(elements));
}

Expression AnmlBuilder::not_equals(Expression a, Expression b) {
  const Expression equal = ef_.make_equals(a, b);
  return ef_.make_not(equal);
}

Expression AnmlBuilder::whole_interval(bool left_closed, bool right_closed) {
  const Expression start = ef_.make_start_anchor();
  const Expression end = ef_.make_end_anchor();
  if (left_closed) {
    return right_closed ? ef_.make_closed_interval(start, end)
                        : ef_.make_right_open_interval(start, end);
  }
  return right_closed ? ef_.make_left_open_interval(start, end)
                      : ef_.make_open_interval(start, end);
}

Expression AnmlBuilder::label(Expression interval, const Token* name) {
  if (!ef_.is_contains(interval)) {
    handle_error(quoted("Label", name->first, "on an interval without contains"));
  }
  const Expression duration = interval->arity() > 1 ? interval->child(1) : nullptr;
  return ef_.make_contains(interval->child(0), duration, name->first);
}

Expression AnmlBuilder::duration_assign(Expression value) {
  const Expression duration = ef_.make_duration_anchor();
  return ef_.make_assign(duration, value);
}

Expression AnmlBuilder::duration_in(Expression lower, Expression upper) {
  const Expression duration = ef_.make_duration_anchor();
  const Expression interval = ef_.make_closed_interval(lower, upper);
  return ef_.make_in_assign(duration, interval);
}

}  // namespace kelvo
