#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "app/driver.h"
#include "app/option_checks.h"
#include "app/option_values.h"
#include "app/output.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"

namespace {

using kelvo::Environment;
using kelvo::KelvoError;
using kelvo::Log;
using kelvo::LogLevel;

LogLevel reporting_level(long option_value) {
  constexpr long lowest = 0;
  constexpr long highest = 5;
  return static_cast<LogLevel>(std::clamp(option_value, lowest, highest));
}

/// Runs and reports what escapes from the run. Returns the exit status.
int run_reporting_errors(Environment& env, const std::vector<std::string>& input_files) {
  try {
    return kelvo::run_with_input_files(env, input_files);
  } catch (const KelvoError& error) {
    std::cout.flush();
    std::cerr << "ERROR: An error of type " << error.exception_name()
              << " was thrown during the execution of KELVO.\n"
              << "The reported error is:\n"
              << error.message() << '\n';
  } catch (const std::exception& error) {
    std::cout.flush();
    std::cerr << "ERROR: An error was thrown by a function called by KELVO.\n"
              << "The reported error is:\n"
              << error.what() << '\n';
  }
  return 1;
}

/// The whole run, but for what standard output still holds.
int run(int argc, char** argv) {
  Environment env(kelvo::option_values());
  Log::set_reporting_level(LogLevel::ERR);
  Log::set_stream(std::cerr);

  kelvo::Configuration& configuration = env.configuration();
  std::vector<std::string> input_files;
  const int parsed = configuration.parse_from_command_line(argc, argv, input_files);
  if (parsed != 0) return parsed;
  if (configuration.get_boolean_value("version")) {
    std::cout << "Kelvo v0.0.1\n";
    return 0;
  }
  Log::set_reporting_level(reporting_level(configuration.get_integer_value("logging-level")));
  if (configuration.get_string_value("function") == "repl") {
    std::cerr << "This executable of KELVO does not support REPL!\n";
    return 1;
  }

  if (!kelvo::check_option_numbers(configuration, std::cerr)) return 1;
  kelvo::tell_options_without_effect(configuration, std::cerr);

  LOG(LogLevel::DEBUG) << "KELVO Started!";
  if (configuration.get_boolean_value("debug")) {
    return kelvo::run_with_input_files(env, input_files);
  }
  return run_reporting_errors(env, input_files);
}

}  // namespace

int main(int argc, char** argv) {
  std::ios_base::sync_with_stdio(false);
  kelvo::occupy_closed_standard_streams();
  const int status = run(argc, argv);
  return kelvo::finish_standard_output() ? status : 1;
}
