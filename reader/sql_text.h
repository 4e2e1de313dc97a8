// How the reader's statements of several lines are put together.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace kelvane::reader {

// Appends `line` and the line end that all statements use.
inline void appendLine(std::u16string& sql, std::u16string_view line) {
  sql.append(line).append(u"\r\n");
}

// The lines one after the other, each with its line end, the last one too.
inline std::u16string sqlLines(std::initializer_list<std::u16string_view> lines) {
  std::u16string sql;
  for (std::u16string_view line : lines) appendLine(sql, line);
  return sql;
}

}  // namespace kelvane::reader
