// What a script asks of the rows before it changes them.

#include <map>

#include "change_script/planner.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// What a value that is lost in the type looks like; `value`: of the column.
std::string misfitOf(const std::string& value, const DataType& type) {
  static const std::map<std::string_view, std::string_view> kRanges{
      {"tinyint", "0 and 255"},
      {"smallint", "-32768 and 32767"},
      {"int", "-2147483648 and 2147483647"},
      {"unsigned smallint", "0 and 65535"},
      {"unsigned int", "0 and 4294967295"}};
  if (const auto range = kRanges.find(type.name); range != kRanges.end())
    return value + " not between " + std::string(range->second);
  const std::string& name = type.name;
  if (type.precision) {
    const auto digits = static_cast<std::size_t>(*type.precision - type.scale.value_or(0));
    const std::string scale = std::to_string(type.scale.value_or(0));
    return "abs(" + value + ") >= 1" + std::string(digits, '0') + " or " + value + " != round(" +
           value + ", " + scale + ")";
  }
  if (!type.length) return {};
  const std::string length = " > " + std::to_string(*type.length);
  if (name.find("char") != std::string::npos) return "char_length(" + value + ")" + length;
  if (name.find("binary") != std::string::npos) return "datalength(" + value + ")" + length;
  return {};
}

}  // namespace

std::string stopping(std::string_view reason) {
  return "begin\n    raiserror 20001 " + literal(reason) + "\n    select syb_quit()\nend";
}

std::optional<Batch> checkOf(const QualifiedName& table, const std::string& column, Danger danger,
                             const DataType& type) {
  Statement value;
  value.name(column);
  const bool isNull = danger == Danger::nullToNotNull;
  if (!isNull && danger != Danger::narrow) return std::nullopt;
  const std::string misfit = isNull ? value.text() + " is null" : misfitOf(value.text(), type);
  if (misfit.empty()) return std::nullopt;
  Statement from("if exists (select 1 from ");
  from.name(table) << " where " << misfit << ")\n";
  const std::string reason = "column " + column + " of " + shown(table) +
                             (isNull ? " has rows without a value" : " has values that do not fit");
  Batch batch = callOf(from.text() + stopping(reason));
  batch.quotedIdentifier = from.needsQuotedIdentifier() || value.needsQuotedIdentifier();
  return batch;
}

}  // namespace kelvane::change_script
