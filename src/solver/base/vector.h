#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "solver/base/check.h"

namespace ordax {

/// Growing array of plain data for the hot parts of the engines: two words and a pointer, capacity
/// grows by a half, elements are moved as bytes. For anything that owns memory use `std::vector`.
template <typename T>
class Vector {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

 public:
  using value_type = T;
  using iterator = T*;
  using const_iterator = const T*;

  Vector() = default;
  explicit Vector(std::size_t count, const T& value = T()) { resize(count, value); }
  Vector(const Vector& other) { *this = other; }
  Vector(Vector&& other) noexcept { swap(other); }
  ~Vector() { std::free(data_); }

  Vector& operator=(const Vector& other) {
    if (this == &other) return *this;
    clear();
    reserve(other.size_);
    if (other.size_ != 0)
      std::memcpy(static_cast<void*>(data_), other.data_, other.size_ * sizeof(T));
    size_ = other.size_;
    return *this;
  }
  Vector& operator=(Vector&& other) noexcept {
    swap(other);
    return *this;
  }

  void swap(Vector& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

  std::size_t size() const { return size_; }
  std::size_t capacity() const { return capacity_; }
  bool empty() const { return size_ == 0; }
  T* data() { return data_; }
  const T* data() const { return data_; }
  iterator begin() { return data_; }
  iterator end() { return data_ + size_; }
  const_iterator begin() const { return data_; }
  const_iterator end() const { return data_ + size_; }

  T& operator[](std::size_t i) {
    ORDAX_CHECK(i < size_);
    return data_[i];
  }
  const T& operator[](std::size_t i) const {
    ORDAX_CHECK(i < size_);
    return data_[i];
  }
  T& back() { return (*this)[size_ - 1]; }
  const T& back() const { return (*this)[size_ - 1]; }
  T& front() { return (*this)[0]; }
  const T& front() const { return (*this)[0]; }

  void push_back(const T& value) {
    const T copy = value;  // `value` may be an element of this vector
    if (size_ == capacity_) grow((3 * capacity_ + 1) / 2);
    data_[size_++] = copy;
  }
  void pop_back() {
    ORDAX_CHECK(size_ > 0);
    --size_;
  }
  void clear() { size_ = 0; }

  /// Drops the elements from position `count` on.
  void shrink(std::size_t count) {
    ORDAX_CHECK(count <= size_);
    size_ = count;
  }
  void resize(std::size_t count, const T& value = T()) {
    const T copy = value;
    if (count > capacity_) grow(count);
    for (std::size_t i = size_; i < count; ++i) data_[i] = copy;
    size_ = count;
  }
  void reserve(std::size_t count) {
    if (count > capacity_) grow(count);
  }
  /// Erases [first, last) and closes the gap.
  void erase(iterator first, iterator last) {
    if (first == last) return;
    std::memmove(static_cast<void*>(first), last,
                 static_cast<std::size_t>(end() - last) * sizeof(T));
    size_ -= static_cast<std::size_t>(last - first);
  }
  void insert(iterator position, const T& value) {
    const T copy = value;
    const std::size_t at = static_cast<std::size_t>(position - data_);
    push_back(copy);
    std::memmove(static_cast<void*>(data_ + at + 1), data_ + at, (size_ - 1 - at) * sizeof(T));
    data_[at] = copy;
  }

 private:
  void grow(std::size_t wanted) {
    if (wanted < 2) wanted = 2;
    void* memory = std::realloc(static_cast<void*>(data_), wanted * sizeof(T));
    if (memory == nullptr) throw std::bad_alloc();
    data_ = static_cast<T*>(memory);
    capacity_ = wanted;
  }

  T* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace ordax
