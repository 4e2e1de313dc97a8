// What a comparison of rows by their keys found, as an HTML page.
//
// Threading: a free function without state.
#pragma once

#include <ostream>

#include "cli/verbs/keyed_report.h"

namespace kelvane::cli {

void writeHtml(const KeyedReport& report, std::ostream& out);

}  // namespace kelvane::cli
