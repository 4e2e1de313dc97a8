// The schema comparison: walks a source and a target schema and reports every difference to its
// collector.
//
// Lifetime: the host and the preferences outlive the object; the options, the scope and the
// collector are shared with it. Threading: for use on one thread at a time; never yields.
//
// Cost: one pass over both schemas; look-ups are hashed, and objects that stand at the same place
// on both sides are met without one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "diff/compare_diff.h"
#include "host/host.h"
#include "model/boolean.h"
#include "model/diff_schema.h"
#include "model/runtime_error.h"
#include "model/schema.h"
#include "settings/applies_to.h"
#include "settings/comparison_options.h"

namespace kelvane {

class cCompareSchema {
 public:
  // What to compare. Must be set before Compare.
  std::shared_ptr<cComparisonOptions> CompareOptions;
  // Kept for the host: scope is applied when a schema is read.
  std::shared_ptr<cAppliesTo> AppliesTo;
  // What to leave out of definition texts. Must be set when definitions are compared.
  const kelvane::AppPreferences* AppPreferences = nullptr;

  explicit cCompareSchema(Host& host = Host::standard());
  cCompareSchema(const cCompareSchema&) = delete;
  cCompareSchema& operator=(const cCompareSchema&) = delete;

  // Does nothing: a comparison cannot be interrupted.
  void Cancel() {}

  // Adds the differences between the two schemas to the collector, which is not emptied before.
  // False, with LastError, when CompareOptions is not set. Raises ErrorNumber::notSet when a
  // definition is to be compared and AppPreferences is not set; what was found until then stays in
  // the collector. `OutputType` is what the host means to make of the result.
  bool Compare(const Schema& SourceSchema, const Schema& TargetSchema,
               enumOutputType OutputType = output_DiffHTML);

  // The collector: the same one for the whole life of this object.
  const std::shared_ptr<cCompareDiff>& cCompareDifference() const { return collector_; }
  // Always without elements: there is no flat list of differences.
  Array<std::u16string> GetArrayOfDifferences() const { return {}; }
  // Why Compare answered False; never cleared.
  const std::u16string& LastError() const { return lastError_; }
  // A copy of all differences found so far.
  diffSchema Results() const { return collector_->GetDifferences(); }

  // Kept for the host.
  Boolean IsDataCaseSensitive() const { return isDataCaseSensitive_; }
  void IsDataCaseSensitive(Boolean value) { isDataCaseSensitive_ = value; }
  // Whether names are compared exactly (the default) or without regard to case, here and in the
  // collector. A comparison keeps the way that was set when it began.
  Boolean IsSchemaCaseSensitive() const { return isSchemaCaseSensitive_; }
  void IsSchemaCaseSensitive(Boolean value);

 protected:
  // `count` non-breaking spaces as HTML writes them.
  static std::u16string NbspIndent(std::int32_t count);

 private:
  std::shared_ptr<cCompareDiff> collector_;
  std::u16string lastError_;
  Boolean isDataCaseSensitive_;
  Boolean isSchemaCaseSensitive_;
};

}  // namespace kelvane
