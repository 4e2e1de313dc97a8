// The collector of differences: takes them one at a time, as flat calls, and assembles them into
// the tree that hosts read.
//
// Lifetime: only accumulates; a new comparison that is to start empty needs a new collector. The
// host outlives it. Threading: for the one thread of the comparison that fills it.
//
// Cost: a difference costs the same however many there are already, on one object or on many.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/host.h"
#include "model/boolean.h"
#include "model/diff_schema.h"
#include "model/first_match_index.h"
#include "model/scalar.h"
#include "model/text.h"

namespace kelvane {

class cCompareDiff {
 public:
  explicit cCompareDiff(Host& host = Host::standard()) : host_(&host) {}

  // Whether names of top-level objects are matched exactly (the default) or without regard to case;
  // names of what is below them always match exactly. A change holds for the calls of Add that
  // follow, which then also search the entries made before.
  Boolean IsSchemaCaseSensitive() const { return isSchemaCaseSensitive_; }
  void IsSchemaCaseSensitive(Boolean value) { isSchemaCaseSensitive_ = value; }

  // Kept for the host.
  Boolean IsDataCaseSensitive() const { return isDataCaseSensitive_; }
  void IsDataCaseSensitive(Boolean value) { isDataCaseSensitive_ = value; }
  const std::u16string& Entity() const { return entity_; }
  void Entity(std::u16string_view value) { entity_ = value; }

  // The owner of the object whose differences are added next.
  const std::u16string& Owner() const { return owner_; }
  void Owner(std::u16string_view value) { owner_ = value; }

  // Records one difference. `EntityTreeType` and `EntityTreeDef` say where, as two parallel paths
  // with "\" between their segments: the kinds ("Table\Column") and the names ("orders\id"). A path
  // that leads nowhere is reported in a message box of the host and otherwise ignored. `Entity`
  // takes no part.
  void Add(std::u16string_view Entity, std::u16string_view SubEntityType,
           std::u16string_view EntityTreeType, std::u16string_view EntityTreeDef,
           enumLocation Location = location_Source, enumDiffType DiffType = diff_Different,
           const Scalar& DataOnSource = {}, const Scalar& DataOnTarget = {});

  // All that was recorded so far, in the order in which it came.
  diffSchema GetDifferences() const { return result_; }

 private:
  using Path = std::vector<std::u16string_view>;

  template <template <class> class Kind, class EntityRecord>
  void addTo(const Kind<EntityRecord>& kind, std::uint64_t kindNumber, const Path& types,
             const Path& names, typeDiff&& diff);
  template <template <class> class Kind, class EntityRecord>
  std::int32_t findOrCreate(const Kind<EntityRecord>& kind, std::uint64_t kindNumber,
                            std::u16string_view name);
  std::int32_t findSubEntity(const Array<diffEntity>& entities, std::u16string_view name,
                             std::uint64_t arrayNumber);

  Host* host_;
  diffSchema result_;
  std::u16string owner_;
  std::u16string entity_;
  Boolean isSchemaCaseSensitive_ = True;
  Boolean isDataCaseSensitive_;

  static constexpr std::size_t kKindCount = 7;

  // One index for each kind and way to compare names: entries made under one way are found again
  // after a change to the other, whose index catches up when it is next asked.
  struct EntityIndexes {
    FirstMatchIndex exact;
    FirstMatchIndex ignoringCase;
  };
  std::array<EntityIndexes, kKindCount> entityIndexes_;
  // By the number of the array; only for arrays too long to scan.
  std::unordered_map<std::uint64_t, FirstMatchIndex> subEntityIndexes_;
};

}  // namespace kelvane
