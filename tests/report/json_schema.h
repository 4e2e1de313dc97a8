// Holds JSON against a schema: the keywords that the schemas of docs/ use; another one fails.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kelvane::testing {

/// What is wrong, a line each: "/changes/0/kind: not one of the values".
std::vector<std::string> violations(const nlohmann::json& value, const nlohmann::json& schema);

nlohmann::json documentedSchema(const std::string& name);

}  // namespace kelvane::testing
