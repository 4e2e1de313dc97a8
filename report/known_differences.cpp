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
  std::string object, within, values;

  std::string exact() const { return object + within + ": " + values; }
  std::string any() const { return object + within + ": " + std::string(kAnyValues); }
};

std::string objectText(enumEntityType kind, std::u16string_view name) {
  return std::string(wordOf(kind)) + " " + textToken(name);
}

Written written(std::string object, std::string within, const typeDiff& difference) {
  if (difference.DiffType == diff_DoesNotExist)
    return {std::move(object), std::move(within),
            difference.Location == location_Source ? "only in source" : "only in target"};
  within += ", " + textToken(difference.SubEntityType);
  return {std::move(object), std::move(within),
          valueToken(difference.DataOnSource) + " -> " + valueToken(difference.DataOnTarget)};
}

// The owner of a group is reported as that of a table.
template <class Object>
Written written(const Kind<Object>& kind, const Object& object, const typeDiff& difference) {
  const bool ofGroup = kind.entityType == entity_TABLE && difference.SubEntityType == u"Owner";
  return written(ofGroup ? objectText(entity_GROUP, object.Name)
                         : objectText(kind.entityType, object.FullName),
                 {}, difference);
}

template <class Object>
Written written(const Kind<Object>& kind, const Object& object, Part part, const diffEntity& entity,
                const typeDiff& difference) {
  std::string word = toUtf8(titleOf(part, entity).word);
  std::ranges::replace(word, ' ', '-');
  return written(objectText(kind.entityType, object.FullName),
                 ", " + word + " " + textToken(entity.Name), readable(part, difference));
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

using Texts = std::unordered_set<std::string>;
using Index = std::unordered_map<std::string_view, const KnownDifference*>;

Index indexOf(const std::vector<KnownDifference>& known) {
  Index index;
  for (const KnownDifference& one : known) index.emplace(one.difference, &one);
  return index;
}

const KnownDifference* find(const Index& index, const Written& difference) {
  for (const std::string& text : {difference.exact(), difference.any()}) {
    if (const auto found = index.find(text); found != index.end()) return found->second;
  }
  return nullptr;
}

std::string_view textOf(const KnownList& list, const KnownDifference& known) {
  return list.lines[known.line - 1];
}

// A list with what is to become of it.
class Update {
 public:
  Update(const KnownList& list, const KnownList& others)
      : list_(list), others_(others), known_(indexOf(list.known)), lent_(indexOf(others.known)) {}

  void see(const Written& difference) {
    const std::string exact = difference.exact(), any = difference.any();
    const bool isNew = seen_.insert(exact).second;
    seen_.insert(any);
    if (!isNew || known_.contains(exact) || known_.contains(any)) return;
    const KnownDifference* lent = find(lent_, difference);
    if (lent != nullptr && !lentLines_.insert(lent->line).second) return;
    add(difference.object, lent != nullptr ? std::string(textOf(others_, *lent))
                                           : exact + "  # " + std::string(kNoReason));
  }

  KnownUpdate write(const std::function<bool(const KnownDifference&)>& couldBeFound,
                    std::ostream& out) {
    KnownUpdate result;
    for (const KnownDifference& one : list_.known) {
      if (seen_.contains(one.difference)) continue;
      if (couldBeFound(one))
        result.dropped.push_back(&one);
      else
        ++result.kept;
    }
    for (const KnownDifference& one : others_.known) {
      if (seen_.contains(one.difference) || known_.contains(one.difference) || couldBeFound(one))
        continue;
      add(objectText(one.kind, one.object), std::string(textOf(others_, one)));
      ++result.kept;
    }
    writeLines(result.dropped, out);
    return result;
  }

 private:
  void add(const std::string& object, std::string text) {
    const auto [group, isNew] = places_.emplace(object, added_.size());
    if (isNew) added_.emplace_back();
    added_[group->second].push_back(std::move(text));
  }

  // What is new of an object stands behind what there is of it.
  void writeLines(const std::vector<const KnownDifference*>& dropped, std::ostream& out) {
    std::vector<const KnownDifference*> knownOf(list_.lines.size());
    std::unordered_map<std::string, std::size_t> lastOf;
    for (const KnownDifference& one : list_.known) {
      knownOf[one.line - 1] = &one;
      if (!std::ranges::binary_search(dropped, one.line, {}, &KnownDifference::line))
        lastOf[objectText(one.kind, one.object)] = one.line;
    }
    if (list_.lines.empty())
      out << "# Accepted differences, one per line, each with a reason after '#'. The optional "
             "last day\n"
             "# comes before that: until 2027-01-31. '*' instead of both values accepts any "
             "values.\n";
    for (std::size_t at = 0; at < list_.lines.size(); ++at) {
      const KnownDifference* known = knownOf[at];
      if (known == nullptr) {
        out << list_.lines[at] << list_.lineEnd;
        continue;
      }
      if (std::ranges::binary_search(dropped, known->line, {}, &KnownDifference::line)) continue;
      out << lineOf(*known) << list_.lineEnd;
      const std::string object = objectText(known->kind, known->object);
      if (lastOf.at(object) == known->line) writeAdded(object, out);
    }
    for (const std::vector<std::string>& texts : added_) writeTexts(texts, out);
  }

  std::string_view lineOf(const KnownDifference& known) const {
    const auto better = lent_.find(known.difference);
    const bool isBetter = known.reason == kNoReason && better != lent_.end();
    return isBetter ? textOf(others_, *better->second) : textOf(list_, known);
  }
  void writeAdded(const std::string& object, std::ostream& out) {
    const auto found = places_.find(object);
    if (found == places_.end()) return;
    writeTexts(added_[found->second], out);
    added_[found->second].clear();
  }
  void writeTexts(const std::vector<std::string>& texts, std::ostream& out) const {
    for (const std::string& text : texts) out << text << list_.lineEnd;
  }

  const KnownList& list_;
  const KnownList& others_;
  const Index known_, lent_;
  Texts seen_;
  std::unordered_set<std::size_t> lentLines_;
  std::vector<std::vector<std::string>> added_;  // by object, in the order of the differences
  std::unordered_map<std::string, std::size_t> places_;
};

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
  report::Texts used;
  report::Filter filter([&](const report::Written& difference) {
    const std::string exact = difference.exact(), any = difference.any();
    bool isAccepted = false;
    for (const std::string& text : {exact, any}) {
      if (!valid.contains(text)) continue;
      used.insert(text);
      isAccepted = true;
    }
    if (isAccepted) ++result.accepted;
    return !isAccepted;
  });
  result.rest = filter.apply(differences);
  for (const KnownDifference& one : known) {
    if (!hasExpired(one) && !used.contains(one.difference)) result.unused.push_back(&one);
  }
  return result;
}

KnownUpdate writeKnownDifferences(const diffSchema& differences, const KnownList& list,
                                  const KnownList& others,
                                  const std::function<bool(const KnownDifference&)>& couldBeFound,
                                  std::ostream& out) {
  report::Update update(list, others);
  report::Filter([&](const report::Written& difference) {
    update.see(difference);
    return false;
  }).apply(differences);
  return update.write(couldBeFound, out);
}

}  // namespace kelvane
