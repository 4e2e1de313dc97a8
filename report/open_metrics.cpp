#include <iomanip>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

#include "report/collected_reports.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

std::string labelText(std::string_view utf8) {
  std::string text = "\"";
  for (const char c : showMessage(utf8)) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
}

void beginFamily(std::string_view name, std::string_view unit, std::string_view help,
                 std::ostream& out) {
  out << "# TYPE " << name << " gauge\n";
  if (!unit.empty()) out << "# UNIT " << name << ' ' << unit << '\n';
  out << "# HELP " << name << ' ' << help << '\n';
}

}  // namespace

void writeOpenMetrics(const CollectedRun& run, std::ostream& out) {
  const auto isRead = [](const ComparedTarget& target) {
    return target.outcome == Outcome::equal || target.outcome == Outcome::differs;
  };
  beginFamily("kelvane_differences", "",
              "Differences between the reference and the target, by kind of object.", out);
  for (const ComparedTarget& target : run.targets) {
    if (!isRead(target)) continue;
    std::map<inventory::Kind, std::size_t> counts;
    for (const inventory::Kind kind : run.kinds) counts[kind] = 0;
    for (const Difference& one : target.differences) ++counts[one.object.kind];
    for (const auto& [kind, count] : counts)
      out << "kelvane_differences{target=" << labelText(target.name) << ",kind=\""
          << inventory::wordOf(kind) << "\"} " << count << '\n';
  }
  beginFamily("kelvane_read_ok", "", "Whether all of the target was read and compared.", out);
  for (const ComparedTarget& target : run.targets)
    out << "kelvane_read_ok{target=" << labelText(target.name) << "} "
        << (isRead(target) ? '1' : '0') << '\n';
  beginFamily("kelvane_read_seconds", "seconds", "How long it took to read and compare the target.",
              out);
  for (const ComparedTarget& target : run.targets) {
    if (target.outcome == Outcome::notBegun) continue;
    std::ostringstream seconds;
    seconds << std::fixed << std::setprecision(3) << target.seconds;
    out << "kelvane_read_seconds{target=" << labelText(target.name) << "} " << seconds.str()
        << '\n';
  }
  beginFamily("kelvane_last_run_seconds", "seconds", "When the last run ended, since 1970.", out);
  out << "kelvane_last_run_seconds " << run.end.time_since_epoch().count() << "\n# EOF\n";
}

}  // namespace kelvane::report
