#include "cli/sides/side_reader.h"

#include <algorithm>
#include <utility>

#include "cli/sides/progress.h"
#include "cli/sides/tracing_connection.h"
#include "model/text.h"
#include "reader/ase_fetch.h"

namespace kelvane::cli {
namespace {

constexpr std::size_t kMostRejectionsShown = 10;

void addRejections(const std::vector<Rejection>& rejections, const std::string& side,
                   std::vector<std::string>& gaps) {
  const std::size_t shown = std::min(rejections.size(), kMostRejectionsShown);
  for (const Rejection& rejection : std::span(rejections).first(shown))
    gaps.push_back(side + ": " + toUtf8(rejection.activity) + ": the server rejected \"" +
                   beginningOf(rejection.statement) + "\": " + inOneLine(rejection.error));
  if (shown < rejections.size())
    gaps.push_back(side + ": " + std::to_string(rejections.size() - shown) +
                   " more statements were rejected; --trace FILE shows them all");
}

// What a reader could not read. Some failures leave no trace but their text.
std::vector<std::string> gapsOf(const TracingConnection& traced, std::string_view side,
                                bool stopped, bool completed, const std::u16string& lastError) {
  const std::string name(side);
  std::vector<std::string> gaps;
  addRejections(traced.rejections(), name, gaps);
  if (const auto& unanswered = traced.unanswered()) {
    gaps.push_back(name + ": reading stopped: " + unansweredText(*unanswered));
  } else if (stopped) {
    gaps.push_back(name + ": reading interrupted");
  } else if (!completed || (traced.rejections().empty() && !lastError.empty())) {
    gaps.push_back(name + ": " + (completed ? "not read completely: " : "reading stopped: ") +
                   inOneLine(lastError));
  }
  return gaps;
}

// Cancels the reader at its next yield when nothing more is to be asked.
class CancellingHost final : public Host {
 public:
  explicit CancellingHost(const TracingConnection& connection) : connection_(connection) {}
  void DoEvents() override {
    if (connection_.isOver()) reader->Cancel();
  }

  IDBFetch* reader = nullptr;

 private:
  const TracingConnection& connection_;
};

std::shared_ptr<cAppliesTo> everything() {
  auto scope = std::make_shared<cAppliesTo>();
  scope->AllTables = scope->AllViews = scope->AllStoredProcs = scope->AllFunctions = True;
  scope->AllUDDTs = scope->AllUsers = scope->AllGroups = True;
  return scope;
}

}  // namespace

SideReading readSide(ado::Connection& connection, std::string_view side,
                     const std::shared_ptr<cComparisonOptions>& options, StatusLine& line,
                     Trace* trace, const std::stop_token& stop, const Selection& selection) {
  std::u16string activity;
  TracingConnection traced(connection, activity, trace, stop);
  CancellingHost host(traced);
  cASE_Fetch reader(host);
  host.reader = &reader;
  reader.conn(&traced);
  reader.CompareOptions(options);
  reader.AppliesTo(everything());
  SideReading result;
  if (!selection.takesAll())
    reader.FilterLists(
        [&](enumEntityType kind, const std::u16string& object, const std::u16string& fullName) {
          const auto mode = reader.IsSchemaCaseSensitive() ? CaseMode::exact : CaseMode::ignore;
          return !selection.leavesUnread(kindOf(kind), {object, fullName}, mode, result.selected);
        });
  bool completed = false;
  {
    Progress progress(line, side, trace, activity);
    completed = reader.Fetch(progress);
  }
  if (!completed || traced.isOver()) result.extent = reader.Extent();
  result.schema = reader.Results();
  result.caseSensitive = reader.IsSchemaCaseSensitive();
  result.gaps = gapsOf(traced, side, stop.stop_requested(), completed, reader.LastError());
  return result;
}

}  // namespace kelvane::cli
