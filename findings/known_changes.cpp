#include "findings/known_changes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <type_traits>
#include <utility>

#include "inventory/attributes.h"
#include "inventory/compare/titles.h"
#include "model/text.h"

namespace kelvane::findings {
namespace {

using namespace inventory;

std::string dashed(std::string_view words) {
  std::string word(words);
  std::ranges::replace(word, ' ', '-');
  return word;
}

// Constraints without names are called by what they say.
constexpr std::array<std::string_view, 2> kKeyWords{"primary-key", "unique"};

std::optional<Kind> kindNamed(std::string_view word) {
  if (std::ranges::find(kKeyWords, word) != kKeyWords.end()) return Kind::key;
  const auto* row =
      std::ranges::find(kKinds, word, [](const KindRow& one) { return dashed(one.singular); });
  if (row == kKinds.end()) return std::nullopt;
  return row->kind;
}

// ---- What differences of a kind are called, and what leaves them out

struct LabelRow {
  std::string_view label;
  Family family;
};
using LabelTable = std::array<std::vector<LabelRow>, kKindCount>;

template <class Record>
void addLabels(Kind kind, LabelTable& table) {
  std::vector<LabelRow>& rows = table[static_cast<std::size_t>(kind)];
  forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
    if (one.style != Style::name) rows.push_back({one.label, one.family});
    if constexpr (std::is_same_v<Value, Definition> || std::is_same_v<Value, Rare<Definition>>)
      rows.push_back({"quoted_identifier", Family::quotedIdentifier});
  });
  forEachParts<Record>([&]<class Owner, class Item>(const Parts<Owner, Item>& parts) {
    if (parts.order == Order::compared)
      rows.push_back(parts.kind == Kind::column ? LabelRow{"column order", Family::columnOrder}
                                                : LabelRow{"parameter order", Family::always});
    if constexpr (std::is_same_v<Item, Partition>)
      rows.push_back({kPartitionCount, Family::partitions});
    addLabels<Item>(parts.kind, table);
  });
}

const LabelTable& labelTable() {
  static const LabelTable kTable = [] {
    LabelTable table;
    addLabels<Settings>(Kind::database, table);
    forEachObjects([&]<class Item>(const Parts<Database, Item>& objects) {
      addLabels<Item>(objects.kind, table);
    });
    return table;
  }();
  return kTable;
}

const LabelRow* labelOf(Kind kind, std::string_view label) {
  const std::vector<LabelRow>& rows = labelTable()[static_cast<std::size_t>(kind)];
  const auto found = std::ranges::find(rows, label, &LabelRow::label);
  return found == rows.end() ? nullptr : &*found;
}

// ---- Changes as lines

std::string valueToken(const std::string& value) {
  const std::u16string text = toUtf16(value);
  return isLongValue(text) ? longValueToken(text) : textToken(value);
}

/// Keeps the changes that keep(written) is true for.
template <class Keep>
class ChangeFilter {
 public:
  explicit ChangeFilter(Keep keep) : keep_(std::move(keep)) {}

  void apply(std::vector<Change>& objects) {
    std::erase_if(objects, [&](Change& object) {
      subject_ = placeOf(object);
      owner_ = ownerOf(object);
      return isDropped(object, {});
    });
  }

 private:
  bool isDropped(Change& change, const std::string& within) {
    if (!change.isOnBothSides())
      return !keep_(
          {subject_, within, change.isOnlyInSource() ? "only in source" : "only in target"});
    std::erase_if(change.attributes, [&](const AttributeChange& one) {
      return !keep_({subject_, within + placeWithin(one.label),
                     valueToken(one.was) + " -> " + valueToken(one.is)});
    });
    std::erase_if(change.parts, [&](Change& part) {
      return isDropped(part, within + placeWithin(part, owner_));
    });
    return change.attributes.empty() && change.parts.empty();
  }

  Keep keep_;
  std::string subject_, owner_;
};

KnownChange readLine(std::string_view text) {
  const ReadLine line = readKnownLine(
      text, {[](std::string_view word) {
               const auto kind = kindNamed(word);
               return kind && isObject(*kind);
             },
             [](std::string_view word) { return kindNamed(word) == Kind::database; }});
  KnownChange known{line.known, *kindNamed(line.kind), line.name, {}, line.label};
  Kind innermost = known.kind;
  for (const auto& [word, name] : line.parts) {
    const auto kind = kindNamed(word);
    if (!kind || isObject(*kind))
      throw KnownDifferencesError("'" + word + "' is not a kind of part such as column");
    known.parts.push_back(innermost = *kind);
  }
  if (!known.label.empty() && labelOf(innermost, known.label) == nullptr)
    throw KnownDifferencesError("'" + known.label + "' is nothing in which one " +
                                std::string(rowOf(innermost).singular) +
                                " can differ from another");
  return known;
}

}  // namespace

std::string placeOf(const Change& object) {
  const std::string word = dashed(rowOf(object.kind).singular);
  return object.kind == Kind::database ? word : word + " " + textToken(object.name);
}

std::string placeWithin(const Change& part, const std::string& owner) {
  const Title title = titleOf(part, owner);
  const std::string_view word = title.word.empty() ? rowOf(part.kind).singular : title.word;
  return ", " + dashed(word) + " " + textToken(title.name);
}

std::string placeWithin(std::string_view label) { return ", " + textToken(label); }

KnownChanges readKnownChanges(std::string_view utf8) {
  return readKnownList<KnownChange>(utf8, readLine);
}

ChangeAcceptance accept(std::vector<Change> changes, std::span<const KnownChange> known,
                        std::chrono::year_month_day today) {
  ChangeAcceptance result;
  Acceptor<KnownChange> acceptor(known, today);
  ChangeFilter filter([&](const WrittenDifference& difference) {
    const KnownChange* one = acceptor.accepting(difference);
    if (one == nullptr) return true;
    result.accepted.push_back({difference.exact(), one->reason,
                               one->until ? dateText(*one->until) : "", one->kind, one->object,
                               difference.subject + difference.within});
    return false;
  });
  filter.apply(changes);
  result.rest = std::move(changes);
  result.expired = acceptor.expired();
  result.unused = acceptor.unused();
  return result;
}

KnownUpdateOf<KnownChange> writeKnownChanges(
    const std::vector<Change>& changes, const KnownChanges& list, const KnownChanges& others,
    const std::function<bool(const KnownChange&)>& couldBeFound, std::ostream& out) {
  ListUpdate<KnownChange> update(list, others);
  std::vector<Change> seen = changes;
  ChangeFilter([&](const WrittenDifference& difference) {
    update.see(difference);
    return true;
  }).apply(seen);
  return update.write(couldBeFound, out);
}

bool isCompared(const KnownChange& known, const Families& compared) {
  const auto isOn = [&](Family family) {
    return family == Family::always || compared.test(static_cast<std::size_t>(family));
  };
  Kind innermost = known.kind;
  bool all = isOn(rowOf(innermost).family);
  for (const Kind part : known.parts) all = all && isOn(rowOf(innermost = part).family);
  const LabelRow* label = known.label.empty() ? nullptr : labelOf(innermost, known.label);
  return all && (label == nullptr || isOn(label->family));
}

}  // namespace kelvane::findings
