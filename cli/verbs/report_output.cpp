#include "cli/verbs/report_output.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "cli/screen/pager.h"
#include "cli/screen/written_file.h"

namespace kelvane::cli {
namespace {

bool environmentAllowsColors() {
  const auto valueOf = [](const char* name) -> std::string_view {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
  };
  return valueOf("NO_COLOR").empty() && valueOf("TERM") != "dumb";
}

Colors colorsFor(const Output& output, Coloring coloring, const Console& console) {
  const bool suits = !output.file && console.outIsTerminal && environmentAllowsColors();
  return coloring == Coloring::always || (coloring == Coloring::onTerminal && suits)
             ? Colors::terminal
             : Colors::none;
}

}  // namespace

Undertaking comparing(const Console& console) {
  return {console, u"comparing", "interrupted while comparing: no report was written"};
}

Written writeReports(const CompareRequest& request, const Console& console,
                     const WriteReport& write) {
  Written result = Written::all;
  for (const Output& output : request.outputs) {
    const auto writeTo = [&](std::ostream& out) {
      write(output.format, colorsFor(output, request.coloring, console), out);
    };
    if (output.file) {
      const Written one = tried(console, [&] {
        WrittenFile file("report", *output.file, console);
        writeTo(file.stream());
        file.close();
      });
      if (one == Written::notAll) result = one;
      continue;
    }
    writePaged(console, [&](std::ostream& out) {
      const Undertaking undertaking(console, u"",
                                    "interrupted while writing: the report is incomplete");
      writeTo(out);
      out.flush();
    });
  }
  return result;
}

void tellNotes(const std::vector<std::string>& notes, const CompareRequest& request,
               const Console& console) {
  // On a terminal the last line of a text has just said them.
  const auto saysThem = [](const Output& output) {
    return !output.file && output.format != Format::json && output.format != Format::html;
  };
  if (console.outIsTerminal && std::ranges::any_of(request.outputs, saysThem)) return;
  for (const std::string& note : notes) console.complain(note);
}

}  // namespace kelvane::cli
