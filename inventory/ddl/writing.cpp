#include "inventory/ddl/writing.h"

#include <algorithm>
#include <array>

#include "inventory/ddl/column_names.h"
#include "inventory/ddl/file_names.h"
#include "inventory/ddl/later.h"
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

std::optional<std::string> Writing::laterIn(std::string_view text, bool quotedIdentifier) const {
  if (has(TargetRelease::ase16)) return std::nullopt;
  // What the side itself took, it takes again.
  if (const auto own = releaseOf(database_.server); own && *release_ >= *own) return std::nullopt;
  return inventory::laterIn(text, quotedIdentifier, *release_, [&](std::string_view name) {
    return functions_.contains(key(std::string(name)));
  });
}

bool Writing::allowsName(std::string_view name, Phase phase, const std::string& what) {
  if (fits(name)) return true;
  omit(phase, what, lacks(kLongNames));
  return false;
}

std::optional<std::string> Writing::missingColumnIn(const Table& table, std::string_view expression,
                                                    bool quotedIdentifier) const {
  return inventory::missingColumnIn(expression, quotedIdentifier, [&](std::string_view column) {
    return std::ranges::any_of(table.columns,
                               [&](const Column& one) { return isSame(one.name, column); });
  });
}

bool Writing::isSame(std::string_view a, std::string_view b) const {
  return a == b || (database_.server.ignoresCase && key(std::string(a)) == key(std::string(b)));
}

std::optional<bool> Writing::hasColumn(const QualifiedName& object, std::string_view column) const {
  const auto has = [&](const auto& columns) {
    return std::ranges::any_of(columns, [&](const auto& one) { return isSame(one.name, column); });
  };
  if (const auto table = tables_.find(shown(object)); table != tables_.end())
    return has(table->second->columns);
  if (const auto view = views_.find(shown(object));
      view != views_.end() && view->second->columnsKnown)
    return has(view->second->columns);
  return std::nullopt;
}

std::optional<std::string> Writing::missingIn(const QualifiedName& view,
                                              const Definition& definition) const {
  const std::vector<std::string> missing = formerNames_.missingIn(definition, view.owner);
  if (!missing.empty()) return missing.front() + ", which is not in the database";
  const auto column = missingColumnOfView(
      definition.text, definition.quotedIdentifier,
      [&](std::string_view owner, std::string_view table, std::string_view name) {
        if (!owner.empty()) return hasColumn({std::string(owner), std::string(table)}, name);
        const auto own = hasColumn({view.owner, std::string(table)}, name);
        return own ? own : hasColumn({std::string(kDatabaseOwner), std::string(table)}, name);
      });
  if (column) return "column " + *column + ", which is not there";
  return std::nullopt;
}

bool Writing::addDefinition(Phase phase, Kind kind, const QualifiedName& name,
                            const std::string& what, const Definition& definition) {
  if (definition.state == Definition::State::whole && kind == Kind::view) {
    if (const auto missing = missingIn(name, definition)) {
      omit(phase, what, "names " + *missing);
      return false;
    }
  }
  std::vector<RenamedObject> renamed;
  if (kind != Kind::rule && kind != Kind::defaultObject) {
    renamed = formerNames_.renamedIn(definition, name.owner);
    std::erase_if(renamed, [&](const RenamedObject& one) { return one.name == name; });
    std::ranges::move(formerNames_.renamedTypesIn(definition), std::back_inserter(renamed));
  }
  return addText(phase, name, what, definition, std::move(renamed));
}

bool Writing::addTrigger(const std::string& what, const Trigger& trigger,
                         const QualifiedName& table) {
  std::vector<RenamedObject> renamed =
      formerNames_.renamedIn(trigger.definition, trigger.name.owner);
  std::erase_if(renamed, [&](const RenamedObject& one) { return one.name == table; });
  if (const auto former = formerNames_.formerTableIn(trigger.definition, table.name))
    renamed.push_back({Kind::table, table, *former});
  return addText(Phase::triggers, trigger.name, what, trigger.definition, std::move(renamed));
}

bool Writing::addText(Phase phase, const QualifiedName& name, const std::string& what,
                      const Definition& definition, std::vector<RenamedObject> renamed) {
  switch (definition.state) {
    case Definition::State::whole:
      break;
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
  if (const auto later = laterIn(definition.text, definition.quotedIdentifier)) {
    omit(phase, what, lacks(*later));
    return false;
  }
  std::optional<std::string> used = leftOutIn(definition, name.owner);
  for (const RenamedObject& one : renamed) {
    const std::string title = titleOf(one.kind, shown(one.name));
    if (isLeftOut(title)) used = title;
  }
  if (used) {
    omit(phase, what, *used + " is left out");
    return false;
  }
  const auto former = formerNames_.formerNameIn(definition, name.name);
  // A procedure of a group, of which others are there.
  if (former && created_.contains(shown(name))) renamed.push_back({Kind::procedure, name, *former});
  created_.insert(shown(name));
  // The other way round what stands in the way goes first and comes back last.
  std::vector<std::pair<std::string, std::string>> inTheWay;
  const auto moveAside = [&](const std::string& owner, const std::string& taken) {
    if (!formerNames_.isTaken(owner, taken)) return;
    inTheWay.emplace_back(owner, taken);
    renameIfThere(phase, owner, taken, formerNames_.freeName(inTheWay.size()));
  };
  if (former) moveAside(name.owner, *former);
  for (const RenamedObject& one : renamed) {
    if (one.name != name && one.kind != Kind::type) moveAside(one.name.owner, one.former);
    rename(phase, one.name.owner, one.name.name, one.former);
  }
  std::string text = definition.text;
  if (!has(TargetRelease::ase16)) {
    if (auto without = withoutReplace(text, definition.quotedIdentifier)) {
      text = *std::move(without);
      omit(phase, what + ": or replace", lacks("it"));
    }
  }
  add(phase, std::move(text), userFor(name.owner), definition.quotedIdentifier);
  script_.objects[current_].batches.back().isText = true;
  if (former) rename(phase, name.owner, *former, name.name);
  for (const RenamedObject& one : renamed) {
    if (one.name != name) rename(phase, one.name.owner, one.former, one.name.name);
  }
  for (; !inTheWay.empty(); inTheWay.pop_back()) {
    const auto& [owner, taken] = inTheWay.back();
    renameIfThere(phase, owner, formerNames_.freeName(inTheWay.size()), taken);
  }
  return true;
}

void Writing::rename(Phase phase, const std::string& owner, const std::string& from,
                     const std::string& to) {
  call(phase, "exec sp_rename " + argument({from}) + ", " + literal(to), userFor(owner));
}

void Writing::renameIfThere(Phase phase, const std::string& owner, const std::string& from,
                            const std::string& to) {
  call(phase,
       "if " + idOf(owner, from) + " is not null\n    exec sp_rename " + argument({from}) + ", " +
           literal(to),
       userFor(owner));
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

Script scriptOf(const Database& database, std::optional<TargetRelease> release,
                const Database& whole) {
  Writing writing(database, release, whole);
  writeSettings(writing);
  writePrincipals(writing);
  writeObjects(writing);
  return writing.take();
}

}  // namespace kelvane::inventory
