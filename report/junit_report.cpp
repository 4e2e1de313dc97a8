#include <array>
#include <iomanip>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

#include "report/collected_reports.h"
#include "report/collected_words.h"

namespace kelvane::report {
namespace {

struct Counts {
  std::size_t tests = 0, failures = 0, errors = 0, skipped = 0;

  void add(const Counts& other) {
    tests += other.tests;
    failures += other.failures;
    errors += other.errors;
    skipped += other.skipped;
  }
  void write(std::ostream& out) const {
    out << " tests=\"" << tests << "\" failures=\"" << failures << "\" errors=\"" << errors
        << "\" skipped=\"" << skipped << '"';
  }
};

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << seconds;
  return std::move(text).str();
}

// 2026-11-24T08:30:00, of UTC
std::string momentText(std::chrono::sys_seconds moment) {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(moment - day);
  std::ostringstream text;
  text << std::setfill('0') << std::setw(4) << static_cast<int>(date.year()) << '-' << std::setw(2)
       << static_cast<unsigned>(date.month()) << '-' << std::setw(2)
       << static_cast<unsigned>(date.day()) << 'T' << std::setw(2) << time.hours().count() << ':'
       << std::setw(2) << time.minutes().count() << ':' << std::setw(2) << time.seconds().count();
  return std::move(text).str();
}

// The cases of a target, written aside: their counts stand before them.
class Suite {
 public:
  explicit Suite(const ComparedTarget& target)
      : target_(target), className_(markupText(target.name)) {
    writeReading();
    const DifferencesByObject differing = byObject(target);
    for (const auto& [object, differences] : differing) writeFailure(object, differences);
    if (target.objects == nullptr || target.outcome == Outcome::notBegun) return;
    for (const ObjectName& object : *target.objects) {
      if (!differing.contains(object)) writeOther(object);
    }
  }

  const Counts& counts() const { return counts_; }
  void write(const std::string& moment, std::ostream& out) const {
    out << "  <testsuite name=\"" << className_ << '"';
    counts_.write(out);
    out << " time=\"" << secondsText(target_.seconds) << "\" timestamp=\"" << moment << "\">\n"
        << cases_.str();
    if (!target_.accepted.empty() || !target_.notes.empty()) {
      out << "    <system-out>";
      for (const AcceptedDifference& one : target_.accepted)
        out << "accepted: " << markupText(one.difference + " # " + one.reason) << '\n';
      for (const std::string& note : target_.notes) out << markupText(note) << '\n';
      out << "</system-out>\n";
    }
    out << "  </testsuite>\n";
  }

 private:
  void begin(const std::string& name) {
    ++counts_.tests;
    cases_ << "    <testcase classname=\"" << className_ << "\" name=\"" << markupText(name)
           << "\" time=\"0\"";
  }
  void writeReading() {
    begin("comparison");
    if (target_.outcome == Outcome::notBegun) {
      ++counts_.skipped;
      cases_ << "><skipped message=\"not begun\"/></testcase>\n";
    } else if (target_.outcome == Outcome::unread) {
      ++counts_.errors;
      cases_ << ">\n      <error type=\"unread\" message=\""
             << (target_.causes.empty() ? "could not be read" : markupText(target_.causes.front()))
             << "\">";
      for (const std::string& cause : target_.causes) cases_ << markupText(cause) << '\n';
      cases_ << "</error>\n    </testcase>\n";
    } else {
      cases_ << "/>\n";
    }
  }
  void writeFailure(const ObjectName& object, const std::vector<const Difference*>& differences) {
    begin(titleOf(object));
    ++counts_.failures;
    cases_ << ">\n      <failure type=\"difference\" message=\""
           << markupText(differences.size() == 1
                             ? differences.front()->line
                             : std::to_string(differences.size()) + " differences")
           << "\">";
    for (const Difference* one : differences) cases_ << markupText(one->line) << '\n';
    cases_ << "</failure>\n    </testcase>\n";
  }
  void writeOther(const ObjectName& object) {
    begin(titleOf(object));
    if (target_.outcome != Outcome::unread) {
      cases_ << "/>\n";
      return;
    }
    ++counts_.skipped;
    cases_ << "><skipped message=\"not everything could be compared\"/></testcase>\n";
  }

  const ComparedTarget& target_;
  std::string className_;
  Counts counts_;
  std::ostringstream cases_;
};

}  // namespace

void writeJunit(const CollectedRun& run, std::ostream& out) {
  const std::string moment = momentText(run.end);
  std::vector<Suite> suites;
  suites.reserve(run.targets.size());
  Counts all;
  double seconds = 0;
  for (const ComparedTarget& target : run.targets) {
    all.add(suites.emplace_back(target).counts());
    seconds += target.seconds;
  }
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"kelvane\"";
  all.write(out);
  out << " time=\"" << secondsText(seconds) << "\">\n";
  for (const Suite& suite : suites) suite.write(moment, out);
  out << "</testsuites>\n";
}

}  // namespace kelvane::report
