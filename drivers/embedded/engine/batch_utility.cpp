// Statements for the administrator: those that a catalog keeps something of, those that it does
// not, and those that would have to do what this server cannot.

#include <algorithm>
#include <iterator>

#include "drivers/embedded/engine/batch.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

enum class Effect { None, NewDatabase, NewRole, Refused };

struct UtilityRule {
  std::string_view verb;
  Effect effect;
};

constexpr UtilityRule kUtilities[] = {
    {"alter database", Effect::None},
    {"alter login", Effect::None},
    {"alter login profile", Effect::None},
    {"alter precomputed result set", Effect::None},
    {"alter role", Effect::None},
    {"alter service", Effect::None},
    {"alter thread pool", Effect::None},
    {"checkpoint", Effect::None},
    {"connect", Effect::Refused},
    {"create database", Effect::NewDatabase},
    {"create login profile", Effect::None},
    {"create plan", Effect::None},
    {"create role", Effect::NewRole},
    {"create service", Effect::None},
    {"create thread pool", Effect::None},
    {"dbcc", Effect::None},
    {"deallocate locator", Effect::None},
    {"delete statistics", Effect::None},
    {"disk", Effect::None},
    {"drop login profile", Effect::None},
    {"drop service", Effect::None},
    {"drop thread pool", Effect::None},
    {"dump", Effect::None},
    {"kill", Effect::Refused},
    {"load", Effect::Refused},
    {"lock", Effect::None},
    {"mount database", Effect::Refused},
    {"online", Effect::None},
    {"prepare", Effect::Refused},
    {"quiesce", Effect::None},
    {"readtext", Effect::Refused},
    {"reconfigure", Effect::None},
    {"refresh precomputed result set", Effect::None},
    {"reorg", Effect::None},
    {"shutdown", Effect::Refused},
    {"transfer table", Effect::None},
    {"truncate lob", Effect::None},
    {"truncate precomputed result set", Effect::None},
    {"unmount database", Effect::Refused},
    {"update all", Effect::None},
    {"update index", Effect::None},
    {"update statistics", Effect::None},
    {"update table", Effect::None},
    {"writetext", Effect::Refused},
};

}  // namespace

void BatchRun::ignored(const std::string& what) {
  Notice notice{ServerMessage(message::partIgnored, what), session_.caller.line};
  notice.ignored = true;
  outcome_.notice(notice);
}

void BatchRun::utility(const Utility& utility) {
  const auto* rule = std::ranges::find(kUtilities, utility.verb, &UtilityRule::verb);
  const Effect effect = rule == std::end(kUtilities) ? Effect::Refused : rule->effect;
  const auto tellOptions = [&] {
    if (utility.hasMore) ignored("what '" + utility.verb + "' says behind the name");
  };
  switch (effect) {
    case Effect::NewDatabase:
      server_.catalog.createDatabase(utility.object, session_.caller);
      return tellOptions();
    case Effect::NewRole:
      server_.catalog.createRole(utility.object, session_.caller);
      return tellOptions();
    case Effect::None:
      return ignored("'" + utility.verb + "'");
    case Effect::Refused:
      throw ServerError(message::cannotExecute, session_.caller.line, utility.verb);
  }
}

}  // namespace kelvane::embedded
