// What a script asks of the rows before it changes them.

#include <map>

#include "change_script/planner.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// What a value that is lost in the type looks like; `value`: of the column.
std::string misfitOf(const std::string& value, const DataType& was, const DataType& is) {
  static const std::map<std::string_view, std::string_view> kRanges{
      {"tinyint", "0 and 255"},
      {"smallint", "-32768 and 32767"},
      {"int", "-2147483648 and 2147483647"},
      {"unsigned smallint", "0 and 65535"},
      {"unsigned int", "0 and 4294967295"},
      {"smallmoney", "-214748.3648 and 214748.3647"},
      {"smalldatetime", "'19000101' and '20790606 23:59:29'"},
      {"datetime", "'17530101' and '99991231 23:59:59.996'"},
      {"real", "-3.402823e38 and 3.402823e38"}};
  const bool wasText = was.name.find("char") != std::string::npos;
  const bool isText = is.name.find("char") != std::string::npos;
  if (const auto range = kRanges.find(is.name); range != kRanges.end() && !wasText)
    return value + " not between " + std::string(range->second);
  if (is.precision && !wasText) {
    const auto digits = static_cast<std::size_t>(*is.precision - is.scale.value_or(0));
    const std::string scale = std::to_string(is.scale.value_or(0));
    return "abs(" + value + ") >= 1" + std::string(digits, '0') + " or " + value + " != round(" +
           value + ", " + scale + ")";
  }
  if (!is.length) return {};
  const std::string length = " > " + std::to_string(*is.length);
  if (isText && wasText) return "char_length(" + value + ")" + length;
  if (isText) return "char_length(convert(varchar(255), " + value + "))" + length;
  if (is.name.find("binary") != std::string::npos && !wasText)
    return "datalength(" + value + ")" + length;
  return {};
}

}  // namespace

std::string stopping(std::string_view reason) {
  return "begin\n    raiserror 20001 " + literal(reason) + "\n    select syb_quit()\nend";
}

std::optional<Batch> checkOf(const QualifiedName& table, const std::string& column, Danger danger,
                             const DataType& was, const DataType& is) {
  Statement value;
  value.name(column);
  const bool isNull = danger == Danger::nullToNotNull;
  if (danger == Danger::rebuild) return std::nullopt;
  const std::string misfit = isNull ? value.text() + " is null" : misfitOf(value.text(), was, is);
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
