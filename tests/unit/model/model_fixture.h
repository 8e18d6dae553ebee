#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "model/expression_factory.h"
#include "model/expression_type_checker.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/warnings.h"

namespace kelvo::model {

template <typename T>
std::string text_of(const T& value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

inline std::string text_of(Expression e) {
  return text_of(print_expression(e));
}

/// The printed elements, in the order of the container.
template <typename Container>
std::vector<std::string> texts_of(const Container& expressions) {
  std::vector<std::string> texts;
  for (const Expression e : expressions) texts.push_back(text_of(e));
  return texts;
}

/// The message of the `Error` that `run` throws, without the name of its class in front.
template <typename Error, typename Run>
std::string error_of(const Run& run) {
  try {
    run();
  } catch (const Error& error) {
    return error.message().substr(error.exception_name().size() + 2);
  } catch (const std::exception& error) {
    return std::string("another error: ") + error.what();
  }
  return "no error";
}

/// A small world: an environment, and fluents `p`, `q`, `r` (boolean), `x`, `y` (integer), `f`
/// (rational), their references in the fields of these names.
class ModelTest : public testing::Test {
 protected:
  ModelTest() {
    p = fluent_ref("p", mf().make_boolean_type());
    q = fluent_ref("q", mf().make_boolean_type());
    r = fluent_ref("r", mf().make_boolean_type());
    x = fluent_ref("x", mf().make_integer_type());
    y = fluent_ref("y", mf().make_integer_type());
    f = fluent_ref("f", mf().make_rational_type());
    tt = ef().make_true();
    ff = ef().make_false();
    start = ef().make_start_anchor();
    end = ef().make_end_anchor();
    duration = ef().make_duration_anchor();
  }

  ExpressionFactory& ef() { return env.expression_factory(); }
  ModelFactory& mf() { return env.model_factory(); }

  Expression num(long value) { return ef().make_integer_constant(value); }
  Expression rat(long numerator, long denominator = 1) {
    return ef().make_rational_constant(rational(numerator, denominator));
  }
  Type integer_range(long low, long high) {
    return mf().make_integer_type(integer(low), integer(high));
  }
  Type rational_range(const rational& low, const rational& high) {
    return mf().make_rational_type(low, high);
  }

  Fluent fluent(const std::string& name, const Type& type, const std::vector<Type>& types = {}) {
    fluents.push_back(mf().make_fluent(name, type, {}, parameters(types)));
    return fluents.back();
  }
  Expression fluent_ref(const std::string& name, const Type& type,
                        const std::vector<Type>& types = {}) {
    return ef().make_fluent_reference(fluent(name, type, types));
  }
  /// A constant whose value holds the given entries; without value when there are none.
  Expression constant_ref(
      const std::string& name, const Type& type, const std::vector<Type>& types,
      const std::vector<std::pair<FunctionValueImpl::Key, Expression>>& entries) {
    ConstantImpl::Values values;
    if (!entries.empty()) values[""] = table(entries);
    constants.push_back(mf().make_constant(name, type, {}, parameters(types), values));
    return ef().make_constant_reference(constants.back());
  }
  FunctionValue table(const std::vector<std::pair<FunctionValueImpl::Key, Expression>>& entries) {
    const auto result = std::make_shared<FunctionValueImpl>();
    for (const auto& [key, value] : entries) result->add_assignment(key, value);
    return result;
  }
  Expression instance_ref(const std::string& name, const UserType& type) {
    instances.push_back(mf().make_instance(name, type));
    return ef().make_instance_reference(instances.back());
  }
  Parameters parameters(const std::vector<Type>& types) {
    Parameters result;
    for (const Type& type : types) {
      result.push_back(mf().make_parameter("arg" + std::to_string(result.size()), type));
    }
    return result;
  }
  Action action(const std::string& name, const std::vector<Expression>& body,
                const Parameters& params = {}) {
    return mf().make_action(name, {}, params, ExpressionSet(body.begin(), body.end()));
  }
  Expression at(Expression time, Expression body) {
    const Expression interval = ef().make_point_interval(time);
    return ef().make_temporal_expression(interval, body);
  }
  Expression apply(Expression reference, const std::vector<Expression>& arguments) {
    return ef().make_functional_apply(reference, arguments);
  }

  Environment env;
  // Expressions hold model objects weakly.
  std::vector<Fluent> fluents;
  std::vector<Constant> constants;
  std::vector<Instance> instances;
  Expression p, q, r, x, y, f, tt, ff, start, end, duration;
};

}  // namespace kelvo::model
