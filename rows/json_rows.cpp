#include "rows/json_rows.h"

#include <algorithm>
#include <cstdint>

namespace kelvane::rows {
namespace {

constexpr bool isDigit(int byte) { return byte >= '0' && byte <= '9'; }

void appendUtf8(std::uint32_t point, std::string& text) {
  const auto add = [&](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (point < 0x80) return add(point);
  if (point < 0x800) {
    add(0xC0U | point >> 6U);
  } else {
    if (point < 0x10000) {
      add(0xE0U | point >> 12U);
    } else {
      add(0xF0U | point >> 18U);
      add(0x80U | (point >> 12U & 0x3FU));
    }
    add(0x80U | (point >> 6U & 0x3FU));
  }
  add(0x80U | (point & 0x3FU));
}

/// -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool isNumber(std::string_view text) {
  std::size_t at = 0;
  const auto digits = [&] {
    const std::size_t begin = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    return at - begin;
  };
  if (at < text.size() && text[at] == '-') ++at;
  const bool isZero = at < text.size() && text[at] == '0';
  const std::size_t whole = digits();
  if (whole == 0 || (isZero && whole > 1)) return false;
  if (at < text.size() && text[at] == '.') {
    ++at;
    if (digits() == 0) return false;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (digits() == 0) return false;
  }
  return at == text.size();
}

}  // namespace

// Blanks within a line; a row is one line.
void JsonRows::skipBlanks() {
  while (file_.peek() == ' ' || file_.peek() == '\t' || file_.peek() == '\r') file_.take();
}

void JsonRows::expect(char wanted, const char* what) {
  skipBlanks();
  if (file_.peek() != wanted) file_.refuse(file_.position(), what);
  file_.take();
}

bool JsonRows::next(RawRow& row) {
  row.clear();
  for (skipBlanks(); file_.peek() == '\n'; skipBlanks()) file_.take();
  if (file_.peek() == FileText::kEnd) return false;
  row.begin = file_.position();
  expect('{', "an object {...} is expected, one on each line");
  skipBlanks();
  if (file_.peek() == '}') {
    file_.take();
  } else {
    takeMember(row);
    for (skipBlanks(); file_.peek() == ','; skipBlanks()) {
      file_.take();
      takeMember(row);
    }
    expect('}', "a comma or the } of the row is expected, on the same line");
  }
  skipBlanks();
  if (file_.peek() != '\n' && file_.peek() != FileText::kEnd)
    file_.refuse(file_.position(), "the end of the line is expected behind the row");
  file_.take();
  return true;
}

void JsonRows::takeMember(RawRow& row) {
  skipBlanks();
  const FilePosition begin = file_.position();
  if (file_.peek() != '"') file_.refuse(begin, "the name of a column within quotes is expected");
  std::string name = takeString(row);
  if (const std::size_t bad = firstInvalid(name); bad < name.size())
    file_.refuse(begin, "not valid UTF-8; save the file as UTF-8");
  // Rows have few members: looking through them costs less than an index.
  if (std::ranges::find(row.fields, name, &RawField::name) != row.fields.end())
    file_.refuse(begin, "the row has column " + name + " twice");
  expect(':', "a colon is expected behind the name of a column");
  skipBlanks();
  row.beginField(file_.position());
  row.fields.back().name = std::move(name);
  row.fields.back().namePosition = begin;
  takeValue(row);
  row.endField(file_);
}

void JsonRows::takeValue(RawRow& row) {
  RawField& field = row.fields.back();
  const int first = file_.peek();
  if (first == '"') {
    field.isQuoted = true;
    row.text += takeString(row);
  } else if (first == '{' || first == '[') {
    file_.refuse(field.position, "a value is expected: a text, a number, true, false or null");
  } else {
    takeWord(row);
  }
}

void JsonRows::takeWord(RawRow& row) {
  RawField& field = row.fields.back();
  for (int byte = file_.peek(); isDigit(byte) || (byte >= 'a' && byte <= 'z') || byte == '-' ||
                                byte == '+' || byte == '.' || byte == 'E';
       byte = file_.peek())
    row.add(file_.take(), file_);
  const std::string_view word = row.fieldText();
  if (word == "null") {
    field.isNull = true;
    row.text.resize(field.begin);
  } else if (word == "true" || word == "false") {
    field.spelling = Spelling::truth;
  } else if (isNumber(word)) {
    field.spelling = Spelling::number;
  } else {
    file_.refuse(field.position, "a value is expected: a text, a number, true, false or null");
  }
}

std::string JsonRows::takeString(const RawRow& row) {
  const FilePosition begin = file_.position();
  file_.take();
  std::string text;
  for (;;) {
    const int byte = file_.peek();
    if (byte == FileText::kEnd || byte == '\n')
      file_.refuse(begin,
                   "the quotes that open here are not closed on this line; write \\n for a "
                   "line feed within a text");
    if (byte < 0x20)
      file_.refuse(file_.position(), "a control character within a text; write it as \\u00XX");
    file_.take();
    if (byte == '"') return text;
    if (byte == '\\') {
      takeEscape(text);
    } else {
      text.push_back(static_cast<char>(byte));
    }
    if (text.size() > std::size_t{1} << 30U)
      file_.refuse(row.begin, "the row has more than 1 GiB; does it end?");
  }
}

void JsonRows::takeEscape(std::string& text) {
  constexpr std::string_view kNames = "\"\\/bfnrt", kMeant = "\"\\/\b\f\n\r\t";
  const FilePosition begin = file_.position();
  const int name = file_.take();
  if (name != 'u') {
    const std::size_t at = name < 0 ? std::string_view::npos : kNames.find(static_cast<char>(name));
    if (at == std::string_view::npos)
      file_.refuse(begin, "an escape that JSON does not have; write \\\\ for a backslash");
    text.push_back(kMeant[at]);
    return;
  }
  std::uint32_t point = takeUnit();
  const bool isHigh = point >= 0xD800 && point < 0xDC00;
  if (isHigh && file_.peek() == '\\') {
    file_.take();
    const std::uint32_t low = file_.take() == 'u' ? takeUnit() : 0;
    if (low < 0xDC00 || low > 0xDFFF)
      file_.refuse(begin, "half of a character; the other half is expected behind it");
    point = 0x10000 + ((point - 0xD800) << 10U) + (low - 0xDC00);
  } else if (point >= 0xD800 && point < 0xE000) {
    file_.refuse(begin, "half of a character; the other half is expected beside it");
  }
  appendUtf8(point, text);
}

unsigned JsonRows::takeUnit() {
  unsigned unit = 0;
  for (int digit = 0; digit < 4; ++digit) {
    const int byte = file_.peek();
    const int small = byte | 0x20;
    if (!isDigit(byte) && (small < 'a' || small > 'f'))
      file_.refuse(file_.position(), "four hexadecimal digits are expected behind \\u");
    unit = unit * 16 + static_cast<unsigned>(isDigit(byte) ? byte - '0' : small - 'a' + 10);
    file_.take();
  }
  return unit;
}

}  // namespace kelvane::rows
