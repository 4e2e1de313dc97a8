// Catalogs for tests.
//
// A free function.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "drivers/embedded/script.h"

namespace kelvane::tds {

inline embedded::EmbeddedCatalog catalogOf(const std::string& script) {
  embedded::EmbeddedCatalog catalog;
  const auto report = embedded::loadScript(catalog, "test", script);
  for (const auto& error : report.errors) ADD_FAILURE() << error.describe();
  return catalog;
}

}  // namespace kelvane::tds
