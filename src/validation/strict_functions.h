#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "validation/strict_values.h"

namespace kelvo::strict {

/// A fluent or a constant: what its applications look like.
struct Function {
  std::string name;
  /// A member of a user type: the first argument is the object that it belongs to.
  bool is_member = false;
  ValueType type;
  std::vector<ValueType> parameters;

  std::size_t num_arguments() const { return parameters.size() + (is_member ? 1 : 0); }
};

/// The fluents and constants that statements name, numbered as they come up.
class Functions {
 public:
  Functions(Environment& env, Values& values) : environment_(env), values_(values) {}

  std::size_t fluent(const model::Fluent& fluent);
  std::size_t constant(const model::Constant& constant);
  const Function& fluent(std::size_t index) const { return fluents_[index]; }
  const Function& constant(std::size_t index) const { return constants_[index].function; }

  /// The value of a constant at these arguments, which are of its parameters' types; no value where
  /// none is given.
  Value constant_value(std::size_t index, const std::vector<Value>& arguments);

 private:
  using Table = std::map<std::vector<Value>, Value>;
  struct ConstantTable {
    Function function;
    model::Constant constant;
    /// By the value of the object, no value for all of them. Filled when first asked.
    std::map<Value, Table> tables;
    bool is_filled = false;
  };

  void fill(ConstantTable& table);
  void fill(ConstantTable& table, Value object, const model::FunctionValueImpl& given);

  Environment& environment_;
  Values& values_;
  std::vector<Function> fluents_;
  std::vector<ConstantTable> constants_;
  std::unordered_map<const void*, std::size_t> indices_;
};

/// The value of a literal, an object or a set of these; no value for any other expression.
Value literal_value(Values& values, model::Expression e);

/// "name(argument, ...)", with "object." in front of a member.
std::string application_text(const Values& values, const Function& function,
                             const std::vector<Value>& arguments);

}  // namespace kelvo::strict
