// Puts the texts into the records, and what columns and types refer to by number.

#include <algorithm>
#include <array>
#include <cctype>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Whether the text begins with the word, in either case.
bool beginsWith(std::string_view text, std::string_view word) {
  if (text.size() < word.size()) return false;
  const auto isSame = [](char a, char b) {
    return a == std::tolower(static_cast<unsigned char>(b));
  };
  if (!std::equal(word.begin(), word.end(), text.begin(), isSame)) return false;
  if (text.size() == word.size()) return true;
  const auto next = static_cast<unsigned char>(text[word.size()]);
  return next < 0x80 && std::isalnum(next) == 0 && next != '_' && next != '#' && next != '$' &&
         next != '@';
}

std::string_view without(std::string_view text, std::string_view word) {
  text = trimmed(text);
  return beginsWith(text, word) ? trimmed(text.substr(word.size())) : text;
}

/// From the word check on, which some releases keep behind the name of the constraint.
std::string conditionOf(std::string_view text) {
  text = trimmed(text);
  if (beginsWith(text, "constraint")) {
    const std::size_t end = text.find('(');
    for (std::size_t at = 0; at < std::min(end, text.size()); ++at) {
      const bool isWord = at > 0 && kBlanks.find(text[at - 1]) != std::string_view::npos;
      if (isWord && beginsWith(text.substr(at), "check")) text = text.substr(at);
    }
  }
  return "check " + std::string(without(text, "check"));
}

bool isGenerated(const ObjectEntry& entry) {
  return entry.name.ends_with("_" + std::to_string(entry.id));
}

class Applying {
 public:
  explicit Applying(Reading& reading) : reading_(reading) {}

  void apply() {
    applyColumns();
    applyTables();
    applyTypes();
    for (auto& [id, entry] : reading_.objects) {
      if (entry.isWanted) applyObject(entry);
    }
    applyProcedures();
  }

 private:
  /// The text of an object, which says where it is read when it is not whole.
  Definition take(TextKey key, Gap gap) {
    const auto found = reading_.texts.find(key);
    Definition definition;
    if (found == reading_.texts.end()) {
      const bool isRefused = !reading_.unreadableTexts.empty();
      definition.state = isRefused ? Definition::State::unreadable : Definition::State::incomplete;
      addGap(std::move(gap), definition.state, "the catalog has no text of it");
      return definition;
    }
    definition.text = std::move(found->second.text);
    definition.state = found->second.state;
    definition.quotedIdentifier = found->second.quotedIdentifier;
    addGap(std::move(gap), definition.state,
           "a piece of it is missing, or is not in the character set of the server");
    return definition;
  }

  void addGap(Gap gap, Definition::State state, std::string missing) {
    switch (state) {
      case Definition::State::whole:
        return;
      case Definition::State::hidden:
        gap.reason = "it is hidden";
        break;
      case Definition::State::unreadable:
        gap.reason = reading_.unreadableTexts;
        break;
      case Definition::State::incomplete:
        gap.reason = std::move(missing);
        break;
    }
    reading_.session.addGap(std::move(gap));
  }

  static Gap gapOf(std::string what, Kind kind, const QualifiedName& object, Family family) {
    return {
        std::move(what), {}, wordOf(kind) + ':' + shown(object), std::string(rowOf(family).word)};
  }
  static Gap definitionOf(Kind kind, const QualifiedName& name) {
    return gapOf("the definition of " + std::string(rowOf(kind).singular) + " " + shown(name), kind,
                 name, Family::definitions);
  }
  static Gap partOf(std::string_view what, const Table& table, Family family) {
    return gapOf(std::string(what) + " of table " + shown(table.name), Kind::table, table.name,
                 family);
  }
  static Gap columnOf(std::string_view what, const Table& table, std::string_view column,
                      Family family) {
    return gapOf(std::string(what) + " of column " + shown(table.name) + "." + std::string(column),
                 Kind::table, table.name, family);
  }
  Gap columnOf(std::string_view what, const ColumnReferences& reference, Family family) const {
    const Table& table = reading_.database.tables[reference.table];
    return columnOf(what, table, table.columns[reference.column].name, family);
  }

  /// Whether the default was declared with its column.
  bool isInline(int id) const {
    if (reading_.declaredInline.contains(id)) return true;
    const auto text = reading_.texts.find({id, 0});
    if (text != reading_.texts.end() && !text->second.text.empty())
      return beginsWith(trimmed(text->second.text), "default");
    const ObjectEntry* entry = reading_.object(id);
    return entry != nullptr && isGenerated(*entry);
  }

  void applyColumns() {
    for (const ColumnReferences& reference : reading_.references) {
      Column& column = reading_.database.tables[reference.table].columns[reference.column];
      if (reference.defaultValue != 0) {
        DefaultValue value;
        if (isInline(reference.defaultValue)) {
          const Definition text = take({reference.defaultValue, 0},
                                       columnOf("the default", reference, Family::defaults));
          value.text = without(text.text, "default");
          value.state = text.state;
        } else {
          value.bound = reading_.nameOf(reference.defaultValue);
        }
        column.defaultValue = std::move(value);
      }
      // The first check of a column stands where a bound rule would.
      if (reference.rule != 0 && !reading_.checks.contains(reference.rule))
        setRule(column.rule, column.accessRule, reference.rule);
      if (reference.accessRule != 0) column.accessRule = reading_.nameOf(reference.accessRule);
      if (reference.computed != 0) {
        Definition text =
            take({reference.computed, 0}, columnOf("the expression", reference, Family::always));
        text.text = trimmed(std::string(text.text));
        column.computed = std::move(text);
      }
      if (reference.key != 0) column.encryptionKey = keyOf(reference);
    }
    for (const DecryptDefault& one : reading_.decryptDefaults) applyDecryptDefault(one);
  }

  template <class Rule>
  void setRule(Rule& rule, Rule& accessRule, int id) const {
    const ObjectEntry* entry = reading_.object(id);
    const bool isAccess = entry != nullptr && isAccessRule(*entry);
    (isAccess ? accessRule : rule) = reading_.nameOf(id);
  }

  DatabaseObjectName keyOf(const ColumnReferences& reference) const {
    if (reference.keyDatabase.empty() ||
        reference.keyDatabase == reading_.database.server.database) {
      const QualifiedName name = reading_.nameOf(reference.key);
      return {{}, name.owner, name.name};
    }
    return {
        reference.keyDatabase,
        {},
        reference.keyName.empty() ? "object " + std::to_string(reference.key) : reference.keyName};
  }

  void applyDecryptDefault(const DecryptDefault& one) {
    const ObjectEntry* entry = reading_.table(one.table);
    const std::string name = reading_.columnName(*entry, one.colid);
    Table& table = reading_.database.tables[entry->at];
    const auto column = std::ranges::find(table.columns, name, &Column::name);
    if (column == table.columns.end()) return;
    const Definition text =
        take({one.text, 0}, columnOf("the decrypt default", table, name, Family::encryption));
    column->decryptDefault = std::string(without(text.text, "decrypt_default"));
  }

  void applyTables() {
    for (std::size_t at = 0; at < reading_.tables.size(); ++at) {
      Table& table = reading_.database.tables[at];
      const Shape& shape = reading_.tables[at];
      for (std::size_t check = 0; check < shape.checks.size(); ++check) {
        Definition text =
            take({shape.checks[check], 0},
                 partOf("check " + table.checks[check].name.name, table, Family::checks));
        if (!text.text.empty()) text.text = conditionOf(text.text);
        table.checks[check].condition = std::move(text);
      }
      for (KeyConstraint& key : table.keys) applyExpressions(table, shape, key);
      for (Index& index : table.indexes) applyExpressions(table, shape, index);
    }
  }

  void applyExpressions(const Table& table, const Shape& shape, IndexStorage& index) {
    for (KeyColumn& key : index.columns) {
      if (!key.isExpression) continue;
      const Definition text = take({shape.expressions.at(key.name), 0},
                                   partOf("an expression of an index", table, Family::indexes));
      key.name = trimmed(text.text);
      key.state = text.state;
    }
  }

  void applyTypes() {
    for (std::size_t at = 0; at < reading_.database.types.size(); ++at) {
      UserType& type = reading_.database.types[at];
      const TypeReferences& reference = reading_.typeReferences[at];
      type.defaultValue = reading_.nameOf(reference.defaultValue);
      if (reference.rule != 0) setRule(type.rule, type.accessRule, reference.rule);
      if (reference.accessRule != 0) type.accessRule = reading_.nameOf(reference.accessRule);
    }
  }

  bool isAccessRule(const ObjectEntry& entry) const {
    if ((entry.status2 & object_status::kAccessRule) != 0) return true;
    const auto text = reading_.texts.find({entry.id, 0});
    return text != reading_.texts.end() &&
           beginsWith(without(without(without(text->second.text, "create"), "or"), "replace"),
                      "access");
  }

  void applyObject(const ObjectEntry& entry) {
    Database& database = reading_.database;
    const QualifiedName name = reading_.nameOf(entry);
    switch (entry.type) {
      case ObjectType::view:
        database.views[entry.at].definition = take({entry.id, 0}, definitionOf(Kind::view, name));
        database.views[entry.at].columnsKnown = !database.views[entry.at].columns.empty();
        return;
      case ObjectType::function:
        database.functions[entry.at].definition =
            take({entry.id, 0}, definitionOf(Kind::function, name));
        return;
      case ObjectType::trigger:
        return applyTrigger(entry, name);
      case ObjectType::rule:
        if (reading_.checks.contains(entry.id) || !reading_.wants(Kind::rule, name)) return;
        database.rules.push_back(
            {name, isAccessRule(entry), take({entry.id, 0}, definitionOf(Kind::rule, name))});
        return;
      case ObjectType::defaultObject:
        if (isInline(entry.id) || !reading_.wants(Kind::defaultObject, name)) return;
        database.defaults.push_back(
            {name, take({entry.id, 0}, definitionOf(Kind::defaultObject, name))});
        return;
      case ObjectType::other:
        if (reading_.predicates.contains(entry.id)) return;
        return reading_.session.addGap(
            name.owner + "." + name.name,
            "it is an object of a type that is not known: " + entry.code);
      default:
        return;
    }
  }

  void applyTrigger(const ObjectEntry& entry, const QualifiedName& name) {
    const ObjectEntry* parent = reading_.object(entry.triggerTable);
    if (parent == nullptr || !parent->isWanted) return;
    const bool isOfView = parent->type == ObjectType::view;
    if (!isOfView && parent->type != ObjectType::table) return;
    Trigger trigger;
    trigger.name = name;
    trigger.insteadOf = isOfView || entry.code == "IT";
    if (const auto state = reading_.triggers.find(entry.id); state != reading_.triggers.end()) {
      trigger.onInsert = state->second.onInsert;
      trigger.onUpdate = state->second.onUpdate;
      trigger.onDelete = state->second.onDelete;
      trigger.disabled = state->second.isDisabled;
      trigger.order = state->second.order;
    }
    trigger.definition = take({entry.id, 0}, gapOf("the definition of trigger " + shown(name),
                                                   isOfView ? Kind::view : Kind::table,
                                                   reading_.nameOf(*parent), Family::definitions));
    auto& triggers = isOfView ? reading_.database.views[parent->at].triggers
                              : reading_.database.tables[parent->at].triggers;
    triggers.push_back(std::move(trigger));
  }

  void applyProcedures() {
    // A record for each number that has a text, and for each procedure one at least.
    for (const auto& [key, text] : reading_.texts) {
      const ObjectEntry* entry = reading_.object(key.first);
      if (entry && entry->isWanted && entry->type == ObjectType::procedure)
        procedureOf(reading_, *entry, key.second);
    }
    std::unordered_map<int, int> firstNumbers;
    for (const auto& [key, at] : reading_.procedures) {
      int& first = firstNumbers.try_emplace(key.first, key.second).first->second;
      first = std::min(first, key.second);
    }
    for (const auto& [id, entry] : reading_.objects) {
      if (entry.type != ObjectType::procedure || !entry.isWanted) continue;
      const int first = firstNumbers.try_emplace(id, 1).first->second;
      Procedure& procedure = procedureOf(reading_, entry, first);
      // They are those of the whole group.
      if (const auto granted = reading_.groupPermissions.find(id);
          granted != reading_.groupPermissions.end())
        procedure.permissions = std::move(granted->second);
    }
    for (const auto& [key, at] : reading_.procedures) {
      Procedure& procedure = reading_.database.procedures[at];
      const bool isUnnumbered = !reading_.texts.contains(key) && key.second == 1;
      procedure.definition = take(isUnnumbered ? TextKey{key.first, 0} : key,
                                  definitionOf(Kind::procedure, procedure.name));
    }
  }

  Reading& reading_;
};

}  // namespace

Procedure& procedureOf(Reading& reading, const ObjectEntry& entry, int number) {
  using namespace object_status;
  number = std::max(number, 1);
  const auto [found, isNew] =
      reading.procedures.try_emplace({entry.id, number}, reading.database.procedures.size());
  if (!isNew) return reading.database.procedures[found->second];
  Procedure& procedure = reading.database.procedures.emplace_back();
  procedure.name = reading.nameOf(entry);
  procedure.number = number;
  procedure.replicated = (entry.status & kReplicated) != 0;
  procedure.replicationModes = reading.replicationModes(entry);
  if (entry.code == "XP") {
    procedure.language = "library";
    return procedure;
  }
  if ((entry.status2 & kJava) != 0) procedure.language = "java";
  procedure.mode = (entry.status2 & kAnyMode) != 0   ? "anymode"
                   : (entry.status2 & kChained) != 0 ? "chained"
                                                     : "unchained";
  return procedure;
}

void readProcedures(Reading& reading) {
  reading.session.rows("compiled objects",
                       "select id, number, status from sysprocedures where sequence = 0",
                       [&](const Row& row) {
                         const ObjectEntry* entry = reading.object(row.number(0));
                         if (entry == nullptr) return;
                         if (!entry->isWanted) {
                           if (row.number(1) > 1 && reading.options.leftOut)
                             reading.options.leftOut(reading.nameOf(*entry), row.number(1));
                           return;
                         }
                         if ((row.number(2) & procedure_status::kInline) != 0)
                           reading.declaredInline.insert(entry->id);
                         if (entry->type == ObjectType::procedure)
                           procedureOf(reading, *entry, row.number(1));
                       });
}

void applyTexts(Reading& reading) { Applying(reading).apply(); }

}  // namespace kelvane::inventory
