#include "report/renames.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "model/fields.h"
#include "model/text.h"
#include "report/diff_walk.h"
#include "report/kind_words.h"

namespace kelvane {
namespace report {
namespace {

constexpr int kLeastLikeness = 80;
constexpr std::size_t kFewestLines = 4;  // that make a likeness worth telling
constexpr std::size_t kMostCompared = 200;
constexpr double kRounding = 1e-9;  // of the sums of weights

// Stands where a text has the name of its object; no text of a server has it.
constexpr char16_t kOwnName = u'\1';
constexpr char16_t kEndOfField = u'\0';
constexpr char16_t kEndOfLine = u'\2';

bool isOfName(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
         (unit >= u'0' && unit <= u'9') || unit == u'_' || unit == u'#' || unit == u'$' ||
         unit == u'@' || unit > 0x7F;
}

std::u16string withoutName(std::u16string_view text, std::u16string_view name) {
  std::u16string result;
  std::size_t from = 0;
  for (std::size_t at = text.find(name); at != text.npos && !name.empty();
       at = text.find(name, at + 1)) {
    const std::size_t end = at + name.size();
    const bool whole = at >= from && (at == 0 || !isOfName(text[at - 1])) &&
                       (end == text.size() || !isOfName(text[end]));
    if (!whole) continue;
    result.append(text.substr(from, at - from)).push_back(kOwnName);
    from = end;
  }
  return result.append(text.substr(from));
}

// Servers pad some texts.
std::u16string_view withoutEnd(std::u16string_view text) {
  return text.substr(0, text.find_last_not_of(u" \t\r\n") + 1);
}

// The lines of an object's contents.
class Contents {
 public:
  template <class Record>
  explicit Contents(const Record& record) {
    add(record);
  }

  const std::vector<std::u16string>& lines() const { return lines_; }
  std::vector<std::size_t> sortedHashes() const {
    std::vector<std::size_t> hashes;
    hashes.reserve(lines_.size());
    for (const std::u16string& line : lines_) hashes.push_back(hashText(line, CaseMode::exact));
    std::ranges::sort(hashes);
    return hashes;
  }

 private:
  void add(const Table& table) {
    addColumns(table.Columns);
    const auto nameless = [&](auto record) {
      record.Name.clear();
      addLine(record);
    };
    for (const PrimaryKey& key : table.PrimaryKey) nameless(key);
    for (const Key& key : table.ForeignKey) nameless(key);
    for (const index& one : table.Indexes) nameless(one);
    for (Trigger trigger : table.Triggers) {
      trigger.Definition = withoutName(withoutName(trigger.Definition, trigger.Name), table.Name);
      nameless(std::move(trigger));
    }
  }
  // Views, procedures and functions.
  template <class Code>
  void add(const Code& code) {
    addColumns(code.Columns);
    const std::u16string definition = withoutName(code.Definition, code.Name);
    for (const std::u16string_view line : split(withoutEnd(definition), u'\n'))
      lines_.emplace_back(withoutEnd(line));
  }
  void add(UDDT type) {
    type.Name.clear();
    type.Owner.clear();
    type.FullName.clear();
    addLine(type);
  }

  // Their order tells their positions, so that one more column makes but one line.
  void addColumns(const Array<Column>& columns) {
    for (Column column : columns) {
      column.OrdinalPosition = 0;
      addLine(column);
    }
  }
  template <HasFields Record>
  void addLine(const Record& record) {
    std::u16string& line = lines_.emplace_back();
    const auto add = [&]<class Value>(const Value& value) {
      if constexpr (std::is_same_v<Value, std::u16string>)
        line += value;
      else if constexpr (std::is_same_v<Value, Boolean>)
        line += decimalText(value.raw());
      else
        line += decimalText(value);
      line += kEndOfField;
    };
    std::apply([&](const auto&... field) { (add(record.*field.value), ...); }, kFields<Record>);
  }

  std::vector<std::u16string> lines_;
};

// How many objects of one kind have a line, and the same contents: the more have it, the less it
// says about which object it is. What every table of a schema has makes no two of them alike.
class Weights {
 public:
  // Counts the objects of both sides.
  template <class Record>
  Weights(const std::array<const Schema*, 2>& schemas, Array<Record> Schema::*records) {
    for (std::size_t side = 0; side < 2; ++side) {
      for (const Record& record : schemas[side]->*records) {
        std::vector<std::size_t> hashes = Contents(record).sortedHashes();
        ++contents_[hashed(hashes)][side];
        hashes.erase(std::unique(hashes.begin(), hashes.end()), hashes.end());
        for (const std::size_t line : hashes) ++objects_[line][side];
      }
      all_ = std::max<double>(all_, (schemas[side]->*records).count());
    }
  }

  double of(std::size_t line) const {
    const auto& [source, target] = objects_.at(line);
    return std::log((1 + all_) / std::max(source, target));
  }
  // Whether no two objects of a side have these contents, and not all of them are common ones.
  bool isOwn(const std::vector<std::size_t>& lines) const {
    const auto& [source, target] = contents_.at(hashed(lines));
    const double common = std::log(2);  // half of the objects have it
    return source <= 1 && target <= 1 &&
           std::ranges::any_of(lines, [&](std::size_t line) { return of(line) >= common; });
  }

 private:
  static std::size_t hashed(const std::vector<std::size_t>& lines) {
    std::size_t result = lines.size();
    for (const std::size_t line : lines) result = result * 1'000'003 + line;
    return result;
  }

  double all_ = 0;
  using Counts = std::unordered_map<std::size_t, std::array<std::int32_t, 2>>;
  Counts objects_;   // that have a line
  Counts contents_;  // objects that have the same ones
};

// An object that one side lacks.
class Candidate {
 public:
  template <class Record>
  explicit Candidate(const Record& record) : name_(record.Name), fullName_(record.FullName) {
    const Contents contents(record);
    for (const std::u16string& line : contents.lines()) contents_ += line + kEndOfLine;
    lines_ = contents.sortedHashes();
  }

  const std::u16string& fullName() const { return fullName_; }
  const std::u16string& contents() const { return contents_; }
  std::u16string nameAndContents() const { return name_ + kEndOfLine + contents_; }

  bool hasOwnContents(const Weights& weights) const { return weights.isOwn(lines_); }
  void weigh(const Weights& weights) { weight_ = sum(lines_, weights); }
  // In percent; 0 where it is too small to be told. Both have been weighed.
  int likeness(const Candidate& other, const Weights& weights) const {
    if (std::min(lines_.size(), other.lines_.size()) < kFewestLines) return 0;
    if (percent(std::min(weight_, other.weight_), other) < kLeastLikeness) return 0;
    std::vector<std::size_t> common;
    std::ranges::set_intersection(lines_, other.lines_, std::back_inserter(common));
    const int result = percent(sum(common, weights), other);
    return result < kLeastLikeness ? 0 : result;
  }

 private:
  static double sum(const std::vector<std::size_t>& lines, const Weights& weights) {
    double result = 0;
    for (const std::size_t line : lines) result += weights.of(line);
    return result;
  }
  int percent(double common, const Candidate& other) const {
    return static_cast<int>(200 * common / (weight_ + other.weight_) + kRounding);
  }

  std::u16string name_, fullName_;
  std::u16string contents_;
  std::vector<std::size_t> lines_;  // their hashes, sorted
  double weight_ = 0;
};

using Candidates = std::array<std::vector<Candidate>, 2>;

// The pairs of one kind.
class Pairing {
 public:
  Pairing(std::string_view kind, Candidates& candidates, std::vector<Rename>& renames)
      : kind_(kind), renames_(renames) {
    for (std::size_t side = 0; side < 2; ++side)
      for (Candidate& one : candidates[side])
        if (!one.contents().empty()) left_[side].push_back(&one);
  }

  void pairEqual(const Weights& weights) {
    pairUnique([](const Candidate& one) { return one.nameAndContents(); });
    for (auto& side : left_)
      std::erase_if(side, [&](const Candidate* one) { return !one->hasOwnContents(weights); });
    pairUnique([](const Candidate& one) { return one.contents(); });
  }
  bool isForAlike() const {
    return std::ranges::all_of(
        left_, [](const auto& side) { return !side.empty() && side.size() <= kMostCompared; });
  }
  // The most alike first. Equal contents that are left belong to several.
  void pairAlike(const Weights& weights) {
    for (const auto& side : left_)
      for (Candidate* one : side) one->weigh(weights);
    std::vector<Alike> all;
    for (const Candidate* source : left_[0]) {
      for (const Candidate* target : left_[1]) {
        if (source->contents() == target->contents()) continue;
        if (const int likeness = source->likeness(*target, weights); likeness > 0)
          all.push_back({source, target, std::min(likeness, 99)});
      }
    }
    std::ranges::stable_sort(all, std::ranges::greater(), &Alike::likeness);
    for (const auto& [source, target, likeness] : all)
      if (!paired_.contains(source) && !paired_.contains(target)) add(*source, *target, likeness);
  }

 private:
  struct Alike {
    const Candidate *source, *target;
    int likeness;
  };

  void add(const Candidate& source, const Candidate& target, int likeness) {
    renames_.push_back({std::string(kind_), source.fullName(), target.fullName(), likeness});
    paired_.insert({&source, &target});
  }
  void forgetPaired() {
    for (auto& side : left_)
      std::erase_if(side, [&](const Candidate* one) { return paired_.contains(one); });
  }

  // Pairs where one of each side alone has a key.
  template <class KeyOf>
  void pairUnique(KeyOf keyOf) {
    std::unordered_map<std::u16string, std::array<std::vector<const Candidate*>, 2>> groups;
    for (std::size_t side = 0; side < 2; ++side)
      for (const Candidate* one : left_[side]) groups[keyOf(*one)][side].push_back(one);
    for (const Candidate* one : left_[0]) {
      const auto& [sources, targets] = groups.at(keyOf(*one));
      if (sources.size() == 1 && targets.size() == 1) add(*one, *targets.front(), 100);
    }
    forgetPaired();
  }

  std::string_view kind_;
  std::vector<Rename>& renames_;
  std::array<std::vector<Candidate*>, 2> left_;
  std::unordered_set<const Candidate*> paired_;
};

template <class Object, class Record>
void addRenames(const Array<Object>& differing, Array<Record> Schema::*records,
                const std::array<const Schema*, 2>& schemas, std::vector<Rename>& renames) {
  std::array<std::unordered_set<std::u16string_view>, 2> missing;
  for (const Object& object : differing) {
    for (const typeDiff& row : object.Diff)
      if (row.DiffType == diff_DoesNotExist)
        missing[row.Location == location_Source ? 0 : 1].insert(object.FullName);
  }
  if (missing[0].empty() || missing[1].empty()) return;
  Candidates candidates;
  for (std::size_t side = 0; side < 2; ++side)
    for (const Record& record : schemas[side]->*records)
      if (missing[side].contains(record.FullName)) candidates[side].emplace_back(record);
  const Weights weights(schemas, records);
  Pairing pairing(wordOf(kKind<Object>.entityType), candidates, renames);
  pairing.pairEqual(weights);
  if (pairing.isForAlike()) pairing.pairAlike(weights);
}

}  // namespace
}  // namespace report

std::vector<Rename> probableRenames(const diffSchema& differences, const Schema& source,
                                    const Schema& target) {
  std::vector<Rename> result;
  const std::array sides{&source, &target};
  report::addRenames(differences.Tables, &Schema::Tables, sides, result);
  report::addRenames(differences.Views, &Schema::Views, sides, result);
  report::addRenames(differences.StoredProcs, &Schema::StoredProcs, sides, result);
  report::addRenames(differences.Functions, &Schema::Functions, sides, result);
  report::addRenames(differences.UDDTs, &Schema::UDDTs, sides, result);
  return result;
}

RenameIndex::RenameIndex(const std::vector<Rename>& renames) {
  for (const Rename& rename : renames) {
    renames_[{rename.kind, location_Source, rename.source}] = &rename;
    renames_[{rename.kind, location_target, rename.target}] = &rename;
  }
}

const Rename* RenameIndex::of(std::string_view kind, enumLocation side,
                              std::u16string_view fullName) const {
  const auto found = renames_.find({kind, side, fullName});
  return found == renames_.end() ? nullptr : found->second;
}

}  // namespace kelvane
