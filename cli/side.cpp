#include "cli/side.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"

namespace kelvane::cli {
namespace {

constexpr std::size_t kMostErrorsShown = 20;

class ScriptSide final : public Side {
 public:
  explicit ScriptSide(embedded::EmbeddedCatalog catalog)
      : catalog_(std::move(catalog)), connection_(catalog_.connect()) {}
  ado::Connection& connection() override { return *connection_; }

 private:
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
};

}  // namespace

std::unique_ptr<Side> openScript(const std::string& path) {
  embedded::EmbeddedCatalog catalog;
  const auto report = embedded::loadFile(catalog, path, {.stopAtFirstError = false});
  if (report.succeeded()) return std::make_unique<ScriptSide>(std::move(catalog));
  std::vector<std::string> lines;
  const std::size_t shown = std::min(report.errors.size(), kMostErrorsShown);
  for (std::size_t at = 0; at < shown; ++at) lines.push_back(report.errors[at].describe());
  if (shown < report.errors.size())
    lines.push_back(path + ": " + std::to_string(report.errors.size() - shown) + " more errors");
  throw CommandError(std::move(lines));
}

}  // namespace kelvane::cli
