// Look-ups of objects and index keys by name, which the catalog's queries ask in every row.

#include <memory>
#include <optional>
#include <string>

#include "drivers/embedded/engine/function_families.h"
#include "drivers/embedded/engine/session.h"

namespace kelvane::embedded {
namespace {

// The object looked up last: queries ask for the same one in every row.
struct FoundObject {
  std::string name;
  int uid = 0;
  std::string database;
  std::uint64_t namesVersion = 0;
  std::optional<ObjectInfo> object;

  bool answers(std::string_view wanted, int owner, const Caller& caller,
               std::uint64_t version) const {
    return name == wanted && uid == owner && database == caller.database && namesVersion == version;
  }
};

std::string_view lastPart(std::string_view name) {
  name = name.substr(name.rfind('.') + 1);
  return name.substr(0, name.find_last_not_of(' ') + 1);
}

std::optional<ObjectInfo> temporaryObject(const Session& session, const std::string& name) {
  const TemporaryTable* found = session.temporaries.find(name);
  if (found == nullptr) return std::nullopt;
  ObjectInfo object;
  object.id = found->id;
  object.type = "U";
  object.name = name;
  return object;
}

// (object, indid, key, owner or null): with an owner the name is a name, whatever stands in it.
constexpr int kOwnerArgument = 3;

bool hasKeyArguments(const FunctionCall& call) {
  return !call.isNull(0) && !call.isNull(1) && !call.isNull(2);
}

}  // namespace

void registerLookupFunctions(Catalog& catalog, Running& running) {
  Database& store = catalog.store();
  const auto find = [&catalog, &running, last = std::make_shared<FoundObject>()](
                        const FunctionCall& call,
                        std::optional<int> owner) -> const std::optional<ObjectInfo>& {
    const Caller& caller = *running.caller;
    // Temporary tables come and go without a change of the names of others.
    const std::string_view name = lastPart(call.text(0));
    if (name.starts_with('#')) {
      *last = {};
      last->object = temporaryObject(*running.session, std::string(name));
      return last->object;
    }
    constexpr int kNoOwner = -1'000'000;
    const int key = owner.value_or(kNoOwner + caller.uid);
    if (last->answers(call.text(0), key, caller, running.namesVersion)) return last->object;
    *last = {std::string(call.text(0)), key, caller.database, running.namesVersion, std::nullopt};
    const auto ownerName = owner ? catalog.userName(*owner) : std::nullopt;
    if (ownerName) {
      tsql::ObjectName whole;
      whole.owner = *ownerName;
      whole.name = call.text(0);
      last->object = catalog.findObject(whole, caller);
    }
    if (!last->object) last->object = catalog.findObject(call.text(0), caller);
    return last->object;
  };
  const auto keyObject = [find](const FunctionCall& call) -> const std::optional<ObjectInfo>& {
    if (call.isNull(kOwnerArgument)) return find(call, std::nullopt);
    return find(call, static_cast<int>(call.integer(kOwnerArgument)));
  };
  store.addFunction("object_id_of", 1, FunctionKind::Fixed, [find](FunctionCall& call) {
    if (anyNull(call)) return;
    if (const auto& found = find(call, std::nullopt)) call.result(found->id);
  });
  store.addFunction(
      "index_column", 4, FunctionKind::Fixed, [keyObject, &catalog](FunctionCall& call) {
        if (!hasKeyArguments(call)) return;
        const auto& found = keyObject(call);
        if (!found) return;
        const auto name = catalog.indexColumn(found->id, static_cast<int>(call.integer(1)),
                                              static_cast<int>(call.integer(2)));
        if (name) call.result(std::string_view(*name));
      });
  store.addFunction("index_order", 4, FunctionKind::Fixed,
                    [keyObject, &catalog](FunctionCall& call) {
                      if (!hasKeyArguments(call)) return;
                      const auto& found = keyObject(call);
                      const int indid = static_cast<int>(call.integer(1));
                      const int key = static_cast<int>(call.integer(2));
                      if (!found || !catalog.indexColumn(found->id, indid, key)) return;
                      const bool descending = catalog.isDescendingKey(found->id, indid, key);
                      call.result(std::string_view(descending ? "DESC" : "ASC"));
                    });
  // (id, database): ids are those of one database, also where no other one has them.
  store.addFunction("object_name_in", 2, FunctionKind::Fixed, [&catalog](FunctionCall& call) {
    if (anyNull(call)) return;
    const int id = static_cast<int>(call.integer(0));
    const auto object = catalog.objectById(id);
    if (!object || catalog.databaseId(catalog.databaseOf(id)) != call.integer(1)) return;
    call.result(std::string_view(object->name));
  });
  store.addFunction("column_name_in", 3, FunctionKind::Fixed, [&catalog](FunctionCall& call) {
    if (anyNull(call)) return;
    const int id = static_cast<int>(call.integer(0));
    if (!catalog.objectById(id)) return;
    if (catalog.databaseId(catalog.databaseOf(id)) != call.integer(2)) return;
    const auto name = catalog.columnName(id, static_cast<int>(call.integer(1)));
    if (name) call.result(std::string_view(*name));
  });
}

}  // namespace kelvane::embedded
