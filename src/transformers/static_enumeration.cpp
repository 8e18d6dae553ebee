#include "transformers/static_enumeration.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/expression_substituter.h"
#include "model/print_expression.h"
#include "model/window_extent.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/hashing.h"
#include "transformers/constant_checker.h"

namespace kelvo {

using model::Expression;
using model::ExpressionOperatorKind;

namespace {

enum class Verdict { UNKNOWN, IS_FALSE, UNDEFINED };

/// One value index for each parameter; those not yet chosen are meaningless.
using Digits = std::vector<std::uint32_t>;
/// Positions of parameters, ascending.
using Positions = std::vector<std::size_t>;

/// Something that may refute a combination once its parameters have values.
class StaticTest {
 public:
  explicit StaticTest(Positions parameters) : parameters_(std::move(parameters)) {}
  virtual ~StaticTest() = default;

  const Positions& parameters() const { return parameters_; }
  virtual Verdict judge(const Digits& digits) = 0;
  /// The message on the constant without a value, after the verdict `UNDEFINED`.
  virtual std::string explain_undefined(const Digits& digits) = 0;

 private:
  Positions parameters_;
};

using StaticTests = std::vector<std::unique_ptr<StaticTest>>;

/// A parameter's value, or a fixed one.
struct Operand {
  const std::vector<Expression>* domain = nullptr;
  std::size_t parameter = 0;
  Expression fixed = nullptr;

  Expression value(const Digits& digits) const {
    return domain == nullptr ? fixed : (*domain)[digits[parameter]];
  }
};

/// Looks an application of a constant up. It refutes when there is no value, or this is `refuting`.
class LookupTest : public StaticTest {
 public:
  LookupTest(model::ExpressionFactory& ef, Positions parameters, Expression reference,
             std::vector<Operand> arguments, Expression refuting)
      : StaticTest(std::move(parameters)),
        ef_(ef),
        reference_(reference),
        table_(ef.get_constant_from_reference(reference)->value()),
        arguments_(std::move(arguments)),
        refuting_(refuting),
        key_(arguments_.size()) {}

  Verdict judge(const Digits& digits) override {
    fill_key(digits);
    const Expression value = table_ == nullptr ? nullptr : table_->assignment(key_);
    if (value == nullptr) return Verdict::UNDEFINED;
    return value == refuting_ ? Verdict::IS_FALSE : Verdict::UNKNOWN;
  }

  std::string explain_undefined(const Digits& digits) override {
    fill_key(digits);
    UndefinedConstantError error;
    error << "No value for constant "
          << model::print_expression(ef_.make_functional_apply(reference_, key_));
    return error.message();
  }

 private:
  void fill_key(const Digits& digits) {
    for (std::size_t i = 0; i < arguments_.size(); ++i) key_[i] = arguments_[i].value(digits);
  }

  model::ExpressionFactory& ef_;
  Expression reference_;
  model::FunctionValue table_;
  std::vector<Operand> arguments_;
  Expression refuting_;
  std::vector<Expression> key_;
};

/// Simplifies an expression; each combination of its own parameters is judged once. It refutes when
/// a constant has no value, and a condition also when it is false.
class GeneralTest : public StaticTest {
 public:
  GeneralTest(Environment& env, const ParameterDomains& domains, Positions parameters,
              Expression expression, bool is_condition)
      : StaticTest(std::move(parameters)),
        env_(env),
        domains_(domains),
        expression_(expression),
        is_condition_(is_condition),
        simplify_(env),
        check_(env) {}

  Verdict judge(const Digits& digits) override {
    std::vector<std::uint32_t> key;
    for (const std::size_t p : parameters()) key.push_back(digits[p]);
    const auto [entry, is_new] = memo_.try_emplace(std::move(key), Verdict::UNKNOWN);
    if (is_new) entry->second = evaluate(digits, nullptr);
    return entry->second;
  }

  std::string explain_undefined(const Digits& digits) override {
    std::string message;
    evaluate(digits, &message);
    return message;
  }

 private:
  Verdict evaluate(const Digits& digits, std::string* message) const {
    Substitution values;
    for (const std::size_t p : parameters()) {
      values[domains_.references[p]] = domains_.values[p][digits[p]];
    }
    const Expression ground = ExpressionSubstituter(env_, values)(expression_);
    try {
      const Expression simple = simplify_(ground);
      const bool is_false = env_.expression_factory().is_false(simple);
      if (is_condition_ && is_false) return Verdict::IS_FALSE;
      check_(simple);
    } catch (const std::overflow_error&) {
      // A division by zero is no matter of this test: another one may refute the combination.
      return Verdict::UNKNOWN;
    } catch (const UndefinedConstantError& error) {
      if (message != nullptr) *message = error.message();
      return Verdict::UNDEFINED;
    }
    return Verdict::UNKNOWN;
  }

  using Substitution = ExpressionSubstituter::Substitution;

  Environment& env_;
  const ParameterDomains& domains_;
  Expression expression_;
  bool is_condition_;
  model::ExpressionSimplifier simplify_;
  ConstantChecker check_;
  std::unordered_map<std::vector<std::uint32_t>, Verdict> memo_;
};

/// Takes the expressions of an action apart into tests.
class TestReader {
 public:
  TestReader(Environment& env, const ParameterDomains& domains, bool prune_false)
      : env_(env), ef_(env.expression_factory()), domains_(domains), prune_false_(prune_false) {
    for (std::size_t i = 0; i < domains.references.size(); ++i) {
      positions_[domains.references[i]] = i;
    }
  }

  StaticTests read(const model::Action& action) {
    const Expression fixed = get_fixed_duration(env_, env_.expression_factory(), action);
    if (fixed != nullptr) fixed_duration_ = ef_.get_number(fixed);
    for (const Expression e : action->expressions()) read_expression(action, e);
    return std::move(tests_);
  }

 private:
  void read_expression(const model::Action& action, Expression e) {
    const bool is_temporal = ef_.is_temporal_expression(e);
    const Expression body = is_temporal ? e->child(1) : e;
    if (is_temporal) require_values(e->child(0));
    if (!prune_false_ || may_ask_nothing(action, e) || ef_.is_assign(body) ||
        ef_.is_in_assign(body)) {
      require_values(body);
      return;
    }
    // A conjunct that is false, or has no value, refutes the whole.
    std::vector<Expression> todo{body};
    while (!todo.empty()) {
      const Expression conjunct = todo.back();
      todo.pop_back();
      if (ef_.is_and(conjunct)) {
        todo.insert(todo.end(), conjunct->children().rbegin(), conjunct->children().rend());
      } else {
        read_conjunct(conjunct);
      }
    }
  }

  // What is false over a window without any time refutes nothing.
  bool may_ask_nothing(const model::Action& action, Expression e) const {
    if (!ef_.is_temporal_expression(e)) return false;
    const rational* const duration = fixed_duration_ ? &*fixed_duration_ : nullptr;
    const Extent extent = extent_of(env_, decompose_statement(e), action.get(), duration);
    return extent != Extent::NEVER_EMPTY;
  }

  void read_conjunct(Expression e) {
    const bool is_negated = ef_.is_not(e);
    const Expression atom = is_negated ? e->child(0) : e;
    if (add_lookup(atom, ef_.make_boolean_constant(is_negated))) return;
    require_values(e);
    if (contents_of(e).may_be_false) add_general(e, /*is_condition=*/true);
  }

  // Tests that see to it that the constants in `e` have values. Below these operators nothing is
  // folded away before it is evaluated, so that each constant can be looked up by itself; below any
  // other, the expression is simplified as a whole.
  void require_values(Expression e) {
    std::vector<Expression> todo{e};
    while (!todo.empty()) {
      const Expression node = todo.back();
      todo.pop_back();
      switch (model::kind_of(node)) {
        case ExpressionOperatorKind::ASSIGN:
        case ExpressionOperatorKind::IN_ASSIGN:
        case ExpressionOperatorKind::INTERVAL:
        case ExpressionOperatorKind::PLUS:
        case ExpressionOperatorKind::MINUS:
        case ExpressionOperatorKind::TIMES:
        case ExpressionOperatorKind::DIV:
        case ExpressionOperatorKind::LT:
        case ExpressionOperatorKind::LE:
        case ExpressionOperatorKind::GT:
        case ExpressionOperatorKind::GE:
          todo.insert(todo.end(), node->children().begin(), node->children().end());
          break;
        default:
          if (!add_lookup(node, nullptr) && contents_of(node).has_constants) {
            add_general(node, /*is_condition=*/false);
          }
      }
    }
  }

  // A look-up for an application of a constant to parameters and values; false for any other `e`.
  bool add_lookup(Expression e, Expression refuting) {
    if (!ef_.is_functional_apply(e)) return false;
    const Expression reference = ef_.get_reference_from_functional_apply(e);
    if (!ef_.is_constant_reference(reference)) return false;
    std::vector<Operand> arguments;
    Positions parameters;
    for (const Expression argument : e->children()) {
      const auto found = positions_.find(argument);
      if (found != positions_.end()) {
        parameters.push_back(found->second);
        arguments.push_back({&domains_.values[found->second], found->second, nullptr});
      } else if (ef_.is_instance_reference(argument) || ef_.is_number(argument) ||
                 ef_.is_boolean_constant(argument)) {
        arguments.push_back({nullptr, 0, argument});
      } else {
        return false;
      }
    }
    tests_.push_back(std::make_unique<LookupTest>(ef_, sorted(std::move(parameters)), reference,
                                                  std::move(arguments), refuting));
    return true;
  }

  void add_general(Expression e, bool is_condition) {
    tests_.push_back(
        std::make_unique<GeneralTest>(env_, domains_, contents_of(e).parameters, e, is_condition));
  }

  static Positions sorted(Positions positions) {
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    return positions;
  }

  struct Contents {
    bool has_constants = false;
    bool may_be_false = false;
    Positions parameters;
  };

  // A condition on fluents alone can't fold to false; it takes a comparison, a constant or a
  // boolean parameter for that.
  Contents contents_of(Expression e) const {
    Contents contents;
    std::vector<Expression> todo{e};
    std::unordered_set<Expression> seen{e};
    const auto visit = [&](Expression node) {
      if (seen.insert(node).second) todo.push_back(node);
    };
    while (!todo.empty()) {
      const Expression node = todo.back();
      todo.pop_back();
      switch (model::kind_of(node)) {
        case ExpressionOperatorKind::CONSTANT_REF:
          contents.has_constants = true;
          contents.may_be_false = true;
          break;
        case ExpressionOperatorKind::FLUENT_FUN_APPLY:
          visit(ef_.get_reference_from_functional_apply(node));
          break;
        case ExpressionOperatorKind::PARAMETER_REF: {
          const auto found = positions_.find(node);
          if (found == positions_.end()) break;
          contents.parameters.push_back(found->second);
          if (ef_.is_boolean_constant(domains_.values[found->second].front())) {
            contents.may_be_false = true;
          }
          break;
        }
        case ExpressionOperatorKind::EQUALS:
        case ExpressionOperatorKind::LT:
        case ExpressionOperatorKind::LE:
        case ExpressionOperatorKind::GT:
        case ExpressionOperatorKind::GE:
        case ExpressionOperatorKind::EXPR_TRUE:
        case ExpressionOperatorKind::EXPR_FALSE:
          contents.may_be_false = true;
          break;
        default:
          break;
      }
      for (const Expression child : node->children()) visit(child);
    }
    contents.parameters = sorted(std::move(contents.parameters));
    return contents;
  }

  Environment& env_;
  model::ExpressionFactory& ef_;
  const ParameterDomains& domains_;
  bool prune_false_;
  /// Empty unless it is a number.
  std::optional<rational> fixed_duration_;
  std::unordered_map<Expression, std::size_t> positions_;
  StaticTests tests_;
};

/// The parameter that gets its value at one depth of the search, and the tests that can run then.
struct Level {
  std::size_t parameter;
  std::vector<StaticTest*> tests;
};

// The next parameter: one that completes a test before one that only comes nearer to that, of
// these the one with the fewest values.
std::size_t choose_parameter(const ParameterDomains& domains, const StaticTests& tests,
                             const std::vector<bool>& is_bound) {
  const std::size_t no_test = is_bound.size() + 1;
  std::size_t best = is_bound.size();
  std::pair<std::size_t, std::size_t> best_rank;
  for (std::size_t p = 0; p < is_bound.size(); ++p) {
    if (is_bound[p]) continue;
    std::pair<std::size_t, std::size_t> rank{no_test, domains.values[p].size()};
    for (const auto& test : tests) {
      const Positions& read = test->parameters();
      if (!std::ranges::binary_search(read, p)) continue;
      const auto missing = static_cast<std::size_t>(
          std::ranges::count_if(read, [&](std::size_t q) { return !is_bound[q]; }));
      rank.first = std::min(rank.first, missing);
    }
    if (best == is_bound.size() || rank < best_rank) {
      best = p;
      best_rank = rank;
    }
  }
  return best;
}

std::vector<Level> plan_levels(const ParameterDomains& domains, const StaticTests& tests) {
  std::vector<Level> levels;
  std::vector<bool> is_bound(domains.values.size(), false);
  while (levels.size() < domains.values.size()) {
    const std::size_t p = choose_parameter(domains, tests, is_bound);
    is_bound[p] = true;
    Level level{p, {}};
    for (const auto& test : tests) {
      const Positions& read = test->parameters();
      if (std::ranges::binary_search(read, p) &&
          std::ranges::all_of(read, [&](std::size_t q) { return is_bound[q]; })) {
        level.tests.push_back(test.get());
      }
    }
    // Look-ups before simplification.
    std::stable_partition(level.tests.begin(), level.tests.end(), [](StaticTest* test) {
      return dynamic_cast<LookupTest*>(test) != nullptr;
    });
    levels.push_back(std::move(level));
  }
  return levels;
}

/// Depth-first search over the values, one parameter a level.
class Search {
 public:
  Search(const ParameterDomains& domains, std::vector<Level> levels, bool prune_false,
         const std::function<void(const std::string&)>& on_undefined)
      : domains_(domains),
        levels_(std::move(levels)),
        prune_false_(prune_false),
        on_undefined_(on_undefined),
        digits_(levels_.size(), 0) {}

  bool passes(StaticTest& test) {
    const Verdict verdict = test.judge(digits_);
    if (verdict == Verdict::UNDEFINED && on_undefined_) {
      on_undefined_(test.explain_undefined(digits_));
    }
    return verdict == Verdict::UNKNOWN || (verdict == Verdict::IS_FALSE && !prune_false_);
  }

  std::vector<std::uint32_t> run() {
    std::vector<std::uint32_t> found;
    const std::size_t depth = levels_.size();
    std::vector<std::uint32_t> next(depth, 0);
    std::size_t level = 0;
    while (true) {
      const std::size_t p = levels_[level].parameter;
      if (next[level] == domains_.values[p].size()) {
        if (level == 0) return found;
        next[level--] = 0;
        continue;
      }
      digits_[p] = next[level]++;
      if (!std::ranges::all_of(levels_[level].tests,
                               [this](StaticTest* t) { return passes(*t); })) {
        continue;
      }
      if (level + 1 < depth) {
        ++level;
      } else {
        found.insert(found.end(), digits_.begin(), digits_.end());
      }
    }
  }

 private:
  const ParameterDomains& domains_;
  std::vector<Level> levels_;
  bool prune_false_;
  const std::function<void(const std::string&)>& on_undefined_;
  Digits digits_;
};

// Sorts rows of `width` digits, the last digit being the most significant.
std::vector<std::uint32_t> sorted_rows(std::vector<std::uint32_t> rows, std::size_t width) {
  std::vector<std::size_t> order(rows.size() / width);
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto less = [&rows, width](std::size_t a, std::size_t b) {
    for (std::size_t i = width; i-- > 0;) {
      const std::uint32_t left = rows[a * width + i];
      const std::uint32_t right = rows[b * width + i];
      if (left != right) return left < right;
    }
    return false;
  };
  if (std::ranges::is_sorted(order, less)) return rows;
  std::ranges::sort(order, less);
  std::vector<std::uint32_t> sorted;
  sorted.reserve(rows.size());
  for (const std::size_t row : order) {
    const auto begin = rows.begin() + static_cast<std::ptrdiff_t>(row * width);
    sorted.insert(sorted.end(), begin, begin + static_cast<std::ptrdiff_t>(width));
  }
  return sorted;
}

}  // namespace

std::vector<std::uint32_t> surviving_combinations(
    Environment& env, const model::Action& action, const ParameterDomains& domains,
    bool prune_false, const std::function<void(const std::string&)>& on_undefined) {
  const bool has_empty_domain =
      std::ranges::any_of(domains.values, [](const auto& values) { return values.empty(); });
  if (has_empty_domain) return {};
  const StaticTests tests = TestReader(env, domains, prune_false).read(action);
  Search search(domains, plan_levels(domains, tests), prune_false, on_undefined);
  for (const auto& test : tests) {
    if (test->parameters().empty() && !search.passes(*test)) return {};
  }
  return sorted_rows(search.run(), domains.values.size());
}

}  // namespace kelvo
