// What a statement writes into each column of a table: values that are given, cut and checked as
// the column demands, and those that nobody gives, which are defaults, identities and timestamps.
//
// Serves for one statement; refers to its translator and to the table, which must outlive it.
#pragma once

#include <cstdint>
#include <string>

#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/write_target.h"

namespace kelvane::embedded {

class ColumnValues {
 public:
  ColumnValues(Translator& translator, const WriteTarget& target)
      : translator_(translator), target_(target) {}

  /// As SQL, like all of them. Throws 233 for a null that the column does not take.
  std::string filled(const SqlValue& value, const ColumnInfo& column, std::uint32_t line);
  /// Of a column that an insert does not name.
  std::string omitted(const ColumnInfo& column, std::uint32_t line);
  /// `given` is what the statement has for it; all but null is refused when it runs.
  std::string nextTimestamp(const std::string& given = "NULL");

 private:
  Translator& translator_;
  const WriteTarget& target_;
};

}  // namespace kelvane::embedded
