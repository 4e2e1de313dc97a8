// A database, written as a script, loaded into an empty catalog and read again.
#pragma once

#include <gtest/gtest.h>
#include <sstream>

#include "drivers/embedded/script.h"
#include "inventory/ddl/ddl.h"
#include "tests/inventory/change_text.h"
#include "tests/inventory_read/support.h"

namespace kelvane::inventory {

inline std::optional<TargetRelease> targetOf(std::optional<Release> release) {
  if (!release) return std::nullopt;
  return static_cast<TargetRelease>(*release);
}

inline std::string textOf(const Script& script) {
  std::ostringstream out;
  write(script, out);
  return out.str();
}

struct RoundTrip {
  Script script;
  std::string text;
  Database again;
  Lines errors;  ///< of loading
  Lines differences;
};

inline Rules everything() {
  Rules rules;
  rules.compared.set();
  rules.compared.reset(static_cast<std::size_t>(Family::rowCounts));
  return rules;
}

inline RoundTrip roundTrip(const Database& database, std::optional<Release> release) {
  RoundTrip trip;
  trip.script = scriptOf(database, targetOf(release));
  trip.text = textOf(trip.script);
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  const auto report = embedded::loadScript(catalog, "script", "select 1\ngo\n" + trip.text,
                                           {.stopAtFirstError = false});
  for (const auto& error : report.errors) trip.errors.push_back(error.describe());
  trip.again = readAll(*catalog.connect());
  trip.differences = lines(compare(database, trip.again, everything()));
  return trip;
}

inline void expectSame(const Database& database, std::optional<Release> release,
                       const std::string& what) {
  const RoundTrip trip = roundTrip(database, release);
  const std::string where =
      what + ", release " + (release ? std::to_string(static_cast<int>(*release)) : "any") + "\n" +
      (trip.errors.empty() && trip.differences.empty() ? "" : trip.text.substr(0, 6000));
  EXPECT_EQ(trip.errors, Lines()) << where;
  EXPECT_EQ(trip.differences, Lines()) << where;
  // Where proxies lead to is of the server.
  for (const Omission& one : trip.script.omissions) {
    if (one.what.starts_with("server of ")) continue;
    ADD_FAILURE() << where << "left out: " << one.what << ": " << one.reason;
  }
}

}  // namespace kelvane::inventory
