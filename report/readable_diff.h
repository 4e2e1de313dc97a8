// What a tree of differences says to people: the oddities of its records evened out, and what its
// parts are called.
//
// Lifetime: results with views refer to what they were made from. Threading: free functions without
// state.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "model/diff_schema.h"
#include "report/diff_walk.h"
#include "report/tallies.h"

namespace kelvane::report {

// A group's owner is reported as a row of a table of the group's name; tables have no such row of
// their own. Puts these rows where they belong.
diffSchema withOwnersOfGroups(const diffSchema& differences);

// A trigger's row for an event pairs the source's text with the target's flag; here both are flags.
typeDiff readable(Part part, const typeDiff& difference);

// The values of a difference as they are to be shown. Servers pad some texts; what short texts end
// with is left out unless nothing else differs.
struct Values {
  std::u16string_view before, after;
  bool shortLines;  // each is a line of its own that needs no comparison of lines
};
Values valuesOf(std::u16string_view before, std::u16string_view after);
Values valuesOf(const typeDiff& difference);

// What a sub-entity is called: a word, and a name as it belongs to the word.
enum class NameOf { thing, keys, nothing };
struct Title {
  std::u16string_view word;
  NameOf nameOf;
  std::u16string_view name;
};
Title titleOf(Part part, const diffEntity& entity);
// `difference` says that the sub-entity is only on one side.
Title titleOfMissing(Part part, const diffEntity& entity, const typeDiff& difference);

// Where an object is that the other side lacks.
std::optional<enumLocation> missingSideOf(const Array<typeDiff>& own);

// All differences of an object, those of its sub-entities included.
template <class Object>
std::int64_t differencesOf(const Object& object) {
  std::int64_t total = object.Diff.count();
  for (const auto& parts : kParts<Object>)
    for (const diffEntity& entity : object.*parts.entities) total += entity.Diff.count();
  return total;
}

template <class Object>
KindCounts countsOf(const Array<Object>& objects) {
  KindCounts counts;
  for (const Object& object : objects)
    counts.add(missingSideOf(object.Diff), differencesOf(object));
  return counts;
}
// `shown`: with owners of groups.
Tallies talliesOf(const diffSchema& shown);

}  // namespace kelvane::report
