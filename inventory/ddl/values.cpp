// Defaults, rules, types and encryption keys.

#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {

void writeType(Writing& writing, const UserType& type) {
  const std::string user = Writing::userFor(type.name.owner);
  const std::string name = argument({type.name.name});
  if (!writing.allowsName(type.name.name, Phase::values, titleOf(Kind::type, shown(type.name))))
    return;
  if (!type.base.identity &&
      !writing.allowsType(type.base.type, Phase::values, titleOf(Kind::type, shown(type.name))))
    return;
  Column column;
  column.type = type.base;
  const ColumnType base = typeFor(writing, column);
  if (base != type.base) {
    writing.omit(
        Phase::values,
        titleOf(Kind::type, shown(type.name)) + ": identity of type " + shown(type.base.type),
        writing.lacks("it") + ": it is " + shown(base.type) + " there");
  }
  const std::string_view null = type.base.identity   ? "identity"
                                : type.base.nullable ? "null"
                                                     : "not null";
  writing.call(Phase::values,
               "exec sp_addtype " + name + ", " + literal(shown(base.type)) + ", " + literal(null),
               user);
}

/// Columns say for themselves what is bound to them.
void writeTypeBindings(Writing& writing, const UserType& type) {
  if (writing.isLeftOut(titleOf(Kind::type, shown(type.name)))) return;
  const std::string user = Writing::userFor(type.name.owner);
  const std::string name = argument({type.name.name});
  const auto bind = [&](std::string_view procedure, Kind kind, const QualifiedName& bound) {
    if (bound == QualifiedName{}) return;
    const std::string what = titleOf(Kind::type, shown(type.name)) + ": ";
    if (!writing.allowsUse(Phase::bindings, what + std::string(rowOf(kind).singular),
                           titleOf(kind, shown(bound))))
      return;
    writing.call(Phase::bindings,
                 "exec " + std::string(procedure) + " " + argument({bound.owner, bound.name}) +
                     ", " + name + ", 'futureonly'",
                 user);
  };
  bind("sp_bindefault", Kind::defaultObject, type.defaultValue);
  bind("sp_bindrule", Kind::rule, type.rule);
  bind("sp_bindrule", Kind::rule, type.accessRule);
}

void writeKey(Writing& writing, const EncryptionKey& key) {
  const std::string title = titleOf(Kind::encryptionKey, shown(key.name));
  if (!writing.allows(TargetRelease::ase15, Phase::values, title)) return;
  const bool hasSecret = key.hasPassword || !key.copies.empty() || key.kind.ends_with("master");
  if (hasSecret) writing.omit(Phase::values, title, "its password is not known");
  if (key.kind.ends_with("master")) return;
  Statement create("create encryption key ");
  create.name(key.name) << (key.kind == "default" ? " as default" : "") << " for " << key.algorithm;
  std::string_view separator = " with ";
  if (key.length)
    create << std::exchange(separator, " ") << "keylength " << std::to_string(*key.length);
  // Servers do not show the rest.
  if (writing.database().server.embedded) {
    create << std::exchange(separator, " ") << "init_vector "
           << (key.randomVector ? "random" : "null") << " pad "
           << (key.randomPadding ? "random" : "null");
  }
  if (key.dualControl) create << " dual_control";
  // To be completed by hand.
  if (hasSecret)
    return writing.add(Phase::values, "-- " + create.text() + " passwd '...'", {}, false);
  writing.add(Phase::values, create);
  writePermissions(writing, Phase::permissions, key.name, key.permissions);
}

void writeText(Writing& writing, Phase phase, Kind kind, const QualifiedName& name,
               const Definition& definition) {
  const std::string title = titleOf(kind, shown(name));
  if (writing.allowsName(name.name, phase, title))
    writing.addDefinition(phase, kind, name, title, definition);
}

}  // namespace kelvane::inventory
