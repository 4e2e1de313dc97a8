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

namespace kelvane::cli {

inline constexpr std::string_view kInclude = "--include", kExclude = "--exclude";

class Selection {
 public:
  // What was done with the objects of one side.
  struct Tally {
    std::size_t leftOut = 0;
    std::vector<bool> matched;  // by pattern: whether there is an object that it matches
  };
  struct Name {
    std::u16string_view name, fullName;
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

  // The patterns that match nothing on any side, as they were given: "--include x*".
  std::vector<std::string> unmatched(std::span<const Tally* const> sides) const;

 private:
  struct Pattern {
    std::string_view option;
    std::string given;
    std::optional<enumEntityType> kind;
    std::u16string name, foldedName;
  };

  std::optional<CaseMode> names_;
  std::vector<Pattern> patterns_;
};

}  // namespace kelvane::cli
