#include "drivers/embedded/engine/builtins.h"

#include <algorithm>
#include <array>
#include <span>

#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {
namespace {

using Form = ResultRule::Form;
using enum FunctionForm;

constexpr ResultRule plain(TypeKind kind) { return {Form::Given, kind, 0}; }
constexpr ResultRule varchar(int length) { return {Form::Given, TypeKind::Varchar, length}; }
constexpr ResultRule varbinary(int length) { return {Form::Given, TypeKind::Varbinary, length}; }

constexpr ResultRule kInt = plain(TypeKind::Int), kSmallint = plain(TypeKind::Smallint),
                     kBigint = plain(TypeKind::Bigint), kFloat = plain(TypeKind::Float),
                     kDatetime = plain(TypeKind::Datetime), kName = varchar(30),
                     kText = varchar(255), kWide = varchar(16384), kFirst{Form::First},
                     kWhole{Form::Whole}, kRounded{Form::Rounded}, kWidest{Form::Widest},
                     kFirstText{Form::FirstText}, kPartOfText{Form::PartOfText};

constexpr unsigned kClock = kServer | kVaries | kNotNull;

constexpr std::string_view kHasRole =
    "(($uid = 1 AND $1 IN ('sa_role', 'sso_role', 'oper_role')) OR EXISTS (SELECT 1 FROM"
    " sysloginroles r JOIN syssrvroles s ON s.srid = r.srid JOIN syslogins l ON l.suid = r.suid"
    " WHERE s.name = $1 AND l.name = $login))";

constexpr FunctionRule unknownHere(std::string_view name, std::string_view arguments,
                                   ResultRule result, unsigned flags) {
  return {name, arguments, result, {}, flags | kServer, UnknownHere};
}
constexpr FunctionRule aggregate(std::string_view name, std::string_view sql = {},
                                 unsigned flags = 0) {
  return {name, "*", {}, sql, flags, Aggregate};
}
constexpr FunctionRule datePart(std::string_view name, std::string_view arguments,
                                unsigned flags = 0) {
  return {name, arguments, {}, {}, flags, DatePart};
}

// Sorted by name.
constexpr auto kFunctions = std::to_array<FunctionRule>({
    {"abs", "n", kFirst, "magnitude($1, $exact)"},
    {"acos", "n", kFloat, "real_acos($1)"},
    unknownHere("allocinfo", "iic", kInt, kSince15),
    {"ascii", "c", kInt, "unicode($1)"},
    unknownHere("asehostname", "", kText, kSince15),
    {"asin", "n", kFloat, "real_asin($1)"},
    {"atan", "n", kFloat, "real_atan($1)"},
    {"atn2", "nn", kFloat, "real_atn2($1, $2)"},
    unknownHere("audit_event_name", "i", kText, 0),
    {"authmech", "?i", kName, "'ase'", kServer | kSince15},
    aggregate("avg"),
    {"biginttohex", "i", varchar(16), "integer_to_hex($1, 16)", kSince15},
    {"bintostr", "*", kWide, "bytes_to_text($1)", kSince15},
    {"ceiling", "n", kWhole, "whole_above($1, $exact)"},
    {"char", "i", varchar(1), "CASE WHEN $1 BETWEEN 0 AND 255 THEN nullif(char($1), '') END"},
    {"char_length", "t", kInt, "length($1)"},
    {"character_length", "t", kInt, "length($1)"},
    {"charindex", "tt?i", kInt, "text_index($1, $2, $3)"},
    {"coalesce", "*.", {}, {}, 0, Choice},
    {"col_length", "cc", kInt,
     "(SELECT length FROM syscolumns WHERE id = object_id_of($1) AND name = $2)", kCatalog},
    {"col_name", "ii", kText, "(SELECT name FROM syscolumns WHERE id = $1 AND colid = $2)",
     kCatalog},
    {"col_name", "iii", kText,
     "coalesce(CASE WHEN $3 IS NULL THEN (SELECT name FROM syscolumns WHERE id = $1 AND colid = $2)"
     " ELSE column_name_in($1, $2, $3) END, (SELECT name FROM names_elsewhere WHERE id = $1"
     " AND colid = $2 AND $2 > 0 AND $3 IS (SELECT dbid FROM sysdatabases WHERE name = db)))",
     kCatalog},
    {"compare", "cc?*", kInt, "compare_texts($1, $2, $3)"},
    {"cos", "n", kFloat, "real_cos($1)"},
    {"cot", "n", kFloat, "real_cot($1)"},
    aggregate("count"),
    aggregate("count_big", {}, kSince15),
    unknownHere("create_locator", "w*", kInt, kSince15),
    {"current_bigdatetime", "", plain(TypeKind::Bigdatetime), "now_moment()", kClock | kSince15},
    {"current_bigtime", "", plain(TypeKind::Bigtime), "time_of(now_moment())", kClock | kSince15},
    {"current_date", "", plain(TypeKind::Date), "day_of(now_moment())", kClock},
    {"current_time", "", plain(TypeKind::Time), "time_of(ticks_of(now_moment()))", kClock},
    unknownHere("curunreservedpgs", "iii", kInt, 0),
    {"data_pages", "io?ii", kBigint,
     "CASE $1 WHEN (SELECT dbid FROM sysdatabases WHERE name = $database)"
     " THEN pages_of($2, $3) ELSE 0 END",
     kCatalog | kSession | kSince15},
    {"data_pgs", "i*", kInt, {}, kCatalog, TableSize},
    unknownHere("datachange", "c**", kFloat, kSince15),
    {"datalength", "v", kInt, "length(CAST($1 AS BLOB))"},
    datePart("dateadd", "wnd"),
    datePart("datediff", "wdd"),
    datePart("datename", "wd", kSession),
    datePart("datepart", "wd", kSession),
    {"day", "d", kInt, "date_part(4, $1)"},
    {"db_id", "", kSmallint, "(SELECT dbid FROM sysdatabases WHERE name = $database)",
     kSession | kNotNull},
    {"db_id", "c", kSmallint, "(SELECT dbid FROM sysdatabases WHERE name = $1)", kCatalog},
    {"db_name", "", kName, "$database", kSession | kNotNull},
    {"db_name", "i", kName, "(SELECT name FROM sysdatabases WHERE dbid = $1)", kCatalog},
    unknownHere("dbencryption_status", "c?*.", kInt, kSince16),
    unknownHere("defrag_status", "io?*.", kInt, kSince15),
    {"degrees", "n", kWidest, "real_degrees($1)"},
    unknownHere("derived_stat", "oo*?*", kFloat, kSince15),
    {"difference", "cc", kInt, "likeness($1, $2)"},
    unknownHere("dol_downgrade_check", "ci", kInt, kSince15),
    {"exp", "n", kFloat, "real_exp($1)"},
    {"floor", "n", kWhole, "whole_below($1, $exact)"},
    {"get_appcontext", "cc", kName, "context_value($1, $2)", kSession},
    {"getdate", "", kDatetime, "ticks_of(now_moment())", kClock},
    {"getutcdate", "", kDatetime, "ticks_of(now_moment())", kClock},
    {"has_role", "c?i", kInt, kHasRole, kSession | kCatalog},
    {"hash", "*?w", {}, {}, kSince15, Hash},
    {"hashbytes", "w*.", {}, {}, kSince15, Hash},
    {"hextobigint", "c", kBigint, "hex_to_integer($1, 16)", kSince15},
    {"hextoint", "c", kInt, "hex_to_integer($1, 8)"},
    {"host_id", "", varchar(8), "$process", kSession | kNotNull},
    {"host_name", "", kName, "$host", kSession | kNotNull},
    {"identity_burn_max", "c", varchar(40), "identity_of($1, 0)", kCatalog},
    {"index_col", "cii?i", kText, "index_column($1, $2, $3, $4)", kCatalog},
    {"index_colorder", "cii?i", varchar(4), "index_order($1, $2, $3, $4)", kCatalog},
    {"index_name", "iii", kText, "(SELECT name FROM sysindexes WHERE id = $2 AND indid = $3)",
     kCatalog | kSince15},
    unknownHere("instance_id", "?c", kInt, kSince15),
    unknownHere("instance_name", "?i", kName, kSince15),
    {"inttohex", "i", varchar(8), "integer_to_hex($1, 8)"},
    {"is_quiesced", "i", kInt, "(SELECT 0 FROM sysdatabases WHERE dbid = $1)", kServer},
    {"is_sec_service_on", "c", kInt, "0", kServer},
    {"is_singleusermode", "i", kInt, "(SELECT 0 FROM sysdatabases WHERE dbid = $1)",
     kServer | kSince15},
    {"isdate", "c", kInt, "is_date($1)", kSession | kNotNull | kSince15},
    {"isnull", "**", {}, {}, 0, Choice},
    {"isnumeric", "*", kInt, "is_number($1)", kNotNull | kSince15},
    unknownHere("lc_id", "?*", kInt, kSince15),
    unknownHere("lc_name", "?*", kName, kSince15),
    unknownHere("lct_admin", "c*?*.", kInt, 0),
    {"left", "ti", kPartOfText, "part_of_text($1, 1, $2)"},
    {"len", "c", kInt, "length(rtrim($1))"},
    {"license_enabled", "c", kInt, "CASE lower($1) WHEN 'ase_server' THEN 1 END", kServer},
    {"list_appcontext", "?c", kInt, "0", kSession},
    unknownHere("locator_literal", "w*", kInt, kSince15),
    unknownHere("locator_valid", "*", plain(TypeKind::Bit), kSince15),
    {"lockscheme", "o?i", varchar(11),
     "(SELECT CASE WHEN type NOT IN ('U', 'S') THEN 'not a table' WHEN sysstat2 & 16384 THEN"
     " 'datapages' WHEN sysstat2 & 32768 THEN 'datarows' ELSE 'allpages' END"
     " FROM sysobjects WHERE id = $1)",
     kCatalog},
    {"log", "n", kFloat, "real_log($1)"},
    {"log10", "n", kFloat, "real_log10($1)"},
    unknownHere("loginfo", "*c?*.", kInt, kSince15),
    {"lower", "t", kFirstText, "lower_text($1)"},
    {"ltrim", "t", kFirstText, "nullif(ltrim($1), '')"},
    aggregate("max"),
    unknownHere("migrate_instance_id", "", kInt, kSince15),
    aggregate("min"),
    {"month", "d", kInt, "date_part(2, $1)"},
    {"mut_excl_roles", "cc?c", kInt,
     "(SELECT 0 WHERE EXISTS (SELECT 1 FROM syssrvroles WHERE name = $1)"
     " AND EXISTS (SELECT 1 FROM syssrvroles WHERE name = $2))",
     kCatalog},
    {"newid", "?*", kText, "new_id($1)", kVaries},
    {"next_identity", "c", varchar(40), "identity_of($1, 1)", kCatalog},
    {"nullif", "**", {}, {}, 0, Choice},
    unknownHere("object_attr", "c?c", kInt, kSince15),
    {"object_id", "c", kInt, "object_id_of($1)", kCatalog | kSession},
    {"object_name", "i", kText, "(SELECT name FROM sysobjects WHERE id = $1)", kCatalog},
    {"object_name", "ii", kText,
     "coalesce(CASE WHEN $2 IS NULL THEN (SELECT name FROM sysobjects WHERE id = $1)"
     " ELSE object_name_in($1, $2) END, (SELECT name FROM names_elsewhere WHERE id = $1"
     " AND colid = 0 AND $2 IS (SELECT dbid FROM sysdatabases WHERE name = db)))",
     kCatalog},
    {"object_owner_id", "i?i", kInt, "(SELECT uid FROM sysobjects WHERE id = $1)", kCatalog},
    unknownHere("pageinfo", "iic", kInt, kSince15),
    {"pagesize", "o?**", kInt, "(SELECT 2048 FROM sysobjects WHERE id = $1)", kServer},
    {"partition_id", "cc?c", kInt,
     "(SELECT p.partitionid FROM syspartitions p JOIN sysindexes i ON i.id = p.id AND i.indid ="
     " p.indid WHERE p.id = object_id_of($1) AND p.name = $2 AND i.name = coalesce($3, i.name)"
     " ORDER BY p.indid)",
     kCatalog | kSince15},
    {"partition_name", "ii?i", kText,
     "(SELECT name FROM syspartitions WHERE indid = $1 AND partitionid = $2)", kCatalog | kSince15},
    {"partition_object_id", "i?i", kInt, "(SELECT id FROM syspartitions WHERE partitionid = $1)",
     kCatalog | kSince15},
    unknownHere("password_random", "?i", kText, kVaries | kSince15),
    {"patindex", "tt", kInt, "pattern_index($1, $2, $using)"},
    {"pi", "", kFloat, "pi()", kNotNull},
    {"power", "nn", kFirst, "real_power($1, $2)"},
    {"proc_role", "c", kInt, kHasRole, kSession | kCatalog},
    unknownHere("pssinfo", "ic", kText, kSince15),
    unknownHere("ptn_data_pgs", "ii", kInt, 0),
    {"radians", "n", kWidest, "real_radians($1)"},
    {"rand", "?i", kFloat, "random_number($1, 0)", kVaries | kNotNull | kSession},
    {"rand2", "?i", kFloat, "random_number($1, 1)", kVaries | kNotNull | kSession | kSince15},
    {"replicate", "ti", kWide, "repeated($1, $2)"},
    unknownHere("reserve_identity", "cn", varchar(40), kVaries | kSince15),
    unknownHere("reserved_pages", "io?ii", kBigint, kSince15),
    unknownHere("reserved_pgs", "ii", kInt, 0),
    unknownHere("return_lob", "w*", plain(TypeKind::Text), kSince15),
    {"reverse", "t", kFirstText, "reversed($1)"},
    {"right", "ti", kPartOfText, "end_of_text($1, $2)"},
    {"rm_appcontext", "cc", kInt, "remove_context($1, $2)", kSession | kVaries},
    {"role_contain", "cc", kInt,
     "EXISTS (WITH RECURSIVE has(srid) AS (SELECT srid FROM syssrvroles WHERE name = $2 UNION"
     " SELECT o.srid FROM syssrvroles_of_roles o JOIN has ON o.member = has.srid)"
     " SELECT 1 FROM has JOIN syssrvroles s ON s.srid = has.srid WHERE s.name = $1)",
     kCatalog},
    {"role_id", "c", kInt, "(SELECT srid FROM syssrvroles WHERE name = $1)", kCatalog},
    {"role_name", "i", kName, "(SELECT name FROM syssrvroles WHERE srid = $1)", kCatalog},
    {"round", "ni", kRounded, "rounded($1, $2, $exact)"},
    {"row_count", "io?i", kBigint,
     "CASE $1 WHEN (SELECT dbid FROM sysdatabases WHERE name = $database) THEN rows_of($2) ELSE 0"
     " END",
     kCatalog | kSession | kSince15},
    {"rowcnt", "*", kFloat, {}, kCatalog, TableSize},
    {"rtrim", "c", kFirstText, "nullif(rtrim($1), '')"},
    unknownHere("sdc_intempdbconfig", "", kInt, kSince15),
    {"set_appcontext", "ccc", kInt, "set_context($1, $2, $3)", kSession | kVaries},
    unknownHere("setdata", "***", kInt, kSince15),
    unknownHere("show_cached_plan_in_xml", "ii?i", plain(TypeKind::Text), kSince15),
    unknownHere("show_cached_text", "i", kText, kSince15),
    unknownHere("show_cached_text_long", "i", kWide, kSince15),
    unknownHere("show_condensed_text", "*c", kText, kSince15),
    unknownHere("show_dynamic_params_in_xml", "i", plain(TypeKind::Text), kSince15),
    unknownHere("show_plan", "iiii", kInt, 0),
    {"show_role", "", kText, "CASE WHEN $uid = 1 THEN 'sa_role sso_role oper_role' END", kSession},
    {"show_sec_services", "", kText, "NULL", kServer},
    unknownHere("shrinkdb_status", "cc", kInt, kSince15),
    {"sign", "n", kFirst, "sign_of($1)"},
    {"sin", "n", kFloat, "real_sin($1)"},
    {"sortkey", "c?*", varbinary(1530), "sort_key_of($1, $2)"},
    {"soundex", "c", varchar(4), "sound_of($1)"},
    {"space", "i", kWide, "repeated(' ', $1)"},
    unknownHere("spaceusage", "?i?*.", kWide, kSince15),
    unknownHere("spid_instance_id", "i", kInt, kSince15),
    {"sqrt", "n", kFloat, "real_sqrt($1)"},
    {"square", "n", kFloat, "real_square($1)"},
    aggregate("stddev", "deviation_of_sample", kSince15),
    aggregate("stddev_pop", "deviation_of_all", kSince15),
    aggregate("stddev_samp", "deviation_of_sample", kSince15),
    aggregate("stdev", "deviation_of_sample", kSince15),
    aggregate("stdevp", "deviation_of_all", kSince15),
    {"str", "n?i*", kText, "number_text($1, $2, $3, $scale)"},
    {"str_replace", "ttt", kWide, "replaced($1, $2, $3)"},
    {"strtobin", "c", varbinary(255), "text_to_bytes($1)", kSince15},
    {"stuff", "tiit", kWide, "stuffed($1, $2, $3, $4)"},
    {"substring", "vii", kPartOfText, "part_of_text($1, $2, $3)"},
    aggregate("sum"),
    {"suser_id", "", kInt, "(SELECT suid FROM syslogins WHERE name = $login)", kSession},
    {"suser_id", "c", kInt, "(SELECT suid FROM syslogins WHERE name = $1)", kCatalog},
    {"suser_name", "", kName, "$login", kSession | kNotNull},
    {"suser_name", "i", kName, "(SELECT name FROM syslogins WHERE suid = $1)", kCatalog},
    {"syb_quit", "", kInt, "quit_session()", kSession | kVaries | kNotNull},
    unknownHere("syb_sendmsg", "cic", kInt, kVaries),
    {"tan", "n", kFloat, "real_tan($1)"},
    {"tempdb_id", "?i", kSmallint, "2", kServer | kNotNull},
    unknownHere("textptr", "*", varbinary(16), 0),
    unknownHere("textvalid", "c*", kInt, 0),
    {"to_unichar", "i", {Form::Given, TypeKind::Univarchar, 2}, "to_unichar($1)"},
    unknownHere("tran_dumptable_status", "c", kInt, kSince15),
    {"tsequal", "**", {}, "same_timestamp($1, $2)", 0, Condition},
    {"uhighsurr", "ci", kInt, "is_surrogate($1, $2, 1)"},
    {"ulowsurr", "ci", kInt, "is_surrogate($1, $2, 0)"},
    {"upper", "t", kFirstText, "upper_text($1)"},
    {"uscalar", "c", kInt, "unicode($1)"},
    unknownHere("used_pages", "io?ii", kBigint, kSince15),
    unknownHere("used_pgs", "iii", kInt, 0),
    {"user", "", kName, "(SELECT name FROM sysusers WHERE uid = $uid)", kSession | kNotNull},
    {"user_id", "", kInt, "$uid", kSession | kNotNull},
    {"user_id", "c", kInt, "(SELECT uid FROM sysusers WHERE name = $1)", kCatalog},
    {"user_name", "", kName, "(SELECT name FROM sysusers WHERE uid = $uid)", kSession | kNotNull},
    {"user_name", "i", kName, "(SELECT name FROM sysusers WHERE uid = $1)", kCatalog},
    {"valid_name", "c?i", kInt, "valid_identifier($1, $2)"},
    {"valid_user", "i?i", kInt, "EXISTS (SELECT 1 FROM syslogins WHERE suid = $1)", kCatalog},
    aggregate("var", "variance_of_sample", kSince15),
    aggregate("var_pop", "variance_of_all", kSince15),
    aggregate("var_samp", "variance_of_sample", kSince15),
    aggregate("variance", "variance_of_sample", kSince15),
    aggregate("varp", "variance_of_all", kSince15),
    unknownHere("workload_metric", "?c?*.", kInt, kSince15),
    unknownHere("xa_bqual", "ci", kText, 0),
    unknownHere("xa_gtrid", "ci", kText, 0),
    unknownHere("xact_connmigrate_check", "?c", kInt, kSince15),
    unknownHere("xact_owner_instance", "c", kInt, kSince15),
    unknownHere("xmlextract", "**?*.", plain(TypeKind::Text), 0),
    unknownHere("xmlparse", "*?*.", plain(TypeKind::Text), 0),
    unknownHere("xmlrepresentation", "*", kInt, 0),
    unknownHere("xmltest", "**", kInt, 0),
    unknownHere("xmlvalidate", "*?*.", plain(TypeKind::Text), 0),
    {"year", "d", kInt, "date_part(0, $1)"},
});

static_assert(std::ranges::is_sorted(kFunctions, {}, &FunctionRule::name));

std::span<const FunctionRule> rulesOf(std::string_view name) {
  const auto found =
      std::ranges::equal_range(kFunctions, tsql::lowerCase(name), {}, &FunctionRule::name);
  return {found.begin(), found.end()};
}

bool isThere(const FunctionRule& rule, const CatalogOptions& options) {
  return (!rule.has(kSince15) || options.has(Release::ase15)) &&
         (!rule.has(kSince16) || options.has(Release::ase16));
}

}  // namespace

bool FunctionRule::takes(std::size_t argumentCount) const {
  const auto optional = std::min(arguments.find('?'), arguments.size());
  const bool anyMore = arguments.ends_with('.');
  const auto most = arguments.size() -
                    static_cast<std::size_t>(std::ranges::count(arguments, '?')) -
                    (anyMore ? 1 : 0);
  const auto least = std::min(optional, most);
  return argumentCount >= least && (anyMore || argumentCount <= most);
}

const FunctionRule* findFunction(std::string_view name, std::size_t argumentCount,
                                 const CatalogOptions& options) {
  for (const FunctionRule& rule : rulesOf(name)) {
    if (isThere(rule, options) && rule.takes(argumentCount)) return &rule;
  }
  return nullptr;
}

bool isFunction(std::string_view name, const CatalogOptions& options) {
  const auto rules = rulesOf(name);
  return !rules.empty() && isThere(rules.front(), options);
}

bool takesWord(std::string_view name, std::size_t argument) {
  return std::ranges::any_of(rulesOf(name), [&](const FunctionRule& rule) {
    std::string letters(rule.arguments);
    std::erase(letters, '?');
    return argument < letters.size() && letters[argument] == 'w';
  });
}

bool isAggregateName(std::string_view name) {
  const auto rules = rulesOf(name);
  return !rules.empty() && rules.front().form == Aggregate;
}

bool isSteadyFunction(std::string_view name) {
  return std::ranges::all_of(rulesOf(name), &FunctionRule::isSteady);
}

}  // namespace kelvane::embedded
