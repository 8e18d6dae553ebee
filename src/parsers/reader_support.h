#pragma once

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/expression.h"

namespace kelvo {

/// The text of an identifier or a number, once for each reading, and the expression it stands for
/// once that was made.
using Token = std::pair<const std::string, model::Expression>;

/// Finds tokens by their texts.
class TokenTable {
 public:
  /// Valid as long as the table.
  Token* find_or_make(std::string_view text) {
    auto found = tokens_.find(text);
    if (found == tokens_.end()) found = tokens_.emplace(std::string(text), nullptr).first;
    return &*found;
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  std::unordered_map<std::string, model::Expression, Hash, std::equal_to<>> tokens_;
};

/// The memory of a generated parser's stack once it has grown. It is freed with this object at the
/// latest, so that an exception that leaves the parser leaks nothing.
class ParserMemory {
 public:
  /// Null when there is no memory.
  void* allocate(std::size_t size) {
    blocks_.emplace_back(std::malloc(size));
    return blocks_.back().get();
  }
  void free(void* block) {
    std::erase_if(blocks_, [block](const auto& owned) { return owned.get() == block; });
  }

 private:
  struct Free {
    void operator()(void* block) const { std::free(block); }
  };

  std::vector<std::unique_ptr<void, Free>> blocks_;
};

/// What a generated scanner reads and what it knows of its place: one for each reading. The builder
/// makes its tokens.
template <typename Builder>
struct ScannedText {
  ScannedText(std::istream& source, Builder& token_builder)
      : stream(source), builder(token_builder) {}

  /// Fills `buffer`; 0 at the end of the input.
  std::size_t read(char* buffer, std::size_t max_size) {
    stream.read(buffer, static_cast<std::streamsize>(max_size));
    return static_cast<std::size_t>(stream.gcount());
  }

  std::istream& stream;
  Builder& builder;
  std::size_t line = 1;
};

/// Cuts the part of a stack that begins at `mark` off.
template <typename T>
std::vector<T> pop_list(std::vector<T>& stack, std::size_t mark) {
  const auto begin = stack.begin() + static_cast<std::ptrdiff_t>(mark);
  std::vector<T> list(begin, stack.end());
  stack.erase(begin, stack.end());
  return list;
}

}  // namespace kelvo
