#include <filesystem>
#include <utility>

#include "cli/side.h"
#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"

namespace kelvane::cli {
namespace {

class ScriptSide final : public Side {
 public:
  ScriptSide(embedded::EmbeddedCatalog catalog, bool complete)
      : catalog_(std::move(catalog)), connection_(catalog_.connect()), complete_(complete) {}
  ado::Connection& connection() override { return *connection_; }
  bool isComplete() const override { return complete_; }

 private:
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
  bool complete_;
};

}  // namespace

std::unique_ptr<Side> openScripts(const ScriptPlace& place, const Console& console) {
  embedded::EmbeddedCatalog catalog(place.settings.catalog);
  const std::vector<std::filesystem::path> paths(place.paths.begin(), place.paths.end());
  const embedded::LoadOptions options{.stopAtFirstError = !place.settings.keepGoing,
                                      .listIgnored = place.settings.verbose};
  const embedded::LoadReport report = embedded::loadFiles(catalog, paths, options);
  if (place.settings.verbose) {
    for (const auto& note : report.notes) console.complain(note.describe());
  }
  std::vector<std::string> lines;
  for (const auto& error : report.errors) lines.push_back(error.describe());
  if (!lines.empty() && (!place.settings.keepGoing || !report.readable))
    throw CommandError(std::move(lines));
  for (const std::string& line : lines) console.complain(line);
  return std::make_unique<ScriptSide>(std::move(catalog), report.succeeded());
}

}  // namespace kelvane::cli
