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

  bool answers(std::string_view wanted, const Caller& caller, std::uint64_t version) const {
    return name == wanted && uid == caller.uid && database == caller.database &&
           namesVersion == version;
  }
};

std::string_view lastPart(std::string_view name) {
  name = name.substr(name.rfind('.') + 1);
  return name.substr(0, name.find_last_not_of(' ') + 1);
}

// Tables of the same definition have the same id, below those of other objects.
std::optional<ObjectInfo> temporaryObject(const Session& session, const std::string& name) {
  const TemporaryTable* found = session.temporaries.find(name);
  if (found == nullptr) return std::nullopt;
  constexpr int kFirst = 1000, kSpan = 10'000'000;
  ObjectInfo object;
  object.id = kFirst + static_cast<int>(found->definition % kSpan);
  object.type = "U";
  object.name = name;
  return object;
}

}  // namespace

void registerLookupFunctions(Catalog& catalog, Running& running) {
  Database& store = catalog.store();
  const auto object = [&catalog, &running, last = std::make_shared<FoundObject>()](
                          const FunctionCall& call) -> const std::optional<ObjectInfo>& {
    const Caller& caller = *running.caller;
    // Temporary tables come and go without a change of the names of others.
    const std::string_view name = lastPart(call.text(0));
    if (name.starts_with('#')) {
      *last = {};
      last->object = temporaryObject(*running.session, std::string(name));
      return last->object;
    }
    if (!last->answers(call.text(0), caller, running.namesVersion)) {
      *last = {std::string(call.text(0)), caller.uid, caller.database, running.namesVersion,
               catalog.findObject(call.text(0), caller)};
    }
    return last->object;
  };
  store.addFunction("object_id_of", 1, FunctionKind::Fixed, [object](FunctionCall& call) {
    if (anyNull(call)) return;
    if (const auto& found = object(call)) call.result(found->id);
  });
  store.addFunction("index_column", 3, FunctionKind::Fixed, [object, &catalog](FunctionCall& call) {
    if (anyNull(call)) return;
    const auto& found = object(call);
    if (!found) return;
    const auto name = catalog.indexColumn(found->id, static_cast<int>(call.integer(1)),
                                          static_cast<int>(call.integer(2)));
    if (name) call.result(std::string_view(*name));
  });
  store.addFunction("index_order", 3, FunctionKind::Fixed, [object, &catalog](FunctionCall& call) {
    if (anyNull(call)) return;
    const auto& found = object(call);
    const int indid = static_cast<int>(call.integer(1));
    const int key = static_cast<int>(call.integer(2));
    if (!found || !catalog.indexColumn(found->id, indid, key)) return;
    const bool descending = catalog.isDescendingKey(found->id, indid, key);
    call.result(std::string_view(descending ? "DESC" : "ASC"));
  });
}

}  // namespace kelvane::embedded
