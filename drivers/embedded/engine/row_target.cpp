#include "drivers/embedded/engine/row_target.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {

using Kind = RowLiteral::Kind;

namespace {

// Numbers of so many digits are exact in floating point.
constexpr std::size_t kExactDigits = 15;
constexpr auto kPowers = [] {
  std::array<std::int64_t, kExactDigits + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

// A row in which a text would be cut is written like any other statement, which tells of it.
void requireRoom(std::string_view text, const ColumnType& type) {
  if (!isCharacter(type.kind) || isLong(type.kind)) return;
  if (text.find_first_not_of(' ', cutText(text, type).size()) == text.npos) return;
  throw tsql::ServerError(message::textTruncated, 0);
}

}  // namespace

RowTarget::Way RowTarget::wayOf(const ColumnType& type) {
  if (type.kind == TypeKind::Bit) return Way::Bit;
  if (isInteger(type.kind)) return Way::Integer;
  if (isExactFraction(type.kind)) return Way::Exact;
  if (isApproximate(type.kind)) return Way::Approximate;
  if (isCharacter(type.kind)) return Way::Text;
  return isTemporal(type.kind) ? Way::Moment : Way::Other;
}

RowTarget::Column RowTarget::columnOf(const ColumnType& type) {
  Column column{type, wayOf(type)};
  if (column.way == Way::Integer) {
    const auto range = integerRange(type.kind);
    column.low = range.first;
    column.high = range.second;
  } else if (column.way == Way::Exact) {
    column.scale = static_cast<std::size_t>(scaleOf(type));
    const int whole = wholeDigits(type);
    column.high = whole < static_cast<int>(kPowers.size())
                      ? kPowers[static_cast<std::size_t>(std::max(whole, 0))]
                      : std::numeric_limits<std::int64_t>::max();
    // What is close to the end of its range is converted like any other value.
    constexpr std::int64_t kMoneyEnd = 922'337'203'685'477, kSmallmoneyEnd = 214'748;
    if (type.kind == TypeKind::Money) column.high = kMoneyEnd;
    if (type.kind == TypeKind::Smallmoney) column.high = kSmallmoneyEnd;
  }
  constexpr Kind kKinds[] = {Kind::Null,  Kind::Integer, Kind::Decimal,    Kind::Money,
                             Kind::Float, Kind::Text,    Kind::QuotedText, Kind::Binary};
  for (const Kind kind : kKinds) {
    if (accepts(column, kind)) column.accepted |= 1U << static_cast<unsigned>(kind);
  }
  return column;
}

RowTarget::RowTarget(std::string head, Database& store, const Plan& plan,
                     const std::vector<ColumnType>& types)
    : head_(std::move(head)),
      isPlain_(!plan.trigger && plan.tests.empty() && !plan.leavesOutDuplicates &&
               plan.temporaries.empty()),
      givesIdentity_(plan.givesIdentity),
      statement_(store.prepare(plan.sql)) {
  for (const ColumnType& type : types) columns_.push_back(columnOf(type));
  bindConstants(plan);
}

void RowTarget::bindConstants(const Plan& plan) {
  // A parameter may have vanished from the text with the default that it was in.
  const auto used =
      std::min(plan.parameters.size(), static_cast<std::size_t>(statement_.parameterCount()));
  for (std::size_t i = 0; i < used; ++i) {
    const Parameter& parameter = plan.parameters[i];
    const int number = static_cast<int>(i) + 1;
    if (parameter.source == Parameter::Source::Bound) {
      columns_[parameter.position].parameter = number;
    } else if (const auto constant = constantValue(parameter)) {
      statement_.bind(number, *constant);
    } else {
      isPlain_ = false;
    }
  }
}

bool RowTarget::accepts(const Column& column, Kind kind) {
  if (kind == Kind::Null) return column.type.nullable;
  const auto to = [&](TypeKind from) { return convertsImplicitly(from, column.type.kind); };
  switch (kind) {
    case Kind::Text:
    case Kind::QuotedText:
      return column.way == Way::Text || to(TypeKind::Varchar);
    case Kind::Binary:
      return to(TypeKind::Varbinary);
    case Kind::Float:
      return column.way == Way::Approximate || to(TypeKind::Float);
    case Kind::Money:
      return to(TypeKind::Money);
    default:
      return column.way == Way::Integer || column.way == Way::Exact ||
             (to(TypeKind::Int) && to(TypeKind::Numeric));
  }
}

void RowTarget::write(std::string_view batch, const RowLiteral* row, std::uint32_t line) {
  // A text of the batch stays bound without a copy only while the batch is there.
  struct Reset {
    Statement& statement;
    ~Reset() { statement.reset(); }
  } reset{statement_};
  for (std::size_t i = 0; i < columns_.size(); ++i) bind(columns_[i], batch, row[i], line);
  while (statement_.step()) {
  }
}

void RowTarget::bind(const Column& column, std::string_view batch, const RowLiteral& value,
                     std::uint32_t line) {
  if (column.parameter == 0) return;
  bool isBound = false;
  switch (value.kind) {
    case Kind::Null:
      statement_.bind(column.parameter, Null{});
      isBound = true;
      break;
    case Kind::Integer:
    case Kind::Decimal:
    case Kind::Money:
      isBound = bindNumber(column, value.in(batch), value.isNegative);
      break;
    case Kind::Text:
      isBound = bindText(column, value.in(batch));
      break;
    default:
      break;
  }
  if (!isBound) bindConverted(column, batch, value, line);
}

// False for numbers that are not taken as they are.
bool RowTarget::bindNumber(const Column& column, std::string_view digits, bool isNegative) {
  if (digits.size() > kExactDigits) return false;
  std::int64_t number = 0;
  std::size_t scale = 0;
  bool isBehindPoint = false;
  for (const char c : digits) {
    if (c == '.') {
      isBehindPoint = true;
      continue;
    }
    number = number * 10 + (c - '0');
    scale += isBehindPoint ? 1 : 0;
  }
  const std::int64_t whole = number / kPowers[scale];
  const bool isWhole = whole * kPowers[scale] == number;
  if (isNegative) number = -number;
  const double real = static_cast<double>(number) / static_cast<double>(kPowers[scale]);
  switch (column.way) {
    case Way::Integer:
      if (scale != 0 || number < column.low || number > column.high) return false;
      statement_.bind(column.parameter, number);
      return true;
    case Way::Bit:
      if (scale != 0) return false;
      statement_.bind(column.parameter, std::int64_t{number != 0});
      return true;
    case Way::Exact:
      if (scale > column.scale || whole >= column.high) return false;
      if (isWhole) {
        statement_.bind(column.parameter, isNegative ? -whole : whole);
      } else {
        statement_.bind(column.parameter, real);
      }
      return true;
    case Way::Approximate:
      statement_.bind(column.parameter, column.type.kind == TypeKind::Real
                                            ? static_cast<double>(static_cast<float>(real))
                                            : real);
      return true;
    default:
      return false;
  }
}

bool RowTarget::bindText(const Column& column, std::string_view text) {
  if (column.way != Way::Text) return false;
  if (text.empty()) text = " ";
  requireRoom(text, column.type);
  if (!isLong(column.type.kind)) text = storedText(cutText(text, column.type));
  statement_.bindStatic(column.parameter, text);
  return true;
}

void RowTarget::bindConverted(const Column& column, std::string_view batch, const RowLiteral& value,
                              std::uint32_t line) {
  const std::string_view text = value.in(batch);
  const std::string written = (value.isNegative ? "-" : "") + std::string(text);
  Cell cell;
  ColumnType from;
  switch (value.kind) {
    case Kind::Text:
    case Kind::QuotedText: {
      std::string content;
      const char quote = batch[value.begin - 1];
      for (std::size_t i = 0; i < text.size(); ++i) {
        content += text[i];
        if (text[i] == quote) ++i;
      }
      requireRoom(content, column.type);
      if (content.empty()) content = " ";
      from = varcharType(static_cast<int>(content.size()), false);
      cell = std::move(content);
      break;
    }
    case Kind::Binary:
      cell = bytesOfHex(text);
      from = varbinaryType(static_cast<int>(text.size() + 1) / 2, false);
      break;
    case Kind::Float:
      cell = realNumber(written);
      from = floatType(false);
      break;
    default:
      cell = exactNumber(written);
      from = numberType(value.kind == Kind::Integer   ? tsql::LiteralKind::Integer
                        : value.kind == Kind::Decimal ? tsql::LiteralKind::Decimal
                                                      : tsql::LiteralKind::Money,
                        text);
      break;
  }
  statement_.bind(column.parameter,
                  convertCell(cell, from, column.type, {ConversionForm::Implicit, 0, line}));
}

}  // namespace kelvane::embedded
