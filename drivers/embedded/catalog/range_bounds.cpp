#include "drivers/embedded/catalog/range_bounds.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "drivers/embedded/tsql/lexer.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {
namespace {

using tsql::Token;
using tsql::TokenKind;

double numberOf(const Cell& cell) {
  if (const auto* whole = std::get_if<std::int64_t>(&cell)) return static_cast<double>(*whole);
  if (const auto* real = std::get_if<double>(&cell)) return *real;
  const auto* text = std::get_if<std::string>(&cell);
  return text == nullptr ? 0 : std::strtod(text->c_str(), nullptr);
}

bool isLess(const Cell& a, const Cell& b, const ColumnType& type) {
  const bool isNumber = type.precision || a.index() != b.index();
  return isNumber ? numberOf(a) < numberOf(b) : a < b;
}

// The literals between the parentheses, each as text; an empty one for MAX. None for anything else.
std::optional<std::vector<std::string>> literalsOf(std::string_view condition) {
  const std::size_t open = std::min(condition.find('('), condition.size());
  std::vector<std::string> literals;
  std::string sign;
  for (const Token& token : tsql::tokenize(condition.substr(open), {})) {
    if (token.text == "-") {
      sign = "-";
    } else if (token.kind == TokenKind::Word && tsql::equalsIgnoringCase(token.text, "max")) {
      literals.emplace_back();
    } else if (token.kind == TokenKind::Integer || token.kind == TokenKind::Decimal ||
               token.kind == TokenKind::String || token.kind == TokenKind::Binary) {
      literals.push_back(std::exchange(sign, "") + token.value());
    } else if (token.kind != TokenKind::Symbol && token.kind != TokenKind::End) {
      return std::nullopt;
    }
  }
  return literals;
}

// MAX is above everything but another one.
bool isAbove(const std::vector<std::optional<Cell>>& bound,
             const std::vector<std::optional<Cell>>& other, const std::vector<ColumnType>& keys) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!other[i] || !bound[i]) {
      if (bound[i].has_value() != other[i].has_value()) return !bound[i];
      continue;
    }
    if (isLess(*other[i], *bound[i], keys[i])) return true;
    if (isLess(*bound[i], *other[i], keys[i])) return false;
  }
  return false;
}

}  // namespace

RangeBounds::Keys RangeBounds::keysOf(const ObjectInfo& table) {
  const auto columns = writer_.catalog().columns(table.id);
  Keys keys;
  writer_.store().each(
      "SELECT colid FROM syspartitionkeys WHERE id = ? ORDER BY position",
      [&](const Statement& row) {
        const auto column = std::ranges::find(columns, row.number(0), &ColumnInfo::colid);
        if (column != columns.end()) keys.push_back(column->type);
      },
      table.id);
  return keys;
}

RangeBounds::Bound RangeBounds::boundOf(std::string_view condition, const Keys& keys) {
  const auto literals = literalsOf(condition);
  if (!literals || literals->size() != keys.size()) return {};
  Bound bound;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string& text = (*literals)[i];
    if (text.empty()) {
      bound.emplace_back();
      continue;
    }
    const ColumnType written =
        declaredType(TypeKind::Varchar, static_cast<int>(text.size()), std::nullopt, false);
    bound.emplace_back(values_.convert(Cell(text), written, keys[i]));
  }
  return bound;
}

void RangeBounds::require(const ObjectInfo& table, std::span<const tsql::Partition> partitions,
                          const Keys& keys, Bound highest) {
  for (const tsql::Partition& partition : partitions) {
    if (!partition.condition) continue;
    Bound bound = boundOf(partition.condition->in(text_), keys);
    if (bound.empty()) continue;
    if (!highest.empty() && !isAbove(bound, highest, keys)) {
      writer_.fail(message::rangeNotAscending, table.name);
    }
    highest = std::move(bound);
  }
}

void RangeBounds::requireAscending(const ObjectInfo& table,
                                   const tsql::Partitioning& partitioning) {
  const bool hasBounds = writer_.catalog().options().has(Release::ase15);
  if (hasBounds && partitioning.method == "range") {
    require(table, partitioning.partitions, keysOf(table), {});
  }
}

void RangeBounds::requireAbove(const ObjectInfo& table, std::span<const tsql::Partition> added) {
  constexpr int kRange = 1;
  Database& store = writer_.store();
  const auto conditions = store.value(
      "SELECT conditionid FROM sysindexes WHERE id = ? AND partitiontype = ?", table.id, kRange);
  if (!conditions) return;
  const Keys keys = keysOf(table);
  Bound highest;
  store.each(
      "SELECT text FROM syscomments WHERE id = ?",
      [&](const Statement& row) {
        Bound bound = boundOf(row.view(0), keys);
        if (highest.empty() || (!bound.empty() && isAbove(bound, highest, keys))) {
          highest = std::move(bound);
        }
      },
      *conditions);
  require(table, added, keys, std::move(highest));
}

}  // namespace kelvane::embedded
