// Files of known differences: --accept and --write-accept. Written once for typed changes and for
// those of the published comparison: `Known` is a line of either.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/screen/figures.h"
#include "cli/screen/written_file.h"
#include "cli/words/compare_request.h"
#include "findings/known_list.h"

namespace kelvane::cli {

// The files of one comparison, and what is in them.
template <class Known>
struct KnownFiles {
  using List = findings::KnownListOf<Known>;

  std::optional<std::string> accept, written;
  List accepted;
  std::optional<List> replaced;  // what --write-accept writes over, where that is another file
  struct Own {
    std::string path;
    List list;
  };
  std::vector<Own> own;  // of one of the sides

  // The one that is brought up to date, and whether that is the one of --accept.
  bool updatesAccepted() const { return written && !replaced; }
  const List& updated() const { return replaced ? *replaced : accepted; }
};

std::chrono::year_month_day today();

// The text of a list, and what the user knows it by before what is wrong in it. Throws
// CommandError.
std::string readListFile(const std::string& path);

template <class Read>
auto loadList(const std::string& path, Read read) {
  const std::string text = readListFile(path);
  try {
    return read(text);
  } catch (const KnownDifferencesError& error) {
    throw CommandError({path + ":" + error.what()});
  }
}

// Reads what is to be accepted and what is to be written over. Throws CommandError for a file that
// is no such list, so that --write-accept replaces no other.
template <class Known, class Read>
KnownFiles<Known> loadKnownFiles(const CompareRequest& request, Read read) {
  KnownFiles<Known> files{request.accept, request.writeAccept, {}, {}, {}};
  for (const std::string& path : request.ownAccepts)
    files.own.push_back({path, loadList(path, read)});
  if (files.accept) files.accepted = loadList(*files.accept, read);
  std::error_code ignored;
  if (!files.written || !std::filesystem::is_regular_file(*files.written, ignored) ||
      (files.accept && std::filesystem::equivalent(*files.accept, *files.written, ignored)))
    return files;
  try {
    files.replaced = loadList(*files.written, read);
  } catch (const CommandError& error) {
    throw CommandError(
        {"'" + *files.written +
         "' is not overwritten: it is not a file of known differences: " + error.what()});
  }
  return files;
}

// Tells the lines of the file that are of no use any more: those that expired and, as far as that
// can be known, those without a difference, unless it has just been brought up to date.
template <class Known>
void tellUseless(const std::string& path, bool isUpdated, const std::vector<const Known*>& expired,
                 const std::vector<const Known*>& unused,
                 const std::function<bool(const Known&)>& couldFind, const Console& console) {
  const auto tell = [&](const Known& one, const std::string& what) {
    console.complain(path + ":" + std::to_string(one.line) + ": " + what + ": " + one.difference);
  };
  for (const Known* one : expired) tell(*one, "has expired");
  if (isUpdated) return;
  for (const Known* one : unused) {
    if (couldFind(*one)) tell(*one, "no such difference");
  }
}

// Writes a list for --write-accept, with `write(list, others, out)`, and tells the lines that are
// dropped. Throws CommandError.
template <class Known, class Write>
void writeKnown(const KnownFiles<Known>& files, const Console& console, Write write) {
  const typename KnownFiles<Known>::List none;
  const auto& list = files.updated();
  WrittenFile file("known differences", *files.written, console);
  const auto update = write(list, files.replaced ? files.accepted : none, file.stream());
  file.close();
  const std::string& path = files.replaced ? *files.written : files.accept.value_or("");
  for (const Known* one : update.dropped)
    console.complain(path + ":" + std::to_string(one->line) +
                     ": dropped, no such difference: " + list.lines[one->line - 1]);
  if (update.kept > 0)
    console.complain(*files.written + ": kept " + counted(update.kept, "line") +
                     " about what was not compared");
}

}  // namespace kelvane::cli
