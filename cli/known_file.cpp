#include "cli/known_file.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

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

bool takesPart(const KnownDifference& one, const Selection& selection, CaseMode names) {
  std::u16string_view name = one.object;
  if (one.kind != entity_USER && one.kind != entity_GROUP) name.remove_prefix(name.find(u'.') + 1);
  Selection::Tally uncounted;
  return selection.takes(one.kind, {name, one.object}, names, uncounted);
}

}  // namespace

std::vector<KnownDifference> loadKnownDifferences(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file || std::filesystem::is_directory(path))
    throw CommandError({path + ": " + (errno != 0 ? std::strerror(errno) : "is no file")});
  std::ostringstream text;
  text << file.rdbuf();
  try {
    return readKnownDifferences(text.view());
  } catch (const KnownDifferencesError& error) {
    throw CommandError({path + ":" + error.what()});
  }
}

diffSchema withoutKnown(const diffSchema& differences, const std::vector<KnownDifference>& known,
                        const std::string& path, const Selection& selection, CaseMode names,
                        const Console& console, ReportHeader& header) {
  const Acceptance acceptance = accept(differences, known, today());
  header.notes.push_back("Accepted differences: " + std::to_string(acceptance.accepted));
  const auto tell = [&](const KnownDifference& one, const std::string& what) {
    console.complain(path + ":" + std::to_string(one.line) + ": " + what + ": " + one.difference);
  };
  for (const KnownDifference* one : acceptance.expired) tell(*one, "has expired");
  // What could not be read may still be different.
  if (header.coverage() == Coverage::partial) return acceptance.rest;
  for (const KnownDifference* one : acceptance.unused) {
    if (takesPart(*one, selection, names)) tell(*one, "there is no such difference");
  }
  return acceptance.rest;
}

}  // namespace kelvane::cli
