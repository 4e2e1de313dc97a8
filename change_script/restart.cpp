// Calls of system procedures that fail where they have run already.

#include <string_view>

#include "change_script/planner.h"

namespace kelvane::change_script {

using namespace inventory;

namespace {

struct Guard {
  std::string_view call;       ///< up to its first argument that is named below
  std::string_view condition;  ///< $1: the first argument behind `call`
};

constexpr Guard kGuards[] = {
    {"exec sp_addgroup ", "user_id($1) is null"},
    {"exec sp_adduser ", "user_id($2) is null"},
    {"exec sp_addalias ", "not exists (select 1 from sysalternates where suid = suser_id($1))"},
    {"exec sp_dropalias ", "exists (select 1 from sysalternates where suid = suser_id($1))"},
    {"exec sp_addtype ", "not exists (select 1 from systypes where name = $1)"},
    {"exec sp_addmessage ",
     "not exists (select 1 from sysusermessages m, master..syslanguages l\n"
     "    where m.error = $1 and m.langid = l.langid and l.name = $3)"},
    {"exec sp_addmessage ",
     "not exists (select 1 from sysusermessages where error = $1 and isnull(langid, 0) = 0)"},
    {"exec sp_dropmessage ",
     "exists (select 1 from sysusermessages m, master..syslanguages l\n"
     "    where m.error = $1 and m.langid = l.langid and l.name = $2)"},
    {"exec sp_dropmessage ",
     "exists (select 1 from sysusermessages where error = $1 and isnull(langid, 0) = 0)"},
    {"exec sp_addsegment ", "not exists (select 1 from syssegments where name = $1)"},
    {"exec sp_dropsegment ", "exists (select 1 from syssegments where name = $1)"},
    {"exec sp_addthreshold @db, ",
     "not exists (select 1 from systhresholds t, syssegments s\n"
     "    where t.segment = s.segment and s.name = $1 and t.free_space = $2)"},
    {"exec sp_dropthreshold @db, ",
     "exists (select 1 from systhresholds t, syssegments s\n"
     "    where t.segment = s.segment and s.name = $1 and t.free_space = $2)"},
    {"exec sp_primarykey ",
     "not exists (select 1 from syskeys where id = object_id($1) and type = 1)"},
    {"exec sp_foreignkey ",
     "not exists (select 1 from syskeys\n"
     "    where id = object_id($1) and depid = object_id($2) and type = 2)"},
    {"exec sp_dropkey 'primary', ",
     "exists (select 1 from syskeys where id = object_id($1) and type = 1)"},
    {"exec sp_dropkey 'foreign', ",
     "exists (select 1 from syskeys\n"
     "    where id = object_id($1) and depid = object_id($2) and type = 2)"},
};

/// Numbers and texts, as they stand.
std::vector<std::string_view> argumentsOf(std::string_view text) {
  std::vector<std::string_view> all;
  std::size_t from = 0;
  bool isInText = false;
  for (std::size_t at = 0; at <= text.size(); ++at) {
    const char c = at < text.size() ? text[at] : ',';
    if (c == '\'') isInText = !isInText;
    if (isInText || c != ',') continue;
    all.push_back(text.substr(from, at - from));
    from = at + 1;
    while (from < text.size() && text[from] == ' ') ++from;
  }
  return all;
}

std::string conditionOf(const Guard& guard, const std::vector<std::string_view>& arguments) {
  std::string condition;
  for (std::size_t at = 0; at < guard.condition.size(); ++at) {
    const char c = guard.condition[at];
    if (c != '$') {
      condition += c;
      continue;
    }
    const auto number = static_cast<std::size_t>(guard.condition[++at] - '1');
    if (number >= arguments.size()) return {};
    condition += arguments[number];
  }
  return condition;
}

}  // namespace

Batch unboundFrom(const Table& table, const std::string& column, bool isDefault,
                  const QualifiedName& object) {
  const std::string id = idOf(object);
  return callOf("if exists (select 1 from syscolumns where id = " + idOf(table.name) +
                    " and name = " + literal(column) + "\n    and " +
                    (isDefault ? "cdefault = " + id : id + " in (domain, accessrule)") +
                    ")\n    exec " + (isDefault ? "sp_unbindefault " : "sp_unbindrule ") +
                    argument({table.name.name, column}),
                Writing::userFor(table.name.owner));
}

Batch unboundFrom(const UserType& type, bool isDefault, const QualifiedName& object) {
  const std::string id = idOf(object);
  return callOf("if exists (select 1 from systypes where name = " + literal(type.name.name) +
                    "\n    and " +
                    (isDefault ? "tdefault = " + id : id + " in (domain, accessrule)") +
                    ")\n    exec " + (isDefault ? "sp_unbindefault " : "sp_unbindrule ") +
                    argument({type.name.name}) + ", 'futureonly'",
                Writing::userFor(type.name.owner));
}

void makeRestartable(Batch& batch) {
  if (batch.isText) return;
  for (const Guard& guard : kGuards) {
    const std::size_t at = batch.text.find(guard.call);
    if (at == std::string::npos) continue;
    const std::string_view rest = std::string_view(batch.text).substr(at + guard.call.size());
    const std::string condition = conditionOf(guard, argumentsOf(rest.substr(0, rest.find('\n'))));
    const std::string_view before = std::string_view(batch.text).substr(0, at);
    const bool isGuarded = before.ends_with("\n    ") || before.ends_with("is null ");
    if (condition.empty()) continue;
    if (!isGuarded) batch.text.insert(at, "if " + condition + "\n    ");
    return;
  }
}

}  // namespace kelvane::change_script
