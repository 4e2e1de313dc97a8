// Typed changes in the words and colours of reports for terminals.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/compare/changes.h"
#include "report/phrases.h"
#include "report/tallies.h"

namespace kelvane::report {

// The side that has what the other one lacks.
std::optional<enumLocation> sideOf(const inventory::Change& change);

// Calls visit(row of the kind, first, last) for each run of changes of one kind.
template <class Visit>
void forEachKind(const std::vector<inventory::Change>& changes, Visit&& visit) {
  for (auto first = changes.begin(); first != changes.end();) {
    const auto last = std::find_if(first, changes.end(), [&](const inventory::Change& one) {
      return one.kind != first->kind;
    });
    visit(inventory::rowOf(first->kind), first, last);
    first = last;
  }
}

Tallies talliesOf(const std::vector<inventory::Change>& changes);

// "column a", "primary key (a, b)", "grant select to clerks". `owner`: of the object around it.
std::u16string headingOf(const inventory::Change& change, std::string_view owner = {});

// "only in source: date null", of a change on one side
std::u16string onlyInLine(const inventory::Change& change, std::string_view owner, Colors colors);

// Both values of an attribute as they are to be shown.
class ShownChange {
 public:
  ShownChange(inventory::Kind kind, const inventory::AttributeChange& change);

  // They fit within a line; others need a comparison of their lines.
  bool isShort() const;
  // "char(16) not null -> varchar(20) null", where they are short
  std::u16string line(Colors colors) const;
  const std::u16string& label() const { return label_; }
  const std::u16string& was() const { return was_; }
  const std::u16string& is() const { return is_; }

 private:
  std::u16string shown(const std::u16string& value) const;

  std::u16string label_, was_, is_;
  std::u16string_view nothing_;  // stands for an empty value
};

// What a line with the heading says of a change on both sides: "char(16) null -> int null", "lock:
// allpages -> datarows".
struct Inline {
  std::u16string text;     // empty: nothing
  std::string_view label;  // of the attribute that the text is about
  std::vector<ShownChange> rest;
};
enum class Place { object, part };
Inline inlineOf(const inventory::Change& change, Place place, Colors colors);

}  // namespace kelvane::report
