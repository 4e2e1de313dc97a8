// Views, functions, procedures and triggers.

#include <map>

#include "inventory/ddl/used_names.h"
#include "inventory/ddl/writing.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

void writeView(Writing& writing, const View& view) {
  const std::string title = titleOf(Kind::view, shown(view.name));
  if (view.precomputed && !writing.allows(TargetRelease::ase15, Phase::compiled, title)) return;
  if (!writing.addDefinition(Phase::compiled, title, view.definition, view.name.owner)) return;
  writeLogicalKeys(writing, title, view.name, view.logicalKeys);
  writeTriggers(writing, view.name, view.triggers);
  writePermissions(writing, Phase::permissions, view.name, view.permissions);
}

void writeFunction(Writing& writing, const Function& function) {
  const std::string title = titleOf(Kind::function, shown(function.name));
  const bool isLater = function.language.empty();
  if (isLater && !writing.allows(TargetRelease::ase15, Phase::compiled, title)) return;
  if (writing.addDefinition(Phase::compiled, title, function.definition, function.name.owner))
    writePermissions(writing, Phase::permissions, function.name, function.permissions);
}

void writeProcedure(Writing& writing, const Procedure& procedure) {
  const std::string title = titleOf(Kind::procedure, nameOf(procedure));
  const std::string user = Writing::userFor(procedure.name.owner);
  for (const Parameter& parameter : procedure.parameters) {
    if (!writing.allowsType(parameter.type, Phase::compiled, title)) return;
  }
  if (procedure.language == "library") {
    writing.call(Phase::compiled, "exec sp_addextendedproc " + argument({procedure.name.name}) +
                                      ", " + literal(procedure.definition.text));
  } else if (!writing.addDefinition(Phase::compiled, title, procedure.definition,
                                    procedure.name.owner)) {
    return;
  }
  const std::string name = argument({procedure.name.name});
  if (procedure.mode == "chained" || procedure.mode == "anymode")
    writing.call(Phase::endings, "exec sp_procxmode " + name + ", " + literal(procedure.mode),
                 user);
  writeReplication(writing, procedure);
  writePermissions(writing, Phase::permissions, procedure.name, procedure.permissions);
}

/// A view, a function, or the procedures of a group, which are one object.
struct Compiled {
  const View* view = nullptr;
  const Function* function = nullptr;
  std::vector<const Procedure*> group = {};
  std::string text = {};

  Kind kind() const {
    return view != nullptr ? Kind::view : function != nullptr ? Kind::function : Kind::procedure;
  }
  const QualifiedName& name() const {
    return view != nullptr       ? view->name
           : function != nullptr ? function->name
                                 : group.front()->name;
  }
  NamedText namedText() const {
    if (view != nullptr)
      return {view->name.name, view->definition.text, view->definition.quotedIdentifier};
    if (function != nullptr)
      return {function->name.name, function->definition.text,
              function->definition.quotedIdentifier};
    return {group.front()->name.name, text, group.front()->definition.quotedIdentifier};
  }
};

std::vector<Compiled> compiledOf(const Database& database) {
  std::vector<Compiled> all;
  all.reserve(database.views.size() + database.functions.size() + database.procedures.size());
  for (const View& view : database.views) all.push_back({&view});
  for (const Function& function : database.functions) all.push_back({nullptr, &function});
  std::map<std::pair<std::string_view, std::string_view>, std::size_t> groups;
  for (const Procedure& procedure : database.procedures) {
    const auto [found, isNew] =
        groups.try_emplace({procedure.name.owner, procedure.name.name}, all.size());
    if (isNew) all.emplace_back();
    Compiled& one = all[found->second];
    one.group.push_back(&procedure);
    one.text += procedure.definition.text + '\n';
  }
  return all;
}

void writeCompiled(Writing& writing, const Compiled& one) {
  if (one.view != nullptr) writeView(writing, *one.view);
  if (one.function != nullptr) writeFunction(writing, *one.function);
  for (const Procedure* procedure : one.group) writeProcedure(writing, *procedure);
}

}  // namespace

void writeTriggers(Writing& writing, const QualifiedName& table,
                   const std::vector<Trigger>& triggers) {
  for (const Trigger& trigger : triggers) {
    const std::string title = titleOf(Kind::trigger, shown(trigger.name));
    if (!writing.allowsName(trigger.name.name, Phase::triggers, title)) continue;
    if (trigger.insteadOf && !writing.allows(TargetRelease::ase15, Phase::triggers, title))
      continue;
    if (trigger.order && !writing.allows(TargetRelease::ase16, Phase::triggers, title)) continue;
    if (!writing.addDefinition(Phase::triggers, title, trigger.definition, trigger.name.owner))
      continue;
    if (!trigger.disabled) continue;
    Statement alter("alter table ");
    alter.name(table) << " disable trigger ";
    alter.name(trigger.name.name);
    writing.add(Phase::endings, alter);
  }
}

void writeCompiled(Writing& writing) {
  const std::vector<Compiled> all = compiledOf(writing.database());
  std::vector<NamedText> texts;
  texts.reserve(all.size());
  for (const Compiled& one : all) texts.push_back(one.namedText());
  for (const std::size_t at : inOrderOfUse(texts, writing.database().server.ignoresCase)) {
    const Compiled& one = all[at];
    const QualifiedName& name = one.name();
    writing.begin(one.kind(), shown(name), {name.owner, name.name});
    if (writing.allowsName(name.name, Phase::compiled, titleOf(one.kind(), shown(name))))
      writeCompiled(writing, one);
    writing.end();
  }
}

}  // namespace kelvane::inventory
