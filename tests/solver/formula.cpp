#include "tests/solver/formula.h"

#include <algorithm>

namespace ordax_testing {
namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

const char* symbol(Op op) {
  switch (op) {
    case Op::NOT:
      return "not";
    case Op::AND:
      return "and";
    case Op::OR:
      return "or";
    case Op::IFF:
      return "iff";
    case Op::LEQ:
      return "<=";
    case Op::EQ:
      return "=";
    case Op::PLUS:
      return "+";
    case Op::TIMES:
      return "*";
    case Op::ITE:
      return "ite";
    case Op::FLOOR:
      return "floor";
    default:
      return "?";
  }
}

Rational floor_of(const Rational& value) {
  mpz_class result;
  mpz_fdiv_q(result.get_mpz_t(), value.get_num_mpz_t(), value.get_den_mpz_t());
  return Rational(result);
}

}  // namespace

int Formula::add(Op op, std::vector<int> children) {
  nodes.push_back({op, std::move(children), -1, 0});
  return static_cast<int>(nodes.size()) - 1;
}

int Formula::variable(int index) {
  nodes.push_back({Op::VAR, {}, index, 0});
  return static_cast<int>(nodes.size()) - 1;
}

int Formula::number(const Rational& value) {
  nodes.push_back({Op::NUM, {}, -1, value});
  return static_cast<int>(nodes.size()) - 1;
}

bool Formula::is_int(int node) const {
  const Node& n = nodes[at(node)];
  switch (n.op) {
    case Op::VAR:
      return variables[at(n.variable)].sort == Sort::INT;
    case Op::NUM:
      return n.number.get_den() == 1;
    case Op::FLOOR:
      return true;
    case Op::ITE:
      return is_int(n.children[1]) && is_int(n.children[2]);
    default:
      return std::all_of(n.children.begin(), n.children.end(), [&](int c) { return is_int(c); });
  }
}

std::string Formula::text() const {
  std::vector<std::string> texts;
  for (const Node& n : nodes) {
    std::string t;
    switch (n.op) {
      case Op::TRUE:
        t = "true";
        break;
      case Op::FALSE:
        t = "false";
        break;
      case Op::VAR:
        t = variables[at(n.variable)].name;
        break;
      case Op::NUM:
        t = n.number.get_str();
        break;
      default:
        t = std::string("(") + symbol(n.op);
        for (const int c : n.children) t.append(" ").append(texts[at(c)]);
        t.append(")");
        break;
    }
    texts.push_back(t);
  }
  std::string result;
  for (const Variable& v : variables) {
    const char* sort = v.sort == Sort::BOOL ? "Bool" : v.sort == Sort::REAL ? "Real" : "Int";
    result.append("(declare ").append(v.name).append(" ").append(sort).append(")\n");
  }
  for (const int a : assertions) result.append("(assert ").append(texts[at(a)]).append(")\n");
  return result;
}

std::vector<Rational> evaluate(const Formula& formula, const Assignment& assignment) {
  std::vector<Rational> values;
  values.reserve(formula.nodes.size());
  for (const Node& n : formula.nodes) {
    const auto child = [&](std::size_t i) -> const Rational& { return values[at(n.children[i])]; };
    Rational v = 0;
    switch (n.op) {
      case Op::TRUE:
        v = 1;
        break;
      case Op::FALSE:
        break;
      case Op::VAR:
        v = assignment[at(n.variable)];
        break;
      case Op::NUM:
        v = n.number;
        break;
      case Op::NOT:
        v = child(0) == 0 ? 1 : 0;
        break;
      case Op::AND:
        v = 1;
        for (std::size_t i = 0; i < n.children.size(); ++i) v *= child(i);
        break;
      case Op::OR:
        for (std::size_t i = 0; i < n.children.size(); ++i) {
          if (child(i) != 0) v = 1;
        }
        break;
      case Op::IFF:
      case Op::EQ:
        v = child(0) == child(1) ? 1 : 0;
        break;
      case Op::LEQ:
        v = child(0) <= child(1) ? 1 : 0;
        break;
      case Op::PLUS:
        for (std::size_t i = 0; i < n.children.size(); ++i) v += child(i);
        break;
      case Op::TIMES:
        v = child(0) * child(1);
        break;
      case Op::ITE:
        v = child(0) != 0 ? child(1) : child(2);
        break;
      case Op::FLOOR:
        v = floor_of(child(0));
        break;
    }
    values.push_back(v);
  }
  return values;
}

Builder::Builder(ordax_env env, const Formula& formula, const std::string& prefix) : env_(env) {
  for (const Variable& v : formula.variables) {
    const ordax_type type = v.sort == Sort::BOOL   ? ordax_get_bool_type(env)
                            : v.sort == Sort::REAL ? ordax_get_rational_type(env)
                                                   : ordax_get_integer_type(env);
    const std::string name = prefix + v.name;
    const ordax_decl decl = ordax_declare_function(env, name.c_str(), type);
    variables_.push_back(ordax_make_constant(env, decl));
  }
  for (const Node& node : formula.nodes) {
    terms_.push_back(build(formula, node, prefix));
    failed_ = failed_ || ORDAX_FAILED(terms_.back());
  }
}

ordax_term Builder::build(const Formula&, const Node& n, const std::string&) {
  const auto child = [&](std::size_t i) { return terms_[at(n.children[i])]; };
  const auto fold = [&](ordax_term (*make)(ordax_env, ordax_term, ordax_term)) {
    ordax_term result = child(0);
    for (std::size_t i = 1; i < n.children.size(); ++i) result = make(env_, result, child(i));
    return result;
  };
  switch (n.op) {
    case Op::TRUE:
      return ordax_make_true(env_);
    case Op::FALSE:
      return ordax_make_false(env_);
    case Op::VAR:
      return variables_[at(n.variable)];
    case Op::NUM:
      return ordax_make_number(env_, n.number.get_str().c_str());
    case Op::NOT:
      return ordax_make_not(env_, child(0));
    case Op::AND:
      return fold(ordax_make_and);
    case Op::OR:
      return fold(ordax_make_or);
    case Op::IFF:
      return fold(ordax_make_iff);
    case Op::LEQ:
      return fold(ordax_make_leq);
    case Op::EQ:
      return fold(ordax_make_equal);
    case Op::PLUS:
      return fold(ordax_make_plus);
    case Op::TIMES:
      return fold(ordax_make_times);
    case Op::ITE:
      return ordax_make_term_ite(env_, child(0), child(1), child(2));
    case Op::FLOOR:
      return ordax_make_floor(env_, child(0));
  }
  return {nullptr};
}

bool Builder::read_model(const Formula& formula, Assignment& assignment) const {
  assignment.clear();
  for (std::size_t i = 0; i < formula.variables.size(); ++i) {
    const ordax_term value = ordax_get_model_value(env_, variables_[i]);
    if (ORDAX_FAILED(value)) return false;
    if (formula.variables[i].sort == Sort::BOOL) {
      if (ordax_term_is_true(env_, value) + ordax_term_is_false(env_, value) != 1) return false;
      assignment.emplace_back(ordax_term_is_true(env_, value));
      continue;
    }
    if (ordax_term_is_number(env_, value) != 1) return false;
    char* text = ordax_term_repr(value);
    assignment.emplace_back(text);
    ordax_free(text);
    if (formula.variables[i].sort == Sort::INT && assignment.back().get_den() != 1) return false;
  }
  return true;
}

// ---------------------------------------------------------------- random formulas

const std::vector<Profile>& profiles() {
  static const std::vector<Profile> all = {
      // name    bools     reals   ints    assertions depth diff   big    bounded eq   ite  iff
      // facts floor clauses
      {"bool",
       {4, 14},
       {0, 0},
       {0, 0},
       {5, 26},
       3,
       false,
       false,
       false,
       0.0,
       0.0,
       0.2,
       0.1,
       0,
       true},
      {"rdl", {0, 5}, {3, 8}, {0, 0}, {5, 22}, 2, true, false, false, 0.2, 0.0, 0.1, 0.0, 0, true},
      {"rdl-large",
       {0, 5},
       {6, 14},
       {0, 0},
       {25, 60},
       1,
       true,
       false,
       false,
       0.1,
       0.0,
       0.0,
       0,
       0,
       true},
      {"lra",
       {0, 5},
       {2, 6},
       {0, 0},
       {4, 18},
       2,
       false,
       false,
       false,
       0.2,
       0.05,
       0.1,
       0.0,
       0,
       true},
      {"lia",
       {0, 4},
       {0, 0},
       {2, 5},
       {4, 14},
       2,
       false,
       false,
       true,
       0.25,
       0.05,
       0.1,
       0.0,
       0,
       true},
      {"lira",
       {0, 4},
       {1, 4},
       {1, 3},
       {4, 14},
       2,
       false,
       false,
       true,
       0.2,
       0.05,
       0.1,
       0.1,
       0,
       true},
      {"big", {0, 3}, {2, 5}, {0, 0}, {4, 12}, 2, false, true, false, 0.2, 0.05, 0.1, 0.0, 0, true},
      {"big-int",
       {0, 2},
       {0, 1},
       {2, 3},
       {3, 8},
       1,
       false,
       true,
       true,
       0.2,
       0.0,
       0.1,
       0.0,
       0,
       true},
      {"equations",
       {0, 3},
       {2, 6},
       {0, 2},
       {4, 14},
       1,
       false,
       false,
       true,
       0.7,
       0.0,
       0.0,
       0.2,
       0,
       true},
      {"diophantine",
       {0, 1},
       {0, 0},
       {2, 4},
       {2, 6},
       1,
       false,
       false,
       true,
       0.7,
       0.0,
       0.0,
       0.0,
       0,
       false},
      {"ite", {1, 5}, {1, 4}, {0, 2}, {4, 12}, 2, false, false, true, 0.3, 0.5, 0.1, 0.1, 0, true},
      {"iff", {2, 8}, {1, 4}, {0, 1}, {4, 12}, 4, false, false, true, 0.2, 0.0, 0.6, 0.1, 0, false},
      {"top", {2, 6}, {2, 5}, {0, 2}, {6, 16}, 1, false, false, true, 0.3, 0.1, 0.2, 0.6, 0, true},
      {"floor",
       {0, 3},
       {1, 3},
       {0, 2},
       {3, 9},
       2,
       false,
       false,
       true,
       0.3,
       0.1,
       0.1,
       0.1,
       0.25,
       true},
      {"small",
       {0, 2},
       {1, 2},
       {0, 0},
       {3, 6},
       1,
       false,
       false,
       false,
       0.3,
       0.0,
       0.1,
       0.1,
       0,
       true},
      {"small-int",
       {0, 2},
       {0, 0},
       {1, 2},
       {3, 7},
       1,
       false,
       false,
       true,
       0.3,
       0.0,
       0.1,
       0.1,
       0,
       true},
  };
  return all;
}

namespace {

class Generator {
 public:
  Generator(std::uint64_t seed, const Profile& profile) : random_(seed), profile_(profile) {}

  Formula run() {
    declare(profile_.bools, Sort::BOOL, "b");
    declare(profile_.reals, Sort::REAL, "x");
    declare(profile_.ints, Sort::INT, "n");
    if (profile_.bounded) add_bounds();
    const int count = random_.between(profile_.assertions[0], profile_.assertions[1]);
    for (int i = 0; i < count; ++i) formula_.assertions.push_back(assertion());
    return std::move(formula_);
  }

 private:
  void declare(const int (&range)[2], Sort sort, const char* letter) {
    const int count = random_.between(range[0], range[1]);
    for (int i = 0; i < count; ++i) {
      (sort == Sort::BOOL ? bools_ : numbers_)
          .push_back(static_cast<int>(formula_.variables.size()));
      formula_.variables.push_back({letter + std::to_string(i), sort});
    }
  }

  void add_bounds() {
    for (const int v : numbers_) {
      if (formula_.variables[at(v)].sort != Sort::INT || random_.chance(0.1)) continue;
      const int low = random_.between(-8, 3);
      const int bottom = formula_.number(low);
      const int top = formula_.number(low + random_.between(0, 12));
      const int node = formula_.variable(v);
      formula_.assertions.push_back(formula_.add(Op::LEQ, {bottom, node}));
      formula_.assertions.push_back(formula_.add(Op::LEQ, {node, top}));
    }
  }

  int assertion() {
    if (random_.chance(profile_.facts)) return fact();
    if (!profile_.clauses || random_.chance(0.2)) return form(profile_.depth);
    const int length = random_.between(1, 4);
    std::vector<int> literals;
    for (int i = 0; i < length; ++i) literals.push_back(form(random_.below(profile_.depth)));
    return length == 1 ? literals[0] : formula_.add(Op::OR, literals);
  }

  int fact() {
    if (!bools_.empty() && random_.chance(0.5)) {
      const int b = formula_.variable(pick(bools_));
      const int roll = random_.below(4);
      if (roll == 0) return b;
      if (roll == 1) return formula_.add(Op::NOT, {b});
      const int body = form(1);
      const int iff = formula_.add(Op::IFF, {b, body});
      return roll == 2 ? iff : formula_.add(Op::NOT, {iff});
    }
    if (numbers_.empty()) return form(1);
    const int x = formula_.variable(pick(numbers_));
    const int value = term(1);
    return formula_.add(Op::EQ, {x, value});
  }

  int form(int depth) {
    if (!shared_.empty() && random_.chance(0.15)) return pick(shared_);
    if (depth <= 0) return literal();
    int result = -1;
    if (random_.chance(0.12)) {
      const int body = form(depth - 1);
      result = formula_.add(Op::NOT, {body});
    } else if (random_.chance(profile_.iffs)) {
      const int left = form(depth - 1);
      const int right = form(depth - 1);
      result = formula_.add(Op::IFF, {left, right});
    } else if (random_.chance(0.02)) {
      result = formula_.add(random_.chance(0.5) ? Op::TRUE : Op::FALSE, {});
    } else {
      std::vector<int> children;
      const int length = random_.between(2, 4);
      for (int i = 0; i < length; ++i) children.push_back(form(depth - 1));
      result = formula_.add(random_.chance(0.5) ? Op::AND : Op::OR, children);
    }
    shared_.push_back(result);
    return result;
  }

  int literal() {
    int atom = -1;
    if (!atoms_.empty() && random_.chance(0.5)) {
      atom = pick(atoms_);
      if (random_.chance(0.2)) atom = scaled(atom);
    } else {
      atom = new_atom();
      atoms_.push_back(atom);
    }
    return random_.chance(0.4) ? formula_.add(Op::NOT, {atom}) : atom;
  }

  int new_atom() {
    if (numbers_.empty() || (!bools_.empty() && random_.chance(0.3))) {
      return bools_.empty() ? formula_.add(Op::TRUE, {}) : formula_.variable(pick(bools_));
    }
    if (profile_.difference) {
      const int x = formula_.variable(pick(numbers_));
      const int y = formula_.variable(pick(numbers_));
      const int c = formula_.number(random_.chance(0.2) ? Rational(0) : small());
      if (random_.chance(0.15)) return relation(x, c);
      const int sum = formula_.add(Op::PLUS, {y, c});
      return relation(x, sum);
    }
    const int left = term(2);
    const int right = random_.chance(0.5) ? term(1) : formula_.number(constant());
    return relation(left, right);
  }

  int relation(int left, int right) {
    if (random_.chance(profile_.equalities)) return formula_.add(Op::EQ, {left, right});
    if (random_.chance(0.5)) return formula_.add(Op::LEQ, {left, right});
    const int leq = formula_.add(Op::LEQ, {right, left});
    return random_.chance(0.5) ? formula_.add(Op::NOT, {leq}) : leq;
  }

  // A scaled or mirrored copy of a relation, equivalent to it.
  int scaled(int atom) {
    const Node node = formula_.nodes[at(atom)];
    if (node.op != Op::LEQ && node.op != Op::EQ) return atom;
    Rational factor = coefficient();
    const int k = formula_.number(factor);
    const int left = formula_.add(Op::TIMES, {k, node.children[0]});
    const int right = formula_.add(Op::TIMES, {k, node.children[1]});
    if (node.op == Op::EQ || factor > 0) return formula_.add(node.op, {left, right});
    return formula_.add(node.op, {right, left});
  }

  int term(int depth) {
    if (numbers_.empty()) return formula_.number(constant());
    if (depth > 0 && random_.chance(profile_.ites)) {
      const int condition = form(1);
      const int then_term = term(depth - 1);
      const int else_term = term(depth - 1);
      return formula_.add(Op::ITE, {condition, then_term, else_term});
    }
    if (depth > 0 && random_.chance(profile_.floors)) {
      const int body = term(depth - 1);
      return formula_.add(Op::FLOOR, {body});
    }
    const int roll = random_.below(100);
    if (roll < 40) return formula_.variable(pick(numbers_));
    if (roll < 48) return formula_.number(constant());
    std::vector<int> summands;
    const int length = random_.between(2, 4);
    for (int i = 0; i < length; ++i) {
      const int body =
          depth > 0 && random_.chance(0.2) ? term(depth - 1) : formula_.variable(pick(numbers_));
      const Rational k = coefficient();
      if (k == 1) {
        summands.push_back(body);
      } else {
        const int factor = formula_.number(k);
        summands.push_back(formula_.add(Op::TIMES, {factor, body}));
      }
    }
    if (random_.chance(0.4)) summands.push_back(formula_.number(constant()));
    return formula_.add(Op::PLUS, summands);
  }

  Rational small() {
    const int numerator = random_.between(-9, 9);
    Rational value(numerator, random_.chance(0.2) ? random_.between(1, 7) : 1);
    value.canonicalize();
    return value;
  }

  Rational constant() {
    if (!profile_.big || random_.chance(0.55)) return small();
    static const char* const large[] = {"2147483647",           "4294967297",
                                        "2305843009213693951",  "4611686018427387904",
                                        "9223372036854775807",  "9223372036854775808",
                                        "18446744073709551615", "1000000000000000000000000000057"};
    Rational value{std::string(large[random_.below(8)])};
    value += random_.between(-2, 2);
    if (random_.chance(0.5)) value = -value;
    if (random_.chance(0.4)) value /= Rational(std::string(large[random_.below(8)])) + 1;
    return value;
  }

  Rational coefficient() {
    if (profile_.big) {
      const Rational value = constant();
      return value == 0 ? Rational(1) : value;
    }
    if (random_.chance(0.45)) return random_.chance(0.5) ? 1 : -1;
    const int numerator = random_.between(1, 7);
    Rational value(numerator, random_.chance(0.15) ? random_.between(1, 5) : 1);
    value.canonicalize();
    return random_.chance(0.5) ? value : Rational(-value);
  }

  int pick(const std::vector<int>& list) {
    return list[at(random_.below(static_cast<int>(list.size())))];
  }

  Random random_;
  const Profile& profile_;
  Formula formula_;
  std::vector<int> bools_;
  std::vector<int> numbers_;
  std::vector<int> atoms_;
  std::vector<int> shared_;
};

}  // namespace

Formula random_formula(std::uint64_t seed, const Profile& profile) {
  return Generator(seed, profile).run();
}

}  // namespace ordax_testing
