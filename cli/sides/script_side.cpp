#include <chrono>
#include <filesystem>
#include <string>
#include <utility>

#include "cli/screen/figures.h"
#include "cli/sides/git_scripts.h"
#include "cli/sides/script_files.h"
#include "cli/sides/side.h"
#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

class ScriptSide final : public Side {
 public:
  ScriptSide(embedded::EmbeddedCatalog catalog, const embedded::LoadReport& report)
      : catalog_(std::move(catalog)),
        connection_(catalog_.connect()),
        complete_(report.succeeded() && report.undone.empty()),
        made_(report.made) {
    for (const auto& one : report.incomplete) views_.push_back({one.view, one.note.describe()});
  }
  ado::Connection& connection() override { return *connection_; }
  bool isEmbedded() const override { return true; }
  bool isComplete() const override { return complete_; }
  std::vector<ViewWithoutColumns> viewsWithoutColumns() const override { return views_; }
  std::vector<embedded::MadeObject> made() const override { return made_; }

 private:
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
  bool complete_;
  std::vector<ViewWithoutColumns> views_;
  std::vector<embedded::MadeObject> made_;
};

std::string listed(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return list;
}

// The database that the side is: the one that was asked for, else the only one with objects.
void chooseDatabase(embedded::EmbeddedCatalog& catalog, const ScriptPlace& place) {
  const std::vector<std::string> databases = catalog.databases();
  const std::string scripts = listed(place.paths);
  if (place.database) {
    if (catalog.useDatabase(*place.database)) return;
    throw CommandError({scripts + ": no script creates or uses a database '" + *place.database +
                        "'" + (databases.empty() ? "" : "; there are: " + listed(databases))});
  }
  if (databases.size() > 1) {
    throw CommandError({scripts + ": the scripts create objects in several databases (" +
                        listed(databases) + "); choose one with " +
                        std::string(place.databaseOption)});
  }
  if (!databases.empty()) catalog.useDatabase(databases.front());
}

// Shows how far the loading is and, where it is wanted, tells of each file.
class LoadWatch {
 public:
  LoadWatch(const Console& console, bool verbose) : console_(console), verbose_(verbose) {}

  void at(const embedded::LoadProgress& progress) {
    if (progress.number != number_) {
      tell();
      number_ = progress.number;
      file_ = progress.file;
      batches_ = 0;
      time_ = shown_ = {};
    } else {
      ++batches_;
      if (shown_.elapsed() < kBetweenTexts) return;
    }
    show(progress);
  }
  void tell() const {
    if (verbose_ && number_ > 0)
      console_.complain(file_ + ": " + counted(batches_, "batch", "batches") + " in " +
                        time_.text());
  }

 private:
  static constexpr auto kBetweenTexts = std::chrono::milliseconds(100);

  void show(const embedded::LoadProgress& progress) {
    if (!console_.showStatus) return;
    shown_ = {};
    const auto text = [](std::size_t number) {
      return decimalText(static_cast<std::int64_t>(number));
    };
    console_.showStatus(
        u"loading " + decimalText(progress.percent) + u"% of " +
        (progress.files == 1 ? u"" : text(progress.number) + u"/" + text(progress.files) + u" ") +
        toUtf16(progress.file));
  }

  const Console& console_;
  bool verbose_;
  std::size_t number_ = 0, batches_ = 0;
  std::string file_;
  Stopwatch time_, shown_;
};

std::optional<std::string> revisionOf(const ScriptPlace& place) {
  if (!place.revision || !place.ancestorWith) return place.revision;
  return mergeBaseOf(*place.revision, *place.ancestorWith, place.paths.front());
}

}  // namespace

std::unique_ptr<Side> openScripts(const ScriptPlace& place, const Console& console) {
  embedded::EmbeddedCatalog catalog(place.settings.catalog);
  const std::vector<std::filesystem::path> paths(place.paths.begin(), place.paths.end());
  LoadWatch watch(console, place.settings.verbose);
  const embedded::LoadOptions options{
      .stopAtFirstError = !place.settings.keepGoing,
      .listIgnored = place.settings.verbose,
      .listMade = place.settings.listMade,
      .progress = [&](const embedded::LoadProgress& progress) { watch.at(progress); }};
  const std::optional<std::string> revision = revisionOf(place);
  const auto texts = revision ? std::optional(scriptsOfRevision(*revision, place.paths, console))
                              : textsInOrder(paths);
  embedded::LoadReport report = texts ? embedded::loadTexts(catalog, *texts, options)
                                      : embedded::loadFiles(catalog, paths, options);
  watch.tell();
  if (place.settings.verbose) {
    for (const auto& note : report.notes) console.complain(note.describe());
  }
  std::vector<std::string> lines;
  lines.reserve(report.errors.size());
  for (const auto& error : report.errors) lines.push_back(error.describe());
  if (!lines.empty() && (!place.settings.keepGoing || !report.readable))
    throw CommandError(std::move(lines));
  for (const std::string& line : lines) console.complain(line);
  for (const auto& transaction : report.undone) console.complain(transaction.describe());
  chooseDatabase(catalog, place);
  if (revision) {
    // Paths from the root of the repository.
    for (embedded::MadeObject& one : report.made) one.file.erase(0, revision->size() + 1);
  }
  return std::make_unique<ScriptSide>(std::move(catalog), report);
}

}  // namespace kelvane::cli
