#include "cli/sides/tracing_connection.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "model/text.h"

namespace kelvane::cli {

std::string inOneLine(std::u16string_view text) {
  std::string result;
  for (std::u16string_view line : split(text, u'\n')) {
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    if (!line.empty()) result += (result.empty() ? "" : "; ") + toUtf8(line);
  }
  return result;
}

std::string beginningOf(std::u16string_view statement) {
  constexpr std::size_t kMost = 100;
  const std::size_t end = std::min(statement.find_first_of(u"\r\n"), statement.size());
  const std::u16string_view start = statement.substr(0, std::min(end, kMost));
  return toUtf8(start) + (start.size() == statement.size() ? "" : " ...");
}

std::string noAnswerText(const Rejection& unanswered) {
  return "no answer to \"" + beginningOf(unanswered.statement) +
         "\": " + inOneLine(unanswered.error);
}

std::string unansweredText(const Rejection& unanswered) {
  return toUtf8(unanswered.activity) + ": " + noAnswerText(unanswered);
}
namespace {

// 08004 is what servers say that refuse one database or one login; they go on answering.
bool tellsOfNoAnswer(const ado::Error& error) {
  const std::u16string_view state = error.SQLState;
  return (state.starts_with(u"08") && state != u"08004") || state == u"HYT00" || state == u"HYT01";
}

}  // namespace

class TracingConnection::TracingRecordset final : public ado::Recordset {
  template <class Call>
  auto watched(Call call) {
    try {
      return call();
    } catch (const ado::Failure&) {
      failed_ = true;
      connection_.failedLater(statement_);
      throw;
    }
  }

 public:
  TracingRecordset(TracingConnection& connection, std::u16string statement,
                   std::unique_ptr<ado::Recordset> inner)
      : connection_(connection), statement_(std::move(statement)), inner_(std::move(inner)) {}
  ~TracingRecordset() override {
    while (!failed_ && advanced()) continue;
  }

  ado::ObjectState State() const override { return inner_->State(); }
  std::int32_t RecordCount() const override { return inner_->RecordCount(); }
  bool EndOfRows() const override { return inner_->EndOfRows(); }
  void MoveNext() override {
    watched([&] { inner_->MoveNext(); });
  }
  bool NextRecordset() override {
    return watched([&] { return inner_->NextRecordset(); });
  }
  std::int32_t FieldCount() const override { return inner_->FieldCount(); }
  const ado::Field& Fields(std::int32_t ordinal) const override { return inner_->Fields(ordinal); }
  const ado::Field& Fields(std::u16string_view name) const override { return inner_->Fields(name); }
  void Sort(std::u16string_view criteria) override { inner_->Sort(criteria); }

 private:
  // NextRecordset where nobody is left to be told of a failure, which is noted all the same.
  bool advanced() noexcept {
    try {
      return NextRecordset();
    } catch (const std::exception&) {
      return false;
    }
  }

  TracingConnection& connection_;
  std::u16string statement_;
  std::unique_ptr<ado::Recordset> inner_;
  bool failed_ = false;
};

std::unique_ptr<ado::Recordset> TracingConnection::Open(std::u16string_view source,
                                                        const ado::OpenMode& mode) {
  if (isOver()) throw ado::Failure(ErrorNumber::failure, u"The reading was ended", u"kelvane");
  std::unique_ptr<ado::Recordset> inner;
  try {
    inner = inner_.Open(source, mode);
  } catch (...) {
    const std::u16string error = serverText();
    if (trace_) trace_->rejected(source, error);
    keep({activity_, std::u16string(source), error});
    throw;
  }
  if (trace_) {
    if (inner->State() == ado::ObjectState::open)
      trace_->rows(source, inner->RecordCount());
    else
      trace_->none(source);
  }
  return std::make_unique<TracingRecordset>(*this, std::u16string(source), std::move(inner));
}

std::u16string TracingConnection::serverText() const {
  std::u16string text;
  for (const ado::Error& error : inner_.Errors())
    text += (text.empty() ? u"" : u"\n") + error.Description;
  return text.empty() ? RuntimeError::describe(std::current_exception()).Description() : text;
}

void TracingConnection::failedLater(const std::u16string& statement) {
  // The connection's errors may be those of a statement in between.
  const std::u16string error = RuntimeError::describe(std::current_exception()).Description();
  if (trace_) trace_->failedLater(statement, error);
  keep({activity_, statement, error});
}

void TracingConnection::keep(Rejection rejection) {
  if (isOver()) return;
  if (std::ranges::any_of(inner_.Errors(), tellsOfNoAnswer))
    unanswered_ = std::move(rejection);
  else
    rejections_.push_back(std::move(rejection));
}

}  // namespace kelvane::cli
