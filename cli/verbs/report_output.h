// Writes the reports of a comparison to where the command line wants them.
//
// Lifetime: what is referred to outlives the call. Threading: one thread.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/screen/interruption.h"
#include "cli/words/compare_request.h"
#include "report/text_report.h"

namespace kelvane::cli {

enum class Written { all, notAll };

// What keeps one file from being written keeps no other from it, and is complained about.
template <class Write>
Written tried(const Console& console, Write write) {
  try {
    write();
    return Written::all;
  } catch (const CommandError& error) {
    console.complain(error);
    return Written::notAll;
  }
}

using WriteReport = std::function<void(Format format, Colors colors, std::ostream& out)>;
Written writeReports(const CompareRequest& request, const Console& console,
                     const WriteReport& write);

// Tells the notes, unless a text on the terminal has just said them.
void tellNotes(const std::vector<std::string>& notes, const CompareRequest& request,
               const Console& console);

// While nothing can be seen of the work.
Undertaking comparing(const Console& console);

}  // namespace kelvane::cli
