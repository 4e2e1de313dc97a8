#include "inventory/ddl/tables.h"

#include <algorithm>
#include <array>
#include <span>

#include "inventory/ddl/left_out_tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

/// How an attribute of a table is declared.
enum class Clause : std::uint8_t {
  lock,
  segment,
  number,   ///< with identity_gap = 10
  phrase,   ///< with transfer table on
  changed,  ///< by sp_chgattribute
};

struct TableClause {
  std::string_view label;
  Clause clause;
  TargetRelease since = TargetRelease::ase125;
  std::string_view option = {};  ///< where it is not the label
};

// By the labels of attributes.h. What is missing here is written elsewhere: bindings.cpp,
// replication.cpp, and partitions.
constexpr TableClause kClauses[] = {
    {"lock", Clause::lock},
    {"segment", Clause::segment},
    {"identity_gap", Clause::number},
    {"identity_burn_max", Clause::changed},
    {"fillfactor", Clause::number},
    {"max_rows_per_page", Clause::number},
    {"exp_row_size", Clause::number},
    {"reservepagegap", Clause::number},
    {"concurrency_opt_threshold", Clause::changed},
    {"optimistic_index_lock", Clause::changed},
    {"latch_free_index", Clause::number, TargetRelease::ase16},
    {"dealloc_first_txtpg", Clause::changed},
    {"parallel degree", Clause::changed, TargetRelease::ase15, "plldegree"},
    {"compression", Clause::number, TargetRelease::ase15},
    {"index_compression", Clause::number, TargetRelease::ase16},
    {"lob_compression", Clause::number, TargetRelease::ase15},
    {"dml_logging", Clause::number, TargetRelease::ase15},
    {"transfer table", Clause::phrase, TargetRelease::ase15},
    {"erase residual data", Clause::phrase, TargetRelease::ase15},
};

const TableClause* clauseOf(std::string_view label) {
  const auto* const found = std::ranges::find(kClauses, label, &TableClause::label);
  return found == std::end(kClauses) ? nullptr : found;
}

bool isWhole(const Definition& definition) { return definition.state == Definition::State::whole; }

/// A text in whose place the reader put why there is none.
bool isWithoutText(const std::string& shownText) {
  using State = Definition::State;
  return shownText == shown(Definition{{}, State::hidden}) ||
         shownText == shown(Definition{{}, State::unreadable});
}

class TableWriter {
 public:
  TableWriter(Writing& writing, const Table& table) : writing_(writing), table_(table) {
    chooseQuotes();
  }

  Statement columnText(const Column& column) {
    Statement text({}, quotes());
    addColumn(text, column);
    return text;
  }

  bool write() {
    leaveOutKeys(writing_, table_);
    if (auto reason = reasonToLeaveOut(writing_, table_)) {
      writing_.omit(Phase::tables, titleOf(table_), *std::move(reason));
      return false;
    }
    if (!table_.proxyPlace.empty()) {
      writing_.omit(Phase::tables, "server of " + titleOf(table_),
                    "the database does not say how it is reached; see sp_addserver and "
                    "sp_addexternlogin");
    }
    Statement create(table_.proxyPlace.empty() ? "create table " : "create existing table ",
                     quotes());
    create.name(table_.name) << " (";
    const std::size_t later = laterColumns(writing_, table_).size();
    const std::span first(table_.columns.data(), table_.columns.size() - later);
    std::string_view separator = "\n    ";
    for (const Column& column : first) {
      create << std::exchange(separator, ",\n    ");
      addColumn(create, column);
    }
    for (const KeyConstraint& key : table_.keys) addKey(create, key);
    for (const Check& check : table_.checks) {
      if (isInline(check) && allowsCheck(check)) addCheck(create << ",\n    ", check);
    }
    create << "\n)";
    addClauses(create);
    addPartitioning(create);
    if (!table_.proxyPlace.empty()) {
      create << "\nexternal " << (table_.proxyKind.empty() ? "table" : table_.proxyKind) << " at "
             << literal(table_.proxyPlace);
    }
    writing_.add(Phase::tables, create.text(), {},
                 option_.value_or(create.needsQuotedIdentifier()));
    addLater();
    addBehindFunctions();
    return true;
  }

 private:
  /// The option of the session decides what a text in double quotes is, and is kept of expressions
  /// and checks. What was declared with the other one is added by a statement of its own.
  void chooseQuotes() {
    for (const Column& column : table_.columns) {
      if (!column.computed.isDefault()) option_ = column.computed->quotedIdentifier;
    }
    const bool hasText = std::ranges::any_of(table_.columns, [](const Column& column) {
      return defaultOf(column).find('"') != std::string::npos;
    });
    if (!option_ && hasText) option_ = false;
    if (!option_ && !table_.checks.empty())
      option_ = table_.checks.front().condition.quotedIdentifier;
  }
  Quotes quotes() const { return option_ == false ? Quotes::brackets : Quotes::doubled; }

  bool allows(TargetRelease since, const std::string& what) {
    return writing_.allows(since, Phase::tables, titleOf(table_) + ": " + what);
  }

  void addColumn(Statement& out, const Column& column) {
    out.name(column.name) << " ";
    if (!column.computed.isDefault()) {
      out << "as " << column.computed->text << (column.materialized ? " materialized" : "");
      if (column.materialized && !column.type.nullable) out << " not null";
    } else {
      const ColumnType type = typeFor(writing_, column);
      if (type != column.type) {
        writing_.omit(Phase::tables,
                      titleOf(table_) + ": column " + column.name + ": identity of type " +
                          shown(column.type.type),
                      writing_.lacks("it") + ": it is " + shown(type.type) + " there");
      }
      addType(out, type);
    }
    addStorage(out, column);
  }

  void addType(Statement& out, const ColumnType& type) {
    const UserType* const user = writing_.userType(type.type);
    // The type itself may not be among the chosen objects.
    if (!type.type.owner.isDefault()) {
      if (type.type.owner != std::string("dbo")) out.name(*type.type.owner) << ".";
      out.name(type.type.name);
    } else {
      out << shown(type.type);
    }
    // What follows stands before null, as the default does.
    pendingNull_ = type.identity   ? (user != nullptr && user->base.identity ? "" : " identity")
                   : type.nullable ? " null"
                                   : " not null";
  }

  void addStorage(Statement& out, const Column& column) {
    const std::string value = defaultOf(column);
    const std::string what = "column " + column.name + ": ";
    if (!value.empty() && !isLaterDefault(value) && !isWaiting(column) && allowsDefault(column))
      out << " default " << value;
    out << std::exchange(pendingNull_, {});
    if (column.defaultValue->state != Definition::State::whole)
      writing_.omit(Phase::tables, titleOf(table_) + ": " + what + "default",
                    "its text cannot be read");
    if (column.inRowLength && allows(TargetRelease::ase15, what + "in row"))
      out << " in row (" << std::to_string(*column.inRowLength) << ")";
    if (column.offRow && allows(TargetRelease::ase15, what + "off row")) out << " off row";
    if (!column.compression->empty() && allows(TargetRelease::ase15, what + "compression"))
      out << " " << *column.compression;
    if (!column.encrypted || !allows(TargetRelease::ase15, what + "encryption")) return;
    out << " encrypt";
    if (column.encryptionKey != DatabaseObjectName{})
      out << " with ", out.name(*column.encryptionKey);
    if (column.decryptDefault->empty()) return;
    if (isWithoutText(*column.decryptDefault))
      return writing_.omit(Phase::tables, titleOf(table_) + ": " + what + "decrypt_default",
                           "its text cannot be read");
    out << " decrypt_default " << *column.decryptDefault;
  }

  static std::string defaultOf(const Column& column) {
    const bool isWhole = column.defaultValue->state == Definition::State::whole;
    return isWhole ? column.defaultValue->text : std::string();
  }
  bool isLaterDefault(const std::string& value) const {
    return option_ == true && value.find('"') != std::string::npos;
  }

  bool fits(const GivenName& name, std::string_view kind) {
    return name.generated ||
           writing_.allowsName(name.name, Phase::tables, titleOfPart(table_, kind, name));
  }
  bool allowsCheck(const Check& check) {
    if (!fits(check.name, "check")) return false;
    const auto& [text, state, quotedIdentifier] = check.condition;
    const std::string what = titleOfPart(table_, "check", check.name);
    if (const auto used = writing_.leftOutFunctionIn(text, quotedIdentifier, table_.name.owner)) {
      writing_.omit(Phase::tables, what, *used + " is left out");
      return false;
    }
    if (const auto later = writing_.laterIn(text, quotedIdentifier)) {
      writing_.omit(Phase::tables, what, writing_.lacks(*later));
      return false;
    }
    if (const auto missing = writing_.missingColumnIn(table_, text, quotedIdentifier)) {
      writing_.omit(Phase::tables, what,
                    "names column " + *missing + ", which the table does not have");
      return false;
    }
    return true;
  }
  bool allowsDefault(const Column& column) {
    const std::string value = defaultOf(column);
    const auto used = writing_.leftOutFunctionIn(value, false, table_.name.owner);
    const auto later = writing_.laterIn(value, false);
    if (!used && !later) return true;
    writing_.omit(Phase::tables, titleOf(table_) + ": column " + column.name + ": default",
                  used ? *used + " is left out" : writing_.lacks(*later));
    return false;
  }
  void addName(Statement& out, const GivenName& name) {
    if (!name.generated && !name.name.empty()) out << "constraint ", out.name(name.name) << " ";
  }

  void addKey(Statement& out, const KeyConstraint& key) {
    if (!fits(key.name, "constraint")) return;
    out << ",\n    ";
    addName(out, key.name);
    out << (key.primary ? "primary key " : "unique ")
        << (key.clustered ? "clustered " : "nonclustered ");
    addKeyColumns(out, key);
    inventory::addStorage(writing_, out, table_, "constraint " + shown(key.name), key, {},
                          StorageOwner::constraint);
  }

  bool isInline(const Check& check) const {
    return isWhole(check.condition) && !writing_.isLate(&check) &&
           check.condition.quotedIdentifier == option_.value_or(check.condition.quotedIdentifier);
  }
  void addCheck(Statement& out, const Check& check) {
    addName(out, check.name);
    out << check.condition.text;
  }

  void addClauses(Statement& out) {
    std::string with, on;
    forEachAttribute<Table>([&](const auto& one) {
      const TableClause* const clause = clauseOf(one.label);
      if (clause == nullptr || table_.*one.member == Table{}.*one.member) return;
      std::string value = shown(table_.*one.member);
      if (!writing_.has(clause->since)) return void(allows(clause->since, std::string(one.label)));
      const std::string option(clause->option.empty() ? one.label : clause->option);
      switch (clause->clause) {
        case Clause::lock:
          // A proxy has no pages of its own.
          if (table_.proxyPlace.empty()) out << "\nlock " << value;
          break;
        case Clause::segment:
          if (const std::string data = dataAndTexts(value, ", ").first; !data.empty())
            on = "\non " + segmentName(data);
          break;
        case Clause::number:
          with += (with.empty() ? "\nwith " : ", ") + option + " = " + value;
          break;
        case Clause::phrase:
          with += (with.empty() ? "\nwith " : ", ") + option + " " + value;
          break;
        case Clause::changed:
          addChange(option, value == shown(true) ? "1" : value);
          break;
      }
    });
    out << with << on;
  }

  void addChange(const std::string& option, const std::string& value) {
    const bool isLarge = option == "identity_burn_max";
    changes_.push_back("exec sp_chgattribute " + argument({table_.name.owner, table_.name.name}) +
                       ", " + literal(option) + ", " + (isLarge ? "0, " + literal(value) : value));
  }

  void addPartitioning(Statement& out) {
    const std::vector<Partition>& all = table_.partitions;
    if (table_.partitionKind.empty() || all.empty()) return;
    const bool isPlain = std::ranges::all_of(all, [](const Partition& one) {
      return one.name.generated && one.bound.empty() && one.segment.empty();
    });
    const std::string number = std::to_string(all.size());
    const bool isRoundRobin = table_.partitionKind == "roundrobin";
    if (isRoundRobin && isPlain && all.size() == 1) return;
    if (!writing_.has(TargetRelease::ase15)) {
      if (isRoundRobin) {
        const bool isNamed = !std::ranges::all_of(
            all, [](const Partition& one) { return one.name.generated && one.segment.empty(); });
        if (isNamed) allows(TargetRelease::ase15, "names and segments of partitions");
        Statement alter("alter table ");
        alter.name(table_.name) << " partition " << number;
        partition_ = std::move(alter);
      } else {
        allows(TargetRelease::ase15, "partitions by " + table_.partitionKind);
      }
      return;
    }
    out << "\npartition by " << table_.partitionKind << " ";
    if (!isRoundRobin) out.names(table_.partitionColumns) << " ";
    if (isPlain) {
      out << number;
    } else {
      addPartitions(out, all);
    }
  }

  /// What the statement could not say.
  void addLater() {
    if (partition_) writing_.add(Phase::tables, *partition_);
    for (std::string& change : changes_) writing_.call(Phase::tables, std::move(change));
    const auto [data, texts] = dataAndTexts(table_.segment, ", ");
    if (!texts.empty()) {
      writing_.call(Phase::tables,
                    "exec sp_placeobject " + literal(texts) + ", " +
                        argument({table_.name.owner, table_.name.name, "t" + table_.name.name}));
    }
    for (const Column& column : table_.columns) {
      if (isLaterDefault(defaultOf(column)) && !isWaiting(column) && allowsDefault(column))
        replaceDefault(Phase::tables, column);
    }
    for (const Check& check : table_.checks) {
      if (isInline(check) || writing_.isLate(&check) || !allowsCheck(check)) continue;
      if (!isWhole(check.condition)) {
        writing_.omit(Phase::tables, titleOfPart(table_, "check", check.name),
                      "its text cannot be read");
        continue;
      }
      addByStatement(Phase::tables, check);
    }
  }

  void addByStatement(Phase phase, const Check& check) {
    const bool option = check.condition.quotedIdentifier;
    Statement alter("alter table ", option ? Quotes::doubled : Quotes::brackets);
    alter.name(table_.name) << " add ";
    addCheck(alter, check);
    writing_.add(phase, alter.text(), {}, option);
  }
  void replaceDefault(Phase phase, const Column& column) {
    Statement alter("alter table ", Quotes::brackets);
    alter.name(table_.name) << " replace ";
    alter.name(column.name) << " default " << defaultOf(column);
    writing_.add(phase, alter);
  }

  /// What uses functions that use the table.
  void addBehindFunctions() {
    for (const Column& column : laterColumns(writing_, table_)) {
      Statement alter("alter table ", quotes());
      alter.name(table_.name) << " add ";
      addColumn(alter, column);
      writing_.add(Phase::indexes, alter.text(), {},
                   option_.value_or(alter.needsQuotedIdentifier()));
    }
    for (const Column& column : table_.columns) {
      if (isWaiting(column) && allowsDefault(column)) replaceDefault(Phase::indexes, column);
    }
    for (const Check& check : table_.checks) {
      if (isWhole(check.condition) && writing_.isLate(&check) && allowsCheck(check))
        addByStatement(Phase::indexes, check);
    }
  }
  /// Whether its default waits for a function.
  bool isWaiting(const Column& column) const {
    return column.computed.isDefault() && writing_.isLate(&column);
  }

  Writing& writing_;
  const Table& table_;
  std::optional<bool> option_;  ///< quoted_identifier, where something asks for it
  std::string pendingNull_;
  std::vector<std::string> changes_;
  std::optional<Statement> partition_;
};

}  // namespace

std::string titleOf(const Table& table) { return titleOf(Kind::table, shown(table.name)); }

std::string titleOfPart(const Table& table, std::string_view kind, const GivenName& name) {
  return titleOf(table) + ": " + std::string(kind) + " " +
         (name.generated ? "without a name" : name.name);
}

std::string segmentName(const std::string& segment) {
  return needsQuotes(segment) ? literal(segment) : segment;
}

std::pair<std::string, std::string> dataAndTexts(const std::string& value,
                                                 std::string_view separator) {
  constexpr std::string_view kTexts = "text only: ";
  const std::size_t at = value.find(kTexts);
  if (at == std::string::npos) return {value, {}};
  const std::size_t data = at < separator.size() ? 0 : at - separator.size();
  return {value.substr(0, data), value.substr(at + kTexts.size())};
}

void addKeyColumns(Statement& statement, const IndexStorage& storage) {
  statement << "(";
  for (std::size_t at = 0; at < storage.columns.size(); ++at) {
    const KeyColumn& key = storage.columns[at];
    if (at > 0) statement << ", ";
    if (key.isExpression) {
      statement << key.name;
    } else {
      statement.name(key.name);
    }
    if (key.descending) statement << " desc";
  }
  statement << ")";
}

void addPartitions(Statement& statement, const std::vector<Partition>& partitions) {
  statement << "(";
  for (std::size_t at = 0; at < partitions.size(); ++at) {
    const Partition& one = partitions[at];
    std::string_view blank = at > 0 ? ", " : "";
    const auto next = [&]() -> Statement& { return statement << std::exchange(blank, " "); };
    if (!one.name.generated) next().name(one.name.name);
    if (!one.bound.empty()) next() << one.bound;
    if (!one.segment.empty()) next() << "on " << segmentName(one.segment);
  }
  statement << ")";
}

Statement columnText(Writing& writing, const Table& table, const Column& column) {
  return TableWriter(writing, table).columnText(column);
}

ColumnType typeFor(const Writing& writing, const Column& column) {
  struct Precision {
    std::string_view type;
    std::int16_t digits;
  };
  static constexpr Precision kPrecisions[] = {
      {"tinyint", 3},       {"smallint", 5}, {"unsigned smallint", 5}, {"int", 10},
      {"unsigned int", 10}, {"bigint", 19},  {"unsigned bigint", 20}};
  ColumnType type = column.type;
  if (!type.identity || writing.has(TargetRelease::ase15) || !type.type.owner.isDefault())
    return type;
  const auto* const found = std::ranges::find(kPrecisions, type.type.name, &Precision::type);
  if (found != std::end(kPrecisions))
    type.type = {{}, "numeric", {}, found->digits, std::int16_t{0}};
  return type;
}

bool writeTable(Writing& writing, const Table& table) {
  return TableWriter(writing, table).write();
}

}  // namespace kelvane::inventory
