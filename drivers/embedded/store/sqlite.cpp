#include "drivers/embedded/store/sqlite.h"

#include <cstring>

#define SQLITE_ENABLE_PREUPDATE_HOOK
#include <sqlite3.h>

namespace kelvane::embedded {

Cell storedCell(sqlite3_value* value) {
  switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
      return std::int64_t{sqlite3_value_int64(value)};
    case SQLITE_FLOAT:
      return sqlite3_value_double(value);
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
      return std::string(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
    }
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const std::byte*>(sqlite3_value_blob(value));
      return Blob(bytes, bytes + sqlite3_value_bytes(value));
    }
    default:
      return Null{};
  }
}

namespace {

void setResult(sqlite3_context* context, const Cell& value) {
  struct Setter {
    sqlite3_context* context;
    void operator()(Null) const { sqlite3_result_null(context); }
    void operator()(std::int64_t number) const { sqlite3_result_int64(context, number); }
    void operator()(double number) const { sqlite3_result_double(context, number); }
    void operator()(const std::string& text) const {
      sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    void operator()(const Blob& bytes) const {
      sqlite3_result_blob64(context, bytes.empty() ? static_cast<const void*>("") : bytes.data(),
                            bytes.size(), SQLITE_TRANSIENT);
    }
  };
  std::visit(Setter{context}, value);
}

}  // namespace

bool StoreError::isDuplicateKey() const {
  return code == SQLITE_CONSTRAINT_UNIQUE || code == SQLITE_CONSTRAINT_PRIMARYKEY;
}

// statements

void Statement::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

void Statement::bind(int parameter, Null) {
  if (sqlite3_bind_null(statement_.get(), parameter) != SQLITE_OK) database_->fail();
}

void Statement::bind(int parameter, std::int64_t value) {
  if (sqlite3_bind_int64(statement_.get(), parameter, value) != SQLITE_OK) database_->fail();
}

void Statement::bind(int parameter, double value) {
  if (sqlite3_bind_double(statement_.get(), parameter, value) != SQLITE_OK) database_->fail();
}

void Statement::bind(int parameter, std::string_view value) {
  // A view of nothing may have no address, which SQLite would take for null.
  const char* data = value.empty() ? "" : value.data();
  if (sqlite3_bind_text64(statement_.get(), parameter, data, value.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8) != SQLITE_OK) {
    database_->fail();
  }
}

void Statement::bindStatic(int parameter, std::string_view value) {
  const char* data = value.empty() ? "" : value.data();
  if (sqlite3_bind_text64(statement_.get(), parameter, data, value.size(), SQLITE_STATIC,
                          SQLITE_UTF8) != SQLITE_OK) {
    database_->fail();
  }
}

void Statement::bind(int parameter, const Blob& value) {
  const void* data = value.empty() ? static_cast<const void*>("") : value.data();
  if (sqlite3_bind_blob64(statement_.get(), parameter, data, value.size(), SQLITE_TRANSIENT) !=
      SQLITE_OK) {
    database_->fail();
  }
}

void Statement::bindCell(int parameter, const Cell& value) {
  std::visit([&](const auto& content) { bind(parameter, content); }, value);
}

int Statement::parameterCount() const { return sqlite3_bind_parameter_count(statement_.get()); }

bool Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  ++database_->rollbacks_;
  try {
    database_->fail();
  } catch (...) {
    sqlite3_reset(statement_.get());
    throw;
  }
}

void Statement::reset() { sqlite3_reset(statement_.get()); }

int Statement::columnCount() const { return sqlite3_column_count(statement_.get()); }

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

double Statement::real(int column) const { return sqlite3_column_double(statement_.get(), column); }

std::string Statement::text(int column) const { return std::string(view(column)); }

std::string_view Statement::view(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

Cell Statement::cell(int column) const {
  return storedCell(sqlite3_column_value(statement_.get(), column));
}

ValueView Statement::value(int column) const {
  return ValueView(sqlite3_column_value(statement_.get(), column));
}

ValueView::Kind ValueView::kind() const {
  switch (sqlite3_value_type(value_)) {
    case SQLITE_INTEGER:
      return Kind::Integer;
    case SQLITE_FLOAT:
      return Kind::Real;
    case SQLITE_TEXT:
      return Kind::Text;
    case SQLITE_BLOB:
      return Kind::Blob;
    default:
      return Kind::Null;
  }
}

std::int64_t ValueView::integer() const { return sqlite3_value_int64(value_); }

double ValueView::real() const { return sqlite3_value_double(value_); }

std::string_view ValueView::text() const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value_));
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value_))};
}

std::span<const std::byte> ValueView::bytes() const {
  const auto* bytes = static_cast<const std::byte*>(sqlite3_value_blob(value_));
  return {bytes, static_cast<std::size_t>(sqlite3_value_bytes(value_))};
}

bool Statement::isBusy() const { return sqlite3_stmt_busy(statement_.get()) != 0; }

// functions

bool FunctionCall::isNull(int argument) const {
  return sqlite3_value_type(arguments_[static_cast<std::size_t>(argument)]) == SQLITE_NULL;
}

std::int64_t FunctionCall::integer(int argument) const {
  return sqlite3_value_int64(arguments_[static_cast<std::size_t>(argument)]);
}

double FunctionCall::real(int argument) const {
  return sqlite3_value_double(arguments_[static_cast<std::size_t>(argument)]);
}

std::string_view FunctionCall::text(int argument) const {
  sqlite3_value* value = arguments_[static_cast<std::size_t>(argument)];
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

Cell FunctionCall::cell(int argument) const {
  return storedCell(arguments_[static_cast<std::size_t>(argument)]);
}

void FunctionCall::result(std::int64_t value) { sqlite3_result_int64(context_, value); }

void FunctionCall::result(double value) { sqlite3_result_double(context_, value); }

void FunctionCall::result(std::string_view value) {
  sqlite3_result_text64(context_, value.empty() ? "" : value.data(), value.size(), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

void FunctionCall::result(const Cell& value) { setResult(context_, value); }

/// What SQLite holds for a registered function; exceptions must not cross its C code.
struct Database::Registered {
  Database& database;
  ScalarFunction scalar;
  AggregateFactory aggregate;

  static Registered& of(sqlite3_context* context) {
    return *static_cast<Registered*>(sqlite3_user_data(context));
  }

  template <class Body>
  void guarded(sqlite3_context* context, Body&& body) {
    try {
      body();
    } catch (const std::exception& error) {
      database.thrown_ = std::current_exception();
      sqlite3_result_error(context, error.what(), -1);
    }
  }

  static void call(sqlite3_context* context, int count, sqlite3_value** values) {
    Registered& self = of(context);
    self.guarded(context, [&] {
      FunctionCall arguments(context, {values, static_cast<std::size_t>(count)});
      self.scalar(arguments);
    });
  }

  static Aggregate** slot(sqlite3_context* context) {
    return static_cast<Aggregate**>(sqlite3_aggregate_context(context, sizeof(Aggregate*)));
  }

  static void step(sqlite3_context* context, int count, sqlite3_value** values) {
    Registered& self = of(context);
    self.guarded(context, [&] {
      Aggregate** group = slot(context);
      if (group == nullptr) throw std::bad_alloc();
      if (*group == nullptr) *group = self.aggregate().release();
      FunctionCall row(context, {values, static_cast<std::size_t>(count)});
      (*group)->step(row);
    });
  }

  static void finish(sqlite3_context* context) {
    Registered& self = of(context);
    Aggregate** kept = slot(context);
    // SQLite finishes a group also after an error, so that the group is freed here in any case.
    std::unique_ptr<Aggregate> group(kept == nullptr ? nullptr : *kept);
    if (self.database.thrown_) return;
    self.guarded(context, [&] {
      if (!group) group = self.aggregate();
      setResult(context, group->finish());
    });
  }

  static void destroy(void* self) { delete static_cast<Registered*>(self); }
};

void Database::addFunction(const char* name, int argumentCount, FunctionKind kind,
                           ScalarFunction function) {
  const int flags = SQLITE_UTF8 | (kind == FunctionKind::Fixed ? SQLITE_DETERMINISTIC : 0);
  auto registered = std::make_unique<Registered>(Registered{*this, std::move(function), {}});
  // SQLite calls the destructor itself when the registration fails.
  if (sqlite3_create_function_v2(handle(), name, argumentCount, flags, registered.release(),
                                 &Registered::call, nullptr, nullptr,
                                 &Registered::destroy) != SQLITE_OK) {
    fail();
  }
}

void Database::addAggregate(const char* name, int argumentCount, AggregateFactory factory) {
  auto registered = std::make_unique<Registered>(Registered{*this, {}, std::move(factory)});
  if (sqlite3_create_function_v2(handle(), name, argumentCount, SQLITE_UTF8, registered.release(),
                                 nullptr, &Registered::step, &Registered::finish,
                                 &Registered::destroy) != SQLITE_OK) {
    fail();
  }
}

// database

namespace {

// SQLite attaches ten at most.
constexpr int kRowStoreBits = 3;
constexpr int kRowStores = 1 << kRowStoreBits;

std::string rowStoreName(int number) { return "rows" + std::to_string(number); }

}  // namespace

std::string rowStore(int tableId) {
  // Ids that follow from one another by any step are spread evenly.
  constexpr std::uint32_t kGoldenRatio = 2'654'435'769;
  const std::uint32_t spread = static_cast<std::uint32_t>(tableId) * kGoldenRatio;
  return rowStoreName(static_cast<int>(spread >> (32 - kRowStoreBits)));
}

void forgoMemoryAccounts() { sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0); }

void Database::Close::operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }

Database::Database() {
  sqlite3* connection = nullptr;
  const int code = sqlite3_open_v2(
      ":memory:", &connection,
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX,
      nullptr);
  connection_.reset(connection);
  if (code != SQLITE_OK) fail();
  sqlite3_extended_result_codes(handle(), 1);
  // Double-quoted words are names only, so that a misspelt column is an error and not a text.
  sqlite3_db_config(handle(), SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(handle(), SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  // Small caches: at each commit SQLite looks at all that is in them and not on disk.
  execute("PRAGMA temp_store = FILE; PRAGMA temp.cache_size = -8192;");
  for (int number = 0; number < kRowStores; ++number) {
    const std::string name = rowStoreName(number);
    execute("ATTACH '' AS " + name + "; PRAGMA " + name + ".cache_size = -1024");
  }
  execute("PRAGMA journal_mode = MEMORY");
  // SQLite also rolls back by itself.
  const auto rolledBack = [](void* self) {
    auto& database = *static_cast<Database*>(self);
    ++database.rollbacks_;
    database.undoLog_.undoTo(0);
  };
  sqlite3_rollback_hook(handle(), rolledBack, this);
}

Database::~Database() = default;

void Database::fail() {
  if (thrown_) {
    std::exception_ptr thrown;
    std::swap(thrown, thrown_);
    std::rethrow_exception(thrown);
  }
  throw StoreError(sqlite3_extended_errcode(handle()), sqlite3_errmsg(handle()));
}

Statement Database::prepare(std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const char* rest = nullptr;
  if (sqlite3_prepare_v3(handle(), sql.data(), static_cast<int>(sql.size()), 0, &statement,
                         &rest) != SQLITE_OK) {
    fail();
  }
  return Statement(*this, statement);
}

void Database::execute(const std::string& sql) {
  if (sqlite3_exec(handle(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void Database::begin() {
  if (inTransaction()) return;
  undoLog_.settle();
  run("BEGIN");
}

void Database::commit() {
  if (inTransaction()) run("COMMIT");
  undoLog_.settle();
}

void Database::watchProgress(std::function<void()> watch) {
  constexpr int kInstructions = 1000;
  watch_ = std::move(watch);
  const auto passed = [](void* self) {
    auto& database = *static_cast<Database*>(self);
    try {
      database.watch_();
      return 0;
    } catch (const std::exception&) {
      database.thrown_ = std::current_exception();
      return 1;
    }
  };
  sqlite3_progress_handler(handle(), kInstructions, passed, this);
}

bool Database::inTransaction() const { return sqlite3_get_autocommit(handle()) == 0; }

std::int64_t Database::changes() const { return sqlite3_changes64(handle()); }

std::int64_t Database::totalChanges() const { return sqlite3_total_changes64(handle()); }

std::int64_t Database::lastRowId() const { return sqlite3_last_insert_rowid(handle()); }

Database::Borrowed::Borrowed(Database& database, std::string_view sql) {
  auto found = database.statements_.find(sql);
  if (found == database.statements_.end()) {
    found = database.statements_.emplace(std::string(sql), database.prepare(sql)).first;
  }
  if (found->second.isBusy()) {
    own_ = database.prepare(sql);
    statement_ = &own_;
  } else {
    statement_ = &found->second;
  }
}

Savepoint::Savepoint(Database& database) : database_(database), mark_(database.undoLog().mark()) {
  if (!database_.inTransaction()) {
    database_.undoLog().settle();
    mark_ = 0;
  }
  database_.run("SAVEPOINT kept");
}

Savepoint::~Savepoint() {
  if (!open_) return;
  ++database_.rollbacks_;
  database_.undoLog().undoTo(mark_);
  try {
    database_.run("ROLLBACK TO kept");
    database_.run("RELEASE kept");
  } catch (const StoreError&) {
    // SQLite has rolled back the whole transaction already, which is all that was wanted.
  }
}

void Savepoint::keep() {
  open_ = false;
  database_.run("RELEASE kept");
  if (!database_.inTransaction()) database_.undoLog().settle();
}

RowWatch::RowWatch(Database& database, std::string schema, std::string table)
    : database_(database), schema_(std::move(schema)), table_(std::move(table)) {
  const auto heard = [](void* self, sqlite3* connection, int operation, const char* schema,
                        const char* name, sqlite3_int64, sqlite3_int64) {
    static_cast<RowWatch*>(self)->changed(connection, operation, schema, name);
  };
  sqlite3_preupdate_hook(database.handle(), heard, this);
}

RowWatch::~RowWatch() { sqlite3_preupdate_hook(database_.handle(), nullptr, nullptr); }

void RowWatch::changed(sqlite3* connection, int operation, std::string_view schema,
                       std::string_view table) {
  if (table != table_ || schema != schema_) return;
  const auto row = [&](auto value) {
    std::vector<Cell> cells;
    for (int i = 0; i < sqlite3_preupdate_count(connection); ++i) {
      sqlite3_value* content = nullptr;
      value(connection, i, &content);
      cells.push_back(content == nullptr ? Cell() : storedCell(content));
    }
    return cells;
  };
  if (operation != SQLITE_INSERT) before.push_back(row(sqlite3_preupdate_old));
  if (operation != SQLITE_DELETE) after.push_back(row(sqlite3_preupdate_new));
}

}  // namespace kelvane::embedded
