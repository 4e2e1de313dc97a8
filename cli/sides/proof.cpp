#include "cli/sides/proof.h"

#include <sstream>

#include "change_script/reach.h"
#include "drivers/embedded/script.h"
#include "inventory/ddl/ddl.h"
#include "inventory/read/reader.h"

namespace kelvane::cli {
std::optional<embedded::Release> embeddedRelease(std::optional<inventory::TargetRelease> release) {
  if (!release) return std::nullopt;
  switch (*release) {
    case inventory::TargetRelease::ase125:
      return embedded::Release::ase125;
    case inventory::TargetRelease::ase15:
      return embedded::Release::ase15;
    case inventory::TargetRelease::ase16:
      return embedded::Release::ase16;
  }
  return std::nullopt;
}

Proof prove(const Trial& trial) {
  Proof proof;
  embedded::CatalogOptions options;
  options.release = embeddedRelease(trial.release);
  embedded::EmbeddedCatalog catalog(options);
  const auto load = [&](const char* name, const std::string& text, const char* failed) {
    // A script without a statement is an error.
    const auto report =
        embedded::loadScript(catalog, name, "select 1\ngo\n" + text, {.stopAtFirstError = false});
    for (const embedded::ScriptNote& error : report.errors)
      proof.obstacles.push_back(
          failed + error.text +
          (error.statement.empty() ? "" : " (near \"" + error.statement + "\")"));
  };
  const change_script::Reach reach(trial.target, trial.changes, trial.script);
  inventory::Database part = reach.part();
  part.roles.insert(part.roles.end(), trial.roles.begin(), trial.roles.end());
  const inventory::Script made = inventory::scriptOf(part, trial.release, trial.target);
  for (const inventory::Omission& one : made.omissions)
    proof.obstacles.push_back("the target cannot be made for the proof: " + one.what + ": " +
                              one.reason);
  std::ostringstream text;
  write(made, text);
  load("target", text.str(), "the target cannot be made for the proof: ");
  if (!proof.obstacles.empty()) return proof;
  load("script", trial.script, "the script fails: ");
  const auto connection = catalog.connect();
  proof.result =
      reach.whole(inventory::read(*connection, {.bits = inventory::StatusBits::embedded}));
  return proof;
}

}  // namespace kelvane::cli
