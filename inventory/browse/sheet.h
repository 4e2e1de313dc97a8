// All that is known of one object: its attributes and its parts, each value with its label.
//
// Lifetime: plain values; labels are constants. Threading: none of its own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/browse/search.h"
#include "inventory/kinds.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// A value of a record, as it is shown.
struct SheetValue {
  enum class Form : std::uint8_t { text, number, flag, list, definition };

  std::string_view label;
  Form form = Form::text;
  std::string text = {};                ///< empty: not declared
  std::vector<std::string> items = {};  ///< of a list
  std::string brief = {};               ///< of a definition: what a line can show of it

  const std::string& line() const { return form == Form::definition ? brief : text; }
};

struct SheetList;

/// Of an object or a part. A part has all values that its kind can have, in their order.
struct Sheet {
  std::vector<SheetValue> values;
  std::vector<SheetList> lists;  ///< without empty ones
};

struct SheetList {
  std::string_view title;  ///< in the plural: "columns"
  std::vector<Sheet> rows;
};

/// What an object declares; of a user, group or role also what it was granted, and who is its
/// member.
Sheet sheetOf(const FoundObject& object, const Database& database);

struct SheetOrder {
  std::string label;
  bool descending = false;
  bool numeric = false;  ///< by the numbers at the beginning of the values
};

/// Sorts each list whose rows have the label, in any letter case, by code units; equal rows keep
/// their order. False, and nothing is done, where no list has it.
bool sort(Sheet& sheet, const SheetOrder& order);

/// The labels of what is declared in its lists, each once.
std::vector<std::string_view> labelsOf(const Sheet& sheet);

/// Whether any row has a value under the label that stands there in each of them.
bool isDeclared(const SheetList& list, std::size_t at);

}  // namespace kelvane::inventory
