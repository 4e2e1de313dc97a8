// Calls: built-in functions and aggregates.

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

ServerError wrongCount(const std::string& name, std::uint32_t line) {
  return ServerError(message::wrongArgumentCount, line, name);
}

namespace {

constexpr int kWidest = 16384, kMostDigits = 38;
constexpr std::string_view kSessionFacts[] = {"uid", "database", "login", "host", "process"};

// The words that may stand behind `using`.
bool takesOption(std::string_view function, std::string_view word) {
  struct Option {
    std::string_view function, word;
  };
  static constexpr Option kOptions[] = {{"patindex", "bytes"},        {"patindex", "characters"},
                                        {"patindex", "chars"},        {"hashbytes", "lsb"},
                                        {"hashbytes", "msb"},         {"hashbytes", "unicode"},
                                        {"hashbytes", "unicode_lsb"}, {"hashbytes", "unicode_msb"}};
  return std::ranges::any_of(kOptions, [&](const Option& option) {
    return option.function == function && option.word == word;
  });
}

ServerError unknownFunction(const std::string& name, std::uint32_t line) {
  return ServerError(message::functionNotFound, line, name);
}

std::optional<int> literalNumber(const SqlValue& value) {
  int number = 0;
  const char* const end = value.sql.data() + value.sql.size();
  const auto [rest, error] = std::from_chars(value.sql.data(), end, number);
  const bool whole = value.isLiteral && error == std::errc() && rest == end;
  return whole ? std::optional(number) : std::nullopt;
}

std::string typeNumbers(const ColumnType& type) {
  std::string text;
  for (const int part : {static_cast<int>(type.kind), type.length, type.precision.value_or(0),
                         type.scale.value_or(0)}) {
    text += ", " + std::to_string(part);
  }
  return text;
}

ColumnType textResult(const FunctionRule& rule, const std::vector<SqlValue>& arguments,
                      bool nullable) {
  const ColumnType& first = arguments.at(0).type;
  int length = isCharacter(first.kind) || isBinary(first.kind) ? first.length : 255;
  if (isLong(first.kind)) length = kWidest;
  if (isUnicode(first.kind)) length /= 2;
  if (rule.result.form == ResultRule::Form::PartOfText) {
    length = std::min(length, literalNumber(arguments.back()).value_or(length));
  }
  if (isBinary(first.kind)) return varbinaryType(length, nullable);
  if (isUnicode(first.kind)) {
    return declaredType(TypeKind::Univarchar, std::max(length, 1), std::nullopt, nullable);
  }
  return varcharType(length, nullable);
}

ColumnType resultType(const FunctionRule& rule, const std::vector<SqlValue>& arguments) {
  const bool nullable = !rule.has(kNotNull);
  const ResultRule& result = rule.result;
  switch (result.form) {
    case ResultRule::Form::Given:
      return declaredType(result.kind,
                          result.length > 0 ? std::optional(result.length) : std::nullopt,
                          std::nullopt, nullable);
    case ResultRule::Form::FirstText:
    case ResultRule::Form::PartOfText:
      return textResult(rule, arguments, nullable);
    case ResultRule::Form::First:
    case ResultRule::Form::Whole:
    case ResultRule::Form::Rounded:
    case ResultRule::Form::Widest:
      break;
  }
  const ColumnType& given = arguments.at(0).type;
  // What is no number becomes one.
  const ColumnType first = familyOf(given.kind) == TypeFamily::Number ? given : floatType();
  if (first.precision && result.form == ResultRule::Form::Whole) {
    return numericType(*first.precision, 0, nullable);
  }
  if (first.precision && result.form == ResultRule::Form::Widest) {
    return numericType(kMostDigits, scaleOf(first), nullable);
  }
  if (first.precision && result.form == ResultRule::Form::Rounded) {
    return numericType(std::min(*first.precision + 1, kMostDigits), scaleOf(first), nullable);
  }
  ColumnType type = withNullability(first, nullable);
  type.identity = false;
  return type;
}

}  // namespace

// An argument as the function takes it.
std::string Translator::argumentText(char wanted, const SqlValue& argument, std::uint32_t line) {
  const TypeKind kind = argument.type.kind;
  if (argument.isNull || wanted == '*') return argument.sql;
  if (wanted == 'v') return isCharacter(kind) ? shownText(argument) : argument.sql;
  if (wanted == 'o') {
    return isCharacter(kind) ? "object_id_of(" + argument.sql + ")" : argument.sql;
  }
  const bool isText = wanted == 'c' || wanted == 't';
  const TypeKind target = isText                             ? TypeKind::Varchar
                          : wanted == 'd'                    ? TypeKind::Datetime
                          : wanted == 'n' && !isBinary(kind) ? TypeKind::Float
                                                             : TypeKind::Int;
  requireImplicit(kind, target, line);
  if (isText && isBinary(kind)) return converted(argument, varcharType(255));
  if (familyOf(kind) != familyOf(target)) {
    return converted(argument, isText ? varcharType(255) : plainType(target));
  }
  if (wanted == 'i' && !isInteger(kind)) return converted(argument, plainType(target));
  return wanted == 't' ? shownText(argument) : argument.sql;
}

namespace {

// What `$word` in a template stands for, other than arguments and facts of the session.
struct TemplateWords {
  std::vector<std::string> texts;  // the arguments
  std::vector<std::string> rest;
  std::string type, exact, scale, option;

  /// The text and how much of `from`, which begins behind the `$`, it replaces.
  std::pair<std::string, std::size_t> replacement(std::string_view from) const {
    const std::pair<std::string_view, const std::string*> words[] = {
        {"type", &type}, {"exact", &exact}, {"scale", &scale}, {"using", &option}};
    for (const auto& [word, text] : words) {
      if (from.starts_with(word)) return {*text, word.size()};
    }
    constexpr std::string_view kRest = "rest";
    if (from.starts_with(kRest)) {
      std::string all;
      for (const std::string& text : rest) all += ", " + text;
      return {all, kRest.size()};
    }
    const auto at = static_cast<std::size_t>(from[0] - '1');
    return {at < texts.size() ? texts[at] : "NULL", 1};
  }
};

}  // namespace

SqlValue Translator::templateCall(const FunctionRule& rule, const std::vector<SqlValue>& arguments,
                                  const std::string& option, std::uint32_t line) {
  std::string letters(rule.arguments);
  std::erase(letters, '?');
  TemplateWords words;
  words.option = quotedText(option);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const bool isRest = i >= letters.size() || letters[i] == '.';
    auto& list = isRest ? words.rest : words.texts;
    list.push_back(argumentText(isRest ? '*' : letters[i], arguments[i], line));
  }
  if (!arguments.empty()) {
    const ColumnType& first = arguments[0].type;
    words.type = typeNumbers(first);
    words.exact = isExactFraction(first.kind) || isInteger(first.kind) ? "1" : "0";
    words.scale = std::to_string(scaleOf(first));
  }
  std::string sql;
  for (std::size_t at = 0; at < rule.sql.size();) {
    if (rule.sql[at] != '$') {
      sql += rule.sql[at++];
      continue;
    }
    const std::string_view rest = rule.sql.substr(at + 1);
    const auto* fact = std::ranges::find_if(
        kSessionFacts, [&](std::string_view name) { return rest.starts_with(name); });
    if (fact != std::end(kSessionFacts)) {
      sql += parameter(Parameter::Source::Session, std::string(*fact));
      at += 1 + fact->size();
      continue;
    }
    const auto [text, length] = words.replacement(rest);
    sql += text;
    at += 1 + length;
  }
  const ColumnType type = resultType(rule, arguments);
  const bool isComputed = rule.result.form != ResultRule::Form::Given &&
                          familyOf(type.kind) == TypeFamily::Number && !arguments[0].isNull;
  // Computed as a real or an exact number, it becomes what the function gives.
  if (isComputed && isExactFraction(type.kind)) {
    sql = converted({sql, numericType(kMostDigits, std::min(scaleOf(type), kMostDigits))}, type,
                    ConversionForm::Computed);
  } else if (isComputed && isInteger(type.kind)) {
    sql = converted({sql, floatType()}, type, ConversionForm::Computed);
  }
  return {std::move(sql), type};
}

SqlValue Translator::dataLength(const SqlValue& argument) {
  const TypeKind kind = argument.type.kind;
  if (isUnicode(kind)) {
    return {"length(bytes_in_memory(" + shownText(argument) + typeNumbers(argument.type) + ", ''))",
            intType(true)};
  }
  if (isCharacter(kind) || isBinary(kind)) {
    return {"length(CAST(" + shownText(argument) + " AS BLOB))", intType(true)};
  }
  return {"CASE WHEN " + argument.sql + " IS NULL THEN NULL ELSE " +
              std::to_string(argument.type.length) + " END",
          intType(true)};
}

namespace {

struct Algorithm {
  std::string_view word;
  std::string_view name;  // empty: nothing but the server knows its values
  int bytes;
};
constexpr Algorithm kAlgorithms[] = {
    {"md5", "md5", 16}, {"sha", "sha1", 20}, {"sha1", "sha1", 20}, {"ptn", "", 4}};

// The word of a literal text, `$2` of hash and `$1` of hashbytes.
std::string algorithmWord(const Expr& expr, std::span<const std::string> texts) {
  const auto* literal = as<Literal>(expr);
  if (literal == nullptr) return {};
  if (literal->kind == LiteralKind::Integer)
    return literal->text == "3" ? "sha1" : literal->text == "2" ? "md5" : "";
  if (literal->kind != LiteralKind::String) return {};
  return tsql::lowerCase(literal->slot < 0 ? literal->text
                                           : texts[static_cast<std::size_t>(literal->slot)]);
}

}  // namespace

// hash(e [, algorithm]) gives digits, hashbytes(algorithm, e, ... [, using order]) bytes.
SqlValue Translator::hashCall(const std::string& name, const Call& call, const Scope* scope,
                              std::uint32_t line) {
  const bool isHash = name == "hash";
  const Expr* chosen = !isHash                      ? call.arguments.front().get()
                       : call.arguments.size() == 2 ? call.arguments.back().get()
                                                    : nullptr;
  const std::string word = chosen == nullptr ? "md5" : algorithmWord(*chosen, context_.texts);
  const auto* algorithm = std::ranges::find(kAlgorithms, word, &Algorithm::word);
  if (algorithm == std::end(kAlgorithms)) {
    throw ServerError(message::hashAlgorithmUnknown, line, name);
  }
  // The plan holds what the text said.
  holdsTexts_ = true;
  std::string parts;
  for (std::size_t i = isHash ? 0 : 1; i < (isHash ? 1 : call.arguments.size()); ++i) {
    const SqlValue part = value(*call.arguments[i], scope);
    if (isLong(part.type.kind)) {
      throw ServerError(message::functionTakesNo, line, name, shownName(part.type.kind));
    }
    parts += ", bytes_in_memory(" + argumentText('v', part, line) + typeNumbers(part.type) + ", " +
             quotedText(call.option) + ")";
  }
  if (algorithm->name.empty()) {
    return {"unknown_value('hashbytes(''ptn'')'" + parts + ")", plainType(TypeKind::Uint)};
  }
  const bool givesText =
      isHash && (chosen == nullptr || as<Literal>(*chosen)->kind == LiteralKind::String);
  const ColumnType type =
      givesText ? varcharType(2 * algorithm->bytes) : varbinaryType(algorithm->bytes);
  return {"digest_of('" + std::string(algorithm->name) + "', '" + (givesText ? "text" : "bytes") +
              "'" + parts + ")",
          type};
}

// rowcnt(i.doampg) and data_pgs(i.id, i.doampg) find the table by a page that nothing here has: by
// the row of sysindexes instead, whose table is counted once.
SqlValue Translator::tableSize(const FunctionRule& rule, const Call& call, const Scope* scope) {
  const auto* page = as<ColumnRef>(*call.arguments.back());
  const bool isCount = rule.name == "rowcnt";
  const ColumnType type = isCount ? floatType() : intType(true);
  if (page == nullptr || page->column != "doampg") {
    const SqlValue argument = value(*call.arguments.back(), scope);
    return {"unknown_value(" + quotedText(rule.name) + ", " + argument.sql + ")", type};
  }
  const auto column = [&](const char* name) {
    Expr expr{call.arguments.back()->range, ColumnRef{page->table, name, false}};
    return value(expr, scope).sql;
  };
  const std::string size =
      isCount ? "rows_of(" + column("id") + ")" : "pages_of(" + column("id") + ", NULL)";
  return {"CASE WHEN " + column("indid") + " < 2 THEN " + size + " ELSE 0 END", type};
}

SqlValue Translator::isNullCall(const std::vector<SqlValue>& arguments, std::uint32_t line) {
  const SqlValue& first = arguments[0];
  const SqlValue& second = arguments[1];
  if (first.isNull) return second;
  const bool nullable = second.isNull || second.type.nullable;
  return {"coalesce(" + first.sql + ", " + assigned(second, first.type, line) + ")",
          withNullability(first.type, nullable)};
}

SqlValue Translator::coalesceCall(const std::vector<SqlValue>& arguments, std::uint32_t line) {
  std::optional<ColumnType> type;
  for (const SqlValue& argument : arguments) {
    if (!argument.isNull) type = type ? commonType(*type, argument.type, line) : argument.type;
  }
  const ColumnType common = type.value_or(intType(true));
  std::string sql = "coalesce(";
  for (const SqlValue& argument : arguments) sql += assigned(argument, common, line) + ", ";
  return {sql + "NULL)", withNullability(common, true)};
}

SqlValue Translator::datePartCall(const std::string& name, const Call& call, const Expr& expr,
                                  const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  const std::size_t count = call.arguments.size();
  const auto* word = as<ColumnRef>(*call.arguments[0]);
  const auto part = word == nullptr ? std::nullopt : datePart(word->column);
  const bool counts = name == "dateadd" || name == "datediff";
  if (!part || (counts && *part >= DatePart::CalendarWeek)) {
    throw ServerError(message::unknownDatePart, line,
                      (word == nullptr ? std::string() : word->column), name);
  }
  const std::string partNumber = std::to_string(static_cast<int>(*part));
  std::vector<SqlValue> rest;
  for (std::size_t i = 1; i < count; ++i) rest.push_back(value(*call.arguments[i], scope));
  const auto moment = [&](const SqlValue& v) {
    requireImplicit(v.type.kind, TypeKind::Datetime, line);
    return isTemporal(v.type.kind) ? v.sql : converted(v, plainType(TypeKind::Datetime));
  };
  if (name == "dateadd") {
    const TypeKind kind = rest[1].type.kind;
    const bool getsTime = kind == TypeKind::Date && *part >= DatePart::Hour;
    const ColumnType type = isTemporal(kind) && !getsTime ? withNullability(rest[1].type, true)
                                                          : plainType(TypeKind::Datetime);
    const std::string number = argumentText('i', rest[0], line);
    return {"date_add(" + partNumber + ", " + number + ", " + moment(rest[1]) + ", " +
                std::to_string(static_cast<int>(type.kind)) + ")",
            type};
  }
  if (name == "datediff") {
    const std::string difference =
        "date_diff(" + partNumber + ", " + moment(rest[0]) + ", " + moment(rest[1]) + ")";
    return {difference,
            plainType(*part == DatePart::Microsecond ? TypeKind::Bigint : TypeKind::Int)};
  }
  const bool asWord = name == "datename";
  return {(asWord ? "date_name(" : "date_part(") + partNumber + ", " + moment(rest[0]) + ")",
          asWord ? varcharType(30) : intType(true)};
}

std::optional<SqlValue> Translator::schemaFunction(const Call& call, std::uint32_t line,
                                                   const Scope* scope) {
  const auto object = context_.catalog.findObject(call.function, caller_);
  if (!object || object->type != "SF") return std::nullopt;
  const SourceText source = context_.catalog.source(object->id);
  const StatementList batch = parseBatch(source.text, source.options());
  const auto* create = std::get_if<CreateFunction>(&batch.front()->node);
  if (create == nullptr) return std::nullopt;
  if (call.arguments.size() != create->parameters.size()) throw wrongCount(object->name, line);
  const auto type = [&](const DataType& declared) {
    return withNullability(context_.catalog.resolveType(declared, caller_), true);
  };
  std::string sql = "schema_function(" + std::to_string(object->id);
  for (std::size_t i = 0; i < call.arguments.size(); ++i) {
    sql +=
        ", " + assigned(value(*call.arguments[i], scope), type(create->parameters[i].type), line);
  }
  return SqlValue{sql + ")", type(create->returns)};
}

SqlValue Translator::call(const Call& call, const Expr& expr, const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  const std::string name = tsql::lowerCase(call.function.name);
  const CatalogOptions& options = context_.catalog.options();
  const bool isQualified = !call.function.owner.empty() || !call.function.database.empty();
  if (isQualified || !isFunction(name, options)) {
    if (auto result = schemaFunction(call, line, scope)) return *result;
  }
  if (isQualified) throw unknownFunction(call.function.name, line);
  if (name == "identity" && makesTable_) return newIdentity(call, line);
  if (!isFunction(name, options)) throw unknownFunction(call.function.name, line);
  const FunctionRule* rule = findFunction(name, call.arguments.size(), options);
  if (rule == nullptr) throw wrongCount(name, line);
  if (!call.option.empty() && !takesOption(name, call.option)) {
    throw ServerError(message::syntax, line, call.option);
  }
  switch (rule->form) {
    case FunctionForm::Aggregate:
      return aggregate(*rule, call, expr, scope);
    case FunctionForm::DatePart:
      return datePartCall(name, call, expr, scope);
    case FunctionForm::Hash:
      return hashCall(name, call, scope, line);
    case FunctionForm::TableSize:
      return tableSize(*rule, call, scope);
    case FunctionForm::Condition:
      throw ServerError(message::syntax, line, name);
    case FunctionForm::Template:
    case FunctionForm::Choice:
    case FunctionForm::UnknownHere:
      break;
  }
  std::vector<SqlValue> arguments;
  arguments.reserve(call.arguments.size());
  for (std::size_t i = 0; i < call.arguments.size(); ++i) {
    const bool isWord = i < rule->arguments.size() && rule->arguments[i] == 'w';
    arguments.push_back(isWord ? SqlValue{"NULL", varcharType(1)}
                               : value(*call.arguments[i], scope));
  }
  if (rule->form == FunctionForm::Choice) return choice(name, arguments, line);
  if (rule->form == FunctionForm::UnknownHere) {
    std::string sql = "unknown_value(" + quotedText(name);
    for (const SqlValue& argument : arguments) sql += ", " + argument.sql;
    return {sql + ")", resultType(*rule, arguments)};
  }
  return name == "datalength" ? dataLength(arguments[0])
                              : templateCall(*rule, arguments, call.option, line);
}

SqlValue Translator::choice(const std::string& name, const std::vector<SqlValue>& arguments,
                            std::uint32_t line) {
  if (name == "isnull") return isNullCall(arguments, line);
  if (name == "coalesce") return coalesceCall(arguments, line);
  return {"CASE WHEN " + compared(BinaryOp::Equal, arguments[0], arguments[1], line) +
              " THEN NULL ELSE " + arguments[0].sql + " END",
          withNullability(arguments[0].type, true)};
}

}  // namespace kelvane::embedded
