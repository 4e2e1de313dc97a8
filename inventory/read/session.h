// Statements of one reading: their rows, and a gap for each that the server refuses.
//
// Lifetime: refers to the connection, the events and the list of gaps. Threading: the connection's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ado/ado.h"
#include "inventory/read/reader.h"

namespace kelvane::inventory {

/// The current row of a result. Cells are asked for by position. What is null is 0 or empty.
class Row {
 public:
  explicit Row(const ado::Recordset& rows) : rows_(rows) {}

  int number(int at) const;
  std::int64_t large(int at) const;
  std::optional<int> known(int at) const;  ///< none for null
  /// Of a date and time: its nanoseconds, which are equal for equal ones.
  std::int64_t moment(int at) const;
  /// As UTF-8, without blanks at the end, which the server does not count.
  std::string text(int at) const;
  std::string exactText(int at) const;
  /// Of a binary value; of a text as UTF-8.
  void appendBytes(int at, std::string& bytes) const;
  bool isNull(int at) const { return value(at).isNull(); }

 private:
  ado::Value value(int at) const { return rows_.Fields(at).Value(); }

  const ado::Recordset& rows_;
};

/// A statement that may be joined with others of as many columns.
struct StatementPart {
  std::string_view what;
  std::string text;
};

class Session {
 public:
  Session(ado::Connection& connection, ReadEvents* events, std::vector<Gap>& gaps,
          std::size_t statements)
      : connection_(connection), events_(events), gaps_(gaps), statements_(statements) {}

  /// Calls visit(row) for each row. False if the statement was refused or its rows ended with an
  /// error, which is a gap then.
  template <class Visit>
  bool rows(std::string_view what, std::string_view statement, Visit&& visit) {
    announce(what);
    std::string reason;
    if (tryRows(statement, ado::kForwardOnly, reason, visit) == Outcome::read) return true;
    addGap(std::string(what), reason);
    return false;
  }

  /// The same without a gap: `reason` is what the server said.
  template <class Visit>
  bool rowsUnlessRefused(std::string_view what, std::string_view statement, std::string& reason,
                         Visit&& visit) {
    announce(what);
    return tryRows(statement, ado::kForwardOnly, reason, visit) == Outcome::read;
  }

  /// The rows of all parts by one statement. When that is refused each part is asked for alone, so
  /// that only what is refused is missing.
  template <class Visit>
  void rowsOfParts(std::string_view what, const std::vector<StatementPart>& parts, Visit&& visit) {
    announce(what);
    std::string all, reason;
    for (const StatementPart& part : parts) all += (all.empty() ? "" : " union all ") + part.text;
    switch (tryRows(all, ado::kClientCursor, reason, visit)) {
      case Outcome::read:
        return;
      case Outcome::broken:
        for (const StatementPart& part : parts) addGap(std::string(part.what), reason);
        return;
      case Outcome::refused:
        break;
    }
    for (const StatementPart& part : parts) {
      if (tryRows(part.text, ado::kClientCursor, reason, visit) != Outcome::read)
        addGap(std::string(part.what), reason);
    }
  }

  void addGap(std::string what, std::string reason) {
    gaps_.push_back({std::move(what), std::move(reason), {}, {}});
  }
  void addGap(Gap gap) { gaps_.push_back(std::move(gap)); }
  /// A statement that this server needs none of.
  void skip() { ++done_; }

 private:
  enum class Outcome : std::uint8_t {
    read,
    refused,  ///< before its first row
    broken,
  };

  template <class Visit>
  Outcome tryRows(std::string_view statement, const ado::OpenMode& mode, std::string& reason,
                  Visit& visit) {
    Outcome failed = Outcome::refused;
    try {
      const auto rows = open(statement, mode);
      failed = Outcome::broken;
      for (std::size_t count = 1; !rows->EndOfRows(); ++count) {
        visit(Row(*rows));
        if (count % kRowsBetweenLooks == 0) stopIfWanted();
        rows->MoveNext();
      }
      // An error behind the last row stands behind the result.
      while (rows->NextRecordset()) continue;
      return Outcome::read;
    } catch (const ReadingStopped&) {
      throw;
    } catch (const RuntimeError& error) {
      if (isOver()) throw;
      reason = reasonOf(error);
      return failed;
    }
  }

  static constexpr std::size_t kRowsBetweenLooks = 1000;

  void announce(std::string_view what);
  void stopIfWanted();
  std::unique_ptr<ado::Recordset> open(std::string_view statement, const ado::OpenMode& mode);
  bool isOver() const;
  std::string reasonOf(const RuntimeError& error) const;

  ado::Connection& connection_;
  ReadEvents* events_;
  std::vector<Gap>& gaps_;
  std::size_t statements_, done_ = 0;
};

}  // namespace kelvane::inventory
