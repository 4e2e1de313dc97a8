// The first element of an array that matches a given one, for a walk over another array that is
// usually in the same order.
//
// Lifetime: refers to the array and to the memory that it is given. Threading: none of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/array.h"
#include "model/first_match_index.h"
#include "model/text.h"

namespace kelvane {

// Matches records by the texts of these members.
template <auto... members>
struct MatchedBy {
  template <class Record>
  static bool equal(const Record& a, const Record& b, CaseMode mode) {
    return (equalText(a.*members, b.*members, mode) && ...);
  }
  template <class Record>
  static std::size_t hash(const Record& record, CaseMode mode) {
    std::size_t hash = 0;
    ((hash = hash * 31 + hashText(record.*members, mode)), ...);
    return hash;
  }
};

// What a FirstMatches works with; kept from one array to the next to spare allocations.
struct MatchMemory {
  struct Element {
    std::int32_t first;  // the first element equal to this one
    bool found;          // only set for elements that are the first
  };
  FirstMatchIndex index;
  std::vector<Element> elements;  // those taken into the index
};

template <class Match, class Record>
class FirstMatches {
 public:
  FirstMatches(const Array<Record>& records, CaseMode mode, MatchMemory& memory)
      : records_(records), mode_(mode), memory_(memory), notFound_(records.count()) {
    memory_.index.reset(records_.count());
    memory_.elements.clear();
  }

  // The first record that matches `wanted`, or null. Asked in the order of the records, each answer
  // costs a comparison and the proof that no earlier record is equal; other orders cost a look-up.
  const Record* find(const Record& wanted) {
    const std::int32_t next = memory_.index.count() + 1;
    if (next <= records_.count() && Match::equal(records_[next], wanted, mode_))
      return markFound(takeIn(next));
    takeInAll();
    const std::int32_t at = memory_.index.find(
        Match::hash(wanted, mode_),
        [&](std::int32_t position) { return Match::equal(records_[position], wanted, mode_); });
    return at == 0 ? nullptr : markFound(at);
  }

  // Calls `visit` for every record that equals none of those that were asked for, in order.
  template <class Visit>
  void forEachNotFound(Visit&& visit) {
    if (notFound_ == 0) return;
    takeInAll();
    for (const MatchMemory::Element& element : memory_.elements) {
      const auto position = static_cast<std::int32_t>(&element - memory_.elements.data()) + 1;
      if (!at(element.first).found) visit(records_[position]);
    }
  }

 private:
  MatchMemory::Element& at(std::int32_t position) {
    return memory_.elements[static_cast<std::size_t>(position) - 1];
  }
  std::int32_t takeIn(std::int32_t position) {
    const Record& record = records_[position];
    const std::int32_t first = memory_.index.add(
        Match::hash(record, mode_),
        [&](std::int32_t earlier) { return Match::equal(records_[earlier], record, mode_); });
    memory_.elements.push_back({first, false});
    return first;
  }
  void takeInAll() {
    while (memory_.index.count() < records_.count()) takeIn(memory_.index.count() + 1);
  }
  const Record* markFound(std::int32_t position) {
    if (!at(position).found) --notFound_;
    at(position).found = true;
    return &records_[position];
  }

  const Array<Record>& records_;
  const CaseMode mode_;
  MatchMemory& memory_;
  std::int32_t notFound_;  // 0 only when every record is the first of its name and was found
};

}  // namespace kelvane
