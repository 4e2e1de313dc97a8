// Two databases that a command compares: read, brought under rules that hold for both, compared.
//
// Lifetime: request and console outlive it. Threading: one thread.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "change_script/renames.h"
#include "cli/screen/console.h"
#include "cli/sides/database_reading.h"
#include "cli/sides/side.h"
#include "cli/verbs/known_file.h"
#include "cli/verbs/report_output.h"
#include "cli/words/compare_request.h"
#include "findings/known_changes.h"
#include "inventory/compare/compare.h"
#include "report/report_header.h"

namespace kelvane::cli {

// In steps that each find what the ones before left.
class Comparison {
 public:
  using Changes = std::vector<inventory::Change>;

  Comparison(const CompareRequest& request, const Console& console)
      : request_(request), console_(console), rules_(request.inventory) {}

  // Lists of known differences and both sides. Throws CommandError.
  void read(const OpenSide& open);
  // The same with what was read already.
  void take(DatabaseReading source, DatabaseReading target);
  // What the target calls otherwise than the source gets the source's name; see targetAsRead().
  // Throws CommandError for a hint that matches nothing.
  void rename(const std::vector<change_script::Rename>& hints);
  // What both sides tell, and as their servers compare names. Throws CommandError for patterns that
  // leave nothing.
  enum class Unmatched { complain, ignore };  // patterns that match nothing
  void agreeOnRules(Unmatched unmatched = Unmatched::complain);
  void compare();
  // The same where somebody else hears of signals.
  void findChanges() { changes_ = inventory::compare(databases_[0], databases_[1], rules_); }
  Written writeAccepts();
  // Is known of scripts alone, whose complaints have been heard.
  void noteIncompleteSides();
  void accept();
  // Those of other databases that are not accepted, nor set aside.
  Changes withoutAccepted(Changes changes) const;
  // Goes on with some of the changes. The others are no business of a script.
  void setAside(Changes others, Changes rest);
  bool hasSetAside() const { return !aside_.empty(); }
  void tellNotes() const;

  const Changes& changes() const { return changes_; }
  const std::array<inventory::Database, 2>& databases() const { return databases_; }
  const inventory::Database& targetAsRead() const { return asRead_ ? *asRead_ : databases_.back(); }
  // All of the target, where patterns left out some of it and a script is tried on it.
  const std::optional<inventory::Database>& targetBeforeSelection() const {
    return beforeSelection_;
  }
  bool takesPart(const inventory::Change& change) const;
  // Of both sides, with those that the comparison leaves out.
  const std::vector<inventory::Role>& rolesRead() const { return rolesRead_; }
  const inventory::Rules& rules() const { return rules_; }
  // Where scripts of either side made objects, where that was asked for.
  const std::vector<embedded::MadeObject>& made(std::size_t side) const {
    return readings_[side].made;
  }
  const ReportHeader& header() const { return header_; }
  ReportHeader& header() { return header_; }

 private:
  void takeRead(std::vector<DatabaseReading> readings);
  void renameOwners();
  void accept(const std::string& path, const findings::KnownChanges& list, bool isUpdated);
  void noteGaps();
  bool concerns(const inventory::Gap& gap) const;
  bool couldFind(const findings::KnownChange& known) const;

  const CompareRequest& request_;
  const Console& console_;
  inventory::Rules rules_;
  KnownFiles<findings::KnownChange> known_;
  std::vector<std::string> ofServers_;  // notes that nobody's options are the reason for
  ReportHeader header_{request_.shown[0], request_.shown[1], KELVANE_VERSION};
  std::vector<DatabaseReading> readings_;
  bool isProven_ = false;  // what a comparison does not find is not there
  std::array<inventory::Database, 2> databases_;
  std::optional<inventory::Database> asRead_;  // the target, where it has other names or objects
  std::optional<inventory::Database> beforeSelection_;
  std::vector<inventory::Role> rolesRead_;
  Changes changes_, aside_;
};

// Both sides of a request. Throws CommandError.
std::vector<DatabaseReading> readSides(const CompareRequest& request, const Console& console,
                                       const OpenSide& open);
// What of a side is read for it.
ReadingWish wishOf(const CompareRequest& request);

// "compared in 1.2 s", with -v.
void tellTime(const CompareRequest& request, std::string_view what, const Stopwatch& time,
              const Console& console);

}  // namespace kelvane::cli
