#include "inventory/shown.h"

#include <utility>

namespace kelvane::inventory {
namespace {

template <class Item, class Text>
std::string list(const std::vector<Item>& items, Text text) {
  std::string all;
  for (const Item& item : items) {
    all += all.empty() ? "(" : ", ";
    all += text(item);
  }
  return all.empty() ? all : all + ')';
}

template <class Number>
std::string number(const std::optional<Number>& value) {
  return value ? std::to_string(*value) : std::string();
}

std::string clustered(const IndexStorage& storage) { return storage.clustered ? "clustered " : ""; }

std::string preposition(const Permission& permission) {
  return permission.effect == "revoke" ? " from " : " to ";
}

}  // namespace

std::string shown(bool value) { return value ? "yes" : "no"; }
std::string shown(const std::string& value) { return value; }
std::string shown(const std::optional<std::int16_t>& value) { return number(value); }
std::string shown(const std::optional<std::int32_t>& value) { return number(value); }
std::string shown(const std::optional<std::int64_t>& value) { return number(value); }
std::string shown(std::int32_t value) { return std::to_string(value); }

std::string shown(const QualifiedName& value) {
  return value.owner.empty() ? value.name : value.owner + '.' + value.name;
}

std::string shown(const DatabaseObjectName& value) {
  const std::string name = shown(QualifiedName{value.owner, value.name});
  return value.database.empty() ? name : value.database + '.' + name;
}

std::string shown(const DataType& value) {
  std::string text = shown(QualifiedName{*value.owner, value.name});
  if (value.length) {
    text += '(' + std::to_string(*value.length) + ')';
  } else if (value.precision) {
    text += '(' + std::to_string(*value.precision);
    if (value.scale) text += ',' + std::to_string(*value.scale);
    text += ')';
  }
  return text;
}

std::string shown(const ColumnType& value) {
  if (value.type == DataType{}) return {};
  return shown(value.type) + (value.identity   ? " identity"
                              : value.nullable ? " null"
                                               : " not null");
}

std::string shown(const DefaultValue& value) {
  if (value.bound != QualifiedName{}) return "bound " + shown(value.bound);
  return shown(Definition{value.text, value.state});
}

std::string shown(const Definition& value) {
  switch (value.state) {
    case Definition::State::whole:
      break;
    case Definition::State::hidden:
      return "(hidden)";
    case Definition::State::incomplete:
      return "(incomplete) " + value.text;
    case Definition::State::unreadable:
      return "(not readable)";
  }
  return value.text;
}

std::string shown(const GivenName& value) { return value.generated ? std::string() : value.name; }

std::string shown(const KeyColumn& value) {
  const std::string name = shown(Definition{value.name, value.state});
  return value.descending ? name + " desc" : name;
}

std::string shown(const std::vector<std::string>& value) {
  return list(value, [](const std::string& item) { return item; });
}

std::string shown(const std::vector<KeyColumn>& value) {
  return list(value, [](const KeyColumn& key) { return shown(key); });
}

std::string nameOf(const Procedure& procedure) {
  const std::string name = shown(procedure.name);
  return procedure.number > 1 ? name + ';' + std::to_string(procedure.number) : name;
}

std::string nameOf(const Trigger& trigger) { return shown(trigger.name); }

std::string nameOf(const LogicalKey& key) {
  const std::string columns = key.kind + ' ' + shown(key.columns);
  const std::string other = shown(key.other) + shown(key.otherColumns);
  return other.empty() ? columns : columns + " of " + other;
}

std::string nameOf(const Permission& permission) {
  return permission.effect + ' ' + permission.action + preposition(permission) + permission.grantee;
}

std::string nameOf(const Alias& alias) { return alias.login; }

std::string nameOf(const Message& message) {
  const std::string number = std::to_string(message.number);
  return message.language.empty() ? number : number + " (" + message.language + ')';
}

std::string nameOf(const Threshold& threshold) {
  return threshold.segment + " at " + std::to_string(threshold.freePages) + " pages";
}

std::string nameOf(const Settings&) { return {}; }

std::string declaration(const KeyConstraint& key) {
  const std::string_view words = key.primary ? "primary key " : "unique ";
  return withAttributes(std::string(words) + clustered(key) + shown(key.columns), key,
                        {"primary key", "clustered", "columns"});
}

std::string declaration(const ForeignKey& key) {
  std::string line = shown(key.columns) + " references " + shown(key.referenced);
  if (!key.referencedColumns.empty()) line += ' ' + shown(key.referencedColumns);
  if (key.matchFull) line += " match full";
  return withAttributes(std::move(line), key,
                        {"columns", "references", "referenced columns", "match full"});
}

std::string declaration(const Index& index) {
  return withAttributes((index.unique ? "unique " : "") + clustered(index) + shown(index.columns),
                        index, {"unique", "clustered", "columns"});
}

std::string declaration(const Permission& granted) {
  std::string line = granted.effect + ' ' + granted.action;
  if (!granted.columns.empty()) line += ' ' + shown(granted.columns);
  if (!granted.condition.empty()) line += ' ' + granted.condition;
  line += preposition(granted) + granted.grantee;
  if (granted.grantOption) line += " with grant option";
  if (!granted.grantor.empty()) line += " granted by " + granted.grantor;
  return line;
}

}  // namespace kelvane::inventory
