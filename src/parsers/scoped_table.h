#pragma once

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kelvo {

/// A table of names in nested scopes: an entry shadows the one of an outer scope until its own
/// scope is left.
template <typename Key, typename Value>
class ScopedTable {
 public:
  using Map = std::unordered_map<Key, Value>;
  using Scope = std::size_t;

  /// What is visible now. The reference stays valid.
  const Map& visible() const { return visible_; }
  const Value* find(const Key& key) const {
    const auto found = visible_.find(key);
    return found == visible_.end() ? nullptr : &found->second;
  }

  void enter(const Key& key, const Value& value) {
    const auto [place, is_new] = visible_.try_emplace(key, value);
    undo_.emplace_back(key, is_new ? std::nullopt : std::optional<Value>(place->second));
    if (!is_new) place->second = value;
  }

  Scope open() const { return undo_.size(); }
  /// Forgets what was entered since `scope` was opened; shadowed entries come back.
  void leave(Scope scope) {
    while (undo_.size() > scope) {
      auto& [key, shadowed] = undo_.back();
      if (shadowed.has_value()) {
        visible_[key] = std::move(*shadowed);
      } else {
        visible_.erase(key);
      }
      undo_.pop_back();
    }
  }

 private:
  Map visible_;
  std::vector<std::pair<Key, std::optional<Value>>> undo_;
};

}  // namespace kelvo
