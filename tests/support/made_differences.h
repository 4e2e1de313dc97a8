// Differences as the comparison reports them, for tests of what is made of them.
//
// Threading: one thread.
#pragma once

#include <string_view>

#include "diff/compare_diff.h"

namespace kelvane::testing {

class MadeDifferences {
 public:
  // `type` and `path` as the collector takes them: "Table\\Column" and "orders\\id".
  MadeDifferences& only(enumLocation side, std::u16string_view type, std::u16string_view path) {
    diff_.Add(u"", u"", type, path, side, diff_DoesNotExist);
    return *this;
  }
  MadeDifferences& differ(std::u16string_view type, std::u16string_view path,
                          std::u16string_view label, const Scalar& source, const Scalar& target) {
    diff_.Add(u"", label, type, path, location_Source, diff_Different, source, target);
    return *this;
  }
  // Of the objects that follow.
  MadeDifferences& owner(std::u16string_view owner) {
    diff_.Owner(owner);
    return *this;
  }
  diffSchema all() const { return diff_.GetDifferences(); }

 private:
  cCompareDiff diff_;
};

}  // namespace kelvane::testing
