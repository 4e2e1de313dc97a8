// What the tests of the comparison share: a schema with one of everything, a comparison in one
// call, and the tree of differences as lines of text.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "compare/compare_schema.h"
#include "host/host.h"
#include "model/diff_schema.h"
#include "model/schema.h"
#include "settings/comparison_options.h"

namespace kelvane::test {

// A host that keeps the messages it is to show.
class RecordingHost : public Host {
 public:
  void MessageBox(std::u16string_view text, MessageIcon icon) override;
  std::vector<std::string> messages;
};

struct Preferences : AppPreferences {
  Boolean tabs, spaces, lineBreaks;
  Boolean IgnoreTabs() const override { return tabs; }
  Boolean IgnoreSpaces() const override { return spaces; }
  Boolean IgnoreLineBreaks() const override { return lineBreaks; }
};

std::shared_ptr<cComparisonOptions> allOptions();

// One object of every kind with one sub-entity of every kind.
Schema sample();

diffSchema differences(const Schema& source, const Schema& target,
                       const cComparisonOptions& options = *allOptions(),
                       Boolean isCaseSensitive = True, const Preferences& preferences = {});

// One line a difference: "Table dbo.orders Columns id: Data Type [int] [bigint]", or
// "View dbo.v: is on source only". Fails the test where counts and arrays disagree.
std::vector<std::string> lines(const diffSchema& result);

inline std::vector<std::string> linesOf(const Schema& source, const Schema& target,
                                        Boolean isCaseSensitive = True,
                                        const Preferences& preferences = {}) {
  return lines(differences(source, target, *allOptions(), isCaseSensitive, preferences));
}

}  // namespace kelvane::test
