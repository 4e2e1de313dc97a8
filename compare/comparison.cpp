#include "compare/comparison.h"

#include <algorithm>

#include "model/runtime_error.h"

namespace kelvane {
namespace {

template <class Object>
using ByNameAndOwner = MatchedBy<&Object::Name, &Object::Owner>;

using Options = cComparisonOptions;

constexpr ObjectKind kTables{&Schema::Tables, &Options::Tables, u"Table", ByNameAndOwner<Table>{}};
constexpr ObjectKind kViews{&Schema::Views, &Options::Views, u"View", ByNameAndOwner<View>{}};
constexpr ObjectKind kStoredProcs{&Schema::StoredProcs, &Options::StoredProcs, u"StoredProc",
                                  ByNameAndOwner<StoredProc>{}};
constexpr ObjectKind kFunctions{&Schema::Functions, &Options::Functions, u"Function",
                                ByNameAndOwner<CodeFunction>{}};
constexpr ObjectKind kUserTypes{&Schema::UDDTs, &Options::UDDTs, u"UDDT", ByNameAndOwner<UDDT>{}};
// Roles and users are the same ones whoever owns them.
constexpr ObjectKind kRoles{&Schema::Groups, &Options::Groups, u"Role", MatchedBy<&Group::Name>{}};
constexpr ObjectKind kUsers{&Schema::Users, &Options::Users, u"User", MatchedBy<&User::Name>{}};

// Which characters of a definition do not count.
struct Ignored {
  bool tabs;
  bool spaces;
  bool lineBreaks;

  bool operator()(char16_t unit) const {
    return (tabs && unit == u'\t') || (spaces && unit == u' ') ||
           (lineBreaks && (unit == u'\r' || unit == u'\n'));
  }
};

}  // namespace

void Comparison::run(const Schema& source, const Schema& target) {
  compareObjects(kTables, source, target);
  compareObjects(kViews, source, target);
  compareObjects(kStoredProcs, source, target);
  compareObjects(kFunctions, source, target);
  compareObjects(kUserTypes, source, target);
  compareObjects(kRoles, source, target);
  compareObjects(kUsers, source, target);
}

bool Comparison::definitionEquals(std::u16string_view source, std::u16string_view target) const {
  const AppPreferences* preferences = engine_.AppPreferences;
  if (!preferences)
    throw RuntimeError(ErrorNumber::notSet,
                       u"AppPreferences is not set; it is needed to compare definitions");
  const Ignored ignored{preferences->IgnoreTabs(), preferences->IgnoreSpaces(),
                        preferences->IgnoreLineBreaks()};
  if (equalText(source, target, CaseMode::exact)) return true;
  auto a = source.begin();
  auto b = target.begin();
  for (;;) {
    a = std::find_if_not(a, source.end(), ignored);
    b = std::find_if_not(b, target.end(), ignored);
    if (a == source.end() || b == target.end()) return a == source.end() && b == target.end();
    if (*a++ != *b++) return false;
  }
}

bool Comparison::isOn(Boolean cComparisonOptions::*option) const {
  if (!engine_.CompareOptions)
    throw RuntimeError(ErrorNumber::notSet, u"CompareOptions was taken away during Compare");
  return (*engine_.CompareOptions).*option;
}

void Comparison::addMissing(const Place& place, std::u16string_view label, enumLocation location) {
  add(place, label, location, diff_DoesNotExist, {}, {});
}

void Comparison::addChanged(const Place& place, std::u16string_view label, const Scalar& was,
                            const Scalar& is) {
  add(place, label, location_Source, diff_Different, was, is);
}

void Comparison::add(const Place& place, std::u16string_view label, enumLocation location,
                     enumDiffType diffType, const Scalar& was, const Scalar& is) {
  std::u16string treeDef(place.object);
  if (place.path) treeDef.append(u"\\").append(*place.path);
  collector_.Add(place.entity, label, place.treeType, treeDef, location, diffType, was, is);
}

}  // namespace kelvane
