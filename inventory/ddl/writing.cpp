#include "inventory/ddl/writing.h"

#include <algorithm>
#include <array>

#include "inventory/ddl/file_names.h"
#include "inventory/ddl/used_names.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kDatabaseOwner = "dbo";

/// Each line of the text as a comment.
std::string commented(std::string_view text) {
  std::string all = "-- ";
  for (const char c : text) {
    if (c == '\r') continue;
    all += c;
    if (c == '\n') all += "-- ";
  }
  return all;
}

}  // namespace

std::string_view Writing::releaseName() const {
  if (!release_) return "ASE";
  switch (*release_) {
    case TargetRelease::ase125:
      return "ASE 12.5";
    case TargetRelease::ase15:
      return "ASE 15";
    case TargetRelease::ase16:
      return "ASE 16";
  }
  return {};
}

std::size_t Writing::begin(Kind kind, std::string name, const std::vector<std::string>& fileName) {
  const std::string path =
      kind == Kind::database ? "database" : folderOf(kind) + '/' + inventory::fileName(fileName);
  script_.objects.push_back({kind, std::move(name), path + ".sql", {}});
  current_ = script_.objects.size() - 1;
  return current_;
}

void Writing::add(Phase phase, std::string text, std::string user, bool quotedIdentifier) {
  script_.objects[current_].batches.push_back(
      {phase, std::move(text), std::move(user), quotedIdentifier, false});
}

void Writing::omit(Phase phase, std::string what, std::string reason) {
  // A comment is a batch of its own, so that it is not kept with the text that follows.
  add(phase, commented("Left out: " + what + ": " + reason), {}, false);
  leaveOut(what);
  omissions_.push_back({current_, {std::move(what), std::move(reason)}});
}

bool Writing::allowsUse(Phase phase, const std::string& what, const std::string& used) {
  if (!isLeftOut(used)) return true;
  omit(phase, what, used + " is left out");
  return false;
}

std::string Writing::key(const std::string& what) const {
  return database_.server.ignoresCase ? toUtf8(foldCase(toUtf16(what))) : what;
}

std::optional<std::string> Writing::leftOutIn(const Definition& definition,
                                              const std::string& owner) const {
  if (leftOut_.empty()) return std::nullopt;
  std::optional<std::string> found;
  const auto look = [&](std::string_view kind, std::string_view of, std::string_view name) {
    std::string what = std::string(kind) + " " + std::string(of) + "." + std::string(name);
    if (!found && isLeftOut(what)) found = std::move(what);
  };
  const auto lookAtAll = [&](std::string_view kind, std::string_view of, std::string_view name) {
    if (!of.empty()) return look(kind, of, name);
    look(kind, owner, name);
    look(kind, "dbo", name);
  };
  forEachObject(definition.text, definition.quotedIdentifier, [&](const UsedObject& used) {
    if (!used.database.empty() && used.database != database_.server.database) return;
    if (used.isCall) return lookAtAll("function", used.owner, used.name);
    for (const char* const kind : {"table", "view", "function"})
      lookAtAll(kind, used.owner, used.name);
  });
  // Of parameters and variables.
  forEachName(definition.text, definition.quotedIdentifier,
              [&](std::string_view name) { lookAtAll("type", {}, name); });
  return found;
}

std::optional<std::string> Writing::leftOutFunctionIn(std::string_view text, bool quotedIdentifier,
                                                      const std::string& owner) const {
  std::optional<std::string> found;
  if (leftOut_.empty() || database_.functions.empty()) return found;
  forEachObject(text, quotedIdentifier, [&](const UsedObject& used) {
    for (const std::string_view of : {used.owner, std::string_view(owner), kDatabaseOwner}) {
      if (found || of.empty() || (!used.owner.empty() && of != used.owner)) continue;
      std::string what = titleOf(Kind::function, std::string(of) + '.' + std::string(used.name));
      if (isLeftOut(what)) found = std::move(what);
    }
  });
  return found;
}

bool Writing::fits(std::string_view name) const {
  constexpr std::size_t kLongest = 30;
  return has(TargetRelease::ase15) || name.size() <= kLongest;
}

bool Writing::hasType(const DataType& type) const {
  static constexpr std::array<std::string_view, 7> kLater{
      "bigdatetime",       "bigint",       "bigtime",        "unitext",
      "unsigned smallint", "unsigned int", "unsigned bigint"};
  return has(TargetRelease::ase15) || !type.owner.isDefault() ||
         std::ranges::find(kLater, type.name) == kLater.end();
}

bool Writing::allowsType(const DataType& type, Phase phase, const std::string& what) {
  if (hasType(type)) return true;
  omit(phase, what, lacks(type.name));
  return false;
}

std::string Writing::lacks(std::string_view what) const {
  return std::string(releaseName()) + " does not have " + std::string(what);
}

bool Writing::allows(TargetRelease since, Phase phase, const std::string& what) {
  if (has(since)) return true;
  omit(phase, what, lacks("it"));
  return false;
}

bool Writing::allowsName(std::string_view name, Phase phase, const std::string& what) {
  if (fits(name)) return true;
  omit(phase, what, lacks(kLongNames));
  return false;
}

bool Writing::addDefinition(Phase phase, const std::string& what, const Definition& definition,
                            const std::string& owner) {
  switch (definition.state) {
    case Definition::State::whole:
      if (const auto used = leftOutIn(definition, owner)) {
        omit(phase, what, *used + " is left out");
        return false;
      }
      add(phase, definition.text, userFor(owner), definition.quotedIdentifier);
      script_.objects[current_].batches.back().isText = true;
      return true;
    case Definition::State::hidden:
      omit(phase, what, "its text is hidden");
      return false;
    case Definition::State::incomplete:
      omit(phase, what, "a part of its text is missing in the catalog");
      return false;
    case Definition::State::unreadable:
      omit(phase, what, "the login may not read its text");
      return false;
  }
  return false;
}

std::vector<Batch> Writing::takeBatches() {
  std::vector<Batch> batches = std::move(script_.objects.back().batches);
  script_.objects.pop_back();
  std::ranges::stable_sort(batches, {}, &Batch::phase);
  return batches;
}

Script Writing::take() {
  std::ranges::stable_sort(omissions_, {}, &OmissionOfObject::object);
  for (OmissionOfObject& one : omissions_) script_.omissions.push_back(std::move(one.omission));
  std::erase_if(script_.objects, [](const ScriptedObject& one) { return one.batches.empty(); });
  for (ScriptedObject& one : script_.objects)
    std::ranges::stable_sort(one.batches, {}, &Batch::phase);
  tellApart(script_.objects);
  return std::move(script_);
}

std::optional<TargetRelease> releaseOf(const Server& server) {
  constexpr std::string_view kProduct = "Adaptive Server Enterprise/";
  if (!server.version.starts_with(kProduct)) return std::nullopt;
  const int major = std::atoi(server.version.c_str() + kProduct.size());
  if (major >= 16) return TargetRelease::ase16;
  return major >= 15 ? TargetRelease::ase15 : TargetRelease::ase125;
}

Script scriptOf(const Database& database, std::optional<TargetRelease> release) {
  Writing writing(database, release);
  writeSettings(writing);
  writePrincipals(writing);
  writeObjects(writing);
  return writing.take();
}

}  // namespace kelvane::inventory
