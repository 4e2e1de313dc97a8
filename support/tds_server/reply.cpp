#include "support/tds_server/reply.h"

#include <algorithm>

#include "support/tds_server/columns.h"

namespace kelvane::tds {

using namespace embedded;

namespace {

constexpr int kDone = 0xFD, kDoneProcedure = 0xFE, kDoneInProcedure = 0xFF;
constexpr int kReturnStatus = 0x79, kEnvironmentChange = 0xE3, kExtendedError = 0xE5;
constexpr int kMoreResults = 0x01, kInTransaction = 0x04;
constexpr int kNoTransaction = 0, kTransactionInProgress = 2;
constexpr std::string_view kServerName = "EMBEDDED";
// Leaves it to the client to find one by the message's number.
constexpr std::string_view kNoSqlState = "ZZZZZ";

}  // namespace

void Reply::raw(const std::string& tokens) {
  endRows();
  release(true);
  packets_.append(tokens);
}

void Reply::hold(DoneStatus status, std::int64_t count) {
  release(true);
  held_ = Done{procedures_.empty() ? kDone : kDoneInProcedure, status, count};
}

void Reply::release(bool more) {
  if (!held_) return;
  const bool open = session_.transactions.depth() > 0;
  TokenBytes out;
  out.byte(held_->token);
  out.word(static_cast<std::size_t>(static_cast<int>(held_->status) | (more ? kMoreResults : 0) |
                                    (open ? kInTransaction : 0)));
  out.word(open ? kTransactionInProgress : kNoTransaction);
  out.number(static_cast<std::int32_t>(held_->count));
  packets_.append(out.bytes);
  held_.reset();
}

void Reply::endRows() {
  if (!inRows_) return;
  inRows_ = false;
  if (session_.options.noCount) {
    hold(DoneStatus::plain);
  } else {
    hold(DoneStatus::counted, rows_);
  }
}

void Reply::beginRows(const std::vector<ResultColumn>& columns) {
  columns_ = readableColumns(columns, abilities_);
  computed_ = columns;
  adapts_ = !std::ranges::equal(columns_, computed_, {}, &ResultColumn::type, &ResultColumn::type);
  TokenBytes out;
  writeFormat(out, columns_, set_, abilities_);
  raw(out.bytes);
  inRows_ = true;
  rows_ = 0;
}

void Reply::writeRow(const Row& row) {
  TokenBytes out;
  const auto textSize = static_cast<std::size_t>(session_.options.textSize);
  if (!adapts_) {
    tds::writeRow(out, columns_, row, set_, abilities_, textSize);
  } else {
    tds::writeRow(out, columns_, readable(computed_, row), set_, abilities_, textSize);
  }
  packets_.append(out.bytes);
  ++rows_;
}

bool Reply::procedureEnded() const { return held_ && held_->token == kDoneProcedure; }

void Reply::outputs(const std::vector<ResultColumn>& columns, const Row& row) {
  columns_ = readableColumns(columns, abilities_);
  TokenBytes out;
  writeParameters(out, columns_, readable(columns, row), set_, abilities_);
  // The end of the procedure, which waits to be sent, comes behind them.
  packets_.append(out.bytes);
}

Row Reply::readable(const std::vector<ResultColumn>& columns, const Row& row) const {
  Row values;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const ColumnType &from = columns[i].type, &to = columns_[i].type;
    values.push_back(from.kind == to.kind ? row[i] : readableValue(row[i], from, to));
  }
  return values;
}

void Reply::count(std::int64_t rows) {
  endRows();
  hold(DoneStatus::counted, rows);
}

void Reply::notice(const Notice& notice) {
  if (notice.ignored) return;  // the server itself would have carried it out
  message(notice.message, notice.line);
  if (!notice.isError()) return;
  if (procedures_.empty()) {
    hold(DoneStatus::error);
  } else {
    procedureFailed_ = true;
  }
}

void Reply::message(const ServerMessage& message, std::uint32_t line) {
  const std::string text = encoded(message.text, set_) + "\n";
  TokenBytes out;
  out.number(static_cast<std::int32_t>(message.number));
  out.byte(message.state);
  out.byte(message.severity);
  out.shortText(kNoSqlState);
  out.byte(0);  // without parameters
  out.word(session_.transactions.depth() > 0 ? kTransactionInProgress : kNoTransaction);
  out.word(text.size());
  out.bytes += text;
  out.shortText(kServerName);
  out.shortText(procedures_.empty() ? "" : encoded(procedures_.back(), set_));
  out.word(line);
  TokenBytes token;
  token.counted(kExtendedError, out.bytes);
  raw(token.bytes);
}

void Reply::beginProcedure(const std::string& name) {
  endRows();
  if (procedures_.empty()) procedureFailed_ = false;
  procedures_.push_back(name);
}

void Reply::endProcedure(int status) {
  endRows();
  procedures_.pop_back();
  if (!procedures_.empty()) return;
  TokenBytes out;
  out.byte(kReturnStatus);
  out.number(std::int32_t{status});
  raw(out.bytes);
  held_ = Done{kDoneProcedure, procedureFailed_ ? DoneStatus::error : DoneStatus::plain};
}

void Reply::changed(Environment what, std::string_view now, std::string_view before) {
  TokenBytes out;
  out.byte(static_cast<int>(what));
  out.shortText(now);
  out.shortText(before);
  TokenBytes token;
  token.counted(kEnvironmentChange, out.bytes);
  raw(token.bytes);
}

void Reply::finish(DoneStatus last) {
  endRows();
  if (!procedures_.empty()) {  // one that ended the batch
    procedures_.clear();
    if (procedureFailed_) hold(DoneStatus::error);
  }
  if (!held_ || last != DoneStatus::plain) hold(last);
  release(false);
  packets_.endMessage();
}

}  // namespace kelvane::tds
