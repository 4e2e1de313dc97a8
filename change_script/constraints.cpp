// Steps for the constraints and indexes of tables that stay.

#include <algorithm>
#include <set>
#include <type_traits>
#include <utility>

#include "change_script/table_steps.h"
#include "inventory/ddl/tables.h"
#include "inventory/ddl/used_names.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// An index and a constraint may have had the same name in turn.
std::string constraintIndexOf(const Table& table, const std::string& name) {
  return indexOf(table, name) + " and (status & 2048 != 0 or status2 & 2 != 0)";
}
std::string plainIndexOf(const Table& table, const std::string& name) {
  return indexOf(table, name) + " and status & 2048 = 0 and status2 & 2 = 0";
}

void addName(Statement& out, const GivenName& name) {
  if (!name.generated) out << "constraint ", out.name(name.name) << " ";
}

class PartPlan {
 public:
  explicit PartPlan(const TablePair& pair, const ColumnSteps& columns)
      : planner_(pair.planner),
        change_(pair.change),
        now_(pair.now),
        old_(pair.old),
        columns_(columns) {}

  void plan() {
    for (const Change& part : change_.parts) {
      if (const auto* record = recordOf(part.target)) changed_.insert(record);
    }
    for (const Change& part : change_.parts) planPart(part);
    planDependents();
    needDrops();
  }

 private:
  static const void* recordOf(const RecordPointer& record) {
    return std::visit(
        []<class Pointer>(Pointer pointer) -> const void* {
          if constexpr (std::is_pointer_v<Pointer>) return pointer;
          return nullptr;
        },
        record);
  }

  void planPart(const Change& part) {
    switch (part.kind) {
      case Kind::key:
        return planPair<KeyConstraint>(part);
      case Kind::foreignKey:
        return planPair<ForeignKey>(part);
      case Kind::check:
        return planPair<Check>(part);
      case Kind::index:
        return planPair<Index>(part);
      default:
        return;
    }
  }

  /// Or asks something of the rows in another way.
  static bool isUnique(const Index& index) { return index.unique; }
  template <class Constraint>
  static bool isUnique(const Constraint&) {
    return true;
  }

  template <class Part>
  void planPair(const Change& part) {
    const std::string difference = described(change_, &part);
    if (part.isOnBothSides() && part.parts.empty() &&
        std::ranges::all_of(part.attributes, isSetting)) {
      planSettings(*std::get<const Part*>(part.target), *std::get<const Part*>(part.source),
                   difference);
      return;
    }
    std::optional<std::size_t> drop;
    if (!part.isOnlyInSource()) {
      drop = planDropOf(
          *std::get<const Part*>(part.target), difference,
          part.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
    }
    if (part.isOnlyInTarget()) return;
    const Part& now = *std::get<const Part*>(part.source);
    const std::size_t at = planCreationOf(now_, now, difference);
    if (isUnique(now)) {
      if (auto check = checkOf(planner_, now_, now)) planner_.check(at, *std::move(check));
    }
    // What is dropped comes back.
    if (drop) planner_.needEachOther(*drop, at);
  }

  std::size_t planDropOf(const ForeignKey& key, const std::string& difference,
                         std::vector<Danger> dangers) {
    return planDrop(planner_, old_, key, difference, std::move(dangers));
  }
  std::size_t planDropOf(const KeyConstraint& key, const std::string& difference,
                         std::vector<Danger> dangers) {
    Batch drop =
        dropped(planner_, old_, key, constraintIndexOf(old_, key.name.name), returnOf(dangers));
    const std::size_t at =
        planner_.add(Stage::dropIndexes, difference, {std::move(drop)}, std::move(dangers));
    if (planner_.step(at).isAllowed) planner_.dropKey(old_, key, &now_, at);
    planner_.end(&key, at);
    drops_.push_back({key.name.name, key.primary, key.clustered, at});
    return at;
  }
  std::size_t planDropOf(const Check& check, const std::string& difference,
                         std::vector<Danger> dangers) {
    Batch drop =
        dropped(planner_, old_, check, constraintOf(old_, check.name.name), returnOf(dangers));
    const std::size_t at =
        planner_.add(Stage::dropIndexes, difference, {std::move(drop)}, std::move(dangers));
    planner_.end(&check, at);
    return at;
  }
  std::size_t planDropOf(const Index& index, const std::string& difference,
                         std::vector<Danger> dangers) {
    Statement drop("drop index ");
    drop.name(old_.name) << ".";
    drop.name(index.name);
    const std::size_t at = planner_.add(
        Stage::dropIndexes, difference,
        {guarded("exists (" + plainIndexOf(old_, index.name) + ")", drop)}, std::move(dangers));
    planner_.end(&index, at);
    drops_.push_back({index.name, false, index.clustered, at});
    return at;
  }

  std::size_t planCreationOf(const Table& table, const ForeignKey& key,
                             const std::string& difference) {
    const std::size_t at = planCreation(planner_, table, key, difference);
    needColumns(at, key.columns);
    return at;
  }
  std::size_t planCreationOf(const Table& table, const KeyConstraint& key,
                             const std::string& difference) {
    std::vector<Batch> batches = planner_.fromSource([&](Writing& writing) {
      Statement add = alter(table);
      addName(add << " add ", key.name);
      add << (key.primary ? "primary key " : "unique ")
          << (key.clustered ? "clustered " : "nonclustered ");
      addKeyColumns(add, key);
      addStorage(writing, add, table, "constraint " + shown(key.name), key, {},
                 StorageOwner::constraint);
      const Batch batch = created(planner_, table, key, indexOf(table, key.name.name), add);
      writing.add(Phase::tables, batch.text, {}, batch.quotedIdentifier);
    });
    const std::size_t at = planner_.add(Stage::indexes, difference, std::move(batches));
    for (const KeyColumn& column : key.columns) needColumns(at, {column.name});
    creations_.push_back({key.name.name, key.primary, key.clustered, at});
    planner_.addKey(table, key, at);
    Table one = emptyLike(table);
    one.keys = {key};
    planSettings(one, difference, at);
    return at;
  }
  std::size_t planCreationOf(const Table& table, const Check& check,
                             const std::string& difference) {
    if (check.condition.state != Definition::State::whole)
      planner_.omit(difference, "its text cannot be read");
    const bool option = check.condition.quotedIdentifier;
    Statement add("alter table ", option ? Quotes::doubled : Quotes::brackets);
    add.name(table.name) << " add ";
    addName(add, check.name);
    add << check.condition.text;
    Batch batch = created(planner_, table, check, constraintOf(table, check.name.name), add);
    batch.quotedIdentifier = option;
    const std::size_t at = planner_.add(Stage::indexes, difference, {batch});
    forEachName(check.condition.text, option,
                [&](std::string_view name) { needColumns(at, {std::string(name)}); });
    Table one = emptyLike(table);
    one.checks = {check};
    planSettings(one, difference, at);
    return at;
  }
  std::size_t planCreationOf(const Table& table, const Index& index,
                             const std::string& difference) {
    std::vector<Batch> batches = batchesOf(planner_, table, index);
    const std::size_t at = planner_.add(Stage::indexes, difference, std::move(batches));
    for (const KeyColumn& column : index.columns) {
      if (!column.isExpression) needColumns(at, {column.name});
    }
    creations_.push_back({index.name, false, index.clustered, at});
    if (index.unique) planner_.addKey(table, index, at);
    Table one = emptyLike(table);
    one.indexes = {index};
    planSettings(one, difference, at);
    return at;
  }

  static bool isSetting(const AttributeChange& one) {
    static const std::set<std::string_view> kSettings{"cache", "cache strategy", "parallel degree",
                                                      "message"};
    return kSettings.contains(one.label);
  }

  /// What changes without making the part again: first what it had is taken away.
  template <class Part>
  void planSettings(const Part& was, const Part& is, const std::string& difference) {
    std::vector<Batch> batches = planner_.fromTarget([&](Writing& writing) {
      const NameInBatch name = nameOf(was);
      const std::string table = argument({old_.name.owner, old_.name.name});
      const auto call = [&](const std::string& text) {
        writing.call(Phase::bindings, std::string(kThisDatabase) + name.before + "exec " + text,
                     userOf(old_));
      };
      if constexpr (std::is_base_of_v<IndexStorage, Part>) {
        if (!was.cache.empty()) call("sp_unbindcache @db, " + table + ", " + name.argument);
        for (const std::string_view what : {"prefetch", "mru"}) {
          if (was.cacheStrategy.find(what) != std::string::npos)
            call("sp_cachestrategy @db, " + table + ", " + name.argument + ", " +
                 std::string(what) + ", 'on'");
        }
        if (was.parallelDegree && !is.parallelDegree) {
          writing.call(Phase::bindings, name.before + "declare @path varchar(767)\n" +
                                            "select @path = " + table + " + '.' + " +
                                            name.argument +
                                            "\nexec sp_chgattribute @path, 'plldegree', 0");
        }
      }
      if constexpr (requires { was.message; }) {
        if (was.message) call("sp_unbindmsg " + name.argument);
      }
    });
    Table one = emptyLike(now_);
    addTo(one, is);
    for (Batch& batch : planner_.fromSource([&](Writing& writing) {
           writeBindings(writing, one);
           writeForeignKeys(writing, one);
         })) {
      // The key itself is there.
      if (batch.phase == Phase::bindings) batches.push_back(std::move(batch));
    }
    planner_.add(Stage::bindings, difference, std::move(batches));
  }
  NameInBatch nameOf(const Index& index) const { return nameInBatch(index); }
  template <class Constraint>
  NameInBatch nameOf(const Constraint& constraint) const {
    return nameInBatch(old_, constraint);
  }
  static void addTo(Table& table, const Index& index) { table.indexes.push_back(index); }
  static void addTo(Table& table, const KeyConstraint& key) { table.keys.push_back(key); }
  static void addTo(Table& table, const Check& check) { table.checks.push_back(check); }
  static void addTo(Table& table, const ForeignKey& key) { table.foreignKeys.push_back(key); }
  /// Caches, degrees and messages go with what they are of.
  void planSettings(const Table& one, const std::string& difference, std::size_t creation) {
    std::vector<Batch> batches =
        planner_.fromSource([&](Writing& writing) { writeBindings(writing, one); });
    if (batches.empty()) return;
    const std::size_t at = planner_.add(Stage::bindings, difference, std::move(batches));
    planner_.step(at).needs.push_back(creation);
  }

  /// What the source has on a column need not be possible on one that keeps its type.
  void needColumns(std::size_t at, const std::vector<std::string>& columns) {
    for (const std::string& column : columns) {
      if (columns_.kept.contains(column)) planner_.forbid(at);
      if (const auto found = columns_.comes.find(column); found != columns_.comes.end())
        planner_.step(at).needs.push_back(found->second);
    }
  }

  /// What stands on columns that change is dropped, and made again as it was.
  void planDependents() {
    if (columns_.touched.empty() && columns_.untouched.empty()) return;
    const auto isTouched = [&](const std::string& column) {
      return columns_.touched.contains(column);
    };
    const auto again = [&](const auto& part, const std::vector<std::string>& columns) {
      for (const std::string& column : columns) {
        if (isTouched(column)) planner_.needEnd(columns_.touched.at(column), {&part});
        // It would not be done for the sake of this one either.
        if (const auto found = columns_.untouched.find(column);
            found != columns_.untouched.end() && changed_.contains(&part))
          planner_.needEnd(found->second, {&part});
      }
      if (changed_.contains(&part) || std::ranges::none_of(columns, isTouched)) return;
      const std::string difference = "a column of it changes";
      const std::size_t drop = planDropOf(part, difference, {});
      const std::size_t at = planCreationOf(old_, part, difference);
      planner_.needEachOther(drop, at);
      for (const std::string& column : columns) {
        if (isTouched(column)) planner_.step(drop).needs.push_back(columns_.touched.at(column));
      }
    };
    const auto namesOf = [&](const IndexStorage& storage) {
      std::vector<std::string> names;
      names.reserve(storage.columns.size());
      for (const KeyColumn& column : storage.columns) names.push_back(column.name);
      return names;
    };
    for (const KeyConstraint& key : old_.keys) again(key, namesOf(key));
    for (const Index& index : old_.indexes) again(index, namesOf(index));
    for (const ForeignKey& key : old_.foreignKeys) again(key, key.columns);
    for (const Check& check : old_.checks) {
      std::vector<std::string> names;
      forEachName(check.condition.text, check.condition.quotedIdentifier,
                  [&](std::string_view name) { names.emplace_back(name); });
      again(check, names);
    }
  }

  /// A name, a primary key and a clustered index there is only once.
  void needDrops() {
    for (const Made& made : creations_) {
      for (const Made& drop : drops_) {
        const bool isInTheWay = (made.name == drop.name && !made.name.empty()) ||
                                (made.isPrimary && drop.isPrimary) ||
                                (made.isClustered && drop.isClustered);
        if (isInTheWay) planner_.step(made.step).needs.push_back(drop.step);
      }
    }
  }

  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
  const ColumnSteps& columns_;
  std::set<const void*> changed_;  ///< records of the target
  /// A key or an index that a step drops or makes.
  struct Made {
    std::string name;
    bool isPrimary, isClustered;
    std::size_t step;
  };
  std::vector<Made> drops_, creations_;
};

}  // namespace

Table emptyLike(const Table& table) {
  Table one;
  one.name = table.name;
  one.lock = table.lock;
  one.segment = table.segment;
  return one;
}

std::vector<Batch> batchesOf(Planner& planner, const Table& table, const Index& index) {
  Table one = emptyLike(table);
  one.indexes = {index};
  // Expressions may name any of them.
  if (std::ranges::any_of(index.columns, &KeyColumn::isExpression)) one.columns = table.columns;
  std::vector<Batch> batches =
      planner.fromSource([&](Writing& writing) { writeIndexes(writing, one); });
  for (Batch& batch : batches) {
    if (!batch.text.starts_with("create ")) continue;
    batch.text =
        "if not exists (" + indexOf(table, index.name) + ")\n    exec(" + literal(batch.text) + ")";
  }
  return batches;
}

void planParts(const TablePair& pair, const ColumnSteps& columns) {
  PartPlan(pair, columns).plan();
}

}  // namespace kelvane::change_script
