// What a batch changes of its session: options, transactions, database, user.
#pragma once

#include <string>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/set_options.h"
#include "drivers/embedded/tsql/ast/session_statements.h"

namespace kelvane::embedded {

class SessionStatements {
 public:
  SessionStatements(Frame& frame) : frame_(frame) {}

  void setOption(const tsql::SetOption& option);
  /// False for the end of a transaction where there is none, which has no effect.
  bool transact(const tsql::Transaction& transaction);
  void useDatabase(const tsql::UseDatabase& use);
  void setUser(const tsql::SetUser& user);

 private:
  void setOption(const SetOptionRule& rule, const std::string& value);
  void setArithAbort(const tsql::SetOption& option);
  void setRowCount(const std::string& value);
  void setLogin(const std::string& quoted);
  /// To the savepoint of the name; without a name, or by that of the transaction, all of it.
  void rollBack(const std::string& name);

  Frame& frame_;
  Session& session_{frame_.session()};
  Server& server_{frame_.server()};
};

}  // namespace kelvane::embedded
