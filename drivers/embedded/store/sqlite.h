// The SQLite database in memory below the embedded server: a connection, its statements and the
// functions that SQL text may call.
//
// A Statement must not outlive its Database. Neither has locks: one thread at a time. Every failure
// of SQLite is a StoreError, except that an exception thrown inside a registered function comes
// out of the call that was running the statement, unchanged.
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "drivers/embedded/store/cell.h"
#include "drivers/embedded/store/undo_log.h"
#include "drivers/embedded/store/virtual_table.h"

struct sqlite3;
struct sqlite3_context;
struct sqlite3_stmt;
struct sqlite3_value;

namespace kelvane::embedded {

Cell storedCell(sqlite3_value* value);

struct StoreError : std::runtime_error {
  StoreError(int code, const std::string& text) : std::runtime_error(text), code(code) {}

  /// A primary key or unique index refused a row; `what()` then ends in the columns, `t1.c1,
  /// t1.c2`.
  bool isDuplicateKey() const;

  int code;  ///< SQLite's extended result code
};

/// A value of the row that a statement stands on, until it is stepped. What is asked for must be of
/// the kind of the value.
class ValueView {
 public:
  enum class Kind { Null, Integer, Real, Text, Blob };

  explicit ValueView(sqlite3_value* value) : value_(value) {}
  Kind kind() const;
  std::int64_t integer() const;
  double real() const;
  std::string_view text() const;
  std::span<const std::byte> bytes() const;

 private:
  sqlite3_value* value_;
};

/// Binds and results count from 1 and 0, as SQLite's own.
class Statement {
 public:
  Statement() = default;

  void bind(int parameter, Null);
  void bind(int parameter, std::int64_t value);
  void bind(int parameter, int value) { bind(parameter, std::int64_t{value}); }
  void bind(int parameter, double value);
  void bind(int parameter, std::string_view value);
  void bind(int parameter, const char* value) { bind(parameter, std::string_view(value)); }
  void bind(int parameter, const Blob& value);
  /// Without a copy: the text must stay until the parameter is bound anew.
  void bindStatic(int parameter, std::string_view value);
  void bind(int parameter, const std::same_as<Cell> auto& value) { bindCell(parameter, value); }
  template <class T>
  void bind(int parameter, const std::optional<T>& value) {
    if (value) {
      bind(parameter, *value);
    } else {
      bind(parameter, Null{});
    }
  }
  /// Binds parameters 1, 2, ...
  template <class... Values>
  void bindAll(const Values&... values) {
    int parameter = 0;
    (bind(++parameter, values), ...);
  }
  int parameterCount() const;

  /// Runs to the next row; false at the end.
  bool step();
  void reset();

  int columnCount() const;
  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  int number(int column) const { return static_cast<int>(integer(column)); }
  double real(int column) const;
  std::string text(int column) const;       ///< "" for null
  std::string_view view(int column) const;  ///< as text, valid until the next step
  Cell cell(int column) const;
  ValueView value(int column) const;

 private:
  friend class Database;
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  Statement(class Database& database, sqlite3_stmt* statement)
      : database_(&database), statement_(statement) {}
  bool isBusy() const;
  void bindCell(int parameter, const Cell& value);

  class Database* database_ = nullptr;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// The arguments and the result of one call of a registered function. No result set: null.
class FunctionCall {
 public:
  FunctionCall(sqlite3_context* context, std::span<sqlite3_value*> arguments)
      : context_(context), arguments_(arguments) {}

  int count() const { return static_cast<int>(arguments_.size()); }
  bool isNull(int argument) const;
  std::int64_t integer(int argument) const;
  double real(int argument) const;
  std::string_view text(int argument) const;  ///< valid during the call
  Cell cell(int argument) const;

  void result(std::int64_t value);
  void result(int value) { result(std::int64_t{value}); }
  void result(double value);
  void result(std::string_view value);
  void result(const Cell& value);

 private:
  sqlite3_context* context_;
  std::span<sqlite3_value*> arguments_;
};

using ScalarFunction = std::function<void(FunctionCall&)>;

/// One group of an aggregate: rows go through step, then finish gives the result.
class Aggregate {
 public:
  virtual ~Aggregate() = default;
  virtual void step(FunctionCall& row) = 0;
  virtual Cell finish() = 0;
};
using AggregateFactory = std::function<std::unique_ptr<Aggregate>()>;

/// Fixed functions give the same result for the same arguments while a statement runs.
enum class FunctionKind { Fixed, Volatile };

/// SQLite's count of the memory that it uses, kept for the whole process under one lock, is left
/// out. To be called before anything uses SQLite; later it does nothing.
void forgoMemoryAccounts();

/// The attached database for the rows of a table, which may outgrow the memory: it goes to disk, to
/// a file that vanishes with the connection, when it outgrows its cache. There are several, because
/// SQLite looks at all that a database holds when a table is created in it.
std::string rowStore(int tableId);

class Database {
 public:
  Database();
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  Statement prepare(std::string_view sql);
  /// One or more statements without results or parameters, such as DDL.
  void execute(const std::string& sql);

  /// Runs one statement kept for its text (so the text should be constant) and reports each row.
  template <class Visit, class... Values>
  void each(std::string_view sql, Visit&& visit, const Values&... values) {
    Borrowed statement(*this, sql);
    statement->bindAll(values...);
    while (statement->step()) visit(std::as_const(*statement));
  }
  template <class... Values>
  void run(std::string_view sql, const Values&... values) {
    each(
        sql, [](const Statement&) {}, values...);
  }
  /// Column 0 of the first row; none when there is no row or it is null.
  template <class T = int, class... Values>
  std::optional<T> value(std::string_view sql, const Values&... values) {
    Borrowed statement(*this, sql);
    statement->bindAll(values...);
    if (!statement->step() || statement->isNull(0)) return std::nullopt;
    if constexpr (std::is_same_v<T, std::string>) {
      return statement->text(0);
    } else {
      return static_cast<T>(statement->integer(0));
    }
  }

  /// Statements from here on are one transaction, which costs less than one for each. Both do
  /// nothing when there is nothing to do.
  void begin();
  void commit();
  /// Calls `watch` about every thousand instructions of whatever runs; what it throws ends that
  /// statement. When the statement writes, SQLite then undoes the whole transaction.
  void watchProgress(std::function<void()> watch);
  bool inTransaction() const;

  std::int64_t changes() const;
  /// Rows written since the database was opened.
  std::int64_t totalChanges() const;
  std::int64_t lastRowId() const;
  /// How often changes have been undone: of a statement that failed, to a savepoint, of a
  /// transaction.
  std::uint64_t rollbacks() const { return rollbacks_; }

  /// `argumentCount` -1 takes any number.
  void addFunction(const char* name, int argumentCount, FunctionKind kind, ScalarFunction function);
  void addAggregate(const char* name, int argumentCount, AggregateFactory factory);
  /// Makes a table whose rows are those of its source.
  void addTable(VirtualTable table);

  /// Changes of what is kept outside of SQLite. They are undone with the transactions and the
  /// savepoints of this database.
  UndoLog& undoLog() { return undoLog_; }

  sqlite3* handle() const { return connection_.get(); }
  /// Throws what went wrong last.
  [[noreturn]] void fail();

 private:
  friend class Statement;
  friend class Savepoint;
  struct Close {
    void operator()(sqlite3* connection) const;
  };
  struct Registered;
  struct VirtualTables;

  /// A statement of the cache while it runs. One that is running already is prepared anew.
  class Borrowed {
   public:
    Borrowed(Database& database, std::string_view sql);
    ~Borrowed() { statement_->reset(); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    Statement* operator->() { return statement_; }
    Statement& operator*() { return *statement_; }

   private:
    Statement own_;
    Statement* statement_;
  };

  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>{}(text);
    }
  };

  UndoLog undoLog_;
  std::uint64_t rollbacks_ = 0;
  std::map<std::string, std::unique_ptr<const VirtualTable>, std::less<>> virtualTables_;
  std::unique_ptr<sqlite3, Close> connection_;
  std::unordered_map<std::string, Statement, TextHash, std::equal_to<>> statements_;
  std::exception_ptr thrown_;  ///< by a registered function, on its way out through SQLite
  std::function<void()> watch_;
};

/// Keeps, while it lives, the rows of one table that are written or taken away, as they were and as
/// they are. One at a time.
class RowWatch {
 public:
  RowWatch(Database& database, std::string schema, std::string table);
  ~RowWatch();
  RowWatch(const RowWatch&) = delete;
  RowWatch& operator=(const RowWatch&) = delete;

  std::vector<std::vector<Cell>> before;
  std::vector<std::vector<Cell>> after;

 private:
  void changed(sqlite3* connection, int operation, std::string_view schema, std::string_view table);

  Database& database_;
  std::string schema_;
  std::string table_;
};

/// Everything written between construction and `keep` is undone when `keep` is never reached.
/// May be nested.
class Savepoint {
 public:
  explicit Savepoint(Database& database);
  ~Savepoint();
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;
  void keep();

 private:
  Database& database_;
  UndoLog::Mark mark_;
  bool open_ = true;
};

}  // namespace kelvane::embedded
