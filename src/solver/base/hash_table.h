#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include "solver/base/pool.h"

namespace ordax {

/// Sizes of all hash tables, and the division by them without a division instruction (Lemire,
/// Kaser and Kurz, "Faster remainder by direct computation", 2019).
class PrimeModulus {
 public:
  static constexpr std::uint32_t PRIMES[] = {
      31,       73,        151,       313,       643,        1291,       2593,
      5233,     10501,     21013,     42073,     84181,      168451,     337219,
      674701,   1349473,   2699299,   5398891,   10798093,   21596719,   43193641,
      86387383, 172775299, 345550609, 691101253, 1382202559, 2764405229, 4294867387};
  static constexpr unsigned NUM_PRIMES = sizeof(PRIMES) / sizeof(PRIMES[0]);
  static_assert(NUM_PRIMES == 28);

  std::uint32_t value() const { return PRIMES[index_]; }
  bool at_last() const { return index_ + 1 == NUM_PRIMES; }
  void next() {
    ++index_;
    inverse_ = UINT64_MAX / PRIMES[index_] + 1;
  }
  std::uint32_t of(std::uint32_t hash) const {
    __extension__ using Wide = unsigned __int128;
    const std::uint64_t low = inverse_ * hash;
    return static_cast<std::uint32_t>((static_cast<Wide>(low) * PRIMES[index_]) >> 64);
  }

 private:
  unsigned index_ = 0;
  std::uint64_t inverse_ = UINT64_MAX / 31 + 1;
};

/// Folds a hash of a machine word into the 32 bits that the tables keep.
inline std::uint32_t fold_hash(std::uint64_t hash) {
  return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

/// Default hash: integers by value, everything else by its member `hash()`.
template <typename K>
struct TableHash {
  std::uint64_t operator()(const K& key) const {
    if constexpr (std::is_integral_v<K> || std::is_enum_v<K>) {
      return static_cast<std::uint64_t>(key) * 0x9e3779b97f4a7c15ULL >> 16;
    } else {
      return key.hash();
    }
  }
};

struct NoValue {};

/// Chained hash table: 31 buckets at first, load limit 0.7, prime sizes, nodes from a pool of its
/// own. An empty table owns no memory. Iteration goes bucket by bucket: never let it be visible.
template <typename K, typename V, typename Hash = TableHash<K>>
class HashMap {
  struct Node {
    Node* next;
    std::uint32_t hash;
    K key;
    [[no_unique_address]] V value;
  };

 public:
  explicit HashMap(Hash hash = Hash()) : hash_(hash), pool_(sizeof(Node)) {}
  HashMap(const HashMap&) = delete;
  HashMap& operator=(const HashMap&) = delete;
  ~HashMap() {
    clear();
    std::free(buckets_);
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  V* find(const K& key) {
    Node* node = find_node(key);
    return node == nullptr ? nullptr : &node->value;
  }
  const V* find(const K& key) const { return const_cast<HashMap*>(this)->find(key); }
  bool contains(const K& key) const { return find(key) != nullptr; }

  /// The value of `key`; if the key is new, it enters with `value` and `inserted` becomes true.
  V& insert(const K& key, V value = V(), bool* inserted = nullptr) {
    const std::uint32_t hash = fold_hash(hash_(key));
    if (buckets_ != nullptr) {
      for (Node* node = buckets_[modulus_.of(hash)]; node != nullptr; node = node->next) {
        if (node->hash == hash && node->key == key) {
          if (inserted != nullptr) *inserted = false;
          return node->value;
        }
      }
    }
    make_room();
    Node** bucket = &buckets_[modulus_.of(hash)];
    void* memory = pool_.allocate();
    Node* node = ::new (memory) Node{*bucket, hash, key, std::move(value)};
    *bucket = node;
    ++size_;
    if (inserted != nullptr) *inserted = true;
    return node->value;
  }
  V& operator[](const K& key) { return insert(key); }

  bool erase(const K& key) {
    if (buckets_ == nullptr) return false;
    const std::uint32_t hash = fold_hash(hash_(key));
    for (Node** link = &buckets_[modulus_.of(hash)]; *link != nullptr; link = &(*link)->next) {
      Node* node = *link;
      if (node->hash != hash || !(node->key == key)) continue;
      *link = node->next;
      node->~Node();
      pool_.release(node);
      --size_;
      return true;
    }
    return false;
  }

  /// Removes all entries and keeps the buckets.
  void clear() {
    if (size_ == 0) return;
    for (std::uint32_t i = 0; i < modulus_.value(); ++i) {
      if constexpr (!std::is_trivially_destructible_v<Node>) {
        for (Node* node = buckets_[i]; node != nullptr;) {
          Node* next = node->next;
          node->~Node();
          node = next;
        }
      }
      buckets_[i] = nullptr;
    }
    pool_.clear();
    size_ = 0;
  }

  template <typename F>
  void for_each(F&& f) {
    if (buckets_ == nullptr) return;
    for (std::uint32_t i = 0; i < modulus_.value(); ++i) {
      for (Node* node = buckets_[i]; node != nullptr; node = node->next) f(node->key, node->value);
    }
  }

 private:
  Node* find_node(const K& key) {
    if (buckets_ == nullptr) return nullptr;
    const std::uint32_t hash = fold_hash(hash_(key));
    for (Node* node = buckets_[modulus_.of(hash)]; node != nullptr; node = node->next) {
      if (node->hash == hash && node->key == key) return node;
    }
    return nullptr;
  }

  // Grows before an insertion, never between finding the place and using it.
  void make_room() {
    if (buckets_ == nullptr) {
      buckets_ = allocate_buckets(modulus_.value());
      return;
    }
    if (static_cast<double>(size_ + 1) <= 0.7 * modulus_.value() || modulus_.at_last()) return;
    PrimeModulus larger = modulus_;
    larger.next();
    Node** buckets = allocate_buckets(larger.value());
    for (std::uint32_t i = 0; i < modulus_.value(); ++i) {
      for (Node* node = buckets_[i]; node != nullptr;) {
        Node* next = node->next;
        Node** bucket = &buckets[larger.of(node->hash)];
        node->next = *bucket;
        *bucket = node;
        node = next;
      }
    }
    std::free(static_cast<void*>(buckets_));
    buckets_ = buckets;
    modulus_ = larger;
  }

  static Node** allocate_buckets(std::uint32_t count) {
    void* memory = std::calloc(count, sizeof(Node*));
    if (memory == nullptr) throw std::bad_alloc();
    return static_cast<Node**>(memory);
  }

  Hash hash_;
  PrimeModulus modulus_;
  Node** buckets_ = nullptr;
  std::size_t size_ = 0;
  BlockPool pool_;
};

/// Set with the shape of `HashMap`.
template <typename K, typename Hash = TableHash<K>>
class HashSet {
 public:
  explicit HashSet(Hash hash = Hash()) : map_(hash) {}

  std::size_t size() const { return map_.size(); }
  bool contains(const K& key) const { return map_.contains(key); }
  /// True if the key is new.
  bool insert(const K& key) {
    bool inserted = false;
    map_.insert(key, NoValue(), &inserted);
    return inserted;
  }
  bool erase(const K& key) { return map_.erase(key); }
  void clear() { map_.clear(); }

 private:
  HashMap<K, NoValue, Hash> map_;
};

}  // namespace ordax
