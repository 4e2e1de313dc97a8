#include "inventory/ddl/owner_names.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "inventory/attributes.h"
#include "inventory/ddl/tokens.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

template <class Record>
concept IsOwned = std::is_same_v<decltype(Record::name), QualifiedName>;

class Renaming {
 public:
  Renaming(Database& database, const OwnerNames& names) : database_(database), names_(names) {}

  OwnerRenaming run() {
    listObjects();
    OwnerRenaming result;
    for (const auto& [owner, name] : names_) {
      if (!owners_.contains(folded(owner))) result.unknown.push_back(owner);
    }
    takeOut(result.takenOut);
    forEachObjects([&](const auto& objects) {
      for (auto& object : database_.*objects.member) renameIn(object);
    });
    for (Gap& gap : database_.gaps) renameIn(gap);
    return result;
  }

 private:
  std::string folded(std::string_view name) const {
    return database_.server.ignoresCase ? lowerCase(name) : std::string(name);
  }
  std::string key(std::string_view owner, std::string_view name) const {
    return folded(owner) + '\n' + folded(name);
  }

  void listObjects() {
    forEachObjects([&](const auto& objects) {
      for (const auto& object : database_.*objects.member) {
        using Record = std::remove_cvref_t<decltype(object)>;
        if constexpr (IsOwned<Record>) add(object.name);
        if constexpr (requires { object.triggers; })
          for (const Trigger& trigger : object.triggers) add(trigger.name);
      }
    });
  }
  void add(const QualifiedName& name) {
    owners_.insert(folded(name.owner));
    objects_.insert(key(name.owner, name.name));
  }

  // Whose names others get, and who keep them.
  bool isTaken(const std::string& owner) const {
    const std::string own = folded(owner);
    const auto is = [&](const std::string& name) { return folded(name) == own; };
    return std::ranges::any_of(names_, [&](const auto& one) { return is(one.second); }) &&
           std::ranges::none_of(names_, [&](const auto& one) { return is(one.first); });
  }
  void takeOut(std::vector<std::string>& takenOut) {
    forEachObjects([&](const auto& objects) {
      auto& all = database_.*objects.member;
      using Record = typename std::remove_cvref_t<decltype(all)>::value_type;
      if constexpr (IsOwned<Record>) {
        std::erase_if(all, [&](const Record& one) {
          if (!isTaken(one.name.owner)) return false;
          takenOut.push_back(std::string(rowOf(objects.kind).singular) + ' ' + nameOf(one));
          return true;
        });
      }
    });
  }

  const std::string* newNameOf(std::string_view owner) const {
    const auto found = std::ranges::find_if(
        names_, [&](const auto& one) { return folded(one.first) == folded(owner); });
    return found == names_.end() ? nullptr : &found->second;
  }
  void renameOwner(std::string& owner) const {
    if (const std::string* const name = newNameOf(owner)) owner = *name;
  }
  bool isHere(const std::string& database) const {
    return database.empty() || database == database_.server.database;
  }

  template <class Record>
  void renameIn(Record& record) const {
    forEachAttribute<Record>([&](const auto& one) { renameInValue(record.*one.member); });
    forEachParts<Record>([&](const auto& parts) {
      for (auto& part : record.*parts.member) renameIn(part);
    });
  }
  void renameIn(Gap& gap) const {
    const std::size_t begin = gap.object.find(':') + 1, dot = gap.object.find('.', begin);
    if (begin == 0 || dot == gap.object.npos) return;
    if (const std::string* const name = newNameOf(gap.object.substr(begin, dot - begin)))
      gap.object.replace(begin, dot - begin, *name);
  }

  template <class Value>
  void renameInValue(Value&) const {}
  void renameInValue(QualifiedName& name) const { renameOwner(name.owner); }
  void renameInValue(DatabaseObjectName& name) const {
    if (isHere(name.database)) renameOwner(name.owner);
  }
  void renameInValue(DataType& type) const {
    if (type.owner.isDefault()) return;
    std::string owner = *type.owner;
    renameOwner(owner);
    type.owner = std::move(owner);
  }
  void renameInValue(ColumnType& type) const { renameInValue(type.type); }
  void renameInValue(DefaultValue& value) const {
    renameInValue(value.bound);
    renameInText(value.text, false);
  }
  void renameInValue(Definition& definition) const {
    renameInText(definition.text, definition.quotedIdentifier);
  }
  void renameInValue(std::vector<KeyColumn>& columns) const {
    for (KeyColumn& column : columns) {
      if (column.isExpression) renameInText(column.name, false);
    }
  }
  template <class Value>
  void renameInValue(Rare<Value>& rare) const {
    if (rare.isDefault()) return;
    Value value = *rare;
    renameInValue(value);
    rare = std::move(value);
  }

  // An owner stands before a dot and one of its objects.
  void renameInText(std::string& text, bool quotedIdentifier) const {
    std::array<Token, 3> last{};
    std::vector<std::pair<std::size_t, std::size_t>> places;
    const auto isName = [](const Token& token) {
      return token.type == Token::Type::name || token.type == Token::Type::quotedName;
    };
    forEachToken(text, quotedIdentifier, [&](const Token& token) {
      last = {last[1], last[2], token};
      const auto& [owner, dot, name] = last;
      if (!isName(owner) || !isName(name) || dot.text != ".") return;
      if (newNameOf(owner.text) == nullptr || !objects_.contains(key(owner.text, name.text)))
        return;
      places.emplace_back(owner.text.data() - text.data(), owner.text.size());
    });
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
      const std::string name = *newNameOf(text.substr(place->first, place->second));
      text.replace(place->first, place->second, name);
    }
  }

  Database& database_;
  const OwnerNames& names_;
  std::set<std::string> owners_;
  std::unordered_set<std::string> objects_;
};

}  // namespace

OwnerRenaming renameOwners(Database& database, const OwnerNames& names) {
  return Renaming(database, names).run();
}

}  // namespace kelvane::inventory
