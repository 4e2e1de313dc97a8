#include "findings/rename_search.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <utility>

namespace kelvane::findings {
namespace {

constexpr int kLeastLikeness = 80;
constexpr std::size_t kFewestLines = 4;  // that make a likeness worth telling
constexpr std::size_t kMostCompared = 200;
constexpr double kRounding = 1e-9;  // of the sums of weights

// Stands where a text has the name of its object; no text of a server has it.
constexpr char kOwnName = '\1';
constexpr char kEndOfLine = '\2';

bool isOfName(char unit) {
  return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') ||
         (unit >= '0' && unit <= '9') || unit == '_' || unit == '#' || unit == '$' || unit == '@' ||
         static_cast<unsigned char>(unit) > 0x7F;
}

std::size_t hashed(const LineWeights::Hashes& lines) {
  std::size_t result = lines.size();
  for (const std::size_t line : lines) result = result * 1'000'003 + line;
  return result;
}

int percent(double common, double a, double b) {
  return static_cast<int>(200 * common / (a + b) + kRounding);
}

}  // namespace

std::string withoutName(std::string_view text, std::string_view name) {
  std::string result;
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

std::string_view withoutEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

void addLines(std::string_view definition, std::string_view name, std::vector<std::string>& lines) {
  const std::string text = withoutName(withoutEnd(definition), name);
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    lines.emplace_back(withoutEnd(std::string_view(text).substr(from, end - from)));
    from = end + 1;
  }
}

void LineWeights::add(std::size_t side, Hashes lines) {
  ++all_[side];
  ++contents_[hashed(lines)][side];
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  for (const std::size_t line : lines) ++objects_[line][side];
}

double LineWeights::of(std::size_t line) const {
  const auto& [source, target] = objects_.at(line);
  const auto all = static_cast<double>(std::max(all_[0], all_[1]));
  return std::log((1 + all) / std::max(source, target));
}

bool LineWeights::isOwn(const Hashes& lines) const {
  const auto& [source, target] = contents_.at(hashed(lines));
  const double common = std::log(2);  // half of the objects have it
  return source <= 1 && target <= 1 &&
         std::ranges::any_of(lines, [&](std::size_t line) { return of(line) >= common; });
}

void RenameSearch::add(std::size_t side, Contents contents, Presence presence) {
  LineWeights::Hashes hashes;
  hashes.reserve(contents.lines.size());
  for (const std::string& line : contents.lines)
    hashes.push_back(std::hash<std::string_view>()(line));
  std::ranges::sort(hashes);
  if (presence == Presence::alone && !contents.lines.empty()) {
    std::string whole;
    for (const std::string& line : contents.lines) whole += line + kEndOfLine;
    candidates_[side].push_back(
        {std::move(contents.name), std::move(contents.fullName), std::move(whole), hashes});
  }
  weights_.add(side, std::move(hashes));
}

void RenameSearch::find(std::vector<Rename>& renames) {
  for (std::size_t side = 0; side < 2; ++side)
    for (Candidate& one : candidates_[side]) left_[side].push_back(&one);
  pairUnique([](const Candidate& one) { return one.name + kEndOfLine + one.contents; }, renames);
  for (Side& side : left_)
    std::erase_if(side, [&](const Candidate* one) { return !weights_.isOwn(one->lines); });
  pairUnique([](const Candidate& one) { return one.contents; }, renames);
  const bool areFew = std::ranges::all_of(
      left_, [](const Side& side) { return !side.empty() && side.size() <= kMostCompared; });
  if (areFew) pairAlike(renames);
}

void RenameSearch::pair(Candidate& source, Candidate& target, int likeness,
                        std::vector<Rename>& renames) {
  renames.push_back({kind_, source.fullName, target.fullName, likeness});
  source.isPaired = target.isPaired = true;
}

/// Pairs where one of each side alone has a key.
template <class KeyOf>
void RenameSearch::pairUnique(KeyOf keyOf, std::vector<Rename>& renames) {
  std::unordered_map<std::string, std::array<Side, 2>> groups;
  for (std::size_t side = 0; side < 2; ++side)
    for (Candidate* one : left_[side]) groups[keyOf(*one)][side].push_back(one);
  for (Candidate* one : left_[0]) {
    const auto& [sources, targets] = groups.at(keyOf(*one));
    if (sources.size() == 1 && targets.size() == 1) pair(*one, *targets.front(), 100, renames);
  }
  forgetPaired();
}

/// The most alike first. Equal contents that are left belong to several.
void RenameSearch::pairAlike(std::vector<Rename>& renames) {
  struct Alike {
    Candidate *source, *target;
    int likeness;
  };
  for (Side& side : left_)
    for (Candidate* one : side) one->weight = sum(one->lines);
  std::vector<Alike> all;
  for (Candidate* source : left_[0]) {
    for (Candidate* target : left_[1]) {
      if (source->contents == target->contents) continue;
      if (const int percentage = likeness(*source, *target); percentage >= kLeastLikeness)
        all.push_back({source, target, std::min(percentage, 99)});
    }
  }
  std::ranges::stable_sort(all, std::ranges::greater(), &Alike::likeness);
  for (const auto& [source, target, percentage] : all)
    if (!source->isPaired && !target->isPaired) pair(*source, *target, percentage, renames);
}

void RenameSearch::forgetPaired() {
  for (Side& side : left_) std::erase_if(side, [](const Candidate* one) { return one->isPaired; });
}

double RenameSearch::sum(const LineWeights::Hashes& lines) const {
  double result = 0;
  for (const std::size_t line : lines) result += weights_.of(line);
  return result;
}

int RenameSearch::likeness(const Candidate& source, const Candidate& target) const {
  if (std::min(source.lines.size(), target.lines.size()) < kFewestLines) return 0;
  const double least = std::min(source.weight, target.weight);
  if (percent(least, source.weight, target.weight) < kLeastLikeness) return 0;
  LineWeights::Hashes common;
  std::ranges::set_intersection(source.lines, target.lines, std::back_inserter(common));
  return percent(sum(common), source.weight, target.weight);
}

}  // namespace kelvane::findings
