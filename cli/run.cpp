#include "cli/run.h"

#include <algorithm>
#include <array>
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

struct Command {
  std::string_view name;
  std::string_view usage;  // a line for each way to call it, what stands behind the options
  std::string_view says;
  std::string_view examples;  // a line each
  std::vector<Option> (*options)();
  ExitStatus (*run)(std::span<const std::string> words, const Console& console,
                    const OpenSide& open);
};

std::vector<Option> noOptions() { return {}; }

ExitStatus runSwitches(std::span<const std::string> words, const Console& console,
                       const OpenSide&) {
  if (!words.empty()) throw UsageError("switches takes nothing besides");
  listSwitches(console.out);
  return kNoDifference;
}

constexpr auto kCommands = std::to_array<Command>({
    {"compare", "SOURCE TARGET\nSOURCE... -- TARGET...",
     R"(Writes all that is in the one schema and not, or not in the same way, in the other.)",
     R"(  kelvane compare old.sql new.sql
  kelvane compare --html drift.html prod.json odbc:DSN=prod)",
     compareOptions, runCompare},
    {"data", "SOURCE TARGET\nSOURCE... -- TARGET...",
     R"(Compares the rows of the tables of the source with those of the target, paired by position, and
tells for each table how many values differ, and whether one side has more rows.)",
     R"(  kelvane data odbc:DSN=prod odbc:DSN=copy --table 'price_*' --show 5)", dataOptions,
     runData},
    {"snapshot", "SIDE", R"(Writes a whole schema as JSON, good to keep beside the scripts.)",
     R"(  kelvane snapshot odbc:DSN=prod -o prod.json)", snapshotOptions, runSnapshot},
    {"show", "SIDE [OBJECT]\nSIDE... -- OBJECT",
     R"(Writes the objects of a database by kind, or what one of them consists of, or its definition.
OBJECT is a name, with its owner or without, and with its kind before it where there are several:
customer, dbo.customer, table:dbo.customer. With a kind, nothing else is read.)",
     R"(  kelvane show odbc:DSN=prod table:dbo.customer --sort Length --numeric
  kelvane show --source prod.json find_customer)",
     showOptions, runShow},
    {"list", "SIDE [KIND]\nSIDE... -- KIND",
     R"(Asks a database for the names of its objects, and for nothing else. KIND is table, view,
procedure, function, user, group or type.)",
     R"(  kelvane list odbc:DSN=prod procedure)", listOptions, runList},
    {"switches", "", "Lists what can be left out of schemas.", "", noOptions, runSwitches},
});

constexpr std::string_view kSides = R"(
SOURCE, TARGET and SIDE are each one of
  - T-SQL script files or folders of them, which stand for their .sql files in the order of their
    names; what belongs to one side is run on one empty database, in the order given
  - a live server: odbc: and a connection string, such as odbc:DSN=prod;UID=sa, or the options
    --source-server, --target-server and --server
  - a snapshot: a file that kelvane snapshot wrote, with a name that ends in .json; it has no rows
)";
constexpr std::string_view kTail = R"(
A server's password is never given on the command line. It is looked for, in this order, in the
side's password file, KELVANE_SOURCE_PASSWORD or KELVANE_TARGET_PASSWORD (KELVANE_SIDE_PASSWORD
where there is one SIDE), the data source, KELVANE_PASSWORD; else, where the side names a user, on
the terminal.

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

void writeUsage(const Command& command, std::ostream& out) {
  std::string_view rest = command.usage;
  for (bool more = true; more;) {
    const std::size_t end = rest.find('\n');
    const std::string_view way = rest.substr(0, end);
    out << "  kelvane " << command.name << (way.empty() ? "" : " [OPTION]... ") << way << '\n';
    more = end != rest.npos;
    if (more) rest.remove_prefix(end + 1);
  }
}

ExitStatus help(std::ostream& out) {
  out << "Compares databases and shows what is in them.\n\nUsage:\n";
  for (const Command& command : kCommands) writeUsage(command, out);
  out << "  kelvane COMMAND --help\n  kelvane --version\n";
  for (const Command& command : kCommands)
    out << '\n' << command.name << ": " << command.says << '\n';
  out << kSides << kTail;
  return kNoDifference;
}

ExitStatus help(const Command& command, std::ostream& out) {
  out << command.says << "\n\nUsage:\n";
  writeUsage(command, out);
  if (!command.examples.empty()) out << "\nExamples:\n" << command.examples << '\n';
  if (const std::vector<Option> options = command.options(); !options.empty()) {
    out << "\nOptions:\n";
    list(options, out);
    out << "  --                            ends the options; between operands: parts them, where\n"
           "                                a side is more than one script\n";
    out << kSides << kTail;
  }
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
  if (words.empty()) throw UsageError("a command is missing");
  const std::string& name = words.front();
  const auto command = std::ranges::find(kCommands, name, &Command::name);
  if (asksForHelp(words))
    return command == kCommands.end() ? help(console.out) : help(*command, console.out);
  if (command != kCommands.end()) return command->run(words.subspan(1), console, open);
  if (name == "--version") {
    console.out << "kelvane " << KELVANE_VERSION << '\n';
    return kNoDifference;
  }
  throw UsageError((name.starts_with('-') ? "unknown option '" : "unknown command '") + name + "'");
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
