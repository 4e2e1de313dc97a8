// Reads command lines and writes help, both from the description of a verb.
//
// Lifetime: results own their text. Threading: free functions without state.
#pragma once

#include <ostream>
#include <span>
#include <string>

#include "cli/words/arguments.h"
#include "cli/words/verb.h"

namespace kelvane::cli {

struct CommandLine {
  Settings settings = {};
  std::vector<std::string> operands = {};
  std::optional<std::size_t> parting = {};  // how many operands stand before the "--" between them
  bool asksForHelp = false;                 // the rest is then nothing
};

// `words`: what stands behind the verb. Options may stand anywhere before the first "--", with
// their value in the same word ("--trace=FILE") or in the next. A "--" with operands before it
// parts them from those behind. Throws UsageError for an unknown option, a missing value, one that
// is not expected, and a second parting.
CommandLine readCommandLine(const Verb& verb, std::span<const std::string> words);

void writeHelp(std::ostream& out);
void writeHelp(const Verb& verb, std::ostream& out);

}  // namespace kelvane::cli
