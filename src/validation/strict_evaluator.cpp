#include "validation/strict_evaluator.h"

#include <algorithm>
#include <iterator>

namespace kelvo::strict {

void Evaluator::forget() {
  reads_.clear();
  unset_.clear();
  complaint_.clear();
}

Value Evaluator::pop() {
  const Value top = stack_.back();
  stack_.pop_back();
  return top;
}

void Evaluator::complain(const std::string& complaint) {
  if (complaint_.empty()) complaint_ = complaint;
}

Value Evaluator::evaluate(const Program& program, const Bindings& bindings, const State& state) {
  stack_.clear();
  for (const Instruction& instruction : program) {
    const std::uint32_t operand = instruction.operand;
    switch (instruction.op) {
      case Op::VALUE:
        stack_.push_back(operand);
        break;
      case Op::PARAMETER:
        stack_.push_back(bindings.parameters[operand]);
        break;
      case Op::OBJECT:
        stack_.push_back(bindings.object);
        break;
      case Op::START:
        stack_.push_back(bindings.start);
        break;
      case Op::END:
        stack_.push_back(bindings.end);
        break;
      case Op::DURATION:
        stack_.push_back(bindings.duration);
        break;
      case Op::FLUENT:
        read_fluent(operand, state);
        break;
      case Op::CONSTANT:
        read_constant(operand);
        break;
      case Op::AND:
      case Op::OR:
        stack_.push_back(connective(instruction.op, operand));
        break;
      case Op::NOT: {
        const Value v = pop();
        stack_.push_back(v == kNoValue ? kNoValue : truth(v == kFalse));
        break;
      }
      case Op::PLUS:
      case Op::TIMES:
        stack_.push_back(fold(instruction.op, operand));
        break;
      case Op::SET:
        stack_.push_back(make_set(operand));
        break;
      default:
        binary(instruction.op);
    }
  }
  return pop();
}

bool Evaluator::fit_arguments(const Function& function, std::span<Value> arguments) {
  const std::size_t first = function.is_member ? 1 : 0;
  if (std::ranges::find(arguments, kNoValue) != arguments.end()) return false;
  for (std::size_t i = first; i < arguments.size(); ++i) {
    std::string complaint;
    arguments[i] = function.parameters[i - first].fit(values_, arguments[i], complaint);
    if (arguments[i] != kNoValue) continue;
    complain("an argument of " + function.name + " is wrong: " + complaint);
    return false;
  }
  return true;
}

void Evaluator::read_fluent(std::size_t index, const State& state) {
  const Function& function = functions_.fluent(index);
  const std::size_t arity = function.num_arguments();
  const std::span<Value> arguments(stack_.data() + stack_.size() - arity, arity);
  Value value = kNoValue;
  if (fit_arguments(function, arguments)) {
    const Slot slot = fluents_.slot(index, arguments);
    reads_.push_back(slot);
    value = state.value(slot);
    if (value == kNoValue) {
      unset_.push_back(slot);
      if (complaint_.empty()) {
        complain("fluent " +
                 application_text(values_, function, {arguments.begin(), arguments.end()}) +
                 " has no value");
      }
    }
  }
  stack_.resize(stack_.size() - arity);
  stack_.push_back(value);
}

void Evaluator::read_constant(std::size_t index) {
  const Function& function = functions_.constant(index);
  const std::size_t arity = function.num_arguments();
  const std::span<Value> arguments(stack_.data() + stack_.size() - arity, arity);
  Value value = kNoValue;
  if (fit_arguments(function, arguments)) {
    const std::vector<Value> key(arguments.begin(), arguments.end());
    value = functions_.constant_value(index, key);
    if (value == kNoValue) {
      complain("constant " + application_text(values_, function, key) + " has no value");
    }
  }
  stack_.resize(stack_.size() - arity);
  stack_.push_back(value);
}

Value Evaluator::connective(Op op, std::size_t arity) {
  const Value decisive = truth(op == Op::OR);
  Value result = truth(op == Op::AND);
  for (std::size_t i = 0; i < arity; ++i) {
    const Value v = pop();
    if (v == decisive || result == decisive) {
      result = decisive;
    } else if (v == kNoValue) {
      result = kNoValue;
    }
  }
  return result;
}

Value Evaluator::fold(Op op, std::size_t arity) {
  if (arity == 0) return values_.integer(rational(op == Op::TIMES ? 1 : 0));
  const std::size_t begin = stack_.size() - arity;
  Value result = stack_[begin];
  for (std::size_t i = 1; i < arity; ++i) result = arithmetic(op, result, stack_[begin + i]);
  stack_.resize(begin);
  return result;
}

Value Evaluator::make_set(std::size_t arity) {
  const auto begin = stack_.end() - static_cast<std::ptrdiff_t>(arity);
  std::vector<Value> elements(begin, stack_.end());
  stack_.erase(begin, stack_.end());
  const bool is_complete = std::ranges::find(elements, kNoValue) == elements.end();
  return is_complete ? values_.set(std::move(elements)) : kNoValue;
}

Value Evaluator::arithmetic(Op op, Value a, Value b) {
  if (!values_.is_number(a) || !values_.is_number(b)) return kNoValue;
  switch (op) {
    case Op::PLUS:
      return values_.sum(a, b);
    case Op::TIMES:
      return values_.product(a, b);
    case Op::MINUS:
      return values_.difference(a, b);
    default: {
      const Value result = values_.quotient(a, b);
      if (result == kNoValue) complain("there is a division by zero");
      return result;
    }
  }
}

Value Evaluator::comparison(Op op, Value a, Value b) const {
  if (!values_.is_number(a) || !values_.is_number(b)) return kNoValue;
  switch (op) {
    case Op::LT:
      return truth(values_.less(a, b));
    case Op::LE:
      return truth(!values_.less(b, a));
    case Op::GT:
      return truth(values_.less(b, a));
    default:
      return truth(!values_.less(a, b));
  }
}

Value Evaluator::set_operation(Op op, Value a, Value b) {
  if (values_.kind(a) != ValueKind::SET || values_.kind(b) != ValueKind::SET) return kNoValue;
  const std::vector<Value>& left = values_.elements_of(a);
  const std::vector<Value>& right = values_.elements_of(b);
  std::vector<Value> result;
  switch (op) {
    case Op::SUBSET:
      return truth(std::ranges::includes(right, left));
    case Op::UNION:
      std::ranges::set_union(left, right, std::back_inserter(result));
      break;
    case Op::INTERSECTION:
      std::ranges::set_intersection(left, right, std::back_inserter(result));
      break;
    default:
      std::ranges::set_difference(left, right, std::back_inserter(result));
  }
  return values_.set(std::move(result));
}

void Evaluator::binary(Op op) {
  const Value b = pop();
  const Value a = pop();
  Value result = kNoValue;
  switch (op) {
    case Op::IMPLY:
      if (a == kFalse || b == kTrue) {
        result = kTrue;
      } else if (a == kTrue) {
        result = b;
      }
      break;
    case Op::EQUALS:
      if (a != kNoValue && b != kNoValue) result = truth(values_.equal(a, b));
      break;
    case Op::LT:
    case Op::LE:
    case Op::GT:
    case Op::GE:
      result = comparison(op, a, b);
      break;
    case Op::IN:
      if (a != kNoValue && values_.kind(b) == ValueKind::SET) {
        const Value element = values_.as_element(a);
        result = truth(std::ranges::binary_search(values_.elements_of(b), element));
      }
      break;
    case Op::SUBSET:
    case Op::UNION:
    case Op::INTERSECTION:
    case Op::DIFFERENCE:
      result = set_operation(op, a, b);
      break;
    default:
      result = arithmetic(op, a, b);
  }
  stack_.push_back(result);
}

}  // namespace kelvo::strict
