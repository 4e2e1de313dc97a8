// Steps that make a table again with its rows, where no statement makes it what it must be.

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "change_script/changed_records.h"
#include "change_script/table_steps.h"
#include "change_script/types.h"
#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

bool isTimestamp(const Column& column) { return column.type.type.name == "timestamp"; }

bool isCopied(const Column& column) { return column.computed.isDefault() && !isTimestamp(column); }

/// The table is renamed, made, filled, and what it was goes: at no moment are the rows in no table.
class Rebuild {
 public:
  explicit Rebuild(const TablePair& pair)
      : planner_(pair.planner), change_(pair.change), now_(pair.now), old_(pair.old) {}

  std::vector<Danger> dangers() {
    std::set<Danger> all{Danger::rebuild};
    for (const Change& part : change_.parts) {
      if (part.kind == Kind::column) {
        addDangers(part, all);
      } else if (part.isOnlyInTarget()) {
        all.insert(part.kind == Kind::permission ? Danger::revoke : Danger::dropObject);
      }
    }
    return {all.begin(), all.end()};
  }

  void plan() {
    const std::size_t first = planner_.count();
    nameOld();
    planChecks();
    const std::string again = "the table is made again";
    for (const ForeignKey& key : old_.foreignKeys) planDrop(planner_, old_, key, again);
    planDrops(again);
    const std::size_t creation = planNewTable(planner_, now_, differences(), isRenamed());
    for (const KeyConstraint& key : old_.keys) planner_.dropKey(old_, key, &now_, creation);
    for (const Column& column : old_.columns) {
      planner_.end(&column, creation);
      if (const auto* freed = planner_.freed(column)) planner_.needEachOther(freed->step, creation);
    }
    for (const Column& column : now_.columns) {
      if (std::ranges::find(old_.columns, column.name, &Column::name) == old_.columns.end())
        planner_.provide(now_.name.name, column.name, creation);
    }
    planCopy(again);
    planEnd(again);
    // All of it, or nothing.
    for (std::size_t at = first; at < planner_.count(); ++at) {
      if (at != creation) planner_.step(at).needs.push_back(creation);
    }
  }

 private:
  void addDangers(const Change& part, std::set<Danger>& all) {
    const auto* before = was<Column>(part);
    const auto* after = is<Column>(part);
    if (after == nullptr) {
      if (before->computed.isDefault()) all.insert(Danger::dropColumn);
    } else if (before == nullptr) {
      if (needsValue(*after)) all.insert(Danger::nullToNotNull);
    } else if (after->computed.isDefault()) {
      // A user-defined type of the same name may be another one.
      for (const Danger danger :
           dangersOf(planner_.storedOld(before->type), planner_.storedNew(after->type)))
        all.insert(danger);
    }
  }
  static bool needsValue(const Column& column) {
    return column.computed.isDefault() && !column.type.nullable && !column.type.identity &&
           column.defaultValue->text.empty() && !isTimestamp(column);
  }

  std::string differences() const {
    std::string all;
    const auto add = [&](const std::string& line) { all += (all.empty() ? "" : "\n") + line; };
    if (!change_.attributes.empty()) add(described(change_));
    for (const Change& part : change_.parts) add(described(change_, &part));
    return all;
  }

  /// A name that neither side has.
  void nameOld() {
    constexpr std::size_t kShortest = 30;  // of the longest names that all releases take
    constexpr std::string_view kBegin = "kelvane_old_";
    const std::string& whole = now_.name.name;
    std::size_t length = std::min(whole.size(), kShortest - kBegin.size() - 2);
    while (length < whole.size() && (static_cast<unsigned char>(whole[length]) & 0xC0) == 0x80)
      --length;  // not within a letter
    const std::string base = std::string(kBegin) + whole.substr(0, length);
    std::string name = base;
    for (int number = 1; planner_.isName(now_.name.owner, name); ++number)
      name = base + std::to_string(number);
    kept_ = {now_.name.owner, name};
    planner_.rename(now_.name, kept_);
  }

  /// Whether the table is still the one that is made again. Where no column tells, it is made again
  /// each time that the whole script runs.
  std::string isStillOld() const {
    std::string text = idOf(kept_) + " is null";
    int colid = 0;
    for (const Column& column : now_.columns) {
      ++colid;
      const auto before = std::ranges::find(old_.columns, column.name, &Column::name);
      const auto place = before - old_.columns.begin() + 1;
      if (before != old_.columns.end() && place == colid && isAlike(*before, column)) continue;
      return text + "\n    and not exists (" + columnOf(now_, column.name, column.type) +
             " and c.colid = " + std::to_string(colid) +
             " and c.status & 128 = " + (column.type.identity ? "128" : "0") +
             (before == old_.columns.end() ? "" : hasExpression(*before, column)) + ")";
    }
    if (now_.columns.size() < old_.columns.size())
      text += "\n    and exists (" + columnOf(old_, old_.columns.back().name) + ")";
    return text;
  }
  static std::string hasExpression(const Column& before, const Column& column) {
    if (before.computed.isDefault() == column.computed.isDefault()) return {};
    return std::string(" and isnull(c.computedcol, 0) ") +
           (column.computed.isDefault() ? "= 0" : "!= 0");
  }
  /// The old column may have the base of its type already.
  bool isAlike(const Column& before, const Column& column) const {
    if (before.computed.isDefault() != column.computed.isDefault()) return false;
    const auto* freed = planner_.freed(before);
    return before.type == column.type || (freed != nullptr && freed->type == column.type);
  }
  std::string isRenamed() const { return idOf(kept_) + " is not null and "; }

  void planChecks() {
    for (const Change& part : change_.parts) {
      const auto* before = was<Column>(part);
      const auto* after = is<Column>(part);
      if (before == nullptr || after == nullptr || !after->computed.isDefault()) continue;
      const ColumnType from = planner_.storedOld(before->type),
                       to = planner_.storedNew(after->type);
      for (const Danger danger : dangersOf(from, to)) {
        if (auto check = checkOf(planner_, old_.name, before->name, danger, from.type, to.type))
          checks_.push_back(*std::move(check));
      }
    }
    for (const Change& part : change_.parts) {
      addCheckOf<KeyConstraint>(part);
      addCheckOf<ForeignKey>(part);
      if (const auto* index = is<Index>(part); index != nullptr && index->unique)
        addCheckOf<Index>(part);
    }
    // The rows are inserted anew, also those that were there before a check was.
    for (const Check& check : now_.checks) addCheckOf(check);
  }
  template <class Part>
  void addCheckOf(const Change& part) {
    if (const auto* record = is<Part>(part)) addCheckOf(*record);
  }
  void addCheckOf(const auto& record) {
    if (auto check = checkOf(planner_, now_, record)) checks_.push_back(*std::move(check));
  }

  /// What has a name that the new table needs.
  void planDrops(const std::string& difference) {
    for (const Trigger& trigger : old_.triggers) {
      planner_.add(Stage::dropCompiled, difference,
                   {whileOld(droppedObject("trigger", trigger.name))});
    }
    std::vector<Batch> batches;
    const auto drop = [&](const auto& constraint) {
      if (constraint.name.generated) return;
      Statement statement = alter(old_);
      (statement << " drop constraint ").name(constraint.name.name);
      batches.push_back(whileOld(
          guarded("exists (" + constraintOf(old_, constraint.name.name) + ")", statement)));
    };
    for (const KeyConstraint& key : old_.keys) drop(key);
    for (const Check& check : old_.checks) drop(check);
    if (!batches.empty()) planner_.add(Stage::dropIndexes, difference, std::move(batches));
    const std::size_t rename =
        planner_.add(Stage::renames, difference,
                     {callOf("if " + isStillOld() + "\n    exec sp_rename " +
                                 argument({old_.name.name}) + ", " + literal(kept_.name),
                             userOf(old_))});
    for (RowCheck& check : checks_) planner_.check(rename, std::move(check));
  }
  Batch whileOld(Batch batch) const {
    constexpr std::string_view kIf = "if ";
    batch.text.insert(kIf.size(), isStillOld() + "\n    and ");
    return batch;
  }

  void planCopy(const std::string& difference) {
    Statement columns, values;
    bool hasIdentity = false;
    std::string_view separator;
    for (const Column& column : now_.columns) {
      if (!isCopied(column)) continue;
      const auto before = std::ranges::find(old_.columns, column.name, &Column::name);
      const bool isThere = before != old_.columns.end();
      if (!isThere && !needsValue(column)) continue;
      (columns << separator).name(column.name);
      values << separator;
      separator = ", ";
      hasIdentity = hasIdentity || column.type.identity;
      if (!isThere) {
        values << placeholderOf(planner_.storedNew(column.type).type);
      } else if (planner_.storedOld(before->type).type == planner_.storedNew(column.type).type) {
        values.name(column.name);
      } else {
        values << "convert(" << shown(planner_.storedNew(column.type).type) << ", ";
        values.name(column.name) << ")";
      }
    }
    Statement copy;
    const auto identity = [&](std::string_view state) {
      if (hasIdentity) (copy << "set identity_insert ").name(now_.name) << " " << state << "\n";
    };
    identity("on");
    (copy << "insert ").name(now_.name)
        << " (" << columns.text() << ")\nselect " << values.text() << "\nfrom ";
    copy.name(kept_) << "\n";
    identity("off");
    Statement empty("if not exists (select 1 from ");
    empty.name(now_.name) << ")\nbegin\n";
    Batch batch = inOld(empty.text() + copy.text() + "end");
    batch.quotedIdentifier = columns.needsQuotedIdentifier() || empty.needsQuotedIdentifier();
    const std::size_t at = planner_.add(Stage::copies, difference, {std::move(batch)});
    planner_.step(at).copiesData = true;
  }

  /// Only where all rows have arrived.
  void planEnd(const std::string& difference) {
    Statement text("if (select count(*) from ");
    text.name(now_.name) << ") != (select count(*) from ";
    text.name(kept_) << ")\n"
                     << stopping("rows of " + shown(kept_) + " are not in " + shown(now_.name))
                     << "\nelse\n    drop table ";
    text.name(kept_);
    Batch batch = inOld(text.text());
    batch.quotedIdentifier = text.needsQuotedIdentifier();
    planner_.add(Stage::copies, difference, {std::move(batch)});
  }
  /// Statements that name a table that may be gone.
  Batch inOld(const std::string& statements) const {
    return callOf("if " + idOf(kept_) + " is not null\n    exec(" + literal(statements) + ")");
  }

  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
  QualifiedName kept_;  ///< what the old table is called meanwhile
  std::vector<RowCheck> checks_;
};

/// Attributes of a column for which there are statements.
bool hasStatement(const AttributeChange& one, const Column& now) {
  constexpr std::array<std::string_view, 4> kAlterable{"type", "default", "rule", "access rule"};
  if (std::ranges::find(kAlterable, one.label) == kAlterable.end()) return false;
  const bool isNoDefault = now.defaultValue->text == "null" || now.defaultValue->text == "NULL";
  return one.label != "default" || !isNoDefault;
}

bool needsRebuild(Planner& planner, const Change& part) {
  if (part.kind == Kind::partition) return true;
  const auto* before = part.kind == Kind::column ? was<Column>(part) : nullptr;
  const auto* after = part.kind == Kind::column ? is<Column>(part) : nullptr;
  if (before == nullptr || after == nullptr) return false;
  for (const AttributeChange& one : part.attributes) {
    if (!hasStatement(one, *after)) return true;
    if (one.label != "type") continue;
    const std::vector<Danger> dangers =
        dangersOf(planner.storedOld(before->type), planner.storedNew(after->type));
    if (!before->computed.isDefault() || !after->computed.isDefault() ||
        std::ranges::count(dangers, Danger::rebuild) != 0)
      return true;
  }
  return false;
}

/// Nor can the values of a column be copied for which there is no conversion.
bool keepsValues(Planner& planner, const Change& part) {
  const auto* before = part.kind == Kind::column ? was<Column>(part) : nullptr;
  const auto* after = part.kind == Kind::column ? is<Column>(part) : nullptr;
  if (before == nullptr || after == nullptr || !isCopied(*after)) return true;
  return converts(planner.storedOld(before->type), planner.storedNew(after->type));
}

/// Without a column whose values can be copied the rows would be lost.
bool hasRowsToCopy(const TablePair& pair) {
  return std::ranges::any_of(pair.now.columns, [&](const Column& column) {
    return isCopied(column) && std::ranges::find(pair.old.columns, column.name, &Column::name) !=
                                   pair.old.columns.end();
  });
}

/// Whether all of the table can be written: what is left out would be lost.
bool isWritten(const TablePair& pair) {
  Writing writing(pair.planner.source(), pair.planner.release());
  writing.begin(Kind::table, shown(pair.now.name), {pair.now.name.owner, pair.now.name.name});
  if (!writeTable(writing, pair.now)) return false;
  writeIndexes(writing, pair.now);
  writeForeignKeys(writing, pair.now);
  writeLogicalKeys(writing, titleOf(pair.now), pair.now.name, pair.now.logicalKeys);
  writeBindings(writing, pair.now);
  writeTriggers(writing, pair.now.name, pair.now.triggers);
  writePermissions(writing, Phase::permissions, pair.now.name, pair.now.permissions);
  return writing.take().omissions.empty();
}

/// Logical keys of others would go with the table that they name.
bool isNamedByLogicalKeys(const TablePair& pair) {
  return std::ranges::any_of(pair.planner.target().tables, [&](const Table& table) {
    return &table != &pair.old && std::ranges::find(table.logicalKeys, pair.old.name,
                                                    &LogicalKey::other) != table.logicalKeys.end();
  });
}

}  // namespace

bool keepsOrder(const Table& old, const Table& now) {
  std::vector<std::string_view> order, wanted;
  std::set<std::string_view> stays, isThere;
  for (const Column& column : now.columns) {
    wanted.push_back(column.name);
    stays.insert(column.name);
  }
  for (const Column& column : old.columns) {
    isThere.insert(column.name);
    if (stays.contains(column.name)) order.push_back(column.name);
  }
  const bool isSameSoFar = std::ranges::equal(order, wanted);
  for (const Column& column : now.columns) {
    if (!isThere.contains(column.name)) order.push_back(column.name);
  }
  return isSameSoFar || order == wanted;
}

bool planRebuild(const TablePair& pair) {
  const bool isNeeded =
      !keepsOrder(pair.old, pair.now) ||
      std::ranges::any_of(pair.change.parts,
                          [&](const Change& part) { return needsRebuild(pair.planner, part); }) ||
      std::ranges::any_of(pair.change.attributes,
                          [](const AttributeChange& one) { return !isAlterable(one); });
  const bool areConverted = std::ranges::all_of(
      pair.change.parts, [&](const Change& part) { return keepsValues(pair.planner, part); });
  if (!isNeeded || !areConverted || !hasRowsToCopy(pair) || !pair.old.proxyPlace.empty() ||
      !pair.now.proxyPlace.empty())
    return false;
  Rebuild rebuild(pair);
  const std::vector<Danger> dangers = rebuild.dangers();
  const bool isAllowed =
      std::ranges::all_of(dangers, [&](Danger danger) { return pair.planner.takes(danger); });
  if (!isAllowed || !pair.planner.isWhole() || isNamedByLogicalKeys(pair) || !isWritten(pair))
    return false;
  rebuild.plan();
  return true;
}

}  // namespace kelvane::change_script
