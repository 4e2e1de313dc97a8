// A row of a file, before anything is made of its values.
//
// Lifetime: plain values. Threading: as the file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "rows/column_value.h"
#include "rows/file_text.h"

namespace kelvane::rows {

struct RawField {
  std::size_t begin = 0, end = 0;  ///< in RawRow::text
  FilePosition position = {};
  bool isQuoted = false;  ///< empty, it is a text
  bool isNull = false;
  Spelling spelling = Spelling::text;
  std::string name = {};  ///< where rows have names
  FilePosition namePosition = {};
};

struct RawRow {
  FilePosition begin = {};
  std::string text = {};  ///< that of all fields
  std::vector<RawField> fields = {};

  void clear() {
    text.clear();
    fields.clear();
  }
  void beginField(const FilePosition& position) {
    fields.push_back({.begin = text.size(), .end = text.size(), .position = position});
  }
  void add(int byte, const FileText& file) {
    // Beyond that somebody has forgotten to end something.
    constexpr std::size_t kMost = 1U << 30U;
    if (text.size() == kMost) file.refuse(begin, "the row has more than 1 GiB; does it end?");
    text.push_back(static_cast<char>(byte));
  }
  /// Of the field that is being read.
  std::string_view fieldText() const { return std::string_view(text).substr(fields.back().begin); }
  std::string_view textOf(const RawField& field) const {
    return std::string_view(text).substr(field.begin, field.end - field.begin);
  }
  void endField(const FileText& file) {
    RawField& field = fields.back();
    field.end = text.size();
    field.isNull = field.isNull || (field.begin == field.end && !field.isQuoted);
    const std::string_view own = fieldText();
    if (const std::size_t bad = firstInvalid(own); bad < own.size())
      file.refuse(FileText::within(field.position, own, bad),
                  "not valid UTF-8; save the file as UTF-8");
  }
};

class RawRows {
 public:
  virtual ~RawRows() = default;
  /// False behind the last row. Throws RowFileError.
  virtual bool next(RawRow& row) = 0;
};

}  // namespace kelvane::rows
