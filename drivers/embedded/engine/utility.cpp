#include "drivers/embedded/engine/utility.h"

#include <algorithm>
#include <iterator>

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
    {"default permissions on system tables", Effect::None},
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
    {"update partition", Effect::None},
    {"update statistics", Effect::None},
    {"update table", Effect::None},
    {"writetext", Effect::Refused},
};

}  // namespace

void runUtility(const Utility& utility, Frame& frame, Reporter& reporter) {
  const auto* rule = std::ranges::find(kUtilities, utility.verb, &UtilityRule::verb);
  const Effect effect = rule == std::end(kUtilities) ? Effect::Refused : rule->effect;
  const auto tellOptions = [&] {
    if (utility.hasMore) reporter.ignored("what '" + utility.verb + "' says behind the name");
  };
  switch (effect) {
    case Effect::NewDatabase:
      frame.catalog().createDatabase(utility.object, frame.session().caller);
      return tellOptions();
    case Effect::NewRole:
      frame.catalog().createRole(utility.object, frame.session().caller);
      return tellOptions();
    case Effect::None:
      return reporter.ignored("'" + utility.verb + "'");
    case Effect::Refused:
      throw ServerError(message::cannotExecute, frame.line(), utility.verb);
  }
}

}  // namespace kelvane::embedded
