#include "drivers/embedded/engine/store_refusal.h"

#include <string_view>

namespace kelvane::embedded {

namespace {

struct Limit {
  std::string_view said;  ///< by SQLite, somewhere in its text
  int most;
  std::string_view things;
};

constexpr Limit kLimits[] = {
    {"too many columns in", 2000, "columns in a select list"},
    {"too many terms in compound SELECT", 500, "queries united by 'union'"},
    {"too many terms in", 2000, "terms in an 'order by' or 'group by' clause"},
    {"too many references to", 65535, "references to a view or derived table"},
    {"too many SQL variables", 32766, "values and variables in a statement"},
    {"string or blob too big", 1'000'000'000, "bytes in a statement or value"},
};

}  // namespace

tsql::ServerError storeRefusal(const StoreError& error, std::uint32_t line) {
  const std::string_view said = error.what();
  const auto says = [&](std::string_view part) { return said.find(part) != said.npos; };
  if (says("parser stack overflow") || says("Expression tree is too large")) {
    return {message::nestedTooDeeply, line};
  }
  // Of a sum of bigints.
  if (says("integer overflow")) return {message::arithmeticOverflow, line};
  constexpr int kMostTables = 64;
  if (says("tables in a join")) return {message::tooManyTables, line, kMostTables};
  for (const Limit& limit : kLimits) {
    if (says(limit.said)) return {message::tooManyInStatement, line, limit.most, limit.things};
  }
  return {message::storeRefused, line, said};
}

}  // namespace kelvane::embedded
