// Encodes a problem for growing horizons, decides each formula with Ordax5 and, with an output
// folder, writes it as an SMT-LIB script for another solver.
//
//   encode_family <problem.anml> <first horizon> <last horizon> [<folder>]
//
// One CSV line a horizon: h, verdict, assertions, formulas, variables, the solver's Boolean
// variables, clauses and conflicts, encoding seconds (formulas and terms), solving seconds, both of
// processor time. Stops behind the first satisfiable horizon.
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "parsers/anml/anml_parser.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "smt/smt_planner.h"

namespace {

using namespace kelvo;
using smt::Formula;
using Kind = smt::FormulaOperatorKind;

/// Writes what is asserted as SMT-LIB: each inner formula once, under a name of its own.
class SmtLibWriter : public smt::SmtSolver {
 public:
  SmtLibWriter(smt::SmtFactory& factory, std::ostream& out) : factory_(factory), out_(out) {
    out_ << "(set-logic ALL)\n";
  }
  ~SmtLibWriter() override { out_ << "(check-sat)\n"; }

  std::string version() const override { return "SMT-LIB writer"; }
  void push() override {}
  void pop() override {}
  Formula get_value(Formula f) override { return f; }
  smt::SolverResult solve() override { return smt::SolverResult::UNKNOWN; }
  smt::SolverResult solve_with_assumptions(const std::vector<Formula>&) override { return solve(); }
  void assert_formula(Formula f) override {
    define(f);
    out_ << "(assert " << name(f) << ")\n";
  }

 private:
  bool& is_known(Formula f) {
    if (known_.size() <= f->id()) known_.resize(f->id() + 1);
    return known_[f->id()];
  }

  void define(Formula root) {
    std::vector<Formula> todo{root};
    while (!todo.empty()) {
      const Formula f = todo.back();
      bool ready = true;
      for (const Formula child : f->children()) {
        if (!is_known(child)) {
          todo.push_back(child);
          ready = false;
        }
      }
      if (!ready) continue;
      todo.pop_back();
      if (!is_known(f)) write(f);
      is_known(f) = true;
    }
  }

  bool is_boolean(Formula f) const {
    switch (smt::kind_of(f)) {
      case Kind::VARIABLE:
        return factory_.get_variable_type(f) == factory_.boolean_type();
      case Kind::ITE:
        return is_boolean(f->child(1));
      case Kind::TIMES:
      case Kind::PLUS:
      case Kind::DIV:
      case Kind::MINUS:
      case Kind::RATIONAL_CONSTANT:
      case Kind::INTEGER_CONSTANT:
        return false;
      default:
        return true;
    }
  }

  void write(Formula f) {
    if (factory_.is_variable(f)) {
      const smt::SmtType* type = factory_.get_variable_type(f);
      if (type == factory_.integer_type()) {
        // All terms are real, so that every definition has one sort.
        const std::string integer_name = "|" + factory_.get_variable_name(f) + "!int|";
        out_ << "(declare-fun " << integer_name << " () Int)\n(define-fun " << name(f)
             << " () Real (to_real " << integer_name << "))\n";
        return;
      }
      const char* sort = type == factory_.boolean_type() ? "Bool" : "Real";
      out_ << "(declare-fun " << name(f) << " () " << sort << ")\n";
      return;
    }
    if (f->arity() == 0) return;
    out_ << "(define-fun " << name(f) << " () " << (is_boolean(f) ? "Bool" : "Real") << " ("
         << operator_of(smt::kind_of(f));
    for (const Formula child : f->children()) out_ << ' ' << name(child);
    out_ << "))\n";
  }

  static const char* operator_of(Kind kind) {
    switch (kind) {
      case Kind::AND:
        return "and";
      case Kind::OR:
        return "or";
      case Kind::NOT:
        return "not";
      case Kind::IMPLY:
        return "=>";
      case Kind::EQUALS:
      case Kind::IFF:
        return "=";
      case Kind::LT:
        return "<";
      case Kind::LE:
        return "<=";
      case Kind::GT:
        return ">";
      case Kind::GE:
        return ">=";
      case Kind::TIMES:
        return "*";
      case Kind::PLUS:
        return "+";
      case Kind::DIV:
        return "/";
      case Kind::MINUS:
        return "-";
      case Kind::ITE:
        return "ite";
      default:
        throw InternalError("no SMT-LIB form of this formula");
    }
  }

  std::string name(Formula f) const {
    switch (smt::kind_of(f)) {
      case Kind::SMT_TRUE:
        return "true";
      case Kind::SMT_FALSE:
        return "false";
      case Kind::VARIABLE:
        return "|" + factory_.get_variable_name(f) + "|";
      case Kind::RATIONAL_CONSTANT: {
        const rational value = factory_.get_rational_constant(f);
        const rational magnitude = value < 0 ? rational(-value) : value;
        const std::string text =
            "(/ " + numerator(magnitude).str() + ".0 " + denominator(magnitude).str() + ".0)";
        return value < 0 ? "(- " + text + ")" : text;
      }
      case Kind::AND:
      case Kind::PLUS:
      case Kind::OR:
      case Kind::TIMES:
        if (f->arity() == 0) return smt::kind_of(f) == Kind::AND ? "true" : "false";
        [[fallthrough]];
      default:
        return "n" + std::to_string(f->id());
    }
  }

  smt::SmtFactory& factory_;
  std::ostream& out_;
  std::deque<bool> known_;  // by the id of the formula
};

/// Seconds of processor time since the last call.
double lap() {
  static std::clock_t last = std::clock();
  const std::clock_t now = std::clock();
  const double seconds = static_cast<double>(now - last) / CLOCKS_PER_SEC;
  last = now;
  return seconds;
}

void run(const std::string& file, std::size_t first, std::size_t last, const std::string& folder) {
  Environment env;
  std::ifstream source(file);
  source.unsetf(std::ios::skipws);
  smt::SmtPlanner planner(env, AnmlParser(env).parse(source));
  smt::SmtFactory& factory = planner.encoder().factory();
  std::cout << "h,verdict,assertions,formulas,variables,sat_variables,clauses,conflicts,"
               "encoding_s,solving_s\n";
  for (std::size_t h = first; h <= last; ++h) {
    const std::unique_ptr<smt::SmtSolver> solver = factory.make_solver();
    lap();
    planner.encode(h, *solver);
    const double encoding = lap();
    const smt::SolverResult result = solver->solve();
    const double solving = lap();
    const char* verdict = result == smt::SolverResult::SATISFIABLE     ? "sat"
                          : result == smt::SolverResult::UNSATISFIABLE ? "unsat"
                                                                       : "unknown";
    std::cout << h << ',' << verdict << ',' << planner.encoder().num_assertions() << ','
              << factory.num_formulas() << ',' << factory.num_variables() << ','
              << solver->statistic("num sat vars") << ',' << solver->statistic("num sat clauses")
              << ',' << solver->statistic("dpll conflicts") << ',' << encoding << ',' << solving
              << std::endl;
    // Behind the measurement: what the encoder remembers would make it look faster.
    if (!folder.empty()) {
      std::ofstream script(folder + "/h" + std::to_string(h) + ".smt2");
      SmtLibWriter writer(factory, script);
      planner.encode(h, writer);
    }
    if (result == smt::SolverResult::SATISFIABLE) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::cerr << "usage: encode_family <problem.anml> <first horizon> <last horizon> [<folder>]\n";
    return 1;
  }
  try {
    run(argv[1], std::strtoul(argv[2], nullptr, 10), std::strtoul(argv[3], nullptr, 10),
        argc == 5 ? argv[4] : "");
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}
