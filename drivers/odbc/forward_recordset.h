// The results of a statement that are read from the server as they are asked for. Private to the
// driver.
//
// Lifetime: refers to its session. Threading: as the connection.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "ado/client_recordset.h"
#include "drivers/odbc/cursor.h"

namespace kelvane::odbc {

class ForwardRecordset final : public ado::Recordset {
 public:
  ForwardRecordset(Session& session, std::u16string_view statement);
  ~ForwardRecordset() override;
  ForwardRecordset(const ForwardRecordset&) = delete;  // its fields refer to it
  ForwardRecordset& operator=(const ForwardRecordset&) = delete;

  ado::ObjectState State() const override;
  std::int32_t RecordCount() const override { return -1; }
  bool EndOfRows() const override;
  void MoveNext() override;
  bool NextRecordset() override;
  std::int32_t FieldCount() const override;
  const ado::Field& Fields(std::int32_t ordinal) const override;
  const ado::Field& Fields(std::u16string_view name) const override;
  void Sort(std::u16string_view criteria) override;

  /// Takes what is left from the server into memory, so that another statement can run. What goes
  /// wrong is raised where the caller would have met it; the session's errors stay as they are.
  void keepRest();

 private:
  class RowField;

  ado::Value valueOf(std::size_t ordinal) const;
  void partsOf(std::size_t ordinal, const ado::TakePart& take) const;
  void requireOpen() const;
  void openResult();
  void step();
  void close();
  void stopStreaming();
  [[noreturn]] void raiseBroken();
  [[noreturn]] void raiseKept(const std::exception_ptr& failure) const;

  Session& session_;
  std::vector<RowField> fields_;
  // While it reads from the server, and the current row unless rest_ is on one. Asking for a value
  // reads on within the row.
  mutable std::optional<Cursor> cursor_;
  mutable Row row_;
  bool onRow_ = false;
  // What keepRest() has left: the rows behind the current one and all that follows, or why there
  // are none.
  std::optional<ado::ClientRecordset> rest_;
  bool onRest_ = false;
  std::exception_ptr broken_;
  std::vector<ado::Error> keptErrors_;
};

}  // namespace kelvane::odbc
