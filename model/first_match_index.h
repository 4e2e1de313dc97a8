// Answers "the first element that matches" over a sequence that only grows at its end: the same
// element that a scan from the front would stop at, at the cost of one hash look-up.
//
// Lifetime: holds positions and hashes only; the elements stay with the caller, who compares them.
// Threading: none of its own.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvane {

class FirstMatchIndex {
 public:
  // The number of elements taken in. Their positions are 1 to count().
  std::int32_t count() const { return count_; }

  // Forgets all elements and makes room for `expected` ones; memory is kept for reuse.
  void reset(std::int32_t expected) {
    slots_.assign(std::bit_ceil(static_cast<std::size_t>(expected) * 2 + 2), Slot{});
    count_ = 0;
    distinct_ = 0;
  }

  // Takes in the next element. Returns the position of the first element equal to it, which is its
  // own position unless `equalsAt(position)` holds for an earlier one.
  template <class EqualsAt>
  std::int32_t add(std::size_t hash, EqualsAt&& equalsAt) {
    if ((distinct_ + 1) * 2 > slots_.size()) grow();
    ++count_;
    Slot& slot = slots_[slotOf(hash, equalsAt)];
    if (slot.position == 0) {
      slot = {static_cast<std::uint32_t>(hash), count_};
      ++distinct_;
    }
    return slot.position;
  }

  // The position of the first element with this hash for which `equalsAt(position)` holds, or 0.
  template <class EqualsAt>
  std::int32_t find(std::size_t hash, EqualsAt&& equalsAt) const {
    return slots_.empty() ? 0 : slots_[slotOf(hash, equalsAt)].position;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::int32_t position = 0;  // 0: free
  };

  template <class EqualsAt>
  std::size_t slotOf(std::size_t hash, EqualsAt&& equalsAt) const {
    const auto wanted = static_cast<std::uint32_t>(hash);
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t at = wanted & mask;; at = (at + 1) & mask) {
      const Slot& slot = slots_[at];
      if (slot.position == 0 || (slot.hash == wanted && equalsAt(slot.position))) return at;
    }
  }
  void grow() {
    std::vector<Slot> bigger(slots_.empty() ? 4 : slots_.size() * 2);
    bigger.swap(slots_);
    for (const Slot& slot : bigger)
      if (slot.position != 0) slots_[slotOf(slot.hash, [](std::int32_t) { return false; })] = slot;
  }

  std::vector<Slot> slots_;  // a power of two of them, at most half in use
  std::size_t distinct_ = 0;
  std::int32_t count_ = 0;
};

}  // namespace kelvane
