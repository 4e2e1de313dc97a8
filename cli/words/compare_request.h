// The command line of `kelvane compare`, understood but not yet acted upon.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "cli/words/place.h"
#include "cli/words/result_files.h"
#include "cli/words/script_request.h"
#include "cli/words/selection.h"
#include "inventory/compare/compare.h"
#include "inventory/ddl/owner_names.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

inline constexpr std::array<std::string_view, 2> kSideNames{"source", "target"};

enum class Format { text, tree, summary, stat, patch, json, html };

// Whether text is written in colours.
enum class Coloring { onTerminal, always, never };

// A report and the file that it goes to; none: standard output.
struct Output {
  Format format = Format::text;
  std::optional<std::string> file;
};

// What is left out of definitions and names when they are compared.
struct Rules {
  bool ignoreTabs = false, ignoreSpaces = false, ignoreLineBreaks = false;
  bool ignoreCase = false;  // of names
};

struct CompareRequest {
  std::array<Place, 2> places;         // source and target
  std::array<std::string, 2> shown{};  // how the user calls them, without secrets
  std::optional<std::string> trace;
  std::vector<Output> outputs;
  bool quiet = false;
  bool published = false;            // with the published statements and comparison
  inventory::Rules inventory;        // their `names` wait for what the servers say
  bool countsRows = false;           // although nobody compares them
  bool readsWholeTarget = false;     // although patterns choose: a script may concern the rest
  std::vector<std::string> leftOut;  // what is off although it would be on
  // Of the published comparison.
  cComparisonOptions switches;
  Rules rules;
  Selection selection = {};
  Coloring coloring = Coloring::onTerminal;
  std::optional<std::string> accept = {}, writeAccept = {};  // files of known differences
  std::vector<std::string> ownAccepts = {};                  // of one of the sides, each of them

  bool accepts() const { return accept || !ownAccepts.empty(); }
  std::optional<std::string> script = {};  // file that gets what makes the target like the source
  ScriptRequest scripting = {};
  ResultFiles results = {};
  inventory::OwnerNames owners = {};  // names in the source of those of the target
  std::optional<Place> base = {};     // what both come from
  std::string shownBase = {};
};

std::vector<OptionFamily> compareOptions();

// Which sides, objects, differences and rules there are, for other verbs that compare; theirs are
// the reports. `command` is what it is called in complaints. Throws UsageError.
std::vector<OptionFamily> comparedOptions();
CompareRequest comparedRequest(const Arguments& arguments, std::string_view command);

// The same without the sides.
std::vector<OptionFamily> comparingOptions();
CompareRequest comparingRequest(const Arguments& arguments);

// Opens nothing and asks for no password. Throws UsageError.
CompareRequest parseCompare(const Arguments& arguments);

}  // namespace kelvane::cli
