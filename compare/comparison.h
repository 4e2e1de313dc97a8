// One run of the schema comparison. The walk over two arrays is written once; an object kind only
// says how its elements are matched, what its reports are called and which attributes it has.
//
// Lifetime: for the length of one call of Compare. Threading: that call's thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "compare/compare_schema.h"
#include "compare/first_matches.h"
#include "model/attributes.h"
#include "model/boolean.h"
#include "model/schema.h"
#include "model/text.h"

namespace kelvane {

// What every kind of top-level object states about itself.
template <class Object, class Match>
struct ObjectKind {
  Array<Object> Schema::*objects;
  Boolean cComparisonOptions::*enabled;
  std::u16string_view word;
  Match match;
};
template <class Object, class Match>
ObjectKind(Array<Object> Schema::*, Boolean cComparisonOptions::*, std::u16string_view, Match)
    -> ObjectKind<Object, Match>;

// What every kind of sub-entity states about itself: its switch, how it is matched, its words, and
// which of its texts names it in the call to the collector (none: the object's name does) and in
// paths, where it may be another in the walk over the source than in the walk over the target.
template <class SubEntity, class Match>
struct SubEntityKind {
  Boolean cComparisonOptions::*enabled;
  std::u16string_view treeType;
  std::u16string_view missingLabel;
  std::optional<std::u16string SubEntity::*> entity;
  std::u16string SubEntity::*sourcePath;
  std::u16string SubEntity::*targetPath;
};

// Columns of views and parameters of procedures and functions.
using ColumnKind = SubEntityKind<Column, MatchedBy<&Column::Name>>;

// What views, procedures and functions also state about themselves.
struct CodeKind {
  std::u16string_view word;
  Boolean cComparisonOptions::*definition;
  ColumnKind columns;
};

// Where a difference lies: in an object, or in what `path` names below it.
struct Place {
  std::u16string_view entity;
  std::u16string_view treeType;
  std::u16string_view object;
  std::optional<std::u16string_view> path = std::nullopt;
};

class Comparison {
 public:
  explicit Comparison(cCompareSchema& engine)
      : engine_(engine),
        collector_(*engine.cCompareDifference()),
        mode_(engine.IsSchemaCaseSensitive() ? CaseMode::exact : CaseMode::ignore) {}

  // Every pass whose switch is on, in their fixed order.
  void run(const Schema& source, const Schema& target);

 private:
  // The pass of one kind: objects on one side only, and the details of those on both.
  template <class Object, class Match>
  void compareObjects(const ObjectKind<Object, Match>& kind, const Schema& source,
                      const Schema& target) {
    if (!isOn(kind.enabled)) return;
    const auto enter = [&](const Object& object) {
      collector_.Entity(object.Name);
      collector_.Owner(object.Owner);
    };
    const Array<Object>& targets = target.*kind.objects;
    match<Match>(
        source.*kind.objects, targets, objectMemory_,
        [&](const Object& object, enumLocation location) {
          enter(object);
          addMissing({object.Name, kind.word, object.Name}, u"", location);
        },
        [&](const Object& sourceObject, const Object& targetObject) {
          enter(sourceObject);
          compareDetails(sourceObject, targetObject);
        });
    if (!targets.empty()) enter(targets[targets.count()]);
  }

  void compareDetails(const Table& source, const Table& target);
  void compareDetails(const View& source, const View& target);
  void compareDetails(const StoredProc& source, const StoredProc& target);
  void compareDetails(const CodeFunction& source, const CodeFunction& target);
  void compareDetails(const UDDT& source, const UDDT& target);
  void compareDetails(const Group& source, const Group& target);
  void compareDetails(const User& source, const User& target);

  template <class Object, class... Values>
  void compareCode(const CodeKind& kind, const Attributes<Column, Values...>& columnAttributes,
                   const Object& source, const Object& target);

  // Sub-entities of one kind: those on one side only are reported, those on both are handed to
  // `compareMatched` together with a function that reports a changed attribute.
  template <class SubEntity, class Match, class CompareMatched>
  void matchSubEntities(const SubEntityKind<SubEntity, Match>& kind, std::u16string_view object,
                        const Array<SubEntity>& source, const Array<SubEntity>& target,
                        CompareMatched&& compareMatched) {
    if (!isOn(kind.enabled)) return;
    const auto placeOf = [&](const SubEntity& one, std::u16string SubEntity::*path) {
      return Place{kind.entity ? std::u16string_view(one.**kind.entity) : object, kind.treeType,
                   object, one.*path};
    };
    match<Match>(
        source, target, subEntityMemory_,
        [&](const SubEntity& one, enumLocation location) {
          const bool onSource = location == location_Source;
          addMissing(placeOf(one, onSource ? kind.sourcePath : kind.targetPath), kind.missingLabel,
                     location);
        },
        [&](const SubEntity& sourceOne, const SubEntity& targetOne) {
          compareMatched(sourceOne, targetOne,
                         [&](std::u16string_view label, const Scalar& was, const Scalar& is) {
                           addChanged(placeOf(sourceOne, kind.sourcePath), label, was, is);
                         });
        });
  }

  // As above, where the matched are compared attribute by attribute.
  template <class SubEntity, class Match, class... Values>
  void compareSubEntities(const SubEntityKind<SubEntity, Match>& kind, std::u16string_view object,
                          const Array<SubEntity>& source, const Array<SubEntity>& target,
                          const Attributes<SubEntity, Values...>& attributes) {
    matchSubEntities(kind, object, source, target,
                     [&](const SubEntity& a, const SubEntity& b, const auto& report) {
                       compareAttributes(attributes, a, b, report);
                     });
  }

  // Walks two arrays: `missing` is called for what is on one side only, `matched` for each source
  // element and the first target element that matches it.
  template <class Match, class Record, class Missing, class Matched>
  void match(const Array<Record>& source, const Array<Record>& target, MatchMemory& memory,
             Missing&& missing, Matched&& matched) {
    FirstMatches<Match, Record> matches(target, mode_, memory);
    for (const Record& one : source) {
      if (const Record* other = matches.find(one)) {
        matched(one, *other);
      } else {
        missing(one, location_Source);
      }
    }
    matches.forEachNotFound([&](const Record& one) { missing(one, location_target); });
  }

  static bool sameValue(const std::u16string& a, const std::u16string& b) {
    return equalText(a, b, CaseMode::exact);
  }
  template <class Value>
  static bool sameValue(const Value& a, const Value& b) {
    return a == b;
  }

  template <class Record, class Value, class Report>
  static void compareAttribute(const Attribute<Record, Value>& attribute, const Record& source,
                               const Record& target, const Report& report) {
    const Value& was = source.*attribute.value;
    const Value& is = target.*attribute.value;
    if (!sameValue(was, is)) report(attribute.label, was, is);
  }
  template <class Record, class... Values, class Report>
  static void compareAttributes(const Attributes<Record, Values...>& attributes,
                                const Record& source, const Record& target, const Report& report) {
    std::apply(
        [&](const auto&... attribute) {
          (compareAttribute(attribute, source, target, report), ...);
        },
        attributes);
  }

  template <class Object>
  void compareOwner(std::u16string_view treeType, const Object& source, const Object& target) {
    if (!sameValue(source.Owner, target.Owner))
      addChanged({source.Name, treeType, source.Name}, u"Owner", source.Owner, target.Owner);
  }

  void compareSystemPermissions(Boolean cComparisonOptions::*enabled, std::u16string_view treeType,
                                std::u16string_view object, const Permission& source,
                                const Permission& target);

  // Whether two texts are equal when what the host's preferences ignore is left out of both.
  bool definitionEquals(std::u16string_view source, std::u16string_view target) const;

  bool isOn(Boolean cComparisonOptions::*option) const;
  void addMissing(const Place& place, std::u16string_view label, enumLocation location);
  void addChanged(const Place& place, std::u16string_view label, const Scalar& was,
                  const Scalar& is);
  void add(const Place& place, std::u16string_view label, enumLocation location,
           enumDiffType diffType, const Scalar& was, const Scalar& is);

  const cCompareSchema& engine_;
  cCompareDiff& collector_;
  const CaseMode mode_;
  MatchMemory objectMemory_;
  MatchMemory subEntityMemory_;
};

}  // namespace kelvane
