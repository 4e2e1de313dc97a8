// A hash index from keys to the slots of rows. The keys stay with the rows: of a key, the index has
// only the hash.
//
// A span of slots is valid until the slots of its own key change. Threading: as for the table that
// it belongs to.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "drivers/embedded/store/undo_log.h"

namespace kelvane::embedded {

class SlotIndex {
 public:
  /// `isKey(slot)` says whether the row of a slot, whose key has the hash, has the key in question.
  template <class IsKey>
  std::span<const Slot> find(std::uint64_t hash, IsKey isKey) const {
    const std::size_t at = place(hash, isKey);
    if (at == kNone || entries_[at].count == 0) return {};
    return {entries_[at].slots, entries_[at].count};
  }

  /// Adds a slot in front of the first that it `precedes(slot, other)`.
  template <class IsKey, class Precedes>
  void add(std::uint64_t hash, Slot slot, IsKey isKey, Precedes precedes) {
    if ((used_ + 1) * 2 > entries_.size()) grow();
    Entry& entry = entries_[place(hash, isKey)];
    if (entry.count == 0) {
      ++used_;
      entry.hash = hash;
    }
    if (entry.count == entry.capacity()) enlarge(entry);
    Slot* to = entry.slots + entry.count;
    for (; to != entry.slots && precedes(slot, to[-1]); --to) *to = to[-1];
    *to = slot;
    ++entry.count;
  }

  template <class IsKey>
  void remove(std::uint64_t hash, Slot slot, IsKey isKey) {
    const std::size_t at = place(hash, isKey);
    if (at == kNone || entries_[at].count == 0) return;
    Entry& entry = entries_[at];
    Slot* const end = entry.slots + entry.count;
    Slot* const found = std::find(entry.slots, end, slot);
    if (found == end) return;
    std::copy(found + 1, end, found);
    if (--entry.count > 0) return;
    giveBack(entry);
    --used_;
    close(at);
  }

  void clear() { *this = SlotIndex(); }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  static constexpr std::uint8_t kNoList = 0xFF;

  struct Entry {
    std::uint64_t hash = 0;
    Slot* slots = nullptr;
    std::uint32_t count = 0;           ///< 0 for a free entry
    std::uint8_t sizeClass = kNoList;  ///< the power of two that is the room in `slots`

    std::uint32_t capacity() const { return sizeClass == kNoList ? 0 : 1U << sizeClass; }
  };

  std::size_t mask() const { return entries_.size() - 1; }

  /// The entry of the key, or the free one where it would be.
  template <class IsKey>
  std::size_t place(std::uint64_t hash, IsKey isKey) const {
    if (entries_.empty()) return kNone;
    std::size_t at = hash & mask();
    while (entries_[at].count != 0 &&
           !(entries_[at].hash == hash && isKey(entries_[at].slots[0]))) {
      at = (at + 1) & mask();
    }
    return at;
  }

  void grow() {
    constexpr std::size_t kFirst = 64;
    std::vector<Entry> old(std::max(kFirst, entries_.size() * 2));
    old.swap(entries_);
    for (const Entry& entry : old) {
      if (entry.count == 0) continue;
      std::size_t at = entry.hash & mask();
      while (entries_[at].count != 0) at = (at + 1) & mask();
      entries_[at] = entry;
    }
  }

  /// Frees an entry; those behind it that are not where their hash says move up.
  void close(std::size_t at) {
    for (std::size_t next = (at + 1) & mask(); entries_[next].count != 0;
         next = (next + 1) & mask()) {
      const std::size_t home = entries_[next].hash & mask();
      if (((next - home) & mask()) < ((next - at) & mask())) continue;
      entries_[at] = entries_[next];
      at = next;
    }
    entries_[at] = Entry();
  }

  void enlarge(Entry& entry) {
    const std::uint8_t wanted =
        entry.sizeClass == kNoList ? 0 : static_cast<std::uint8_t>(entry.sizeClass + 1);
    Slot* const slots = room(wanted);
    std::copy_n(entry.slots, entry.count, slots);
    giveBack(entry);
    entry.slots = slots;
    entry.sizeClass = wanted;
  }

  Slot* room(std::uint8_t sizeClass) {
    constexpr std::size_t kChunk = 4096;
    if (!free_[sizeClass].empty()) {
      Slot* const slots = free_[sizeClass].back();
      free_[sizeClass].pop_back();
      return slots;
    }
    const std::size_t size = std::size_t{1} << sizeClass;
    if (size > left_) {
      left_ = std::max(kChunk, size);
      chunks_.push_back(std::make_unique_for_overwrite<Slot[]>(left_));
      next_ = chunks_.back().get();
    }
    left_ -= size;
    return std::exchange(next_, next_ + size);
  }

  void giveBack(Entry& entry) {
    if (entry.sizeClass != kNoList) free_[entry.sizeClass].push_back(entry.slots);
    entry.sizeClass = kNoList;
    entry.slots = nullptr;
  }

  std::vector<Entry> entries_;
  std::size_t used_ = 0;
  std::vector<std::unique_ptr<Slot[]>> chunks_;
  Slot* next_ = nullptr;
  std::size_t left_ = 0;
  std::array<std::vector<Slot*>, 32> free_;
};

}  // namespace kelvane::embedded
