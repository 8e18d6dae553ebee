#include "tests/solver/reference.h"

#include <algorithm>
#include <map>
#include <optional>

#ifdef ORDAX_HAVE_Z3
#include <z3.h>
#endif

namespace ordax_testing {
namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

/// sum of coefficients * variables + constant, related to 0.
struct Constraint {
  std::map<int, Rational> sum;
  Rational constant;
  bool strict = false;  // sum + constant < 0, else <= 0
};

constexpr std::size_t MOST_CONSTRAINTS = 3000;

/// Fourier-Motzkin elimination over the rationals; nothing if it grows too large.
std::optional<bool> feasible(std::vector<Constraint> constraints) {
  for (;;) {
    int variable = -1;
    for (const Constraint& c : constraints) {
      if (c.sum.empty()) {
        if (c.constant > 0 || (c.strict && c.constant == 0)) return false;
      } else {
        variable = c.sum.begin()->first;
      }
    }
    if (variable < 0) return true;
    std::vector<Constraint> upper;
    std::vector<Constraint> lower;
    std::vector<Constraint> rest;
    for (Constraint& c : constraints) {
      const auto place = c.sum.find(variable);
      if (place == c.sum.end()) {
        rest.push_back(std::move(c));
      } else {
        (place->second > 0 ? upper : lower).push_back(std::move(c));
      }
    }
    for (const Constraint& u : upper) {
      for (const Constraint& l : lower) {
        const Rational a = u.sum.at(variable);
        const Rational b = -l.sum.at(variable);
        Constraint c;
        for (const auto& [v, k] : u.sum) c.sum[v] += k * b;
        for (const auto& [v, k] : l.sum) c.sum[v] += k * a;
        std::erase_if(c.sum, [](const auto& entry) { return entry.second == 0; });
        c.constant = u.constant * b + l.constant * a;
        c.strict = u.strict || l.strict;
        rest.push_back(std::move(c));
      }
    }
    constraints = std::move(rest);
    if (constraints.size() > MOST_CONSTRAINTS) return std::nullopt;
  }
}

/// Enumerates truth values of Booleans and atoms of a formula without integers.
class RationalJudge {
 public:
  explicit RationalJudge(const Formula& formula) : formula_(formula) {}

  Verdict run() {
    std::vector<std::uint8_t> needed(formula_.nodes.size(), 0);
    for (const int a : formula_.assertions) needed[at(a)] = 1;
    for (std::size_t i = formula_.nodes.size(); i-- > 0;) {
      if (needed[i] == 0) continue;
      for (const int c : formula_.nodes[i].children) needed[at(c)] = 1;
    }
    for (std::size_t i = 0; i < formula_.nodes.size(); ++i) {
      if (needed[i] == 0) continue;
      const Node& n = formula_.nodes[i];
      const bool bool_variable =
          n.op == Op::VAR && formula_.variables[at(n.variable)].sort == Sort::BOOL;
      if (n.op == Op::ITE || n.op == Op::FLOOR) return Verdict::UNKNOWN;
      if (n.op == Op::LEQ || n.op == Op::EQ) {
        Constraint c;
        linearise(n.children[0], 1, c);
        linearise(n.children[1], -1, c);
        std::erase_if(c.sum, [](const auto& entry) { return entry.second == 0; });
        atoms_.push_back(static_cast<int>(i));
        linear_.push_back(std::move(c));
      } else if (bool_variable) {
        const int v = n.variable;
        if (bools_.insert({v, static_cast<int>(bools_.size())}).second) ++num_bools_;
      }
    }
    if (atoms_.size() + num_bools_ > MOST_UNKNOWNS) return Verdict::UNKNOWN;
    truth_.assign(atoms_.size(), 0);
    for (unsigned bits = 0; bits < (1U << num_bools_); ++bits) {
      bool_bits_ = bits;
      if (search(0, {})) return Verdict::SAT;
      if (too_large_) return Verdict::UNKNOWN;
    }
    return Verdict::UNSAT;
  }

 private:
  static constexpr std::size_t MOST_UNKNOWNS = 8;

  void linearise(int node, const Rational& factor, Constraint& out) const {
    const Node& n = formula_.nodes[at(node)];
    if (n.op == Op::NUM) {
      out.constant += factor * n.number;
    } else if (n.op == Op::VAR) {
      out.sum[n.variable] += factor;
    } else if (n.op == Op::PLUS) {
      for (const int c : n.children) linearise(c, factor, out);
    } else {
      linearise(n.children[1], factor * formula_.nodes[at(n.children[0])].number, out);
    }
  }

  static Constraint negated(const Constraint& c, bool strict) {
    Constraint result;
    for (const auto& [v, k] : c.sum) result.sum[v] = -k;
    result.constant = -c.constant;
    result.strict = strict;
    return result;
  }

  bool search(std::size_t next, const std::vector<Constraint>& chosen) {
    if (next == atoms_.size()) {
      if (!holds()) return false;
      const std::optional<bool> answer = feasible(chosen);
      too_large_ = too_large_ || !answer.has_value();
      return answer.value_or(false);
    }
    const Constraint& c = linear_[next];
    const bool equality = formula_.nodes[at(atoms_[next])].op == Op::EQ;
    std::vector<std::pair<int, std::vector<Constraint>>> cases;
    Constraint strict = c;
    strict.strict = true;
    if (equality) {
      cases = {{1, {c, negated(c, false)}}, {0, {strict}}, {0, {negated(c, true)}}};
    } else {
      cases = {{1, {c}}, {0, {negated(c, true)}}};
    }
    for (const auto& [truth, constraints] : cases) {
      std::vector<Constraint> extended = chosen;
      extended.insert(extended.end(), constraints.begin(), constraints.end());
      truth_[next] = truth;
      if (search(next + 1, extended)) return true;
    }
    return false;
  }

  bool holds() const {
    std::vector<int> values(formula_.nodes.size(), 0);
    std::size_t atom = 0;
    for (std::size_t i = 0; i < formula_.nodes.size(); ++i) {
      const Node& n = formula_.nodes[i];
      int v = 0;
      switch (n.op) {
        case Op::TRUE:
          v = 1;
          break;
        case Op::VAR: {
          const auto place = bools_.find(n.variable);
          v = place != bools_.end() && ((bool_bits_ >> place->second) & 1U) != 0 ? 1 : 0;
          break;
        }
        case Op::LEQ:
        case Op::EQ:
          if (atom < atoms_.size() && atoms_[atom] == static_cast<int>(i)) v = truth_[atom++];
          break;
        case Op::NOT:
          v = 1 - values[at(n.children[0])];
          break;
        case Op::AND:
          v = std::all_of(n.children.begin(), n.children.end(),
                          [&](int c) { return values[at(c)] != 0; })
                  ? 1
                  : 0;
          break;
        case Op::OR:
          v = std::any_of(n.children.begin(), n.children.end(),
                          [&](int c) { return values[at(c)] != 0; })
                  ? 1
                  : 0;
          break;
        case Op::IFF:
          v = values[at(n.children[0])] == values[at(n.children[1])] ? 1 : 0;
          break;
        default:
          break;
      }
      values[i] = v;
    }
    return std::all_of(formula_.assertions.begin(), formula_.assertions.end(),
                       [&](int a) { return values[at(a)] != 0; });
  }

  const Formula& formula_;
  std::vector<int> atoms_;
  std::vector<Constraint> linear_;
  std::map<int, int> bools_;
  std::size_t num_bools_ = 0;
  unsigned bool_bits_ = 0;
  bool too_large_ = false;
  std::vector<int> truth_;
};

/// Tries all values of bounded integers and Booleans.
Verdict judge_integers(const Formula& formula) {
  std::vector<std::pair<int, int>> box;
  for (const Variable& v : formula.variables) {
    if (v.sort == Sort::REAL) return Verdict::UNKNOWN;
    box.emplace_back(v.sort == Sort::BOOL ? 0 : -1000, v.sort == Sort::BOOL ? 1 : 1000);
  }
  for (const int a : formula.assertions) {
    const Node& n = formula.nodes[at(a)];
    if (n.op != Op::LEQ) continue;
    const Node& left = formula.nodes[at(n.children[0])];
    const Node& right = formula.nodes[at(n.children[1])];
    if (left.op == Op::NUM && right.op == Op::VAR && left.number.get_den() == 1) {
      int& low = box[at(right.variable)].first;
      low = std::max(low, static_cast<int>(left.number.get_d()));
    }
    if (left.op == Op::VAR && right.op == Op::NUM && right.number.get_den() == 1) {
      int& high = box[at(left.variable)].second;
      high = std::min(high, static_cast<int>(right.number.get_d()));
    }
  }
  double size = 1;
  for (const auto& [low, high] : box) {
    if (high < low) return Verdict::UNSAT;
    size *= high - low + 1;
  }
  if (size > 400) return Verdict::UNKNOWN;
  Assignment assignment;
  for (const auto& range : box) assignment.emplace_back(range.first);
  for (;;) {
    if (model_error(formula, assignment).empty()) return Verdict::SAT;
    std::size_t i = 0;
    while (i < box.size() && assignment[i] == box[i].second) {
      assignment[i] = box[i].first;
      ++i;
    }
    if (i == box.size()) return Verdict::UNSAT;
    assignment[i] += 1;
  }
}

}  // namespace

Verdict judge_by_enumeration(const Formula& formula) {
  const bool has_int = std::any_of(formula.variables.begin(), formula.variables.end(),
                                   [](const Variable& v) { return v.sort == Sort::INT; });
  return has_int ? judge_integers(formula) : RationalJudge(formula).run();
}

std::string model_error(const Formula& formula, const Assignment& assignment) {
  const std::vector<Rational> values = evaluate(formula, assignment);
  for (std::size_t i = 0; i < formula.assertions.size(); ++i) {
    if (values[at(formula.assertions[i])] == 0) {
      return "assertion " + std::to_string(i) + " is false in the model";
    }
  }
  return "";
}

#ifdef ORDAX_HAVE_Z3

bool has_peer() {
  return true;
}

namespace {

class Peer {
 public:
  Peer() {
    Z3_config config = Z3_mk_config();
    context_ = Z3_mk_context(config);
    Z3_del_config(config);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() { Z3_del_context(context_); }

  Verdict check(const Formula& formula) {
    Z3_solver solver = Z3_mk_simple_solver(context_);
    Z3_solver_inc_ref(context_, solver);
    Z3_params params = Z3_mk_params(context_);
    Z3_params_inc_ref(context_, params);
    Z3_params_set_uint(context_, params, Z3_mk_string_symbol(context_, "timeout"), 5000);
    Z3_solver_set_params(context_, solver, params);
    Z3_params_dec_ref(context_, params);
    std::vector<Z3_ast> variables;
    for (const Variable& v : formula.variables) {
      const Z3_sort sort = v.sort == Sort::BOOL   ? Z3_mk_bool_sort(context_)
                           : v.sort == Sort::REAL ? Z3_mk_real_sort(context_)
                                                  : Z3_mk_int_sort(context_);
      variables.push_back(
          Z3_mk_const(context_, Z3_mk_string_symbol(context_, v.name.c_str()), sort));
    }
    std::vector<Z3_ast> terms;
    for (const Node& n : formula.nodes) terms.push_back(build(n, terms, variables));
    for (const int a : formula.assertions) Z3_solver_assert(context_, solver, terms[at(a)]);
    const Z3_lbool result = Z3_solver_check(context_, solver);
    Z3_solver_dec_ref(context_, solver);
    return result == Z3_L_TRUE    ? Verdict::SAT
           : result == Z3_L_FALSE ? Verdict::UNSAT
                                  : Verdict::UNKNOWN;
  }

 private:
  Z3_ast build(const Node& n, const std::vector<Z3_ast>& terms,
               const std::vector<Z3_ast>& variables) {
    std::vector<Z3_ast> c;
    for (const int child : n.children) c.push_back(terms[at(child)]);
    const unsigned size = static_cast<unsigned>(c.size());
    switch (n.op) {
      case Op::TRUE:
        return Z3_mk_true(context_);
      case Op::FALSE:
        return Z3_mk_false(context_);
      case Op::VAR: {
        const Z3_ast v = variables[at(n.variable)];
        const bool is_int = Z3_get_sort(context_, v) == Z3_mk_int_sort(context_);
        return is_int ? Z3_mk_int2real(context_, v) : v;
      }
      case Op::NUM:
        return Z3_mk_numeral(context_, n.number.get_str().c_str(), Z3_mk_real_sort(context_));
      case Op::NOT:
        return Z3_mk_not(context_, c[0]);
      case Op::AND:
        return Z3_mk_and(context_, size, c.data());
      case Op::OR:
        return Z3_mk_or(context_, size, c.data());
      case Op::IFF:
        return Z3_mk_iff(context_, c[0], c[1]);
      case Op::EQ:
        return Z3_mk_eq(context_, c[0], c[1]);
      case Op::LEQ:
        return Z3_mk_le(context_, c[0], c[1]);
      case Op::PLUS:
        return Z3_mk_add(context_, size, c.data());
      case Op::TIMES:
        return Z3_mk_mul(context_, size, c.data());
      case Op::ITE:
        return Z3_mk_ite(context_, c[0], c[1], c[2]);
      case Op::FLOOR:
        return Z3_mk_int2real(context_, Z3_mk_real2int(context_, c[0]));
    }
    return nullptr;
  }

  Z3_context context_;
};

}  // namespace

Verdict judge_by_peer(const Formula& formula) {
  // A context keeps every term it has seen, so it is replaced now and then.
  static std::optional<Peer> peer;
  static int uses = 0;
  if (++uses % 500 == 1) peer.emplace();
  return peer->check(formula);
}

#else

bool has_peer() {
  return false;
}
Verdict judge_by_peer(const Formula&) {
  return Verdict::UNKNOWN;
}

#endif

}  // namespace ordax_testing
