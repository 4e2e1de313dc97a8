#include "cli/object_kinds.h"

#include <algorithm>

#include "report/kind_words.h"

namespace kelvane::cli {
namespace {

constexpr auto kOfTable = std::to_array<SubKind>({
    {ID_COLUMN, "Columns", "columns", u"Name"},
    {ID_PRIMARY_KEY, "Primary key", "primaryKey", u"Columns"},
    {ID_FOREIGN_KEY, "Foreign keys", "foreignKeys", u"Columns"},
    {ID_INDEX, "Indexes", "indexes", u"Columns"},
    {ID_TRIGGER, "Triggers", "triggers", u"Name"},
});
constexpr auto kOfView = std::to_array<SubKind>({{ID_COLUMN, "Columns", "columns", u"Name"}});
constexpr auto kOfRoutine =
    std::to_array<SubKind>({{ID_COLUMN, "Parameters", "parameters", u"Name"}});
constexpr auto kOfUser = std::to_array<SubKind>({
    {ID_SYSTEM_PERMISSIONS, "Permissions to create", "systemPermissions", u"Name"},
    {ID_OBJECT_PERMISSIONS, "Permissions on objects", "objectPermissions", u"Object"},
});
constexpr auto kOfGroup = std::to_array<SubKind>({
    {ID_GROUP_USERS, "Members", "members", u"Name"},
    kOfUser[0],
    kOfUser[1],
});

template <auto Objects>
void forEach(const Schema& schema, const std::function<void(const ObjectName&)>& take) {
  for (const auto& object : schema.*Objects) take({object.Name, object.FullName});
}

}  // namespace

const std::array<ObjectKind, 7> kObjectKinds{{
    {wordOf(entity_TABLE), "Tables", u"Tables", ID_TABLE, entity_TABLE, u"", kOfTable,
     forEach<&Schema::Tables>},
    {wordOf(entity_VIEW), "Views", u"Views", ID_VIEW, entity_VIEW, u"view", kOfView,
     forEach<&Schema::Views>},
    {wordOf(entity_STOREDPROC), "Procedures", u"StoredProcs", ID_STOREDPROC, entity_STOREDPROC,
     u"storedproc", kOfRoutine, forEach<&Schema::StoredProcs>},
    {wordOf(entity_FUNCTION), "Functions", u"Functions", ID_Function, entity_FUNCTION, u"function",
     kOfRoutine, forEach<&Schema::Functions>},
    {wordOf(entity_USER), "Users", u"Users", ID_USER, entity_USER, u"", kOfUser,
     forEach<&Schema::Users>},
    {wordOf(entity_GROUP), "Groups", u"Groups", ID_GROUP, entity_GROUP, u"", kOfGroup,
     forEach<&Schema::Groups>},
    {wordOf(entity_UDDT),
     "Types",
     u"UDDTs",
     ID_UDDT,
     entity_UDDT,
     u"",
     {},
     forEach<&Schema::UDDTs>},
}};

const ObjectKind* objectKindOf(std::string_view word) {
  const auto found = std::ranges::find(kObjectKinds, word, &ObjectKind::word);
  return found == kObjectKinds.end() ? nullptr : &*found;
}

std::string objectKindWords() {
  std::string words;
  for (const ObjectKind& kind : kObjectKinds) {
    const bool last = &kind == &kObjectKinds.back();
    words += (words.empty() ? "" : last ? " or " : ", ") + std::string(kind.word);
  }
  return words;
}

}  // namespace kelvane::cli
