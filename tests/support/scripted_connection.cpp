#include "tests/support/scripted_connection.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>

#include "ado/client_recordset.h"
#include "ado/recordset_errors.h"
#include "model/text.h"

namespace kelvane::testing {
namespace {

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

// The pieces of a line between bars outside quotes.
std::vector<std::string> cells(std::string_view line) {
  std::vector<std::string> result(1);
  bool quoted = false;
  for (char c : line) {
    if (c == '\'') quoted = !quoted;
    if (c == '|' && !quoted) {
      result.emplace_back();
    } else {
      result.back().push_back(c);
    }
  }
  for (std::string& cell : result) cell = trimmed(cell);
  return result;
}

ado::StoredValue valueOf(const std::string& cell) {
  if (cell == "null") return {};
  if (cell == "true" || cell == "false") return ado::StoredValue(ado::Value(cell == "true"));
  if (cell.size() >= 2 && cell.front() == '\'')
    return ado::StoredValue(replaceAll(toUtf16(cell.substr(1, cell.size() - 2)), u"''", u"'"));
  const std::size_t point = cell.find('.');
  std::string digits = cell;
  if (point != std::string::npos) digits.erase(point, 1);
  std::int64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (cell.empty() || error != std::errc() || stop != end) return ado::StoredValue(toUtf16(cell));
  if (point == std::string::npos) return ado::StoredValue(ado::Value(number));
  ado::Decimal exact;
  exact.negative = number < 0;
  exact.magnitude[0] = static_cast<std::uint64_t>(number < 0 ? -number : number);
  exact.scale = static_cast<std::uint8_t>(cell.size() - point - 1);
  return ado::StoredValue(ado::Value(exact));
}

struct Notice {
  bool fails;
  std::int32_t number;
  std::string state;
  std::string text;
};

struct Answer {
  std::deque<ado::RowSet> results;
  std::vector<Notice> notices;
};

Answer drawn(const std::string& text) {
  Answer answer;
  bool header = true;
  std::istringstream lines(text);
  for (std::string raw; std::getline(lines, raw);) {
    const std::string line = trimmed(raw);
    if (line.empty()) continue;
    if (line.starts_with("error ") || line.starts_with("message ")) {
      Notice notice{line.front() == 'e', 0, "", ""};
      std::istringstream words(line.substr(line.find(' ')));
      words >> notice.number >> notice.state;
      std::getline(words >> std::ws, notice.text);
      answer.notices.push_back(notice);
    } else if (line == "---") {
      header = true;
    } else if (header) {
      ado::RowSet& result = answer.results.emplace_back();
      header = false;
      if (line == "closed") continue;
      for (const std::string& cell : cells(line))
        result.columns.push_back(cell == "-" ? u"" : toUtf16(cell));
    } else {
      auto& row = answer.results.back().rows.emplace_back();
      for (const std::string& cell : cells(line)) row.push_back(valueOf(cell));
      EXPECT_EQ(row.size(), answer.results.back().columns.size()) << "in the drawn row " << line;
      row.resize(answer.results.back().columns.size());
    }
  }
  return answer;
}

}  // namespace

// Rows as a cursor on the server gives them, or rows whose fields cannot be read.
class ScriptedConnection::ScriptedRecordset final : public ado::Recordset {
 public:
  ScriptedRecordset(ScriptedConnection& connection, std::deque<ado::RowSet> results,
                    std::exception_ptr behind, const ado::OpenMode& mode,
                    std::optional<Fault> fault)
      : connection_(connection),
        rows_(std::move(results), std::move(behind)),
        forwardOnly_(mode.location == ado::CursorLocation::server),
        fault_(fault) {}

  ado::ObjectState State() const override { return rows_.State(); }
  std::int32_t RecordCount() const override { return forwardOnly_ ? -1 : rows_.RecordCount(); }
  bool EndOfRows() const override { return rows_.EndOfRows(); }
  void MoveNext() override { rows_.MoveNext(); }
  bool NextRecordset() override { return rows_.NextRecordset(); }
  std::int32_t FieldCount() const override { return rows_.FieldCount(); }
  const ado::Field& Fields(std::int32_t ordinal) const override { return fields().Fields(ordinal); }
  const ado::Field& Fields(std::u16string_view name) const override {
    return fields().Fields(name);
  }
  void Sort(std::u16string_view criteria) override {
    if (forwardOnly_) throw ado::forwardOnlyError();
    rows_.Sort(criteria);
  }

 private:
  const ado::ClientRecordset& fields() const {
    if (fault_ == Fault::foreign) throw 9999;
    if (fault_) throw connection_.injected();
    return rows_;
  }

  ScriptedConnection& connection_;
  ado::ClientRecordset rows_;
  bool forwardOnly_;
  std::optional<Fault> fault_;
};

ScriptedConnection& ScriptedConnection::on(std::string statement, std::string answer) {
  script_.push_back({std::move(statement), std::move(answer)});
  return *this;
}

void ScriptedConnection::failAt(int number, Fault fault) {
  statementsUntilFault_ = number;
  fault_ = fault;
}

std::vector<std::string> ScriptedConnection::takeSent() {
  std::vector<std::string> texts;
  for (; taken_ < sent_.size(); ++taken_) texts.push_back(sent_[taken_].text);
  return texts;
}

std::vector<std::string> ScriptedConnection::unused() const {
  std::vector<std::string> statements;
  for (const Entry& entry : script_)
    if (!entry.used) statements.push_back(entry.statement);
  return statements;
}

ScriptedConnection::Entry* ScriptedConnection::find(const std::string& statement) {
  Entry* last = nullptr;
  for (Entry& entry : script_) {
    if (inOrder_ && entry.used) continue;
    if (entry.statement == statement) {
      last = &entry;
      if (!entry.used) break;
    }
    if (inOrder_) break;
  }
  if (last) last->used = true;
  return last;
}

// Against the statement of the script that begins most like it.
void ScriptedConnection::reportUnexpected(const std::string& statement) const {
  const auto common = [&](const Entry& entry) {
    return std::ranges::mismatch(statement, entry.statement).in1 - statement.begin();
  };
  const auto nearest = std::ranges::max_element(script_, {}, common);
  EXPECT_EQ(statement, nearest == script_.end() ? "" : nearest->statement) << "is unexpected";
}

ado::Failure ScriptedConnection::failure(std::int32_t number, std::string_view state,
                                         std::string_view text) {
  errors_.push_back({-number, toUtf16(text), number, u"Scripted", toUtf16(state)});
  return {-number, toUtf16(text), u"Scripted"};
}

std::unique_ptr<ado::Recordset> ScriptedConnection::Open(std::u16string_view source,
                                                         const ado::OpenMode& mode) {
  errors_.clear();
  sent_.push_back({toUtf8(source), mode});
  const std::string& statement = sent_.back().text;
  if (journal_) journal_->push_back("sql " + statement);
  if (onSent) onSent(statement);
  const bool faulty = statementsUntilFault_ > 0 && --statementsUntilFault_ == 0;
  if (faulty && fault_ == Fault::open) throw injected();
  const Entry* entry = find(statement);
  if (!entry) {
    if (!refuseOthers_) reportUnexpected(statement);
    throw failure(102, "42000", "Not in the script");
  }
  Answer answer = drawn(entry->answer);
  std::exception_ptr behind;
  for (const Notice& notice : answer.notices) {
    const ado::Failure failed = failure(notice.number, notice.state, notice.text);
    if (notice.fails) behind = std::make_exception_ptr(failed);
  }
  if (!faulty && behind && answer.results.empty()) std::rethrow_exception(behind);
  return std::make_unique<ScriptedRecordset>(*this, std::move(answer.results), behind, mode,
                                             faulty ? std::optional(fault_) : std::nullopt);
}

}  // namespace kelvane::testing
