#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <functional>
#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/expression.h"

namespace kelvo {

/// The text of an identifier or a number, once for each reading, and the expression it stands for
/// once that was made.
using Token = std::pair<const std::string, model::Expression>;

/// Finds tokens by their texts, in a table of open addressing: a text that is new costs no
/// allocation of its own if it is short.
class TokenTable {
 public:
  /// Valid as long as the table.
  Token* find_or_make(std::string_view text) {
    if (2 * (tokens_.size() + 1) > slots_.size()) grow();
    const std::size_t hash = std::hash<std::string_view>()(text);
    Slot& slot = find_slot(hash, [text](const Token& token) { return token.first == text; });
    if (slot.token == nullptr) slot = {hash, &tokens_.emplace_back(text, nullptr)};
    return slot.token;
  }

 private:
  struct Slot {
    std::size_t hash = 0;
    Token* token = nullptr;  // null: free
  };

  // The slot of the token with this hash that `is_it` accepts, or the free one where it belongs.
  template <typename Predicate>
  Slot& find_slot(std::size_t hash, const Predicate& is_it) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t place = hash & mask;
    while (slots_[place].token != nullptr &&
           (slots_[place].hash != hash || !is_it(*slots_[place].token))) {
      place = (place + 1) & mask;
    }
    return slots_[place];
  }

  void grow() {
    std::vector<Slot> old(std::max<std::size_t>(256, 2 * slots_.size()));
    old.swap(slots_);
    const auto is_new = [](const Token&) { return false; };
    for (const Slot& slot : old) {
      if (slot.token != nullptr) find_slot(slot.hash, is_new) = slot;
    }
  }

  std::deque<Token> tokens_;
  std::vector<Slot> slots_;  // a power of two, at most half full
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
