// What the files of this folder share: the script that is made, object by object.
//
// Lifetime: the database outlives it. Threading: one thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "inventory/ddl/ddl.h"
#include "inventory/ddl/former_names.h"
#include "inventory/ddl/statement.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// The variable that system procedures take, so that the database may have another name.
inline constexpr std::string_view kThisDatabase =
    "declare @db varchar(255) select @db = db_name()\n";

inline constexpr std::string_view kLongNames = "names as long as this";

class Writing {
 public:
  Writing(const Database& database, std::optional<TargetRelease> release)
      : Writing(database, release, database) {}
  Writing(const Database& database, std::optional<TargetRelease> release, const Database& whole)
      : database_(database), release_(release), formerNames_(whole) {
    for (const UserType& type : database.types) types_.emplace(shown(type.name), &type);
    for (const Table& table : whole.tables) tables_.emplace(shown(table.name), &table);
    for (const Function& one : whole.functions) functions_.insert(key(one.name.name));
    for (const View& view : whole.views) views_.emplace(shown(view.name), &view);
  }

  const Database& database() const { return database_; }
  bool has(TargetRelease since) const { return !release_ || *release_ >= since; }
  std::optional<TargetRelease> release() const { return release_; }
  std::string_view releaseName() const;

  /// What follows is of this object, which is not kept if nothing follows. Returns its number.
  std::size_t begin(Kind kind, std::string name, const std::vector<std::string>& fileName);
  void resume(std::size_t object) { current_ = object; }

  void add(Phase phase, std::string text, std::string user, bool quotedIdentifier);
  void add(Phase phase, const Statement& statement, std::string user = {}) {
    add(phase, statement.text(), std::move(user), statement.needsQuotedIdentifier());
  }
  /// Of system procedures, which read quoted names in their arguments with quoted_identifier only.
  void call(Phase phase, std::string text, std::string user = {}) {
    const bool hasQuotes = text.find('"') != std::string::npos;
    add(phase, std::move(text), std::move(user), hasQuotes);
  }
  /// A comment in place of what cannot be written.
  void omit(Phase phase, std::string what, std::string reason);
  /// The same without a comment, which comes later.
  void leaveOut(const std::string& what) { leftOut_.insert(key(what)); }
  bool isLeftOut(const std::string& what) const { return leftOut_.contains(key(what)); }
  /// Whether `what` can be made with something else; if not, that it is left out with it.
  bool allowsUse(Phase phase, const std::string& what, const std::string& used);
  bool fits(std::string_view name) const;
  bool hasType(const DataType& type) const;
  /// The same, and if not, that what uses it is left out.
  bool allowsType(const DataType& type, Phase phase, const std::string& what);
  /// "ASE 12.5 does not have bigint"
  std::string lacks(std::string_view what) const;
  /// Whether the release has it; if not, that it is left out.
  bool allows(TargetRelease since, Phase phase, const std::string& what);
  /// What a text uses that the release does not have.
  std::optional<std::string> laterIn(std::string_view text, bool quotedIdentifier) const;
  /// The same for a name that releases before 15 cut.
  bool allowsName(std::string_view name, Phase phase, const std::string& what);
  /// A kept text as a batch of its own; false if it cannot be written, as one that needs an object
  /// that is left out. Objects are renamed for as long as the text has other names for them.
  bool addDefinition(Phase phase, Kind kind, const QualifiedName& name, const std::string& what,
                     const Definition& definition);
  bool addTrigger(const std::string& what, const Trigger& trigger, const QualifiedName& table);

  /// Columns and checks that cannot be created with their tables.
  void setLate(std::unordered_set<const void*> late) { late_ = std::move(late); }
  bool isLate(const void* record) const { return late_.contains(record); }
  /// A function that the text uses and that is left out.
  std::optional<std::string> leftOutFunctionIn(std::string_view text, bool quotedIdentifier,
                                               const std::string& owner) const;

  /// A column that a check or an expression of the table names, and that the table does not have.
  std::optional<std::string> missingColumnIn(const Table& table, std::string_view expression,
                                             bool quotedIdentifier) const;

  /// Who makes what belongs to `owner`, so that names mean what they meant.
  static std::string userFor(const std::string& owner) {
    return owner == "dbo" ? std::string() : owner;
  }
  bool isView(const QualifiedName& name) const { return views_.contains(shown(name)); }
  const Table* table(const QualifiedName& name) const {
    const auto found = tables_.find(shown(name));
    return found == tables_.end() ? nullptr : found->second;
  }
  const UserType* userType(const DataType& type) const {
    const auto found = types_.find(shown(QualifiedName{*type.owner, type.name}));
    return found == types_.end() ? nullptr : found->second;
  }

  /// The batches since begin, which are nobody's then.
  std::vector<Batch> takeBatches();
  Script take();

 private:
  std::string key(const std::string& what) const;
  bool isSame(std::string_view a, std::string_view b) const;
  /// None where the columns are not known.
  std::optional<bool> hasColumn(const QualifiedName& object, std::string_view column) const;
  /// What the text of a view names that is not there.
  std::optional<std::string> missingIn(const QualifiedName& view,
                                       const Definition& definition) const;
  bool addText(Phase phase, const QualifiedName& name, const std::string& what,
               const Definition& definition, std::vector<RenamedObject> renamed);
  void rename(Phase phase, const std::string& owner, const std::string& from,
              const std::string& to);
  void renameIfThere(Phase phase, const std::string& owner, const std::string& from,
                     const std::string& to);
  /// What is left out and used by the text of an object of `owner`: table dbo.t.
  std::optional<std::string> leftOutIn(const Definition& definition,
                                       const std::string& owner) const;
  static std::string shown(const QualifiedName& name) { return name.owner + '.' + name.name; }

  const Database& database_;
  std::optional<TargetRelease> release_;
  std::unordered_map<std::string, const UserType*> types_;
  std::unordered_map<std::string, const Table*> tables_;
  std::unordered_map<std::string, const View*> views_;
  std::unordered_set<std::string> functions_;  ///< without their owners
  std::unordered_set<std::string> leftOut_;
  std::unordered_set<const void*> late_;
  FormerNames formerNames_;
  std::unordered_set<std::string> created_;
  struct OmissionOfObject {
    std::size_t object;
    Omission omission;
  };
  std::vector<OmissionOfObject> omissions_;
  std::size_t current_ = 0;
  Script script_;
};

/// "view dbo.v"
inline std::string titleOf(Kind kind, const std::string& name) {
  return std::string(rowOf(kind).singular) + " " + name;
}

/// Makes a login that is missing, so that nobody can use it until somebody unlocks it and sets its
/// password: passwords are not known.
std::string withLogin(const std::string& login);

// Each adds what it is called after.
void writeSettings(Writing& writing);
void writePrincipals(Writing& writing);
void writeObjects(Writing& writing);

// What creates an object, in the phase, and what can only be said when all are there.
void writeText(Writing& writing, Phase phase, Kind kind, const QualifiedName& name,
               const Definition& definition);
void writeType(Writing& writing, const UserType& type);
void writeTypeBindings(Writing& writing, const UserType& type);
void writeKey(Writing& writing, const EncryptionKey& key);
void writeView(Writing& writing, Phase phase, const View& view);
void writeViewParts(Writing& writing, const View& view);
void writeFunction(Writing& writing, Phase phase, const Function& function);
void writeProcedure(Writing& writing, Phase phase, const Procedure& procedure);

void writeReplication(Writing& writing, const Procedure& procedure);
/// `target`: of a table, as procedures call it; none for the database.
void writeLockPromotion(Writing& writing, Phase phase, const std::string& target,
                        const std::string& pages, const std::string& rows);
void writeTriggers(Writing& writing, const QualifiedName& table,
                   const std::vector<Trigger>& triggers);
/// Whether the table or view that `what` refers to, and its key, are not left out.
bool allowsReference(Writing& writing, Phase phase, const std::string& what,
                     const QualifiedName& table, const std::vector<std::string>& columns);
/// `title`: of the table or view.
void writeLogicalKeys(Writing& writing, const std::string& title, const QualifiedName& table,
                      const std::vector<LogicalKey>& keys);
/// `object` has the permissions; one without a name is the database.
void writePermissions(Writing& writing, Phase phase, const QualifiedName& object,
                      const std::vector<Permission>& permissions);

}  // namespace kelvane::inventory
