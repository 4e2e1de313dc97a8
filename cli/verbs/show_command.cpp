#include "cli/verbs/show_command.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "cli/screen/pager.h"
#include "cli/screen/text_table.h"
#include "cli/sides/database_reading.h"
#include "cli/verbs/listing.h"
#include "cli/words/one_side.h"
#include "cli/words/overwriting.h"
#include "cli/words/switch_arguments.h"
#include "inventory/browse/search.h"
#include "inventory/browse/sheet.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "report/json_writer.h"

namespace kelvane::cli {
namespace {

using inventory::FoundObject;
using inventory::Kind;
using inventory::Sheet;
using inventory::SheetList;
using inventory::SheetValue;

constexpr std::string_view kDescending = "--descending", kNumeric = "--numeric", kSort = "--sort",
                           kSource = "--source";

constexpr auto kOptions = std::to_array<Option>({
    {kDescending, "", "with --sort: largest first"},
    kListingFormat,
    {kNumeric, "", "with --sort: compare the numbers at the beginning of the values"},
    {kRowCounts, "", "include the numbers of rows"},
    {kSort, "LABEL", "sort the parts by what the tables have under this label, such as name"},
    {kSource, "", "write only the definition of OBJECT, exactly as stored"},
});

struct ShowRequest {
  OneSide side;
  std::optional<inventory::WantedObject> object;
  std::optional<inventory::SheetOrder> order;
  bool source = false;
  bool rowCounts = false;
  ListingFormat format = ListingFormat::text;
  std::optional<std::string> trace;
};

ShowRequest parseShow(const Arguments& arguments) {
  ShowRequest request{oneSide(arguments, "show", "OBJECT"),
                      {},
                      {},
                      arguments.has(kSource),
                      arguments.has(kRowCounts),
                      listingFormatOf(arguments),
                      arguments.value(kTrace)};
  refuseOverwriting(arguments, {&request.side.place, 1}, {.written = {kTrace}});
  if (request.side.further) request.object = inventory::wantedObject(*request.side.further);
  if (const auto label = arguments.value(kSort))
    request.order = {*label, arguments.has(kDescending), arguments.has(kNumeric)};
  for (const std::string_view option : {kSort, kSource}) {
    if (arguments.isGiven(option) && !request.object)
      throw UsageError(std::string(option) + " needs an OBJECT");
  }
  for (const std::string_view option : {kDescending, kNumeric}) {
    if (arguments.isGiven(option) && !request.order)
      throw UsageError(std::string(option) + " needs " + std::string(kSort));
  }
  if (request.source && (request.order || arguments.has(kListingFormat.name)))
    throw UsageError("--source writes plain text; it cannot be combined with --sort or --format");
  return request;
}

// What has to be read to answer; none: everything.
std::function<bool(Kind)> neededKinds(const std::optional<inventory::WantedObject>& object) {
  if (!object || !object->kind) return {};
  const Kind wanted = *object->kind;
  switch (wanted) {
    case Kind::user:
    case Kind::group:
    case Kind::role:
      return {};  // permissions are parts of what they are on
    case Kind::trigger:
    case Kind::check:
      return [](Kind kind) { return kind == Kind::table || kind == Kind::view; };
    default:
      return [wanted](Kind kind) { return kind == wanted; };
  }
}

void sortSheet(Sheet& sheet, const FoundObject& found, const inventory::SheetOrder& order) {
  if (sort(sheet, order)) return;
  std::string labels;
  for (const std::string_view label : labelsOf(sheet))
    labels += (labels.empty() ? "" : ", ") + std::string(label);
  throw CommandError({"no part of " + found.shown() + " has the label '" + order.label + "'" +
                      (labels.empty() ? "" : "; there are: " + labels)});
}

std::u16string cellOf(const SheetValue& value) { return shownCell(value.line()); }

std::string titleOf(const SheetList& list) {
  return capitalized(list.title) + " (" + std::to_string(list.rows.size()) + ")";
}

void writeRows(const SheetList& list, std::size_t indent, std::ostream& out) {
  std::vector<std::size_t> columns;
  std::vector<std::u16string> head;
  for (std::size_t at = 0; at < list.rows.front().values.size(); ++at) {
    if (!isDeclared(list, at)) continue;
    columns.push_back(at);
    head.push_back(toUtf16(list.rows.front().values[at].label));
  }
  TextTable table;
  if (head.size() > 1) table.add(std::move(head));
  for (const Sheet& row : list.rows) {
    std::vector<std::u16string> cells;
    cells.reserve(columns.size());
    for (const std::size_t at : columns) cells.push_back(cellOf(row.values[at]));
    table.add(std::move(cells));
  }
  table.write(out, indent);
}

// What a part is made of, below the table that it stands in.
void writeInner(const SheetList& list, std::ostream& out) {
  for (const Sheet& row : list.rows) {
    for (const SheetList& inner : row.lists) {
      const auto name = std::ranges::find(row.values, "name", &SheetValue::label);
      const std::string of = name == row.values.end() || name->text.empty()
                                 ? std::string(row.values.front().label)
                                 : toUtf8(shownCell(name->text));
      out << "\n" << titleOf(inner) << " of " << of << '\n';
      writeRows(inner, 2, out);
    }
  }
}

void writeText(const FoundObject& found, const Sheet& sheet, std::ostream& out) {
  out << rowOf(found.kind).singular << ' ' << toUtf8(shownCell(found.name));
  if (!found.of.empty()) out << " of " << toUtf8(shownCell(found.of));
  out << '\n';
  TextTable attributes;
  for (const SheetValue& value : sheet.values) {
    if (!value.text.empty()) attributes.add({toUtf16(value.label), cellOf(value)});
  }
  attributes.write(out, 2);
  for (const SheetList& list : sheet.lists) {
    out << '\n' << titleOf(list) << '\n';
    writeRows(list, 2, out);
    writeInner(list, out);
  }
}

void writeValues(const std::vector<SheetValue>& values, JsonWriter& writer) {
  for (const SheetValue& value : values) {
    if (value.text.empty()) continue;
    writer.key(value.label);
    switch (value.form) {
      case SheetValue::Form::flag:
        writer.value(value.text == inventory::shown(true));
        break;
      case SheetValue::Form::number:
        writer.value(std::stoll(value.text));
        break;
      case SheetValue::Form::list:
        writer.value(value.items);
        break;
      default:
        writer.value(std::string_view(value.text));
    }
  }
}

void writeLists(const std::vector<SheetList>& lists, JsonWriter& writer) {
  for (const SheetList& list : lists) {
    writer.key(list.title);
    writer.beginArray();
    for (const Sheet& row : list.rows) {
      writer.beginObject();
      writeValues(row.values, writer);
      writeLists(row.lists, writer);
      writer.endObject();
    }
    writer.endArray();
  }
}

void writeJson(const FoundObject& found, const Sheet& sheet, const std::string& side,
               const std::vector<std::string>& gaps, std::ostream& out) {
  JsonWriter writer(out);
  writer.beginObject();
  writeHead(side, gaps, writer);
  writer.member("kind", inventory::wordOf(found.kind));
  writer.member("name", std::string_view(found.name));
  if (!found.of.empty()) writer.member("of", std::string_view(found.of));
  writer.key("attributes");
  writer.beginObject();
  writeValues(sheet.values, writer);
  writer.endObject();
  writeLists(sheet.lists, writer);
  writer.endObject();
}

void writeSource(const FoundObject& found, std::vector<std::string>& gaps, std::ostream& out) {
  const inventory::Definition* const definition = definitionOf(found.record);
  if (definition == nullptr)
    throw CommandError({found.shown() +
                        " has no definition; views, procedures, functions, triggers, rules, "
                        "defaults and checks have one"});
  if (definition->text.empty()) {
    gaps.push_back("no definition was written");
  } else if (definition->state != inventory::Definition::State::whole) {
    gaps.push_back("the definition that was written is incomplete");
  }
  out << definition->text;
}

// Kinds without objects say nothing to who reads; programs find them in JSON.
void writeText(const ObjectListing& listing, std::ostream& out) {
  for (const auto& [kind, names] : listing.kinds) {
    if (names.empty()) continue;
    if (kind == Kind::database) {
      out << "Database " << toUtf8(shownCell(names.front())) << '\n';
      continue;
    }
    out << capitalized(rowOf(kind).plural) << " (" << names.size() << ")\n";
    for (const std::string& name : names) out << "  " << toUtf8(shownCell(name)) << '\n';
  }
}

void showObject(const ShowRequest& request, const inventory::Database& database,
                std::vector<std::string>& gaps, std::ostream& out) {
  const FoundObject found = [&] {
    try {
      return findObject(database, *request.object);
    } catch (const inventory::NotFound& error) {
      throw CommandError({error.what()});
    }
  }();
  if (request.source) return writeSource(found, gaps, out);
  Sheet sheet = sheetOf(found, database);
  if (request.order) sortSheet(sheet, found, *request.order);
  request.format == ListingFormat::json ? writeJson(found, sheet, request.side.shown, gaps, out)
                                        : writeText(found, sheet, out);
}

}  // namespace

std::vector<OptionFamily> showOptions() {
  return {oneSideOptions(), {"What is shown", kOptions}, readingOptions()};
}

ExitStatus runShow(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const ShowRequest request = parseShow(arguments);
  const std::vector<DatabaseReading> readings =
      readDatabases({{"side", request.side.place}},
                    {request.rowCounts, request.trace, neededKinds(request.object)}, console, open);
  std::vector<std::string> gaps = gapsOf(readings[0]);
  if (!request.object) {
    const ObjectListing listing =
        listingOf(readings[0], request.side.shown, [](Kind) { return true; });
    writePaged(console, [&](std::ostream& out) {
      request.format == ListingFormat::json ? writeJson(listing, out) : writeText(listing, out);
    });
    return tellGaps(gaps, console);
  }
  if (!readings[0].wasRead) {
    gaps.push_back("nothing is shown: the database was not read to its end");
    return tellGaps(gaps, console);
  }
  try {
    writePaged(console,
               [&](std::ostream& out) { showObject(request, readings[0].database, gaps, out); });
  } catch (const CommandError&) {
    // What was not read may be why.
    tellGaps(gaps, console);
    throw;
  }
  return tellGaps(gaps, console);
}

}  // namespace kelvane::cli
