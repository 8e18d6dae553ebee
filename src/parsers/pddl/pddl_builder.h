#pragma once

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/expression_factory.h"
#include "model/parametric_object.h"
#include "model/problem_instance.h"
#include "model/source_map.h"
#include "shell/env_object.h"

namespace kelvo {

class PddlParser;

/// An identifier, a parameter or a number, once for each parse.
struct PddlToken {
  /// The name in the model, which has no hyphens: `_param_from_x` for `?from-x`.
  std::string name;
  /// The line on which it stands first, counted through all files.
  std::size_t line = 0;
  /// What it stands for, once that was made.
  model::Expression expression = nullptr;
  /// The text as it was written; lives as long as the builder.
  std::string_view spelling = {};
};

/// The semantic actions of the grammar of PDDL: fills a raw problem, in which names are unresolved
/// symbols and placeholders for types.
///
/// Lists are kept on stacks. A list is known by its mark, the height of the stack where it begins;
/// the rule that consumes a list pops it.
class PddlBuilder : public EnvObject {
 public:
  using Expression = model::Expression;
  using Mark = std::size_t;

  PddlBuilder(PddlParser& parser, model::ProblemInstanceImpl& problem);

  /// Throws the `ParserError` of the parser, with the line.
  void handle_error(const std::string& message);
  model::ExpressionFactory& ef() { return ef_; }

  /// The token of a text; valid as long as the builder.
  PddlToken* token(const char* text, std::size_t length, std::size_t line);
  /// The token that has the name in the model, or null. Looks at all tokens.
  const PddlToken* find_token(const std::string& name) const;
  /// Whether both are user types of the problem and the first is derived from the second.
  bool is_derived(const std::string& type, const std::string& base) const;
  /// How names with hyphens were written, by their names in the model.
  std::map<std::string, std::string> spellings() const;

  // Lines.
  /// Returns the expression, which was just made and begins on the line; 0: its line is not known.
  Expression located(Expression e, std::size_t line) {
    last_line_ = line;
    return e;
  }
  /// Returns the duration, condition or effect of an action, which come in this order.
  Expression end_part(Expression e);
  /// The lines of all statements.
  model::StatementLines take_lines() { return std::move(lines_); }

  // Lists.
  Mark expressions_mark() const { return expressions_.size(); }
  Mark names_mark() const { return names_.size(); }
  Mark parameters_mark() const { return parameters_.size(); }
  /// These push one element and return the mark of the list that begins with it.
  Mark push_expression(Expression e);
  /// The same for an expression that was just made, and keep its line.
  Mark push_conjunct(Expression e);
  Mark push_init(Expression e);
  Mark push_name(const PddlToken* name);
  Mark begin_typed_names();
  void push_typed_name(const PddlToken* name);
  /// Gives the type to the names after the last group.
  void end_group(const PddlToken* type);

  // Declarations.
  void declare_types(Mark typed_names);
  void declare_objects(Mark typed_names);
  void declare_parameters(Mark names, const PddlToken* type);
  void declare_union_parameters(Mark names, Mark type_names);
  void declare_predicate(const PddlToken* name, Mark parameters);
  void declare_function(const PddlToken* name, Mark parameters);
  void declare_action(const PddlToken* name, Mark parameters, Expression duration,
                      Expression condition, Expression effect);
  /// The same with a duration that the environment chooses between two bounds.
  void declare_uncontrollable_action(const PddlToken* name, Mark parameters, Expression duration,
                                     Expression condition, Expression effect);

  // Statements.
  void add_init(Mark expressions);
  void add_goal(Expression e);

  // Expressions that take more than one call of the factory.
  Expression symbol(PddlToken* name);
  Expression number(PddlToken* number);
  Expression application(PddlToken* function, Mark arguments);
  /// The empty conjunction.
  Expression nothing() { return conjunction(expressions_mark()); }
  Expression conjunction(Mark expressions);
  Expression disjunction(Mark expressions);
  Expression sum(Mark expressions);
  Expression product(Mark expressions);
  Expression at(Expression time, Expression e);
  Expression at_start(Expression e);
  Expression at_end(Expression e);
  Expression over_all(Expression e);

  /// Memory of the parser's grown stack: freed with the builder at the latest. Null when there is
  /// no memory.
  void* allocate_stack(std::size_t size);
  void free_stack(void* block);

 private:
  struct Free {
    void operator()(void* block) const { std::free(block); }
  };
  /// Looks texts up without a copy.
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };
  struct TypedName {
    const PddlToken* name;  // null: a type without a group before it
    const PddlToken* type;  // null: none
  };

  using Lines = std::vector<model::StatementLine>;

  void note_line(Expression e) {
    if (last_line_ != 0) notes_.push_back({e, last_line_});
  }
  void add_statement(Expression e, std::size_t line);
  const std::vector<Expression>& pop_expressions(Mark mark);
  model::Parameters pop_parameters(Mark mark);
  void push_parameters(Mark names, const model::Type& type);
  model::UserType declared_type(const std::string& name);
  void declare_fluent(const PddlToken* name, const model::Type& type, Mark parameters);
  void add_action(const PddlToken* name, Mark parameters, Lines body, Expression condition,
                  Expression effect);
  Expression uncontrollable_duration(Expression duration);

  PddlParser& parser_;
  model::ProblemInstanceImpl& problem_;
  model::ExpressionFactory& ef_;

  std::unordered_map<std::string, PddlToken, TextHash, std::equal_to<>> tokens_;
  std::vector<Expression> expressions_;
  std::vector<Expression> scratch_;
  std::vector<const PddlToken*> names_;
  std::vector<TypedName> typed_names_;
  std::size_t group_ = 0;
  model::Parameters parameters_;
  std::vector<std::unique_ptr<void, Free>> stack_blocks_;

  std::size_t last_line_ = 0;  // of the expression that was made last
  Lines notes_;                // the parts of what is read: of conjunctions and at times
  std::vector<Lines> parts_;   // the notes of an action's duration, condition, effect
  std::vector<std::size_t> init_lines_;
  model::StatementLines lines_;
  Lines* problem_lines_;  // in `lines_`
};

}  // namespace kelvo
