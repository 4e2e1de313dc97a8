// Who may do what.

#include <algorithm>
#include <array>
#include <deque>

#include "inventory/ddl/writing.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

/// Grants of the owner first, then those of whom they let grant. What was taken away from somebody
/// follows what everybody was given.
std::vector<const Permission*> inOrder(const std::vector<Permission>& permissions,
                                       const std::string& owner) {
  std::vector<const Permission*> order;
  std::deque<std::string_view> grantors{owner, "dbo"};
  std::vector<bool> isTaken(permissions.size(), false);
  while (!grantors.empty()) {
    const std::string_view grantor = grantors.front();
    grantors.pop_front();
    for (std::size_t at = 0; at < permissions.size(); ++at) {
      const Permission& one = permissions[at];
      if (isTaken[at] || (one.grantor != grantor && !one.grantor.empty())) continue;
      isTaken[at] = true;
      order.push_back(&one);
      if (one.grantOption) grantors.push_back(one.grantee);
    }
  }
  for (std::size_t at = 0; at < permissions.size(); ++at) {
    if (!isTaken[at]) order.push_back(&permissions[at]);
  }
  std::ranges::stable_partition(order,
                                [](const Permission* one) { return one->effect != "revoke"; });
  return order;
}

/// Why the release does not have it.
std::optional<std::string> reasonToLeaveOut(const Writing& writing, const Permission& permission) {
  static constexpr std::array<std::string_view, 4> kSince15{
      "create encryption key", "create function", "decrypt", "transfer table"};
  if (writing.has(TargetRelease::ase15)) return std::nullopt;
  if (!permission.condition.empty()) return writing.lacks("conditions of grants");
  if (std::ranges::find(kSince15, permission.action) != kSince15.end()) return writing.lacks("it");
  return std::nullopt;
}

bool isKnown(const Permission& permission) {
  constexpr std::string_view kAction = "action ", kColumn = "column ";
  return !permission.action.starts_with(kAction) &&
         std::ranges::none_of(permission.columns, [&](const std::string& column) {
           return column.starts_with(kColumn);
         });
}

}  // namespace

void writePermissions(Writing& writing, Phase phase, const QualifiedName& object,
                      const std::vector<Permission>& permissions) {
  const bool isOfDatabase = object.name.empty();
  for (const Permission* one : inOrder(permissions, object.owner)) {
    if (!isKnown(*one)) {
      writing.omit(phase, declaration(*one) + (isOfDatabase ? "" : " on " + shown(object)),
                   "what it is about is not known");
      continue;
    }
    if (const auto reason = reasonToLeaveOut(writing, *one)) {
      writing.omit(phase, declaration(*one) + (isOfDatabase ? "" : " on " + shown(object)),
                   *reason);
      continue;
    }
    std::string action = one->action;
    QualifiedName on = object;
    constexpr std::string_view kOn = " on ";
    if (const std::size_t at = action.find(kOn); isOfDatabase && at != std::string::npos) {
      on.name = action.substr(at + kOn.size());
      action.resize(at);
    }
    Statement statement(one->effect);
    statement << " " << action;
    if (!on.name.empty()) {
      statement << " on ";
      statement.name(on);
    }
    if (!one->columns.empty()) {
      statement << " ";
      statement.names(one->columns);
    }
    if (!one->condition.empty()) statement << " " << one->condition;
    statement << (one->effect == "revoke" ? " from " : " to ");
    // A reserved word, but a name here.
    if (one->grantee == "public") {
      statement << one->grantee;
    } else {
      statement.name(one->grantee);
    }
    if (one->grantOption) statement << " with grant option";
    writing.add(phase, statement, Writing::userFor(one->grantor.empty() ? "dbo" : one->grantor));
  }
}

}  // namespace kelvane::inventory
