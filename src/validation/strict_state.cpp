#include "validation/strict_state.h"

#include <algorithm>

namespace kelvo::strict {

namespace {

std::uint32_t hash_of(std::size_t fluent, std::span<const Value> arguments) {
  std::uint64_t hash = (fluent + 1) * 0x9e3779b97f4a7c15;
  for (const Value v : arguments) {
    hash = (hash ^ (hash >> 29) ^ v) * 0x9e3779b97f4a7c15;
  }
  return static_cast<std::uint32_t>(hash >> 32);
}

}  // namespace

Slot GroundFluents::slot(std::size_t fluent, std::span<const Value> arguments) {
  const std::uint32_t hash = hash_of(fluent, arguments);
  const std::size_t mask = table_.size() - 1;
  std::size_t place = hash & mask;
  for (; table_[place] != kFree; place = (place + 1) & mask) {
    const Key& key = keys_[table_[place]];
    if (key.hash == hash && key.fluent == fluent &&
        std::ranges::equal(arguments_of(table_[place]), arguments)) {
      return table_[place];
    }
  }
  const auto fresh = static_cast<Slot>(keys_.size());
  table_[place] = fresh;
  keys_.push_back({static_cast<std::uint32_t>(fluent),
                   static_cast<std::uint32_t>(arguments_.size()),
                   static_cast<std::uint32_t>(arguments.size()), hash});
  arguments_.insert(arguments_.end(), arguments.begin(), arguments.end());
  if (keys_.size() * 2 > table_.size()) rehash(table_.size() * 2);
  return fresh;
}

void GroundFluents::reserve(std::size_t size) {
  keys_.reserve(size);
  arguments_.reserve(size * 2);
  std::size_t table_size = table_.size();
  while (table_size < size * 2) table_size *= 2;
  rehash(table_size);
}

void GroundFluents::rehash(std::size_t table_size) {
  table_.assign(table_size, kFree);
  const std::size_t mask = table_.size() - 1;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    std::size_t place = keys_[i].hash & mask;
    while (table_[place] != kFree) place = (place + 1) & mask;
    table_[place] = static_cast<Slot>(i);
  }
}

}  // namespace kelvo::strict
