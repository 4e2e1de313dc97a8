#include "drivers/embedded/engine/column_values.h"

#include <limits>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

ServerError nullRefused(const ColumnInfo& column, const WriteTarget& target, std::uint32_t line) {
  return ServerError(message::nullRefused, line, column.name, target.name);
}

std::int64_t lastIdentity(const ColumnType& type) {
  constexpr int kMostDigits = std::numeric_limits<std::int64_t>::digits10;
  if (!type.precision) return integerRange(type.kind).second;
  if (*type.precision > kMostDigits) return std::numeric_limits<std::int64_t>::max();
  std::int64_t end = 1;
  for (int digit = 0; digit < *type.precision; ++digit) end *= 10;
  return end - 1;
}

ExprPtr defaultExpression(const std::string& text) {
  const auto word = text.find_first_not_of(" \t\r\n");
  const std::string head = word == std::string::npos ? "" : tsql::lowerCase(text.substr(word, 7));
  if (head == "default") return parseExpression(std::string_view(text).substr(word + 7));
  StatementList batch = parseBatch(text);
  auto* create = batch.empty() ? nullptr : std::get_if<CreateDefault>(&batch.front()->node);
  return create == nullptr ? nullptr : std::move(create->value);
}

}  // namespace

std::string ColumnValues::filled(const SqlValue& value, const ColumnInfo& column,
                                 std::uint32_t line) {
  if (value.isNull && !column.type.nullable) throw nullRefused(column, target_, line);
  std::string sql = translator_.assigned(value, column.type, line);
  const bool mayCut = isCharacter(column.type.kind) && isCharacter(value.type.kind) &&
                      !isLong(column.type.kind) &&
                      !(value.isColumn && value.type.length <= column.type.length);
  if (mayCut) {
    sql = "uncut(" + value.sql + ", " + std::to_string(static_cast<int>(column.type.kind)) + ", " +
          std::to_string(column.type.length) + ", " + sql + ", " +
          (translator_.context().stringRtruncation ? "NULL" : quotedText(column.name)) + ")";
  }
  if (isWithoutZeros(column.type)) sql = "without_zeros(" + sql + ")";
  if (column.type.nullable || value.isLiteral) return sql;
  return "required(" + sql + ", " + quotedText(column.name) + ", " + quotedText(target_.name) + ")";
}

std::string ColumnValues::omitted(const ColumnInfo& column, std::uint32_t line) {
  if (column.type.identity) {
    return "next_identity(" + quotedText(target_.sqliteTable) + ", " +
           quotedText(quotedName(column.sqliteColumn)) + ", " +
           std::to_string(lastIdentity(column.type)) + ", " +
           quotedText(shownName(column.type.kind)) + ")";
  }
  if (column.type.kind == TypeKind::Timestamp) return nextTimestamp();
  std::string text;
  if (column.defaultId != 0) text = translator_.context().catalog.sourceText(column.defaultId);
  const auto position = static_cast<std::size_t>(&column - target_.columns.data());
  if (position < target_.defaults.size()) text = target_.defaults[position];
  if (!text.empty()) {
    if (const ExprPtr expression = defaultExpression(text)) {
      return filled(translator_.value(*expression, nullptr), column, line);
    }
  }
  if (column.type.nullable) return "NULL";
  throw nullRefused(column, target_, line);
}

// Each database counts its own.
std::string ColumnValues::nextTimestamp(const std::string& given) {
  Catalog& catalog = translator_.context().catalog;
  const std::string database = target_.isTemporary() ? "tempdb" : catalog.databaseOf(target_.id);
  return "next_timestamp(" + std::to_string(catalog.databaseId(database).value_or(0)) + ", " +
         given + ")";
}

}  // namespace kelvane::embedded
