#include <algorithm>
#include <array>

#include "cli/verbs/compare_command.h"
#include "cli/verbs/completion_command.h"
#include "cli/verbs/data_command.h"
#include "cli/verbs/ddl_command.h"
#include "cli/verbs/doctor_command.h"
#include "cli/verbs/fleet_command.h"
#include "cli/verbs/list_command.h"
#include "cli/verbs/manual_command.h"
#include "cli/verbs/script_command.h"
#include "cli/verbs/show_command.h"
#include "cli/verbs/snapshot_command.h"
#include "cli/words/compare_request.h"
#include "cli/words/fleet_request.h"
#include "cli/words/switch_arguments.h"
#include "cli/words/verb.h"
#include "inventory/browse/search.h"

namespace kelvane::cli {
namespace {

std::vector<OptionFamily> noOptions() { return {}; }

std::vector<std::string> nothing() { return {}; }
std::vector<std::string> kinds() {
  std::vector<std::string> words;
  for (const inventory::KindRow& row : inventory::kKinds) {
    if (isObject(row.kind)) words.push_back(wordOf(row.kind));
  }
  return words;
}
std::vector<std::string> kindsToFind() {
  std::vector<std::string> words;
  for (const inventory::KindRow& row : inventory::kKinds) {
    if (inventory::canBeFound(row.kind)) words.push_back(wordOf(row.kind) + ':');
  }
  return words;
}

ExitStatus runSwitches(const Arguments& arguments, const Console& console, const OpenSide&) {
  if (!arguments.operands.empty()) throw UsageError("switches takes no operands");
  listFamilies(console.out);
  console.out << "\nwith --published:\n";
  listSwitches(console.out);
  return kNoDifference;
}

constexpr std::string_view kOfSchemas =
    R"(0  no difference, or none that is not accepted
1  differences that are not accepted
2  error
3  something could not be loaded or read, so equality is not proven
4  with --base: conflicts)";
constexpr std::string_view kOfFleets =
    R"(0  all targets are equal to the reference, but for what is accepted
1  targets differ
2  error
3  a target could not be read, or not to its end)";
constexpr std::string_view kOfRows =
    R"(0  no difference
1  differences
2  error
3  something could not be loaded or read, so equality is not proven)";
constexpr std::string_view kOfScripts =
    R"(0  the script makes the target like the source, or there is nothing to do
1  there are steps that are not allowed, or differences without a statement
2  error
3  something could not be read, or the script could not be proved)";
constexpr std::string_view kOfReadings =
    R"(0  done
2  error
3  something could not be loaded or read, so the result is not complete)";
constexpr std::string_view kOfTexts = R"(0  done
2  error)";

constexpr std::array kConfiguration{kConfig, kNoConfig};
constexpr std::array kScreen{kNoPager};

constexpr auto kVerbs = std::to_array<Verb>({
    {"compare", "shows the differences between two schemas",
     "SOURCE TARGET\nSOURCE... -- TARGET...",
     R"(Writes everything that is in only one of the schemas or differs between them. With --git, PATHs take
the place of the sides.)",
     R"(kelvane compare old.sql new.sql
kelvane compare install-1.sql upgrade-2.sql -- install-2.sql
kelvane compare --include 'table:dbo.cust*' --exclude '*_tmp' odbc:DSN=dev odbc:DSN=prod
kelvane compare --html drift.html prod.json odbc:DSN=prod
kelvane compare --git main...HEAD schema
kelvane compare --base released.json ours theirs)",
     kOfSchemas, Sides::two, nothing, compareOptions, runCompare},
    {"data", "compares the rows of two databases",
     "SOURCE TARGET\nSOURCE... -- TARGET...\nSIDE --export FOLDER",
     R"(Compares the rows of the tables of the source with those of the target, paired by their key, and
reports for each table how many rows are equal, changed, or on one side only.
A side may also be a file of rows (.csv, .jsonl, .ndjson, .bcp), named like its table, or a folder of
them. With --export the rows of one side are written to such files.)",
     R"(kelvane data odbc:DSN=prod odbc:DSN=copy --table 'price_*' --key price_log=day,item
kelvane data reference odbc:DSN=prod --table 'code_*'
kelvane data odbc:DSN=prod --table 'code_*' --export reference)",
     kOfRows, Sides::two, nothing, dataOptions, runData},
    {"script", "writes T-SQL that makes the target like the source",
     "SOURCE TARGET\nSOURCE... -- TARGET...",
     R"(Writes the steps that end the differences, each behind a comment with its difference, for isql and
other tools that know go. Nothing is run on the target. The script is tried on a copy of the target
in the embedded catalog before it is written, and its head says what differs afterwards.
Steps that may take something away are comments, unless --allow has their class: drop-table,
drop-column, drop-object, narrow, convert, null-to-not-null, rebuild, revoke.)",
     R"(kelvane script odbc:DSN=dev odbc:DSN=prod -o upgrade.sql
kelvane script new.sql prod.json --allow drop-object,revoke)",
     kOfScripts, Sides::two, nothing, scriptOptions, runScript},
    {"fleet", "compares many databases with one reference",
     "REFERENCE TARGET...\nREFERENCE... -- TARGET...",
     R"(Compares each target with the reference, which is read once, several targets at the same time, at
most two of the same server. Targets with the same differences are one group of the report. A target
that cannot be read does not stop the others.
A TARGET may also be the NAME of a section [group.NAME] of kelvane.toml: many sides.)",
     R"(kelvane fleet prod.json berlin paris oslo
kelvane fleet --format json reference odbc:DSN=a odbc:DSN=b)",
     kOfFleets, Sides::many, nothing, fleetOptions, runFleet},
    {"snapshot", "writes a whole schema as JSON", "SIDE",
     R"(The same schema always gives the same text, one attribute per line: made for version control.)",
     R"(kelvane snapshot odbc:DSN=prod -o prod.json)", kOfReadings, Sides::one, nothing,
     snapshotOptions, runSnapshot},
    {"ddl", "writes a database as T-SQL", "SIDE",
     R"(Writes the T-SQL that makes the database again, in an order that runs, for isql and other tools
that know go. With -o, a file for each object, made for version control and review. The folder is a
side like any other. Files of objects that are gone are removed; files that kelvane did not write
are left alone.
The script is for the release of the side, or for that of --ase. What the release does not have,
texts that cannot be read, and what needs them, are comments.)",
     R"(kelvane ddl odbc:DSN=prod > prod.sql
kelvane ddl prod.json --ase 16 -o schema)",
     kOfReadings, Sides::one, nothing, ddlOptions, runDdl},
    {"show", "shows what is in a database", "SIDE [OBJECT]\nSIDE... -- OBJECT",
     R"(Lists the objects of a database by kind, or shows the attributes and parts of one object, or its
definition.
OBJECT is a name, optionally with its owner and, if it is ambiguous, its kind:
customer, dbo.customer, table:dbo.customer, trigger:dbo.tr_customer.)",
     R"(kelvane show odbc:DSN=prod table:dbo.customer --sort name
kelvane show --source prod.json find_customer)",
     kOfReadings, Sides::one, kindsToFind, showOptions, runShow},
    {"list", "lists the names of objects", "SIDE [KIND]\nSIDE... -- KIND",
     R"(Writes a name a line, in the form that show accepts, or without the kind if KIND selects one:
table, view, procedure, function, rule, default, type, user, alias, group, role, encryption-key,
message or database.)",
     R"(kelvane list odbc:DSN=prod procedure)", kOfReadings, Sides::one, kinds, listOptions,
     runList},
    {"doctor", "examines how a database can be read", "SIDE",
     R"(Reports the release, character set and sort order, what could not be read, which definitions are
hidden, how long each statement takes, whether both readers agree, and what to do about it. Without
--names the report contains no name of an object, a user or the database, so that it can be sent to
others.)",
     R"(kelvane doctor odbc:DSN=prod
kelvane doctor --server prod --user sa --names)",
     kOfReadings, Sides::one, nothing, doctorOptions, runDoctor},
    {"switches", "lists the words for --ignore, and the switches for --set", "", "",
     "kelvane switches", kOfTexts, Sides::none, nothing, noOptions, runSwitches},
    {"completion", "writes a completion script for a shell", "SHELL",
     R"(SHELL is bash or zsh. The word environments instead of a shell lists the sides of kelvane.toml.)",
     R"(source <(kelvane completion bash)
kelvane completion zsh > ~/.zfunc/_kelvane)",
     kOfTexts, Sides::none, completionOperands, noOptions, runCompletion},
    {"manual", "writes the manual page", "", "", "kelvane manual | man -l -", kOfTexts, Sides::none,
     nothing, noOptions, runManual},
});

}  // namespace

std::span<const Verb> verbs() { return kVerbs; }

const Verb* verbCalled(std::string_view name) {
  const auto* const found = std::ranges::find(kVerbs, name, &Verb::name);
  return found == kVerbs.end() ? nullptr : found;
}

std::vector<OptionFamily> familiesOf(const Verb& verb) {
  std::vector<OptionFamily> families = verb.options();
  if (verb.sides != Sides::none) {
    families.push_back({"Screen", kScreen});
    families.push_back({"Configuration", kConfiguration, Elsewhere::variables});
  }
  return families;
}

std::vector<const Option*> optionsOf(const Verb& verb, Elsewhere elsewhere) {
  std::vector<const Option*> options;
  for (const OptionFamily& family : familiesOf(verb)) {
    if (family.elsewhere < elsewhere) continue;
    for (const Option& option : family.options) options.push_back(&option);
  }
  return options;
}

constexpr std::string_view kAboutSides =
    R"(Each of SOURCE, TARGET and SIDE is one of
  - T-SQL script files or folders with .sql files, which are run in the order of their names, or in
    an order that fits if kelvane ddl wrote them; all scripts of a side run on one empty database,
    in the order given
  - a live server: odbc: and a connection string, such as odbc:DSN=prod;UID=sa, or the options
    --source-server, --target-server and --server
  - a snapshot: a .json file written by kelvane snapshot; it contains no rows
  - an environment: the NAME of a section [env.NAME] of kelvane.toml
Use -- between SOURCE and TARGET if one of them is several scripts; -- before all operands ends the
options.

A server's password is never given on the command line. Kelvane uses the first of: the password
file of the side, KELVANE_SOURCE_PASSWORD or KELVANE_TARGET_PASSWORD (KELVANE_SIDE_PASSWORD for
commands with one SIDE), the data source, KELVANE_PASSWORD. If there is none and the side names a
user, it asks on the terminal.)";

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
  }
  return lines;
}

}  // namespace kelvane::cli
