#include "cli/compare_command.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/compare_request.h"
#include "cli/reading.h"
#include "cli/written_file.h"
#include "compare/compare_schema.h"
#include "model/text.h"
#include "report/html_report.h"
#include "report/json_report.h"
#include "report/text_report.h"

namespace kelvane::cli {
namespace {

// The collector speaks through message boxes: a difference that it has no place for.
class CollectorHost final : public Host {
 public:
  explicit CollectorHost(std::vector<std::string>& gaps) : gaps_(gaps) {}
  void MessageBox(std::u16string_view text, MessageIcon) override {
    gaps_.push_back("a difference could not be recorded: " + toUtf8(text));
  }

 private:
  std::vector<std::string>& gaps_;
};

class RulePreferences final : public AppPreferences {
 public:
  explicit RulePreferences(const Rules& rules) : rules_(rules) {}
  Boolean IgnoreTabs() const override { return rules_.ignoreTabs; }
  Boolean IgnoreSpaces() const override { return rules_.ignoreSpaces; }
  Boolean IgnoreLineBreaks() const override { return rules_.ignoreLineBreaks; }

 private:
  const Rules& rules_;
};

void write(const diffSchema& differences, const ReportHeader& header, Format format,
           std::ostream& out) {
  switch (format) {
    case Format::text:
      return writeTextReport(differences, header.coverage(), out);
    case Format::json:
      return writeJsonReport(differences, header, out);
    case Format::html:
      return writeHtmlReport(differences, header, out);
  }
}

ReportHeader headerOf(const CompareRequest& request, const cComparisonOptions& switches,
                      std::vector<std::string> gaps) {
  ReportHeader header{request.shown[0], request.shown[1], KELVANE_VERSION, {}, std::move(gaps)};
  for (const Switch& one : kSwitches) {
    if (switches.*one.value) header.switches.push_back(toUtf8(one.name));
  }
  return header;
}

ExitStatus report(const diffSchema& differences, const CompareRequest& request,
                  const ReportHeader& header, const Console& console) {
  for (const Output& output : request.outputs) {
    if (!output.file) {
      write(differences, header, output.format, console.out);
      console.out.flush();
      continue;
    }
    WrittenFile file("report", *output.file);
    write(differences, header, output.format, file.stream());
    file.close();
  }
  if (!console.out) {
    console.complain("cannot write to standard output");
    return kError;
  }
  return differences == diffSchema{} ? kNoDifference : kDifferences;
}

}  // namespace

ExitStatus runCompare(std::span<const std::string> words, const Console& console,
                      const OpenSide& open) {
  const CompareRequest request = parseCompare(words);
  const Readings readings =
      readPlaces({{kSideNames[0], request.places[0]}, {kSideNames[1], request.places[1]}},
                 request.switches, request.trace, console, open);
  const SideReading& source = readings.sides[0];
  const SideReading& target = readings.sides[1];
  std::vector<std::string> gaps = readings.missing;
  for (const SideReading& side : readings.sides)
    gaps.insert(gaps.end(), side.gaps.begin(), side.gaps.end());
  std::array<Schema, 2> schemas{source.schema, target.schema};
  if (source.extent || target.extent) {
    keepComparable(schemas, {source.extent, target.extent});
    gaps.push_back(
        "the result is partial: only objects that were read in full on both sides are compared");
  }
  CollectorHost host(gaps);
  const RulePreferences preferences(request.rules);
  cCompareSchema engine(host);
  engine.CompareOptions = std::make_shared<cComparisonOptions>(readings.switches);
  engine.AppPreferences = &preferences;
  engine.IsSchemaCaseSensitive(
      Boolean(!request.rules.ignoreCase && (source.caseSensitive || target.caseSensitive)));
  engine.Compare(schemas[0], schemas[1], output_DiffText);

  ReportHeader header = headerOf(request, readings.switches, gaps);
  for (std::size_t side = 0; side < 2; ++side) {
    if (!readings.sides[side].complete)
      header.gaps.push_back(std::string(kSideNames[side]) + ": not everything could be loaded");
  }
  const ExitStatus status = report(engine.Results(), request, header, console);
  for (const std::string& gap : gaps) console.complain(gap);
  if (status == kError || header.coverage() == Coverage::complete) return status;
  console.complain("not everything could be compared: equality is not proven");
  return kNotProven;
}

}  // namespace kelvane::cli
