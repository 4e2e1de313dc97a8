// What functions tell about the catalog and the session, and what they say when nobody can know.

#include <array>
#include <cstdio>
#include <optional>
#include <random>
#include <string>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/function_families.h"
#include "drivers/embedded/engine/session.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

[[noreturn]] void refuseUnknown(const std::string& name) {
  throw ServerError(message::valueUnknown, kUnknownLine, name, (name.ends_with(')') ? "" : "()"));
}

void ungroupedColumn(FunctionCall& call) {
  if (call.text(0).empty()) throw ServerError(message::groupByAll, kUnknownLine);
  throw ServerError(message::columnBesideAggregates, kUnknownLine, call.text(0));
}

void unknownValue(FunctionCall& call) { refuseUnknown(std::string(call.text(0))); }

void rowsAsXml(FunctionCall&) {
  throw ServerError(message::cannotExecute, kUnknownLine, "select ... for xml");
}

// sizes

std::optional<ObjectInfo> tableOf(Catalog& catalog, int id) {
  auto object = catalog.objectById(id);
  if (object && object->sqliteTable.empty()) object.reset();
  return object;
}

void rowsOf(FunctionCall& call, Catalog& catalog) {
  if (anyNull(call)) return call.result(0);
  const auto table = tableOf(catalog, static_cast<int>(call.integer(0)));
  if (!table) return call.result(0);
  Statement count = catalog.store().prepare("SELECT count(*) FROM " + table->sqliteTable);
  call.result(count.step() ? count.integer(0) : 0);
}

std::size_t sizeOf(const Cell& cell) {
  if (const auto* text = std::get_if<std::string>(&cell)) return text->size();
  if (const auto* bytes = std::get_if<Blob>(&cell)) return bytes->size();
  constexpr std::size_t kNumber = 8;
  return isNull(cell) ? 0 : kNumber;
}

// (table, index or null): how many pages its rows would fill, one of them even when there are none.
void pagesOf(FunctionCall& call, Catalog& catalog) {
  constexpr std::size_t kPage = 2048;
  const auto table =
      call.isNull(0) ? std::nullopt : tableOf(catalog, static_cast<int>(call.integer(0)));
  if (!table) return call.result(0);
  constexpr std::int64_t kFirstIndex = 2;
  if (!call.isNull(1) && call.integer(1) >= kFirstIndex) refuseUnknown("data_pages");
  std::size_t size = 0;
  Statement rows = catalog.store().prepare("SELECT * FROM " + table->sqliteTable);
  while (rows.step()) {
    for (int i = 0; i < rows.columnCount(); ++i) size += sizeOf(rows.cell(i));
  }
  call.result(std::max<std::int64_t>(1, static_cast<std::int64_t>((size + kPage - 1) / kPage)));
}

// (table, 1 for the next value, 0 for the last one)
void identityOf(FunctionCall& call, Catalog& catalog, const Running& running) {
  if (anyNull(call)) return;
  const auto table = catalog.findObject(call.text(0), *running.caller);
  if (!table || table->sqliteTable.empty()) return;
  const auto columns = catalog.columns(table->id);
  const bool has =
      std::ranges::any_of(columns, [](const ColumnInfo& c) { return c.type.identity; });
  if (!has) return;
  const std::int64_t value = catalog.nextIdentity(table->id) - (call.integer(1) != 0 ? 0 : 1);
  call.result(std::string_view(std::to_string(value)));
}

// application contexts

constexpr std::string_view kSystemContext = "SYS_SESSION";

Cell sessionFact(const Session& session, std::string_view attribute) {
  const Client& client = session.client();
  Catalog& catalog = session.server.catalog;
  const auto number = [](std::optional<int> id) { return id ? Cell(std::to_string(*id)) : Cell(); };
  if (attribute == "username") return session.login();
  if (attribute == "hostname") return client.host;
  if (attribute == "applname") return client.application;
  if (attribute == "dbname") return session.caller.database;
  if (attribute == "dbid") return number(catalog.databaseId(session.caller.database));
  if (attribute == "userid") return number(session.caller.uid);
  if (attribute == "suserid") return number(catalog.loginId(session.login()));
  if (attribute == "language") return std::string("us_english");
  if (attribute == "dateformat") return std::string("mdy");
  if (attribute == "is_showplan_on" || attribute == "is_noexec_on") return std::string("0");
  return {};
}

std::pair<std::string, std::string> contextKey(const FunctionCall& call) {
  return {std::string(call.text(0)), std::string(call.text(1))};
}

void registerContexts(Database& store, Running& running) {
  constexpr int kDone = 0, kFailed = -1;
  store.addFunction("context_value", 2, FunctionKind::Volatile, [&running](FunctionCall& call) {
    if (anyNull(call)) return;
    if (call.text(0) == kSystemContext) {
      return call.result(sessionFact(*running.session, call.text(1)));
    }
    const auto found = running.session->contexts.find(contextKey(call));
    if (found != running.session->contexts.end()) call.result(std::string_view(found->second));
  });
  store.addFunction("set_context", 3, FunctionKind::Volatile, [&running](FunctionCall& call) {
    const bool isNew = !anyNull(call) && call.text(0) != kSystemContext &&
                       running.session->contexts.try_emplace(contextKey(call), call.text(2)).second;
    call.result(isNew ? kDone : kFailed);
  });
  store.addFunction("remove_context", 2, FunctionKind::Volatile, [&running](FunctionCall& call) {
    if (anyNull(call)) return call.result(kFailed);
    const auto wanted = contextKey(call);
    const auto removed = std::erase_if(running.session->contexts, [&](const auto& entry) {
      return entry.first.first == wanted.first &&
             (wanted.second == "*" || entry.first.second == wanted.second);
    });
    call.result(removed > 0 ? kDone : kFailed);
  });
}

// (0 or null: 32 digits; -1: with dashes; 0x0: the bytes; another flag: null)
void newId(FunctionCall& call) {
  std::random_device source;
  Blob bytes;
  constexpr std::size_t kLength = 16;
  while (bytes.size() < kLength) bytes.push_back(static_cast<std::byte>(source() & 0xFF));
  const Cell flag = call.cell(0);
  if (std::holds_alternative<Blob>(flag)) return call.result(Cell(bytes));
  const std::int64_t form = isNull(flag) ? 0 : call.integer(0);
  std::string digits = hexDigits(bytes);
  if (form == -1) {
    for (const std::size_t at : {8U, 13U, 18U, 23U}) digits.insert(at, 1, '-');
  } else if (form != 0) {
    return;
  }
  call.result(std::string_view(digits));
}

// The condition tsequal(): ends the statement when the row has changed since it was read.
void sameTimestamp(FunctionCall& call) {
  if (anyNull(call) || call.cell(0) == call.cell(1)) return call.result(1);
  const Cell now = call.cell(0);
  const auto* bytes = std::get_if<Blob>(&now);
  throw ServerError(message::rowTimestampChanged, kUnknownLine,
                    (bytes == nullptr ? std::string() : hexDigits(*bytes)));
}

}  // namespace

void registerCatalogFunctions(Catalog& catalog, Running& running) {
  Database& store = catalog.store();
  constexpr int kAnyCount = -1;
  store.addFunction("ungrouped_column", 1, FunctionKind::Fixed, ungroupedColumn);
  store.addFunction("rows_as_xml", 0, FunctionKind::Volatile, rowsAsXml);
  store.addFunction("unknown_value", kAnyCount, FunctionKind::Volatile, unknownValue);
  store.addFunction("new_id", 1, FunctionKind::Volatile, newId);
  store.addFunction("same_timestamp", 2, FunctionKind::Volatile, sameTimestamp);
  store.addFunction("rows_of", 1, FunctionKind::Volatile,
                    [&catalog](FunctionCall& call) { rowsOf(call, catalog); });
  store.addFunction("pages_of", 2, FunctionKind::Volatile,
                    [&catalog](FunctionCall& call) { pagesOf(call, catalog); });
  store.addFunction(
      "identity_of", 2, FunctionKind::Volatile,
      [&catalog, &running](FunctionCall& call) { identityOf(call, catalog, running); });
  registerContexts(store, running);
}

}  // namespace kelvane::embedded
