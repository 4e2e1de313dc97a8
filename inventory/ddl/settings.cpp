// The database itself: its owner, segments, thresholds, options and messages.

#include <algorithm>
#include <array>

#include "inventory/ddl/writing.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kNewOwner = "sa";

std::string onDatabase(std::string_view call) {
  return std::string(kThisDatabase) + std::string(call);
}

/// The first device of the database, which the catalog does not tell of a segment.
std::string segment(const Writing& writing, const std::string& name) {
  const std::string_view place = writing.has(TargetRelease::ase15)
                                     ? "u.vdevno = d.vdevno"
                                     : "u.vstart between d.low and d.high";
  return onDatabase(
             "declare @device varchar(255)\n"
             "select @device = isnull(min(d.name), 'master')\n"
             "    from master..sysusages u, master..sysdevices d\n"
             "    where u.dbid = db_id() and ") +
         std::string(place) + "\nexec sp_addsegment " + literal(name) + ", @db, @device";
}

/// Whether the database cannot be changed afterwards.
bool closesDatabase(const DatabaseOption& option) {
  static constexpr std::array<std::string_view, 3> kClosing{"dbo use only", "read only",
                                                            "single user"};
  return std::ranges::find(kClosing, option.name) != kClosing.end();
}

void writeOption(Writing& writing, const DatabaseOption& option) {
  // Of another database the procedure would refuse to set them outside of master.
  writing.call(
      closesDatabase(option) ? Phase::closing : Phase::endings,
      onDatabase("exec master..sp_dboption @db, " + literal(option.name) + ", true\ncheckpoint"));
}

void writeThreshold(Writing& writing, const Threshold& threshold) {
  if (threshold.lastChance) {
    return writing.omit(Phase::endings, "the last-chance threshold of segment " + threshold.segment,
                        "the server makes it");
  }
  writing.call(
      Phase::endings,
      onDatabase("exec sp_addthreshold @db, " + literal(threshold.segment) + ", " +
                 std::to_string(threshold.freePages) + ", " + literal(threshold.procedure)));
}

/// A number in the place of the name, as the reader shows it, is no argument of the procedure.
bool isLanguageKnown(const Message& message) { return !message.language.starts_with("language "); }

void writeMessages(Writing& writing) {
  for (const Message& message : writing.database().messages) {
    std::vector<std::string> file{std::to_string(message.number)};
    std::string call = "exec sp_addmessage " + file.front() + ", " + literal(message.text);
    if (!message.language.empty()) {
      file.push_back(message.language);
      call += ", " + literal(message.language);
    }
    writing.begin(Kind::message, nameOf(message), file);
    if (isLanguageKnown(message)) {
      writing.call(Phase::settings, std::move(call));
    } else {
      writing.omit(Phase::settings, "message " + nameOf(message),
                   "the server does not name its language");
    }
  }
}

}  // namespace

void writeSettings(Writing& writing) {
  const Settings& settings = writing.database().settings;
  writing.begin(Kind::database, "database", {});
  for (const Segment& one : settings.segments)
    writing.call(Phase::settings, segment(writing, one.name));
  // The rights to create objects are needed by those who are to own some.
  writePermissions(writing, Phase::values, {}, settings.permissions);
  for (const Threshold& threshold : settings.thresholds) writeThreshold(writing, threshold);
  for (const DatabaseOption& option : settings.options) writeOption(writing, option);
  if (!settings.owner.empty() && settings.owner != kNewOwner)
    writing.call(Phase::endings,
                 withLogin(settings.owner) + "exec sp_changedbowner " + literal(settings.owner));
  if (!settings.cache.empty())
    writing.call(Phase::endings,
                 onDatabase("exec master..sp_bindcache " + literal(settings.cache) + ", @db"));
  writeLockPromotion(writing, Phase::endings, {}, settings.pageLockPromotion,
                     settings.rowLockPromotion);
  writeMessages(writing);
}

}  // namespace kelvane::inventory
