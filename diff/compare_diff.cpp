#include "diff/compare_diff.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

#include "model/diff_parts.h"

namespace kelvane {
namespace {

constexpr std::u16string_view kLengthsDiffer =
    u"Array bounds are not identical, can't use this description";
constexpr std::u16string_view kNothingPassed = u"Nothing was passed in, can't use this description";
constexpr std::u16string_view kNeverHappens = u"THIS SHOULD NEVER HAPPEN";

// Up to this many entries a scan beats an index, and costs no memory.
constexpr std::int32_t kScanLimit = 8;

// What paths call the sub-entities that they lead to.
struct PartWord {
  std::u16string_view word;
  DiffPart part;
};
constexpr auto kPartWords = std::to_array<PartWord>({
    {u"column", DiffPart::column},
    {u"parameter", DiffPart::parameter},
    {u"primarykey", DiffPart::primaryKey},
    {u"foreignkey", DiffPart::foreignKey},
    {u"trigger", DiffPart::trigger},
    {u"index", DiffPart::index},
    {u"reference", DiffPart::reference},
    {u"systempermission", DiffPart::systemPermission},
    {u"objectpermission", DiffPart::objectPermission},
    {u"user", DiffPart::member},
});

enum class KeyedBy { ownerAndName, name };
enum class KeepsOwner : bool { no, yes };

// What paths call the top-level entities of one kind, and how these are told apart.
template <class Entity>
struct Kind : DiffObjects<Entity> {
  std::u16string_view word;
  KeyedBy key = KeyedBy::ownerAndName;
  KeepsOwner owner = KeepsOwner::yes;
};

constexpr std::tuple kKinds{
    Kind<diffTable>{kDiffObjects<diffTable>, u"table"},
    Kind<diffView>{kDiffObjects<diffView>, u"view"},
    Kind<diffStoredProc>{kDiffObjects<diffStoredProc>, u"storedproc"},
    Kind<diffFunction>{kDiffObjects<diffFunction>, u"function"},
    Kind<diffUDDT>{kDiffObjects<diffUDDT>, u"uddt"},
    Kind<diffUser>{kDiffObjects<diffUser>, u"user", KeyedBy::name, KeepsOwner::no},
    Kind<diffGroup>{kDiffObjects<diffGroup>, u"role", KeyedBy::name},
};

// The position of the first record whose `field` is `wanted`, or 0. `index` is the one that serves
// these records, this field and this mode; it first takes in what was appended since it was asked.
template <class Record>
std::int32_t firstMatch(const Array<Record>& records, std::u16string Record::*field,
                        std::u16string_view wanted, CaseMode mode, FirstMatchIndex& index) {
  const auto isAt = [&](std::u16string_view text) {
    return [&, text](std::int32_t at) { return equalText(records[at].*field, text, mode); };
  };
  while (index.count() < records.count()) {
    const std::u16string& next = records[index.count() + 1].*field;
    index.add(hashText(next, mode), isAt(next));
  }
  return index.find(hashText(wanted, mode), isAt(wanted));
}

}  // namespace

void cCompareDiff::Add(std::u16string_view /*Entity*/, std::u16string_view SubEntityType,
                       std::u16string_view EntityTreeType, std::u16string_view EntityTreeDef,
                       enumLocation Location, enumDiffType DiffType, const Scalar& DataOnSource,
                       const Scalar& DataOnTarget) {
  const std::vector<std::u16string_view> types = split(EntityTreeType, u'\\');
  const std::vector<std::u16string_view> names = split(EntityTreeDef, u'\\');
  if (types.size() != names.size()) return host_->MessageBox(kLengthsDiffer, MessageIcon::none);
  if (types.empty()) return host_->MessageBox(kNothingPassed, MessageIcon::none);

  typeDiff diff;
  diff.SubEntityType = SubEntityType;
  diff.Location = Location;
  diff.DiffType = DiffType;
  diff.DataOnSource = DataOnSource.text();
  diff.DataOnTarget = DataOnTarget.text();

  static_assert(std::tuple_size_v<decltype(kKinds)> == kKindCount);
  std::uint64_t kindNumber = 0;
  const auto addIfKind = [&](const auto& kind) {
    if (compareLowerCase(types.front(), kind.word) != 0) {
      ++kindNumber;
      return false;
    }
    addTo(kind, kindNumber, types, names, std::move(diff));
    return true;
  };
  const bool known =
      std::apply([&](const auto&... kind) { return (addIfKind(kind) || ...); }, kKinds);
  if (!known) host_->MessageBox(kNeverHappens, MessageIcon::none);
}

template <template <class> class Kind, class EntityRecord>
void cCompareDiff::addTo(const Kind<EntityRecord>& kind, std::uint64_t kindNumber,
                         const Path& types, const Path& names, typeDiff&& diff) {
  const std::int32_t at = findOrCreate(kind, kindNumber, names.front());
  Array<EntityRecord>& entities = result_.*kind.objects;
  const auto record = [&diff](auto& entity) {
    entity.Diff.append(std::move(diff));
    ++entity.DiffCount;
  };
  if (types.size() == 1) return entities.edit(at, record);

  const auto& routes = kDiffParts<EntityRecord>;
  if (routes.empty()) return host_->MessageBox(kNeverHappens, MessageIcon::none);
  const auto word = std::ranges::find_if(kPartWords, [&](const PartWord& candidate) {
    return compareLowerCase(types[1], candidate.word) == 0;
  });
  if (word == kPartWords.end()) return;
  const auto route = std::ranges::find(routes, word->part, &DiffParts<EntityRecord>::part);
  if (route == routes.end()) return;

  const std::u16string_view name = names[1];
  const auto routeNumber = static_cast<std::uint64_t>(route - routes.begin());
  const std::uint64_t arrayNumber =
      kindNumber << 40 | routeNumber << 32 | static_cast<std::uint32_t>(at);
  std::int32_t position =
      findSubEntity(std::as_const(entities)[at].*route->entities, name, arrayNumber);
  entities.edit(at, [&](EntityRecord& entity) {
    Array<diffEntity>& subEntities = entity.*route->entities;
    if (position == 0) {
      diffEntity created;
      created.Name = name;
      subEntities.append(std::move(created));
      position = ++(entity.*route->count);
    }
    subEntities.edit(position, record);
  });
}

template <template <class> class Kind, class EntityRecord>
std::int32_t cCompareDiff::findOrCreate(const Kind<EntityRecord>& kind, std::uint64_t kindNumber,
                                        std::u16string_view name) {
  std::u16string fullName(name);
  if (kind.key == KeyedBy::ownerAndName) fullName.insert(0, u".").insert(0, owner_);

  Array<EntityRecord>& entities = result_.*kind.objects;
  EntityIndexes& indexes = entityIndexes_[static_cast<std::size_t>(kindNumber)];
  const std::int32_t found = isSchemaCaseSensitive_
                                 ? firstMatch(std::as_const(entities), &EntityRecord::FullName,
                                              fullName, CaseMode::exact, indexes.exact)
                                 : firstMatch(std::as_const(entities), &EntityRecord::FullName,
                                              fullName, CaseMode::ignore, indexes.ignoringCase);
  if (found != 0) return found;

  EntityRecord created;
  created.Name = name;
  if (kind.owner == KeepsOwner::yes) created.Owner = owner_;
  created.FullName = std::move(fullName);
  entities.append(std::move(created));
  return ++(result_.*kind.count);
}

std::int32_t cCompareDiff::findSubEntity(const Array<diffEntity>& entities,
                                         std::u16string_view name, std::uint64_t arrayNumber) {
  if (entities.count() > kScanLimit)
    return firstMatch(entities, &diffEntity::Name, name, CaseMode::exact,
                      subEntityIndexes_[arrayNumber]);
  std::int32_t position = 0;
  for (const diffEntity& entity : entities) {
    ++position;
    if (entity.Name == name) return position;
  }
  return 0;
}

}  // namespace kelvane
