#include "cli/verbs/keyed_words.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "cli/verbs/listing.h"
#include "cli/verbs/value_text.h"
#include "model/text.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

// In the order of KeyedEnd.
constexpr auto kEnds = std::to_array<EndText>({
    {"whole", u""},
    {"error", u"error: "},
    {"missingInSource", u"missing in the source"},
    {"missingInTarget", u"missing in the target"},
    {"notReached", u"not compared"},
});

constexpr std::array<std::u16string_view, 2> kOnlyIn{u"columns only in the source: ",
                                                     u"columns only in the target: "};

std::u16string joined(const std::vector<std::string>& names) {
  std::u16string text;
  for (const std::string& name : names) text += (text.empty() ? u"" : u", ") + shownCell(name);
  return text;
}

}  // namespace

const EndText& textOf(KeyedEnd end) { return kEnds[static_cast<std::size_t>(end)]; }

std::u16string endOf(const KeyedTable& one) {
  const bool isPart =
      one.ended == KeyedEnd::notReached && one.counts.rows != std::array<std::int64_t, 2>{};
  return (isPart ? u"compared in part" : std::u16string(textOf(one.ended).text)) +
         (one.error.empty() ? u"" : report::showValue(toUtf16(one.error)));
}

std::u16string shown(const std::optional<std::u16string>& text) {
  if (!text) return u"null";
  return *text == u"null" ? u"\"null\"" : report::showValue(*text);
}

namespace {

bool isTrail(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// A part of a long text: the beginning, or what stands around `at`.
std::u16string shownAround(const ValueText& value, std::size_t at, std::size_t longest = 200) {
  constexpr std::size_t kBefore = 40;
  const auto& text = value.text;
  if (!text || (text->size() <= longest && !value.rest)) return shown(text);
  std::size_t begin = at > kBefore ? std::min(at - kBefore, text->size()) : 0;
  if (begin < text->size() && isTrail((*text)[begin])) ++begin;
  std::size_t end = std::min(begin + longest, text->size());
  if (end < text->size() && isTrail((*text)[end])) ++end;
  return (begin > 0 ? u"..." : u"") +
         report::showValue(std::u16string_view(*text).substr(begin, end - begin)) +
         (end < text->size() || value.rest ? u"..." : u"") + u" (" + value.length() + u")";
}

// Where two long texts begin to differ.
std::array<std::u16string, 2> shownPair(const ValueText& one, const ValueText& other) {
  constexpr std::size_t kEnough = 40;
  if (!placeOf(one, other).empty())
    return {shownAround(one, 0, kEnough), shownAround(other, 0, kEnough)};
  std::size_t at = 0;
  if (one.text && other.text)
    at = static_cast<std::size_t>(std::ranges::mismatch(*one.text, *other.text).in1 -
                                  one.text->begin());
  return {shownAround(one, at), shownAround(other, at)};
}

}  // namespace

std::u16string shownCells(const KeyedTable& table, const Texts& texts, std::size_t begin,
                          std::size_t end) {
  std::u16string text;
  for (std::size_t at = begin; at < end; ++at)
    text += (text.empty() ? u"" : u", ") + shownCell(table.plan.columns[at].name) + u" " +
            shownAround(texts[at], 0);
  return text;
}

std::u16string placeOf(const ValueText& one, const ValueText& other) {
  const auto &left = one.rest, &right = other.rest;
  if (!left || !right || left->isText != right->isText || one.text != other.text) return {};
  const rows::DifferentPart part = rows::firstDifferentPart(*left, *right);
  // Surrogates are two units, and one character together.
  const bool isPlain = left->characters == left->size && right->characters == right->size;
  const auto numbered = [](std::uint64_t at) { return decimalText(static_cast<std::int64_t>(at)); };
  return std::u16string(u"different within ") +
         (!left->isText ? u"bytes "
          : isPlain     ? u"characters "
                        : u"UTF-16 units ") +
         numbered(part.first) + u" to " + numbered(part.last);
}

std::u16string shown(const KeyedTable& table, const RowSample& sample) {
  const Texts source = textsOf(table.plan, sample.cells[0], 0),
              target = textsOf(table.plan, sample.cells[1], 1);
  const std::size_t keys = table.plan.pairing.keyColumns;
  if (target.empty()) return u"- " + shownCells(table, source, 0, keys);
  if (source.empty()) return u"+ " + shownCells(table, target, 0, keys);
  std::u16string text = u"~ " + shownCells(table, source, 0, keys) + u": ";
  bool isFirst = true;
  for (const std::size_t at : table.plan.changedColumns(sample.cells[0], sample.cells[1])) {
    if (!isFirst) text += u", ";
    isFirst = false;
    const auto [was, is] = shownPair(source[at], target[at]);
    text += shownCell(table.plan.columns[at].name) + u" " + was + u" -> " + is;
    if (const std::u16string place = placeOf(source[at], target[at]); !place.empty()) {
      text += u" (" + place + u")";
    } else if (was == is) {
      // JSON has the number 1 and the text "1".
      text += u" (of different types)";
    }
    if (source[at].text && target[at].text)
      text += report::lookAlikeNote(*source[at].text, *target[at].text);
  }
  return text;
}

std::u16string shownKey(const KeyedTable& table) {
  const rows::TablePlan& plan = table.plan;
  if (plan.columns.empty()) return {};
  if (plan.key == "none") return u"none: whole rows";
  std::u16string text = shownCell(plan.key) + u": ";
  for (std::size_t at = 0; at < plan.pairing.keyColumns; ++at)
    text += (at == 0 ? u"" : u", ") + shownCell(plan.columns[at].name);
  return plan.pairing.isUnique ? text : text + u" (not unique)";
}

std::u16string countsOf(const KeyedTable& one) {
  const rows::RowCounts& counts = one.counts;
  std::u16string text = decimalText(counts.equal) + u" equal";
  const auto add = [&](std::int64_t count, std::u16string_view what) {
    if (count > 0) text += u", " + decimalText(count) + std::u16string(what);
  };
  add(counts.changed, u" changed");
  add(counts.alone[0], u" only in source");
  add(counts.alone[1], u" only in target");
  return text;
}

std::vector<std::u16string> notesOf(const KeyedTable& one) {
  const rows::TablePlan& plan = one.plan;
  std::vector<std::u16string> notes;
  for (const std::size_t side : {0U, 1U}) {
    if (!plan.columnsOnlyIn[side].empty())
      notes.push_back(std::u16string(kOnlyIn[side]) + joined(plan.columnsOnlyIn[side]));
  }
  if (!plan.serverColumns.empty())
    notes.push_back(u"timestamps, which are not compared: " + joined(plan.serverColumns));
  if (!plan.withoutTolerance.empty())
    notes.push_back(u"no tolerance for columns of the key and other types: " +
                    joined(plan.withoutTolerance));
  for (const rows::ComparedColumn& column : plan.columns) {
    if (!column.types[0].empty())
      notes.push_back(u"types differ: " + shownCell(column.name) + u" " + toUtf16(column.types[0]) +
                      u" -> " + toUtf16(column.types[1]));
  }
  if (one.checksums)
    notes.push_back(u"by checksum: rows of " + decimalText(one.checksums->differing) + u" of " +
                    decimalText(one.checksums->buckets) +
                    (one.checksums->buckets == 1 ? u" bucket were read" : u" buckets were read"));
  for (const std::string& remark : one.remarks) notes.push_back(toUtf16(remark));
  return notes;
}

std::vector<std::u16string> changedColumns(const KeyedTable& one) {
  std::vector<std::u16string> changed;
  for (std::size_t at = 0; at < one.counts.changedValues.size(); ++at) {
    if (one.counts.changedValues[at] > 0)
      changed.push_back(shownCell(one.plan.columns[at].name) + u" " +
                        decimalText(one.counts.changedValues[at]));
  }
  return changed;
}

std::string closingOf(const KeyedReport& report) {
  std::size_t differing = 0, failed = 0, summed = 0;
  for (const KeyedTable& one : report.tables) {
    failed += one.isCompared() ? 0 : 1;
    differing += one.isCompared() && one.differs() ? 1 : 0;
    summed += one.checksums ? 1 : 0;
  }
  const std::size_t all = report.tables.size();
  std::string text = std::to_string(all) + (all == 1 ? " table: " : " tables: ") +
                     std::to_string(all - differing - failed) + " equal, " +
                     std::to_string(differing) + " different, " + std::to_string(failed) +
                     " not compared to the end";
  if (summed > 0) text += "; " + std::to_string(summed) + " by checksum";
  return text;
}

}  // namespace kelvane::cli
