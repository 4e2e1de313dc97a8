// A recordset over rows that are all in memory: the client-side cursor that every driver offers.
//
// Lifetime: owns its rows; values are views into them. Threading: one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "ado/ado.h"

namespace kelvane::ado {

// A value that owns its text and bytes.
class StoredValue {
 public:
  StoredValue() = default;
  explicit StoredValue(const Value& value);
  explicit StoredValue(std::u16string text) : value_(std::move(text)) {}

  Value view() const;

 private:
  // Every kind of Value but text and bytes is kept as it is.
  std::variant<Value, std::u16string, std::vector<std::byte>> value_;
};

// One result of a statement: without columns it is a closed one.
struct RowSet {
  std::vector<std::u16string> columns;
  std::vector<std::vector<StoredValue>> rows;  // each as long as columns
};

class ClientRecordset final : public Recordset {
 public:
  // `results` in order; `failure`, where set, is thrown when the results before it are used up (or
  // at once by NextRecordset), as a server's error behind a result is.
  explicit ClientRecordset(std::deque<RowSet> results, std::exception_ptr failure = nullptr);
  ~ClientRecordset() override;
  ClientRecordset(const ClientRecordset&) = delete;  // its fields refer to it
  ClientRecordset& operator=(const ClientRecordset&) = delete;

  ObjectState State() const override;
  std::int32_t RecordCount() const override;
  bool EndOfRows() const override;
  void MoveNext() override;
  bool NextRecordset() override;
  std::int32_t FieldCount() const override;
  const Field& Fields(std::int32_t ordinal) const override;
  const Field& Fields(std::u16string_view name) const override;
  void Sort(std::u16string_view criteria) override;

 private:
  class RowField;

  void requireOpen() const;
  void openFirst();

  std::deque<RowSet> results_;
  std::exception_ptr failure_;
  std::vector<RowField> fields_;
  std::size_t row_ = 0;
};

}  // namespace kelvane::ado
