#include "bench/solver/programs/encodings.h"

#include <algorithm>

namespace ordax_bench {
namespace {

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
  std::vector<Condition> throughout;  // from the step behind the start to the one of the end
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
               {{machine, 1, false}, {todo + 1, 1, false}},
               {}};
      if (k == 1) a.conditions.push_back({todo - 1, 1});
      p.actions.push_back(a);
      if (k == 1) p.goal.push_back({todo + 1, 1});
    }
  }
  p.deadline = std::max(load[0], load[1]) + 1;
  return p;
}

// n matches, each burning for a while, n fuses and one hand; a fuse is mended by light.
Problem cellar(int n) {
  Problem p;
  p.fluents = {{Domain::BOOL, 2, 1}};
  const auto lit = [](int m) { return 1 + 2 * m; };
  const auto unused = [](int m) { return 2 + 2 * m; };
  const auto mended = [n](int f) { return 1 + 2 * n + f; };
  for (int m = 0; m < n; ++m) {
    p.fluents.push_back({Domain::BOOL, 2, 0});
    p.fluents.push_back({Domain::BOOL, 2, 1});
  }
  for (int f = 0; f < n; ++f) p.fluents.push_back({Domain::BOOL, 2, 0});
  for (int m = 0; m < n; ++m) {
    p.actions.push_back({5,
                         {{unused(m), 1}},
                         {{unused(m), 0, false}, {lit(m), 1, false}},
                         {{lit(m), 0, false}},
                         {}});
    for (int f = 0; f < n; ++f) {
      p.actions.push_back({2,
                           {{0, 1}, {lit(m), 1}},
                           {{0, 0, false}},
                           {{0, 1, false}, {mended(f), 1, false}},
                           {{lit(m), 1}}});
    }
    p.goal.push_back({mended(m), 1});
  }
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
      p.actions.push_back({1 + 3 * distance, {{0, a}}, {{0, places, false}}, {{0, b, false}}, {}});
    }
  }
  for (int i = 0; i < n; ++i) {
    const int package = static_cast<int>(p.fluents.size());
    p.fluents.push_back({Domain::CODES, places + 2, i});
    for (int a = 0; a < places; ++a) {
      p.actions.push_back({2,
                           {{0, a}, {package, a}},
                           {{package, places, false}},
                           {{package, places + 1, false}},
                           {}});
      p.actions.push_back({2,
                           {{0, a}, {package, places + 1}},
                           {{package, places, false}},
                           {{package, a, false}},
                           {}});
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
    p.actions.push_back({2, {{i, 6}}, {}, {{i, 3, true}}, {}});
    p.actions.push_back(
        {3, {{n, 0}}, {{n, 1, false}}, {{n, 0, false}, {i, -2, true}, {(i + 1) % n, 1, true}}, {}});
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
      for (const Condition& c : action.throughout) {
        for (int j = k; j < steps_; ++j) {
          const ordax_term over = s_.leq(end, times_[at(j)]);
          s_.add(s_.implies(does, s_.either(over, is(at(c.fluent), j, c.value))));
        }
      }
    }
  }

  // A fluent changes only by one effect at a time.
  void write_frame(std::size_t f) {
    for (int k = 1; k < steps_; ++k) {
      const std::vector<ordax_term>& reasons = changes_[f][at(k)];
      ordax_term any = s_.same(values_[f][at(k)], values_[f][at(k - 1)]);
      ordax_term before = ordax_make_false(s_.env());  // some earlier reason of the list holds
      for (const ordax_term reason : reasons) {
        any = s_.either(any, reason);
        s_.add(s_.no(s_.both(reason, before)));
        before = s_.either(before, reason);
      }
      s_.add(any);
    }
  }

  const Instance& s_;
  const Problem& p_;
  int steps_;
  std::vector<ordax_term> times_;
  std::vector<std::vector<ordax_term>> values_;
  std::vector<std::vector<std::vector<ordax_term>>> changes_;
};

}  // namespace

bool assert_encoding(const Instance& instance, const std::string& family, int size, int steps) {
  Problem problem;
  if (family == "cellar") {
    problem = cellar(size);
  } else if (family == "logistics") {
    problem = logistics(size);
  } else if (family == "jobshop") {
    problem = jobshop(size);
  } else if (family == "counters") {
    problem = counters(size);
  } else {
    return false;
  }
  Encoding(instance, problem, steps).write();
  return true;
}

}  // namespace ordax_bench
