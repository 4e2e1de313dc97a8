// Which objects of a database take part: patterns that include and patterns that exclude.
//
// Lifetime: values. Threading: a selection may be used by several threads, a tally by one.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/kinds.h"
#include "inventory/records.h"
#include "model/text.h"

namespace kelvane::inventory {

/// A word before the colon of a pattern that is no kind; the message lists those that are.
struct UnknownKind : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Selection {
 public:
  enum class Effect : std::uint8_t { include, exclude };
  /// `text`: a name or owner.name in which * stands for any letters and ? for one, with a kind and
  /// a colon before it where only objects of that kind are meant: "table:dbo.cust*".
  struct Pattern {
    Effect effect;
    std::string text;
    std::string called;  ///< what the user knows it by: --include
  };
  /// What was done with the objects of one side.
  struct Tally {
    std::size_t leftOut = 0;
    std::vector<bool> matched;  ///< by pattern: whether there is an object that it matches
    /// Of all objects, where an include without * and ? might have meant one of them.
    std::vector<std::u16string> names, fullNames;
  };
  struct Name {
    std::u16string_view name, fullName;
  };
  /// What is wrong with patterns that match nothing on any side, a line each.
  struct Unmatched {
    std::vector<std::string> errors;  ///< nothing that they are to choose is there
    std::vector<std::string> others;
  };

  Selection() = default;
  /// `names`: how all names are compared; none: as the servers do. Throws UnknownKind.
  explicit Selection(const std::vector<Pattern>& patterns,
                     std::optional<CaseMode> names = std::nullopt);

  bool takesAll() const { return patterns_.empty(); }
  bool takes(Kind kind, const Name& name, CaseMode mode, Tally& tally) const;
  /// Whether the details of an object need not be read, where the server compares names under
  /// `server`. Names of a server that ignores case are compared exactly after all when the other
  /// side does so, which is not known at that time.
  bool leavesUnread(Kind kind, const Name& name, CaseMode server, Tally& tally) const;
  /// Whether an object of the catalog must be read before it is known whether it takes part: how
  /// names are compared depends on both sides, and procedures of a group are one object.
  bool mayTake(Kind kind, const QualifiedName& name) const;
  /// An object that was not read because of mayTake; of a group of procedures each is one.
  struct Unread {
    Kind kind;
    QualifiedName name;
    int number = 1;
  };
  void leaveOut(const Unread& object, CaseMode mode, Tally& tally) const;
  /// Takes out of `database` what is not to take part. What the database itself declares goes by
  /// the name of the database.
  void apply(Database& database, CaseMode mode, Tally& tally) const;

  /// An include is an error unless it is about a kind that is not compared; where no include
  /// matches, nothing was compared, and all are.
  Unmatched unmatched(std::span<const Tally* const> sides,
                      const std::function<bool(Kind)>& isCompared) const;

 private:
  struct Parsed {
    Effect effect;
    std::string called, given;
    std::optional<Kind> kind;
    std::u16string name, foldedName;

    bool includes() const { return effect == Effect::include; }
    bool isName() const { return name.find_first_of(u"*?") == name.npos; }
    /// Whether it might mean "p;2" where there is "p".
    bool mayMeanNumber() const {
      return name.find(u';') != name.npos ||
             (!name.empty() && std::u16string_view(u"?0123456789").find(name.back()) != name.npos);
    }
    bool isQualified() const { return name.find(u'.') != name.npos; }
  };
  static std::string nameMeant(const Parsed& pattern, std::span<const Tally* const> sides);

  std::optional<CaseMode> names_;
  std::vector<Parsed> patterns_;
};

}  // namespace kelvane::inventory
