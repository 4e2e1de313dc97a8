#include "report/known_differences.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/kind_words.h"
#include "report/known_lines.h"
#include "report/readable_diff.h"

namespace kelvane {
namespace report {
namespace {

constexpr std::size_t kLongestValue = 80;

// Values that would make the line hard to read are told by length and hash.
std::string valueToken(std::u16string_view value) {
  if (value.size() <= kLongestValue && value.find_first_of(u"\r\n") == value.npos)
    return textToken(value);
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char16_t unit : value) {
    for (const int shift : {0, 8}) hash = (hash ^ (unit >> shift & 0xFF)) * 0x100000001b3;
  }
  std::string digits(16, '0');
  for (std::size_t at = digits.size(); hash != 0; hash >>= 4)
    digits[--at] = "0123456789abcdef"[hash & 15];
  return "<" + std::to_string(value.size()) + " characters, " + digits + ">";
}

// A difference as a line has it, up to its values.
struct Written {
  std::string place, values;

  std::string exact() const { return place + ": " + values; }
  std::string any() const { return place + ": " + std::string(kAnyValues); }
};

Written written(std::string place, const typeDiff& difference) {
  if (difference.DiffType == diff_DoesNotExist)
    return {std::move(place),
            difference.Location == location_Source ? "only in source" : "only in target"};
  place += ", " + textToken(difference.SubEntityType);
  return {std::move(place),
          valueToken(difference.DataOnSource) + " -> " + valueToken(difference.DataOnTarget)};
}

// The owner of a group is reported as that of a table.
template <class Object>
Written written(const Kind<Object>& kind, const Object& object, const typeDiff& difference) {
  const bool ofGroup = kind.entityType == entity_TABLE && difference.SubEntityType == u"Owner";
  const std::string_view word = wordOf(ofGroup ? entity_GROUP : kind.entityType);
  const std::u16string& name = ofGroup ? object.Name : object.FullName;
  return written(std::string(word) + " " + textToken(name), difference);
}

template <class Object>
Written written(const Kind<Object>& kind, const Object& object, Part part, const diffEntity& entity,
                const typeDiff& difference) {
  std::string word = toUtf8(titleOf(part, entity).word);
  std::ranges::replace(word, ' ', '-');
  return written(std::string(wordOf(kind.entityType)) + " " + textToken(object.FullName) + ", " +
                     word + " " + textToken(entity.Name),
                 readable(part, difference));
}

// Keeps the differences of a tree that keep(written) is true for, and counts those that it takes.
template <class Keep>
class Filter {
 public:
  explicit Filter(Keep keep) : keep_(std::move(keep)) {}

  diffSchema apply(const diffSchema& differences) {
    diffSchema result;
    forEachKind(differences, [&](const auto& kind, const auto& objects) {
      for (const auto& object : objects) {
        auto kept = filtered(kind, object);
        if (differencesOf(kept) > 0) (result.*kind.objects).append(std::move(kept));
      }
      result.*kind.count = (result.*kind.objects).count();
    });
    return result;
  }

 private:
  template <class Object>
  Object filtered(const Kind<Object>& kind, const Object& object) {
    Object kept = object;
    setRows(kept, object.Diff, [&](const typeDiff& row) { return written(kind, object, row); });
    for (const auto& [part, entities, count] : kParts<Object>) {
      (kept.*entities).clear();
      for (const diffEntity& entity : object.*entities) {
        diffEntity some = entity;
        setRows(some, entity.Diff,
                [&](const typeDiff& row) { return written(kind, object, part, entity, row); });
        if (!some.Diff.empty()) (kept.*entities).append(std::move(some));
      }
      kept.*count = (kept.*entities).count();
    }
    return kept;
  }

  template <class Record, class Write>
  void setRows(Record& record, const Array<typeDiff>& rows, Write write) {
    record.Diff.clear();
    for (const typeDiff& row : rows)
      if (keep_(write(row))) record.Diff.append(row);
    record.DiffCount = record.Diff.count();
  }

  Keep keep_;
};

using Index = std::unordered_map<std::string_view, const KnownDifference*>;

const KnownDifference* find(const Index& index, const Written& difference) {
  for (const std::string& text : {difference.exact(), difference.any()}) {
    if (const auto found = index.find(text); found != index.end()) return found->second;
  }
  return nullptr;
}

}  // namespace
}  // namespace report

Acceptance accept(const diffSchema& differences, std::span<const KnownDifference> known,
                  std::chrono::year_month_day today) {
  Acceptance result;
  report::Index valid;
  const auto hasExpired = [&](const KnownDifference& one) {
    return one.until && *one.until < today;
  };
  for (const KnownDifference& one : known) {
    if (hasExpired(one))
      result.expired.push_back(&one);
    else
      valid.emplace(one.difference, &one);
  }
  std::unordered_set<const KnownDifference*> used;
  report::Filter filter([&](const report::Written& difference) {
    const KnownDifference* one = report::find(valid, difference);
    if (one == nullptr) return true;
    used.insert(one);
    ++result.accepted;
    return false;
  });
  result.rest = filter.apply(differences);
  for (const KnownDifference& one : known) {
    if (!hasExpired(one) && !used.contains(&one)) result.unused.push_back(&one);
  }
  return result;
}

void writeKnownDifferences(const diffSchema& differences, std::span<const KnownDifference> known,
                           std::ostream& out) {
  out << "# Differences that are accepted, one a line, with the reason behind '#'. Before that\n"
         "# may stand the last day: until 2027-01-31. A star in place of both values accepts "
         "any.\n";
  report::Index index;
  for (const KnownDifference& one : known) index.emplace(one.difference, &one);
  std::unordered_set<std::string> lines;
  report::Filter([&](const report::Written& difference) {
    const KnownDifference* one = report::find(index, difference);
    const std::string text = one != nullptr ? one->difference : difference.exact();
    if (!lines.insert(text).second) return false;
    out << text;
    if (one != nullptr && one->until) out << " until " << report::dateText(*one->until);
    out << "  # " << (one != nullptr ? one->reason : "not explained yet") << '\n';
    return false;
  }).apply(differences);
}

}  // namespace kelvane
