#include "cli/verbs/data_export.h"

#include <algorithm>
#include <array>
#include <compare>
#include <optional>
#include <utility>

#include "cli/screen/folder_file.h"
#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/reading.h"
#include "cli/verbs/data_progress.h"
#include "cli/verbs/keyed_data.h"
#include "cli/verbs/listing.h"
#include "cli/verbs/row_file_names.h"
#include "cli/verbs/row_folder.h"
#include "cli/words/overwriting.h"
#include "cli/words/row_file_paths.h"
#include "inventory/name_pattern.h"
#include "model/text.h"
#include "rows/row_file_writer.h"
#include "rows/row_sorter.h"
#include "rows/row_stream.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Table;

constexpr auto kFormats = std::to_array<Choice<rows::RowFormat>>({
    {"csv", rows::RowFormat::csv},
    {"jsonl", rows::RowFormat::jsonLines},
    {"bcp", rows::RowFormat::bcp},
});
constexpr std::size_t kMostBytes = 64U << 20U;

struct ExportRequest {
  Place place;
  std::string folder;
  rows::RowFileForm form;
  std::vector<std::u16string> patterns;
  std::optional<std::string> trace;
};

ExportRequest parseExport(const Arguments& arguments, std::vector<std::u16string> patterns) {
  const SideOptions& side = kTwoSides[0];
  const SideOptions& other = kTwoSides[1];
  for (const std::string_view option :
       {other.server, other.user, other.database, other.passwordFile}) {
    if (arguments.has(option))
      throw UsageError(std::string(kExport) + " writes the rows of one side; " +
                       std::string(option) + " is of a second one");
  }
  if (arguments.parting || arguments.operands.empty() != arguments.has(side.server))
    throw UsageError(std::string(kExport) + " needs one SIDE or " + std::string(side.server));
  if (const auto files = std::ranges::find_if(arguments.operands, isRowFiles);
      files != arguments.operands.end())
    throw UsageError("'" + *files + "' already contains rows; " + std::string(kExport) +
                     " is for databases");
  ExportRequest request{placeOf(arguments, arguments.operands, side, readingSettings(arguments)),
                        *arguments.value(kExport), rowFileFormOf(arguments), std::move(patterns),
                        arguments.value(kTrace)};
  if (std::holds_alternative<SnapshotPlace>(request.place))
    throw UsageError("'" + nameOf(request.place, arguments.operands) +
                     "' is a snapshot and contains no rows; name the database instead");
  // What is said elsewhere is the format of reports.
  if (arguments.isGiven(kListingFormat.name))
    request.form.format = choiceOf<kFormats>(arguments, kListingFormat.name, rows::RowFormat::csv);
  refuseOverwriting(arguments, {&request.place, 1}, {.written = {kTrace, kExport}});
  return request;
}

class Export {
 public:
  Export(const ExportRequest& request, const Database& database, TracingConnection& connection,
         std::stop_token stop)
      : request_(request), database_(database), connection_(connection), stop_(std::move(stop)) {}

  // What could not be written, a line each.
  std::vector<std::string> run(StatusLine& line, bool isWhole, const Console& console) {
    chooseTables();
    const std::vector<std::string> names = fileNames();
    RowFolder folder(request_.folder, names);
    std::vector<ExpectedTable> expected;
    expected.reserve(tables_.size());
    for (const Table* table : tables_)
      expected.push_back({toUtf16(shownName(*table)), table->rowCount});
    DataProgress progress(line, std::move(expected));
    for (std::size_t at = 0; at < tables_.size() && !isOver(); ++at) {
      progress.tableBegins(at);
      try {
        write(*tables_[at], folder.path(names[at]), progress);
      } catch (const RuntimeError& error) {
        fail(*tables_[at], toUtf8(error.Description()));
      } catch (const std::runtime_error& error) {
        fail(*tables_[at], error.what());
      }
      progress.tableEnds(at);
    }
    const bool isAll = isWhole && !isOver() && gaps_.empty() && request_.patterns.empty();
    folder.finish(isAll, console);
    return std::move(gaps_);
  }

 private:
  static std::string shownName(const Table& table) {
    return table.name.owner == "dbo" ? table.name.name : table.name.owner + "." + table.name.name;
  }
  bool isOver() const { return stop_.stop_requested() || connection_.isOver(); }
  void fail(const Table& table, const std::string& reason) {
    if (!stop_.stop_requested())
      gaps_.push_back("table " + shownName(table) + " was not written: " + reason);
  }

  void chooseTables() {
    std::vector<bool> used(request_.patterns.size());
    for (const Table& table : database_.tables) {
      bool isWanted = request_.patterns.empty();
      for (std::size_t at = 0; at < used.size(); ++at) {
        const std::u16string name = toUtf16(table.name.name);
        if (!inventory::matchesPattern(name, request_.patterns[at]) &&
            !inventory::matchesPattern(toUtf16(table.name.owner) + u"." + name,
                                       request_.patterns[at]))
          continue;
        isWanted = used[at] = true;
      }
      if (isWanted) tables_.push_back(&table);
    }
    std::vector<std::string> unused;
    for (std::size_t at = 0; at < used.size(); ++at) {
      if (!used[at]) unused.push_back("no table matches '" + toUtf8(request_.patterns[at]) + "'");
    }
    if (!unused.empty()) throw CommandError(std::move(unused));
  }

  // As all tables have them: a pattern changes no name.
  std::vector<std::string> fileNames() const {
    std::vector<inventory::QualifiedName> tables;
    tables.reserve(database_.tables.size());
    for (const Table& table : database_.tables) tables.push_back(table.name);
    const std::vector<std::string> all = rowFileNames(tables);
    std::vector<std::string> names;
    names.reserve(tables_.size());
    for (const Table* table : tables_)
      names.push_back(all[static_cast<std::size_t>(table - database_.tables.data())] + "." +
                      std::string(endingOf(request_.form.format)));
    return names;
  }

  // Rows in the order of the key where that is the same on every server, otherwise in that of the
  // packed values.
  void write(const Table& table, const std::filesystem::path& path, DataProgress& progress) {
    rows::TablePlan plan = rows::planOf({database_, table}, {database_, table});
    const bool sorts = !plan.pairing.isOrdered;
    if (sorts) plan.selects[0].ordered = 0;
    if (plan.selects[0].needsQuotedIdentifier)
      connection_.Open(u"set quoted_identifier on", ado::kClientCursor);
    FolderFile file(path);
    rows::RowFileWriter writer(file.stream(), request_.form, columnsOf(table, plan));
    const std::vector<std::size_t> order = orderOf(table, plan);
    const auto writeRow = [&](std::string_view row) {
      const std::vector<rows::Cell> cells = plan.cellsOf(row);
      std::vector<rows::Cell> ordered;
      ordered.reserve(cells.size());
      for (const std::size_t at : order) ordered.push_back(cells[at]);
      writer.write(ordered);
    };
    rows::RowSorter sorter(kMostBytes);
    {
      rows::RowStream stream(
          [&] {
            return rows::openStatement(connection_, plan.selects[0].text(), plan.columns.size());
          },
          plan.layout());
      std::string last;
      while (stream.next()) {
        if (stop_.stop_requested()) return;
        progress.rowPassed();
        if (sorts) {
          sorter.add(stream.row().cells);
          continue;
        }
        if (stream.rows() > 1 && std::is_gt(rows::orderOf(last, stream.row().key)))
          throw std::runtime_error("the rows do not come in the order of their key");
        last = stream.row().key;
        writeRow(stream.row().cells);
      }
    }
    sorter.forEach(writeRow);
    if (!stop_.stop_requested()) file.close();
  }

  // In the order of the table, where the plan has the key first.
  static std::vector<std::size_t> orderOf(const Table& table, const rows::TablePlan& plan) {
    std::vector<std::size_t> order;
    for (const inventory::Column& column : table.columns) {
      const auto found = std::ranges::find(plan.sourceColumns, &column);
      if (found != plan.sourceColumns.end())
        order.push_back(static_cast<std::size_t>(found - plan.sourceColumns.begin()));
    }
    return order;
  }
  std::vector<rows::FileColumn> columnsOf(const Table& table, const rows::TablePlan& plan) const {
    std::vector<rows::FileColumn> columns;
    for (const std::size_t at : orderOf(table, plan)) {
      const inventory::Column& column = *plan.sourceColumns[at];
      columns.push_back(
          {column.name, rows::valueTypeOf(rows::storedType(database_, column.type.type))});
    }
    return columns;
  }

  const ExportRequest& request_;
  const Database& database_;
  TracingConnection& connection_;
  std::stop_token stop_;
  std::vector<const Table*> tables_;
  std::vector<std::string> gaps_;
};

}  // namespace

ExitStatus runExport(const Arguments& arguments, const std::vector<std::u16string>& patterns,
                     const Console& console, const OpenSide& open) {
  const ExportRequest request = parseExport(arguments, patterns);
  std::vector<NamedPlace> places{{"side", request.place}};
  const auto sides = openSides(places, console, open);
  std::optional<LogFile> traceFile;
  if (request.trace) traceFile.emplace("trace", *request.trace);
  std::optional<Trace> trace;
  if (traceFile) trace.emplace(traceFile->stream(), u"side");
  std::vector<std::string> gaps;
  {
    StatusLine line(console);
    const Interruption interruption = interruptionOf(sides, line);
    Trace* const record = trace ? &*trace : nullptr;
    const ReadingWish wish{
        .rowCounts = line.isShown(), .trace = {}, .kinds = [](inventory::Kind kind) {
          return kind == inventory::Kind::table || kind == inventory::Kind::type;
        }};
    const DatabaseReading reading =
        readSide(*sides[0], "side", wish, nullptr, line, record, interruption.token());
    gaps = gapsOf(reading);
    if (!sides[0]->isComplete()) gaps.emplace_back("not everything could be loaded");
    if (!reading.wasRead)
      throw CommandError({gaps.empty() ? "reading stopped" : gaps.front(),
                          "nothing was written: the database was not read completely"});
    const std::u16string activity = u"reading rows";
    TracingConnection connection(sides[0]->connection(), activity, record, interruption.token());
    askForWholeTexts(connection, "side", gaps);
    Export rows(request, reading.database, connection, interruption.token());
    for (std::string& gap : rows.run(line, gaps.empty(), console)) gaps.push_back(std::move(gap));
    if (interruption.token().stop_requested())
      gaps.emplace_back("interrupted: files may be missing in '" + request.folder + "'");
    if (const auto& unanswered = connection.unanswered()) gaps.push_back(noAnswerText(*unanswered));
  }
  if (traceFile) traceFile->close();
  return tellGaps(gaps, console);
}

}  // namespace kelvane::cli
