// Values of the embedded server as the data-access interface shows them.
//
// Threading: as for the recordset that uses it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "ado/value.h"
#include "drivers/embedded/catalog/result.h"
#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

/// Shows the values of one column. Texts are views into it, which end with its next value; bytes
/// are views of what was given.
class ShownColumn {
 public:
  explicit ShownColumn(const ColumnType& type);

  ado::Value show(ValueView value);
  ado::Value show(const Cell& cell);

 private:
  enum class Way { Text, Exact, Natural, Moment, Float, Real, Bit, Integer };

  ado::Value shown(std::int64_t number) const;
  ado::Value shown(double number) const;
  ado::Value shown(std::string_view text);
  std::u16string_view widened(std::string_view utf8);

  Way way_;
  TypeKind kind_;
  int scale_ = 0;
  double power_ = 1;       ///< of ten, by the scale; 0 if floating point does not hold it
  std::size_t width_ = 0;  ///< that texts are filled up to with blanks
  std::u16string buffer_;  ///< never made smaller
};

}  // namespace kelvane::embedded
