// ordax_prefix [--option NAME=VALUE]... [--no-model] [--statistics] FILE
//
// Checks a formula in prefix form. The first line printed is sat, unsat or unknown; after sat
// follows one line "NAME VALUE" for each declared constant. A failure prints "error: " and its
// text. With --statistics the counts of the engines go to the standard error stream.
#include <cstdio>
#include <cstring>
#include <string>

#include "tests/solver/prefix_reader.h"

namespace {

int fail(const char* text) {
  std::printf("error: %s\n", text);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const ordax_config config = ordax_create_config();
  bool with_model = true;
  bool with_statistics = false;
  const char* path = nullptr;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--no-model") {
      with_model = false;
    } else if (argument == "--statistics") {
      with_statistics = true;
    } else if (argument == "--option" && i + 1 < argc) {
      const std::string pair = argv[++i];
      const std::size_t equals = pair.find('=');
      if (equals == std::string::npos || ordax_set_option(config, pair.substr(0, equals).c_str(),
                                                          pair.substr(equals + 1).c_str()) != 0) {
        return fail("bad option");
      }
    } else {
      path = argv[i];
    }
  }
  if (path == nullptr) return fail("no file");
  if (with_model) ordax_set_option(config, "model_generation", "true");
  const ordax_env env = ordax_create_env(config);
  ordax_destroy_config(config);
  if (ORDAX_FAILED(env)) return fail(ordax_last_error_message(env));
  int status = 0;
  {
    const std::string text = ordax_testing::read_file(path);
    ordax_testing::PrefixReader reader(env);
    if (text.empty()) {
      status = fail("the file is missing or empty");
    } else if (!reader.read(text)) {
      status = fail(reader.error().c_str());
    } else {
      const ordax_result result = ordax_solve(env);
      if (result < 0) {
        std::printf("unknown\n%s\n", ordax_last_error_message(env));
      } else {
        std::printf("%s\n", result == ORDAX_SAT ? "sat" : "unsat");
      }
      if (result == ORDAX_SAT && with_model) {
        for (const auto& declared : reader.declared()) {
          const ordax_term value = ordax_get_model_value(env, declared.term);
          if (ORDAX_FAILED(value)) {
            status = fail(ordax_last_error_message(env));
            break;
          }
          char* value_text = ordax_term_repr(value);
          std::printf("%s %s\n", declared.name.c_str(), value_text);
          ordax_free(value_text);
        }
      }
    }
  }
  if (with_statistics) {
    char* text = ordax_statistics(env);
    std::fputs(text, stderr);
    ordax_free(text);
  }
  ordax_destroy_env(env);
  return status;
}
