#include "rows/row_file_writer.h"

#include <utility>

namespace kelvane::rows {
namespace {

using Kind = ValueType::Kind;

bool isNumber(Kind kind) {
  return kind == Kind::bit || kind == Kind::exact || kind == Kind::single ||
         kind == Kind::approximate;
}

}  // namespace

RowFileWriter::RowFileWriter(std::ostream& out, RowFileForm form, std::vector<FileColumn> columns)
    : out_(out), form_(std::move(form)), columns_(std::move(columns)) {
  if (form_.format != RowFormat::csv || !form_.hasHeader) return;
  for (const FileColumn& column : columns_) {
    if (&column != &columns_.front()) row_ += ',';
    addCsv(column.name);
  }
  out_ << row_ << '\n';
}

void RowFileWriter::write(std::span<const Cell> cells) {
  row_.clear();
  const bool isJson = form_.format == RowFormat::jsonLines;
  if (isJson) row_ += '{';
  for (std::size_t at = 0; at < columns_.size(); ++at) {
    if (at > 0)
      row_ += form_.format == RowFormat::bcp ? form_.fieldTerminator : isJson ? ", " : ",";
    if (isJson) {
      addNamed(columns_[at], cells[at]);
    } else if (cells[at].kind != CellKind::null) {
      const std::string text = textOf(columns_[at], cells[at]);
      if (form_.format == RowFormat::csv)
        addCsv(text);
      else
        addBcp(columns_[at], text);
    }
  }
  row_ += isJson ? "}\n" : form_.format == RowFormat::bcp ? form_.rowTerminator : "\n";
  out_ << row_;
}

std::string RowFileWriter::textOf(const FileColumn& column, const Cell& cell) {
  try {
    return rows::textOf(valueOf(cell, storage_), column.type);
  } catch (const BadValue& error) {
    throw BadValue("column " + column.name + ": " + error.what());
  }
}

// Blanks at an end stand within quotes too: editors take them off.
void RowFileWriter::addCsv(std::string_view text) {
  const bool isPlain = !text.empty() && text.front() != ' ' && text.back() != ' ' &&
                       text.find_first_of(",\"\r\n") == std::string_view::npos;
  if (isPlain) {
    row_ += text;
    return;
  }
  row_ += '"';
  for (const char c : text) {
    if (c == '"') row_ += '"';
    row_ += c;
  }
  row_ += '"';
}

void RowFileWriter::addBcp(const FileColumn& column, std::string_view text) {
  // Also where the end of the text would be a part of a terminator.
  const auto isWhole = [&](const std::string& terminator) {
    return (std::string(text) + terminator).find(terminator) == text.size();
  };
  const bool fits = isWhole(form_.fieldTerminator) && isWhole(form_.rowTerminator) &&
                    text.find('\0') == std::string_view::npos;
  if (!fits)
    throw BadValue("column " + column.name +
                   ": a text has a terminator or a NUL character in it; take others "
                   "(--field-terminator, --row-terminator), or another format");
  if (text.empty())
    row_ += '\0';
  else
    row_ += text;
}

void RowFileWriter::addJson(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  row_ += '"';
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      row_ += '\\';
      row_ += c;
    } else if (c == '\n') {
      row_ += "\\n";
    } else if (c == '\r') {
      row_ += "\\r";
    } else if (c == '\t') {
      row_ += "\\t";
    } else if (static_cast<unsigned char>(c) < 0x20) {
      row_ += "\\u00";
      row_ += kDigits[static_cast<unsigned char>(c) >> 4U];
      row_ += kDigits[static_cast<unsigned char>(c) & 0xFU];
    } else {
      row_ += c;
    }
  }
  row_ += '"';
}

void RowFileWriter::addNamed(const FileColumn& column, const Cell& cell) {
  addJson(column.name);
  row_ += ": ";
  if (cell.kind == CellKind::null) {
    row_ += "null";
    return;
  }
  const std::string text = textOf(column, cell);
  if (isNumber(column.type.kind))
    row_ += text;
  else
    addJson(text);
}

}  // namespace kelvane::rows
