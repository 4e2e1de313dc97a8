#include "cli/compare_command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "cli/side_reader.h"
#include "compare/compare_schema.h"
#include "model/text.h"
#include "report/text_report.h"

namespace kelvane::cli {
namespace {

constexpr auto kOptions = std::to_array<Option>({
    {"--allow-nulls-by-default", "", "columns without null or not null take null"},
    {"--ase", "RELEASE", "be strictly a 12.5, 15 or 16"},
    {"--keep-going", "", "report every statement that fails and compare the rest"},
    {"--trace", "FILE", "write every statement and progress event, one JSON object a line"},
    {"--verbose", "", "tell what in the scripts was accepted and ignored"},
});

struct ReleaseName {
  std::string_view name;
  embedded::Release release;
};
constexpr auto kReleases = std::to_array<ReleaseName>({
    {"12.5", embedded::Release::ase125},
    {"15", embedded::Release::ase15},
    {"16", embedded::Release::ase16},
});

struct Request {
  std::vector<std::string> source, target;
  std::optional<std::string> trace;
  LoadSettings settings;
};

LoadSettings loadSettings(const Arguments& arguments) {
  LoadSettings settings;
  settings.keepGoing = arguments.has("--keep-going");
  settings.verbose = arguments.has("--verbose");
  settings.catalog.allowNullsByDefault = arguments.has("--allow-nulls-by-default");
  if (arguments.has("--ase")) {
    const std::string& name = arguments.options.at("--ase");
    const auto* known = std::ranges::find(kReleases, name, &ReleaseName::name);
    if (known == kReleases.end())
      throw UsageError("--ase takes 12.5, 15 or 16, not '" + name + "'");
    settings.catalog.release = known->release;
  }
  return settings;
}

Request parse(std::span<const std::string> words) {
  const Arguments arguments = parseArguments(words, kOptions);
  const std::vector<std::string>& places = arguments.operands;
  if (!arguments.parting && places.size() != 2)
    throw UsageError(
        "compare needs SOURCE and TARGET, with '--' between them when they are more"
        " than two, and was given " +
        std::to_string(places.size()));
  const auto parting = places.begin() + static_cast<std::ptrdiff_t>(arguments.parting.value_or(1));
  if (parting == places.end()) throw UsageError("compare needs a TARGET behind '--'");
  Request request{{places.begin(), parting}, {parting, places.end()}, {}, loadSettings(arguments)};
  if (arguments.has("--trace")) {
    request.trace = arguments.options.at("--trace");
    for (const std::string& place : arguments.operands) {
      std::error_code ignored;
      if (std::filesystem::equivalent(*request.trace, place, ignored))
        throw UsageError("--trace would overwrite '" + place + "'");
    }
  }
  return request;
}

std::shared_ptr<cComparisonOptions> everySwitch() {
  auto options = std::make_shared<cComparisonOptions>();
  for (const Switch& one : kSwitches) (*options).*one.value = True;
  return options;
}

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

class TraceFile {
 public:
  explicit TraceFile(const std::string& path) : path_(path) {
    errno = 0;
    stream_.open(path, std::ios::binary | std::ios::trunc);
    if (!stream_)
      throw CommandError({"cannot write trace '" + path + "': " + std::strerror(errno)});
  }
  std::ostream& stream() { return stream_; }
  void close() {
    errno = 0;
    stream_.close();
    if (!stream_)
      throw CommandError({"cannot write trace '" + path_ + "': " + std::strerror(errno)});
  }

 private:
  std::string path_;
  std::ofstream stream_;
};

enum class Pace { Together, InTurn };

// Does the same for both sides, where it can at the same time. What they complain about is told one
// side after the other; when both fail, it is the source that fails.
template <class Work>
auto forBothSides(Pace pace, const Console& console, Work work) {
  using Result = std::invoke_result_t<Work, std::size_t, const Console&>;
  std::ostringstream complaints;
  const Console aside{console.out, complaints, false};
  auto target = std::async(pace == Pace::Together ? std::launch::async : std::launch::deferred,
                           [&] { return work(1, aside); });
  Result source = work(0, console);
  const auto tell = [&] { console.err << complaints.str(); };
  try {
    std::array<Result, 2> results{std::move(source), target.get()};
    tell();
    return results;
  } catch (...) {
    tell();
    throw;
  }
}

ExitStatus report(const diffSchema& differences, const std::vector<std::string>& gaps,
                  bool sidesComplete, const Console& console) {
  const bool complete = sidesComplete && gaps.empty();
  writeTextReport(differences, complete ? Coverage::complete : Coverage::partial, console.out);
  console.out.flush();
  for (const std::string& gap : gaps) console.complain(gap);
  if (!console.out) {
    console.complain("cannot write to standard output");
    return kError;
  }
  if (!complete) {
    console.complain("not everything could be compared: equality is not proven");
    return kNotProven;
  }
  return differences == diffSchema{} ? kNoDifference : kDifferences;
}

}  // namespace

std::span<const Option> compareOptions() { return kOptions; }

ExitStatus runCompare(std::span<const std::string> words, const Console& console,
                      const OpenSide& open) {
  const Request request = parse(words);
  const std::array places{&request.source, &request.target};
  const auto sides =
      forBothSides(Pace::Together, console, [&](std::size_t side, const Console& complaints) {
        return open(*places[side], request.settings, complaints);
      });

  std::optional<TraceFile> traceFile;
  if (request.trace) traceFile.emplace(*request.trace);
  const auto options = everySwitch();
  StatusLine line(console);
  // A trace tells what happened in its order.
  const Pace pace = traceFile ? Pace::InTurn : Pace::Together;
  const auto readings = forBothSides(pace, console, [&](std::size_t side, const Console&) {
    const std::u16string_view name = side == 0 ? u"source" : u"target";
    std::optional<Trace> trace;
    if (traceFile) trace.emplace(traceFile->stream(), name);
    return readSide(sides[side]->connection(), toUtf8(name), options, line,
                    trace ? &*trace : nullptr);
  });
  const auto& [source, target] = readings;
  if (traceFile) traceFile->close();

  std::vector<std::string> gaps = source.gaps;
  gaps.insert(gaps.end(), target.gaps.begin(), target.gaps.end());
  CollectorHost host(gaps);
  const AppPreferences preferences;
  cCompareSchema engine(host);
  engine.CompareOptions = options;
  engine.AppPreferences = &preferences;
  engine.IsSchemaCaseSensitive(Boolean(source.caseSensitive || target.caseSensitive));
  engine.Compare(source.schema, target.schema, output_DiffText);
  const bool sidesComplete = sides[0]->isComplete() && sides[1]->isComplete();
  return report(engine.Results(), gaps, sidesComplete, console);
}

}  // namespace kelvane::cli
