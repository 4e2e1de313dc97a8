#include "reader/ase_fetch.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "reader/procedures.h"

namespace kelvane {
namespace {

struct Category {
  Boolean cComparisonOptions::*enabled;
  bool (*process)(reader::FetchContext&);
};

constexpr Category kCategories[] = {
    {&cComparisonOptions::Tables, reader::ProcessTables},
    {&cComparisonOptions::Views, reader::ProcessViews},
    {&cComparisonOptions::StoredProcs, reader::ProcessStoredProcs},
    {&cComparisonOptions::Functions, reader::ProcessFunctions},
    {&cComparisonOptions::UDDTs, reader::ProcessUDDTs},
    {&cComparisonOptions::Users, reader::ProcessUsers},
    {&cComparisonOptions::Groups, reader::ProcessGroups},
};

// The list procedure of each enumEntityType, in the order of its values.
constexpr reader::Status (*kLists[])(reader::FetchContext&) = {
    reader::PopulateTableList,    reader::PopulateViewList,  reader::PopulateStoredProcList,
    reader::PopulateUDDTList,     reader::PopulateGroupList, reader::PopulateUserList,
    reader::PopulateFunctionList,
};

// Makes a sink the one of the call under way. A handler may make another call, with a sink that
// lives no longer than that call: then the sink of the outer call is the current one again.
class CurrentSink {
 public:
  CurrentSink(reader::FetchContext& context, IDBFetchEvents& sink)
      : context_(context), outer_(std::exchange(context.events, &sink)) {}
  CurrentSink(const CurrentSink&) = delete;
  CurrentSink& operator=(const CurrentSink&) = delete;
  ~CurrentSink() { context_.events = outer_; }

 private:
  reader::FetchContext& context_;
  IDBFetchEvents* outer_;
};

}  // namespace

cASE_Fetch::cASE_Fetch(Host& host) { context_.host = &host; }

std::shared_ptr<cComparisonOptions> cASE_Fetch::CompareOptions() const {
  return context_.compareOptions;
}

void cASE_Fetch::CompareOptions(std::shared_ptr<cComparisonOptions> options) {
  context_.compareOptions = std::move(options);
}

void cASE_Fetch::AppliesTo(std::shared_ptr<cAppliesTo> scope) {
  context_.appliesTo = std::move(scope);
}

Boolean cASE_Fetch::Fetch(IDBFetchEvents& oEvents) {
  context_.schema = {};
  context_.extent = {};
  const CurrentSink sink(context_, oEvents);
  oEvents.StartProcessing(u"Starting", True, OBJECT_SERVER);
  reader::ReadServerVersion(context_);
  reader::PopulateCaseSensitivity(context_);
  const bool succeeded = context_.trapped(u"Fetch", false, [&] {
    return std::ranges::all_of(kCategories, [&](const Category& category) {
      return !(context_.options().*category.enabled) || category.process(context_);
    });
  });
  context_.cancelled = false;
  oEvents.EndProcessing(OBJECT_SERVER);
  return succeeded;
}

Boolean cASE_Fetch::GetList(enumEntityType Entity, IDBFetchEvents& oEvents) {
  const CurrentSink sink(context_, oEvents);
  if (Entity < 0 || static_cast<std::size_t>(Entity) >= std::size(kLists)) return False;
  return kLists[Entity](context_) != reader::kFailed;
}

}  // namespace kelvane
