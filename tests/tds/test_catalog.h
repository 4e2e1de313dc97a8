// Catalogs for tests, and servers that fail.
//
// Free functions.
#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>

#include "drivers/embedded/script.h"
#include "support/tds_server/server.h"

namespace kelvane::tds {

inline embedded::EmbeddedCatalog catalogOf(const std::string& script) {
  embedded::EmbeddedCatalog catalog;
  const auto report = embedded::loadScript(catalog, "test", script);
  for (const auto& error : report.errors) ADD_FAILURE() << error.describe();
  return catalog;
}

// A fault in the answers to the batches that have a text in them.
inline ServerOptions failing(std::string part, const Fault& fault) {
  return {.fault = [=](const std::string& batch, std::size_t) {
    return batch.find(part) != batch.npos ? std::optional(fault) : std::nullopt;
  }};
}

}  // namespace kelvane::tds
