#include "drivers/embedded/engine/builtins.h"

#include <algorithm>
#include <array>

#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {
namespace {

using R = ResultRule;

// Sorted by name.
constexpr auto kFunctions = std::to_array<FunctionRule>({
    {"abs", "n", R::First, "abs($1)"},
    {"acos", "n", R::Float, "acos($1)"},
    {"ascii", "c", R::Int, "unicode($1)"},
    {"asin", "n", R::Float, "asin($1)"},
    {"atan", "n", R::Float, "atan($1)"},
    {"atn2", "nn", R::Float, "atan2($1, $2)"},
    {"ceiling", "n", R::First, "ceil($1)"},
    {"char", "i", R::Text255, "nullif(char($1), '')"},
    {"char_length", "c", R::Int, "length($1)"},
    {"character_length", "c", R::Int, "length($1)"},
    {"charindex", "cc", R::Int, "instr($2, $1)"},
    {"col_length", "cc", R::Int,
     "(SELECT length FROM syscolumns WHERE id = object_id_of($1) AND name = $2)"},
    {"col_name", "ii", R::Name, "(SELECT name FROM syscolumns WHERE id = $1 AND colid = $2)"},
    {"col_name", "ii*", R::Name, "(SELECT name FROM syscolumns WHERE id = $1 AND colid = $2)"},
    {"cos", "n", R::Float, "cos($1)"},
    {"cot", "n", R::Float, "(1.0 / tan($1))"},
    {"current_date", "", R::Moment, "now_moment()"},
    {"current_time", "", R::Moment, "now_moment()"},
    {"datalength", "*", R::Int, "length(CAST($1 AS BLOB))"},
    {"day", "d", R::Int, "date_part(4, $1)"},
    {"db_id", "", R::Int, "(SELECT dbid FROM sysdatabases WHERE name = $database)", false},
    {"db_id", "c", R::Int, "(SELECT dbid FROM sysdatabases WHERE name = $1)"},
    {"db_name", "", R::Name, "$database", false},
    {"db_name", "i", R::Name, "(SELECT name FROM sysdatabases WHERE dbid = $1)"},
    {"degrees", "n", R::Float, "degrees($1)"},
    {"exp", "n", R::Float, "exp($1)"},
    {"floor", "n", R::First, "floor($1)"},
    {"getdate", "", R::Moment, "now_moment()", false},
    {"getutcdate", "", R::Moment, "now_moment()", false},
    {"hextoint", "c", R::Int, "hex_to_int($1)"},
    {"host_id", "", R::Name, "$process", false},
    {"host_name", "", R::Name, "$host", false},
    {"index_col", "cii", R::Name, "index_column($1, $2, $3)"},
    {"index_col", "cii*", R::Name, "index_column($1, $2, $3)"},
    {"index_colorder", "cii", R::Name, "index_order($1, $2, $3)"},
    {"index_colorder", "cii*", R::Name, "index_order($1, $2, $3)"},
    {"inttohex", "i", R::Name, "printf('%08X', $1 & 4294967295)"},
    {"is_sec_service_on", "c", R::Int, "0"},
    {"left", "ci", R::PartOfText, "part_of_text($1, 1, $2)"},
    {"len", "c", R::Int, "length($1)"},
    {"log", "n", R::Float, "ln($1)"},
    {"log10", "n", R::Float, "log10($1)"},
    {"lower", "c", R::FirstText, "lower($1)"},
    {"ltrim", "c", R::FirstText, "nullif(ltrim($1), '')"},
    {"month", "d", R::Int, "date_part(2, $1)"},
    {"newid", "", R::Text255, "lower(hex(randomblob(16)))", false},
    {"newid", "i", R::Text255,
     "lower(CASE $1 WHEN 0 THEN hex(randomblob(16)) ELSE hex(randomblob(4)) || '-' ||"
     " hex(randomblob(2)) || '-' || hex(randomblob(2)) || '-' || hex(randomblob(2)) || '-' ||"
     " hex(randomblob(6)) END)",
     false},
    {"object_id", "c", R::Int, "object_id_of($1)"},
    {"object_name", "i", R::Name, "(SELECT name FROM sysobjects WHERE id = $1)"},
    {"object_name", "i*", R::Name, "(SELECT name FROM sysobjects WHERE id = $1)"},
    {"object_owner_id", "i", R::Int, "(SELECT uid FROM sysobjects WHERE id = $1)"},
    {"patindex", "cc", R::Int, "pattern_index($1, $2)"},
    {"pi", "", R::Float, "pi()", false},
    {"power", "nn", R::First, "pow($1, $2)"},
    {"proc_role", "c", R::Int, "($uid = 1)", false},
    {"radians", "n", R::Float, "radians($1)"},
    {"rand", "", R::Float, "(abs(random()) / 9223372036854775808.0)", false},
    {"rand", "i", R::Float, "(abs(random()) / 9223372036854775808.0)", false},
    {"rand2", "", R::Float, "(abs(random()) / 9223372036854775808.0)", false},
    {"rand2", "i", R::Float, "(abs(random()) / 9223372036854775808.0)", false},
    {"replicate", "ci", R::Wide, "repeated($1, $2)"},
    {"reverse", "c", R::FirstText, "reversed($1)"},
    {"right", "ci", R::PartOfText, "end_of_text($1, $2)"},
    {"round", "ni", R::First, "rounded($1, $2)"},
    {"rtrim", "c", R::FirstText, "nullif(rtrim($1), '')"},
    {"show_role", "", R::Text255, "'sa_role sso_role oper_role'", false},
    {"sign", "n", R::First, "sign($1)"},
    {"sin", "n", R::Float, "sin($1)"},
    {"space", "i", R::Wide, "repeated(' ', $1)"},
    {"sqrt", "n", R::Float, "sqrt($1)"},
    {"square", "n", R::First, "($1 * $1)"},
    {"str", "n", R::Text255, "number_text($1, 10, 0)"},
    {"str", "ni", R::Text255, "number_text($1, $2, 0)"},
    {"str", "nii", R::Text255, "number_text($1, $2, $3)"},
    {"str_replace", "ccc", R::Wide, "replaced($1, $2, $3)"},
    {"stuff", "ciic", R::Wide, "stuffed($1, $2, $3, $4)"},
    {"substring", "*ii", R::PartOfText, "part_of_text($1, $2, $3)"},
    {"suser_id", "", R::Int,
     "(SELECT suid FROM syslogins WHERE name = "
     "CASE WHEN $uid = 1 THEN $login ELSE (SELECT l.name FROM sysusers u JOIN syslogins l"
     " ON l.suid = u.suid WHERE u.uid = $uid) END)",
     false},
    {"suser_id", "c", R::Int, "(SELECT suid FROM syslogins WHERE name = $1)"},
    {"suser_name", "", R::Name,
     "CASE WHEN $uid = 1 THEN $login ELSE (SELECT l.name FROM sysusers u JOIN syslogins l"
     " ON l.suid = u.suid WHERE u.uid = $uid) END",
     false},
    {"suser_name", "i", R::Name, "(SELECT name FROM syslogins WHERE suid = $1)"},
    {"syb_quit", "", R::Int, "quit_session()", false},
    {"system_user", "", R::Name,
     "CASE WHEN $uid = 1 THEN $login ELSE (SELECT l.name FROM sysusers u JOIN syslogins l"
     " ON l.suid = u.suid WHERE u.uid = $uid) END",
     false},
    {"tan", "n", R::Float, "tan($1)"},
    {"upper", "c", R::FirstText, "upper($1)"},
    {"user", "", R::Name, "(SELECT name FROM sysusers WHERE uid = $uid)", false},
    {"user_id", "", R::Int, "$uid", false},
    {"user_id", "c", R::Int, "(SELECT uid FROM sysusers WHERE name = $1)"},
    {"user_name", "", R::Name, "(SELECT name FROM sysusers WHERE uid = $uid)", false},
    {"user_name", "i", R::Name, "(SELECT name FROM sysusers WHERE uid = $1)"},
    {"valid_name", "c", R::Int, "($1 GLOB '[A-Za-z_]*' AND length($1) <= 30)"},
    {"valid_name", "ci", R::Int, "($1 GLOB '[A-Za-z_]*' AND length($1) <= $2)"},
    {"valid_user", "i", R::Int, "EXISTS (SELECT 1 FROM syslogins WHERE suid = $1)"},
    {"year", "d", R::Int, "date_part(0, $1)"},
});

static_assert(std::ranges::is_sorted(kFunctions, {}, &FunctionRule::name));

}  // namespace

bool isAggregateName(std::string_view name) {
  static constexpr std::array<std::string_view, 5> kAggregates = {"avg", "count", "max", "min",
                                                                  "sum"};
  return std::ranges::binary_search(kAggregates, tsql::lowerCase(name));
}

const FunctionRule* findFunction(std::string_view name, std::size_t argumentCount) {
  const auto same = std::ranges::equal_range(kFunctions, name, {}, &FunctionRule::name);
  for (const FunctionRule& rule : same) {
    if (rule.arguments.size() == argumentCount) return &rule;
  }
  return nullptr;
}

bool isVolatileFunction(std::string_view name) {
  return std::ranges::any_of(kFunctions, [&](const FunctionRule& rule) {
    return rule.name == name && (rule.sql.find("now_moment") != std::string_view::npos ||
                                 rule.sql.find("random") != std::string_view::npos);
  });
}

bool isFunction(std::string_view name) {
  return std::ranges::binary_search(kFunctions, name, {}, &FunctionRule::name);
}

}  // namespace kelvane::embedded
