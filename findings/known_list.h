// Lists of known differences: which differences they accept, and how they are brought up to date.
// Written once for all kinds of records: `Known` is a KnownLine with what its records need.
//
// Lifetime: results refer to the lists. Threading: one thread.
#pragma once

#include <algorithm>
#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "findings/known_lines.h"

namespace kelvane::findings {

/// A file of them.
template <class Known>
struct KnownListOf {
  std::vector<std::string> lines;  ///< all of them as they stand, without their ends
  std::string lineEnd = "\n";
  std::vector<Known> known;
};

/// Reads a list; `read(line)` makes what is known of a line that says something. Throws
/// KnownDifferencesError.
template <class Known, class Read>
KnownListOf<Known> readKnownList(std::string_view utf8, Read read) {
  KnownListOf<Known> result;
  ListLines lines = readListLines(utf8, [&](std::string_view line, std::size_t number) {
    result.known.push_back(read(line));
    result.known.back().line = number;
  });
  result.lines = std::move(lines.lines);
  result.lineEnd = std::move(lines.lineEnd);
  return result;
}

template <class Known>
using KnownIndex = std::unordered_map<std::string_view, const Known*>;

template <class Known>
KnownIndex<Known> indexOf(const std::vector<Known>& known) {
  KnownIndex<Known> index;
  for (const Known& one : known) index.emplace(one.difference, &one);
  return index;
}

template <class Known>
const Known* findIn(const KnownIndex<Known>& index, const WrittenDifference& difference) {
  for (const std::string& text : {difference.exact(), difference.any()}) {
    if (const auto found = index.find(text); found != index.end()) return found->second;
  }
  return nullptr;
}

/// Which known differences accept something on a day.
template <class Known>
class Acceptor {
 public:
  Acceptor(std::span<const Known> known, std::chrono::year_month_day today)
      : known_(known), today_(today) {
    for (const Known& one : known)
      if (!hasExpired(one)) valid_.emplace(one.difference, &one);
  }

  /// The one that accepts it; null where none does.
  const Known* accepting(const WrittenDifference& difference) {
    const Known* found = nullptr;
    for (const std::string& text : {difference.any(), difference.exact()}) {
      const auto one = valid_.find(text);
      if (one == valid_.end()) continue;
      used_.insert(text);
      found = one->second;
    }
    return found;
  }
  std::vector<const Known*> expired() const {
    return those([&](const Known& one) { return hasExpired(one); });
  }
  std::vector<const Known*> unused() const {
    return those(
        [&](const Known& one) { return !hasExpired(one) && !used_.contains(one.difference); });
  }

 private:
  bool hasExpired(const Known& one) const { return one.until && *one.until < today_; }
  template <class Wanted>
  std::vector<const Known*> those(Wanted wanted) const {
    std::vector<const Known*> all;
    for (const Known& one : known_)
      if (wanted(one)) all.push_back(&one);
    return all;
  }

  std::span<const Known> known_;
  std::chrono::year_month_day today_;
  KnownIndex<Known> valid_;
  std::unordered_set<std::string> used_;
};

/// What became of the lines of a list whose differences there are not.
template <class Known>
struct KnownUpdateOf {
  std::vector<const Known*> dropped;
  std::size_t kept = 0;
};

/// A list with what is to become of it, as far as `see` was called for what there is.
template <class Known>
class ListUpdate {
 public:
  ListUpdate(const KnownListOf<Known>& list, const KnownListOf<Known>& others)
      : list_(list), others_(others), known_(indexOf(list.known)), lent_(indexOf(others.known)) {}

  void see(const WrittenDifference& difference) {
    const std::string exact = difference.exact(), any = difference.any();
    const bool isNew = seen_.insert(exact).second;
    seen_.insert(any);
    if (!isNew || known_.contains(exact) || known_.contains(any)) return;
    const Known* lent = findIn(lent_, difference);
    if (lent != nullptr && !lentLines_.insert(lent->line).second) return;
    add(difference.subject, lent != nullptr ? std::string(textOf(others_, *lent))
                                            : exact + "  # " + std::string(kNoReason));
  }

  KnownUpdateOf<Known> write(const std::function<bool(const Known&)>& couldBeFound,
                             std::ostream& out) {
    KnownUpdateOf<Known> result;
    for (const Known& one : list_.known) {
      if (seen_.contains(one.difference)) continue;
      if (couldBeFound(one))
        result.dropped.push_back(&one);
      else
        ++result.kept;
    }
    for (const Known& one : others_.known) {
      if (seen_.contains(one.difference) || known_.contains(one.difference) || couldBeFound(one))
        continue;
      add(one.subject, std::string(textOf(others_, one)));
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
  void writeLines(const std::vector<const Known*>& dropped, std::ostream& out) {
    std::vector<const Known*> knownOf(list_.lines.size());
    std::unordered_map<std::string, std::size_t> lastOf;
    for (const Known& one : list_.known) {
      knownOf[one.line - 1] = &one;
      if (!std::ranges::binary_search(dropped, one.line, {}, &Known::line))
        lastOf[one.subject] = one.line;
    }
    if (list_.lines.empty()) out << kListHead;
    for (std::size_t at = 0; at < list_.lines.size(); ++at) {
      const Known* known = knownOf[at];
      if (known == nullptr) {
        out << list_.lines[at] << list_.lineEnd;
        continue;
      }
      if (std::ranges::binary_search(dropped, known->line, {}, &Known::line)) continue;
      out << lineOf(*known) << list_.lineEnd;
      const std::string& object = known->subject;
      if (lastOf.at(object) == known->line) writeAdded(object, out);
    }
    for (const std::vector<std::string>& texts : added_) writeTexts(texts, out);
  }

  static std::string_view textOf(const KnownListOf<Known>& list, const Known& known) {
    return list.lines[known.line - 1];
  }
  std::string_view lineOf(const Known& known) const {
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

  const KnownListOf<Known>& list_;
  const KnownListOf<Known>& others_;
  const KnownIndex<Known> known_, lent_;
  std::unordered_set<std::string> seen_;
  std::unordered_set<std::size_t> lentLines_;
  std::vector<std::vector<std::string>> added_;  // by object, in the order of the differences
  std::unordered_map<std::string, std::size_t> places_;
};

}  // namespace kelvane::findings
