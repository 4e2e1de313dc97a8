#include "cli/verbs/script_command.h"

#include <array>
#include <utility>

#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/verbs/change_script_output.h"
#include "cli/verbs/comparison.h"
#include "cli/words/overwriting.h"
#include "cli/words/script_request.h"
#include "cli/words/side_arguments.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kFormat = "--format", kOutput = "--output", kReverse = "--reverse";

enum class ScriptFormat { text, json };
constexpr auto kFormats = std::to_array<Choice<ScriptFormat>>({
    {"text", ScriptFormat::text},
    {"json", ScriptFormat::json},
});
constexpr auto kOptions = std::to_array<Option>({
    {kAllow, kDangerWord, "do steps that may take something away too"},
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

void write(const std::string& text, const Arguments& arguments, const Console& console) {
  if (const auto path = arguments.value(kOutput)) {
    WrittenFile file("script", *path, console);
    file.stream() << text;
    file.close();
    return;
  }
  const Undertaking writing(console, u"", "interrupted while writing: the script is incomplete");
  console.out << text;
  console.out.flush();
}

}  // namespace

std::vector<OptionFamily> scriptOptions() {
  std::vector<OptionFamily> families = comparedOptions();
  families.push_back(OptionFamily{"The script", kOptions});
  families.push_back(readingOptions());
  return families;
}

ExitStatus runScript(const Arguments& arguments, const Console& console, const OpenSide& open) {
  const CompareRequest request = requestOf(arguments);
  const ScriptRequest wanted = scriptRequest(arguments);
  refuseOverwriting(arguments, request.places, {.written = {kTrace, kOutput}});
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
  write(isText ? output.text() : output.json(), arguments, console);
  comparison.tellNotes();
  for (const std::string& line : comparison.header().gaps) console.complain(line);
  output.complain(console);
  if (comparison.header().coverage() != Coverage::complete || output.hasFailed()) return kNotProven;
  return output.isAllDone() ? kNoDifference : kDifferences;
}

}  // namespace kelvane::cli
