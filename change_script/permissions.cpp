// Steps for permissions: what goes, then what comes.

#include <algorithm>
#include <map>

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
  std::string grantor;
  if (!permission.grantor.empty())
    grantor = " and p.grantor = user_id(" + literal(permission.grantor) + ")";
  return "exists (select 1 from sysprotects p, master..spt_values v\n    where p.id = " + id +
         " and p.uid = user_id(" + literal(permission.grantee) + ")" + grantor +
         " and p.protecttype < 2\n    and p.action = v.number and v.type = 'T' and lower(v.name) "
         "= " +
         literal(action) + ")";
}

bool onlyGainsOption(const Change& part) {
  const auto* now = is<Permission>(part);
  return part.isOnBothSides() && part.attributes.size() == 1 &&
         hasAttribute(part, "grant option") && now->grantOption && now->effect == "grant";
}

class PermissionPlan {
 public:
  PermissionPlan(Planner& planner, const Change& object, const QualifiedName& name)
      : planner_(planner), object_(object), name_(name) {}

  void planOld() {
    for (const Change& part : object_.parts) {
      if (part.kind == Kind::permission && was<Permission>(part) != nullptr) planOld(part);
    }
  }

  void planNew() {
    for (const bool takes : {false, true}) {
      for (const Change& part : object_.parts) {
        const auto* now = part.kind == Kind::permission ? is<Permission>(part) : nullptr;
        if (now != nullptr && (now->effect != "grant") == takes) planNew(part, *now, takes);
      }
    }
  }

 private:
  std::size_t add(const Change& part, const std::vector<Permission>& some,
                  std::vector<Danger> dangers) {
    std::vector<Batch> batches;
    for (const Permission& one : some) {
      for (Batch& batch : planner_.fromSource([&](Writing& writing) {
             writePermissions(writing, Phase::permissions, name_, {one});
           })) {
        batches.push_back(std::move(batch));
      }
    }
    return planner_.add(Stage::permissions, described(object_, &part), std::move(batches),
                        std::move(dangers));
  }

  void planOld(const Change& part) {
    const Permission& old = *was<Permission>(part);
    if (onlyGainsOption(part)) return;
    if (!old.condition.empty())
      return planner_.omit(described(object_, &part),
                           "a condition is taken away by its name, which is not known");
    Permission grant = old, revoke = old;
    grant.effect = "grant";
    revoke.effect = "revoke";
    grant.grantOption = revoke.grantOption = false;
    // Only the revoke of something granted leaves nothing.
    if (old.effect != "grant") {
      const std::size_t at = add(part, {grant, revoke}, {});
      // Where the script is started again, who had it may be gone.
      const auto& roles = planner_.target().roles;
      if (std::ranges::find(roles, old.grantee, &Role::name) != roles.end()) return;
      for (Batch& batch : planner_.step(at).batches)
        batch.text.insert(0, "if user_id(" + literal(old.grantee) + ") is not null\n    ");
      return;
    }
    const std::size_t at = add(part, {revoke}, {Danger::revoke});
    for (Batch& batch : planner_.step(at).batches)
      batch.text.insert(0, "if " + granted(old, name_) + "\n    ");
    revokes_.emplace(&part, at);
  }

  void planNew(const Change& part, const Permission& now, bool takes) {
    // Beside the old condition the new one would let see more.
    const auto* old = was<Permission>(part);
    if (old != nullptr && !old->condition.empty()) return;
    const std::size_t at =
        add(part, {now}, takes ? std::vector{Danger::revoke} : std::vector<Danger>{});
    planner_.needMade(at, Kind::user, now.grantee);
    // Something is withheld from those who have it through others.
    std::vector<std::size_t>& grants = grants_[now.action];
    if (takes) {
      planner_.step(at).needs.insert(planner_.step(at).needs.end(), grants.begin(), grants.end());
    } else {
      grants.push_back(at);
    }
    if (const auto found = revokes_.find(&part); found != revokes_.end())
      planner_.step(at).needs.push_back(found->second);
  }

  Planner& planner_;
  const Change& object_;
  const QualifiedName& name_;
  std::map<const Change*, std::size_t> revokes_;
  std::map<std::string, std::vector<std::size_t>> grants_;  ///< that come, by their action
};

}  // namespace

void planKeptPermissions(Planner& planner, const Change& object, const QualifiedName& name) {
  if (!planner.allows(Danger::revoke)) PermissionPlan(planner, object, name).planOld();
}

// What goes, then what comes: a statement says more than the row that it leaves.
void planPermissions(Planner& planner, const Change& object, const QualifiedName& name) {
  PermissionPlan plan(planner, object, name);
  plan.planOld();
  plan.planNew();
}

}  // namespace kelvane::change_script
