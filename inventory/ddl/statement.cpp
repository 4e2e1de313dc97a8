#include "inventory/ddl/statement.h"

#include <algorithm>
#include <array>

namespace kelvane::inventory {
namespace {

// Words that are no names on any release.
constexpr auto kReserved = std::to_array<std::string_view>({
    // clang-format off
    "add", "all", "alter", "and", "any", "arith_overflow", "as", "asc", "at", "authorization",
    "avg", "begin", "between", "break", "browse", "bulk", "by", "cascade", "case", "char_convert",
    "check", "checkpoint", "close", "clustered", "coalesce", "commit", "compute", "confirm",
    "connect", "constraint", "continue", "controlrow", "convert", "count", "create", "current",
    "cursor", "database", "dbcc", "deallocate", "declare", "default", "delete", "desc",
    "deterministic", "disk", "distinct", "double", "drop", "dummy", "dump", "else", "end",
    "endtran", "errlvl", "errordata", "errorexit", "escape", "except", "exclusive", "exec",
    "execute", "exists", "exit", "exp_row_size", "external", "fetch", "fillfactor", "for",
    "foreign", "from", "func", "function", "goto", "grant", "group", "having", "holdlock",
    "identity", "identity_gap", "identity_insert", "identity_start", "if", "in", "index", "inout",
    "insert", "install", "intersect", "into", "is", "isolation", "jar", "join", "key", "kill",
    "level", "like", "lineno", "load", "lock", "max", "max_rows_per_page", "min", "mirror",
    "mirrorexit", "modify", "national", "new", "noholdlock", "nonclustered", "not", "null",
    "nullif", "numeric_truncation", "of", "off", "offsets", "on", "once", "online", "only", "open",
    "option", "or", "order", "out", "output", "over", "partition", "perm", "permanent", "plan",
    "precision", "prepare", "primary", "print", "privileges", "proc", "procedure", "processexit",
    "proxy_table", "public", "quiesce", "raiserror", "read", "readpast", "readtext", "reconfigure",
    "references", "remove", "reorg", "replace", "replication", "reservepagegap", "return",
    "returns", "revoke", "role", "rollback", "rowcount", "rows", "rule", "save", "schema",
    "select", "set", "setuser", "shared", "shutdown", "some", "statistics", "stringsize", "stripe",
    "sum", "syb_identity", "syb_restree", "syb_terminate", "table", "temp", "temporary",
    "textsize", "to", "tran", "transaction", "trigger", "truncate", "tsequal", "union", "unique",
    "unpartition", "update", "use", "user", "user_option", "using", "values", "varying", "view",
    "waitfor", "when", "where", "while", "with", "work", "writetext", "xmlextract", "xmlparse",
    "xmltest", "xmlvalidate",
    // clang-format on
});
static_assert(std::ranges::is_sorted(kReserved));

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool isLetter(char c) {
  return (lower(c) >= 'a' && lower(c) <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
constexpr bool isLater(char c) {
  return isLetter(c) || (c >= '0' && c <= '9') || c == '$' || c == '#' || c == '@';
}

std::string within(std::string_view text, char open, char close) {
  std::string all(1, open);
  for (const char c : text) {
    all += c;
    if (c == close) all += c;
  }
  return all + close;
}

}  // namespace

bool needsQuotes(std::string_view name) {
  if (name.empty() || !isLetter(name.front()) || !std::ranges::all_of(name, isLater)) return true;
  std::string word(name);
  std::ranges::transform(word, word.begin(), lower);
  return std::ranges::binary_search(kReserved, word);
}

std::string literal(std::string_view text) { return within(text, '\'', '\''); }

std::string argument(const std::vector<std::string>& parts) {
  std::string all;
  for (const std::string& part : parts) {
    if (!all.empty()) all += '.';
    // Reserved words and blanks are nothing special there.
    const bool isPlain = part.find_first_of(".\"") == std::string::npos;
    all += isPlain ? part : within(part, '"', '"');
  }
  return literal(all);
}

std::string idOf(const std::string& owner, const std::string& name) {
  const std::string whole = argument({owner, name});
  if (whole.find('"') == std::string::npos) return "object_id(" + whole + ")";
  return "(select id from sysobjects where name = " + literal(name) + " and uid = user_id(" +
         literal(owner) + "))";
}

Statement& Statement::name(std::string_view name) {
  if (!needsQuotes(name)) return *this << name;
  hasQuotes_ = true;
  return *this << (quotes_ == Quotes::doubled ? within(name, '"', '"') : within(name, '[', ']'));
}

Statement& Statement::name(const QualifiedName& name) {
  if (!name.owner.empty()) this->name(name.owner) << ".";
  return this->name(name.name);
}

Statement& Statement::name(const DatabaseObjectName& name) {
  if (name.database.empty()) return this->name(QualifiedName{name.owner, name.name});
  this->name(name.database) << ".";
  if (!name.owner.empty()) this->name(name.owner);
  return (*this << ".").name(name.name);
}

Statement& Statement::names(const std::vector<std::string>& names) {
  *this << "(";
  for (std::size_t at = 0; at < names.size(); ++at) {
    if (at > 0) *this << ", ";
    name(names[at]);
  }
  return *this << ")";
}

}  // namespace kelvane::inventory
