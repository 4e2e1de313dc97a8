// The growable 1-based array of the published records.
//
// Lifetime: a value. A copy is independent of its original in everything a program can observe.
// Copies share their storage until one side is written, so that handing out a whole Schema costs
// seven pointers; but once an element has been reachable for writing (non-const operator[], begin,
// end), a reference to it may still be held somewhere, so from then on copies of that array are
// made at once, element by element. Threading: distinct Array objects may be used from distinct
// threads, also when they share storage.
#pragma once

#include <algorithm>
#include <atomic>
#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace kelvane {

template <class T>
class Array {
 public:
  using value_type = T;

  Array() = default;
  Array(std::initializer_list<T> items) {
    reserve(static_cast<std::int32_t>(items.size()));
    for (const T& item : items) append(item);
  }
  Array(const Array& other) : block_(other.block_ ? other.block_->shared() : nullptr) {}
  Array(Array&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Array& operator=(Array other) noexcept {
    swap(other);
    return *this;
  }
  ~Array() { release(block_); }

  void swap(Array& other) noexcept { std::swap(block_, other.block_); }

  // The number of elements.
  std::int32_t count() const { return block_ ? block_->count : 0; }
  bool empty() const { return count() == 0; }
  // The highest valid index, or -1 when there is no element.
  std::int32_t upperBound() const { return empty() ? -1 : count(); }

  // Elements by their 1-based index. Throws std::out_of_range outside 1..count().
  const T& operator[](std::int32_t index) const {
    const std::int32_t at = offset(index);
    return block_->items()[at];
  }
  T& operator[](std::int32_t index) {
    const std::int32_t at = offset(index);
    return exposed()[at];
  }

  // In index order.
  const T* begin() const { return block_ ? block_->items() : nullptr; }
  const T* end() const { return block_ ? block_->items() + block_->count : nullptr; }
  T* begin() { return block_ ? exposed() : nullptr; }
  T* end() { return block_ ? exposed() + block_->count : nullptr; }

  // Changes the element at `index` in place, without the lasting cost that a writable reference
  // has: `change` must not keep the reference that it is given.
  template <std::invocable<T&> Change>
  void edit(std::int32_t index, Change&& change) {
    const std::int32_t at = offset(index);
    std::invoke(std::forward<Change>(change), own(block_->count)[at]);
  }

  // Adds an element at the end; amortised constant time.
  void append(T item) {
    const std::int32_t needed = count() + 1;
    const std::int32_t capacity = block_ ? block_->capacity : 0;
    T* items = own(needed <= capacity ? needed : std::max(needed, capacity + capacity / 2));
    ::new (items + block_->count) T(std::move(item));
    ++block_->count;
  }

  // Discards all elements and creates `newCount` empty ones.
  void recreate(std::int32_t newCount) {
    clear();
    if (newCount <= 0) return;
    T* items = own(newCount);
    while (block_->count < newCount) {
      ::new (items + block_->count) T();
      ++block_->count;
    }
  }

  // Makes room for `capacity` elements, to spare a known number of appends from moving them.
  void reserve(std::int32_t capacity) {
    if (capacity > (block_ ? block_->capacity : 0)) own(capacity);
  }

  void clear() { release(std::exchange(block_, nullptr)); }

  friend bool operator==(const Array& a, const Array& b) requires std::equality_comparable<T> {
    return a.block_ == b.block_ || std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  struct Block {
    std::atomic<std::int32_t> owners{1};
    std::int32_t count = 0;
    std::int32_t capacity = 0;
    bool writable = false;  // a writable reference has been handed out

    T* items() { return reinterpret_cast<T*>(reinterpret_cast<char*>(this) + kItemsOffset); }

    static Block* allocate(std::int32_t capacity) {
      void* memory = ::operator new(kItemsOffset + sizeof(T) * static_cast<std::size_t>(capacity));
      auto* block = ::new (memory) Block;
      block->capacity = capacity;
      return block;
    }
    Block* shared() {
      if (writable) return copied(count);
      owners.fetch_add(1, std::memory_order_relaxed);
      return this;
    }
    Block* copied(std::int32_t newCapacity) {
      Block* copy = allocate(std::max(newCapacity, count));
      try {
        for (; copy->count < count; ++copy->count)
          ::new (copy->items() + copy->count) T(items()[copy->count]);
      } catch (...) {
        release(copy);
        throw;
      }
      return copy;
    }
    Block* moved(std::int32_t newCapacity) {
      Block* bigger = allocate(newCapacity);
      for (; bigger->count < count; ++bigger->count)
        ::new (bigger->items() + bigger->count) T(std::move(items()[bigger->count]));
      return bigger;
    }

    static constexpr std::size_t kItemsOffset = 16;
  };

  static void release(Block* block) {
    if (!block || block->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    static_assert(sizeof(Block) <= Block::kItemsOffset && alignof(T) <= Block::kItemsOffset);
    std::destroy_n(block->items(), block->count);
    block->~Block();
    ::operator delete(block);
  }

  std::int32_t offset(std::int32_t index) const {
    if (index < 1 || index > count())
      throw std::out_of_range("There is no array element " + std::to_string(index));
    return index - 1;
  }

  // Makes the storage this object's alone, with room for `capacity` elements.
  T* own(std::int32_t capacity) {
    if (!block_) {
      block_ = Block::allocate(capacity);
    } else if (block_->owners.load(std::memory_order_acquire) != 1) {
      release(std::exchange(block_, block_->copied(capacity)));
    } else if (capacity > block_->capacity) {
      release(std::exchange(block_, block_->moved(capacity)));
    }
    return block_->items();
  }
  T* exposed() {
    T* items = own(block_->count);
    block_->writable = true;
    return items;
  }

  Block* block_ = nullptr;
};

// The upper bound of an array, or -1 when it has no elements.
template <class T>
std::int32_t SafeUpperBound(const Array<T>& array) {
  return array.upperBound();
}

}  // namespace kelvane
