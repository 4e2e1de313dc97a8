// The comparison of one target of a group, which stands for the others: they have the same
// differences.
//
// Lifetime: owns what it compared. Threading: one thread at a time.
#pragma once

#include <cstddef>
#include <sstream>
#include <string>
#include <utility>

#include "cli/screen/console.h"
#include "cli/sides/database_reading.h"
#include "cli/verbs/comparison.h"
#include "cli/words/compare_request.h"

namespace kelvane::cli {

class ComparedGroup {
 public:
  // Compares. What is complained about meanwhile is told with the target.
  ComparedGroup(std::size_t target, CompareRequest request, const DatabaseReading& reference,
                DatabaseReading reading)
      : target_(target), request_(std::move(request)), comparison_(request_, aside_) {
    comparison_.take(reference, std::move(reading));
    comparison_.agreeOnRules();
    comparison_.findChanges();
    comparison_.noteIncompleteSides();
    comparison_.accept();
  }
  ComparedGroup(const ComparedGroup&) = delete;
  ComparedGroup& operator=(const ComparedGroup&) = delete;

  std::size_t target() const { return target_; }  // its place in FleetResult::targets
  const CompareRequest& request() const { return request_; }
  Comparison& comparison() { return comparison_; }
  // What was complained about, as it would be told.
  std::string complaints() const { return complaints_.str(); }

 private:
  std::size_t target_;
  CompareRequest request_;
  std::ostringstream complaints_;
  Console aside_{complaints_, complaints_};
  Comparison comparison_;
};

}  // namespace kelvane::cli
