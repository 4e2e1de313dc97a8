#include "drivers/embedded/catalog/procedures/procedure.h"

#include <algorithm>
#include <array>

#include "drivers/embedded/catalog/name_text.h"

namespace kelvane::embedded {

namespace {

const Procedure* findProcedure(std::string_view name) {
  for (const auto group :
       {columnProcedures(), reportProcedures(), typeProcedures(), userProcedures(),
        objectProcedures(), attributeProcedures(), compiledProcedures(), databaseProcedures(),
        serverProcedures(), helpProcedures(), metadataProcedures(), keyProcedures(),
        privilegeProcedures(), operationProcedures()}) {
    const auto found = std::ranges::find(group, name, &Procedure::name);
    if (found != group.end()) return &*found;
  }
  return nullptr;
}

std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> found;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    found.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return found;
}

std::vector<std::optional<std::string>> valuesOf(const ProcedureCall& call) {
  std::vector<std::optional<std::string>> values;
  values.reserve(call.arguments.size());
  for (const ProcedureArgument& argument : call.arguments) values.push_back(argument.value);
  return values;
}

std::vector<std::optional<std::string>> placeArguments(const Procedure& procedure,
                                                       const ProcedureCall& call,
                                                       const CatalogWriter& writer) {
  if (procedure.parameters == kAnyParameters) return valuesOf(call);
  const std::vector<std::string_view> names = words(procedure.parameters);
  std::vector<std::optional<std::string>> placed(names.size());
  std::vector<bool> given(names.size());
  std::size_t position = 0;
  for (const ProcedureArgument& argument : call.arguments) {
    std::size_t slot = position;
    if (!argument.name.empty()) {
      slot = static_cast<std::size_t>(std::ranges::find(names, argument.name) - names.begin());
      if (slot == names.size()) {
        writer.fail(message::unknownProcedureParameter, argument.name, call.name);
      }
    } else if (slot == names.size()) {
      writer.fail(message::tooManyProcedureArguments, call.name, names.size());
    } else {
      ++position;
    }
    placed[slot] = argument.value;
    given[slot] = true;
  }
  for (std::size_t i = 0; i < procedure.required; ++i) {
    if (given[i]) continue;
    writer.fail(message::parameterMissing, call.name, names[i]);
  }
  while (!given.empty() && !given.back()) {
    given.pop_back();
    placed.pop_back();
  }
  return placed;
}

}  // namespace

std::optional<std::string> ProcedureRun::argument(std::size_t position) const {
  if (position >= arguments_.size()) return std::nullopt;
  std::optional<std::string> value = arguments_[position];
  if (value) value->erase(value->find_last_not_of(' ') + 1);
  return value;
}

ResultColumn ProcedureRun::nameColumn(std::string name, int width, bool nullable) {
  // Of a 12.5, as a unit: a column that lists several names takes as many of the long ones.
  constexpr int kShortName = 30;
  const int longest = static_cast<int>(catalog().options().longestName());
  if (longest > kShortName) width = width / kShortName * longest;
  return {std::move(name), declaredType(TypeKind::Varchar, width, {}, nullable)};
}

std::optional<std::string> ProcedureRun::name(std::size_t position) {
  std::optional<std::string> value = argument(position);
  if (value && quotedNames() && value->starts_with('"')) return lastName(*value, true);
  return value;
}

ObjectInfo ProcedureRun::requireObject(std::string_view name) {
  const std::vector<std::string> parts = nameParts(name, quotedNames());
  const std::string& database = parts.front();
  if (parts.size() > 2 && !database.empty() && database != caller().database) {
    fail(message::objectOfOtherDatabase);
  }
  const auto object = catalog().findObject(name, caller());
  if (!object) fail(message::noSuchObject);
  return *object;
}

std::optional<ProcedureResult> Catalog::callSystemProcedure(const ProcedureCall& call) {
  const Procedure* procedure = findProcedure(call.name);
  if (procedure == nullptr) return std::nullopt;
  CatalogWriter writer(*this, call.caller);
  ProcedureRun run(writer, placeArguments(*procedure, call, writer));
  try {
    Savepoint savepoint(store_);
    procedure->run(run);
    savepoint.keep();
    const std::vector<std::string_view> names = words(procedure->parameters);
    for (ProcedureResult::Output& output : run.result().outputs) {
      output.name = names.at(output.position);
    }
  } catch (const ProcedureFailure& failure) {
    run.result() = {{}, {failure.message}, 1};
  }
  return std::move(run.result());
}

}  // namespace kelvane::embedded
