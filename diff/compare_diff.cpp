#include "diff/compare_diff.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

namespace kelvane {
namespace {

constexpr std::u16string_view kLengthsDiffer =
    u"Array bounds are not identical, can't use this description";
constexpr std::u16string_view kNothingPassed = u"Nothing was passed in, can't use this description";
constexpr std::u16string_view kNeverHappens = u"THIS SHOULD NEVER HAPPEN";

// Up to this many entries a scan beats an index, and costs no memory.
constexpr std::int32_t kScanLimit = 8;

// Where the sub-entities of one kind are kept.
template <class Entity>
struct SubEntities {
  std::u16string_view word;
  Array<diffEntity> Entity::*entities;
  std::int32_t Entity::*count;
};

template <class Entity>
inline constexpr std::array<SubEntities<Entity>, 0> kSubEntities{};
template <>
inline constexpr auto kSubEntities<diffTable> = std::to_array<SubEntities<diffTable>>({
    {u"column", &diffTable::Columns, &diffTable::ColumnCount},
    {u"primarykey", &diffTable::PrimaryKey, &diffTable::PrimaryKeyCount},
    {u"foreignkey", &diffTable::ForeignKey, &diffTable::ForeignKeyCount},
    {u"trigger", &diffTable::Triggers, &diffTable::TriggerCount},
    {u"index", &diffTable::Indexes, &diffTable::IndexCount},
    {u"reference", &diffTable::References, &diffTable::ReferenceCount},
});
template <>
inline constexpr auto kSubEntities<diffView> = std::to_array<SubEntities<diffView>>({
    {u"column", &diffView::Columns, &diffView::ColumnCount},
});
template <>
inline constexpr auto kSubEntities<diffStoredProc> = std::to_array<SubEntities<diffStoredProc>>({
    {u"parameter", &diffStoredProc::Columns, &diffStoredProc::ColumnCount},
});
template <>
inline constexpr auto kSubEntities<diffFunction> = std::to_array<SubEntities<diffFunction>>({
    {u"parameter", &diffFunction::Columns, &diffFunction::ColumnCount},
});
template <>
inline constexpr auto kSubEntities<diffUser> = std::to_array<SubEntities<diffUser>>({
    {u"systempermission", &diffUser::SystemPermissions, &diffUser::SystemPermissionCount},
    {u"objectpermission", &diffUser::ObjectPermissions, &diffUser::ObjectPermissionCount},
});
template <>
inline constexpr auto kSubEntities<diffGroup> = std::to_array<SubEntities<diffGroup>>({
    {u"systempermission", &diffGroup::SystemPermissions, &diffGroup::SystemPermissionCount},
    {u"objectpermission", &diffGroup::ObjectPermissions, &diffGroup::ObjectPermissionCount},
    {u"user", &diffGroup::Users, &diffGroup::UserCount},
});

enum class KeyedBy { ownerAndName, name };
enum class KeepsOwner : bool { no, yes };

// Where the top-level entities of one kind are kept, and how they are told apart.
template <class Entity>
struct Kind {
  std::u16string_view word;
  Array<Entity> diffSchema::*entities;
  std::int32_t diffSchema::*count;
  KeyedBy key = KeyedBy::ownerAndName;
  KeepsOwner owner = KeepsOwner::yes;
};

constexpr std::tuple kKinds{
    Kind<diffTable>{u"table", &diffSchema::Tables, &diffSchema::TableCount},
    Kind<diffView>{u"view", &diffSchema::Views, &diffSchema::ViewCount},
    Kind<diffStoredProc>{u"storedproc", &diffSchema::StoredProcs, &diffSchema::StoredProcCount},
    Kind<diffFunction>{u"function", &diffSchema::Functions, &diffSchema::FunctionCount},
    Kind<diffUDDT>{u"uddt", &diffSchema::UDDTs, &diffSchema::UDDTCount},
    Kind<diffUser>{u"user", &diffSchema::Users, &diffSchema::UserCount, KeyedBy::name,
                   KeepsOwner::no},
    Kind<diffGroup>{u"role", &diffSchema::Groups, &diffSchema::GroupCount, KeyedBy::name},
};

// Whether `text` is `word`, which is in lower case, in whatever letter case.
bool isWord(std::u16string_view text, std::u16string_view word) {
  return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char16_t a, char16_t b) {
    return (a >= u'A' && a <= u'Z' ? a + (u'a' - u'A') : a) == b;
  });
}

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
    if (!isWord(types.front(), kind.word)) {
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
  Array<EntityRecord>& entities = result_.*kind.entities;
  const auto record = [&diff](auto& entity) {
    entity.Diff.append(std::move(diff));
    ++entity.DiffCount;
  };
  if (types.size() == 1) return entities.edit(at, record);

  const auto& routes = kSubEntities<EntityRecord>;
  if (routes.empty()) return host_->MessageBox(kNeverHappens, MessageIcon::none);
  const auto route = std::find_if(routes.begin(), routes.end(), [&](const auto& candidate) {
    return isWord(types[1], candidate.word);
  });
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

  Array<EntityRecord>& entities = result_.*kind.entities;
  EntityIndexes& indexes = entityIndexes_[kindNumber];
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
