// Steps for tables: those that are new or go, and the parts of those that stay.

#include "inventory/ddl/tables.h"

#include <algorithm>
#include <map>
#include <set>

#include "change_script/planner.h"
#include "change_script/types.h"
#include "inventory/compare/titles.h"
#include "inventory/ddl/generated_names.h"
#include "inventory/ddl/used_names.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

Statement alter(const Table& table) {
  Statement statement("alter table ");
  statement.name(table.name);
  return statement;
}

/// Runs the end of `alter` with the name that `name` finds; `whether` of its being there.
Batch withName(const NameInBatch& name, std::string_view whether, const Statement& statement,
               std::string_view behind) {
  std::string text = name.before + "if " + name.argument + " is " + std::string(whether) +
                     "\n    exec(" + literal(statement.text());
  if (!behind.empty()) text += " + " + std::string(behind);
  return {Phase::tables, text + ")", {}, statement.needsQuotedIdentifier(), false};
}

std::string ofTable(const Table& table, std::string_view catalog, std::string_view id,
                    std::string_view name, const std::string& called) {
  return "select 1 from " + std::string(catalog) + " where " + std::string(id) + " = " +
         idOf(table.name) + " and " + std::string(name) + " = " + literal(called);
}
std::string constraintOf(const Table& table, const std::string& name) {
  return ofTable(table, "sysconstraints", "tableid", "object_name(constrid)", name);
}
std::string indexOf(const Table& table, const std::string& name) {
  return ofTable(table, "sysindexes", "id", "name", name);
}
/// An index and a constraint may have had the same name in turn.
std::string constraintIndexOf(const Table& table, const std::string& name) {
  return indexOf(table, name) + " and (status & 2048 != 0 or status2 & 2 != 0)";
}
std::string plainIndexOf(const Table& table, const std::string& name) {
  return indexOf(table, name) + " and status & 2048 = 0 and status2 & 2 = 0";
}
std::string columnOf(const Table& table, const std::string& name) {
  return ofTable(table, "syscolumns", "id", "name", name);
}

/// `exists`: what finds a constraint that has a name of its own.
template <class Constraint>
Batch dropped(const Table& table, const Constraint& constraint, const std::string& exists) {
  Statement drop = alter(table);
  drop << " drop constraint ";
  if (constraint.name.generated)
    return withName(nameInBatch(table, constraint), "not null", drop, "@name");
  drop.name(constraint.name.name);
  return guarded("exists (" + exists + ")", drop);
}
template <class Constraint>
Batch created(const Table& table, const Constraint& constraint, const std::string& exists,
              const Statement& add) {
  if (constraint.name.generated) return withName(nameInBatch(table, constraint), "null", add, {});
  return guarded("not exists (" + exists + ")", add);
}

void addName(Statement& out, const GivenName& name) {
  if (!name.generated) out << "constraint ", out.name(name.name) << " ";
}

class TablePlan {
 public:
  TablePlan(Planner& planner, const Change& change)
      : planner_(planner),
        change_(change),
        now_(*std::get<const Table*>(change.source)),
        old_(*std::get<const Table*>(change.target)) {}

  void plan() {
    for (const Change& part : change_.parts) {
      if (part.kind == Kind::column) planColumn(part);
      if (const auto* record = recordOf(part.target)) changed_.insert(record);
    }
    planColumns();
    for (const Change& part : change_.parts) planPart(part);
    planDependents();
    needDrops();
    tellOrder();
    for (const AttributeChange& one : change_.attributes) planAttribute(one);
    planPermissions(planner_, change_, now_.name);
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

  // ---- Columns

  ColumnType stored(Writing& writing, const ColumnType& type) {
    ColumnType base = type;
    if (const UserType* user = writing.userType(type.type)) base.type = user->base.type;
    return base;
  }

  void planColumn(const Change& part) {
    if (part.isOnlyInSource()) return planNewColumn(*std::get<const Column*>(part.source), part);
    const Column& was = *std::get<const Column*>(part.target);
    if (part.isOnlyInTarget()) {
      Statement drop = alter(old_);
      (drop << " drop ").name(was.name);
      const bool isComputed = !was.computed.isDefault();
      const std::size_t at =
          planner_.add(Stage::columns, described(change_, &part),
                       {guarded("exists (" + columnOf(old_, was.name) + ")", drop)},
                       isComputed ? std::vector<Danger>{} : std::vector{Danger::dropColumn});
      planner_.step(at).copiesData = true;
      planner_.end(&was, at);
      if (was.type.identity) identityDrop_ = at;
      touch(was.name, at);
      return;
    }
    planChangedColumn(part, was, *std::get<const Column*>(part.source));
  }

  void planNewColumn(const Column& column, const Change& part) {
    const bool isComputed = !column.computed.isDefault();
    const bool needsValue = !isComputed && !column.type.nullable && !column.type.identity &&
                            column.defaultValue->text.empty();
    std::vector<Batch> batches = planner_.fromSource([&](Writing& writing) {
      Column added = column;
      if (needsValue) {
        DefaultValue value;
        value.text = placeholderOf(stored(writing, column.type).type);
        added.defaultValue = value;
      }
      const Statement text = columnText(writing, now_, added);
      Statement add = alter(old_);
      add << " add " << text.text();
      Batch batch = guarded("not exists (" + columnOf(old_, column.name) + ")", add);
      batch.quotedIdentifier = batch.quotedIdentifier || text.needsQuotedIdentifier();
      writing.add(Phase::tables, batch.text, {}, batch.quotedIdentifier);
    });
    if (needsValue) {
      Statement replace = alter(old_);
      (replace << " replace ").name(column.name) << " default null";
      batches.push_back(batchOf(replace));
    }
    const std::size_t at =
        planner_.add(Stage::columns, described(change_, &part), std::move(batches),
                     needsValue ? std::vector{Danger::nullToNotNull} : std::vector<Danger>{});
    planner_.step(at).copiesData = !column.type.nullable && !isComputed;
    comes_[column.name] = at;
    if (column.type.identity) newIdentity_ = at;
    Column bare;
    bare.name = column.name;
    planBindings(bare, column, described(change_, &part), at);
  }

  void planChangedColumn(const Change& part, const Column& was, const Column& is) {
    const std::string difference = described(change_, &part);
    std::optional<std::size_t> modified;
    bool hasDefault = false, hasBindings = false;
    for (const AttributeChange& one : part.attributes) {
      if (one.label == "type") {
        modified = planType(was, is, described(change_, &part));
      } else if (one.label == "default") {
        hasDefault = true;
      } else if (one.label == "rule" || one.label == "access rule") {
        hasBindings = true;
      } else {
        planner_.omit(difference, "no statement changes it in a table that has rows");
      }
    }
    if (hasDefault) planDefault(was, is, difference);
    const bool wasUser = !was.type.type.owner.isDefault() || !is.type.type.owner.isDefault();
    // A modification to or from a user-defined type takes what is bound along.
    Column unbound;
    unbound.name = was.name;
    if (modified && wasUser) {
      planBindings(unbound, is, difference, modified);
    } else if (hasDefault || hasBindings) {
      if (const auto at = planBindings(was, is, difference, {})) planner_.end(&was, *at);
    }
  }

  std::optional<std::size_t> planType(const Column& was, const Column& is,
                                      const std::string& difference) {
    const std::vector<Danger> dangers =
        dangersOf(stored(planner_.old(), was.type), stored(planner_.now(), is.type));
    if (!is.computed.isDefault() || std::ranges::count(dangers, Danger::rebuild) != 0) {
      planner_.omit(difference, "no statement changes it in a table that has rows");
      return std::nullopt;
    }
    std::vector<Batch> batches = planner_.fromSource([&](Writing& writing) {
      Column modified;
      modified.name = was.name;
      modified.type = is.type;
      const Statement text = columnText(writing, now_, modified);
      Statement modify = alter(old_);
      modify << " modify " << text.text();
      writing.add(Phase::tables, guarded(asItWas(was, is), modify).text, {},
                  modify.needsQuotedIdentifier() || text.needsQuotedIdentifier());
    });
    for (const Danger danger : dangers) {
      const ColumnType to = stored(planner_.now(), is.type);
      if (auto check = checkOf(old_.name, was.name, danger, to.type))
        batches.insert(batches.begin(), *std::move(check));
    }
    const std::size_t at = planner_.add(Stage::columns, difference, std::move(batches), dangers);
    planner_.step(at).copiesData =
        copiesData(stored(planner_.old(), was.type), stored(planner_.now(), is.type));
    planner_.end(&was, at);
    touch(was.name, at);
    comes_[was.name] = at;
    return at;
  }

  /// A modification that changes nothing is an error.
  std::string asItWas(const Column& was, const Column& is) const {
    const DataType& from = was.type.type;
    const DataType& to = is.type.type;
    std::string text =
        "exists (select 1 from syscolumns c, systypes t\n    where c.id = " + idOf(old_.name) +
        " and c.name = " + literal(was.name) + " and c.usertype = t.usertype and ";
    if (from.name != to.name || from.owner != to.owner) {
      constexpr std::string_view kUnsigned = "unsigned ";
      text += "t.name = " + literal(from.name.starts_with(kUnsigned)
                                        ? "u" + from.name.substr(kUnsigned.size())
                                        : from.name);
      if (!from.owner.isDefault()) text += " and t.uid = user_id(" + literal(*from.owner) + ")";
    } else if (was.type.nullable != is.type.nullable) {
      text += std::string("c.status & 8 = ") + (was.type.nullable ? "8" : "0");
    } else if (from.precision != to.precision) {
      text += "c.prec = " + std::to_string(from.precision.value_or(0));
    } else if (from.scale != to.scale) {
      text += "c.scale = " + std::to_string(from.scale.value_or(0));
    } else {
      text += "c.length = " + std::to_string(from.length.value_or(1));
      if (from.name.starts_with("uni")) text += " * @@unicharsize";
      if (from.name.starts_with("n")) text += " * @@ncharsize";
    }
    return text + ")";
  }

  void planDefault(const Column& was, const Column& is, const std::string& difference) {
    if (was.defaultValue->text == is.defaultValue->text) return;
    if (is.defaultValue->text == "null" || is.defaultValue->text == "NULL")
      return planner_.omit(difference, "the statement for it takes the default away");
    Statement replace = alter(old_);
    (replace << " replace ").name(was.name)
        << " default " << (is.defaultValue->text.empty() ? "null" : is.defaultValue->text);
    planner_.add(Stage::columns, difference, {batchOf(replace)});
  }

  std::optional<std::size_t> planBindings(const Column& was, const Column& is,
                                          const std::string& difference,
                                          std::optional<std::size_t> needs) {
    std::vector<Batch> batches;
    const std::string column = argument({now_.name.name, is.name});
    const std::string user = Writing::userFor(now_.name.owner);
    const auto bind = [&](std::string_view unbind, std::string_view bind, const QualifiedName& from,
                          const QualifiedName& to) {
      if (from == to) return;
      if (to == QualifiedName{})
        return batches.push_back(callOf("exec " + std::string(unbind) + " " + column, user));
      batches.push_back(callOf(
          "exec " + std::string(bind) + " " + argument({to.owner, to.name}) + ", " + column, user));
    };
    bind("sp_unbindefault", "sp_bindefault", was.defaultValue->bound, is.defaultValue->bound);
    bind("sp_unbindrule", "sp_bindrule", *was.rule, *is.rule);
    bind("sp_unbindrule", "sp_bindrule", *was.accessRule, *is.accessRule);
    if (batches.empty()) return std::nullopt;
    const std::size_t at = planner_.add(Stage::bindings, difference, std::move(batches));
    if (needs) planner_.step(at).needs.push_back(*needs);
    return at;
  }

  void touch(const std::string& column, std::size_t step) { touched_[column] = step; }

  /// Steps of which nothing is run touch nothing.
  void planColumns() {
    if (identityDrop_ && newIdentity_) planner_.step(*newIdentity_).needs.push_back(*identityDrop_);
    std::erase_if(touched_, [&](const auto& one) { return !planner_.step(one.second).isAllowed; });
  }

  // ---- Constraints and indexes

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
      case Kind::logicalKey:
        return planLogicalKey(part);
      case Kind::trigger:
        return planTrigger(planner_, change_, part, now_.name);
      case Kind::partition:
        return planner_.omit(described(change_, &part),
                             "partitions are changed with alter table ... partition by");
      default:
        return;
    }
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
    const std::size_t at = planCreationOf(now_, *std::get<const Part*>(part.source), difference);
    // What is dropped comes back.
    if (drop) planner_.needEachOther(*drop, at);
  }

  std::size_t planDropOf(const ForeignKey& key, const std::string& difference,
                         std::vector<Danger> dangers) {
    return planDrop(planner_, old_, key, difference, std::move(dangers));
  }
  std::size_t planDropOf(const KeyConstraint& key, const std::string& difference,
                         std::vector<Danger> dangers) {
    const std::size_t at = planner_.add(
        Stage::dropIndexes, difference,
        {dropped(old_, key, constraintIndexOf(old_, key.name.name))}, std::move(dangers));
    if (planner_.step(at).isAllowed) planner_.dropKey(old_, key, at);
    planner_.end(&key, at);
    drops_.push_back({key.name.name, key.primary, key.clustered, at});
    return at;
  }
  std::size_t planDropOf(const Check& check, const std::string& difference,
                         std::vector<Danger> dangers) {
    const std::size_t at = planner_.add(Stage::dropIndexes, difference,
                                        {dropped(old_, check, constraintOf(old_, check.name.name))},
                                        std::move(dangers));
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
      const Batch batch = created(table, key, indexOf(table, key.name.name), add);
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
    Batch batch = created(table, check, constraintOf(table, check.name.name), add);
    batch.quotedIdentifier = option;
    const std::size_t at = planner_.add(Stage::indexes, difference, {batch});
    Table one = emptyLike(table);
    one.checks = {check};
    planSettings(one, difference, at);
    return at;
  }
  std::size_t planCreationOf(const Table& table, const Index& index,
                             const std::string& difference) {
    Table one = emptyLike(table);
    one.indexes = {index};
    std::vector<Batch> batches =
        planner_.fromSource([&](Writing& writing) { writeIndexes(writing, one); });
    for (Batch& batch : batches) {
      if (!batch.text.starts_with("create ")) continue;
      batch.text = "if not exists (" + indexOf(table, index.name) + ")\n    exec(" +
                   literal(batch.text) + ")";
    }
    const std::size_t at = planner_.add(Stage::indexes, difference, std::move(batches));
    for (const KeyColumn& column : index.columns) {
      if (!column.isExpression) needColumns(at, {column.name});
    }
    creations_.push_back({index.name, false, index.clustered, at});
    if (index.unique) planner_.addKey(table, index, at);
    planSettings(one, difference, at);
    return at;
  }

  /// For one part of it.
  static Table emptyLike(const Table& table) {
    Table one;
    one.name = table.name;
    one.lock = table.lock;
    one.segment = table.segment;
    return one;
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

  void needColumns(std::size_t at, const std::vector<std::string>& columns) {
    for (const std::string& column : columns) {
      if (const auto found = comes_.find(column); found != comes_.end())
        planner_.step(at).needs.push_back(found->second);
    }
  }

  /// What stands on columns that change is dropped, and made again as it was.
  void planDependents() {
    if (touched_.empty()) return;
    const auto isTouched = [&](const std::string& column) { return touched_.contains(column); };
    const auto again = [&](const auto& part, const std::vector<std::string>& columns) {
      for (const std::string& column : columns) {
        if (isTouched(column)) planner_.needEnd(touched_.at(column), {&part});
      }
      if (changed_.contains(&part) || std::ranges::none_of(columns, isTouched)) return;
      const std::string difference = "a column of it changes";
      const std::size_t drop = planDropOf(part, difference, {});
      const std::size_t at = planCreationOf(old_, part, difference);
      planner_.needEachOther(drop, at);
      for (const std::string& column : columns) {
        if (isTouched(column)) planner_.step(drop).needs.push_back(touched_.at(column));
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

  /// New columns come last, whatever the source says.
  void tellOrder() {
    std::vector<std::string_view> order, wanted;
    std::set<std::string_view> stays, isThere;
    for (const Column& column : now_.columns) {
      wanted.push_back(column.name);
      stays.insert(column.name);
    }
    for (const Column& column : old_.columns) {
      isThere.insert(column.name);
      if (stays.contains(column.name)) order.push_back(column.name);
    }
    const bool isSameSoFar = std::ranges::equal(order, wanted);
    for (const Column& column : now_.columns) {
      if (!isThere.contains(column.name)) order.push_back(column.name);
    }
    if (!isSameSoFar && order != wanted)
      planner_.omit("table " + change_.name + ": column order", "new columns come last");
  }

  // ---- What else there is

  void planLogicalKey(const Change& part) {
    const std::string difference = described(change_, &part);
    if (const auto* was = std::get_if<const LogicalKey*>(&part.target)) {
      std::string call = "exec sp_dropkey " + literal((*was)->kind) + ", " +
                         argument({old_.name.owner, old_.name.name});
      if (!(*was)->other.name.empty())
        call += ", " + argument({(*was)->other.owner, (*was)->other.name});
      planner_.add(Stage::dropReferences, difference, {callOf(std::move(call))},
                   part.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
    }
    if (const auto* is = std::get_if<const LogicalKey*>(&part.source)) {
      planner_.add(Stage::references, difference, planner_.fromSource([&](Writing& writing) {
        writeLogicalKeys(writing, titleOf(now_), now_.name, {**is});
      }));
    }
  }

  void planAttribute(const AttributeChange& one) {
    const std::string difference = "table " + change_.name + ": " + std::string(one.label) + ": " +
                                   (one.is.empty() ? "(none)" : one.is) + " -> " +
                                   (one.was.empty() ? "(none)" : one.was);
    if (one.label == "lock") {
      Statement lock = alter(old_);
      lock << " lock " << now_.lock;
      const std::size_t at = planner_.add(Stage::columns, difference, {batchOf(lock)});
      planner_.step(at).copiesData = true;
      return;
    }
    static const std::set<std::string_view> kChanged{
        "identity_gap",          "fillfactor",         "max_rows_per_page",
        "exp_row_size",          "reservepagegap",     "concurrency_opt_threshold",
        "optimistic_index_lock", "dealloc_first_txtpg"};
    if (kChanged.contains(one.label)) {
      // The threshold has another value where nothing is said.
      const std::string none = one.label == "concurrency_opt_threshold" ? "15" : "0";
      const std::string value = one.was.empty() ? none : one.was == shown(true) ? "1" : one.was;
      planner_.add(
          Stage::columns, difference,
          {callOf("exec sp_chgattribute " + argument({old_.name.owner, old_.name.name}) + ", " +
                  literal(one.label) + ", " + (one.was == shown(false) ? "0" : value))});
      return;
    }
    if (one.label == "column order")
      return planner_.omit(difference, "new columns come last; the order stays");
    planner_.omit(difference, "no statement changes it in a table that has rows");
  }

  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
  std::set<const void*> changed_;               ///< records of the target
  std::map<std::string, std::size_t> touched_;  ///< columns, by the step that does it
  std::map<std::string, std::size_t> comes_;
  /// A key or an index that a step drops or makes.
  struct Made {
    std::string name;
    bool isPrimary, isClustered;
    std::size_t step;
  };
  std::vector<Made> drops_, creations_;
  std::optional<std::size_t> identityDrop_, newIdentity_;
};

void planNewTable(Planner& planner, const Change& change) {
  const Table& table = *std::get<const Table*>(change.source);
  const std::string difference = described(change);
  const std::vector<Batch> batches = planner.fromSource([&](Writing& writing) {
    if (!writeTable(writing, table)) return;
    writeIndexes(writing, table);
    writeLogicalKeys(writing, titleOf(table), table.name, table.logicalKeys);
    writeBindings(writing, table);
    writeTriggers(writing, table.name, table.triggers);
    writePermissions(writing, Phase::permissions, table.name, table.permissions);
  });
  std::map<Stage, std::vector<Batch>> stages;
  for (Batch batch : batches) {
    constexpr std::string_view kCreate = "create table ";
    if (batch.text.starts_with(kCreate))
      batch.text = "if " + idOf(table.name) + " is null\n    exec(" + literal(batch.text) + ")";
    stages[stageOf(batch.phase)].push_back(std::move(batch));
  }
  for (auto& [stage, ofStage] : stages) planner.add(stage, difference, std::move(ofStage));
  for (const ForeignKey& key : table.foreignKeys) planCreation(planner, table, key, difference);
}

void planDroppedTable(Planner& planner, const Change& change) {
  const Table& table = *std::get<const Table*>(change.target);
  const std::string difference = described(change);
  Statement drop("drop table ");
  drop.name(table.name);
  const std::size_t at =
      planner.add(Stage::drops, difference, {guarded(idOf(table.name) + " is not null", drop)},
                  {Danger::dropTable});
  planner.end(&table, at);
  if (!planner.step(at).isAllowed) return;
  for (const ForeignKey& key : table.foreignKeys)
    planner.step(planDrop(planner, table, key, difference)).needs.push_back(at);
  for (const KeyConstraint& key : table.keys) planner.dropKey(table, key, at);
}

}  // namespace

std::size_t planDrop(Planner& planner, const Table& table, const ForeignKey& key,
                     std::string difference, std::vector<Danger> dangers) {
  const std::size_t at =
      planner.add(Stage::dropReferences, std::move(difference),
                  {dropped(table, key, constraintOf(table, key.name.name))}, std::move(dangers));
  planner.end(&key, at);
  return at;
}

std::size_t planCreation(Planner& planner, const Table& table, const ForeignKey& key,
                         std::string difference) {
  std::vector<Batch> batches = planner.fromSource([&](Writing& writing) {
    Table one;
    one.name = table.name;
    one.foreignKeys = {key};
    writeForeignKeys(writing, one);
  });
  for (Batch& batch : batches) {
    if (!batch.text.starts_with("alter table ")) continue;
    Statement add(batch.text);
    const bool option = batch.quotedIdentifier;
    batch = created(table, key, constraintOf(table, key.name.name), add);
    batch.quotedIdentifier = option;
  }
  const std::size_t at = planner.add(Stage::references, std::move(difference), std::move(batches));
  planner.addReference(table, key, at);
  return at;
}

void planTable(Planner& planner, const Change& change) {
  if (change.isOnlyInSource()) return planNewTable(planner, change);
  if (change.isOnlyInTarget()) return planDroppedTable(planner, change);
  TablePlan(planner, change).plan();
}

}  // namespace kelvane::change_script
