#include "change_script/reach.h"

#include <algorithm>
#include <ranges>
#include <string>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "inventory/attributes.h"
#include "inventory/ddl/former_names.h"
#include "inventory/ddl/tokens.h"
#include "inventory/ddl/use_graph.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

bool isOfUsualName(char c) { return isOfName(c) && static_cast<unsigned char>(c) < 0x80; }

/// Calls visit(word) for each one that may be a name, in comments and strings too.
template <class Visit>
void forEachWord(std::string_view text, Visit visit) {
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && isOfUsualName(text[end])) ++end;
    if (end > at) visit(text.substr(at, end - at));
    at = end + 1;
  }
}

bool concernsAll(const Change& change) {
  switch (change.kind) {
    case Kind::user:
    case Kind::alias:
    case Kind::group:
    case Kind::role:
    case Kind::message:
      return !change.isOnlyInSource();
    case Kind::database:
      return std::ranges::any_of(change.parts,
                                 [](const Change& part) { return part.kind == Kind::segment; });
    default:
      return false;
  }
}

/// Objects as numbers, by the words that texts have for them, and which of them use which.
class Uses {
 public:
  explicit Uses(const Database& database) {
    std::size_t count = 0;
    const auto addAll = [&](const auto& records) {
      for (const auto& one : records) addName(one.name.name, count++);
    };
    addAll(database.tables);
    addAll(database.views);
    addAll(database.procedures);
    addAll(database.functions);
    many_ = count;
    addAll(database.rules);
    addAll(database.defaults);
    addAll(database.types);
    addAll(database.encryptionKeys);
    const FormerNames former(database);
    for (const RenamedObject& one : former.all()) {
      // Others that have the name get it too: at worst too much is made.
      const std::vector<std::size_t> objects = of(one.name.name);
      for (const std::size_t at : objects) addName(one.former, at);
    }
    users_.resize(count);
    needs_.resize(count);
    links_.resize(count);
    linked_.resize(count);
    std::size_t at = 0;
    for (const Table& table : database.tables) addTable(at++, table);
    for (const View& view : database.views) {
      addUses(at, view.definition.text);
      addTriggers(at, view.triggers);
      addLogicalKeys(at, view.logicalKeys);
      ++at;
    }
    // Their texts stay as they are, whatever becomes of what they name.
    for (const Procedure& one : database.procedures) addNeeds(at++, one.definition.text);
    for (const Function& one : database.functions) addUses(at++, one.definition.text);
    for (const Rule& one : database.rules) addNeeds(at++, one.definition.text);
    for (const Default& one : database.defaults) addNeeds(at++, one.definition.text);
    for (const UserType& type : database.types) {
      for (const QualifiedName* bound : {&type.defaultValue, &type.rule, &type.accessRule})
        addUses(at, bound->name);
      ++at;
    }
  }

  std::size_t count() const { return needs_.size(); }
  /// Of objects that are not always made.
  std::size_t countOfMany() const { return many_; }
  /// Whether each object can be found by a word.
  bool areNamed() const { return areNamed_; }

  /// Calls visit(object) for each one that may be meant by a word of `text`.
  template <class Visit>
  void forEachNamed(std::string_view text, Visit visit) const {
    forEachWord(text, [&](std::string_view word) {
      for (const std::size_t at : of(word)) visit(at);
    });
  }
  /// The objects, all that changes with what it uses, and what has links to any of them.
  std::vector<bool> concernedBy(std::vector<std::size_t> objects) const {
    const std::vector<bool> users = reachable(users_, std::move(objects));
    std::vector<bool> concerned = users;
    for (std::size_t at = 0; at < users.size(); ++at) {
      if (!users[at]) continue;
      for (const std::size_t linked : linked_[at]) concerned[linked] = true;
    }
    return concerned;
  }
  /// What foreign keys, logical keys and triggers of the object name.
  const std::vector<std::size_t>& linksOf(std::size_t at) const { return links_[at]; }
  std::vector<bool> neededBy(std::vector<std::size_t> objects) const {
    return reachable(needs_, std::move(objects));
  }

 private:
  using Edges = std::vector<std::vector<std::size_t>>;

  /// A name of several words, as one with a blank, is found by the first of them.
  void addName(std::string_view name, std::size_t at) {
    bool isNamed = false;
    forEachWord(name, [&](std::string_view word) {
      if (!std::exchange(isNamed, true)) byWord_[lowerCase(word)].push_back(at);
    });
    areNamed_ = areNamed_ && isNamed;
  }
  const std::vector<std::size_t>& of(std::string_view word) const {
    static const std::vector<std::size_t> kNone;
    const auto found = byWord_.find(lowerCase(word));
    return found == byWord_.end() ? kNone : found->second;
  }

  void addNeeds(std::size_t at, std::string_view text) {
    forEachNamed(text, [&](std::size_t used) { needs_[at].push_back(used); });
  }
  /// The user needs what is used, and changes with it.
  void addUses(std::size_t at, std::string_view text) {
    addNeeds(at, text);
    forEachNamed(text, [&](std::size_t used) { users_[used].push_back(at); });
  }
  /// The link goes with what is named, the user stays.
  void addLinks(std::size_t at, std::string_view text) {
    forEachNamed(text, [&](std::size_t used) {
      links_[at].push_back(used);
      linked_[used].push_back(at);
    });
  }
  void addTriggers(std::size_t at, const std::vector<Trigger>& triggers) {
    for (const Trigger& one : triggers) {
      addName(one.name.name, at);
      forEachNamed(one.definition.text, [&](std::size_t used) { links_[at].push_back(used); });
    }
  }
  void addLogicalKeys(std::size_t at, const std::vector<LogicalKey>& keys) {
    for (const LogicalKey& one : keys) addLinks(at, one.other.name);
  }
  void addTable(std::size_t at, const Table& table) {
    for (const Column& column : table.columns) {
      const DataType& type = column.type.type;
      if (!type.owner.isDefault()) addUses(at, type.name);
      for (const std::string* text :
           {&column.defaultValue->text, &column.defaultValue->bound.name, &column.rule->name,
            &column.accessRule->name, &column.encryptionKey->name, &column.computed->text})
        addUses(at, *text);
    }
    for (const Check& check : table.checks) addUses(at, check.condition.text);
    for (const Index& index : table.indexes) {
      for (const KeyColumn& key : index.columns) {
        if (key.isExpression) addUses(at, key.name);
      }
    }
    for (const ForeignKey& key : table.foreignKeys) addLinks(at, key.referenced.name);
    addLogicalKeys(at, table.logicalKeys);
    addTriggers(at, table.triggers);
  }

  std::size_t many_ = 0;
  std::unordered_map<std::string, std::vector<std::size_t>> byWord_;
  bool areNamed_ = true;
  Edges users_, needs_, links_, linked_;
};

/// Objects that the script names, and those that differ, whether it names them or not.
std::vector<std::size_t> namedIn(const Uses& uses, const std::vector<Change>& changes,
                                 std::string_view script) {
  std::vector<std::size_t> named;
  // What it says of a type, a rule or a key that does not differ is about one that uses it.
  uses.forEachNamed(script, [&](std::size_t at) {
    if (at < uses.countOfMany()) named.push_back(at);
  });
  for (const Change& change : changes)
    uses.forEachNamed(change.name, [&](std::size_t at) { named.push_back(at); });
  return named;
}

/// Without its links.
template <class Record>
Record alone(Record record) {
  if constexpr (requires { record.triggers; }) record.triggers.clear();
  if constexpr (requires { record.logicalKeys; }) record.logicalKeys.clear();
  if constexpr (requires { record.foreignKeys; }) record.foreignKeys.clear();
  return record;
}

/// Of the kinds of which a database may have many thousands of objects.
template <class Record>
constexpr bool kIsOneOfMany =
    std::disjunction_v<std::is_same<Record, Table>, std::is_same<Record, View>,
                       std::is_same<Record, Procedure>, std::is_same<Record, Function>>;

/// The order in which readers list them.
template <class Record>
bool isBefore(const Record& a, const Record& b) {
  return std::tie(a.name.name, a.name.owner) < std::tie(b.name.name, b.name.owner);
}

}  // namespace

Reach::Reach(const Database& target, const std::vector<Change>& changes, std::string_view script)
    : target_(target) {
  const Uses uses(target);
  if (!uses.areNamed() || std::ranges::any_of(changes, concernsAll)) {
    isAll_ = true;
    part_ = target;
    return;
  }
  std::vector<std::size_t> roots;
  const std::vector<bool> isConcerned = uses.concernedBy(namedIn(uses, changes, script));
  for (std::size_t at = 0; at < uses.count(); ++at) {
    if (!isConcerned[at] && at < uses.countOfMany()) continue;
    roots.push_back(at);
    roots.insert(roots.end(), uses.linksOf(at).begin(), uses.linksOf(at).end());
  }
  for (const inventory::Threshold& one : target.settings.thresholds)
    uses.forEachNamed(one.procedure, [&](std::size_t at) { roots.push_back(at); });
  const std::vector<bool> isNeeded = uses.neededBy(std::move(roots));
  part_.server = target.server;
  part_.settings = target.settings;
  part_.gaps = target.gaps;
  std::size_t at = 0;
  forEachObjects([&]<class Record>(const Parts<Database, Record>& objects) {
    std::vector<Record>& part = part_.*objects.member;
    const std::vector<Record>& all = target.*objects.member;
    if constexpr (!kIsOneOfMany<Record>) {
      part = all;
    } else {
      for (const Record& record : all) {
        const std::size_t object = at++;
        if (isConcerned[object]) {
          part.push_back(record);
        } else {
          untouched_.insert(&record);
          if (isNeeded[object]) part.push_back(alone(record));
        }
      }
    }
  });
}

Database Reach::whole(Database after) const {
  if (isAll_) return after;
  forEachObjects([&]<class Record>(const Parts<Database, Record>& objects) {
    if constexpr (kIsOneOfMany<Record>) {
      std::vector<Record> all;
      std::unordered_set<std::string> untouched;
      for (const Record& record : target_.*objects.member) {
        if (!untouched_.contains(&record)) continue;
        untouched.insert(nameOf(record));
        all.push_back(record);
      }
      for (Record& record : after.*objects.member) {
        if (!untouched.contains(nameOf(record))) all.push_back(std::move(record));
      }
      std::ranges::stable_sort(all, isBefore<Record>);
      after.*objects.member = std::move(all);
    }
  });
  return after;
}

}  // namespace kelvane::change_script
