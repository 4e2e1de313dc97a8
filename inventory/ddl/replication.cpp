// Marks for replication.

#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

/// Whether "owner_on, use_index" has the word.
bool has(const std::string& modes, const std::string& word) {
  return (", " + modes + ", ").find(", " + word + ", ") != std::string::npos;
}

bool allows(Writing& writing, Phase phase, const std::string& modes, const std::string& word,
            const std::string& title) {
  return has(modes, word) &&
         writing.allows(TargetRelease::ase15, phase, title + ": replication mode " + word);
}

}  // namespace

void writeReplication(Writing& writing, const Table& table) {
  const std::string& modes = table.replicationModes;
  const bool isNever = has(modes, "never"), hasOwner = has(modes, "owner_on");
  const std::string name = argument({table.name.owner, table.name.name});
  if (!table.replicated && !isNever) {
    if (hasOwner) writing.call(Phase::bindings, "exec sp_setrepdefmode " + name + ", 'owner_on'");
    return;
  }
  if (isNever && !allows(writing, Phase::bindings, modes, "never", titleOf(table))) return;
  const bool usesIndex = allows(writing, Phase::bindings, modes, "use_index", titleOf(table));
  std::string call = "exec sp_setreptable " + name + (isNever ? ", 'never'" : ", 'true'");
  if (hasOwner || usesIndex) call += hasOwner ? ", 'owner_on'" : ", 'owner_off'";
  if (usesIndex) call += ", 'use_index'";
  writing.call(Phase::bindings, std::move(call));
}

void writeReplication(Writing& writing, const Procedure& procedure) {
  if (!procedure.replicated) return;
  const std::string& modes = procedure.replicationModes;
  std::string call = "exec sp_setrepproc " + argument({procedure.name.name}) +
                     (has(modes, "table") ? ", 'table'" : ", 'function'");
  if (allows(writing, Phase::endings, modes, "log_current", "procedure " + nameOf(procedure)))
    call += ", 'log_current'";
  writing.call(Phase::endings, std::move(call), Writing::userFor(procedure.name.owner));
}

}  // namespace kelvane::inventory
