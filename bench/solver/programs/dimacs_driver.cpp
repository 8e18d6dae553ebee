// ordax_dimacs random VARIABLES RATIO SEED | pigeons HOLES | schedule JOBS DEADLINE | FILE.cnf
//     [--write FILE]
//
// Runs the Boolean engine alone on a generated family or on a file, and prints the verdict, the
// counts and the CPU seconds of the search. With --write the problem clauses of the engine are
// written in DIMACS form before the search, and nothing is searched, so that another solver can be
// given the same clauses.
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "solver/dpll/dpll_solver.h"

namespace {

using ordax::DpllSolver;
using ordax::Lit;
using ordax::LitVector;
using ordax::make_lit;
using ordax::negate;
using ordax::Var;

class Builder {
 public:
  explicit Builder(DpllSolver& engine) : engine_(engine) {}

  Var var() { return engine_.new_var(); }
  void add(const std::vector<Lit>& literals) {
    LitVector clause;
    for (const Lit l : literals) clause.push_back(l);
    engine_.add_clause(clause);
  }

 private:
  DpllSolver& engine_;
};

void add_random(Builder& b, int num_vars, double ratio, unsigned seed) {
  std::mt19937 random(seed);
  for (int v = 0; v < num_vars; ++v) b.var();
  const int count = static_cast<int>(num_vars * ratio);
  for (int i = 0; i < count; ++i) {
    std::vector<Lit> clause;
    while (clause.size() < 3) {
      const Var v = static_cast<Var>(random() % static_cast<unsigned>(num_vars));
      bool twice = false;
      for (const Lit l : clause) twice = twice || ordax::var_of(l) == v;
      if (!twice) clause.push_back(make_lit(v, random() % 2 == 0));
    }
    b.add(clause);
  }
}

void add_pigeons(Builder& b, int holes) {
  for (int i = 0; i < (holes + 1) * holes; ++i) b.var();
  const auto in = [holes](int pigeon, int hole) { return make_lit(pigeon * holes + hole); };
  for (int p = 0; p <= holes; ++p) {
    std::vector<Lit> clause;
    for (int h = 0; h < holes; ++h) clause.push_back(in(p, h));
    b.add(clause);
    for (int q = 0; q < p; ++q) {
      for (int h = 0; h < holes; ++h) b.add({negate(in(p, h)), negate(in(q, h))});
    }
  }
}

// Jobs of three operations on three machines; a variable says that an operation starts at or before
// a time, and another which of two operations on a machine goes first.
void add_schedule(Builder& b, int jobs, int deadline) {
  const auto duration = [](int job, int step) { return 2 + (job * 5 + step * 3) % 5; };
  std::vector<std::vector<std::vector<Lit>>> by;  // job, step, time
  for (int j = 0; j < jobs; ++j) {
    by.emplace_back();
    for (int s = 0; s < 3; ++s) {
      by.back().emplace_back();
      for (int t = 0; t <= deadline; ++t) by.back().back().push_back(make_lit(b.var()));
      const std::vector<Lit>& at = by.back().back();
      for (int t = 0; t < deadline; ++t) b.add({negate(at[t]), at[t + 1]});
      b.add({at[deadline - duration(j, s)]});
    }
  }
  // Unless `guard` holds, the second starts no earlier than the first ends.
  const auto before = [&](const std::vector<Lit>& first, int length, const std::vector<Lit>& second,
                          std::vector<Lit> guard) {
    for (int t = 0; t <= deadline; ++t) {
      std::vector<Lit> clause = guard;
      clause.push_back(negate(second[t]));
      if (t >= length) clause.push_back(first[t - length]);
      b.add(clause);
    }
  };
  for (int j = 0; j < jobs; ++j) {
    for (int s = 0; s + 1 < 3; ++s) before(by[j][s], duration(j, s), by[j][s + 1], {});
  }
  const auto machine = [](int job, int step) { return (job + step * (1 + job % 2)) % 3; };
  for (int j = 0; j < jobs; ++j) {
    for (int k = 0; k < j; ++k) {
      for (int s = 0; s < 3; ++s) {
        for (int r = 0; r < 3; ++r) {
          if (machine(j, s) != machine(k, r)) continue;
          const Lit order = make_lit(b.var());
          before(by[j][s], duration(j, s), by[k][r], {order});
          before(by[k][r], duration(k, r), by[j][s], {negate(order)});
        }
      }
    }
  }
}

bool add_file(Builder& b, const char* path) {
  std::FILE* const file = std::fopen(path, "r");
  if (file == nullptr) return false;
  int num_vars = 0;
  std::vector<Lit> clause;
  char word[64];
  while (std::fscanf(file, "%63s", word) == 1) {
    if (word[0] == 'c' || word[0] == 'p') {
      for (int c = std::fgetc(file); c != '\n' && c != EOF; c = std::fgetc(file)) {
      }
      continue;
    }
    const int number = std::atoi(word);
    if (number == 0) {
      b.add(clause);
      clause.clear();
      continue;
    }
    for (; num_vars < std::abs(number); ++num_vars) b.var();
    clause.push_back(make_lit(std::abs(number) - 1, number < 0));
  }
  std::fclose(file);
  return true;
}

bool write_clauses(const DpllSolver& engine, const char* path) {
  std::FILE* const file = std::fopen(path, "w");
  if (file == nullptr) return false;
  const auto clauses = engine.problem_clauses();
  std::fprintf(file, "p cnf %zu %zu\n", engine.num_vars(), clauses.size());
  for (const std::vector<Lit>& clause : clauses) {
    for (const Lit l : clause) {
      std::fprintf(file, "%d ", (ordax::var_of(l) + 1) * (ordax::is_negated(l) ? -1 : 1));
    }
    std::fprintf(file, "0\n");
  }
  return std::fclose(file) == 0;
}

double cpu_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
}

int usage() {
  std::fprintf(stderr,
               "usage: ordax_dimacs random VARIABLES RATIO SEED | pigeons HOLES | "
               "schedule JOBS DEADLINE | FILE.cnf [--write FILE]\n");
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const char* output = nullptr;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--write") == 0 && i + 1 < argc) {
      output = argv[++i];
    } else {
      words.emplace_back(argv[i]);
    }
  }
  const ordax::Configuration configuration;
  ordax::Logger logger(0, "");
  DpllSolver engine(configuration, logger);
  Builder builder(engine);
  if (words.size() == 4 && words[0] == "random") {
    add_random(builder, std::atoi(words[1].c_str()), std::atof(words[2].c_str()),
               static_cast<unsigned>(std::atoi(words[3].c_str())));
  } else if (words.size() == 2 && words[0] == "pigeons") {
    add_pigeons(builder, std::atoi(words[1].c_str()));
  } else if (words.size() == 3 && words[0] == "schedule") {
    add_schedule(builder, std::atoi(words[1].c_str()), std::atoi(words[2].c_str()));
  } else if (words.size() != 1 || !add_file(builder, words[0].c_str())) {
    return usage();
  }
  if (output != nullptr) return write_clauses(engine, output) ? 0 : usage();

  const double start = cpu_seconds();
  const bool sat = engine.solve();
  const double seconds = cpu_seconds() - start;
  const DpllSolver::Statistics& s = engine.statistics();
  std::printf("%s\n", sat ? "SATISFIABLE" : "UNSATISFIABLE");
  std::printf("conflicts    : %llu\n", static_cast<unsigned long long>(s.conflicts));
  std::printf("propagations : %llu\n", static_cast<unsigned long long>(s.propagations));
  std::printf("CPU time     : %.3f s\n", seconds);
  return 0;
}
