// Recordsets of the embedded catalog that only go forward.
//
// Refer to their session and to the list of errors of their connection, which must outlive them.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "ado/client_recordset.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/row_values.h"

namespace kelvane::embedded {

/// One query whose rows are computed as they are asked for.
class StreamRecordset final : public ado::Recordset {
 public:
  /// `fail` is called inside a handler of the exception that ended the rows; it throws.
  StreamRecordset(Session& session, RowStream stream, std::function<void()> fail);
  ~StreamRecordset() override;

  ado::ObjectState State() const override;
  std::int32_t RecordCount() const override { return -1; }
  bool EndOfRows() const override;
  void MoveNext() override;
  bool NextRecordset() override;
  std::int32_t FieldCount() const override;
  const ado::Field& Fields(std::int32_t ordinal) const override;
  const ado::Field& Fields(std::u16string_view name) const override;
  void Sort(std::u16string_view criteria) override;

 private:
  class StreamField;

  void requireOpen() const;
  void step();

  Session& session_;
  RowStream stream_;
  std::function<void()> fail_;
  std::vector<StreamField> fields_;
  bool open_ = true;
  bool onRow_ = false;
};

/// Results that had to be computed at once, behind the same interface.
class ForwardRecordset final : public ado::Recordset {
 public:
  ForwardRecordset(std::deque<ado::RowSet> results, std::exception_ptr failure)
      : rows_(std::move(results), std::move(failure)) {}

  ado::ObjectState State() const override { return rows_.State(); }
  std::int32_t RecordCount() const override { return -1; }
  bool EndOfRows() const override { return rows_.EndOfRows(); }
  void MoveNext() override { rows_.MoveNext(); }
  bool NextRecordset() override { return rows_.NextRecordset(); }
  std::int32_t FieldCount() const override { return rows_.FieldCount(); }
  const ado::Field& Fields(std::int32_t ordinal) const override { return rows_.Fields(ordinal); }
  const ado::Field& Fields(std::u16string_view name) const override { return rows_.Fields(name); }
  void Sort(std::u16string_view criteria) override;

 private:
  ado::ClientRecordset rows_;
};

}  // namespace kelvane::embedded
