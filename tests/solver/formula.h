#pragma once

#include <gmpxx.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "solver/api/ordax.h"

namespace ordax_testing {

using Rational = mpq_class;

enum class Sort { BOOL, REAL, INT };

enum class Op { TRUE, FALSE, VAR, NUM, NOT, AND, OR, IFF, LEQ, EQ, PLUS, TIMES, ITE, FLOOR };

/// A node of a formula kept apart from the solver: terms here are never normalised, so that a model
/// can be judged by what was written.
struct Node {
  Op op;
  std::vector<int> children;  // older nodes
  int variable = -1;
  Rational number;
};

struct Variable {
  std::string name;
  Sort sort;
};

/// A set of assertions over declared variables, as a directed acyclic graph of nodes.
struct Formula {
  std::vector<Variable> variables;
  std::vector<Node> nodes;
  std::vector<int> assertions;

  int add(Op op, std::vector<int> children);
  int variable(int index);
  int number(const Rational& value);
  bool is_int(int node) const;
  /// Prefix form, which the driver reads.
  std::string text() const;
};

/// Values by variable; a Boolean is 0 or 1.
using Assignment = std::vector<Rational>;

/// The value of each node.
std::vector<Rational> evaluate(const Formula& formula, const Assignment& assignment);

/// Builds a formula through the interface. Terms by node; empty after a refused call.
class Builder {
 public:
  Builder(ordax_env env, const Formula& formula, const std::string& prefix = "");
  ordax_term operator[](int node) const { return terms_[static_cast<std::size_t>(node)]; }
  bool failed() const { return failed_; }
  /// Reads the values of all variables; false if a value is missing or malformed.
  bool read_model(const Formula& formula, Assignment& assignment) const;

 private:
  ordax_term build(const Formula& formula, const Node& node, const std::string& prefix);

  ordax_env env_;
  std::vector<ordax_term> terms_;
  std::vector<ordax_term> variables_;
  bool failed_ = false;
};

/// What random formulas look like.
struct Profile {
  const char* name;
  int bools[2];
  int reals[2];
  int ints[2];
  int assertions[2];
  int depth;
  bool difference;  // atoms x - y <= c
  bool big;         // coefficients beyond 64 bits
  bool bounded;     // most integers get bounds
  double equalities;
  double ites;
  double iffs;
  double facts;  // share of top-level definitions
  double floors;
  bool clauses;  // assertions of two to four literals
};

const std::vector<Profile>& profiles();

/// The formula of a seed; the same on every machine.
Formula random_formula(std::uint64_t seed, const Profile& profile);

/// A portable source of small random numbers.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  int below(int bound) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(bound)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool chance(double probability) {
    return static_cast<double>(engine_() >> 11) * 0x1.0p-53 < probability;
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace ordax_testing
