// Steps for permissions: what goes, then what comes.

#include "change_script/changed_records.h"
#include "change_script/planner.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// A revoke of what is not granted takes away what a group has.
std::string granted(const Permission& permission, const QualifiedName& name) {
  constexpr std::string_view kOn = " on ";
  const std::size_t on = permission.action.find(kOn);
  const std::string action = permission.action.substr(0, on);
  const std::string id =
      on != std::string::npos
          ? "object_id(" + literal(permission.action.substr(on + kOn.size())) + ")"
      : name.name.empty() ? "0"
                          : idOf(name);
  return "exists (select 1 from sysprotects p, master..spt_values v\n    where p.id = " + id +
         " and p.uid = user_id(" + literal(permission.grantee) +
         ") and p.protecttype < 2\n    and p.action = v.number and v.type = 'T' and lower(v.name) "
         "= " +
         literal(action) + ")";
}

bool onlyGainsOption(const Change& part) {
  const auto* now = is<Permission>(part);
  return part.isOnBothSides() && part.attributes.size() == 1 &&
         hasAttribute(part, "grant option") && now->grantOption && now->effect == "grant";
}

}  // namespace

void planPermissions(Planner& planner, const Change& object, const QualifiedName& name) {
  const auto add = [&](const Change& part, const std::vector<Permission>& some,
                       std::vector<Danger> dangers) {
    std::vector<Batch> batches;
    for (const Permission& one : some) {
      for (Batch& batch : planner.fromSource([&](Writing& writing) {
             writePermissions(writing, Phase::permissions, name, {one});
           })) {
        batches.push_back(std::move(batch));
      }
    }
    return planner.add(Stage::permissions, described(object, &part), std::move(batches),
                       std::move(dangers));
  };
  // What goes, then what comes: a statement says more than the row that it leaves.
  for (const Change& part : object.parts) {
    const auto* old = part.kind == Kind::permission ? was<Permission>(part) : nullptr;
    if (old == nullptr || onlyGainsOption(part)) continue;
    if (!old->condition.empty()) {
      planner.omit(described(object, &part),
                   "a condition is taken away by its name, which is not known");
      continue;
    }
    Permission grant = *old, revoke = *old;
    grant.effect = "grant";
    revoke.effect = "revoke";
    grant.grantOption = revoke.grantOption = false;
    // Only the revoke of something granted leaves nothing.
    if (old->effect == "grant") {
      Step& step = planner.step(add(part, {revoke}, {Danger::revoke}));
      for (Batch& batch : step.batches)
        batch.text.insert(0, "if " + granted(*old, name) + "\n    ");
    } else {
      add(part, {grant, revoke}, {});
    }
  }
  for (const bool takes : {false, true}) {
    for (const Change& part : object.parts) {
      const auto* now = part.kind == Kind::permission ? is<Permission>(part) : nullptr;
      if (now == nullptr || (now->effect != "grant") != takes) continue;
      // Beside the old condition the new one would let see more.
      const auto* old = was<Permission>(part);
      if (old != nullptr && !old->condition.empty()) continue;
      add(part, {*now}, takes ? std::vector{Danger::revoke} : std::vector<Danger>{});
    }
  }
}

}  // namespace kelvane::change_script
