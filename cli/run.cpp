#include "cli/run.h"

#include <exception>
#include <iomanip>
#include <stdexcept>

#include "cli/arguments.h"
#include "cli/compare_command.h"
#include "cli/compare_request.h"
#include "cli/data_command.h"
#include "cli/list_command.h"
#include "cli/show_command.h"
#include "cli/snapshot_command.h"
#include "cli/switch_arguments.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kHead = R"(Compares the schemas of two databases.

Usage:
  kelvane compare [OPTION]... SOURCE TARGET
  kelvane compare [OPTION]... SOURCE... -- TARGET...
  kelvane data [OPTION]... SOURCE TARGET
  kelvane snapshot [OPTION]... SIDE
  kelvane show [OPTION]... SIDE [OBJECT]
  kelvane list [OPTION]... SIDE [KIND]
  kelvane switches
  kelvane --help
  kelvane --version

SOURCE, TARGET and SIDE are each one of
  - T-SQL script files or folders of them, which stand for their .sql files in the order of their
    names; what belongs to one side is run on one empty database, in the order given
  - a live server: odbc: and a connection string, such as odbc:DSN=prod;UID=sa, or the options
    --source-server, --target-server and --server
  - a snapshot: a file that kelvane snapshot wrote, with a name that ends in .json
compare writes all that is in the one and not, or not in the same way, in the other to standard
output; snapshot writes a whole schema as JSON, good to keep beside the scripts; switches lists what
can be left out.
)";
constexpr std::string_view kTail = R"(
A server's password is never given on the command line. It is looked for, in this order, in the
side's password file, KELVANE_SOURCE_PASSWORD or KELVANE_TARGET_PASSWORD (KELVANE_SIDE_PASSWORD
for snapshot), the data source,
KELVANE_PASSWORD; else, where the side names a user, on the terminal.

Exit status:
  0  no difference
  1  differences
  2  error
  3  something could not be loaded or read, so equality is not proven
)";

void list(const std::vector<Option>& options, std::ostream& out) {
  for (const Option& option : options) {
    const std::string name = std::string(option.name) + " " + std::string(option.value);
    out << "  " << std::left << std::setw(29) << name << " " << option.help << '\n';
  }
}

ExitStatus help(std::ostream& out) {
  out << kHead << "\nOptions of compare:\n";
  list(compareOptions(), out);
  out << "  --                            parts SOURCE from TARGET; before the first of them: "
         "what\n"
         "                                follows are no options\n"
         "\nOptions of snapshot:\n";
  list(snapshotOptions(), out);
  out << "\nOptions of data:\n";
  list(dataOptions(), out);
  out << "\nOptions of show:\n";
  list(showOptions(), out);
  out << "\nOptions of list:\n";
  list(listOptions(), out);
  out << kTail;
  return kNoDifference;
}

bool asksForHelp(std::span<const std::string> words) {
  for (const std::string& word : words) {
    if (word == "--") return false;
    if (word == "--help") return true;
  }
  return false;
}

ExitStatus dispatch(std::span<const std::string> words, const Console& console,
                    const OpenSide& open) {
  if (asksForHelp(words)) return help(console.out);
  if (words.empty()) throw UsageError("a command is missing");
  const std::string& command = words.front();
  if (command == "compare") return runCompare(words.subspan(1), console, open);
  if (command == "snapshot") return runSnapshot(words.subspan(1), console, open);
  if (command == "show") return runShow(words.subspan(1), console, open);
  if (command == "list") return runList(words.subspan(1), console, open);
  if (command == "data") return runData(words.subspan(1), console, open);
  if (command == "switches") {
    if (words.size() > 1) throw UsageError("switches takes nothing besides");
    listSwitches(console.out);
    return kNoDifference;
  }
  if (command == "--version") {
    console.out << "kelvane " << KELVANE_VERSION << '\n';
    return kNoDifference;
  }
  throw UsageError((command.starts_with('-') ? "unknown option '" : "unknown command '") + command +
                   "'");
}

}  // namespace

int run(std::span<const std::string> arguments, const Console& console, const OpenSide& open) {
  try {
    return dispatch(arguments, console, open);
  } catch (const UsageError& error) {
    console.complain(std::string(error.what()) + "; see kelvane --help");
  } catch (const CommandError& error) {
    console.complain(error);
  } catch (const std::exception& error) {
    console.complain(std::string("stopped by a failure: ") + error.what());
  }
  return kError;
}

}  // namespace kelvane::cli
