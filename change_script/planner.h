// What the files of this folder share: the steps that are planned so far.
//
// Lifetime: both inventories and the changes outlive it. Threading: one thread.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "change_script/alter_clauses.h"
#include "change_script/object_uses.h"
#include "change_script/plan.h"
#include "change_script/steps.h"
#include "inventory/compare/changes.h"
#include "inventory/ddl/writing.h"
#include "inventory/shown.h"

namespace kelvane::change_script {

using inventory::Batch;
using inventory::Change;
using inventory::Kind;
using inventory::Statement;
using inventory::Table;

/// The reason where there is no statement for a difference.
inline constexpr std::string_view kOnlyAgain =
    "no statement changes it; --allow rebuild makes the table again, where all of both databases "
    "is compared";

/// Stops the script where rows are not what a step needs.
struct RowCheck {
  Batch batch;
  /// Tables that it asks, and that may have another name meanwhile.
  std::vector<inventory::QualifiedName> asked;
};

class Planner {
 public:
  Planner(const inventory::Database& source, const inventory::Database& target,
          const std::vector<Change>& changes, const PlanOptions& options)
      : source_(source),
        target_(target),
        changes_(changes),
        options_(options),
        now_(source, options.release),
        old_(target, options.release),
        uses_(target),
        usesOfSource_(source),
        groupsOfSource_(source),
        groupsOfTarget_(target) {}

  ChangeScript plan();

  const inventory::Database& source() const { return source_; }
  const inventory::Database& target() const { return target_; }
  const ObjectUses& uses() const { return uses_; }
  const ObjectUses& usesOfSource() const { return usesOfSource_; }
  const ProcedureGroups& groupsOfSource() const { return groupsOfSource_; }
  const ProcedureGroups& groupsOfTarget() const { return groupsOfTarget_; }
  /// The table of this name on either side.
  const Table* tableOfSource(const inventory::QualifiedName& name) const {
    return usesOfSource_.table(name.owner, name.name);
  }
  const Table* tableOfTarget(const inventory::QualifiedName& name) const {
    return uses_.table(name.owner, name.name);
  }
  std::optional<inventory::TargetRelease> release() const { return options_.release; }
  bool has(inventory::TargetRelease since) const { return now_.has(since); }
  inventory::Writing& now() { return now_; }
  inventory::Writing& old() { return old_; }
  /// Whether tables may be made again.
  bool isWhole() const { return options_.isWhole; }
  /// Whether texts are replaced rather than dropped and created. What uses a type that is made
  /// again must be out of its way.
  bool replaces() const {
    return options_.release == inventory::TargetRelease::ase16 && !hasRemadeTypes_;
  }
  bool allows(Danger danger) const { return options_.allowed.has(danger); }

  /// Marks a table that has another name while it is made again.
  void rename(const inventory::QualifiedName& table, inventory::QualifiedName meanwhile) {
    renamed_.emplace(inventory::shown(table), std::move(meanwhile));
  }
  const inventory::QualifiedName* nameMeanwhile(const inventory::QualifiedName& table) const {
    const auto found = renamed_.find(inventory::shown(table));
    return found == renamed_.end() ? nullptr : &found->second;
  }

  /// A column that has the base of its type while the type is made again, and the step for it.
  struct FreedColumn {
    inventory::ColumnType type;
    std::size_t step;
  };
  const FreedColumn* freed(const inventory::Column& column) const {
    const auto found = freed_.find(&column);
    return found == freed_.end() ? nullptr : &found->second;
  }

  /// What a user-defined type is stored as.
  inventory::ColumnType storedNew(const inventory::ColumnType& type) const {
    return stored(now_, type);
  }
  inventory::ColumnType storedOld(const inventory::ColumnType& type) const {
    return stored(old_, type);
  }
  /// Whether the name is that of another kind of object on the other side.
  bool changesKind(const Change& change) const { return ofOtherKind_.contains(&change); }
  /// Whether either side has an object of this name.
  bool isName(const std::string& owner, const std::string& name) const;
  /// Whether steps with this danger are done for the object that is being planned.
  bool takes(Danger danger) const;

  /// What is made whole, new or again, for which `difference` is the reason.
  inventory::Database& made() { return made_; }
  void describeMade(Kind kind, const std::string& name, std::string difference) {
    reasons_.try_emplace({kind, name}, std::move(difference));
  }
  void describeMade(const Change& change, std::string difference) {
    describeMade(change.kind, change.name, std::move(difference));
  }
  /// Runs right before what is new: a script that is started again finds it there.
  void dropBefore(Kind kind, const std::string& name, std::vector<Batch> batches) {
    dropsBefore_.emplace(std::pair(kind, name), std::move(batches));
  }
  /// Whether a group of procedures is seen for the first time.
  bool markGroup(const inventory::QualifiedName& name) {
    return groups_.insert(inventory::shown(name)).second;
  }

  /// Of the object that is being planned; its position.
  std::size_t add(Stage stage, std::string difference, std::vector<Batch> batches,
                  std::vector<Danger> dangers = {});
  /// A step that alters a column of a table; those of one table become one statement where it
  /// copies the rows.
  std::size_t addClause(std::string difference, AlterClause clause, std::vector<Danger> dangers);
  /// Runs before all steps where the step is done, and stops the script.
  void check(std::size_t step, RowCheck check) { checks_.push_back({step, std::move(check)}); }
  std::size_t count() const { return script_.steps.size(); }
  Step& step(std::size_t at) { return script_.steps[at]; }
  /// Whatever the user allows.
  void forbid(std::size_t at) { step(at).isAllowed = step(at).isPossible = false; }
  void omit(std::string what, std::string reason) {
    script_.omissions.push_back({std::move(what), std::move(reason)});
  }
  void begin(const Change& object) {
    begin(object.kind, object.name);
    if (const auto* table = std::get_if<const Table*>(&object.target)) table_ = *table;
  }
  void begin(Kind kind, std::string name) {
    kind_ = kind;
    object_ = std::move(name);
    table_ = nullptr;
  }

  /// What `write(writing)` adds, of records of the source or of the target.
  template <class Write>
  std::vector<Batch> fromSource(Write&& write) {
    return taken(now_, write);
  }
  template <class Write>
  std::vector<Batch> fromTarget(Write&& write) {
    return taken(old_, write);
  }

  /// Marks a constraint of the target that `step` drops, so that what refers to it goes too.
  /// `now`: the table of the source; null: none.
  void dropKey(const Table& table, const inventory::KeyConstraint& key, const Table* now,
               std::size_t step);

  /// Marks a foreign key that is made, and something that one may refer to.
  void addReference(const Table& table, const inventory::ForeignKey& key, std::size_t step) {
    references_.push_back({&table, &key, step});
  }
  void addKey(const Table& table, const inventory::IndexStorage& key, std::size_t step);
  void needEachOther(std::size_t one, std::size_t other) {
    step(one).needs.push_back(other);
    step(other).needs.push_back(one);
  }

  /// The step makes a column of a table, or with none the table, view or function itself.
  void provide(const std::string& object, const std::string& column, std::size_t step);
  /// The step makes something whose text may use what other steps provide.
  void useText(std::size_t step, const inventory::Definition& text) {
    usingTexts_.push_back({step, &text});
  }
  /// What the step drops is made again.
  void dropForMade(Kind kind, const std::string& name, std::size_t step) {
    dropsForMade_.emplace(std::pair(kind, name), step);
  }
  /// The step names what may be made whole, new or again.
  void needMade(std::size_t step, Kind kind, std::string name) {
    needsOfMade_.push_back({step, {kind, std::move(name)}});
  }

  /// The step drops somebody who may have rights.
  void dropRights(std::string principal, std::size_t step) {
    droppedRights_.push_back({step, std::move(principal)});
  }

  /// After the step the record of the target is another one, or gone.
  void end(const void* record, std::size_t step) { ends_[record].push_back(step); }
  /// Something is in the way of the step until the first of the records that ends has ended: a
  /// column, or its table.
  void needEnd(std::size_t step, std::vector<const void*> records) {
    inTheWay_.push_back({step, std::move(records)});
  }
  /// The same where a compiled object goes, which then goes early.
  void needEarlyEnd(std::size_t step, const void* record) {
    needEnd(step, {record});
    early_.push_back(record);
  }

 private:
  static inventory::ColumnType stored(const inventory::Writing& writing,
                                      const inventory::ColumnType& type);
  template <class Write>
  std::vector<Batch> taken(inventory::Writing& writing, Write& write) {
    writing.begin(kind_, object_, {object_});
    write(writing);
    return writing.takeBatches();
  }
  void planRemadeTypes();
  struct RemadeBase {
    const inventory::ColumnType& was;
    const inventory::ColumnType& is;
  };
  void planFreedColumn(const Table& table, const inventory::Column& column, const RemadeBase& base,
                       std::size_t drop);
  void planMade();
  using Texts = std::map<std::pair<Kind, std::string>, std::vector<const inventory::Definition*>>;
  Texts textsOfMade() const;
  void forbidMade(const inventory::ScriptedObject& object, std::size_t first);
  void linkMade(const inventory::ScriptedObject& object, std::size_t first, const Texts& texts);
  void planReferencesToDroppedKeys();
  void planReferencesTo(const Table& table, const inventory::ForeignKey& key, std::size_t keyDrop);
  void freeNames();
  void freeLogins();
  void forbidLosses();
  void becomeOnlyThoseWhoAreThere();
  void needKeys();
  void needEnds();
  void needProvided();
  void forbidWhatNeeds();
  void mergeClauses();
  void keepOnly(const std::vector<std::size_t>& standsFor);
  void addChecks();
  Batch guardedByRenames(RowCheck check) const;
  void addStates();
  void settle();

  const inventory::Database& source_;
  const inventory::Database& target_;
  std::vector<Change> changes_;
  const PlanOptions& options_;
  inventory::Writing now_, old_;
  ObjectUses uses_, usesOfSource_;
  ProcedureGroups groupsOfSource_, groupsOfTarget_;
  Kind kind_ = Kind::database;
  std::string object_;
  const Table* table_ = nullptr;  // of the target, where the object is one
  struct DroppedKey {
    const Table* table;
    const inventory::KeyConstraint* key;
    const inventory::KeyConstraint* namesake;  ///< of the source; null: none
    std::size_t step;
  };
  struct InTheWay {
    std::size_t step;
    std::vector<const void*> records;
  };
  std::vector<DroppedKey> droppedKeys_;
  struct Reference {
    const Table* table;
    const inventory::ForeignKey* key;
    std::size_t step;
  };
  std::vector<Reference> references_;
  std::map<std::pair<std::string, std::vector<std::string>>, std::size_t> keys_;
  std::unordered_map<const void*, std::vector<std::size_t>> ends_;
  std::vector<InTheWay> inTheWay_;
  std::vector<const void*> early_;
  struct DroppedRights {
    std::size_t step;
    std::string principal;
  };
  std::vector<DroppedRights> droppedRights_;
  std::map<std::size_t, AlterClause> clauses_;  // by the step
  struct Provided {
    std::string column;
    std::size_t step;
  };
  std::unordered_map<std::string, std::vector<Provided>> provided_;
  struct UsingText {
    std::size_t step;
    const inventory::Definition* text;
  };
  std::vector<UsingText> usingTexts_;
  std::map<std::pair<Kind, std::string>, std::size_t> dropsForMade_;
  struct NeedOfMade {
    std::size_t step;
    std::pair<Kind, std::string> made;
  };
  std::vector<NeedOfMade> needsOfMade_;
  /// What is made again for nothing but types, and the steps that drop those.
  std::map<std::pair<Kind, std::string>, std::vector<std::size_t>> madeForTypes_;
  /// All whose drop frees the types that those steps drop.
  std::map<std::pair<Kind, std::string>, std::vector<std::size_t>> usersOfTypes_;
  std::map<std::string, inventory::QualifiedName> renamed_;
  std::unordered_map<const inventory::Column*, FreedColumn> freed_;
  bool hasRemadeTypes_ = false;
  std::unordered_set<const Change*> ofOtherKind_;
  struct CheckOfStep {
    std::size_t step;
    RowCheck check;
  };
  std::vector<CheckOfStep> checks_;
  inventory::Database made_;
  std::map<std::pair<Kind, std::string>, std::string> reasons_;
  std::map<std::pair<Kind, std::string>, std::vector<Batch>> dropsBefore_;
  std::set<std::string> groups_;
  ChangeScript script_;
};

/// A batch of the owner of the database.
Batch batchOf(const Statement& statement);
Batch callOf(std::string text, std::string user = {});

/// The statement runs only where `condition` holds, so that it can run again.
Batch guarded(std::string_view condition, const Statement& statement);
std::string idOf(const inventory::QualifiedName& name);  ///< object_id('dbo.t')

/// sp_unbindefault or sp_unbindrule, where the object is bound to the column or the type.
Batch unboundFrom(const Table& table, const std::string& column, bool isDefault,
                  const inventory::QualifiedName& object);
Batch unboundFrom(const inventory::UserType& type, bool isDefault,
                  const inventory::QualifiedName& object);

/// The same for calls that can be told by their names.
void makeRestartable(Batch& batch);

/// Stops the script where rows do not fit into the type that a column gets; none where that cannot
/// be asked.
std::optional<RowCheck> checkOf(const Planner& planner, const inventory::QualifiedName& table,
                                const std::string& column, Danger danger,
                                const inventory::DataType& was, const inventory::DataType& is);
/// "begin raiserror ... end"
std::string stopping(std::string_view reason);
/// The same where the condition holds.
Batch stopIf(const Statement& condition, std::string_view reason);
Batch stopUnlessEmpty(const Table& table);

// What rows of the target must be for something new; none where they have nothing to do with it.
std::optional<RowCheck> checkOf(const Planner& planner, const Table& table,
                                const inventory::ForeignKey& key);
std::optional<RowCheck> checkOf(const Planner& planner, const Table& table,
                                const inventory::IndexStorage& unique);
std::optional<RowCheck> checkOf(const Planner& planner, const Table& table,
                                const inventory::Check& check);

/// Stops the script where the object is neither what it was nor what the script makes of it; none
/// where that cannot be asked.
std::optional<Batch> stateOf(const Planner& planner, const Change& change);

/// Foreign keys that go, and those of `table` that come; both write what they say where it is
/// missing or there, so that they can run again.
std::size_t planDrop(Planner& planner, const Table& table, const inventory::ForeignKey& key,
                     std::string difference, std::vector<Danger> dangers = {});
std::size_t planCreation(Planner& planner, const Table& table, const inventory::ForeignKey& key,
                         std::string difference);
Stage stageOf(inventory::Phase phase);
/// drop view dbo.v, where it is there.
Batch droppedObject(std::string_view word, const inventory::QualifiedName& name);

// Steps for an object.
void planTable(Planner& planner, const Change& change);
void planView(Planner& planner, const Change& change);
void planProcedure(Planner& planner, const Change& change);
void planFunction(Planner& planner, const Change& change);
void planTrigger(Planner& planner, const Change& object, const Change& part,
                 const inventory::QualifiedName& table);
void planRule(Planner& planner, const Change& change);
void planDefault(Planner& planner, const Change& change);
void planType(Planner& planner, const Change& change);
void planEncryptionKey(Planner& planner, const Change& change);
void planMessage(Planner& planner, const Change& change);
void planUser(Planner& planner, const Change& change);
void planAlias(Planner& planner, const Change& change);
void planGroup(Planner& planner, const Change& change);
void planRole(Planner& planner, const Change& change);
void planSettings(Planner& planner, const Change& change);
/// Names those that an object keeps which is made again.
void planKeptPermissions(Planner& planner, const Change& object,
                         const inventory::QualifiedName& name);
void planPermissions(Planner& planner, const Change& object, const inventory::QualifiedName& name);

}  // namespace kelvane::change_script
