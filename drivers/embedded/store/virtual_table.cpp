#include "drivers/embedded/store/virtual_table.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "drivers/embedded/store/sqlite.h"

#define SQLITE_ENABLE_PREUPDATE_HOOK
#include <sqlite3.h>

namespace kelvane::embedded {

namespace {

/// What a statement asks of one column. Values that are no integers are left to SQLite.
struct Condition {
  int column;
  unsigned char operation;
  std::int64_t value;

  bool holds(std::optional<std::int64_t> content) const {
    if (!content) return false;
    switch (operation) {
      case SQLITE_INDEX_CONSTRAINT_EQ:
        return *content == value;
      case SQLITE_INDEX_CONSTRAINT_GT:
        return *content > value;
      case SQLITE_INDEX_CONSTRAINT_GE:
        return *content >= value;
      case SQLITE_INDEX_CONSTRAINT_LT:
        return *content < value;
      default:
        return *content <= value;
    }
  }
};

bool isComparison(unsigned char operation) {
  return operation == SQLITE_INDEX_CONSTRAINT_EQ || operation == SQLITE_INDEX_CONSTRAINT_GT ||
         operation == SQLITE_INDEX_CONSTRAINT_GE || operation == SQLITE_INDEX_CONSTRAINT_LT ||
         operation == SQLITE_INDEX_CONSTRAINT_LE;
}

/// The conditions of a plan go from xBestIndex to xFilter as a text, two characters for each.
constexpr char kFirstColumn = '0';

std::string_view textOf(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

}  // namespace

/// The functions that SQLite calls for all virtual tables of one database.
struct Database::VirtualTables {
  struct Table : sqlite3_vtab {
    Database* database = nullptr;
    const VirtualTable* definition = nullptr;
    std::vector<std::pair<int, UndoLog::Mark>> savepoints;

    static Table& of(sqlite3_vtab* table) { return *static_cast<Table*>(table); }
  };

  class Cursor : public sqlite3_vtab_cursor {
   public:
    explicit Cursor(RowSource& source) : sqlite3_vtab_cursor(), source_(source) {
      source_.beginReading();
    }
    ~Cursor() { source_.endReading(); }
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    static Cursor& of(sqlite3_vtab_cursor* cursor) { return *static_cast<Cursor*>(cursor); }

    void filter(const VirtualTable& definition, int lookup, std::string_view plan,
                std::span<sqlite3_value*> values) {
      conditions_.clear();
      found_.clear();
      at_ = 0;
      isScan_ = true;
      isEmpty_ = false;
      if (lookup > 0) {
        narrow(definition, static_cast<std::size_t>(lookup) - 1, values.front());
        values = values.subspan(1);
      }
      for (std::size_t i = 0; i < values.size(); ++i) addCondition(plan.substr(2 * i), values[i]);
      toNextMatch();
    }
    void next() {
      ++at_;
      toNextMatch();
    }
    bool isAtEnd() const { return isEmpty_ || at_ >= count(); }
    Slot slot() const { return isScan_ ? static_cast<Slot>(at_) : found_[at_]; }
    RowSource& source() const { return source_; }

   private:
    std::size_t count() const { return isScan_ ? source_.slots() : found_.size(); }

    void narrow(const VirtualTable& definition, std::size_t lookup, sqlite3_value* value) {
      const int type = sqlite3_value_type(value);
      if (type == SQLITE_NULL) {
        isEmpty_ = true;
        return;
      }
      std::span<const Slot> slots;
      if (definition.lookups[lookup].isText) {
        if (type != SQLITE_TEXT) return;
        std::string_view text = textOf(value);
        text = text.substr(0, text.find_last_not_of(' ') + 1);
        slots = source_.find(lookup, text);
      } else {
        const std::int64_t key = sqlite3_value_int64(value);
        const bool isSkipped = key == 0 && definition.lookups[lookup].skipsZero;
        if (type != SQLITE_INTEGER || isSkipped) return;
        slots = source_.find(lookup, key);
      }
      isScan_ = false;
      // The statement may change the table that it reads.
      found_.assign(slots.begin(), slots.end());
    }

    void addCondition(std::string_view plan, sqlite3_value* value) {
      const int type = sqlite3_value_type(value);
      if (type == SQLITE_NULL) isEmpty_ = true;
      if (type != SQLITE_INTEGER) return;
      conditions_.push_back({plan[0] - kFirstColumn, static_cast<unsigned char>(plan[1]),
                             sqlite3_value_int64(value)});
    }

    void toNextMatch() {
      if (isEmpty_) return;
      for (const std::size_t end = count(); at_ < end; ++at_) {
        const Slot candidate = slot();
        if (!source_.holds(candidate)) continue;
        const bool matches = std::ranges::all_of(conditions_, [&](const Condition& condition) {
          return condition.holds(source_.integer(candidate, condition.column));
        });
        if (matches) return;
      }
    }

    RowSource& source_;
    std::vector<Slot> found_;
    std::vector<Condition> conditions_;
    std::size_t at_ = 0;
    bool isScan_ = true;
    bool isEmpty_ = false;
  };

  /// Exceptions must not cross SQLite's C code.
  template <class Body>
  static int guarded(Table& table, Body&& body) {
    try {
      body();
      return SQLITE_OK;
    } catch (const std::exception& error) {
      table.database->thrown_ = std::current_exception();
      sqlite3_free(table.zErrMsg);
      table.zErrMsg = sqlite3_mprintf("%s", error.what());
      return SQLITE_ERROR;
    }
  }

  static int connect(sqlite3* connection, void* database, int, const char* const* arguments,
                     sqlite3_vtab** made, char**) {
    auto table = std::make_unique<Table>();
    table->database = static_cast<Database*>(database);
    table->definition = table->database->virtualTables_.at(arguments[0]).get();
    const std::string declaration = "CREATE TABLE t(" + table->definition->columns + ")";
    const int code = sqlite3_declare_vtab(connection, declaration.c_str());
    if (code == SQLITE_OK) *made = table.release();
    return code;
  }

  static int disconnect(sqlite3_vtab* table) {
    delete &Table::of(table);
    return SQLITE_OK;
  }

  static bool isComparedAsStored(sqlite3_index_info* info, int constraint) {
    const std::string_view collation = sqlite3_vtab_collation(info, constraint);
    return collation == "RTRIM" || collation == "BINARY";
  }

  static int bestIndex(sqlite3_vtab* vtab, sqlite3_index_info* info) {
    const VirtualTable& definition = *Table::of(vtab).definition;
    int chosen = -1;
    int lookup = -1;
    for (int i = 0; i < info->nConstraint; ++i) {
      const auto& constraint = info->aConstraint[i];
      if (!constraint.usable || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ) continue;
      const auto found = std::ranges::find(definition.lookups, constraint.iColumn, &Lookup::column);
      if (found == definition.lookups.end()) continue;
      if (found->isText && !isComparedAsStored(info, i)) continue;
      const auto position = static_cast<std::size_t>(found - definition.lookups.begin());
      if (lookup >= 0 && definition.lookups[static_cast<std::size_t>(lookup)].expectedRows <=
                             found->expectedRows) {
        continue;
      }
      chosen = i;
      lookup = static_cast<int>(position);
    }
    int argument = 0;
    if (chosen >= 0) info->aConstraintUsage[chosen].argvIndex = ++argument;
    std::string plan;
    double rows = chosen < 0 ? definition.expectedRows
                             : definition.lookups[static_cast<std::size_t>(lookup)].expectedRows;
    const double looked = rows;
    for (int i = 0; i < info->nConstraint; ++i) {
      const auto& constraint = info->aConstraint[i];
      if (i == chosen || !constraint.usable || !isComparison(constraint.op)) continue;
      if (constraint.iColumn < 0 ||
          !definition.isInteger[static_cast<std::size_t>(constraint.iColumn)]) {
        continue;
      }
      info->aConstraintUsage[i].argvIndex = ++argument;
      plan += static_cast<char>(kFirstColumn + constraint.iColumn);
      plan += static_cast<char>(constraint.op);
      rows /= constraint.op == SQLITE_INDEX_CONSTRAINT_EQ ? 10 : 2;
    }
    info->idxNum = lookup + 1;
    info->idxStr = sqlite3_mprintf("%s", plan.c_str());
    info->needToFreeIdxStr = 1;
    if (info->idxStr == nullptr) return SQLITE_NOMEM;
    info->estimatedRows = std::max<sqlite3_int64>(1, static_cast<sqlite3_int64>(rows));
    info->estimatedCost = 1 + looked;
    return SQLITE_OK;
  }

  static int open(sqlite3_vtab* vtab, sqlite3_vtab_cursor** made) {
    Table& table = Table::of(vtab);
    return guarded(table, [&] { *made = new Cursor(table.definition->source()); });
  }

  static int close(sqlite3_vtab_cursor* cursor) {
    delete &Cursor::of(cursor);
    return SQLITE_OK;
  }

  static int filter(sqlite3_vtab_cursor* cursor, int lookup, const char* plan, int count,
                    sqlite3_value** values) {
    Table& table = Table::of(cursor->pVtab);
    return guarded(table, [&] {
      Cursor::of(cursor).filter(*table.definition, lookup, plan,
                                {values, static_cast<std::size_t>(count)});
    });
  }

  static int next(sqlite3_vtab_cursor* cursor) {
    Cursor::of(cursor).next();
    return SQLITE_OK;
  }

  static int isAtEnd(sqlite3_vtab_cursor* cursor) { return Cursor::of(cursor).isAtEnd() ? 1 : 0; }

  static int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int number) {
    FunctionCall result(context, {});
    const Cursor& at = Cursor::of(cursor);
    return guarded(Table::of(cursor->pVtab), [&] { at.source().read(at.slot(), number, result); });
  }

  static int rowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* id) {
    *id = Cursor::of(cursor).slot();
    return SQLITE_OK;
  }

  static int update(sqlite3_vtab* vtab, int count, sqlite3_value** values, sqlite3_int64* id) {
    Table& table = Table::of(vtab);
    RowSource& source = table.definition->source();
    return guarded(table, [&] {
      std::optional<Slot> slot;
      if (sqlite3_value_type(values[0]) != SQLITE_NULL) {
        slot = static_cast<Slot>(sqlite3_value_int64(values[0]));
      }
      if (count == 1) return source.erase(slot.value());
      std::vector<Cell> cells;
      cells.reserve(static_cast<std::size_t>(count) - 2);
      for (int i = 2; i < count; ++i) cells.push_back(storedCell(values[i]));
      *id = source.write(slot, cells);
    });
  }

  static int begin(sqlite3_vtab* vtab) {
    Table::of(vtab).savepoints.clear();
    return SQLITE_OK;
  }
  static int accept(sqlite3_vtab*) { return SQLITE_OK; }
  static int commit(sqlite3_vtab* vtab) {
    Table& table = Table::of(vtab);
    return guarded(table, [&] { table.database->undoLog().settle(); });
  }

  static int savepoint(sqlite3_vtab* vtab, int number) {
    Table& table = Table::of(vtab);
    return guarded(table, [&] {
      std::erase_if(table.savepoints, [&](const auto& kept) { return kept.first >= number; });
      table.savepoints.emplace_back(number, table.database->undoLog().mark());
    });
  }

  static int release(sqlite3_vtab* vtab, int number) {
    std::erase_if(Table::of(vtab).savepoints,
                  [&](const auto& kept) { return kept.first >= number; });
    return SQLITE_OK;
  }

  static int rollBackTo(sqlite3_vtab* vtab, int number) {
    Table& table = Table::of(vtab);
    return guarded(table, [&] {
      for (const auto& [kept, mark] : table.savepoints) {
        if (kept >= number) return table.database->undoLog().undoTo(mark);
      }
    });
  }

  static sqlite3_module module() {
    sqlite3_module module{};
    module.iVersion = 2;
    module.xConnect = connect;
    module.xBestIndex = bestIndex;
    module.xDisconnect = disconnect;
    module.xOpen = open;
    module.xClose = close;
    module.xFilter = filter;
    module.xNext = next;
    module.xEof = isAtEnd;
    module.xColumn = column;
    module.xRowid = rowId;
    module.xUpdate = update;
    module.xBegin = begin;
    module.xSync = accept;
    module.xCommit = commit;
    module.xRollback = accept;
    module.xSavepoint = savepoint;
    module.xRelease = release;
    module.xRollbackTo = rollBackTo;
    return module;
  }
};

// A module without a way to create tables is itself a table, of its own name. So tables can be
// added at any time without a change of SQLite's schema.
void Database::addTable(VirtualTable table) {
  static const sqlite3_module kModule = VirtualTables::module();
  const std::string name = table.name;
  virtualTables_[name] = std::make_unique<const VirtualTable>(std::move(table));
  if (sqlite3_create_module(handle(), name.c_str(), &kModule, this) != SQLITE_OK) fail();
}

}  // namespace kelvane::embedded
