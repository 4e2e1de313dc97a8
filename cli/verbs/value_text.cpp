#include "cli/verbs/value_text.h"

#include <algorithm>
#include <cstdint>
#include <variant>

#include "cli/verbs/listing.h"

namespace kelvane::cli {
namespace {

std::size_t scaleOf(const inventory::DataType& type) {
  if (type.scale) return static_cast<std::size_t>(*type.scale);
  return type.name == "money" || type.name == "smallmoney" ? 4 : 0;
}

std::u16string textOf(const ado::Value& value, std::size_t scale) {
  std::u16string text = value.toText();
  const bool isExact =
      std::holds_alternative<ado::Decimal>(value) || std::holds_alternative<std::int64_t>(value);
  if (!isExact || scale == 0) return text;
  std::size_t point = text.find(u'.');
  if (point == std::u16string::npos) {
    point = text.size();
    text += u'.';
  }
  const std::size_t decimals = text.size() - point - 1;
  if (decimals < scale) text.append(scale - decimals, u'0');
  return text;
}

}  // namespace

std::u16string ValueText::length() const {
  const bool isText = !rest || rest->isText;
  const auto count =
      rest
          ? isText ? rest->characters : rest->size
          : text->size() - static_cast<std::size_t>(std::ranges::count_if(*text, [](char16_t unit) {
              return unit >= 0xDC00 && unit < 0xE000;
            }));
  return decimalText(static_cast<std::int64_t>(count)) + (isText ? u" characters" : u" bytes");
}

Texts textsOf(const rows::TablePlan& plan, std::string_view row, std::size_t side) {
  Texts texts;
  for (const rows::Cell& cell : plan.cellsOf(row)) {
    std::u16string storage;
    const ado::Value value = rows::valueOf(cell, storage);
    const std::size_t scale = scaleOf(plan.columns[texts.size()].stored[side]);
    texts.push_back({value.isNull() ? std::nullopt : std::optional(textOf(value, scale)),
                     rows::longValueIn(cell)});
  }
  return texts;
}

}  // namespace kelvane::cli
