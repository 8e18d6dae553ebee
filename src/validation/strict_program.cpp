#include "validation/strict_program.h"

#include <algorithm>

#include "model/constant.h"
#include "model/expression_payloads.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "shell/errors.h"

namespace kelvo::strict {

using model::Expression;
using Kind = model::ExpressionOperatorKind;

namespace {

[[noreturn]] void refuse(Expression e) {
  throw InvalidParameterError() << "The expression has no value that could be judged: "
                                << model::print_expression(e);
}

std::optional<Op> operator_of(Kind kind) {
  switch (kind) {
    case Kind::AND:
      return Op::AND;
    case Kind::OR:
      return Op::OR;
    case Kind::NOT:
      return Op::NOT;
    case Kind::IMPLY:
      return Op::IMPLY;
    case Kind::EQUALS:
    case Kind::IFF:
    case Kind::ASSIGN:  // `duration := e`; assignments to fluents are taken apart before
      return Op::EQUALS;
    case Kind::LT:
      return Op::LT;
    case Kind::LE:
      return Op::LE;
    case Kind::GT:
      return Op::GT;
    case Kind::GE:
      return Op::GE;
    case Kind::PLUS:
      return Op::PLUS;
    case Kind::TIMES:
      return Op::TIMES;
    case Kind::MINUS:
      return Op::MINUS;
    case Kind::DIV:
      return Op::DIV;
    case Kind::IN:
      return Op::IN;
    case Kind::SUBSET:
      return Op::SUBSET;
    case Kind::UNION:
      return Op::UNION;
    case Kind::INTERSECTION:
      return Op::INTERSECTION;
    case Kind::DIFFERENCE:
      return Op::DIFFERENCE;
    case Kind::SET_CONSTANT:
      return Op::SET;
    default:
      return std::nullopt;
  }
}

}  // namespace

/// A fluent or constant applied to expressions.
struct ProgramCompiler::Application {
  Expression reference = nullptr;
  /// Null for the object that executes the action, where the function is a member.
  Expression object = nullptr;
  bool is_member = false;
  std::vector<Expression> arguments;
};

std::optional<ProgramCompiler::Application> ProgramCompiler::as_application(
    Expression e, const CompileScope& scope) {
  Application result;
  result.reference = e;
  // `o.f`, `o.f(x)` and the application of `o.f` to x have one meaning.
  const auto open_up = [&result]() {
    while (true) {
      const Kind kind = model::kind_of(result.reference);
      if (kind == Kind::FLUENT_FUN_APPLY) {
        const auto children = result.reference->children();
        result.arguments.assign(children.begin(), children.end());
        result.reference =
            model::payload_of<model::FluentFunApplyPayload>(result.reference).reference();
      } else if (kind == Kind::DOT) {
        result.object = result.reference->child(0);
        result.reference = result.reference->child(1);
      } else {
        return;
      }
    }
  };
  open_up();
  const Kind kind = model::kind_of(result.reference);
  if (kind != Kind::FLUENT_REF && kind != Kind::CONSTANT_REF) return std::nullopt;
  std::size_t num_parameters = 0;
  if (kind == Kind::FLUENT_REF) {
    const model::Fluent fluent = model::payload_of<model::FluentPayload>(result.reference).fluent();
    result.is_member = !fluent->path().empty();
    num_parameters = fluent->arity();
  } else {
    const model::Constant constant =
        model::payload_of<model::ConstantPayload>(result.reference).constant();
    result.is_member = !constant->path().empty();
    num_parameters = constant->arity();
  }
  const bool has_object = result.object != nullptr;
  if (result.arguments.size() != num_parameters || (has_object && !result.is_member) ||
      (result.is_member && !has_object && !scope.has_object)) {
    refuse(e);
  }
  return result;
}

Instruction ProgramCompiler::call(const Application& application) {
  if (model::kind_of(application.reference) == Kind::FLUENT_REF) {
    const model::Fluent fluent =
        model::payload_of<model::FluentPayload>(application.reference).fluent();
    return {Op::FLUENT, static_cast<std::uint32_t>(functions_.fluent(fluent))};
  }
  const model::Constant constant =
      model::payload_of<model::ConstantPayload>(application.reference).constant();
  return {Op::CONSTANT, static_cast<std::uint32_t>(functions_.constant(constant))};
}

// Most of what is compiled is one of these: times, arguments and values.
std::optional<Instruction> ProgramCompiler::leaf(Expression e, const CompileScope& scope) {
  switch (model::kind_of(e)) {
    case Kind::START:
      return Instruction{Op::START};
    case Kind::END:
      return Instruction{Op::END};
    case Kind::DURATION:
      return Instruction{Op::DURATION};
    case Kind::PARAMETER_REF: {
      const auto position =
          scope.parameters.find(model::payload_of<model::ParameterPayload>(e).parameter().get());
      if (position == scope.parameters.end()) refuse(e);
      return Instruction{Op::PARAMETER, position->second};
    }
    case Kind::FLUENT_REF:
    case Kind::CONSTANT_REF:
    case Kind::FLUENT_FUN_APPLY:
    case Kind::DOT:
      return std::nullopt;
    default:
      break;
  }
  const Value literal = literal_value(values_, e);
  if (literal == kNoValue) return std::nullopt;
  return Instruction{Op::VALUE, literal};
}

Program ProgramCompiler::compile(Expression root, const CompileScope& scope) {
  if (const std::optional<Instruction> only = leaf(root, scope)) return {*only};
  Program program;
  // Either an expression that is still to be walked, or the instruction after its children.
  struct Work {
    Expression e;
    Instruction instruction;
  };
  std::vector<Work> todo{{root, {Op::VALUE}}};
  const auto push_children = [&todo](const auto& children) {
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
      todo.push_back({*child, {Op::VALUE}});
    }
  };
  while (!todo.empty()) {
    const auto [e, instruction] = todo.back();
    todo.pop_back();
    if (e == nullptr) {
      program.push_back(instruction);
      continue;
    }
    if (const std::optional<Instruction> only = leaf(e, scope)) {
      program.push_back(*only);
      continue;
    }
    switch (const Kind kind = model::kind_of(e)) {
      case Kind::FLUENT_REF:
      case Kind::CONSTANT_REF:
      case Kind::FLUENT_FUN_APPLY:
      case Kind::DOT: {
        const std::optional<Application> application = as_application(e, scope);
        if (!application) refuse(e);
        todo.push_back({nullptr, call(*application)});
        push_children(application->arguments);
        if (application->object != nullptr) {
          todo.push_back({application->object, {Op::VALUE}});
        } else if (application->is_member) {
          todo.push_back({nullptr, {Op::OBJECT}});
        }
        break;
      }
      default: {
        const std::optional<Op> op = operator_of(kind);
        if (!op) refuse(e);
        todo.push_back({nullptr, {*op, static_cast<std::uint32_t>(e->arity())}});
        push_children(e->children());
      }
    }
  }
  return program;
}

ProgramCompiler::Target ProgramCompiler::compile_target(Expression left,
                                                        const CompileScope& scope) {
  const std::optional<Application> application = as_application(left, scope);
  if (!application || model::kind_of(application->reference) != Kind::FLUENT_REF) refuse(left);
  Target target{call(*application).operand, {}};
  if (application->object != nullptr) {
    target.arguments.push_back(compile(application->object, scope));
  } else if (application->is_member) {
    target.arguments.push_back({{Op::OBJECT}});
  }
  for (const Expression e : application->arguments) target.arguments.push_back(compile(e, scope));
  return target;
}

}  // namespace kelvo::strict
