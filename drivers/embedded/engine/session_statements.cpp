#include "drivers/embedded/engine/session_statements.h"

#include <array>
#include <charconv>

#include "drivers/embedded/engine/set_options.h"
#include "drivers/embedded/engine/trigger_runner.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// By its number or by the last of its words.
std::int64_t isolationLevel(std::string_view word) {
  struct Level {
    std::string_view number, word;
    std::int64_t value;
  };
  static constexpr auto kLevels = std::to_array<Level>(
      {{"0", "uncommitted", 0}, {"1", "committed", 1}, {"2", "read", 2}, {"3", "serializable", 3}});
  for (const Level& level : kLevels) {
    if (word == level.number || word == level.word) return level.value;
  }
  return 1;
}

std::string withoutQuotes(const std::string& text) {
  const bool isQuoted = text.size() > 1 && text.front() == text.back() &&
                        (text.front() == '\'' || text.front() == '"');
  return isQuoted ? text.substr(1, text.size() - 2) : text;
}

}  // namespace

void SessionStatements::setOption(const SetOption& option) {
  const std::string value = option.values.empty() ? "" : option.values.back();
  if (const auto table = identityInsertTable(option)) session_.options.identityInsertTable = *table;
  if (const auto table = identityUpdateTable(option)) session_.options.identityUpdateTable = *table;
  for (const std::string& name : option.names) {
    const SetOptionRule* rule = findSetOption(name);
    if (rule == nullptr) continue;
    if (rule->since > server_.catalog.options().grammar()) {
      throw ServerError(message::unknownSetOption, frame_.line(), name);
    }
    if (rule->effect == SetEffect::ArithAbort) {
      setArithAbort(option);
    } else {
      setOption(*rule, value);
    }
  }
}

// Of one kind of error, or of both.
void SessionStatements::setArithAbort(const SetOption& option) {
  const bool on = !option.values.empty() && option.values.back() == "on";
  const std::string kind = option.values.size() > 1 ? option.values.front() : "";
  if (kind != "numeric_truncation") session_.options.arithAbort = on;
  if (kind != "arith_overflow") session_.options.numericTruncation = on;
}

void SessionStatements::setOption(const SetOptionRule& rule, const std::string& value) {
  const bool on = value == "on";
  switch (rule.effect) {
    case SetEffect::None:
    case SetEffect::IdentityInsert:
    case SetEffect::IdentityUpdate:
    case SetEffect::ArithAbort:
      return;
    case SetEffect::NoCount:
      session_.options.noCount = on;
      return;
    case SetEffect::QuotedIdentifier:
      if (session_.caller.quotedIdentifier != on) server_.namesChanged();
      session_.caller.quotedIdentifier = on;
      return;
    case SetEffect::Chained:
      session_.caller.chained = on;
      return;
    case SetEffect::AnsiNull:
      session_.options.ansiNull = on;
      return server_.namesChanged();
    case SetEffect::NoExec:
      session_.options.noExec = on;
      return;
    case SetEffect::ParseOnly:
      session_.options.parseOnly = on;
      return;
    case SetEffect::FormatOnly:
      session_.options.formatOnly = on;
      return;
    case SetEffect::StringTruncation:
      session_.options.stringRtruncation = on;
      return;
    case SetEffect::RowCount:
      return setRowCount(value);
    case SetEffect::TextSize: {
      constexpr std::int64_t kDefault = 32768;
      std::from_chars(value.data(), value.data() + value.size(), session_.options.textSize);
      if (session_.options.textSize == 0) session_.options.textSize = kDefault;
      return;
    }
    case SetEffect::Isolation:
      session_.options.isolation = isolationLevel(value);
      return;
    case SetEffect::Login:
      return setLogin(value);
    case SetEffect::DateFormat:
    case SetEffect::DateFirst:
    case SetEffect::Language:
      if (withoutQuotes(value) == rule.value) return;
      throw ServerError(message::optionValueUnknown, frame_.line(), rule.name, rule.value, value);
  }
}

void SessionStatements::setRowCount(const std::string& value) {
  const auto variable = frame_.variables().find(value);
  const bool isSet = variable != frame_.variables().end() && !isNull(variable->second.value);
  const std::string digits = isSet ? Frame::textOf(variable->second) : value;
  session_.options.rowLimit = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), session_.options.rowLimit);
}

bool SessionStatements::transact(const Transaction& transaction) {
  Transactions& transactions = session_.transactions;
  const bool isVariable = transaction.name.starts_with('@');
  const std::string name = isVariable
                               ? Frame::textOf(frame_.variable(transaction.name, frame_.line()))
                               : transaction.name;
  const bool ends = transaction.action == TransactionAction::Commit ||
                    transaction.action == TransactionAction::Rollback;
  if (ends && transactions.depth() == 0 && session_.firing == nullptr) return false;
  switch (transaction.action) {
    case TransactionAction::Begin:
      transactions.begin(name);
      break;
    case TransactionAction::Commit:
      if (session_.firing != nullptr && session_.firing->isEndedByCommit(transactions)) {
        throw ServerError(message::commitWithinTrigger, frame_.line());
      }
      transactions.commit();
      break;
    case TransactionAction::Rollback:
      rollBack(name);
      break;
    case TransactionAction::Save:
      transactions.save(name);
      break;
  }
  return true;
}

void SessionStatements::rollBack(const std::string& name) {
  const Firing* firing = session_.firing;
  frame_.giveBackStatements();
  const Transactions::Mark mark = firing == nullptr ? Transactions::Mark() : firing->before;
  const auto found =
      name.empty() ? Transactions::Found::No : session_.transactions.rollBackTo(name, mark);
  if (found == Transactions::Found::BeforeMark) {
    throw ServerError(message::rollbackWithinTrigger, frame_.line(), name);
  }
  if (found == Transactions::Found::No && !name.empty() && !session_.transactions.isNamed(name)) {
    throw ServerError(message::noSuchSavepoint, frame_.line(), name);
  }
  if (found == Transactions::Found::No) rollBackFirings(session_);
  session_.temporaries.followRollback();
  server_.namesChanged();
}

void SessionStatements::useDatabase(const UseDatabase& use) {
  if (!server_.catalog.databaseId(use.database)) {
    if (!session_.acceptsAnyDatabase || server_.catalog.wasRemoved(use.database)) {
      throw UnknownDatabase(use.database, frame_.line());
    }
    server_.catalog.useDatabase(use.database);
  }
  session_.enter(use.database);
  server_.namesChanged();
}

// `set proxy` and `set session authorization`: from now on everything is done by that login's user.
void SessionStatements::setLogin(const std::string& quoted) {
  const std::string name = withoutQuotes(quoted);
  const auto login = server_.catalog.loginId(name);
  const auto uid = login ? server_.catalog.userOfLogin(*login) : std::nullopt;
  if (!uid) {
    throw ServerError(message::noUserInDatabase, frame_.line(), name, session_.caller.database);
  }
  session_.caller.uid = *uid;
  server_.namesChanged();
}

void SessionStatements::setUser(const SetUser& user) {
  const auto uid = user.user ? server_.catalog.userNamed(*user.user) : std::optional(kDboUid);
  if (!uid) {
    throw ServerError(message::noUserInDatabase, frame_.line(), *user.user,
                      session_.caller.database);
  }
  session_.caller.uid = *uid;
  server_.namesChanged();
}

}  // namespace kelvane::embedded
