// Looks on while the component compares table data: picks the tables, counts rows, keeps what
// differs, and sees what the comparison passes over.
//
// Lifetime: the watch outlives its connections, they outlive their recordsets, and the inner
// connections all of them. Threading: one thread.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ado/ado.h"
#include "data/table_comparison.h"
#include "model/text.h"

namespace kelvane::cli {

// One side of a differing value.
struct ShownSide {
  std::optional<std::u16string> text;  // none: a null
  std::string_view type;               // as the server calls values like it
};

struct ShownValue {
  std::int64_t row;  // 1-based
  std::u16string field;
  ShownSide source, target;

  // Whether both sides look the same, so that only their types tell them apart.
  bool lookAlike() const { return source.text && source.text == target.text; }
};

struct WatchedTable {
  CaseMode names = CaseMode::exact;  // how those of fields are compared
  std::int64_t nulls = 0;            // values that are null on one side alone
  std::array<std::vector<std::u16string>, 2> fields = {};
  std::vector<ShownValue> values = {};  // the first ones that differ

  // The fields of one side that the other has not; none when only one side could be opened.
  std::vector<std::u16string> fieldsOnlyIn(std::size_t side) const;
};

class DataWatch final : public ValueObserver {
 public:
  struct Events {
    std::function<void(std::size_t table)> tableBegins;  // 0-based
    std::function<void()> rowPassed;
    std::function<bool()> isOver;  // nothing more is to be asked
  };

  // Of every table at most `most` values are kept. `names`: how those of fields are compared.
  DataWatch(std::vector<std::u16string> wanted, CaseMode names, std::size_t most, Events events)
      : wanted_(std::move(wanted)), names_(names), most_(most), events_(std::move(events)) {}

  // As many as the comparison asked the source for, in that order.
  const std::vector<WatchedTable>& tables() const { return tables_; }

  void ValueDiffers(const DifferingValue& value) override;

 private:
  friend class WatchedConnection;

  void begin();
  void atRow(std::size_t side);
  void sees(std::size_t side, const std::u16string& field, const ado::Value& value);
  void keep(std::int64_t row, const std::u16string& field, const ado::Value& source,
            const ado::Value& target);

  std::vector<std::u16string> wanted_;
  CaseMode names_;
  std::size_t most_;
  Events events_;
  std::vector<WatchedTable> tables_;
  std::int64_t row_ = 1;
  ado::Value source_;
};

// A connection that is compared: source (0) or target (1).
class WatchedConnection final : public ado::Connection {
 public:
  WatchedConnection(ado::Connection& inner, DataWatch& watch, std::size_t side)
      : inner_(inner), watch_(watch), side_(side) {}

  // The source is asked for the tables first; it answers with the wanted ones. Rows that
  // nobody asked for are not fetched when a recordset is released.
  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override;
  const std::vector<ado::Error>& Errors() const override { return inner_.Errors(); }

 private:
  class WatchedField;
  class WatchedRecordset;

  ado::Connection& inner_;
  DataWatch& watch_;
  std::size_t side_;
  bool listed_ = false;
};

}  // namespace kelvane::cli
