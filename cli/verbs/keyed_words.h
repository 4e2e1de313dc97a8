// The words that all reports of rows by their keys have in common.
//
// Lifetime: results own their text, but for constants. Threading: free functions without state.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/verbs/keyed_report.h"
#include "cli/verbs/value_text.h"

namespace kelvane::cli {

struct EndText {
  std::string_view member;  // in JSON
  std::u16string_view text;
};
const EndText& textOf(KeyedEnd end);
// How a table ended, where that is not the end of its rows.
std::u16string endOf(const KeyedTable& one);

// Null is not the text "null".
std::u16string shown(const std::optional<std::u16string>& text);
// "id 3, line 2": the columns [begin, end).
std::u16string shownCells(const KeyedTable& table, const Texts& texts, std::size_t begin,
                          std::size_t end);
// "different within characters 65537 to 131072": of two long values that begin alike; else empty.
std::u16string placeOf(const ValueText& one, const ValueText& other);
// "~ id 3: name nut -> bolt"
std::u16string shown(const KeyedTable& table, const RowSample& sample);

// "primary key: id"; empty where there is no plan.
std::u16string shownKey(const KeyedTable& table);
// "1 equal, 2 changed, 1 only in target"
std::u16string countsOf(const KeyedTable& one);
// What is to be known of a table besides its counts, a line each.
std::vector<std::u16string> notesOf(const KeyedTable& one);
// "price 2", of each column that differs anywhere.
std::vector<std::u16string> changedColumns(const KeyedTable& one);
// "3 tables: 1 equal, 2 different, 0 not compared to the end"
std::string closingOf(const KeyedReport& report);

}  // namespace kelvane::cli
