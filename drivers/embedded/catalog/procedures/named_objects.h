// Which objects the arguments of a catalog procedure mean.
//
// Free functions.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/procedures/procedure.h"

namespace kelvane::embedded {

struct NamedObject {
  std::string owner;
  ObjectInfo object;
};

using AcceptType = std::function<bool(std::string_view type)>;
bool isTableOrView(std::string_view type);
bool isRoutine(std::string_view type);

/// The one object of that name, or all that fit name and owner as patterns, by owner and name.
std::vector<NamedObject> objectsLike(ProcedureRun& run, const std::string& name,
                                     const std::optional<std::string>& owner,
                                     const AcceptType& accept);
/// The table or view of exactly that name, if it is there.
std::optional<NamedObject> tableNamed(ProcedureRun& run, const std::string& name,
                                      const std::optional<std::string>& owner);

/// Fails with 18039 for another database.
void requireCurrentDatabase(const ProcedureRun& run, const std::optional<std::string>& database);

}  // namespace kelvane::embedded
