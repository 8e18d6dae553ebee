#include "validation/strict_initial_state.h"

#include <algorithm>

#include "model/expression_payloads.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "shell/errors.h"

namespace kelvo::strict {

namespace {

enum class Progress : std::uint8_t { NEW, OPEN, DONE };

constexpr Slot kUnknownSlot = static_cast<Slot>(-1);

struct Initial {
  const Statement* statement;
  Progress progress = Progress::NEW;
  /// Unknown while arguments that read fluents are.
  Slot slot = kUnknownSlot;
};

[[noreturn]] void fail(model::Expression statement, const std::string& complaint) {
  throw InvalidParameterError() << "The initial value is wrong: " << complaint << ": "
                                << model::print_expression(statement);
}

[[noreturn]] void fail(const Statement& statement, const std::string& complaint) {
  fail(statement.source, complaint);
}

std::string text_of(const Values& values, const Functions& functions, const GroundFluents& fluents,
                    Slot slot) {
  const std::span<const Value> arguments = fluents.arguments_of(slot);
  return application_text(values, functions.fluent(fluents.fluent_of(slot)),
                          {arguments.begin(), arguments.end()});
}

void give(InitialState& result, Slot slot, Value value, model::Expression source) {
  Writer writer;
  writer.statement = static_cast<std::uint32_t>(result.sources.size());
  result.sources.push_back(source);
  result.state.write(slot, value, writer);
}

class Resolver {
 public:
  Resolver(Values& values, Functions& functions, GroundFluents& fluents, Evaluator& evaluator,
           InitialState& result)
      : values_(values),
        functions_(functions),
        fluents_(fluents),
        evaluator_(evaluator),
        result_(result),
        state_(result.state) {
    bindings_.start = values_.rational_number(0);
  }

  void add(const Statement& statement) { initials_.push_back({&statement}); }

  void resolve() {
    enter_known_slots();
    for (std::size_t i = 0; i < initials_.size(); ++i) {
      if (initials_[i].progress == Progress::NEW) resolve(i);
    }
  }

 private:
  // The targets whose arguments read nothing, so that reads find what gives them their value.
  void enter_known_slots() {
    for (std::size_t i = 0; i < initials_.size(); ++i) {
      const auto reads = [](const Program& program) {
        return std::ranges::any_of(
            program, [](const Instruction& instruction) { return instruction.op == Op::FLUENT; });
      };
      const ProgramCompiler::Target& target = initials_[i].statement->target;
      if (std::ranges::any_of(target.arguments, reads)) {
        unknown_.push_back(i);
      } else {
        enter_slot(i, target_slot(initials_[i]));
      }
    }
  }

  Slot target_slot(const Initial& initial) {
    const ProgramCompiler::Target& target = initial.statement->target;
    arguments_.clear();
    evaluator_.forget();
    for (const Program& program : target.arguments) {
      arguments_.push_back(evaluator_.evaluate(program, bindings_, state_));
    }
    if (!evaluator_.unset().empty()) return kUnknownSlot;
    if (!evaluator_.fit_arguments(functions_.fluent(target.fluent), arguments_)) {
      fail(*initial.statement, evaluator_.complaint());
    }
    return fluents_.slot(target.fluent, arguments_);
  }

  void enter_slot(std::size_t i, Slot slot) {
    initials_[i].slot = slot;
    if (slot >= giver_.size()) giver_.resize(slot + 1, kNone);
    if (giver_[slot] != kNone || state_.value(slot) != kNoValue) {
      fail(*initials_[i].statement,
           "fluent " + text_of(values_, functions_, fluents_, slot) + " has another one");
    }
    giver_[slot] = i;
  }

  // Depth first, on a stack: what is read comes before what reads it.
  void resolve(std::size_t root) {
    std::vector<std::size_t> todo{root};
    while (!todo.empty()) {
      const std::size_t i = todo.back();
      if (initials_[i].progress == Progress::DONE || give_value(i)) {
        todo.pop_back();
        continue;
      }
      initials_[i].progress = Progress::OPEN;
      const std::vector<Slot> unset = evaluator_.unset();
      for (const Slot slot : unset) push_givers(i, slot, todo);
    }
  }

  // Whether the value could be given; else the evaluator knows what is unset.
  bool give_value(std::size_t i) {
    const Statement& statement = *initials_[i].statement;
    if (initials_[i].slot == kUnknownSlot) {
      const Slot slot = target_slot(initials_[i]);
      if (slot == kUnknownSlot) return false;
      enter_slot(i, slot);
      std::erase(unknown_, i);
    }
    evaluator_.forget();
    const Value value = evaluator_.evaluate(statement.value, bindings_, state_);
    if (!evaluator_.unset().empty()) return false;
    if (value == kNoValue) fail(statement, evaluator_.complaint());
    std::string complaint;
    const Value fitting =
        functions_.fluent(statement.target.fluent).type.fit(values_, value, complaint);
    if (fitting == kNoValue) fail(statement, complaint);
    give(result_, initials_[i].slot, fitting, statement.source);
    initials_[i].progress = Progress::DONE;
    return true;
  }

  void push_givers(std::size_t reader, Slot slot, std::vector<std::size_t>& todo) {
    std::vector<std::size_t> givers;
    if (slot < giver_.size() && giver_[slot] != kNone) {
      givers.push_back(giver_[slot]);
    } else {
      // One of those whose arguments are not known yet may give it.
      for (const std::size_t i : unknown_) {
        if (initials_[i].statement->target.fluent == fluents_.fluent_of(slot)) givers.push_back(i);
      }
    }
    const std::string name = text_of(values_, functions_, fluents_, slot);
    if (givers.empty()) {
      fail(*initials_[reader].statement, "it reads fluent " + name + ", which has no value");
    }
    for (const std::size_t i : givers) {
      if (initials_[i].progress == Progress::OPEN) {
        fail(*initials_[reader].statement,
             "it reads fluent " + name + ", whose value depends on it");
      }
      todo.push_back(i);
    }
  }

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  Values& values_;
  Functions& functions_;
  GroundFluents& fluents_;
  Evaluator& evaluator_;
  Bindings bindings_;
  InitialState& result_;
  const State& state_;
  std::vector<Initial> initials_;
  std::vector<std::size_t> unknown_;
  std::vector<std::size_t> giver_;  // by slot
  std::vector<Value> arguments_;
};

}  // namespace

bool is_initial_value(const Statement& statement, Values& values, Evaluator& evaluator) {
  if (statement.kind != Statement::Kind::EFFECT || statement.left.mentions_end) return false;
  Bindings bindings;
  bindings.start = values.rational_number(0);
  const Value time = evaluator.evaluate(statement.left.time, bindings, State());
  return values.is_number(time) && values.number_of(time) == 0;
}

void add_initial_values(const StatementList& problem, Values& values, Functions& functions,
                        GroundFluents& fluents, Evaluator& evaluator, InitialState& result) {
  Resolver resolver(values, functions, fluents, evaluator, result);
  for (const Statement& statement : problem.statements) {
    if (is_initial_value(statement, values, evaluator)) resolver.add(statement);
  }
  resolver.resolve();
}

// Kept, for there are few references and literals beside many statements.
Value InitialLiterals::value_of(model::Expression literal) {
  const std::size_t id = literal->id();
  if (id >= literals_.size()) literals_.resize(std::max(id + 1, 2 * literals_.size()), kUnseen);
  if (literals_[id] == kUnseen) literals_[id] = literal_value(values_, literal);
  return literals_[id];
}

// Statements about one fluent mostly stand together.
std::size_t InitialLiterals::fluent_of(model::Expression reference) {
  if (reference != last_reference_) {
    last_reference_ = reference;
    last_fluent_ = functions_.fluent(model::payload_of<model::FluentPayload>(reference).fluent());
  }
  return last_fluent_;
}

bool InitialLiterals::take(model::Expression statement) {
  using Kind = model::ExpressionOperatorKind;
  if (model::kind_of(statement) != Kind::TEMPORAL_EXPR) return false;
  const model::Expression interval = statement->child(0);
  const model::Expression assignment = statement->child(1);
  if (model::kind_of(interval) != Kind::INTERVAL || interval->arity() != 1 ||
      model::kind_of(interval->child(0)) != Kind::START ||
      model::kind_of(assignment) != Kind::ASSIGN) {
    return false;
  }
  const model::Expression left = assignment->child(0);
  const bool is_applied = model::kind_of(left) == Kind::FLUENT_FUN_APPLY;
  const model::Expression reference =
      is_applied ? model::payload_of<model::FluentFunApplyPayload>(left).reference() : left;
  if (model::kind_of(reference) != Kind::FLUENT_REF) return false;
  const std::size_t index = fluent_of(reference);
  const Function& function = functions_.fluent(index);
  if (function.num_arguments() != left->arity()) return false;
  arguments_.clear();
  std::string complaint;
  for (std::size_t i = 0; i < left->arity(); ++i) {
    Value argument = value_of(left->child(i));
    if (argument == kNoValue) return false;
    // Of objects the reader has checked the type.
    if (values_.kind(argument) != ValueKind::INSTANCE) {
      argument = function.parameters[i].fit(values_, argument, complaint);
      if (argument == kNoValue) fail(statement, complaint);
    }
    arguments_.push_back(argument);
  }
  Value value = value_of(assignment->child(1));
  if (value == kNoValue) return false;
  if (values_.kind(value) != ValueKind::BOOLEAN) {
    value = function.type.fit(values_, value, complaint);
    if (value == kNoValue) fail(statement, complaint);
  }
  const Slot slot = fluents_.slot(index, arguments_);
  if (result_.state.value(slot) != kNoValue) {
    fail(statement, "fluent " + text_of(values_, functions_, fluents_, slot) + " has another one");
  }
  give(result_, slot, value, statement);
  return true;
}

}  // namespace kelvo::strict
