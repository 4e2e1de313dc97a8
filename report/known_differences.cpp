#include "report/known_differences.h"

#include <algorithm>
#include <utility>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/json_text.h"
#include "report/kind_words.h"
#include "report/readable_diff.h"

namespace kelvane {
namespace report {
namespace {

using findings::WrittenDifference;

std::string textToken(std::u16string_view text) {
  const std::string utf8 = toUtf8(text);
  return findings::isBareToken(utf8) ? utf8 : jsonString(text);
}

std::string valueToken(std::u16string_view value) {
  return findings::isLongValue(value) ? findings::longValueToken(value) : textToken(value);
}

std::string objectText(enumEntityType kind, std::u16string_view name) {
  return std::string(wordOf(kind)) + " " + textToken(name);
}

WrittenDifference written(std::string object, std::string within, const typeDiff& difference) {
  if (difference.DiffType == diff_DoesNotExist)
    return {std::move(object), std::move(within),
            difference.Location == location_Source ? "only in source" : "only in target"};
  within += ", " + textToken(difference.SubEntityType);
  return {std::move(object), std::move(within),
          valueToken(difference.DataOnSource) + " -> " + valueToken(difference.DataOnTarget)};
}

// The owner of a group is reported as that of a table.
template <class Object>
WrittenDifference written(const Kind<Object>& kind, const Object& object,
                          const typeDiff& difference) {
  const bool ofGroup = kind.entityType == entity_TABLE && difference.SubEntityType == u"Owner";
  return written(ofGroup ? objectText(entity_GROUP, object.Name)
                         : objectText(kind.entityType, object.FullName),
                 {}, difference);
}

template <class Object>
WrittenDifference written(const Kind<Object>& kind, const Object& object, Part part,
                          const diffEntity& entity, const typeDiff& difference) {
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

const KindWord* kindNamed(std::string_view word) {
  const auto* found = std::ranges::find(kKindWords, word, &KindWord::word);
  return found == kKindWords.end() ? nullptr : found;
}

KnownDifference readLine(std::string_view text) {
  const findings::ReadLine line = findings::readKnownLine(
      text, {[](std::string_view word) { return kindNamed(word) != nullptr; },
             [](std::string_view) { return false; }});
  // Published labels begin with a capital letter; the others are of lists that compare everything.
  if (!line.label.empty() && line.label.front() >= 'a' && line.label.front() <= 'z')
    throw KnownDifferencesError("'" + line.label +
                                "' is nothing that the published comparison compares");
  return {line.known, kindNamed(line.kind)->kind, toUtf16(line.name),
          line.parts.empty() ? std::string() : line.parts.back().first, toUtf16(line.label)};
}

}  // namespace
}  // namespace report

KnownList readKnownDifferences(std::string_view utf8) {
  return findings::readKnownList<KnownDifference>(utf8, report::readLine);
}

Acceptance accept(const diffSchema& differences, std::span<const KnownDifference> known,
                  std::chrono::year_month_day today) {
  Acceptance result;
  findings::Acceptor<KnownDifference> acceptor(known, today);
  report::Filter filter([&](const findings::WrittenDifference& difference) {
    const bool isAccepted = acceptor.accepting(difference) != nullptr;
    if (isAccepted) ++result.accepted;
    return !isAccepted;
  });
  result.rest = filter.apply(differences);
  result.expired = acceptor.expired();
  result.unused = acceptor.unused();
  return result;
}

KnownUpdate writeKnownDifferences(const diffSchema& differences, const KnownList& list,
                                  const KnownList& others,
                                  const std::function<bool(const KnownDifference&)>& couldBeFound,
                                  std::ostream& out) {
  findings::ListUpdate<KnownDifference> update(list, others);
  report::Filter([&](const findings::WrittenDifference& difference) {
    update.see(difference);
    return false;
  }).apply(differences);
  return update.write(couldBeFound, out);
}

}  // namespace kelvane
