#include "inventory/ddl/former_names.h"

#include <algorithm>
#include <array>

#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kOwnerOfDatabase = "dbo";

/// Those of the server are in no list of objects.
bool isOfServer(std::string_view name) {
  static constexpr std::array<std::string_view, 4> kBegins{"sys", "mon", "spt_", "syb"};
  return std::ranges::any_of(kBegins,
                             [&](std::string_view begin) { return name.starts_with(begin); });
}

}  // namespace

FormerNames::FormerNames(const Database& database)
    : ignoresCase_(database.server.ignoresCase), database_(database.server.database) {
  const auto addPresent = [&](const auto& records) {
    for (const auto& one : records) present_.insert(key(one.name.owner, one.name.name));
  };
  addPresent(database.defaults);
  addPresent(database.rules);
  addPresent(database.tables);
  addPresent(database.views);
  addPresent(database.functions);
  addPresent(database.procedures);
  for (const Table& one : database.tables) addPresent(one.triggers);
  for (const View& one : database.views) addPresent(one.triggers);

  const auto addNamed = [&](Kind kind, const auto& records) {
    for (const auto& one : records)
      add(kind, one.name, formerNameIn(one.definition, one.name.name));
  };
  addNamed(Kind::view, database.views);
  addNamed(Kind::function, database.functions);
  for (const Table& one : database.tables) addTriggers(Kind::table, one.name, one.triggers);
  for (const View& one : database.views) addTriggers(Kind::view, one.name, one.triggers);

  for (const UserType& one : database.types) types_.insert(key({}, one.name.name));
  for (const Function& one : database.functions) addTypes(one.definition, one.parameters);
  for (const Procedure& one : database.procedures) addTypes(one.definition, one.parameters);

  const auto isFree = [&] {
    return std::ranges::none_of(present_, [&](const std::string& one) {
      return one.find('.' + freeName_) != std::string::npos;
    });
  };
  while (!isFree()) freeName_ += '_';
}

std::optional<std::string> FormerNames::formerNameIn(const Definition& definition,
                                                     std::string_view name) const {
  const auto created = createdObject(definition.text, definition.quotedIdentifier);
  if (!created || isSame(created->name, name)) return std::nullopt;
  return std::string(created->name);
}

std::optional<std::string> FormerNames::formerTableIn(const Definition& trigger,
                                                      std::string_view table) const {
  std::optional<std::string> former;
  bool isFirst = true;
  forEachObject(trigger.text, trigger.quotedIdentifier, [&](const UsedObject& used) {
    if (std::exchange(isFirst, false) && !isSame(used.name, table)) former = used.name;
  });
  return former;
}

std::vector<RenamedObject> FormerNames::renamedIn(const Definition& definition,
                                                  std::string_view owner) const {
  std::vector<RenamedObject> found;
  if (former_.empty()) return found;
  forEachObject(definition.text, definition.quotedIdentifier, [&](const UsedObject& used) {
    if (!isHere(used)) return;
    for (const std::string_view of : {used.owner, owner, kOwnerOfDatabase}) {
      if (of.empty() || (!used.owner.empty() && of != used.owner)) continue;
      if (isTaken(of, used.name)) return;
      const auto former = former_.find(key(of, used.name));
      if (former == former_.end() || !former->second) continue;
      const RenamedObject& object = all_[*former->second];
      const auto isIt = [&](const RenamedObject& one) { return one.name == object.name; };
      if ((used.isCall && object.kind != Kind::function) || std::ranges::any_of(found, isIt))
        return;
      return found.push_back(object);
    }
  });
  return found;
}

std::vector<std::string> FormerNames::missingIn(const Definition& view,
                                                std::string_view owner) const {
  std::vector<std::string> missing;
  forEachObject(view.text, view.quotedIdentifier, [&](const UsedObject& used) {
    if (used.isCall || used.isBehindOn || !isHere(used) || isOfServer(used.name)) return;
    for (const std::string_view of : {used.owner, owner, kOwnerOfDatabase}) {
      if (of.empty() || (!used.owner.empty() && of != used.owner)) continue;
      if (isTaken(of, used.name)) return;
      const auto former = former_.find(key(of, used.name));
      if (former != former_.end() && former->second) return;
    }
    std::string name(used.owner);
    name += (name.empty() ? "" : ".") + std::string(used.name);
    if (std::ranges::find(missing, name) == missing.end()) missing.push_back(std::move(name));
  });
  return missing;
}

void FormerNames::add(Kind kind, const QualifiedName& name,
                      const std::optional<std::string>& former) {
  if (!former) return;
  const auto [found, isNew] = former_.try_emplace(key(name.owner, *former), all_.size());
  // Two that had the same name: which of them a text means is not certain.
  if (!isNew && found->second && all_[*found->second].name != name) found->second.reset();
  all_.push_back({kind, name, *former});
}

void FormerNames::addTriggers(Kind kind, const QualifiedName& table,
                              const std::vector<Trigger>& triggers) {
  for (const Trigger& one : triggers) add(kind, table, formerTableIn(one.definition, table.name));
}

/// The catalog knows what a parameter's type is, whatever the text calls it.
void FormerNames::addTypes(const Definition& definition, const std::vector<Parameter>& parameters) {
  const bool hasOwnType = std::ranges::any_of(
      parameters, [](const Parameter& one) { return !one.type.owner.isDefault(); });
  if (!hasOwnType) return;
  std::unordered_set<std::string> isDeclared;
  forEachDeclaration(
      definition.text, definition.quotedIdentifier,
      [&](std::string_view variable, std::string_view type) {
        // Behind its declaration anything may follow it.
        if (!isDeclared.insert(key({}, variable)).second) return;
        const auto one = std::ranges::find_if(parameters, [&](const Parameter& parameter) {
          return isSame(parameter.name, variable) && !parameter.type.owner.isDefault();
        });
        if (one == parameters.end() || types_.contains(key({}, type))) return;
        formerTypes_.try_emplace(
            key({}, type),
            RenamedObject{Kind::type, {*one->type.owner, one->type.name}, std::string(type)});
      });
}

std::vector<RenamedObject> FormerNames::renamedTypesIn(const Definition& definition) const {
  std::vector<RenamedObject> found;
  if (formerTypes_.empty()) return found;
  forEachDeclaration(
      definition.text, definition.quotedIdentifier, [&](std::string_view, std::string_view type) {
        const auto former = formerTypes_.find(key({}, type));
        if (former == formerTypes_.end()) return;
        const auto isIt = [&](const RenamedObject& one) { return one.name == former->second.name; };
        if (std::ranges::none_of(found, isIt)) found.push_back(former->second);
      });
  return found;
}

bool FormerNames::isSame(std::string_view a, std::string_view b) const {
  return a == b || (ignoresCase_ && toUtf8(foldCase(toUtf16(a))) == toUtf8(foldCase(toUtf16(b))));
}

std::string FormerNames::key(std::string_view owner, std::string_view name) const {
  const std::string key = std::string(owner) + '.' + std::string(name);
  return ignoresCase_ ? toUtf8(foldCase(toUtf16(key))) : key;
}

}  // namespace kelvane::inventory
