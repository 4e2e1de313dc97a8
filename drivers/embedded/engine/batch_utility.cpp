// Statements for the administrator: those that a catalog keeps something of, those that it does
// not, and those that would have to do what this server cannot.

#include <algorithm>
#include <array>

#include "drivers/embedded/engine/batch.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

enum class Effect { None, NewDatabase, NewRole };

struct UtilityRule {
  std::string_view verb;
  Effect effect;
};

constexpr std::array kUtilities = {
    UtilityRule{"alter database", Effect::None},
    UtilityRule{"alter login", Effect::None},
    UtilityRule{"alter role", Effect::None},
    UtilityRule{"checkpoint", Effect::None},
    UtilityRule{"create database", Effect::NewDatabase},
    UtilityRule{"create login", Effect::None},
    UtilityRule{"create plan", Effect::None},
    UtilityRule{"create role", Effect::NewRole},
    UtilityRule{"dbcc", Effect::None},
    UtilityRule{"delete statistics", Effect::None},
    UtilityRule{"disk", Effect::None},
    UtilityRule{"dump", Effect::None},
    UtilityRule{"lock", Effect::None},
    UtilityRule{"online", Effect::None},
    UtilityRule{"quiesce", Effect::None},
    UtilityRule{"reconfigure", Effect::None},
    UtilityRule{"reorg", Effect::None},
    UtilityRule{"update statistics", Effect::None},
    UtilityRule{"update all", Effect::None},
    UtilityRule{"update index", Effect::None},
    UtilityRule{"update table", Effect::None},
};

}  // namespace

void BatchRun::ignored(const std::string& what) {
  Notice notice{{0, 10, 1, what + " leaves no trace in the catalog and was ignored"},
                session_.caller.line};
  notice.ignored = true;
  outcome_.notice(notice);
}

void BatchRun::utility(const Utility& utility) {
  const auto* rule = std::ranges::find(kUtilities, utility.verb, &UtilityRule::verb);
  if (rule == kUtilities.end()) {
    throw ServerError(kNotSupported, 16, 1,
                      "The embedded catalog cannot execute '" + utility.verb + "'.",
                      session_.caller.line);
  }
  switch (rule->effect) {
    case Effect::NewDatabase:
      return server_.catalog.createDatabase(utility.object, session_.caller);
    case Effect::NewRole:
      return server_.catalog.createRole(utility.object, session_.caller);
    case Effect::None:
      return ignored("'" + utility.verb + "'");
  }
}

}  // namespace kelvane::embedded
