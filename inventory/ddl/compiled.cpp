// Views, functions, procedures and triggers.

#include "inventory/ddl/writing.h"
#include "inventory/shown.h"

namespace kelvane::inventory {

void writeView(Writing& writing, Phase phase, const View& view) {
  const std::string title = titleOf(Kind::view, shown(view.name));
  if (view.precomputed && !writing.allows(TargetRelease::ase15, phase, title)) return;
  if (writing.addDefinition(phase, Kind::view, view.name, title, view.definition))
    writePermissions(writing, Phase::permissions, view.name, view.permissions);
}

void writeViewParts(Writing& writing, const View& view) {
  const std::string title = titleOf(Kind::view, shown(view.name));
  if (writing.isLeftOut(title)) return;
  writeLogicalKeys(writing, title, view.name, view.logicalKeys);
  writeTriggers(writing, view.name, view.triggers);
}

void writeFunction(Writing& writing, Phase phase, const Function& function) {
  const std::string title = titleOf(Kind::function, shown(function.name));
  const bool isLater = function.language.empty();
  if (isLater && !writing.allows(TargetRelease::ase15, phase, title)) return;
  if (writing.addDefinition(phase, Kind::function, function.name, title, function.definition))
    writePermissions(writing, Phase::permissions, function.name, function.permissions);
}

void writeProcedure(Writing& writing, Phase phase, const Procedure& procedure) {
  const std::string title = titleOf(Kind::procedure, nameOf(procedure));
  const std::string user = Writing::userFor(procedure.name.owner);
  for (const Parameter& parameter : procedure.parameters) {
    if (!writing.allowsType(parameter.type, phase, title)) return;
  }
  if (procedure.language == "library") {
    writing.call(phase, "exec sp_addextendedproc " + argument({procedure.name.name}) + ", " +
                            literal(procedure.definition.text));
  } else if (!writing.addDefinition(phase, Kind::procedure, procedure.name, title,
                                    procedure.definition)) {
    return;
  }
  const std::string name = argument({procedure.name.name});
  if (procedure.mode == "chained" || procedure.mode == "anymode")
    writing.call(Phase::endings, "exec sp_procxmode " + name + ", " + literal(procedure.mode),
                 user);
  writeReplication(writing, procedure);
  writePermissions(writing, Phase::permissions, procedure.name, procedure.permissions);
}

void writeTriggers(Writing& writing, const QualifiedName& table,
                   const std::vector<Trigger>& triggers) {
  const Trigger *onInsert = nullptr, *onUpdate = nullptr, *onDelete = nullptr;
  for (const Trigger& trigger : triggers) {
    const std::string title = titleOf(Kind::trigger, shown(trigger.name));
    if (!writing.allowsName(trigger.name.name, Phase::triggers, title)) continue;
    if (trigger.insteadOf && !writing.allows(TargetRelease::ase15, Phase::triggers, title))
      continue;
    if (trigger.order && !writing.allows(TargetRelease::ase16, Phase::triggers, title)) continue;
    // Another one for an event would take the place of the first.
    const Trigger* other = nullptr;
    for (const auto& [is, first] :
         {std::pair(trigger.onInsert, onInsert), std::pair(trigger.onUpdate, onUpdate),
          std::pair(trigger.onDelete, onDelete)}) {
      if (is && !trigger.insteadOf && first != nullptr) other = first;
    }
    if (other != nullptr && !writing.has(TargetRelease::ase16)) {
      writing.omit(
          Phase::triggers, title,
          writing.lacks("several triggers for an event") + "; " + shown(other->name) + " has it");
      continue;
    }
    if (!writing.addTrigger(title, trigger, table)) continue;
    if (trigger.onInsert && !trigger.insteadOf) onInsert = &trigger;
    if (trigger.onUpdate && !trigger.insteadOf) onUpdate = &trigger;
    if (trigger.onDelete && !trigger.insteadOf) onDelete = &trigger;
    if (!trigger.disabled) continue;
    Statement alter("alter table ");
    alter.name(table) << " disable trigger ";
    alter.name(trigger.name.name);
    writing.add(Phase::endings, alter);
  }
}

}  // namespace kelvane::inventory
