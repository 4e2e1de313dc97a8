#include "tests/report/json_schema.h"

#include <algorithm>
#include <fstream>

namespace kelvane::testing {
namespace {

using nlohmann::json;

class Check {
 public:
  explicit Check(const json& root) : root_(root) {}

  void run(const json& value, const json& schema, const std::string& path) {
    for (const auto& [keyword, rule] : schema.items()) apply(keyword, rule, value, schema, path);
  }
  std::vector<std::string> violations;

 private:
  void apply(const std::string& keyword, const json& rule, const json& value, const json& schema,
             const std::string& path) {
    if (keyword == "$ref") {
      run(value, root_.at(json::json_pointer(rule.get<std::string>().substr(1))), path);
    } else if (keyword == "type") {
      const bool isType = rule == "integer" ? value.is_number_integer() : value.type_name() == rule;
      if (!isType) refuse(path, "not of type " + rule.get<std::string>());
    } else if (keyword == "const") {
      if (value != rule) refuse(path, "not " + rule.dump());
    } else if (keyword == "enum") {
      if (std::ranges::find(rule, value) == rule.end()) refuse(path, "not one of " + rule.dump());
    } else if (keyword == "minimum" || keyword == "maximum") {
      if (keyword == "minimum" ? value < rule : value > rule) refuse(path, "out of range");
    } else if (keyword == "items") {
      for (std::size_t at = 0; at < value.size(); ++at)
        run(value[at], rule, path + "/" + std::to_string(at));
    } else if (keyword == "required") {
      for (const json& name : rule)
        if (!value.contains(name)) refuse(path, "lacks " + name.dump());
    } else if (keyword == "properties") {
      for (const auto& [name, inner] : rule.items())
        if (value.contains(name)) run(value[name], inner, path + "/" + name);
    } else if (keyword == "additionalProperties") {
      for (const auto& [name, unused] : value.items())
        if (!schema.at("properties").contains(name)) refuse(path + "/" + name, "not expected");
    } else if (keyword != "$schema" && keyword != "title" && keyword != "description" &&
               keyword != "$defs") {
      refuse(path, "unknown keyword " + keyword);
    }
  }
  void refuse(const std::string& path, const std::string& what) {
    violations.push_back(path + ": " + what);
  }

  const json& root_;
};

}  // namespace

std::vector<std::string> violations(const json& value, const json& schema) {
  Check check(schema);
  check.run(value, schema, "");
  return check.violations;
}

json documentedSchema(const std::string& name) {
  std::ifstream file(std::string(KELVANE_TEST_FOLDER) + "/../../docs/" + name);
  return json::parse(file);
}

}  // namespace kelvane::testing
