#include "cli/verbs/doctor_command.h"

#include <array>
#include <memory>
#include <stop_token>
#include <utility>

#include "cli/screen/figures.h"
#include "cli/screen/interruption.h"
#include "cli/screen/written_file.h"
#include "cli/sides/progress.h"
#include "cli/sides/reading.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/doctor_report.h"
#include "cli/words/one_side.h"
#include "cli/words/overwriting.h"
#include "inventory/publish/publish.h"
#include "inventory/read/reader.h"
#include "model/text.h"
#include "reader/ase_fetch.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kNames = "--names", kNoPublished = "--no-published";
constexpr auto kOptions = std::to_array<Option>({
    {kNames, "", "include the names of objects, users and the database"},
    {kNoPublished, "", "do not also read with the published statements, which are many"},
});

// Counts what passes.
class CountingConnection final : public ado::Connection {
 public:
  explicit CountingConnection(ado::Connection& inner) : inner_(inner) {}
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    ++count_;
    return inner_.Open(source, mode);
  }
  const std::vector<ado::Error>& Errors() const override { return inner_.Errors(); }

  std::size_t count() const { return count_; }

 private:
  ado::Connection& inner_;
  std::size_t count_ = 0;
};

// Takes the time of each step and shows which one it is.
class StepWatch final : public inventory::ReadEvents {
 public:
  StepWatch(StatusLine& line, std::u16string& activity, std::stop_token stop,
            std::vector<TimedStep>& steps)
      : line_(line), activity_(activity), stop_(std::move(stop)), steps_(steps) {}
  ~StepWatch() override {
    end();
    line_.show("side", {});
  }

  void reading(std::string_view what, std::size_t, std::size_t) override {
    end();
    steps_.push_back({std::string(what), {}});
    activity_ = toUtf16(what);
    line_.show("side", activity_);
  }
  bool wantsToStop() override { return stop_.stop_requested(); }

 private:
  void end() {
    if (!steps_.empty()) steps_.back().time = watch_.elapsed();
    watch_ = {};
  }

  StatusLine& line_;
  std::u16string& activity_;
  std::stop_token stop_;
  std::vector<TimedStep>& steps_;
  Stopwatch watch_;
};

// Ends the reader when nothing more is to be asked.
class StoppingHost final : public Host {
 public:
  explicit StoppingHost(const TracingConnection& connection) : connection_(connection) {}
  void DoEvents() override {
    if (connection_.isOver()) reader->Cancel();
  }
  IDBFetch* reader = nullptr;

 private:
  const TracingConnection& connection_;
};

// All but what counts rows.
std::shared_ptr<cComparisonOptions> switches() {
  auto options = std::make_shared<cComparisonOptions>();
  for (const Switch& one : kSwitches) (*options).*one.value = True;
  options->Tables_RowCount = False;
  return options;
}

struct Examination {
  Side& side;
  StatusLine& line;
  Trace* trace;
  std::stop_token stop;
};

void readCatalog(const Examination& examination, Diagnosis& diagnosis) {
  std::u16string activity;
  TracingConnection traced(examination.side.connection(), activity, examination.trace,
                           examination.stop);
  CountingConnection counting(traced);
  inventory::ReadOptions options;
  if (examination.side.isEmbedded()) options.bits = inventory::StatusBits::embedded;
  try {
    StepWatch watch(examination.line, activity, examination.stop, diagnosis.steps);
    diagnosis.database = inventory::read(counting, options, &watch);
  } catch (const inventory::ReadingStopped&) {
    throw CommandError({"interrupted while reading: there is no result"});
  } catch (const ado::Failure& failure) {
    throw CommandError({"side: reading stopped: " + toUtf8(activity) + ": " + failure.what()});
  }
  diagnosis.statements = counting.count();
}

// Reads once more, with the published statements.
void compareReaders(const Examination& examination, Diagnosis& diagnosis) {
  std::u16string activity;
  TracingConnection traced(examination.side.connection(), activity, examination.trace,
                           examination.stop);
  CountingConnection counting(traced);
  StoppingHost host(traced);
  cASE_Fetch reader(host);
  host.reader = &reader;
  reader.conn(&counting);
  reader.CompareOptions(switches());
  const auto scope = reader.AppliesTo();
  scope->AllTables = scope->AllViews = scope->AllStoredProcs = scope->AllFunctions = True;
  scope->AllUDDTs = scope->AllUsers = scope->AllGroups = True;
  const Stopwatch watch;
  {
    Progress progress(examination.line, "side", examination.trace, activity);
    reader.Fetch(progress);
  }
  if (traced.isOver())
    throw CommandError({"side: the reading with the published statements ended"});
  diagnosis.askedTime = watch.elapsed();
  diagnosis.askedStatements = counting.count();
  diagnosis.agreement =
      inventory::agreement(diagnosis.database, reader.GetSchema(), reader.Extent(),
                           inventory::publish(diagnosis.database, *switches()));
}

}  // namespace

std::vector<OptionFamily> doctorOptions() {
  return {oneSideOptions(), {"The report", kOptions}, readingOptions()};
}

ExitStatus runDoctor(const Arguments& arguments, const Console& console, const OpenSide& open) {
  if (arguments.parting || arguments.operands.empty() != arguments.has(kOneSide.server))
    throw UsageError("doctor needs one SIDE or --server");
  const Place place = placeOf(arguments, arguments.operands, kOneSide, readingSettings(arguments));
  if (std::holds_alternative<SnapshotPlace>(place))
    throw UsageError("doctor needs a database, not a snapshot");
  const auto traceName = arguments.value(kTrace);
  refuseOverwriting(arguments, {&place, 1}, {.written = {kTrace}});
  std::vector<NamedPlace> places{{"side", place}};
  const auto sides = openSides(places, console, open);
  std::optional<LogFile> traceFile;
  std::optional<Trace> trace;
  if (traceName) {
    traceFile.emplace("trace", *traceName);
    trace.emplace(traceFile->stream(), u"side");
  }
  StatusLine line(console);
  Diagnosis diagnosis;
  diagnosis.isServer = !sides[0]->isEmbedded();
  diagnosis.complete = sides[0]->isComplete();
  {
    const Interruption interruption = interruptionOf(sides, line);
    const Examination examination{*sides[0], line, trace ? &*trace : nullptr, interruption.token()};
    readCatalog(examination, diagnosis);
    if (!arguments.has(kNoPublished)) compareReaders(examination, diagnosis);
  }
  if (traceFile) traceFile->close();
  writeDiagnosis(diagnosis, arguments.has(kNames), console.out);
  return diagnosis.complete && diagnosis.database.gaps.empty() ? kNoDifference : kNotProven;
}

}  // namespace kelvane::cli
