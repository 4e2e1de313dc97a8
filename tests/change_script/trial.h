// A change script that is planned, written, and run on a copy of its target.
#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>

#include "change_script/plan.h"
#include "change_script/write.h"
#include "drivers/embedded/script.h"
#include "inventory/ddl/ddl.h"
#include "inventory/shown.h"
#include "tests/inventory/change_text.h"
#include "tests/inventory_read/support.h"

namespace kelvane::change_script {

using inventory::Change;
using inventory::Database;
using inventory::Lines;
using inventory::Release;

inline inventory::Rules everything() {
  inventory::Rules rules;
  rules.compared.set();
  rules.compared.reset(static_cast<std::size_t>(inventory::Family::rowCounts));
  return rules;
}

/// "narrow,convert"; all: every class.
inline Allowed allowed(std::string_view words) {
  Allowed all;
  for (const DangerRow& row : kDangers) {
    if (words == "all" ||
        ("," + std::string(words) + ",").find("," + std::string(row.word) + ",") !=
            std::string::npos)
      all.add(row.danger);
  }
  return all;
}

inline PlanOptions optionsFor(std::optional<Release> release, std::string_view words) {
  PlanOptions options;
  if (release) options.release = static_cast<inventory::TargetRelease>(*release);
  options.allowed = allowed(words);
  return options;
}

inline std::string textOf(const ChangeScript& script) {
  std::ostringstream out;
  write(script, {}, out);
  return out.str();
}

inline Lines load(embedded::EmbeddedCatalog& catalog, const std::string& text) {
  Lines errors;
  const auto report =
      embedded::loadScript(catalog, "script", "select 1\ngo\n" + text, {.stopAtFirstError = false});
  for (const auto& error : report.errors)
    errors.push_back(error.describe() + ": " + error.statement);
  return errors;
}

/// A catalog with what the database declares.
inline embedded::EmbeddedCatalog copyOf(const Database& database, std::optional<Release> release) {
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  std::ostringstream out;
  inventory::write(inventory::scriptOf(database, optionsFor(release, "").release), out);
  EXPECT_EQ(load(catalog, out.str()), Lines());
  return catalog;
}

struct Trial {
  ChangeScript script;
  std::string text;
  Lines errors;
  Database result;
  std::vector<Change> left;
  Lines notDone;  ///< differences of the steps that are comments

  /// What is left without an omission that names its object.
  Lines unexplained() const {
    Lines lines;
    for (const Change& change : left) {
      const bool isNamed = std::ranges::any_of(script.omissions, [&](const auto& one) {
        return one.what.find(change.name) != std::string::npos || change.name.empty();
      });
      if (isNamed) continue;
      for (const std::string& line : inventory::lines({change})) lines.push_back(line);
    }
    return lines;
  }
};

inline Trial tried(const Database& source, const Database& target, std::optional<Release> release,
                   std::string_view words) {
  Trial trial;
  const std::vector<Change> changes = inventory::compare(source, target, everything());
  trial.script = plan(source, target, changes, optionsFor(release, words));
  trial.text = textOf(trial.script);
  for (const Step& step : trial.script.steps) {
    if (!step.isAllowed) trial.notDone.push_back(whyNot(step) + ": " + step.difference);
  }
  embedded::EmbeddedCatalog catalog = copyOf(target, release);
  trial.errors = load(catalog, trial.text);
  trial.result = inventory::readAll(*catalog.connect());
  trial.left = inventory::compare(source, trial.result, everything());
  return trial;
}

inline std::vector<std::string> batchesOf(const std::string& text) {
  std::vector<std::string> batches;
  constexpr std::string_view kEnd = "\ngo\n";
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find(kEnd, from), text.size() - kEnd.size());
    batches.push_back(text.substr(from, end + kEnd.size() - from));
    from = end + kEnd.size();
  }
  return batches;
}

/// Stopped behind each batch in turn, and started again.
inline void expectGoesOn(const Database& source, const Database& target,
                         std::optional<Release> release) {
  const Trial whole = tried(source, target, release, "all");
  std::string done;
  for (const std::string& batch : batchesOf(whole.text)) {
    done += batch;
    embedded::EmbeddedCatalog catalog = copyOf(target, release);
    ASSERT_EQ(load(catalog, done), Lines());
    ASSERT_EQ(load(catalog, whole.text), Lines()) << "stopped behind\n" << batch;
    const Database result = inventory::readAll(*catalog.connect());
    ASSERT_EQ(inventory::lines(inventory::compare(source, result, everything())),
              inventory::lines(whole.left))
        << "stopped behind\n"
        << batch;
  }
}

}  // namespace kelvane::change_script
