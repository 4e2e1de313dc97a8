// Compares the rows of every user table of two databases.
//
// Lifetime: the host owns the comparison, its connections, preferences and observer; they outlive
// each Compare. Threading: everything runs on the caller's thread, without yielding to the host.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "host/host.h"
#include "settings/applies_to.h"
#include "settings/comparison_options.h"

namespace kelvane {

// Published events of the comparison. It raises neither of them.
class TableComparisonEvents {
 public:
  virtual ~TableComparisonEvents() = default;
  virtual void TableCompareStart(const std::u16string& TableName) = 0;
  virtual void TableCompareProgress(std::int32_t Row, std::int32_t RecordCount) = 0;
};

// Why the comparison of a table stopped.
enum class TableEnd {
  bothEnded,        // as many rows on either side
  sourceEnded,      // the target has more rows, which were not looked at
  targetEnded,      // the source has more rows, which were not looked at
  rowLimit,         // MaxDataCompareRows were compared
  differenceLimit,  // more than MaxDataCompareDifferences were found
  error,            // TableResult::Error says which
};

// What became of one table.
struct TableResult {
  std::u16string Table;
  std::int64_t RowsCompared = 0;  // whole rows
  std::int64_t Differences = 0;   // differing values
  TableEnd Ended = TableEnd::bothEnded;
  std::u16string Error;  // only with TableEnd::error
};

// One value that differs; the references end with the call that hands it over.
struct DifferingValue {
  const std::u16string& Table;
  std::int64_t Row;  // 1-based
  const std::u16string& Field;
  const ado::Value& Source;
  const ado::Value& Target;
};

class ValueObserver {
 public:
  virtual ~ValueObserver() = default;
  // An exception from here ends the comparison of that table as any other failure does.
  virtual void ValueDiffers(const DifferingValue& value) = 0;
};

// Pairs rows by position and fields by the source's names, streaming: memory does not grow with the
// tables. A null differs from nothing. Where one side has more rows, they are not looked at.
class cTableComparison {
 public:
  std::shared_ptr<cComparisonOptions> CompareOptions;  // kept for the host
  std::shared_ptr<cAppliesTo> AppliesTo;               // kept for the host
  const kelvane::AppPreferences* AppPreferences = nullptr;
  ado::Connection* ConnSource = nullptr;  // whose user tables are compared
  ado::Connection* ConnTarget = nullptr;

  // Handed every differing value, where set.
  ValueObserver* Observer = nullptr;

  // Compares all tables, and always returns False: TableResults says what was found. A failure in
  // one table is that table's result; a failure to list the tables is thrown.
  Boolean Compare();

  // One element for each table that the last Compare came to, in the order of their names.
  const std::vector<TableResult>& TableResults() const { return results_; }

 private:
  void compareTable(TableResult& result);

  std::vector<TableResult> results_;
};

}  // namespace kelvane
