#include "drivers/embedded/engine/functions.h"

#include <limits>
#include <string>

#include "drivers/embedded/engine/function_families.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

std::int64_t nextIdentity(Database& store, Running& running, const std::string& table,
                          std::string_view column) {
  constexpr std::size_t kMostTables = 1000;
  if (running.identities.size() > kMostTables) running.identities.clear();
  Running::Identities& known = running.identities[table];
  if (known.statement != running.statement) {
    const bool goesOn = known.last != 0 && known.changes + known.given == store.totalChanges() &&
                        known.rollbacks == store.rollbacks() &&
                        known.namesVersion == running.namesVersion;
    if (!goesOn) {
      Statement highest = store.prepare("SELECT max(" + std::string(column) + ") FROM " + table);
      known.last = highest.step() ? highest.integer(0) : 0;
    }
    known = {known.last,          0, running.statement, store.totalChanges(), store.rollbacks(),
             running.namesVersion};
  }
  if (known.last == std::numeric_limits<std::int64_t>::max()) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  ++known.given;
  return ++known.last;
}

}  // namespace

Blob timestampOf(std::uint64_t count) {
  constexpr std::size_t kBytes = 8;
  Blob bytes(kBytes);
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, count >>= 8U) {
    *byte = static_cast<std::byte>(count & 0xFFU);
  }
  return bytes;
}

namespace {

void registerSession(Database& store, Running& running) {
  store.addFunction("quit_session", 0, FunctionKind::Volatile,
                    [](FunctionCall&) { throw ServerError(message::sessionEnded, kUnknownLine); });
  store.addFunction("current_variable", 1, FunctionKind::Volatile, [&running](FunctionCall& call) {
    const auto found = running.variables->find(call.text(0));
    if (found != running.variables->end()) call.result(found->second.value);
  });
  store.addFunction("set_variable", 2, FunctionKind::Volatile, [&running](FunctionCall& call) {
    const auto found = running.variables->find(call.text(0));
    if (found != running.variables->end()) found->second.value = call.cell(1);
    call.result(call.cell(1));
  });
  store.addFunction("is_set", -1, FunctionKind::Volatile,
                    [](FunctionCall& call) { call.result(1); });
  store.addFunction("next_timestamp", 2, FunctionKind::Volatile, [&running](FunctionCall& call) {
    if (!isNull(call.cell(1))) throw ServerError(message::timestampGiven, kUnknownLine);
    std::uint64_t& last = running.timestamps[static_cast<int>(call.integer(0))];
    call.result(timestampOf(++last));
  });
  // (table, column, the last value of its type, name of the type)
  store.addFunction("next_identity", 4, FunctionKind::Volatile,
                    [&store, &running](FunctionCall& call) {
                      const std::int64_t next =
                          nextIdentity(store, running, std::string(call.text(0)), call.text(1));
                      if (next > call.integer(2)) {
                        throw ServerError(message::conversionOverflow, kUnknownLine, "implicit",
                                          call.text(3), next, call.text(3));
                      }
                      running.lastIdentity = next;
                      call.result(next);
                    });
}

// Functions of the schema.
void registerSchema(Database& store, Running& running) {
  constexpr int kAnyCount = -1;
  store.addFunction(
      "schema_function", kAnyCount, FunctionKind::Volatile, [&running](FunctionCall& call) {
        Row arguments;
        for (int i = 1; i < call.count(); ++i) arguments.push_back(call.cell(i));
        call.result(running.call(*running.session, static_cast<int>(call.integer(0)), arguments));
      });
}

}  // namespace

void registerFunctions(Catalog& catalog, Running& running) {
  Database& store = catalog.store();
  registerValueFunctions(store, running);
  registerDecimalFunctions(store);
  registerTextFunctions(store);
  registerTextPartFunctions(store);
  registerNumberFunctions(store, running);
  registerDateFunctions(store, running);
  registerCatalogFunctions(catalog, running);
  registerLookupFunctions(catalog, running);
  registerSession(store, running);
  registerSchema(store, running);
}

}  // namespace kelvane::embedded
