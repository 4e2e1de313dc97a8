// A connection whose tables are drawn as text or made row by row, for the comparison of table data.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ado/ado.h"
#include "model/text.h"

namespace kelvane::test {

// Counts what the recordsets of one connection are asked for.
struct Usage {
  int nameLookups = 0;
  int openRecordsets = 0;
  int mostOpenRecordsets = 0;
  bool onlyForwardOnly = true;
};

struct Rows {
  std::vector<std::u16string> columns;
  int count = 0;
  // The text of a value, "null" for a null. Called for the current row only; throws to fail there.
  std::function<std::u16string(int row, std::size_t column)> text;
};

// Holds nothing but its current row, whose values end when it moves.
class RowStream final : public ado::Recordset {
 public:
  RowStream(Rows rows, Usage& usage) : rows_(std::move(rows)), usage_(usage) {
    for (std::size_t at = 0; at < rows_.columns.size(); ++at) fields_.emplace_back(*this, at);
    usage_.mostOpenRecordsets = std::max(usage_.mostOpenRecordsets, ++usage_.openRecordsets);
    read();
  }
  ~RowStream() override { --usage_.openRecordsets; }

  ado::ObjectState State() const override { return ado::ObjectState::open; }
  std::int32_t RecordCount() const override { return -1; }
  bool EndOfRows() const override { return row_ == rows_.count; }
  void MoveNext() override {
    ++row_;
    read();
  }
  bool NextRecordset() override { return false; }
  std::int32_t FieldCount() const override { return static_cast<std::int32_t>(fields_.size()); }
  const ado::Field& Fields(std::int32_t ordinal) const override {
    return fields_.at(static_cast<std::size_t>(ordinal));
  }
  const ado::Field& Fields(std::u16string_view name) const override {
    ++usage_.nameLookups;
    for (const StreamField& field : fields_)
      if (equalText(field.Name(), name, CaseMode::ignore)) return field;
    throw RuntimeError(ErrorNumber::itemNotFound, u"no field " + std::u16string(name));
  }
  void Sort(std::u16string_view) override {}

 private:
  class StreamField final : public ado::Field {
   public:
    StreamField(const RowStream& rows, std::size_t at) : rows_(&rows), at_(at) {}
    const std::u16string& Name() const override { return rows_->rows_.columns[at_]; }
    ado::Value Value() const override {
      const std::u16string& text = rows_->current_.at(at_);
      return text == u"null" ? ado::Value() : ado::Value(std::u16string_view(text));
    }

   private:
    const RowStream* rows_;
    std::size_t at_;
  };

  void read() {
    current_.clear();
    for (std::size_t at = 0; row_ < rows_.count && at < rows_.columns.size(); ++at)
      current_.push_back(rows_.text(row_, at));
  }

  Rows rows_;
  Usage& usage_;
  std::vector<StreamField> fields_;
  std::vector<std::u16string> current_;
  int row_ = 0;
};

class TableConnection final : public ado::Connection {
 public:
  Usage usage;
  std::vector<std::u16string> statements;

  // A line of column names, then a line a row; values between blanks.
  void draw(const std::u16string& table, std::u16string_view drawing) {
    std::vector<std::vector<std::u16string>> lines;
    for (const auto line : split(drawing, u'\n')) {
      auto& values = lines.emplace_back();
      for (const auto value : split(line, u' '))
        if (!value.empty()) values.emplace_back(value);
    }
    const auto columns = lines.front();
    lines.erase(lines.begin());
    const auto count = static_cast<int>(lines.size());
    add(table, {columns, count, [lines](int row, std::size_t column) {
                  return lines[static_cast<std::size_t>(row)].at(column);
                }});
  }
  void add(const std::u16string& table, Rows rows) {
    answers_[u"select * from " + table] = std::move(rows);
  }
  // The answer to the question for the tables' names.
  void list(std::vector<std::u16string> names) {
    const auto count = static_cast<int>(names.size());
    answers_[u"SELECT name FROM sysobjects WHERE type='U' order by name"] = {
        {u"name"}, count, [names](int row, std::size_t) {
          return names[static_cast<std::size_t>(row)];
        }};
  }

  std::unique_ptr<ado::Recordset> Open(std::u16string_view source,
                                       const ado::OpenMode& mode) override {
    statements.emplace_back(source);
    usage.onlyForwardOnly &= mode.cursorType == ado::CursorType::forwardOnly &&
                             mode.location == ado::CursorLocation::server &&
                             mode.lockType == ado::LockType::readOnly;
    const auto found = answers_.find(statements.back());
    if (found == answers_.end())
      throw ado::Failure(ErrorNumber::failure, u"rejected: " + statements.back());
    return std::make_unique<RowStream>(found->second, usage);
  }
  const std::vector<ado::Error>& Errors() const override { return errors_; }

 private:
  std::map<std::u16string, Rows> answers_;
  std::vector<ado::Error> errors_;
};

}  // namespace kelvane::test
