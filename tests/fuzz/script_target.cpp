// What is fuzzed: any bytes, taken for a script file and loaded into an embedded catalog.
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/script.h"

namespace kelvane::embedded {
namespace {

CatalogOptions optionsOf(std::size_t variant) {
  constexpr std::array<std::optional<Release>, 4> kReleases = {std::nullopt, Release::ase125,
                                                               Release::ase15, Release::ase16};
  CatalogOptions options;
  options.release = kReleases[variant % 4];
  options.allowNullsByDefault = variant >= 4;
  options.mostSteps = 300;
  return options;
}

void load(std::string_view script) {
  // To make the system tables takes longer than most inputs do: catalogs are kept and what a script
  // did is undone. The length decides on the options, so that what an input says does not.
  static std::array<std::optional<EmbeddedCatalog>, 8> kept;
  const std::size_t variant = script.size() % kept.size();
  std::optional<EmbeddedCatalog>& catalog = kept[variant];
  if (!catalog) catalog.emplace(optionsOf(variant));
  Server& server = catalog->server();
  bool canBeUndone = false;
  {
    const Savepoint undone(server.catalog.store());
    const LoadReport report =
        loadScript(*catalog, "input.sql", script, {.stopAtFirstError = false, .listIgnored = true});
    for (const ScriptNote& error : report.errors) {
      if (error.describe().size() <= error.text.size()) __builtin_trap();
    }
    canBeUndone = server.catalog.store().inTransaction();
  }
  server.database = "main";
  server.namesChanged();
  if (!canBeUndone) catalog.reset();
}

}  // namespace
}  // namespace kelvane::embedded

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane::embedded::load({reinterpret_cast<const char*>(data), size});
  return 0;
}
