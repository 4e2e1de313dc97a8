#include "cli/known_file.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/figures.h"
#include "cli/written_file.h"

namespace kelvane::cli {
namespace {

std::chrono::year_month_day today() {
  const std::time_t seconds = std::time(nullptr);
  std::tm moment{};
  localtime_r(&seconds, &moment);
  return {std::chrono::year(moment.tm_year + 1900),
          std::chrono::month(static_cast<unsigned>(moment.tm_mon + 1)),
          std::chrono::day(static_cast<unsigned>(moment.tm_mday))};
}

KnownList load(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file || std::filesystem::is_directory(path))
    throw CommandError({path + ": " + (errno != 0 ? std::strerror(errno) : "is not a file")});
  std::ostringstream text;
  text << file.rdbuf();
  try {
    return readKnownDifferences(text.view());
  } catch (const KnownDifferencesError& error) {
    throw CommandError({path + ":" + error.what()});
  }
}

}  // namespace

KnownFiles loadKnownFiles(const CompareRequest& request) {
  KnownFiles files{request.accept, request.writeAccept, {}, {}};
  if (files.accept) files.accepted = load(*files.accept);
  std::error_code ignored;
  if (!files.written || !std::filesystem::is_regular_file(*files.written, ignored) ||
      (files.accept && std::filesystem::equivalent(*files.accept, *files.written, ignored)))
    return files;
  try {
    files.replaced = load(*files.written);
  } catch (const CommandError& error) {
    throw CommandError(
        {"'" + *files.written +
         "' is not overwritten: it is not a file of known differences: " + error.what()});
  }
  return files;
}

diffSchema withoutKnown(const diffSchema& differences, const KnownFiles& files,
                        const ComparedScope& scope, const Console& console, ReportHeader& header) {
  const Acceptance acceptance = accept(differences, files.accepted.known, today());
  header.notes.push_back("Accepted differences: " + std::to_string(acceptance.accepted));
  const auto tell = [&](const KnownDifference& one, const std::string& what) {
    console.complain(*files.accept + ":" + std::to_string(one.line) + ": " + what + ": " +
                     one.difference);
  };
  for (const KnownDifference* one : acceptance.expired) tell(*one, "has expired");
  const bool isUpdated = files.written && !files.replaced;
  if (isUpdated) return acceptance.rest;
  for (const KnownDifference* one : acceptance.unused) {
    if (scope.couldFind(*one)) tell(*one, "no such difference");
  }
  return acceptance.rest;
}

void writeKnown(const diffSchema& differences, const KnownFiles& files, const ComparedScope& scope,
                const Console& console) {
  const KnownList none;
  const KnownList& list = files.replaced ? *files.replaced : files.accepted;
  const KnownList& others = files.replaced ? files.accepted : none;
  WrittenFile file("known differences", *files.written, console);
  const KnownUpdate update = writeKnownDifferences(
      differences, list, others, [&](const KnownDifference& one) { return scope.couldFind(one); },
      file.stream());
  file.close();
  const std::string& path = files.replaced ? *files.written : files.accept.value_or("");
  for (const KnownDifference* one : update.dropped)
    console.complain(path + ":" + std::to_string(one->line) +
                     ": dropped, no such difference: " + list.lines[one->line - 1]);
  if (update.kept > 0)
    console.complain(*files.written + ": kept " + counted(update.kept, "line") +
                     " about what was not compared");
}

}  // namespace kelvane::cli
