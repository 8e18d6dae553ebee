#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "solver/api/ordax.h"

namespace ordax_testing {

/// A formula text in prefix form: lines "(declare NAME Bool|Real|Int)" and "(assert F)" with the
/// operators and or not iff <= = + * ite and numerals p or p/q.
class PrefixReader {
 public:
  explicit PrefixReader(ordax_env env) : env_(env) {}

  struct Declared {
    std::string name;
    ordax_term term;
  };

  /// Declares what the text declares and asserts what it asserts. False with `error` set on a bad
  /// text or a refused call.
  bool read(std::string_view text);

  const std::vector<Declared>& declared() const { return declared_; }
  const std::vector<ordax_term>& asserted() const { return asserted_; }
  const std::string& error() const { return error_; }

 private:
  struct Frame {
    std::string_view head;
    std::vector<ordax_term> arguments;
  };

  bool fail(const std::string& text);
  ordax_term leaf(std::string_view token);
  ordax_term apply(const Frame& frame);
  bool declare(const std::vector<std::string_view>& words);

  ordax_env env_;
  std::vector<Declared> declared_;
  std::unordered_map<std::string, ordax_term> names_;
  std::vector<ordax_term> asserted_;
  std::string error_;
};

/// The text of a whole file; empty if it cannot be read.
std::string read_file(const std::string& path);

}  // namespace ordax_testing
