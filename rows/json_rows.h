// JSON lines: an object a line, of which each member is a value.
//
// Lifetime: the file outlives it. Threading: as the file.
#pragma once

#include <string>

#include "rows/raw_row.h"

namespace kelvane::rows {

class JsonRows final : public RawRows {
 public:
  explicit JsonRows(FileText& file) : file_(file) {}
  bool next(RawRow& row) override;

 private:
  void skipBlanks();
  void expect(char wanted, const char* what);
  void takeMember(RawRow& row);
  void takeValue(RawRow& row);
  void takeWord(RawRow& row);
  std::string takeString(const RawRow& row);
  void takeEscape(std::string& text);
  unsigned takeUnit();

  FileText& file_;
};

}  // namespace kelvane::rows
