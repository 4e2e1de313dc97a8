#include "drivers/embedded/engine/reporter.h"

#include <optional>
#include <utility>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/trigger_runner.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Those that `set arithabort arith_overflow` is about.
bool isArithmetic(const ServerError& error) {
  return error.is(message::divisionByZero) || error.is(message::arithmeticOverflow) ||
         error.is(message::conversionOverflow) || error.is(message::domainError);
}

// The text of sp_addmessage without a language.
std::optional<std::string> userMessage(Catalog& catalog, const Cell& number) {
  Statement found = catalog.store().prepare(
      "SELECT description FROM sysusermessages WHERE error = ? AND langid IS NULL");
  found.bind(1, number);
  if (!found.step()) return std::nullopt;
  return found.text(0);
}

}  // namespace

bool Reporter::tell(const tsql::Statement& statement, const ServerError& error) {
  session_.last.error = error.number;
  session_.last.rowCount = 0;
  // The store undoes all when it is stopped while it writes.
  if (!frame_.catalog().store().inTransaction()) session_.acceptRollBack();
  // The statement that calls a function is not at its end.
  const bool mayUndo = session_.calls.functions == 0 && session_.transactions.depth() > 0;
  if (isArithmetic(error) && session_.options.arithAbort && mayUndo) {
    frame_.giveBackStatements();
    rollBackFirings(session_);
    session_.temporaries.followRollback();
    frame_.server().namesChanged();
  }
  Notice notice{error.toMessage(), error.line == 0 ? lineOf(statement) : error.line};
  notice.alreadyGone = isAlreadyGone(statement, error);
  outcome_.notice(notice);
  return notice.alreadyGone;
}

// Ends the batch unless the error is one of a statement alone: what comes after a removal that
// found nothing must still happen.
void Reporter::report(const tsql::Statement& statement, const ServerError& error) {
  const bool isGone = tell(statement, error);
  const bool endsStatement = isArithmetic(error) && !session_.options.arithAbort;
  if (!isGone && !endsStatement && error.endsBatch()) throw BatchEnded{};
}

void Reporter::print(const tsql::Print& print) {
  const std::vector<std::string> arguments = frame_.texts(print.arguments);
  outcome_.notice({ServerMessage::printed(message::filled(frame_.text(*print.format), arguments)),
                   frame_.line()});
}

void Reporter::raiseError(const RaiseError& raise) {
  const ColumnType number = intType(true);
  const Cell value = frame_.evaluate(*raise.number, &number);
  std::vector<std::string> arguments = frame_.texts(raise.arguments);
  session_.last.error = isNull(value) ? 0 : std::get<std::int64_t>(value);
  std::optional<std::string> format =
      raise.format ? frame_.text(*raise.format) : userMessage(frame_.catalog(), value);
  // What a script says with a number that has no message is not lost.
  if (!format && !arguments.empty()) {
    format = std::move(arguments.front());
    arguments.erase(arguments.begin());
  }
  outcome_.notice({ServerMessage::raised(static_cast<int>(session_.last.error),
                                         message::filled(format.value_or(""), arguments)),
                   frame_.line()});
}

void Reporter::ignored(const std::string& what) {
  Notice notice{ServerMessage(message::partIgnored, what), frame_.line()};
  notice.ignored = true;
  outcome_.notice(notice);
}

void Reporter::cut() {
  auto& columns = frame_.server().running.tooNarrow;
  for (const auto& [column, length] : columns) {
    Notice notice{ServerMessage(message::textCut, length, column), frame_.line()};
    notice.ignored = true;
    outcome_.notice(notice);
  }
  columns.clear();
}

void Reporter::changed(std::int64_t rows) {
  session_.last.rowCount = rows;
  if (!session_.options.noCount) outcome_.count(rows);
}

void Reporter::refused(const ServerError& error, bool isAlone) {
  session_.last.error = error.number;
  const tsql::Statement* statement = frame_.current();
  Notice notice{error.toMessage(), error.line};
  if (notice.line == 0 && statement != nullptr) notice.line = statement->range.line;
  notice.refused = true;
  // With other statements in the batch, those did not run either.
  notice.alreadyGone = isAlone && statement != nullptr && isAlreadyGone(*statement, error);
  outcome_.notice(notice);
}

}  // namespace kelvane::embedded
