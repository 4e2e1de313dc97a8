#include "drivers/embedded/connection.h"

#include <deque>

#include "ado/client_recordset.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/forward_recordset.h"
#include "drivers/embedded/row_values.h"
#include "model/text.h"

namespace kelvane::embedded {
namespace {

constexpr std::int32_t kProviderError = -2147467259;
constexpr const char16_t* kSource = u"Kelvane embedded catalog";

ado::Error errorOf(const ServerMessage& message) {
  return {kProviderError, toUtf16(message.text), message.number, kSource,
          toUtf16(message.sqlState)};
}

ado::Failure failureOf(const ado::Error& error) {
  return ado::Failure(error.Number, error.Description, error.Source);
}

// The results of a batch up to its first error, and all errors.
class ClientOutcome final : public Outcome {
 public:
  void beginRows(const std::vector<ResultColumn>& columns) override {
    columns_.clear();
    for (const ResultColumn& column : columns) columns_.emplace_back(column.type);
    if (!errors.empty()) return;
    ado::RowSet& rows = results.emplace_back();
    for (const ResultColumn& column : columns) rows.columns.push_back(toUtf16(column.name));
  }
  void row(Row row) override {
    if (!errors.empty()) return;
    std::vector<ado::StoredValue>& values = results.back().rows.emplace_back();
    values.reserve(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) values.emplace_back(columns_[i].show(row[i]));
  }
  void count(std::int64_t) override {
    if (errors.empty()) results.emplace_back();
  }
  void notice(const Notice& notice) override {
    if (notice.isError()) errors.push_back(errorOf(notice.message));
  }

  std::deque<ado::RowSet> results;
  std::vector<ado::Error> errors;

 private:
  std::vector<ShownColumn> columns_;
};

class EmbeddedConnection final : public ado::Connection {
 public:
  explicit EmbeddedConnection(Server& server) : server_(server), session_(server) {
    session_.caller.database = server.database;
  }

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override { return errors_; }

 private:
  [[noreturn]] void failStream();

  Server& server_;
  Session session_;
  std::vector<ado::Error> errors_;
};

// Turns the exception that is being handled into a pending error.
void EmbeddedConnection::failStream() {
  errors_.assign(1, errorOf(tsql::handledError().toMessage()));
  throw failureOf(errors_.front());
}

std::unique_ptr<ado::Recordset> EmbeddedConnection::Open(std::u16string_view source,
                                                         const ado::OpenMode& mode) {
  errors_.clear();
  server_.steps.begin();
  ClientOutcome outcome;
  const std::string text = toUtf8(source);
  const bool forward = mode.location == ado::CursorLocation::server;
  std::optional<RowStream> stream;
  if (forward) {
    stream = session_.runStreaming(text, outcome);
  } else {
    session_.run(text, outcome);
  }
  if (stream && outcome.errors.empty() && outcome.results.empty()) {
    return std::make_unique<StreamRecordset>(session_, std::move(*stream),
                                             [this] { failStream(); });
  }
  if (stream) {
    outcome.beginRows(stream->columns);
    try {
      while (session_.step(*stream)) outcome.row(rowOf(stream->statement));
    } catch (const std::exception&) {
      failStream();
    }
  }
  errors_ = outcome.errors;
  if (!errors_.empty() && outcome.results.empty()) throw failureOf(errors_.front());
  const std::exception_ptr failure =
      errors_.empty() ? nullptr : std::make_exception_ptr(failureOf(errors_.front()));
  if (forward) {
    return std::make_unique<ForwardRecordset>(std::move(outcome.results), failure);
  }
  return std::make_unique<ado::ClientRecordset>(std::move(outcome.results), failure);
}

}  // namespace

void prepareForThreads() { forgoMemoryAccounts(); }

EmbeddedCatalog::EmbeddedCatalog(const CatalogOptions& options)
    : server_(std::make_unique<Server>(options)) {}
EmbeddedCatalog::~EmbeddedCatalog() = default;
EmbeddedCatalog::EmbeddedCatalog(EmbeddedCatalog&&) noexcept = default;
EmbeddedCatalog& EmbeddedCatalog::operator=(EmbeddedCatalog&&) noexcept = default;

std::vector<std::string> EmbeddedCatalog::databases() const {
  return server_->catalog.databasesWithObjects();
}

bool EmbeddedCatalog::useDatabase(const std::string& name) {
  if (!server_->catalog.databaseId(name)) return false;
  server_->database = name;
  return true;
}

std::unique_ptr<ado::Connection> EmbeddedCatalog::connect() {
  return std::make_unique<EmbeddedConnection>(*server_);
}

}  // namespace kelvane::embedded
