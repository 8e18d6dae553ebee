#include "planners/task/machine.h"

#include <exception>
#include <optional>
#include <random>

#include "model/expression_evaluator.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "planners/task/expression_compiler.h"
#include "tests/unit/planners/planner_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class MachineTest : public PlannerTest {
 protected:
  MachineTest() : space_(env_) {
    model::ModelFactory& mf = env_.model_factory();
    p_ = add(mf.make_fluent("p", mf.make_boolean_type()));
    q_ = add(mf.make_fluent("q", mf.make_boolean_type()));
    n_ = add(mf.make_fluent("n", mf.make_integer_type()));
    m_ = add(mf.make_fluent("m", mf.make_integer_type(kelvo::integer(0), kelvo::integer(10))));
    x_ = add(mf.make_fluent("x", mf.make_rational_type()));
    const model::Parameters parameters{
        mf.make_parameter("i", mf.make_integer_type(kelvo::integer(0), kelvo::integer(2)))};
    f_ = mf.make_fluent("f", mf.make_boolean_type(), {}, parameters);
    fluents_.push_back(f_);
    const Expression reference = ef().make_fluent_reference(f_);
    for (int i = 0; i <= 2; ++i) {
      space_.add_slot(ef().make_functional_apply(reference, {ef().make_integer_constant(i)}));
    }
    compiler_ = std::make_unique<ExpressionCompiler>(space_);
    machine_ = std::make_unique<Machine>(space_);
    bits_.resize(space_.num_words());
    ids_.resize(space_.num_ids());
  }

  Expression add(const model::Fluent& fluent) {
    fluents_.push_back(fluent);
    const Expression reference = ef().make_fluent_reference(fluent);
    space_.add_slot(reference);
    return reference;
  }

  void set(Expression fluent, Expression value) {
    space_.set(bits_.data(), ids_.data(), space_.fluent_index().at(fluent),
               space_.value_table().id_of(value));
  }

  StateValues state() const { return {bits_.data(), ids_.data()}; }
  Expression integer(long value) { return ef().make_integer_constant(value); }
  Expression apply_f(Expression argument) {
    return ef().make_functional_apply(ef().make_fluent_reference(f_), {argument});
  }

  /// What the walker of the model says; nothing when it raises.
  std::optional<Expression> expected(Expression e) {
    const std::vector<Expression> values = space_.expressions(state());
    try {
      return model::ExpressionEvaluator(env_, space_.fluent_index(), values)(e);
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }

  Expression random_term(std::mt19937& random, int depth) {
    const std::uint_fast32_t choice = random() % (depth == 0 ? 4 : 8);
    switch (choice) {
      case 0:
        return n_;
      case 1:
        return x_;
      case 2:
        return integer(static_cast<long>(random() % 7) - 3);
      case 3:
        return ef().make_rational_constant(rational(static_cast<int>(random() % 9) - 4, 2));
      default:
        break;
    }
    const Expression left = random_term(random, depth - 1);
    const Expression right = random_term(random, depth - 1);
    switch (choice) {
      case 4:
        return ef().make_plus({left, right, m_});
      case 5:
        return ef().make_times(left, right);
      case 6:
        return ef().make_minus(left, right);
      default:
        return ef().make_div(left, right);
    }
  }

  Expression random_condition(std::mt19937& random, int depth) {
    const std::uint_fast32_t choice = random() % (depth == 0 ? 5 : 10);
    if (choice == 0) return p_;
    if (choice == 1) return q_;
    if (choice == 2) return apply_f(random() % 2 == 0 ? m_ : integer(random() % 3));
    if (choice < 5) {
      const Expression left = random_term(random, 2);
      const Expression right = random_term(random, 2);
      switch (random() % 5) {
        case 0:
          return ef().make_equals(left, right);
        case 1:
          return ef().make_lt(left, right);
        case 2:
          return ef().make_le(left, right);
        case 3:
          return ef().make_gt(left, right);
        default:
          return ef().make_ge(left, right);
      }
    }
    const Expression left = random_condition(random, depth - 1);
    const Expression right = random_condition(random, depth - 1);
    switch (choice) {
      case 5:
        return ef().make_and(left, right);
      case 6:
        return ef().make_or(left, right);
      case 7:
        return ef().make_not(left);
      case 8:
        return ef().make_imply(left, right);
      default:
        return ef().make_iff(left, right);
    }
  }

  void randomise(std::mt19937& random) {
    set(p_, ef().make_boolean_constant(random() % 2 == 0));
    set(q_, ef().make_boolean_constant(random() % 2 == 0));
    set(n_, integer(static_cast<long>(random() % 7) - 3));
    set(m_, integer(random() % 5));
    set(x_, ef().make_rational_constant(rational(static_cast<int>(random() % 7) - 3, 3)));
    for (int i = 0; i <= 2; ++i) {
      set(apply_f(integer(i)), ef().make_boolean_constant(random() % 2 == 0));
    }
  }

  StateSpace space_;
  std::vector<model::Fluent> fluents_;
  model::Fluent f_;
  Expression p_, q_, n_, m_, x_;
  std::unique_ptr<ExpressionCompiler> compiler_;
  std::unique_ptr<Machine> machine_;
  std::vector<std::uint64_t> bits_;
  std::vector<ValueId> ids_;
};

TEST_F(MachineTest, AgreesWithTheEvaluatorOnRandomConditions) {
  std::mt19937 random(20);
  int num_true = 0;
  for (int round = 0; round < 3000; ++round) {
    randomise(random);
    const Expression e = random_condition(random, 3);
    const std::optional<Expression> wanted = expected(e);
    if (!wanted || !ef().is_boolean_constant(*wanted)) continue;
    const bool holds = machine_->holds(compiler_->compile_condition(e), state());
    EXPECT_EQ(holds, ef().is_true(*wanted)) << round << ": " << model::print_expression(e);
    num_true += holds ? 1 : 0;
  }
  EXPECT_GT(num_true, 500);
}

TEST_F(MachineTest, AgreesWithTheEvaluatorOnRandomTermsToTheKindOfNumber) {
  std::mt19937 random(21);
  for (int round = 0; round < 3000; ++round) {
    randomise(random);
    const Expression e = random_term(random, 3);
    const std::optional<Expression> wanted = expected(e);
    if (!wanted) continue;
    const Value value = machine_->evaluate(compiler_->compile_term(e), state());
    ValueTable& table = space_.value_table();
    EXPECT_EQ(table.expression(table.id_of(value)), *wanted)
        << round << ": " << model::print_expression(e);
  }
}

TEST_F(MachineTest, NumbersBeyondMachineWordsAreExact) {
  const Expression large = ef().make_integer_constant(kelvo::integer("9000000000000000000"));
  set(n_, large);
  set(m_, integer(2));
  const Expression sum = ef().make_plus(n_, n_);
  const Expression twice = ef().make_integer_constant(kelvo::integer("18000000000000000000"));
  EXPECT_TRUE(machine_->holds(compiler_->compile_condition(ef().make_equals(sum, twice)), state()));
  EXPECT_FALSE(machine_->holds(compiler_->compile_condition(ef().make_lt(twice, n_)), state()));
}

TEST_F(MachineTest, ConditionsWithoutAValueDoNotHold) {
  std::mt19937 random(1);
  randomise(random);
  set(m_, integer(7));
  EXPECT_FALSE(machine_->holds(compiler_->compile_condition(apply_f(m_)), state()));
  model::ModelFactory& mf = env_.model_factory();
  const model::Fluent stranger = mf.make_fluent("stranger", mf.make_boolean_type());
  const Expression unset = ef().make_fluent_reference(stranger);
  const Expression denied = ef().make_not(unset);
  const auto holds = [&](Expression condition) {
    return machine_->holds(compiler_->compile_condition(condition), state());
  };
  for (const Expression e : {unset, denied}) {
    EXPECT_FALSE(holds(e));
    EXPECT_FALSE(holds(ef().make_and(e, ef().make_equals(m_, integer(7)))));
    EXPECT_TRUE(holds(ef().make_or(e, ef().make_equals(m_, integer(7)))));
    EXPECT_FALSE(holds(ef().make_iff(e, e)));
  }
  space_.add_slot(unset, /*has_value=*/false);
  ids_.push_back(ValueTable::NONE);
  EXPECT_FALSE(holds(unset));
  EXPECT_FALSE(holds(denied));
  set(unset, ef().make_false());
  EXPECT_TRUE(holds(denied));
}

TEST_F(MachineTest, EffectsReadTheStateBeforeAndStayInBounds) {
  set(p_, ef().make_true());
  set(q_, ef().make_false());
  set(n_, integer(4));
  set(m_, integer(9));
  set(x_, ef().make_rational_constant(rational(1, 2)));
  for (int i = 0; i <= 2; ++i) set(apply_f(integer(i)), ef().make_false());
  const auto assign = [&](Expression left, Expression right) {
    return ef().make_assign(left, right);
  };
  const auto value_of = [&](Expression fluent) {
    return space_.expression(state(), space_.fluent_index().at(fluent));
  };
  const auto apply = [&](Expression body) {
    const EffectProgram effect = compiler_->compile_effect(body);
    const std::vector<std::uint64_t> old_bits = bits_;
    const std::vector<ValueId> old_ids = ids_;
    return machine_->apply(effect, {old_bits.data(), old_ids.data()}, bits_.data(), ids_.data());
  };

  // A swap, and an integral rational that becomes an integer in an integer fluent.
  const Expression swap = ef().make_and(assign(p_, q_), assign(q_, p_));
  ASSERT_TRUE(apply(swap));
  EXPECT_EQ(value_of(p_), ef().make_false());
  EXPECT_EQ(value_of(q_), ef().make_true());
  ASSERT_TRUE(apply(assign(n_, ef().make_times(x_, n_))));
  EXPECT_EQ(value_of(n_), integer(2));
  // The index of the application is read before as well.
  const Expression both =
      ef().make_and(assign(n_, integer(0)), assign(apply_f(n_), ef().make_true()));
  ASSERT_TRUE(apply(both));
  EXPECT_EQ(value_of(apply_f(integer(2))), ef().make_true());
  EXPECT_EQ(value_of(apply_f(integer(0))), ef().make_false());

  EXPECT_TRUE(apply(assign(m_, ef().make_plus(m_, integer(1)))));
  EXPECT_FALSE(apply(assign(m_, ef().make_plus(m_, integer(1)))));  // 11 of [0, 10]
  EXPECT_FALSE(apply(assign(m_, integer(11))));
}

}  // namespace
}  // namespace kelvo
