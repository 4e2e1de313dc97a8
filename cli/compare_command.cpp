#include "cli/compare_command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "cli/compare_request.h"
#include "cli/interruption.h"
#include "cli/password.h"
#include "cli/side_reader.h"
#include "compare/compare_schema.h"
#include "model/text.h"
#include "report/text_report.h"

namespace kelvane::cli {
namespace {

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
  const Console aside{console.out, complaints};
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

bool hasServer(const CompareRequest& request) {
  return std::ranges::any_of(request.places, [](const Place& place) {
    return std::holds_alternative<ServerPlace>(place);
  });
}

std::array<std::unique_ptr<Side>, 2> openSides(CompareRequest& request, const Console& console,
                                               const OpenSide& open) {
  for (std::size_t side = 0; side < 2; ++side) {
    if (auto* server = std::get_if<ServerPlace>(&request.places[side]))
      givePassword(*server, kSideNames[side], console);
  }
  return forBothSides(Pace::Together, console, [&](std::size_t side, const Console& complaints) {
    return open(request.places[side], complaints);
  });
}

std::array<SideReading, 2> readSides(const CompareRequest& request,
                                     const std::array<std::unique_ptr<Side>, 2>& sides,
                                     const std::shared_ptr<cComparisonOptions>& options,
                                     const Console& console) {
  std::optional<TraceFile> traceFile;
  if (request.trace) traceFile.emplace(*request.trace);
  StatusLine line(console);
  std::optional<Interruption> interruption;
  // Without a server a signal ends the program at once: nothing is lost.
  if (hasServer(request)) {
    interruption.emplace([&] { line.complain("interrupted; once more ends the program at once"); },
                         [&] {
                           for (const auto& side : sides) side->cancel();
                         });
  }
  // A trace tells what happened in its order.
  const Pace pace = traceFile ? Pace::InTurn : Pace::Together;
  auto readings = forBothSides(pace, console, [&](std::size_t side, const Console&) {
    std::optional<Trace> trace;
    if (traceFile) trace.emplace(traceFile->stream(), toUtf16(kSideNames[side]));
    return readSide(sides[side]->connection(), kSideNames[side], options, line,
                    trace ? &*trace : nullptr,
                    interruption ? interruption->token() : std::stop_token());
  });
  if (traceFile) traceFile->close();
  return readings;
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

ExitStatus runCompare(std::span<const std::string> words, const Console& console,
                      const OpenSide& open) {
  CompareRequest request = parseCompare(words);
  const auto sides = openSides(request, console, open);
  const auto options = everySwitch();
  const auto readings = readSides(request, sides, options, console);
  const auto& [source, target] = readings;
  std::vector<std::string> gaps = source.gaps;
  gaps.insert(gaps.end(), target.gaps.begin(), target.gaps.end());
  std::array<Schema, 2> schemas{source.schema, target.schema};
  if (source.extent || target.extent) {
    keepComparable(schemas, {source.extent, target.extent});
    gaps.push_back(
        "the result is partial: only objects that were read in full on both sides are compared");
  }
  CollectorHost host(gaps);
  const AppPreferences preferences;
  cCompareSchema engine(host);
  engine.CompareOptions = options;
  engine.AppPreferences = &preferences;
  engine.IsSchemaCaseSensitive(Boolean(source.caseSensitive || target.caseSensitive));
  engine.Compare(schemas[0], schemas[1], output_DiffText);
  const bool sidesComplete = sides[0]->isComplete() && sides[1]->isComplete();
  return report(engine.Results(), gaps, sidesComplete, console);
}

}  // namespace kelvane::cli
