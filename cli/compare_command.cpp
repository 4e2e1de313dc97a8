#include "cli/compare_command.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

#include "cli/side_reader.h"
#include "compare/compare_schema.h"
#include "model/text.h"
#include "report/text_report.h"

namespace kelvane::cli {
namespace {

constexpr auto kOptions = std::to_array<Option>({
    {"--trace", "FILE", "write every statement and progress event, one JSON object a line"},
});

struct Request {
  std::string source, target;
  std::optional<std::string> trace;
};

Request parse(std::span<const std::string> words) {
  const Arguments arguments = parseArguments(words, kOptions);
  if (arguments.operands.size() != 2)
    throw UsageError("compare needs two script files, SOURCE and TARGET, and was given " +
                     std::to_string(arguments.operands.size()));
  Request request{arguments.operands[0], arguments.operands[1], std::nullopt};
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

// Both sides, or one complaint for each fault of either.
std::optional<std::array<std::unique_ptr<Side>, 2>> openSides(const Request& request,
                                                              const Console& console,
                                                              const OpenSide& open) {
  std::array<std::unique_ptr<Side>, 2> sides;
  const auto attempt = [&](const std::string& place) -> std::unique_ptr<Side> {
    try {
      return open(place);
    } catch (const CommandError& error) {
      console.complain(error);
      return nullptr;
    }
  };
  sides[0] = attempt(request.source);
  sides[1] = attempt(request.target);
  if (!sides[0] || !sides[1]) return std::nullopt;
  return sides;
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

ExitStatus report(const diffSchema& differences, const std::vector<std::string>& gaps,
                  const Console& console) {
  writeTextReport(differences, gaps.empty() ? Coverage::complete : Coverage::partial, console.out);
  console.out.flush();
  for (const std::string& gap : gaps) console.complain(gap);
  if (!console.out) {
    console.complain("cannot write to standard output");
    return kError;
  }
  if (!gaps.empty()) {
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
  const auto sides = openSides(request, console, open);
  if (!sides) return kError;

  std::optional<TraceFile> traceFile;
  if (request.trace) traceFile.emplace(*request.trace);
  const auto options = everySwitch();
  const auto read = [&](std::size_t side, std::u16string_view name) {
    std::optional<Trace> trace;
    if (traceFile) trace.emplace(traceFile->stream(), name);
    return readSide((*sides)[side]->connection(), toUtf8(name), options, console,
                    trace ? &*trace : nullptr);
  };
  const SideReading source = read(0, u"source");
  const SideReading target = read(1, u"target");
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
  return report(engine.Results(), gaps, console);
}

}  // namespace kelvane::cli
