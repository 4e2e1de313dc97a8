// Steps for the database itself.

#include "change_script/changed_records.h"
#include "change_script/planner.h"

namespace kelvane::change_script {

using namespace inventory;

void planSettings(Planner& planner, const Change& change) {
  Settings& made = planner.made().settings;
  const std::string difference = described(change);
  for (const AttributeChange& one : change.attributes) {
    if (one.label == "owner") {
      planner.add(Stage::closing, difference,
                  {callOf(withLogin(one.was) + "exec sp_changedbowner " + literal(one.was))});
    } else {
      planner.omit(difference, "the settings of caches are left to those who run the server");
    }
  }
  for (const Change& part : change.parts) {
    const std::string what = described(change, &part);
    const auto onDatabase = [](std::string call) {
      return callOf(std::string(kThisDatabase) + std::move(call));
    };
    if (const auto* option = is<DatabaseOption>(part)) made.options.push_back(*option);
    if (const auto* segment = is<Segment>(part)) made.segments.push_back(*segment);
    if (const auto* old = was<DatabaseOption>(part)) {
      planner.add(Stage::endings, what,
                  {onDatabase("exec master..sp_dboption @db, " + literal(old->name) +
                              ", false\ncheckpoint")});
    }
    if (const auto* old = was<Segment>(part)) {
      planner.add(Stage::drops, what,
                  {onDatabase("exec sp_dropsegment " + literal(old->name) + ", @db")},
                  {Danger::dropObject});
    }
    if (const auto* old = was<Threshold>(part); old != nullptr && !old->lastChance) {
      planner.add(Stage::drops, what,
                  {onDatabase("exec sp_dropthreshold @db, " + literal(old->segment) + ", " +
                              std::to_string(old->freePages))},
                  part.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
    }
    if (const auto* now = is<Threshold>(part)) made.thresholds.push_back(*now);
  }
  planPermissions(planner, change, {});
  planner.describeMade(Kind::database, "database", difference.empty() ? "database" : difference);
}

}  // namespace kelvane::change_script
