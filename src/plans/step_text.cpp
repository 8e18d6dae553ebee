#include "plans/step_text.h"

#include <algorithm>
#include <ostream>
#include <sstream>

#include "model/action.h"
#include "model/instance.h"
#include "model/print_expression.h"

namespace kelvo {

std::string exact_time(const rational& time) {
  std::ostringstream text;
  integer rest = denominator(time);
  std::size_t num_twos = 0;
  std::size_t num_fives = 0;
  for (; rest % 2 == 0; rest /= 2) ++num_twos;
  for (; rest % 5 == 0; rest /= 5) ++num_fives;
  const std::size_t num_digits = std::max(num_twos, num_fives);
  if (rest != 1 || num_digits == 0) {
    text << time;
    return text.str();
  }
  integer scaled = numerator(time);
  for (std::size_t i = num_twos; i < num_digits; ++i) scaled *= 2;
  for (std::size_t i = num_fives; i < num_digits; ++i) scaled *= 5;
  const bool is_negative = scaled < 0;
  text << (is_negative ? integer(-scaled) : scaled);
  std::string digits = text.str();
  if (digits.size() <= num_digits) digits.insert(0, num_digits + 1 - digits.size(), '0');
  digits.insert(digits.size() - num_digits, ".");
  return (is_negative ? "-" : "") + digits;
}

void print_step_action(std::ostream& os, const model::Instance& object, const model::Action& action,
                       const std::vector<model::Expression>& parameters) {
  if (object != nullptr) os << object->name() << ".";
  os << action->name() << "(";
  const char* separator = "";
  for (const model::Expression parameter : parameters) {
    os << separator << model::print_expression(parameter);
    separator = ", ";
  }
  os << ")";
}

}  // namespace kelvo
