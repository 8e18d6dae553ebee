#include "tests/random/problem_generator.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/random/random.h"

namespace kelvo::random_tests {

namespace {

constexpr int NUM_INSTANCES = 2;
constexpr int MAX_VALUE = 4;  // of integer fluents, whose least value is 0

struct Fluent {
  std::string name;
  bool is_integer = false;
  bool has_parameter = false;
};

/// An application of a fluent: to nothing, to an instance, or to the parameter of the action.
constexpr int TO_PARAMETER = -1;
struct Atom {
  int fluent = 0;
  int argument = 0;
};

enum class Test { IS_TRUE, IS_FALSE, EQUALS, AT_LEAST, AT_MOST };
struct Literal {
  Atom atom;
  Test test = Test::IS_TRUE;
  int value = 0;
};

/// A time in an action: after its start or before its end. All times are whole numbers.
struct Time {
  bool from_start = true;
  int offset = 0;
};

struct Condition {
  Time left;
  Time right;
  bool is_point = false;
  bool left_closed = true;
  bool right_closed = true;
  std::vector<Literal> any_of;
};

enum class Change { SET, ADD, COPY_NEGATED };
struct Effect {
  Time time;
  Atom atom;
  Change change = Change::SET;
  int value = 0;
  Atom source;  // of a copy
};

struct Action {
  std::string name;
  bool has_parameter = false;
  int shortest = 1;
  int longest = 1;
  bool is_free = false;  // the duration is any between the two
  bool is_open = false;  // ... but not one of the two
  std::vector<Condition> conditions;
  std::vector<Effect> effects;
};

struct TimedEffect {
  int half_units = 0;  // an odd number: no action of the witness starts or ends there
  Atom atom;
  int value = 0;
};

struct Step {
  int action = 0;
  int argument = 0;
  int start = 0;
  int duration = 0;
};

using State = std::vector<int>;  // by ground fluent

class Generator {
 public:
  Generator(std::uint32_t seed, const GeneratorFeatures& features)
      : random_(seed), features_(features) {}

  GeneratedProblem generate() {
    make_fluents();
    const int num_actions = 2 + random_.below(features_.max_actions - 1);
    for (int i = 0; i < num_actions; ++i) make_action(i);
    if (features_.timed_statements && random_.chance(40)) make_timed_effects();
    find_witness();
    return {problem_text(), witness_text()};
  }

 private:
  // ----- the problem ------------------------------------------------------------------------

  void make_fluents() {
    const int num_fluents = 3 + random_.below(features_.max_fluents - 2);
    for (int i = 0; i < num_fluents; ++i) {
      Fluent fluent;
      fluent.is_integer = features_.numbers && random_.chance(25);
      fluent.has_parameter = features_.parameters && random_.chance(30);
      fluent.name = (fluent.is_integer ? "n" : "p") + std::to_string(i);
      first_slot_.push_back(static_cast<int>(initial_.size()));
      for (int k = 0; k < (fluent.has_parameter ? NUM_INSTANCES : 1); ++k) {
        initial_.push_back(fluent.is_integer ? random_.below(3) : random_.chance(30));
      }
      fluents_.push_back(std::move(fluent));
    }
  }

  Atom random_atom(bool in_parametric_action) {
    Atom atom;
    atom.fluent = random_.below(static_cast<int>(fluents_.size()));
    if (!fluent_of(atom).has_parameter) return atom;
    const bool to_parameter = in_parametric_action && random_.chance(70);
    atom.argument = to_parameter ? TO_PARAMETER : random_.below(NUM_INSTANCES);
    return atom;
  }

  Literal random_literal(bool in_parametric_action) {
    Literal literal;
    literal.atom = random_atom(in_parametric_action);
    if (fluent_of(literal.atom).is_integer) {
      static constexpr std::array<Test, 3> tests = {Test::EQUALS, Test::AT_LEAST, Test::AT_MOST};
      literal.test = tests[static_cast<std::size_t>(random_.below(3))];
      literal.value = random_.below(MAX_VALUE + 1);
    } else {
      literal.test = random_.chance(60) ? Test::IS_TRUE : Test::IS_FALSE;
    }
    return literal;
  }

  Time random_time(int shortest) {
    Time time;
    time.from_start = random_.chance(50);
    if (features_.intermediate_times && shortest > 1 && random_.chance(25)) {
      time.offset = 1 + random_.below(shortest - 1);
    }
    return time;
  }

  void make_action(int index) {
    Action action;
    action.name = "a" + std::to_string(index);
    action.has_parameter = features_.parameters && random_.chance(40);
    action.shortest = 1 + random_.below(5);
    action.longest = action.shortest;
    if (features_.free_durations && random_.chance(30)) {
      action.is_free = true;
      action.is_open = random_.chance(30);
      action.longest += 2 + random_.below(4);
    }
    for (int i = random_.below(4); i > 0; --i)
      action.conditions.push_back(random_condition(action));
    for (int i = 1 + random_.below(3); i > 0; --i) add_random_effect(action);
    actions_.push_back(std::move(action));
  }

  Condition random_condition(const Action& action) {
    Condition condition;
    condition.any_of.push_back(random_literal(action.has_parameter));
    if (random_.chance(15)) condition.any_of.push_back(random_literal(action.has_parameter));
    condition.is_point = random_.chance(50);
    condition.left = random_time(action.shortest);
    condition.right = condition.left;
    if (condition.is_point) return condition;
    condition.left = {true, 0};
    condition.right = {false, 0};
    if (features_.intermediate_times && action.shortest > 2 && random_.chance(25)) {
      condition.left.offset = 1;
    }
    condition.left_closed = random_.chance(60);
    condition.right_closed = random_.chance(60);
    return condition;
  }

  void add_random_effect(Action& action) {
    Effect effect;
    effect.atom = random_atom(action.has_parameter);
    // One fluent is written once: two effects at one time would contradict each other.
    for (const Effect& other : action.effects) {
      if (other.atom.fluent == effect.atom.fluent) return;
    }
    effect.time = random_time(action.shortest);
    if (fluent_of(effect.atom).is_integer) {
      effect.change = random_.chance(60) ? Change::ADD : Change::SET;
      effect.value = effect.change == Change::ADD ? (random_.chance(60) ? 1 : -1)
                                                  : random_.below(MAX_VALUE + 1);
      if (effect.change == Change::ADD) add_guard(action, effect);
    } else {
      effect.value = random_.chance(60);
      effect.source = random_atom(action.has_parameter);
      if (random_.chance(10) && !fluent_of(effect.source).is_integer) {
        effect.change = Change::COPY_NEGATED;
      }
    }
    action.effects.push_back(effect);
  }

  // Keeps the fluent within its bounds as long as nobody else writes it in between.
  void add_guard(Action& action, const Effect& effect) {
    Condition guard;
    guard.is_point = true;
    guard.left = effect.time;
    guard.right = effect.time;
    guard.any_of = {{effect.atom, effect.value > 0 ? Test::AT_MOST : Test::AT_LEAST,
                     effect.value > 0 ? MAX_VALUE - 1 : 1}};
    action.conditions.push_back(guard);
  }

  void make_timed_effects() {
    Atom atom = random_atom(/*in_parametric_action=*/false);
    int time = 1;
    for (int i = 1 + random_.below(2); i > 0; --i) {
      time += 2 + 2 * random_.below(8);
      const int value =
          fluent_of(atom).is_integer ? random_.below(MAX_VALUE + 1) : random_.below(2);
      timed_effects_.push_back({time, atom, value});
    }
  }

  // ----- the witness ------------------------------------------------------------------------

  // What a fluent is from a time on. Times are doubled to hold the halves of timed effects.
  struct Write {
    int time;
    const Step* step;
    const Effect* effect;             // of a step
    const TimedEffect* timed_effect;  // of the problem
  };

  const Fluent& fluent_of(const Atom& atom) const {
    return fluents_[static_cast<std::size_t>(atom.fluent)];
  }
  const Action& action_of(const Step& step) const {
    return actions_[static_cast<std::size_t>(step.action)];
  }
  std::size_t slot_of(const Atom& atom, int argument) const {
    const int first = first_slot_[static_cast<std::size_t>(atom.fluent)];
    if (!fluent_of(atom).has_parameter) return static_cast<std::size_t>(first);
    return static_cast<std::size_t>(first +
                                    (atom.argument == TO_PARAMETER ? argument : atom.argument));
  }
  static int absolute(const Time& time, const Step& step) {
    return 2 *
           (time.from_start ? step.start + time.offset : step.start + step.duration - time.offset);
  }

  bool holds(const Literal& literal, const State& state, int argument) const {
    const int value = state[slot_of(literal.atom, argument)];
    switch (literal.test) {
      case Test::IS_TRUE:
        return value != 0;
      case Test::IS_FALSE:
        return value == 0;
      case Test::EQUALS:
        return value == literal.value;
      case Test::AT_LEAST:
        return value >= literal.value;
      case Test::AT_MOST:
        return value <= literal.value;
    }
    return false;
  }

  /// The state from each time on at which something is written, and from -1 on the initial one;
  /// nothing if a value leaves its bounds or a fluent is written twice at one time.
  std::optional<std::map<int, State>> simulate() const {
    std::vector<Write> writes;
    for (const TimedEffect& effect : timed_effects_) {
      writes.push_back({effect.half_units, nullptr, nullptr, &effect});
    }
    for (const Step& step : witness_) {
      for (const Effect& effect : action_of(step).effects) {
        writes.push_back({absolute(effect.time, step), &step, &effect, nullptr});
      }
    }
    std::stable_sort(writes.begin(), writes.end(),
                     [](const Write& a, const Write& b) { return a.time < b.time; });
    std::map<int, State> states = {{-1, initial_}};
    std::map<std::pair<int, std::size_t>, bool> written;
    for (const Write& write : writes) {
      const State& before = std::prev(states.lower_bound(write.time))->second;
      State& after = states.try_emplace(write.time, before).first->second;
      const int argument = write.step == nullptr ? 0 : write.step->argument;
      const Atom& atom = write.effect == nullptr ? write.timed_effect->atom : write.effect->atom;
      const std::size_t slot = slot_of(atom, argument);
      if (written[{write.time, slot}]) return std::nullopt;
      written[{write.time, slot}] = true;
      after[slot] = write.effect == nullptr ? write.timed_effect->value
                                            : new_value(*write.effect, before, argument);
      if (after[slot] < 0 || after[slot] > MAX_VALUE) return std::nullopt;
    }
    return states;
  }

  int new_value(const Effect& effect, const State& before, int argument) const {
    switch (effect.change) {
      case Change::SET:
        return effect.value;
      case Change::ADD:
        return before[slot_of(effect.atom, argument)] + effect.value;
      case Change::COPY_NEGATED:
        return before[slot_of(effect.source, argument)] == 0;
    }
    return 0;
  }

  /// Whether `is_good` holds in each state that stands at some time of the interval. What is
  /// written at a time shows only behind it.
  template <typename IsGood>
  static bool holds_throughout(const std::map<int, State>& states, int left, int right,
                               bool left_closed, const IsGood& is_good) {
    if ((left_closed || left == right) && !is_good(std::prev(states.lower_bound(left))->second)) {
      return false;
    }
    auto state = std::prev(states.upper_bound(left));
    for (; left < right && state != states.end() && state->first < right; ++state) {
      if (!is_good(state->second)) return false;
    }
    return true;
  }

  bool conditions_hold(const std::map<int, State>& states) const {
    for (const Step& step : witness_) {
      for (const Condition& condition : action_of(step).conditions) {
        const auto is_good = [&](const State& state) {
          return std::any_of(condition.any_of.begin(), condition.any_of.end(),
                             [&](const Literal& l) { return holds(l, state, step.argument); });
        };
        const int left = absolute(condition.left, step);
        const int right = absolute(condition.right, step);
        if (!holds_throughout(states, left, right, condition.left_closed, is_good)) return false;
      }
    }
    return true;
  }

  void find_witness() {
    int now = 0;
    const int wanted = 1 + random_.below(4);
    for (int attempts = 0; attempts < 60 && static_cast<int>(witness_.size()) < wanted;
         ++attempts) {
      Step step;
      step.action = random_.below(static_cast<int>(actions_.size()));
      step.argument = random_.below(NUM_INSTANCES);
      step.start = now + (random_.chance(20) ? random_.below(10) : 0);
      const Action& action = action_of(step);
      step.duration = action.shortest;
      if (action.is_free) {
        const int open = action.is_open ? 1 : 0;
        step.duration += open + random_.below(action.longest - action.shortest + 1 - 2 * open);
      }
      witness_.push_back(step);
      const auto states = simulate();
      if (states && conditions_hold(*states)) {
        now = step.start + step.duration + 1;
      } else {
        witness_.pop_back();
      }
    }
  }

  // ----- the text ---------------------------------------------------------------------------

  static std::string instance(int index) { return "o" + std::to_string(index); }

  std::string text(const Atom& atom) const {
    const Fluent& fluent = fluent_of(atom);
    if (!fluent.has_parameter) return fluent.name;
    if (features_.structured) {
      return atom.argument == TO_PARAMETER ? fluent.name
                                           : instance(atom.argument) + "." + fluent.name;
    }
    return fluent.name + "(" + (atom.argument == TO_PARAMETER ? "o" : instance(atom.argument)) +
           ")";
  }

  std::string text(const Literal& literal) const {
    const std::string atom = text(literal.atom);
    const std::string value = std::to_string(literal.value);
    switch (literal.test) {
      case Test::IS_TRUE:
        return atom;
      case Test::IS_FALSE:
        return "not " + atom;
      case Test::EQUALS:
        return atom + " == " + value;
      case Test::AT_LEAST:
        return atom + " >= " + value;
      case Test::AT_MOST:
        return atom + " <= " + value;
    }
    return "";
  }

  static std::string text(const Time& time) {
    std::string result = time.from_start ? "start" : "end";
    if (time.offset > 0) result += (time.from_start ? " + " : " - ") + std::to_string(time.offset);
    return result;
  }

  std::string text(const Condition& condition) const {
    std::string interval = "[" + text(condition.left) + "]";
    if (!condition.is_point) {
      interval = (condition.left_closed ? "[" : "(") + text(condition.left) + ", " +
                 text(condition.right) + (condition.right_closed ? "]" : ")");
    }
    std::string body = text(condition.any_of.front());
    for (std::size_t i = 1; i < condition.any_of.size(); ++i) {
      body += " or " + text(condition.any_of[i]);
    }
    return interval + " " + body;
  }

  std::string value_text(const Atom& atom, int value) const {
    if (fluent_of(atom).is_integer) return std::to_string(value);
    return value != 0 ? "true" : "false";
  }

  std::string text(const Effect& effect) const {
    std::string value = value_text(effect.atom, effect.value);
    if (effect.change == Change::COPY_NEGATED) value = "not " + text(effect.source);
    if (effect.change == Change::ADD) {
      value = text(effect.atom) + (effect.value > 0 ? " + 1" : " - 1");
    }
    return "[" + text(effect.time) + "] " + text(effect.atom) + " := " + value;
  }

  void write(std::ostream& os, const Action& action) const {
    const bool has_formal = action.has_parameter && !features_.structured;
    os << "action " << action.name << "(" << (has_formal ? "Thing o" : "") << ") {\n";
    if (action.is_free) {
      os << "  duration " << (action.is_open ? ">" : ">=") << " " << action.shortest << ";\n"
         << "  duration " << (action.is_open ? "<" : "<=") << " " << action.longest << ";\n";
    } else {
      os << "  duration := " << action.shortest << ";\n";
    }
    for (const Condition& condition : action.conditions) os << "  " << text(condition) << ";\n";
    for (const Effect& effect : action.effects) os << "  " << text(effect) << ";\n";
    os << "};\n";
  }

  void write(std::ostream& os, const Fluent& fluent) const {
    const bool has_formal = fluent.has_parameter && !features_.structured;
    os << "fluent "
       << (fluent.is_integer ? "integer[0, " + std::to_string(MAX_VALUE) + "]" : "boolean") << " "
       << fluent.name << (has_formal ? "(Thing o)" : "") << ";\n";
  }

  // The members of the type, or what stands beside it.
  void write_declarations(std::ostream& os, bool members) const {
    for (const Fluent& fluent : fluents_) {
      if ((features_.structured && fluent.has_parameter) == members) write(os, fluent);
    }
    for (const Action& action : actions_) {
      if ((features_.structured && action.has_parameter) == members) write(os, action);
    }
  }

  std::string problem_text() {
    std::ostringstream os;
    os << "type Thing";
    if (features_.structured) {
      os << " with {\n";
      write_declarations(os, /*members=*/true);
      os << "}";
    }
    os << ";\ninstance Thing ";
    for (int k = 0; k < NUM_INSTANCES; ++k) os << (k > 0 ? ", " : "") << instance(k);
    os << ";\n";
    write_declarations(os, /*members=*/false);
    for_each_slot([&](const Atom& atom, std::size_t slot) {
      os << "[start] " << text(atom) << " := " << value_text(atom, initial_[slot]) << ";\n";
    });
    for (const TimedEffect& effect : timed_effects_) {
      os << "[start + " << effect.half_units / 2 << ".5] " << text(effect.atom)
         << " := " << value_text(effect.atom, effect.value) << ";\n";
    }
    write_goals(os);
    return os.str();
  }

  template <typename Visit>
  void for_each_slot(const Visit& visit) const {
    for (std::size_t fluent = 0; fluent < fluents_.size(); ++fluent) {
      for (int k = 0; k < (fluents_[fluent].has_parameter ? NUM_INSTANCES : 1); ++k) {
        const Atom atom = {static_cast<int>(fluent), k};
        visit(atom, slot_of(atom, 0));
      }
    }
  }

  std::string fact(const Atom& atom, int value) const {
    if (fluent_of(atom).is_integer) return text(atom) + " == " + std::to_string(value);
    return (value != 0 ? "" : "not ") + text(atom);
  }

  int arbitrary_value(const Atom& atom) {
    return random_.below(fluent_of(atom).is_integer ? MAX_VALUE + 1 : 2);
  }

  bool has_timed_effect(const Atom& atom) const {
    return std::any_of(
        timed_effects_.begin(), timed_effects_.end(),
        [&](const TimedEffect& effect) { return effect.atom.fluent == atom.fluent; });
  }

  // What the witness changed, now and then something that it left, and a window in which the
  // witness leaves a fluent alone. Never what a timed effect writes: a plan that waits for one says
  // nothing of the waiting, and the end of the plan comes before the effect.
  void write_goals(std::ostream& os) {
    const std::map<int, State> states = *simulate();
    const State& last = states.rbegin()->second;
    int num_goals = 0;
    for_each_slot([&](const Atom& atom, std::size_t slot) {
      const bool is_changed = last[slot] != initial_[slot];
      const int unchanged = features_.arbitrary_goals ? 50 : 10;
      const int chance = !is_changed ? unchanged : num_goals == 0 ? 90 : 50;
      if (num_goals == 3 || has_timed_effect(atom) || !random_.chance(chance)) return;
      const bool is_timed = random_.chance(50) || !features_.untimed_goals;
      const int value = features_.arbitrary_goals ? arbitrary_value(atom) : last[slot];
      os << "goal " << (is_timed ? "[end] " : "") << fact(atom, value) << ";\n";
      ++num_goals;
    });
    if (features_.arbitrary_goals) return;
    if (!features_.timed_statements || witness_.empty() || !random_.chance(30)) return;
    const Step& step = witness_.back();
    const int right = 1 + random_.below(step.start + step.duration);
    const int left = random_.below(right);
    for_each_slot([&](const Atom& atom, std::size_t slot) {
      const int value = std::prev(states.lower_bound(2 * left))->second[slot];
      const auto is_good = [&](const State& state) { return state[slot] == value; };
      if (!random_.chance(20) || !holds_throughout(states, 2 * left, 2 * right, true, is_good)) {
        return;
      }
      os << "goal [start + " << left << ", start + " << right << "] " << fact(atom, value) << ";\n";
    });
  }

  std::string witness_text() const {
    std::ostringstream os;
    for (const Step& step : witness_) {
      const Action& action = action_of(step);
      const bool is_member = action.has_parameter && features_.structured;
      os << step.start << ": " << (is_member ? instance(step.argument) + "." : "") << action.name
         << "(" << (action.has_parameter && !is_member ? instance(step.argument) : "") << ") ["
         << step.duration << "]\n";
    }
    return os.str();
  }

  Random random_;
  const GeneratorFeatures features_;
  std::vector<Fluent> fluents_;
  std::vector<int> first_slot_;  // of each fluent, in `initial_`
  State initial_;
  std::vector<Action> actions_;
  std::vector<TimedEffect> timed_effects_;
  std::vector<Step> witness_;
};

}  // namespace

GeneratedProblem generate_problem(std::uint32_t seed, const GeneratorFeatures& features) {
  return Generator(seed, features).generate();
}

}  // namespace kelvo::random_tests
