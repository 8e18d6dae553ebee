// ordax_encoding FAMILY SIZE STEPS [--option NAME=VALUE]... [--statistics]
//
// Builds and checks one generated formula and prints sat, unsat or unknown. With --statistics the
// counts of the engines go to the standard error stream.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/solver/programs/encodings.h"

int main(int argc, char** argv) {
  ordax_bench::Instance::Options options;
  bool with_statistics = false;
  for (int i = 4; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--statistics") {
      with_statistics = true;
    } else if (word == "--option" && i + 1 < argc) {
      const std::string pair = argv[++i];
      options.emplace_back(pair.substr(0, pair.find('=')), pair.substr(pair.find('=') + 1));
    }
  }
  const ordax_bench::Instance instance(options);
  if (ORDAX_FAILED(instance.env()) || argc < 4 ||
      !ordax_bench::assert_encoding(instance, argv[1], std::atoi(argv[2]), std::atoi(argv[3]))) {
    std::fprintf(stderr, "usage: ordax_encoding FAMILY SIZE STEPS [--option NAME=VALUE]...\n%s\n",
                 ordax_last_error_message(instance.env()));
    return 1;
  }
  const ordax_result answer = ordax_solve(instance.env());
  std::printf("%s\n", answer == ORDAX_SAT ? "sat" : answer == ORDAX_UNSAT ? "unsat" : "unknown");
  if (with_statistics) {
    char* const text = ordax_statistics(instance.env());
    std::fputs(text, stderr);
    ordax_free(text);
  }
  return 0;
}
