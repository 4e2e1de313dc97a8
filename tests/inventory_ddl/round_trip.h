// A database, written as a script, loaded into an empty catalog and read again.
#pragma once

#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "drivers/embedded/script.h"
#include "inventory/ddl/ddl.h"
#include "inventory/ddl/files.h"
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

/// One script, or the files of a folder.
enum class Written : std::uint8_t { asScript, asFiles };

/// The files in the order of their names, as they run.
inline std::vector<embedded::ScriptText> filesOf(const Script& script) {
  std::map<std::string, std::string> texts;
  for (const ScriptedObject& object : script.objects) texts[object.file] = fileText(object);
  std::vector<std::string> names, contents;
  for (auto& [name, text] : texts) {
    names.push_back(name);
    contents.push_back(std::move(text));
  }
  std::vector<embedded::ScriptText> all{{"first", "select 1"}};
  for (FilePart& part : inRunningOrder(contents, false))
    all.push_back({names[part.file], std::move(part.text)});
  return all;
}

inline RoundTrip roundTrip(const Database& database, std::optional<Release> release,
                           Written written = Written::asScript) {
  RoundTrip trip;
  trip.script = scriptOf(database, targetOf(release));
  std::vector<embedded::ScriptText> texts;
  if (written == Written::asScript) {
    texts.push_back({"script", "select 1\ngo\n" + textOf(trip.script)});
  } else {
    texts = filesOf(trip.script);
  }
  for (const embedded::ScriptText& one : texts) trip.text += one.text;
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  const auto report = embedded::loadTexts(catalog, texts, {.stopAtFirstError = false});
  for (const auto& error : report.errors) trip.errors.push_back(error.describe());
  trip.again = readAll(*catalog.connect());
  trip.differences = lines(compare(database, trip.again, everything()));
  return trip;
}

/// Returns what was read again.
inline Database expectSame(const Database& database, std::optional<Release> release,
                           const std::string& what) {
  Database again;
  for (const Written written : {Written::asScript, Written::asFiles}) {
    const RoundTrip trip = roundTrip(database, release, written);
    const std::string where =
        what + ", release " + (release ? std::to_string(static_cast<int>(*release)) : "any") +
        (written == Written::asFiles ? ", files\n" : "\n") +
        (trip.errors.empty() && trip.differences.empty() ? "" : trip.text.substr(0, 6000));
    EXPECT_EQ(trip.errors, Lines()) << where;
    EXPECT_EQ(trip.differences, Lines()) << where;
    again = trip.again;
    // Where proxies lead to is of the server.
    for (const Omission& one : trip.script.omissions) {
      if (one.what.starts_with("server of ")) continue;
      ADD_FAILURE() << where << "left out: " << one.what << ": " << one.reason;
    }
  }
  return again;
}

/// Also that the same database, as it is read, gives the same text.
inline void expectSameText(const Database& database, std::optional<Release> release,
                           const std::string& what) {
  const Database again = expectSame(database, release, what);
  const auto target = targetOf(release);
  EXPECT_EQ(textOf(scriptOf(again, target)), textOf(scriptOf(database, target))) << what;
}

}  // namespace kelvane::inventory
