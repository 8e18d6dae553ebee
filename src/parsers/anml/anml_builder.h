#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

#include "model/expression_factory.h"
#include "model/parametric_object.h"
#include "model/problem_instance.h"
#include "model/source_map.h"
#include "parsers/reader_support.h"
#include "shell/env_object.h"

namespace kelvo {

class AnmlParser;

/// The semantic actions of the grammar of ANML: fills a raw problem, in which names are unresolved
/// symbols and placeholders for types.
///
/// Lists are kept on stacks. A list is known by its mark, the height of the stack where it begins;
/// the rule that consumes a list pops it. Fluents, constants, actions and user types that have just
/// been declared, and types that have just been named, are the top of their stacks.
class AnmlBuilder : public EnvObject {
 public:
  using Expression = model::Expression;
  using Mark = std::size_t;

  AnmlBuilder(AnmlParser& parser, model::ProblemInstanceImpl& problem);

  /// Throws the `ParserError` of the parser, with the line.
  void handle_error(const std::string& message);
  model::ExpressionFactory& ef() { return ef_; }
  /// For the parser's stack.
  ParserMemory& memory() { return memory_; }

  /// The token of a text; valid until the end of the parse.
  Token* token(const char* text, std::size_t length) {
    return tokens_.find_or_make({text, length});
  }

  /// What is reduced next is a statement that begins on this line, or a part of one.
  void begin_statement(std::size_t line) { line_ = line; }
  /// The lines of all statements.
  model::StatementLines take_lines() { return std::move(lines_); }

  // Lists.
  Mark expressions_mark() const { return expressions_.size(); }
  Mark members_mark() const { return members_.size(); }
  Mark names_mark() const { return names_.size(); }
  Mark parameters_mark() const { return parameters_.size(); }
  /// These push one element and return the mark of the list that begins with it.
  Mark push_expression(Expression e);
  Mark push_name(const Token* name);
  /// A statement of an action.
  void push_statement(Expression e);
  /// Takes its type from the stack of types.
  Mark push_parameter(const Token* name);

  // Statements and declarations.
  void add_statement(Expression e);
  /// Adds the last declared object to the problem.
  void add_to_problem();
  void declare_type(const Token* name, Mark base_types, Mark members);
  void declare_fluent(const Token* name, Mark parameters);
  void declare_constant(const Token* name, Mark parameters);
  void declare_action(const Token* name, Mark parameters, Mark body);
  void declare_instances(Mark names);

  // Types.
  void boolean_type();
  void integer_type();
  void integer_type(Expression minimum, Expression maximum);
  void float_type();
  void float_type(Expression minimum, Expression maximum);
  void named_type(const Token* name);
  /// Turns the type on top into the set type over it.
  void set_type();

  // Expressions that take more than one call of the factory.
  Expression symbol(Token* name);
  Expression star();
  Expression natural(Token* number);
  Expression decimal(Token* number);
  Expression negated(Expression number);
  Expression scoping(Expression parent, Token* name);
  Expression application(Expression function, Mark arguments);
  Expression set_constant(Mark elements);
  Expression not_equals(Expression a, Expression b);
  Expression whole_interval(bool left_closed, bool right_closed);
  Expression label(Expression interval, const Token* name);
  Expression duration_assign(Expression value);
  Expression duration_in(Expression lower, Expression upper);

 private:
  using Member = std::variant<model::Action, model::Fluent, model::Constant, model::UserType>;
  using Lines = std::vector<model::StatementLine>;
  using Names = std::unordered_set<std::string_view>;

  /// Where a user type stands among those that hold user types.
  struct Nesting {
    std::size_t height = 0;
    std::vector<const model::UserTypeImpl*> holders;
  };

  model::Type pop_type();
  model::UserType declared_type(const std::string& name);
  /// Into a vector that the next call uses again: applications are what a problem consists of.
  const std::vector<Expression>& pop_expressions(Mark mark);
  /// Makes the lines of an action findable. An action that was not declared last has none.
  void own_lines(const model::ActionImpl& action, std::string owner);
  void add_member(model::UserTypeImpl& type, const Member& member, Names& declared);
  Nesting& nesting(const model::UserTypeImpl& type);
  void nest(const model::UserTypeImpl& holder, const model::UserTypeImpl& nested);

  AnmlParser& parser_;
  model::ProblemInstanceImpl& problem_;
  model::ExpressionFactory& ef_;

  ParserMemory memory_;
  TokenTable tokens_;
  std::vector<Expression> expressions_;
  std::vector<Expression> scratch_;
  std::vector<const Token*> names_;
  std::vector<Member> members_;
  model::Parameters parameters_;
  std::vector<model::Type> types_;
  std::unordered_map<const model::UserTypeImpl*, Nesting> nesting_;
  std::unordered_set<const model::UserTypeImpl*> types_in_use_;

  std::size_t line_ = 1;
  Lines body_lines_;                                             // of the action that is read
  std::unordered_map<const model::ActionImpl*, Lines> actions_;  // without an owner yet
  model::StatementLines lines_;
  Lines* problem_lines_;  // in `lines_`
};

}  // namespace kelvo
