#include "app/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "shell/configuration.h"
#include "shell/errors.h"

namespace kelvo {

namespace fs = std::filesystem;

namespace {

/// A file as the command line names it.
struct NamedFile {
  std::string what;  // "Input file", as a message begins
  std::string name;
};

/// Only regular files are looked at: reading and writing one device is no fault.
bool is_same_file(const std::string& a, const std::string& b) {
  std::error_code ignored;
  if (fs::exists(a, ignored) && fs::exists(b, ignored)) {
    return fs::is_regular_file(a, ignored) && fs::equivalent(a, b, ignored);
  }
  const fs::path first = fs::weakly_canonical(fs::absolute(a, ignored), ignored);
  const fs::path second = fs::weakly_canonical(fs::absolute(b, ignored), ignored);
  return !first.empty() && first == second;
}

std::vector<NamedFile> inputs_of(const Configuration& configuration,
                                 const std::vector<std::string>& input_files) {
  std::vector<NamedFile> inputs;
  inputs.reserve(input_files.size());
  for (const std::string& name : input_files) inputs.push_back({"input file", name});
  for (const char* option : {"bounding-problem", "plan", "trace"}) {
    const std::string& name = configuration.get_string_value(option);
    if (!name.empty()) inputs.push_back({std::string("file of the option '") + option + "'", name});
  }
  if (input_files.empty()) inputs.push_back({"standard input", "/proc/self/fd/0"});
  return inputs;
}

std::vector<NamedFile> outputs_of(const Configuration& configuration) {
  std::vector<const char*> options = {"output", "domain", "problem", "model", "query"};
  if (configuration.get_string_value("function") == "code-generate") {
    options = {"output-planner", "output-simulator"};
  }
  std::vector<NamedFile> outputs;
  for (const char* option : options) {
    const std::string& name = configuration.get_string_value(option);
    if (!name.empty()) outputs.push_back({option, name});
  }
  return outputs;
}

[[noreturn]] void fail(const std::string& name, const char* what, int error) {
  throw InvalidParameterError() << "Output file '" << name << "' cannot be " << what << ": "
                                << std::strerror(error);
}

}  // namespace

void write_file(const std::string& name, const std::function<void(std::ostream&)>& write) {
  errno = 0;
  std::ofstream file(name);
  if (!file.is_open()) fail(name, "opened", errno);
  errno = 0;
  write(file);
  file.close();  // flushes, which may fail as well
  if (!file.fail()) return;
  const int error = errno == 0 ? EIO : errno;
  std::error_code ignored;
  if (fs::is_regular_file(fs::symlink_status(name, ignored))) fs::remove(name, ignored);
  fail(name, "written", error);
}

void write_output(const std::string& name, const std::function<void(std::ostream&)>& write) {
  if (name.empty()) {
    write(std::cout);
  } else {
    write_file(name, write);
  }
}

void check_outputs(const Configuration& configuration,
                   const std::vector<std::string>& input_files) {
  const std::vector<NamedFile> outputs = outputs_of(configuration);
  const std::vector<NamedFile> inputs = inputs_of(configuration, input_files);
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    const NamedFile& output = outputs[i];
    for (const NamedFile& input : inputs) {
      if (!is_same_file(output.name, input.name)) continue;
      throw InvalidParameterError() << "The option '" << output.what << "' would overwrite the "
                                    << input.what << ", '" << output.name << "'";
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (!is_same_file(output.name, outputs[j].name)) continue;
      throw InvalidParameterError()
          << "The options '" << outputs[j].what << "' and '" << output.what
          << "' name the same file, '" << output.name << "'";
    }
  }
}

void occupy_closed_standard_streams() {
  // The least free number is taken, so that each comes in its turn. Standard input is opened for
  // writing and standard output for reading: using them fails as if they were closed.
  const int modes[] = {O_WRONLY, O_RDONLY, O_WRONLY};
  for (int number = 0; number < 3; ++number) {
    struct stat unused {};
    if (::fstat(number, &unused) == -1 && errno == EBADF) ::open("/dev/null", modes[number]);
  }
}

bool finish_standard_output() {
  errno = 0;
  if (std::cout.flush()) return true;
  std::cerr << "ERROR: Standard output cannot be written"
            << (errno == 0 ? "" : std::string(": ") + std::strerror(errno)) << '\n';
  return false;
}

}  // namespace kelvo
