// Names that texts have for objects which were renamed after the texts were created.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "inventory/ddl/used_names.h"
#include "inventory/kinds.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// An object that texts know under another name than the one that it has.
struct RenamedObject {
  Kind kind;
  QualifiedName name;
  std::string former;
};

class FormerNames {
 public:
  explicit FormerNames(const Database& database);

  /// What the text of an object calls it; none if that is its name.
  std::optional<std::string> formerNameIn(const Definition& definition,
                                          std::string_view name) const;
  /// The same for the table or view of a trigger.
  std::optional<std::string> formerTableIn(const Definition& trigger, std::string_view table) const;
  /// Objects that a text of `owner` names under former names.
  std::vector<RenamedObject> renamedIn(const Definition& definition, std::string_view owner) const;
  /// Types that a text declares variables of under former names.
  std::vector<RenamedObject> renamedTypesIn(const Definition& definition) const;
  /// Tables and views that the text of a view names and that are not there.
  std::vector<std::string> missingIn(const Definition& view, std::string_view owner) const;
  bool isTaken(std::string_view owner, std::string_view name) const {
    return present_.contains(key(owner, name));
  }
  /// A name that no object has, another one for each number.
  std::string freeName(std::size_t number) const { return freeName_ + std::to_string(number); }
  const std::vector<RenamedObject>& all() const { return all_; }

 private:
  std::string key(std::string_view owner, std::string_view name) const;
  bool isSame(std::string_view a, std::string_view b) const;
  void add(Kind kind, const QualifiedName& name, const std::optional<std::string>& former);
  void addTypes(const Definition& definition, const std::vector<Parameter>& parameters);
  void addTriggers(Kind kind, const QualifiedName& table, const std::vector<Trigger>& triggers);
  bool isHere(const UsedObject& used) const {
    return used.database.empty() || used.database == database_;
  }

  bool ignoresCase_;
  std::string database_;
  std::unordered_set<std::string> present_;
  std::vector<RenamedObject> all_;
  /// By former names that no object has now, and that only one had; the others have no number.
  std::unordered_map<std::string, std::optional<std::size_t>> former_;
  std::unordered_set<std::string> types_;  ///< that are there
  std::unordered_map<std::string, RenamedObject> formerTypes_;
  std::string freeName_ = "moved_aside_";
};

}  // namespace kelvane::inventory
