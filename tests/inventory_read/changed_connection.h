// A connection whose statements a test can refuse, answer itself, or let fail after some rows.
//
// Lifetime: the inner connection outlives it, and it outlives its recordsets.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "ado/client_recordset.h"

namespace kelvane::inventory {

class ChangedConnection final : public ado::Connection {
 public:
  explicit ChangedConnection(ado::Connection& inner) : inner_(inner) {}

  /// What was sent.
  const std::vector<std::string>& sent() const { return sent_; }
  /// Asked for each statement with its number from 0. It may call refuse(), and what it returns is
  /// the answer; null: that of the inner connection.
  std::function<std::unique_ptr<ado::Recordset>(const std::string& statement, std::size_t number)>
      onStatement;
  /// Fails the `number`-th statement after its first row.
  std::size_t failingRows = static_cast<std::size_t>(-1);

  [[noreturn]] void refuse(std::u16string state = u"42000",
                           std::u16string text = u"SELECT permission denied");

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override {
    return errors_.empty() ? inner_.Errors() : errors_;
  }

 private:
  class FailingRecordset;

  ado::Connection& inner_;
  std::vector<std::string> sent_;
  std::vector<ado::Error> errors_;
};

/// A result with the given rows.
std::unique_ptr<ado::Recordset> answer(std::vector<std::vector<ado::Value>> rows);

}  // namespace kelvane::inventory
