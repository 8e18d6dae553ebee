// Random sequences of calls of the whole interface, good and bad ones mixed. After each sequence of
// refusals and checks the environment has to answer as one that saw only the accepted calls; a
// sequence that fails is made smaller before it is printed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "tests/solver/formula.h"
#include "tests/solver/reference.h"
#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

enum class Call {
  ASSERT,
  PUSH,
  POP,
  SOLVE,
  ASSUME,
  VALUE,
  RESET,
  ALL_SAT,
  ITERATE,
  STOP,       // a check under a termination test that stops at once
  NONLINEAR,  // a check of a formula that cannot be answered, behind a push
  BAD_HANDLE,
  BAD_TYPE,
  BAD_TEXT,
  MISSING,
  FOREIGN,
};

struct Step {
  Call call;
  int argument;
};

std::string name_of(const Step& step) {
  static const char* const names[] = {
      "assert",  "push", "pop",       "solve",      "assume",   "value",    "reset",   "all-sat",
      "iterate", "stop", "nonlinear", "bad handle", "bad type", "bad text", "missing", "foreign"};
  return std::string(names[static_cast<int>(step.call)]) + " " + std::to_string(step.argument);
}

/// Runs a sequence; the text of the first thing that went wrong, or an empty one.
class Runner {
 public:
  Runner(const Formula& formula, const Options& options)
      : formula_(formula), session_(options), other_(), terms_(session_, formula) {}

  std::string run(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      const std::string problem = execute(step);
      if (!problem.empty()) return name_of(step) + ": " + problem;
    }
    return execute({Call::SOLVE, 0});
  }

 private:
  int pick(int argument) const {
    return formula_.assertions[static_cast<std::size_t>(argument) % formula_.assertions.size()];
  }

  std::string execute(const Step& step) {
    switch (step.call) {
      case Call::ASSERT:
        levels_.back().push_back(pick(step.argument));
        status_ = -1;
        return expect(session_.add(terms_[pick(step.argument)]) == 0, "refused");
      case Call::PUSH:
        levels_.emplace_back();
        status_ = -1;
        return expect(ordax_push_backtrack_point(session_) == 0, "refused");
      case Call::POP: {
        const bool possible = levels_.size() > 1;
        const int result = ordax_pop_backtrack_point(session_);
        if (possible) {
          levels_.pop_back();
          status_ = -1;
        }
        return expect(result == (possible ? 0 : -1), "wrong result");
      }
      case Call::SOLVE:
        return check({});
      case Call::ASSUME:
        return check({pick(step.argument), pick(step.argument / 7)});
      case Call::VALUE:
        return values();
      case Call::RESET:
        levels_.assign(1, {});
        status_ = -1;
        return expect(ordax_reset_env(session_) == 0, "refused");
      case Call::ALL_SAT:
        return all_sat();
      case Call::ITERATE:
        return iterate();
      case Call::STOP: {
        const auto stop = [](void*) { return 1; };
        ordax_set_termination_test(session_, stop, nullptr);
        const int result = session_.solve();
        ordax_set_termination_test(session_, nullptr, nullptr);
        status_ = -1;
        // An answer that needs no search cannot be stopped.
        return expect(result < 0 || result == fresh({}), "wrong answer");
      }
      case Call::NONLINEAR:
        return nonlinear();
      default:
        return refused(step);
    }
  }

  static std::string expect(bool holds, const char* text) { return holds ? "" : text; }

  Formula active(const std::vector<int>& assumed) const {
    Formula result = formula_;
    result.assertions.clear();
    for (const auto& level : levels_) {
      result.assertions.insert(result.assertions.end(), level.begin(), level.end());
    }
    result.assertions.insert(result.assertions.end(), assumed.begin(), assumed.end());
    return result;
  }

  int fresh(const std::vector<int>& assumed) const {
    const Formula formula = active(assumed);
    Session session;
    const Builder terms(session, formula);
    for (const int a : formula.assertions) session.add(terms[a]);
    return session.solve();
  }

  std::string check(const std::vector<int>& assumed) {
    std::vector<ordax_term> assumptions;
    for (const int a : assumed) assumptions.push_back(terms_[a]);
    status_ = session_.solve(assumptions);
    const int expected = fresh(assumed);
    if (status_ < 0 || expected < 0) {
      return expect(session_.last_error() == "the limit on integer branches is reached", "unknown");
    }
    if (status_ != expected) return "answer " + std::to_string(status_);
    last_assumed_ = assumed;
    return status_ == 1 ? values() : "";
  }

  std::string values() {
    Assignment assignment;
    const bool read = terms_.read_model(formula_, assignment);
    if (formula_.variables.empty()) return "";
    if (read != (status_ == 1)) return "values: " + session_.last_error();
    return read ? model_error(active(last_assumed_), assignment) : "";
  }

  std::string all_sat() {
    std::vector<ordax_term> important;
    for (std::size_t i = 0; i < formula_.nodes.size() && important.size() < 3; ++i) {
      const Node& n = formula_.nodes[i];
      if (n.op != Op::VAR) continue;
      if (formula_.variables[static_cast<std::size_t>(n.variable)].sort != Sort::BOOL) continue;
      const ordax_term term = terms_[static_cast<int>(i)];
      const bool known = std::any_of(important.begin(), important.end(),
                                     [&](ordax_term t) { return t.repr == term.repr; });
      if (!known) important.push_back(term);
    }
    std::vector<std::string> models;
    const auto note = [](const ordax_term* literals, std::size_t count, void* data) {
      std::string text;
      for (std::size_t i = 0; i < count; ++i) {
        text += std::to_string(ordax_term_id(literals[i])) + " ";
      }
      static_cast<std::vector<std::string>*>(data)->push_back(text);
      return 1;
    };
    const int count = ordax_all_sat(session_, important.data(), important.size(), note, &models);
    status_ = -1;
    if (count < 0) {
      return expect(session_.last_error() == "the limit on integer branches is reached", "refused");
    }
    std::sort(models.begin(), models.end());
    if (std::adjacent_find(models.begin(), models.end()) != models.end()) return "a model twice";
    const int expected = fresh({});
    if (expected < 0) return "";
    return expect((count > 0) == (expected == 1) && count <= (1 << important.size()),
                  "wrong number of models");
  }

  std::string iterate() {
    const ordax_model_iterator iterator = ordax_create_model_iterator(session_);
    if (ORDAX_FAILED(iterator)) return expect(status_ != 1, "no iterator");
    while (ordax_model_iterator_has_next(iterator) == 1) {
      ordax_term term;
      ordax_term value;
      ordax_model_iterator_next(iterator, &term, &value);
      if (ordax_get_model_value(session_, term).repr != value.repr) {
        ordax_destroy_model_iterator(iterator);
        return "the iterator and the value differ";
      }
    }
    ordax_destroy_model_iterator(iterator);
    return "";
  }

  std::string nonlinear() {
    const ordax_term x = session_.real("nonlinear x");
    const ordax_term y = session_.real("nonlinear y");
    const ordax_term product = session_.leq(session_.times(x, y), session_.number("1"));
    ordax_push_backtrack_point(session_);
    session_.add(session_.either(product, session_.boolean("nonlinear p")));
    const int result = session_.solve();
    ordax_pop_backtrack_point(session_);
    status_ = -1;
    return expect(result < 0 || fresh({}) == 0, "a nonlinear formula was answered");
  }

  // Calls that must fail and change nothing.
  std::string refused(const Step& step) {
    const ordax_term nothing = {nullptr};
    const ordax_term x = session_.real("x");
    const ordax_term p = session_.boolean("p");
    bool failed = false;
    switch (step.call) {
      case Call::BAD_HANDLE:
        failed = session_.add(nothing) == -1 && ORDAX_FAILED(session_.both(p, nothing)) &&
                 session_.solve({nothing}) == -1 && ORDAX_FAILED(session_.equal(nothing, x)) &&
                 ORDAX_FAILED(ordax_get_model_value(session_, nothing));
        break;
      case Call::BAD_TYPE:
        failed = session_.add(x) == -1 && ORDAX_FAILED(session_.both(p, x)) &&
                 ORDAX_FAILED(session_.equal(p, p)) && ORDAX_FAILED(session_.leq(p, x)) &&
                 session_.solve({x}) == -1 && ORDAX_FAILED(session_.integer("x"));
        break;
      case Call::BAD_TEXT:
        failed = ORDAX_FAILED(session_.number(step.argument % 2 == 0 ? "1/0" : "")) &&
                 ORDAX_FAILED(session_.boolean("")) && ORDAX_FAILED(session_.boolean("`x"));
        break;
      case Call::MISSING:
        failed = ORDAX_FAILED(ordax_get_bv_type(session_, 4)) &&
                 ORDAX_FAILED(ordax_make_sin(session_, x)) &&
                 ordax_create_itp_group(session_) == -1;
        break;
      default: {
        const ordax_term foreign = other_.boolean("p");
        failed = session_.add(foreign) == -1 && ORDAX_FAILED(session_.negation(foreign)) &&
                 ordax_term_is_true(session_, foreign) == -1;
        break;
      }
    }
    return expect(failed && !session_.last_error().empty(), "a bad call was accepted");
  }

  const Formula& formula_;
  Session session_;
  Session other_;
  Builder terms_;
  std::vector<std::vector<int>> levels_{1};
  std::vector<int> last_assumed_;
  int status_ = -1;
};

std::vector<Step> random_steps(Random& random) {
  std::vector<Step> steps;
  const int count = random.between(5, 30);
  for (int i = 0; i < count; ++i) {
    const int roll = random.below(40);
    Call call = Call::ASSERT;
    if (roll >= 12) call = Call::PUSH;
    if (roll >= 15) call = Call::POP;
    if (roll >= 18) call = Call::SOLVE;
    if (roll >= 22) call = Call::ASSUME;
    if (roll >= 25) call = static_cast<Call>(static_cast<int>(Call::VALUE) + (roll - 25) % 11);
    steps.push_back({call, random.below(1000)});
  }
  return steps;
}

std::vector<Step> shrunk(std::vector<Step> steps,
                         const std::function<bool(const std::vector<Step>&)>& fails) {
  for (std::size_t i = steps.size(); i-- > 0;) {
    std::vector<Step> fewer = steps;
    fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
    if (fails(fewer)) steps = std::move(fewer);
  }
  return steps;
}

TEST(RandomCalls, TheEnvironmentAnswersAsIfOnlyTheAcceptedCallsHadBeenMade) {
  const Options variants[] = {{},
                              {{"shallow_incrementality", "true"}},
                              {{"unsat_core_generation", "3"}},
                              {{"dpll.preprocessor.mode", "2"}},
                              {{"theory.pure_literal_filtering", "true"}}};
  const char* factor = std::getenv("ORDAX_TEST_CASES");
  const int cases = 400 * (factor == nullptr ? 1 : std::atoi(factor));
  for (int seed = 0; seed < cases && !HasFailure(); ++seed) {
    Random random(static_cast<std::uint64_t>(seed) + 77);
    const Profile& profile =
        profiles()[static_cast<std::size_t>(random.below(static_cast<int>(profiles().size())))];
    if (profile.big) continue;  // long arithmetic is not what is tested here
    const Formula formula = random_formula(static_cast<std::uint64_t>(seed), profile);
    const Options& options = variants[seed % 5];
    const std::vector<Step> steps = random_steps(random);
    const auto problem = [&](const std::vector<Step>& s) {
      return Runner(formula, options).run(s);
    };
    if (problem(steps).empty()) continue;
    const std::vector<Step> small =
        shrunk(steps, [&](const std::vector<Step>& s) { return !problem(s).empty(); });
    std::string text;
    for (const Step& step : small) text += name_of(step) + "; ";
    ADD_FAILURE() << "seed " << seed << " " << profile.name << ": " << text << problem(small)
                  << "\n"
                  << formula.text();
  }
}

}  // namespace
}  // namespace ordax_testing
