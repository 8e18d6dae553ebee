// Replays a corpus and then mutations of it, drawn from a seed.
//
//   fuzz <target> [--runs <number>] [--seconds <number>] [--seed <number>] <file or folder>...
//
// It ends behind the last of the runs and of the seconds; KELVO_FUZZ_SECONDS stands for the second.
// What crashes or hangs is left in the file "fuzz_<target>.input" of the working folder, and is
// replayed by giving that file alone.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/fuzz/targets.h"

namespace {

using kelvo::fuzz::Target;

constexpr std::size_t max_input = 4096;
constexpr unsigned seconds_for_one_input = 20;

/// The input that runs, in a file that outlives whatever happens to the process.
class CurrentInput {
 public:
  explicit CurrentInput(std::string name) : name_(std::move(name)) {
    const int file = ::open(name_.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    if (file == -1 || ::ftruncate(file, max_input) == -1) throw std::runtime_error(name_);
    void* memory = ::mmap(nullptr, max_input, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) throw std::runtime_error(name_);
    memory_ = static_cast<char*>(memory);
    ::close(file);
  }
  CurrentInput(const CurrentInput&) = delete;
  CurrentInput& operator=(const CurrentInput&) = delete;
  ~CurrentInput() { ::munmap(memory_, max_input); }

  /// The rest of the file is filled with newlines, which change no input much.
  void set(const std::string& input) {
    const std::size_t size = std::min(input.size(), max_input);
    std::memcpy(memory_, input.data(), size);
    std::memset(memory_ + size, '\n', max_input - size);
  }
  void remove() { std::filesystem::remove(name_); }

 private:
  std::string name_;
  char* memory_ = nullptr;
};

class Mutator {
 public:
  Mutator(const std::vector<std::string>& corpus, const Target& target, unsigned long seed)
      : corpus_(corpus), words_(target.words), random_(seed) {}

  std::string next() {
    std::string text = pick(corpus_);
    for (std::size_t left = 1 + below(6); left > 0; --left) mutate(text);
    if (text.size() > max_input) text.resize(max_input);
    return text;
  }

 private:
  // The distributions of the standard library differ from one to the other.
  std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }
  template <typename T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }
  std::string piece_of(const std::string& text) {
    const std::size_t from = below(text.size() + 1);
    return text.substr(from, below(64));
  }

  void mutate(std::string& text) {
    const std::size_t at = below(text.size() + 1);
    switch (below(9)) {
      case 0:
        if (at < text.size()) text[at] = static_cast<char>(random_());
        return;
      case 1:
        if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << below(7)));
        return;
      case 2:
        text.erase(at, below(32));
        return;
      case 3:
        text.insert(at, pick(words_));
        return;
      case 4:
        text.insert(at, piece_of(text));
        return;
      case 5:
        text.insert(at, piece_of(pick(corpus_)));
        return;
      case 6:
        text.replace(at, below(16), pick(words_));
        return;
      case 7:
        text.resize(at);
        return;
      default:  // many of one, for what is nested or long
        const std::string word = pick(words_);
        for (std::size_t left = below(100); left > 0; --left) text.insert(at, word);
    }
  }

  const std::vector<std::string>& corpus_;
  const std::vector<std::string>& words_;
  std::mt19937_64 random_;
};

std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios_base::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// In the order of names, so that a seed means the same everywhere.
std::vector<std::string> read_corpus(const std::vector<std::string>& names) {
  std::vector<std::filesystem::path> paths;
  for (const std::string& name : names) {
    if (!std::filesystem::is_directory(name)) {
      paths.emplace_back(name);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(name)) {
      if (entry.is_regular_file()) paths.push_back(entry.path());
    }
  }
  std::sort(paths.begin(), paths.end());
  std::vector<std::string> corpus;
  for (const auto& path : paths) corpus.push_back(read_file(path));
  return corpus;
}

struct Arguments {
  const Target* target = nullptr;
  unsigned long runs = 0;
  unsigned long seconds = 0;
  unsigned long seed = 1;
  std::vector<std::string> names;
};

Arguments read_arguments(int argc, char** argv) {
  Arguments arguments;
  if (const char* seconds = std::getenv("KELVO_FUZZ_SECONDS")) {
    arguments.seconds = std::stoul(seconds);
  }
  if (argc > 1) arguments.target = kelvo::fuzz::find_target(argv[1]);
  for (int i = 2; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.starts_with("--") && i + 1 < argc) {
      const unsigned long value = std::stoul(argv[++i]);
      (word == "--runs"      ? arguments.runs
       : word == "--seconds" ? arguments.seconds
                             : arguments.seed) = value;
    } else {
      arguments.names.push_back(word);
    }
  }
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = read_arguments(argc, argv);
  const std::vector<std::string> corpus = read_corpus(arguments.names);
  if (arguments.target == nullptr || corpus.empty()) {
    std::cerr << "usage: fuzz <target> [--runs N] [--seconds N] [--seed N] <file or folder>...\n";
    return 1;
  }
  CurrentInput current(std::string("fuzz_") + arguments.target->name + ".input");
  const auto run = [&](const std::string& input) {
    current.set(input);
    ::alarm(seconds_for_one_input);  // its signal ends the process
    arguments.target->run(input);
  };
  for (const std::string& input : corpus) run(input);

  Mutator mutator(corpus, *arguments.target, arguments.seed);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(arguments.seconds);
  unsigned long num_runs = 0;
  while (num_runs < arguments.runs || std::chrono::steady_clock::now() < end) {
    run(mutator.next());
    ++num_runs;
  }
  ::alarm(0);
  current.remove();
  std::cout << arguments.target->name << ": " << corpus.size() << " inputs, " << num_runs
            << " mutations from seed " << arguments.seed << '\n';
  return 0;
}
