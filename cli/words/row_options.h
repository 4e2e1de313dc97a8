// What of the rows of tables is compared, and what does not count, as the command line says it.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

inline constexpr std::string_view kWhere = "--where";

struct RowOptions {
  // Conditions of the rows; the pattern of tables may be empty: all.
  struct Condition {
    std::string tables, text;
  };
  std::map<std::string, std::vector<std::string>> keys;  // asked for, by the name of the table
  std::vector<Condition> conditions;
  std::vector<std::array<std::string, 2>> mapped;  // tables whose names differ
  rows::PlanOptions comparing;                     // but for key and condition
};

// --columns and the like: a family of options.
OptionFamily rowOptionFamily();

// Whether one of them is on the command line itself; its name, else empty.
std::string_view givenRowOption(const Arguments& arguments);

// Throws UsageError.
RowOptions rowOptionsOf(const Arguments& arguments);

// Those in effect, but for keys and maps, as they may be given: "--ignore-case", "--tolerance
// price=0.01".
std::vector<std::string> rowOptionsInEffect(const Arguments& arguments);

}  // namespace kelvane::cli
