#include "cli/verbs/fleet_run.h"

#include <algorithm>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <stop_token>
#include <thread>
#include <utility>
#include <variant>

#include "ado/ado.h"
#include "cli/screen/figures.h"
#include "cli/screen/interruption.h"
#include "cli/screen/status_line.h"
#include "cli/sides/database_reading.h"
#include "cli/sides/password.h"
#include "cli/sides/snapshot_file.h"
#include "cli/verbs/comparison.h"
#include "cli/verbs/known_file.h"
#include "cli/verbs/result_output.h"
#include "findings/known_changes.h"
#include "model/text.h"
#include "report/change_report.h"
#include "report/compared_target.h"

namespace kelvane::cli {
namespace {

using Clock = std::chrono::steady_clock;

// Connections to one server at the same time.
constexpr std::size_t kMostOfServer = 2;

// What targets of the same server have in common; empty: it is none.
std::u16string serverOf(const Place& place) {
  const auto* const server = std::get_if<ServerPlace>(&place);
  if (server == nullptr) return {};
  std::u16string key;
  for (const std::u16string_view word : {u"DSN", u"Server", u"Servername", u"Port"}) {
    const std::array<std::u16string_view, 1> keywords{word};
    key += u"\n" + foldCase(server->address.find(keywords).value_or(u""));
  }
  return key;
}

// All that differs, whoever the target is.
std::string signatureOf(const Comparison::Changes& changes) {
  std::ostringstream text;
  writeJsonReport(changes, ReportHeader{"", "", ""}, text);
  return std::move(text).str();
}

class FleetRun {
 public:
  FleetRun(const FleetRequest& request, const Console& console, const OpenSide& open)
      : request_(request), console_(console), open_(open), line_(console) {
    result_.reference = request.reference.name;
    for (const FleetPlace& target : request.targets) {
      result_.targets.push_back({.name = target.name});
      Job& job = jobs_.emplace_back(Job{.place = target.place, .server = serverOf(target.place)});
      auto* const server = std::get_if<ServerPlace>(&job.place);
      if (server != nullptr && request.targetLimit)
        server->limits.loginLimit = std::min(server->limits.loginLimit, *request.targetLimit);
    }
  }

  FleetResult run() {
    // What is wrong with a list of known differences is wrong for all.
    loadKnownFiles<findings::KnownChange>(request_.comparing, findings::readKnownChanges);
    for (const FleetPlace& target : request_.targets) {
      for (const std::string& path : target.accepts) loadList(path, findings::readKnownChanges);
    }
    givePasswords();
    readReference();
    {
      const Interruption interruption(
          [this](int) {
            line_.complain("interrupted; press Ctrl-C again to end the program at once");
          },
          [this] { cancelAll(); });
      const std::stop_callback whenStopped(interruption.token(), [this] { stopAll(); });
      std::vector<std::thread> threads;
      threads.reserve(std::min(request_.jobs, jobs_.size()));
      for (std::size_t at = 0; at < std::min(request_.jobs, jobs_.size()); ++at)
        threads.emplace_back([this] { work(); });
      watch();
      for (std::thread& thread : threads) thread.join();
      result_.wasInterrupted = interruption.token().stop_requested();
    }
    line_.show("fleet", {});
    tellComplaints();
    return std::move(result_);
  }

 private:
  struct Job {
    Place place;
    std::u16string server;
    Side* side = nullptr;  // while it is read
    std::stop_source stop = {};
    std::optional<Clock::time_point> end = {};
    bool isLate = false;
  };

  void givePasswords() {
    if (auto* server = std::get_if<ServerPlace>(&reference_))
      givePassword(*server, kSideNames[0], console_);
    for (Job& job : jobs_) {
      if (auto* server = std::get_if<ServerPlace>(&job.place))
        givePassword(*server, kSideNames[1], console_);
    }
  }

  ReadingWish wish() const {
    return {.rowCounts = request_.comparing.countsRows ||
                         request_.comparing.inventory.compares(inventory::Family::rowCounts),
            .trace = {},
            .selection = &request_.comparing.selection};
  }

  void readReference() {
    ReadingWish wanted = wish();
    wanted.trace = request_.comparing.trace;
    read_ = std::move(readDatabases({{"reference", reference_}}, wanted, console_, open_).front());
    result_.made = read_.made;
    if (!read_.wasRead) throw CommandError(gapsOf(read_, read_.database));
  }

  // The next target whose server is not busy; none where nothing is left.
  std::optional<std::size_t> next() {
    std::unique_lock lock(mutex_);
    for (;;) {
      if (isOver_ || begun_ == jobs_.size()) return std::nullopt;
      for (std::size_t at = 0; at < jobs_.size(); ++at) {
        if (taken_[at]) continue;
        std::size_t& busy = busy_[jobs_[at].server];
        if (!jobs_[at].server.empty() && busy >= kMostOfServer) continue;
        ++busy;
        ++begun_;
        taken_[at] = true;
        if (request_.targetLimit) jobs_[at].end = Clock::now() + *request_.targetLimit;
        return at;
      }
      changed_.wait(lock);
    }
  }

  void work() {
    while (const auto at = next()) {
      const Stopwatch time;
      ComparedTarget target{.name = result_.targets[*at].name};
      examine(*at, target);
      target.seconds = std::chrono::duration<double>(time.elapsed()).count();
      const std::scoped_lock lock(mutex_);
      --busy_[jobs_[*at].server];
      jobs_[*at].end.reset();
      ++done_;
      if (request_.failsFast && target.outcome != Outcome::equal) isOver_ = true;
      result_.targets[*at] = std::move(target);
      changed_.notify_all();
    }
    const std::scoped_lock lock(mutex_);
    ++ended_;
    changed_.notify_all();
  }

  void examine(std::size_t at, ComparedTarget& target) {
    try {
      DatabaseReading reading = readTarget(at, target.name);
      if (reading.wasRead) return compare(at, std::move(reading), target);
      target.causes = gapsOf(reading, reading.database);
    } catch (const CommandError& error) {
      target.causes = error.lines();
    } catch (const RuntimeError& error) {
      target.causes = {toUtf8(error.Description())};
    } catch (const std::exception& error) {
      target.causes = {error.what()};
    }
    target.outcome = Outcome::unread;
    const std::scoped_lock lock(mutex_);
    if (jobs_[at].isLate)
      target.causes = {"not read within " + std::to_string(request_.targetLimit->count()) +
                       " s (--target-limit)"};
  }

  DatabaseReading readTarget(std::size_t at, const std::string& name) {
    Job& job = jobs_[at];
    // What concerns one target is told with it.
    std::ostringstream complaints;
    const Console aside{complaints, complaints};
    DatabaseReading reading;
    if (const auto* snapshot = std::get_if<SnapshotPlace>(&job.place)) {
      reading.database = loadSnapshot(*snapshot);
      reading.gapsBegin = "when the snapshot was taken: ";
      return reading;
    }
    if (const std::string cause = whyDead(job.server); !cause.empty())
      throw CommandError({"not tried again: " + cause});
    std::unique_ptr<Side> side;
    try {
      side = open_(job.place, aside);
    } catch (const CommandError& error) {
      noteDead(job.server, error.lines().front());
      throw;
    }
    {
      const std::scoped_lock lock(mutex_);
      job.side = side.get();
    }
    StatusLine unseen(aside);
    reading = readSide(*side, name, wish(),
                       request_.comparing.readsWholeTarget ? nullptr : wish().selection, unseen,
                       nullptr, job.stop.get_token());
    const std::scoped_lock lock(mutex_);
    job.side = nullptr;
    return reading;
  }

  void compare(std::size_t at, DatabaseReading reading, ComparedTarget& target) {
    CompareRequest request = request_.comparing;
    request.shown = {result_.reference, target.name};
    request.ownAccepts = request_.targets[at].accepts;
    auto group = std::make_unique<ComparedGroup>(at, std::move(request), read_, std::move(reading));
    const Comparison& comparison = group->comparison();
    const std::string name = std::exchange(target.name, {});
    target = comparedTarget(comparison, u"reference");
    target.name = name;
    target.database = comparison.databases().back().server.database;
    target.signature = signatureOf(comparison.changes());
    target.objects = kept(report::objectsOf(comparison.databases().front()));
    noteComplaints(group->complaints());
    if (target.outcome == Outcome::differs) keep(target.signature, std::move(group));
  }

  void noteComplaints(const std::string& text) {
    std::istringstream lines(text);
    const std::scoped_lock lock(mutex_);
    for (std::string line; std::getline(lines, line);) ++complaints_[line];
  }

  // What no target has found of use: a line of a list that only some do not need, or a pattern that
  // matches nothing in some, is no news.
  void tellComplaints() const {
    const auto wereCompared = [](const ComparedTarget& target) {
      return target.outcome == Outcome::equal || target.outcome == Outcome::differs;
    };
    if (!std::ranges::all_of(result_.targets, wereCompared)) return;
    for (const auto& [line, count] : complaints_) {
      const auto reads = [&](const FleetPlace& target) {
        return std::ranges::any_of(target.accepts, [&](const std::string& path) {
          return line.starts_with("kelvane: " + path + ":");
        });
      };
      const auto readers = static_cast<std::size_t>(std::ranges::count_if(request_.targets, reads));
      if (count == (readers > 0 ? readers : result_.targets.size())) console_.err << line << '\n';
    }
  }

  // The first target of each group.
  void keep(const std::string& signature, std::unique_ptr<ComparedGroup> group) {
    if (!request_.pages && !request_.scripts) return;
    const std::scoped_lock lock(mutex_);
    std::unique_ptr<ComparedGroup>& known = result_.compared[signature];
    if (!known || group->target() < known->target()) known.swap(group);
  }

  // Most targets have the same ones.
  const std::vector<report::ObjectName>* kept(std::vector<report::ObjectName> objects) {
    if (request_.results.isEmpty()) return nullptr;
    const std::scoped_lock lock(mutex_);
    const auto found = std::ranges::find(result_.objects, objects);
    return found != result_.objects.end() ? &*found
                                          : &result_.objects.emplace_back(std::move(objects));
  }

  // Shows how far it is, and ends what takes too long.
  void watch() {
    constexpr std::chrono::milliseconds kStep(200);
    std::unique_lock lock(mutex_);
    const std::size_t threads = std::min(request_.jobs, jobs_.size());
    while (ended_ < threads) {
      changed_.wait_for(lock, kStep);
      for (Job& job : jobs_) {
        if (!job.end || Clock::now() < *job.end) continue;
        job.isLate = true;
        job.stop.request_stop();
        if (job.side != nullptr) job.side->cancel();
      }
      line_.show("fleet", decimalText(static_cast<std::int64_t>(done_)) + u" of " +
                              decimalText(static_cast<std::int64_t>(jobs_.size())) + running());
    }
  }

  // Their names, of those that are read at the time.
  std::u16string running() const {
    std::u16string names;
    for (std::size_t at = 0; at < jobs_.size(); ++at) {
      if (jobs_[at].side != nullptr)
        names += (names.empty() ? u": " : u", ") + toUtf16(result_.targets[at].name);
    }
    return names;
  }

  void stopAll() {
    const std::scoped_lock lock(mutex_);
    isOver_ = true;
    for (Job& job : jobs_) job.stop.request_stop();
    changed_.notify_all();
  }
  void cancelAll() {
    const std::scoped_lock lock(mutex_);
    for (Job& job : jobs_) {
      if (job.side != nullptr) job.side->cancel();
    }
  }

  // A host that does not answer is waited for once.
  std::string whyDead(const std::u16string& server) {
    const std::scoped_lock lock(mutex_);
    const auto found = dead_.find(server);
    return found == dead_.end() ? std::string() : found->second;
  }
  void noteDead(const std::u16string& server, const std::string& cause) {
    // Nobody listens; or not in time, which the driver and the driver manager say in their ways.
    const bool isDead = cause.find("20009") != cause.npos || cause.find("20003") != cause.npos ||
                        cause.find("HYT00") != cause.npos;
    const std::scoped_lock lock(mutex_);
    if (isDead && !server.empty()) dead_.emplace(server, cause);
  }

  const FleetRequest& request_;
  const Console& console_;
  const OpenSide& open_;
  StatusLine line_;
  Place reference_ = request_.reference.place;
  DatabaseReading read_;  // of the reference

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Job> jobs_;  // as the targets
  std::vector<bool> taken_ = std::vector<bool>(request_.targets.size());
  std::map<std::u16string, std::size_t> busy_;  // connections, by server
  std::map<std::u16string, std::string> dead_;
  std::map<std::string, std::size_t> complaints_;  // of how many targets
  std::size_t begun_ = 0, done_ = 0, ended_ = 0;
  bool isOver_ = false;
  FleetResult result_;
};

}  // namespace

FleetResult compareFleet(const FleetRequest& request, const Console& console,
                         const OpenSide& open) {
  return FleetRun(request, console, open).run();
}

}  // namespace kelvane::cli
