#include "cli/run.h"

#include <exception>

#include "cli/words/command_line.h"
#include "cli/words/layers.h"
#include "cli/words/verb.h"
#include "inventory/near_names.h"

namespace kelvane::cli {
namespace {

[[noreturn]] void refuseVerb(const std::string& name) {
  if (name.starts_with('-')) throw UsageError("unknown option '" + name + "'");
  std::vector<std::string_view> names;
  for (const Verb& verb : verbs()) names.push_back(verb.name);
  throw UsageError("unknown command '" + name + "'" + inventory::nearestName(name, names));
}

ExitStatus dispatch(std::span<const std::string> words, const Console& console,
                    const OpenSide& open) {
  if (words.empty()) throw UsageError("no command given");
  const std::string& name = words.front();
  if (name == "--help" || name == "-h") {
    writeHelp(console.out);
    return kNoDifference;
  }
  if (name == "--version") {
    console.out << "kelvane " << KELVANE_VERSION << '\n';
    return kNoDifference;
  }
  const Verb* const verb = verbCalled(name);
  if (verb == nullptr) refuseVerb(name);
  const CommandLine line = readCommandLine(*verb, words.subspan(1));
  if (!line.asksForHelp) {
    if (verb->sides != Sides::none) {
      for (const std::string& strange : strangeVariables()) console.complain(strange);
    }
    const Arguments arguments = completed(line, *verb);
    Console its = console;
    if (arguments.has(kNoPager.name)) its.pager.clear();
    return verb->run(arguments, its, open);
  }
  writeHelp(*verb, console.out);
  return kNoDifference;
}

// What a reader of standard output does not want is no failure; files are written all the same.
int finished(ExitStatus status, const Console& console) {
  console.out.flush();
  if (console.out || (console.outIsLeft && console.outIsLeft())) return status;
  console.complain("cannot write to standard output");
  return kError;
}

}  // namespace

int run(std::span<const std::string> arguments, const Console& console, const OpenSide& open) {
  try {
    return finished(dispatch(arguments, console, open), console);
  } catch (const UsageError& error) {
    console.complain(std::string(error.what()) + "; see kelvane --help");
  } catch (const CommandError& error) {
    console.complain(error);
  } catch (const std::exception& error) {
    console.complain(std::string("failed: ") + error.what());
  }
  return kError;
}

}  // namespace kelvane::cli
