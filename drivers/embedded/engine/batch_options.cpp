// What a batch changes of its session: options, transactions, database, user.

#include <charconv>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/set_options.h"

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

// The table that rows with given identities go into from now on; empty after `off`.
std::optional<std::string> BatchRun::identityInsert(const SetOption& option) {
  if (option.names.empty() || option.names.front() != "identity_insert" || option.values.empty()) {
    return std::nullopt;
  }
  if (option.values.back() != "on") return "";
  const std::string& table = option.values.front();
  const auto dot = table.rfind('.');
  return table.substr(dot == std::string::npos ? 0 : dot + 1);
}

void BatchRun::setOption(const SetOption& option) {
  const std::string value = option.values.empty() ? "" : option.values.back();
  if (const auto table = identityInsert(option)) session_.options.identityInsertTable = *table;
  for (const std::string& name : option.names) {
    const SetOptionRule* rule = findSetOption(name);
    if (rule == nullptr) continue;
    if (rule->since > server_.catalog.options().grammar()) {
      throw ServerError(message::unknownSetOption, session_.caller.line, name);
    }
    setOption(*rule, value);
  }
}

void BatchRun::setOption(const SetOptionRule& rule, const std::string& value) {
  const bool on = value == "on";
  switch (rule.effect) {
    case SetEffect::None:
    case SetEffect::IdentityInsert:
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
      throw ServerError(message::optionValueUnknown, session_.caller.line, rule.name, rule.value,
                        value);
  }
}

void BatchRun::setRowCount(const std::string& value) {
  const auto variable = variables_.find(value);
  const std::string digits = variable == variables_.end() || isNull(variable->second.value)
                                 ? value
                                 : textOf(variable->second.value, variable->second.type, 0);
  session_.options.rowLimit = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), session_.options.rowLimit);
}

void BatchRun::transact(const Transaction& transaction) {
  switch (transaction.action) {
    case TransactionAction::Begin:
      if (session_.transactionDepth++ == 0) {
        session_.wasRolledBack = false;
        session_.transaction = std::make_unique<UserTransaction>(server_);
      }
      break;
    case TransactionAction::Commit:
      if (session_.transactionDepth == 0) {
        throw ServerError(message::commitWithoutBegin, session_.caller.line);
      }
      if (session_.firing != nullptr &&
          session_.transactionDepth == session_.firing->transactionDepth) {
        throw ServerError(message::commitWithinTrigger, session_.caller.line);
      }
      if (--session_.transactionDepth == 0 && session_.transaction) {
        session_.keepSavepoints();
        session_.transaction->keep();
        session_.transaction.reset();
      }
      break;
    case TransactionAction::Rollback:
      if (session_.transactionDepth == 0 && session_.firing == nullptr) {
        throw ServerError(message::rollbackWithoutBegin, session_.caller.line);
      }
      giveBackStatements();
      if (transaction.name.empty() || !session_.rollBackTo(transaction.name)) {
        session_.rollBackFirings();
      }
      session_.forgetLostTemporaries();
      server_.namesChanged();
      break;
    case TransactionAction::Save:
      if (session_.transactionDepth > 0) {
        session_.savepoints.emplace_back(transaction.name,
                                         std::make_unique<Savepoint>(server_.catalog.store()));
      }
      break;
  }
}

void BatchRun::useDatabase(const UseDatabase& use) {
  if (!server_.catalog.databaseId(use.database)) {
    if (!session_.acceptsAnyDatabase) {
      throw UnknownDatabase(use.database, session_.caller.line);
    }
    server_.catalog.useDatabase(use.database);
  }
  session_.enter(use.database);
  server_.namesChanged();
}

// `set proxy` and `set session authorization`: from now on everything is done by that login's user.
void BatchRun::setLogin(const std::string& quoted) {
  const std::string name = withoutQuotes(quoted);
  const auto login = server_.catalog.loginId(name);
  const auto uid = login ? server_.catalog.userOfLogin(*login) : std::nullopt;
  if (!uid) {
    throw ServerError(message::noUserInDatabase, session_.caller.line, name,
                      session_.caller.database);
  }
  session_.caller.uid = *uid;
  server_.namesChanged();
}

void BatchRun::setUser(const SetUser& user) {
  const auto uid = user.user ? server_.catalog.userId(*user.user) : std::optional(kDboUid);
  if (!uid) {
    throw ServerError(message::noUserInDatabase, session_.caller.line, *user.user,
                      session_.caller.database);
  }
  session_.caller.uid = *uid;
  server_.namesChanged();
}

}  // namespace kelvane::embedded
