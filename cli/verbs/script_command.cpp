#include "cli/verbs/script_command.h"

#include <array>
#include <optional>
#include <utility>
#include <variant>

#include "cli/screen/interruption.h"
#include "cli/screen/pager.h"
#include "cli/screen/written_file.h"
#include "cli/sides/password.h"
#include "cli/verbs/change_script_output.h"
#include "cli/verbs/comparison.h"
#include "cli/verbs/rows_of_script.h"
#include "cli/words/overwriting.h"
#include "cli/words/row_script_request.h"
#include "cli/words/script_request.h"
#include "cli/words/side_arguments.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kFormat = "--format", kOutput = "--output", kReverse = "--reverse";

enum class ScriptFormat { text, json };
constexpr auto kFormats = std::to_array<Choice<ScriptFormat>>({
    {"text", ScriptFormat::text},
    {"json", ScriptFormat::json},
});
constexpr auto kOptions = std::to_array<Option>({
    {kAllow, kDangerWord, "do steps that may take something away too; with --data also: delete"},
    {kRowBatch, kNumber, "with --data: rows of a transaction; default: 100"},
    {kScriptData, kTablePattern, "also make the rows of these tables like the source's (*, ?)"},
    {kNoProof, "", "do not try the script on a copy of the target"},
    {kFormat, "FORMAT", "text (T-SQL) or json; default: text", kNamesOf<kFormats>},
    {kOutput, kFile, "write to this file instead of standard output", {}, "-o"},
    {kRename, kHint, "a table, column or index has another name in the source"},
    {kReverse, "", "make the source like the target"},
});

CompareRequest requestOf(const Arguments& arguments) {
  CompareRequest request = comparedRequest(arguments, "script");
  if (arguments.has(kReverse)) {
    std::swap(request.places[0], request.places[1]);
    std::swap(request.shown[0], request.shown[1]);
  }
  request.countsRows = true;
  request.readsWholeTarget = !arguments.has(kNoProof);
  return request;
}

// Throws UsageError.
std::optional<ScriptedRows> rowsOf(const Arguments& arguments, const CompareRequest& request) {
  if (!arguments.has(kScriptData)) {
    if (arguments.isGiven(kRowBatch)) throw UsageError("--batch needs --data");
    return std::nullopt;
  }
  for (const std::string_view option : {kNoProof, kFormat}) {
    if (arguments.isGiven(option))
      throw UsageError("--data and " + std::string(option) + " exclude each other");
  }
  ScriptedRows rows{{}, rowsOfScript(arguments)};
  for (const std::string& pattern : arguments.values(kScriptData))
    rows.tables.push_back(toUtf16(pattern));
  for (const std::size_t side : {0U, 1U}) {
    if (std::holds_alternative<SnapshotPlace>(request.places[side]))
      throw UsageError("--data: '" + request.shown[side] +
                       "' is a snapshot and contains no rows; name the database instead");
  }
  return rows;
}

void write(const std::string& text, RowsOfScript* rows, const Arguments& arguments,
           const Console& console) {
  if (const auto path = arguments.value(kOutput)) {
    WrittenFile file("script", *path, console);
    file.stream() << text;
    if (rows != nullptr) rows->writeTo(file.stream());
    file.close();
    return;
  }
  writePaged(console, [&](std::ostream& out) {
    const Undertaking writing(console, u"", "interrupted while writing: the script is incomplete");
    out << text;
    if (rows != nullptr) rows->writeTo(out);
    out.flush();
  });
}

}  // namespace

std::vector<OptionFamily> scriptOptions() {
  std::vector<OptionFamily> families = comparedOptions();
  families.push_back(OptionFamily{"The script", kOptions});
  families.push_back(readingOptions());
  return families;
}

ExitStatus runScript(const Arguments& arguments, const Console& console, const OpenSide& open) {
  CompareRequest request = requestOf(arguments);
  const auto rowsWanted = rowsOf(arguments, request);
  const ScriptRequest wanted = scriptRequest(arguments);
  refuseOverwriting(arguments, request.places, {.written = {kTrace, kOutput}});
  for (const std::size_t side : {0U, 1U}) {
    // Servers are logged in to twice, and nobody is asked twice.
    auto* const server = std::get_if<ServerPlace>(&request.places[side]);
    if (rowsWanted && server != nullptr) givePassword(*server, kSideNames[side], console);
  }
  Comparison comparison(request, console);
  comparison.read(open);
  comparison.rename(wanted.plan.renames);
  comparison.agreeOnRules();
  comparison.compare();
  comparison.noteIncompleteSides();
  comparison.accept();
  const ChangeScriptOutput output(request, wanted, comparison);
  const bool isText =
      choiceOf<kFormats>(arguments, kFormat, ScriptFormat::text) == ScriptFormat::text;
  std::optional<RowsOfScript> rows;
  if (rowsWanted)
    rows.emplace(*rowsWanted, request, wanted.plan.renames, comparison, output, console, open);
  write(isText ? output.text() : output.json(), rows ? &*rows : nullptr, arguments, console);
  comparison.tellNotes();
  for (const std::string& line : comparison.header().gaps) console.complain(line);
  output.complain(console);
  const ExitStatus ofRows = rows ? rows->tell(console) : kNoDifference;
  if (comparison.header().coverage() != Coverage::complete || output.hasFailed()) return kNotProven;
  if (ofRows == kNotProven) return kNotProven;
  return output.isAllDone() ? ofRows : kDifferences;
}

}  // namespace kelvane::cli
