#include "rows/row_files.h"

#include <algorithm>
#include <map>
#include <utility>

#include "rows/file_text.h"
#include "rows/json_rows.h"
#include "rows/raw_row.h"

namespace kelvane::rows {
namespace {

/// RFC 4180. Lines may end with a line feed alone.
class CsvRows final : public RawRows {
 public:
  explicit CsvRows(FileText& file) : file_(file) {}

  bool next(RawRow& row) override {
    row.clear();
    if (file_.peek() == FileText::kEnd) return false;
    row.begin = file_.position();
    while (takeField(row)) continue;
    return true;
  }

 private:
  /// Whether another field follows.
  bool takeField(RawRow& row) {
    row.beginField(file_.position());
    if (file_.peek() == '"') {
      row.fields.back().isQuoted = true;
      takeQuoted(row);
    } else {
      takePlain(row);
    }
    row.endField(file_);
    const int end = file_.take();
    return end == ',';
  }

  void takeQuoted(RawRow& row) {
    const FilePosition begin = file_.position();
    file_.take();
    for (;;) {
      const int byte = file_.take();
      if (byte == FileText::kEnd)
        file_.refuse(begin,
                     "the quotes that open here are not closed; close them, or double "
                     "quotes within a value");
      if (byte != '"') {
        row.add(byte, file_);
      } else if (file_.peek() == '"') {
        row.add(file_.take(), file_);
      } else {
        break;
      }
    }
    const FilePosition behind = file_.position();
    if (file_.peek() == '\r') return requireLineFeed();
    if (file_.peek() != ',' && file_.peek() != '\n' && file_.peek() != FileText::kEnd)
      file_.refuse(behind,
                   "a comma or the end of the line is expected behind the closing quotes; "
                   "double quotes within a value");
  }

  void takePlain(RawRow& row) {
    for (;;) {
      const int byte = file_.peek();
      if (byte == ',' || byte == '\n' || byte == FileText::kEnd) return;
      if (byte == '\r') return requireLineFeed();
      if (byte == '"')
        file_.refuse(file_.position(),
                     "quotes within a value without quotes; put the value within "
                     "quotes and double those in it");
      row.add(file_.take(), file_);
    }
  }

  /// The carriage return is taken with the line feed, by who ends the field.
  void requireLineFeed() {
    const FilePosition at = file_.position();
    file_.take();
    if (file_.peek() != '\n' && file_.peek() != FileText::kEnd)
      file_.refuse(at, "a carriage return within a value; put the value within quotes");
  }

  FileText& file_;
};

class BcpRows final : public RawRows {
 public:
  BcpRows(FileText& file, const RowFileForm& form)
      : file_(file), field_(form.fieldTerminator), row_(form.rowTerminator) {}

  bool next(RawRow& row) override {
    row.clear();
    if (file_.peek() == FileText::kEnd) return false;
    row.begin = file_.position();
    row.beginField(row.begin);
    for (;;) {
      const int byte = file_.take();
      if (byte == FileText::kEnd)
        file_.refuse(file_.position(),
                     "the file ends within a row; the last one ends with the row "
                     "terminator as well (--row-terminator)");
      row.add(byte, file_);
      const std::string_view text = row.fieldText();
      if (text.ends_with(row_)) {
        endField(row, row_.size());
        return true;
      }
      if (text.ends_with(field_)) {
        endField(row, field_.size());
        row.beginField(file_.position());
      }
    }
  }

 private:
  void endField(RawRow& row, std::size_t terminator) {
    row.text.resize(row.text.size() - terminator);
    if (row.fieldText() == std::string_view("\0", 1)) {
      row.text.pop_back();
      row.fields.back().isQuoted = true;
    }
    row.endField(file_);
  }

  FileText& file_;
  std::string field_, row_;
};

std::unique_ptr<RawRows> rawRowsOf(FileText& file, const RowFileForm& form) {
  switch (form.format) {
    case RowFormat::csv:
      return std::make_unique<CsvRows>(file);
    case RowFormat::jsonLines:
      return std::make_unique<JsonRows>(file);
    case RowFormat::bcp:
      break;
  }
  return std::make_unique<BcpRows>(file, form);
}

bool startsWithNames(const RowFileForm& form) {
  return form.format == RowFormat::csv && form.hasHeader;
}

void requireHeader(const FileText& file, const RawRow& row) {
  std::map<std::string_view, bool> seen;
  for (const RawField& field : row.fields) {
    const std::string_view name = row.textOf(field);
    if (name.empty())
      file.refuse(field.position,
                  "a column without a name in the header; name it, or say that "
                  "there is no header (--no-header)");
    if (!seen.emplace(name, true).second)
      file.refuse(field.position, "the header names column " + std::string(name) + " twice");
  }
}

class FileRows final : public RowSource {
 public:
  FileRows(const std::string& path, const RowFileForm& form, std::vector<FileColumn> columns,
           std::vector<std::size_t> wanted)
      : file_(path),
        rows_(rawRowsOf(file_, form)),
        columns_(std::move(columns)),
        wanted_(std::move(wanted)),
        values_(wanted_.size()),
        storage_(wanted_.size()),
        isNamed_(form.format == RowFormat::jsonLines) {
    for (std::size_t at = 0; at < columns_.size(); ++at) places_.emplace(columns_[at].name, at);
    if (startsWithNames(form)) rows_->next(row_);
  }

  bool next() override {
    do {
      if (!rows_->next(row_)) return false;
    } while (isEmptyLine());
    fields_.assign(columns_.size(), nullptr);
    if (isNamed_)
      placeByName();
    else
      placeInOrder();
    for (std::size_t at = 0; at < wanted_.size(); ++at) values_[at] = convert(at);
    return true;
  }
  ado::Value value(std::size_t column) const override { return values_[column]; }

 private:
  /// Which is a row only where there is one column.
  bool isEmptyLine() const {
    return !isNamed_ && columns_.size() > 1 && row_.fields.size() == 1 && row_.fields[0].isNull;
  }
  void placeByName() {
    for (const RawField& field : row_.fields) {
      const auto place = places_.find(field.name);
      if (place == places_.end())
        file_.refuse(field.namePosition, "there is no column " + field.name +
                                             ": neither the other side nor the first row has it");
      fields_[place->second] = &field;
    }
  }
  void placeInOrder() {
    const std::size_t has = row_.fields.size();
    if (has != columns_.size()) {
      file_.refuse(row_.begin, std::to_string(has) + (has == 1 ? " field" : " fields") + " where " +
                                   std::to_string(columns_.size()) +
                                   " are expected: " + namesOfColumns());
    }
    for (std::size_t at = 0; at < columns_.size(); ++at) fields_[at] = &row_.fields[at];
  }
  std::string namesOfColumns() const {
    constexpr std::size_t kMost = 8;
    std::string names;
    for (std::size_t at = 0; at < std::min(columns_.size(), kMost); ++at)
      names += (at == 0 ? "" : ", ") + columns_[at].name;
    return columns_.size() > kMost ? names + "..." : names;
  }

  ado::Value convert(std::size_t at) {
    const RawField* const field = fields_[wanted_[at]];
    if (field == nullptr || field->isNull) return {};
    const FileColumn& column = columns_[wanted_[at]];
    try {
      return valueOf(row_.textOf(*field), field->spelling, column.type, storage_[at]);
    } catch (const BadValue& error) {
      file_.refuse(field->position, "column " + column.name + ": " + error.what());
    }
  }

  FileText file_;
  std::unique_ptr<RawRows> rows_;
  std::vector<FileColumn> columns_;
  std::vector<std::size_t> wanted_;
  std::map<std::string, std::size_t, std::less<>> places_;
  RawRow row_;
  std::vector<const RawField*> fields_;  // by column; none: the row has none
  std::vector<ado::Value> values_;
  std::vector<ValueStorage> storage_;
  bool isNamed_;
};

}  // namespace

RowFileHead headOf(const std::string& path, const RowFileForm& form) {
  FileText file(path);
  const std::unique_ptr<RawRows> rows = rawRowsOf(file, form);
  RawRow row;
  RowFileHead head;
  const bool isThere = rows->next(row);
  if (startsWithNames(form)) {
    if (!isThere)
      file.refuse({}, "the file is empty; the names of its columns are expected in its first line");
    requireHeader(file, row);
    for (const RawField& field : row.fields) head.names.emplace_back(row.textOf(field));
    head.fields = head.names.size();
    return head;
  }
  head.fields = row.fields.size();
  if (form.format == RowFormat::jsonLines) {
    for (const RawField& field : row.fields) head.names.push_back(field.name);
  }
  return head;
}

std::unique_ptr<RowSource> openRowFile(const std::string& path, const RowFileForm& form,
                                       std::vector<FileColumn> columns,
                                       std::vector<std::size_t> wanted) {
  return std::make_unique<FileRows>(path, form, std::move(columns), std::move(wanted));
}

}  // namespace kelvane::rows
