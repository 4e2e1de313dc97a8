#include "tests/inventory_read/support.h"

#include <gtest/gtest.h>

#include "drivers/embedded/script.h"

namespace kelvane::inventory {

embedded::EmbeddedCatalog catalogOf(std::string_view script, std::optional<Release> release) {
  // A script says something, even one that declares nothing.
  std::string batches = "select 1\ngo\n";
  for (const char letter : script) {
    batches += letter;
    if (letter == '\n') batches += "go\n";
  }
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  const auto report = embedded::loadScript(catalog, "script", batches + "\ngo\n");
  for (const auto& error : report.errors) ADD_FAILURE() << error.describe() << '\n' << script;
  return catalog;
}

Database readAll(ado::Connection& connection, const ReadOptions& options) {
  ReadOptions own = options;
  own.bits = StatusBits::embedded;
  return read(connection, own);
}

Database databaseOf(std::string_view script, std::optional<Release> release) {
  embedded::EmbeddedCatalog catalog = catalogOf(script, release);
  const auto connection = catalog.connect();
  Database database = readAll(*connection);
  for (const Gap& gap : database.gaps)
    ADD_FAILURE() << gap.what << ": " << gap.reason << '\n' << script;
  return database;
}

}  // namespace kelvane::inventory
