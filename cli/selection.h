// Which objects of a database take part: the patterns of --include and --exclude.
//
// Lifetime: values. Threading: a selection may be used by several threads, a tally by one.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/arguments.h"
#include "model/schema.h"
#include "model/text.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

inline constexpr std::string_view kInclude = "--include", kExclude = "--exclude";

class Selection {
 public:
  // What was done with the objects of one side.
  struct Tally {
    std::size_t leftOut = 0;
    std::vector<bool> matched;  // by pattern: whether there is an object that it matches
    // Of all objects, where an include without * and ? might have meant one of them.
    std::vector<std::u16string> names, fullNames;
  };
  struct Name {
    std::u16string_view name, fullName;
  };
  // What is wrong with patterns that match nothing on any side, a line each.
  struct Unmatched {
    std::vector<std::string> errors;  // nothing that they are to choose is there
    std::vector<std::string> others;
  };

  Selection() = default;
  // `names`: how all names are compared; none: as the servers do. Throws UsageError.
  explicit Selection(const Arguments& arguments, std::optional<CaseMode> names = std::nullopt);

  bool takesAll() const { return patterns_.empty(); }
  bool takes(enumEntityType kind, const Name& name, CaseMode mode, Tally& tally) const;
  // Whether the details of an object need not be read, where the server compares names under
  // `server`. Names of a server that ignores case are compared exactly after all when the other
  // side does so, which is not known at that time.
  bool leavesUnread(enumEntityType kind, const Name& name, CaseMode server, Tally& tally) const;
  // Takes out of `schema` what is not to take part.
  void apply(Schema& schema, CaseMode mode, Tally& tally) const;

  // An include is an error unless it is about a kind that `switches` leave out; where no include
  // matches, nothing was compared, and all are.
  Unmatched unmatched(std::span<const Tally* const> sides,
                      const cComparisonOptions& switches) const;

 private:
  struct Pattern {
    std::string_view option;
    std::string called, given;
    std::optional<enumEntityType> kind;
    std::u16string name, foldedName;

    bool includes() const { return option == kInclude; }
    bool isName() const { return name.find_first_of(u"*?") == name.npos; }
    bool isQualified() const { return name.find(u'.') != name.npos; }
  };
  static std::string nameMeant(const Pattern& pattern, std::span<const Tally* const> sides);

  std::optional<CaseMode> names_;
  std::vector<Pattern> patterns_;
};

}  // namespace kelvane::cli
