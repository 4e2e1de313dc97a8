#include "drivers/embedded/tsql/words.h"

#include <algorithm>
#include <array>

namespace kelvane::tsql {
namespace {

// Words of the SQL standard that the server only warns about are not here: they name columns in
// many databases.
constexpr auto kReserved = std::to_array<std::string_view>({
    // clang-format off
    "add", "all", "alter", "and", "any", "arith_overflow", "as", "asc", "at", "authorization", "avg",
    "begin", "between", "break", "browse", "bulk", "by",
    "cascade", "case", "char_convert", "check", "checkpoint", "close", "clustered", "coalesce",
    "commit", "compute", "confirm", "connect", "constraint", "continue", "controlrow", "convert",
    "count", "create", "current", "cursor",
    "database", "dbcc", "deallocate", "declare", "default", "delete", "desc", "deterministic", "disk",
    "distinct", "double", "drop", "dummy", "dump",
    "else", "end", "endtran", "errlvl", "errordata", "errorexit", "escape", "except", "exclusive",
    "exec", "execute", "exists", "exit", "exp_row_size", "external",
    "fetch", "fillfactor", "for", "foreign", "from", "func", "function",
    "goto", "grant", "group", "having", "holdlock",
    "identity", "identity_gap", "identity_insert", "identity_start", "if", "in", "index", "inout",
    "insert", "install", "intersect", "into", "is", "isolation",
    "jar", "join", "key", "kill", "level", "like", "lineno", "load", "lock",
    "max", "max_rows_per_page", "min", "mirror", "mirrorexit", "modify",
    "national", "new", "noholdlock", "nonclustered", "not", "null", "nullif", "numeric_truncation",
    "of", "off", "offsets", "on", "once", "online", "only", "open", "option", "or", "order", "out",
    "output", "over",
    "partition", "perm", "permanent", "plan", "precision", "prepare", "primary", "print",
    "privileges", "proc", "procedure", "processexit", "proxy_table", "public",
    "quiesce", "raiserror", "read", "readpast", "readtext", "reconfigure", "references", "remove",
    "reorg", "replace", "replication", "reservepagegap", "return", "returns", "revoke", "role",
    "rollback", "rowcount", "rows", "rule",
    "save", "schema", "select", "set", "setuser", "shared", "shutdown", "some", "statistics",
    "stringsize", "stripe", "sum", "syb_identity", "syb_restree", "syb_terminate",
    "table", "temp", "temporary", "textsize", "to", "tran", "transaction", "trigger", "truncate",
    "tsequal",
    "union", "unique", "unpartition", "update", "use", "user", "user_option", "using",
    "values", "varying", "view", "waitfor", "when", "where", "while", "with", "work", "writetext",
    "xmlextract", "xmlparse", "xmltest", "xmlvalidate",
    // clang-format on
});
static_assert(std::ranges::is_sorted(kReserved));

constexpr std::size_t kLongestReserved =
    std::ranges::max(kReserved, {}, &std::string_view::size).size();

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string_view reservedWord(std::string_view word) {
  if (word.size() > kLongestReserved) return {};
  std::array<char, kLongestReserved> buffer;
  std::ranges::transform(word, buffer.begin(), lower);
  const std::string_view key(buffer.data(), word.size());
  const auto found = std::ranges::lower_bound(kReserved, key);
  return found != kReserved.end() && *found == key ? *found : std::string_view();
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, lower, lower);
}

std::string lowerCase(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), lower);
  return result;
}

}  // namespace kelvane::tsql
