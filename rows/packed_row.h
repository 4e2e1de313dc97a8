// Rows as bytes that are the same where their values are, so that whole rows are compared, hashed
// and kept in files without looking at single values.
//
// A row is its cells one after the other, those of its key first. A cell is a byte for its kind,
// then its value; texts and bytes have their length before them. Bytes are in the order of this
// machine: packed rows never leave the process.
//
// Free functions without state.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "ado/value.h"

namespace kelvane::rows {

/// How values of a column are packed: what both sides have to give for equal values to be equal
/// bytes.
enum class Form : std::uint8_t {
  asItIs,       ///< both sides have the same type; exact numbers of any type are equal by value
  approximate,  ///< exact beside float: all are doubles
  single,       ///< beside real: all have its precision
  moment,       ///< dates, times and both: a date is the beginning of its day
  padded,       ///< filled with blanks, or bytes with zeros: what fills does not count
  large,  ///< texts and bytes without a limit: of long ones only what tells them apart is kept
};

enum class CellKind : std::uint8_t {
  null,
  integer,
  decimal,
  single,
  approximate,
  moment,
  text,
  bytes,
  longText,  ///< see LargeValue
  longBytes
};

/// Appends a cell.
void pack(const ado::Value& value, Form form, std::string& row);

/// A cell of a packed row; refers to the row.
struct Cell {
  CellKind kind = CellKind::null;
  std::string_view content = {};  ///< behind the kind and the length

  bool operator==(const Cell&) const = default;
};

/// Appends a cell of texts or bytes, long ones among them.
void appendCell(std::string& row, CellKind kind, std::string_view content);

/// Takes the first cell off `cells`.
Cell takeCell(std::string_view& cells);

/// As a value that refers to the cell, or to `storage` where a text has to be aligned. Of a long
/// value: how it begins.
ado::Value valueOf(const Cell& cell, std::u16string& storage);

/// The order of the values of both keys, cell by cell: nulls first, numbers by value, texts by
/// their UTF-16 units. Keys are equal in it where their bytes are.
std::strong_ordering orderOf(std::string_view key, std::string_view other);

}  // namespace kelvane::rows
