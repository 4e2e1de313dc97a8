// The comparison and the collector once more, as plain scans: what the real ones must agree with.
#pragma once

#include "compare/compare_schema.h"

namespace kelvane::test {

// The collector with every search a scan from the front, and without a message box.
struct ScanningCollector {
  diffSchema result;
  std::u16string owner;
  CaseMode mode = CaseMode::exact;

  void add(std::u16string_view label, std::u16string_view types, std::u16string_view names,
           enumLocation location, enumDiffType diffType, const Scalar& was, const Scalar& is);
};

// Tables and roles only, without keys and system permissions: the other kinds share the walk.
diffSchema scanningCompare(const Schema& source, const Schema& target,
                           const cComparisonOptions& options, CaseMode mode,
                           const AppPreferences& preferences);

}  // namespace kelvane::test
