// The solver on formulas of the shape that a planner poses: a bounded number of steps with
// increasing times, Boolean action variables, fluents per step, effects at action ends as equations
// between times, and frame axioms. Built through the public interface; the argument is family *
// 10000 + size * 100 + steps. `build` is the time to make the terms, `solve` to make and check
// them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "solver/api/ordax.h"

namespace {

/// One formula in its own environment.
class Instance {
 public:
  explicit Instance(bool with_model = true) {
    const ordax_config config = ordax_create_config();
    if (with_model) ordax_set_option(config, "model_generation", "true");
    env_ = ordax_create_env(config);
    ordax_destroy_config(config);
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance() { ordax_destroy_env(env_); }

  ordax_env env() const { return env_; }
  ordax_term variable(const std::string& name, ordax_type type) const {
    return ordax_make_constant(env_, ordax_declare_function(env_, name.c_str(), type));
  }
  ordax_term boolean(const std::string& name) const {
    return variable(name, ordax_get_bool_type(env_));
  }
  ordax_term real(const std::string& name) const {
    return variable(name, ordax_get_rational_type(env_));
  }
  ordax_term integer(const std::string& name) const {
    return variable(name, ordax_get_integer_type(env_));
  }
  ordax_term num(int value) const { return ordax_make_number(env_, std::to_string(value).c_str()); }
  ordax_term leq(ordax_term a, ordax_term b) const { return ordax_make_leq(env_, a, b); }
  ordax_term less(ordax_term a, ordax_term b) const { return no(leq(b, a)); }
  ordax_term no(ordax_term a) const { return ordax_make_not(env_, a); }
  ordax_term both(ordax_term a, ordax_term b) const { return ordax_make_and(env_, a, b); }
  ordax_term either(ordax_term a, ordax_term b) const { return ordax_make_or(env_, a, b); }
  ordax_term implies(ordax_term a, ordax_term b) const { return either(no(a), b); }
  ordax_term plus(ordax_term a, ordax_term b) const { return ordax_make_plus(env_, a, b); }
  /// Equality of two terms of any type, as a planner writes it.
  ordax_term same(ordax_term a, ordax_term b) const {
    const ordax_term equal = ordax_make_equal(env_, a, b);
    return ORDAX_FAILED(equal) ? ordax_make_iff(env_, a, b) : equal;
  }
  void add(ordax_term formula) const { ordax_assert_formula(env_, formula); }

 private:
  ordax_env env_;
};

enum class Domain { BOOL, CODES, COUNTER };

struct Fluent {
  Domain domain;
  int size;  // number of codes, or the largest count
  int initial;
};

/// fluent := value, or fluent := fluent + value for a counter.
struct Effect {
  int fluent;
  int value;
  bool increase;
};

/// fluent = value, or fluent <= value for a counter.
struct Condition {
  int fluent;
  int value;
};

struct Action {
  int duration;
  std::vector<Condition> conditions;
  std::vector<Effect> at_start;
  std::vector<Effect> at_end;
};

struct Problem {
  std::vector<Fluent> fluents;
  std::vector<Action> actions;
  std::vector<Condition> goal;
  int deadline = -1;
};

// n jobs of two operations on two machines, in opposite orders.
Problem jobshop(int n) {
  static constexpr int DURATIONS[] = {3, 5, 4, 2, 2, 4, 5, 3, 3, 2, 4, 6};
  Problem p;
  p.fluents = {{Domain::BOOL, 2, 1}, {Domain::BOOL, 2, 1}};
  int load[2] = {0, 0};
  for (int j = 0; j < n; ++j) {
    for (int k = 0; k < 2; ++k) {
      const int machine = (j + k) % 2;
      const int todo = static_cast<int>(p.fluents.size());
      p.fluents.push_back({Domain::BOOL, 2, 1});
      p.fluents.push_back({Domain::BOOL, 2, 0});
      const int duration = DURATIONS[(2 * j + k) % 12];
      load[machine] += duration;
      Action a{duration,
               {{machine, 1}, {todo, 1}},
               {{machine, 0, false}, {todo, 0, false}},
               {{machine, 1, false}, {todo + 1, 1, false}}};
      if (k == 1) a.conditions.push_back({todo - 1, 1});
      p.actions.push_back(a);
      if (k == 1) p.goal.push_back({todo + 1, 1});
    }
  }
  p.deadline = std::max(load[0], load[1]) + 1;
  return p;
}

// A truck on a ring of n + 1 places; places are codes of a real variable.
Problem logistics(int n) {
  Problem p;
  const int places = n + 1;
  p.fluents.push_back({Domain::CODES, places + 1, 0});
  for (int a = 0; a < places; ++a) {
    for (int b = 0; b < places; ++b) {
      if (a == b) continue;
      const int distance = std::min((a - b + places) % places, (b - a + places) % places);
      p.actions.push_back({1 + 3 * distance, {{0, a}}, {{0, places, false}}, {{0, b, false}}});
    }
  }
  for (int i = 0; i < n; ++i) {
    const int package = static_cast<int>(p.fluents.size());
    p.fluents.push_back({Domain::CODES, places + 2, i});
    for (int a = 0; a < places; ++a) {
      p.actions.push_back(
          {2, {{0, a}, {package, a}}, {{package, places, false}}, {{package, places + 1, false}}});
      p.actions.push_back(
          {2, {{0, a}, {package, places + 1}}, {{package, places, false}}, {{package, a, false}}});
    }
    p.goal.push_back({package, (i + 1) % places});
  }
  return p;
}

// n integer counters that actions lift by three, or lower by two and pass one on.
Problem counters(int n) {
  static constexpr int GOALS[] = {5, 2, 4, 1};
  Problem p;
  for (int i = 0; i < n; ++i) p.fluents.push_back({Domain::COUNTER, 9, 0});
  p.fluents.push_back({Domain::BOOL, 2, 0});
  for (int i = 0; i < n; ++i) {
    p.actions.push_back({2, {{i, 6}}, {}, {{i, 3, true}}});
    p.actions.push_back(
        {3, {{n, 0}}, {{n, 1, false}}, {{n, 0, false}, {i, -2, true}, {(i + 1) % n, 1, true}}});
    p.goal.push_back({i, GOALS[i % 4]});
  }
  return p;
}

/// Writes a problem for a number of steps.
class Encoding {
 public:
  Encoding(const Instance& instance, const Problem& problem, int steps)
      : s_(instance), p_(problem), steps_(steps) {}

  void write() {
    for (int k = 0; k < steps_; ++k) {
      times_.push_back(k == 0 ? s_.num(0) : s_.real("t_" + std::to_string(k)));
      if (k > 0) s_.add(s_.less(times_[at(k - 1)], times_[at(k)]));
    }
    for (std::size_t f = 0; f < p_.fluents.size(); ++f) declare(f);
    changes_.resize(p_.fluents.size());
    for (auto& of_fluent : changes_) of_fluent.resize(at(steps_));
    for (std::size_t a = 0; a < p_.actions.size(); ++a) write_action(a);
    for (std::size_t f = 0; f < p_.fluents.size(); ++f) write_frame(f);
    for (const Condition& c : p_.goal) s_.add(is(at(c.fluent), steps_ - 1, c.value));
    if (p_.deadline >= 0) s_.add(s_.leq(times_.back(), s_.num(p_.deadline)));
  }

 private:
  static std::size_t at(int i) { return static_cast<std::size_t>(i); }

  void declare(std::size_t f) {
    const Fluent& fluent = p_.fluents[f];
    values_.emplace_back();
    for (int k = 0; k < steps_; ++k) {
      const std::string name = "f_" + std::to_string(f) + "_" + std::to_string(k);
      const ordax_term v = fluent.domain == Domain::BOOL    ? s_.boolean(name)
                           : fluent.domain == Domain::CODES ? s_.real(name)
                                                            : s_.integer(name);
      values_.back().push_back(v);
      if (fluent.domain == Domain::CODES) {
        ordax_term any = ordax_make_false(s_.env());
        for (int c = 0; c < fluent.size; ++c) any = s_.either(any, s_.same(v, s_.num(c)));
        s_.add(any);
      } else if (fluent.domain == Domain::COUNTER) {
        s_.add(s_.both(s_.leq(s_.num(0), v), s_.leq(v, s_.num(fluent.size))));
      }
    }
    s_.add(is(f, 0, fluent.initial));
  }

  ordax_term is(std::size_t f, int k, int value) const {
    const ordax_term v = values_[f][at(k)];
    if (p_.fluents[f].domain == Domain::BOOL) return value != 0 ? v : s_.no(v);
    return s_.same(v, s_.num(value));
  }

  ordax_term after(const Effect& e, int k) const {
    const std::size_t f = at(e.fluent);
    if (!e.increase) return is(f, k, e.value);
    const ordax_term sum = s_.plus(values_[f][at(k - 1)], s_.num(e.value));
    return s_.same(values_[f][at(k)], sum);
  }

  void write_action(std::size_t a) {
    const Action& action = p_.actions[a];
    for (int k = 1; k < steps_; ++k) {
      const ordax_term does = s_.boolean("a_" + std::to_string(a) + "_" + std::to_string(k));
      for (const Condition& c : action.conditions) {
        const std::size_t f = at(c.fluent);
        const bool bound = p_.fluents[f].domain == Domain::COUNTER;
        const ordax_term holds =
            bound ? s_.leq(values_[f][at(k - 1)], s_.num(c.value)) : is(f, k - 1, c.value);
        s_.add(s_.implies(does, holds));
      }
      for (const Effect& e : action.at_start) {
        s_.add(s_.implies(does, after(e, k)));
        changes_[at(e.fluent)][at(k)].push_back(does);
      }
      const ordax_term end = s_.plus(times_[at(k)], s_.num(action.duration));
      for (const Effect& e : action.at_end) {
        ordax_term some = ordax_make_false(s_.env());
        for (int j = k + 1; j < steps_; ++j) {
          const ordax_term now = s_.same(times_[at(j)], end);
          some = s_.either(some, s_.both(now, after(e, j)));
          changes_[at(e.fluent)][at(j)].push_back(s_.both(does, now));
        }
        s_.add(s_.implies(does, some));
      }
    }
  }

  // A fluent changes only by one effect at a time.
  void write_frame(std::size_t f) {
    for (int k = 1; k < steps_; ++k) {
      const std::vector<ordax_term>& reasons = changes_[f][at(k)];
      ordax_term any = s_.same(values_[f][at(k)], values_[f][at(k - 1)]);
      for (const ordax_term reason : reasons) any = s_.either(any, reason);
      s_.add(any);
      for (std::size_t i = 0; i < reasons.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) s_.add(s_.no(s_.both(reasons[i], reasons[j])));
      }
    }
  }

  const Instance& s_;
  const Problem& p_;
  int steps_;
  std::vector<ordax_term> times_;
  std::vector<std::vector<ordax_term>> values_;
  std::vector<std::vector<std::vector<ordax_term>>> changes_;
};

Problem problem_of(std::int64_t code) {
  const int size = static_cast<int>(code / 100 % 100);
  switch (code / 10000) {
    case 0:
      return jobshop(size);
    case 1:
      return logistics(size);
    default:
      return counters(size);
  }
}

void build(benchmark::State& state) {
  const Problem problem = problem_of(state.range(0));
  std::size_t terms = 0;
  for (auto _ : state) {
    const Instance instance;
    Encoding(instance, problem, static_cast<int>(state.range(0) % 100)).write();
    terms += ordax_term_id(instance.boolean("last"));
  }
  state.counters["terms"] =
      benchmark::Counter(static_cast<double>(terms), benchmark::Counter::kIsRate);
}

void solve(benchmark::State& state) {
  const Problem problem = problem_of(state.range(0));
  int answer = -1;
  for (auto _ : state) {
    const Instance instance;
    Encoding(instance, problem, static_cast<int>(state.range(0) % 100)).write();
    answer = ordax_solve(instance.env());
  }
  state.counters["answer"] = answer;
}

void create_and_destroy(benchmark::State& state) {
  for (auto _ : state) {
    const Instance instance;
    benchmark::DoNotOptimize(instance.env().repr);
  }
}

void make_connectives(benchmark::State& state) {
  const Instance s(/*with_model=*/false);
  std::vector<ordax_term> variables;
  for (int i = 0; i < 1000; ++i) variables.push_back(s.boolean("p" + std::to_string(i)));
  std::size_t i = 0;
  for (auto _ : state) {
    const ordax_term a = variables[i % 1000];
    const ordax_term b = variables[(i / 1000 + 7 * i) % 1000];
    benchmark::DoNotOptimize(ordax_make_or(s.env(), a, b).repr);
    ++i;
  }
}

void make_difference_atoms(benchmark::State& state) {
  const Instance s(/*with_model=*/false);
  std::vector<ordax_term> times;
  std::vector<ordax_term> ends;
  for (int i = 0; i < 100; ++i) {
    times.push_back(s.real("t" + std::to_string(i)));
    ends.push_back(s.plus(times.back(), s.num(i % 9 + 1)));
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(s.leq(ends[i % 100], times[(i / 100 + 1) % 100]).repr);
    ++i;
  }
}

BENCHMARK(create_and_destroy);
BENCHMARK(make_connectives);
BENCHMARK(make_difference_atoms);
BENCHMARK(build)->Arg(412)->Arg(10312)->Arg(20310)->Unit(benchmark::kMillisecond);
BENCHMARK(solve)->Arg(309)->Arg(409)->Arg(10208)->Arg(10310)->Arg(20207)->Arg(20309)->Unit(
    benchmark::kMillisecond);

}  // namespace
