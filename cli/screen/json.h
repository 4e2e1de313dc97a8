// Writes JSON objects of one level, member by member.
//
// Lifetime: owns its text. Threading: one thread.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "report/json_text.h"

namespace kelvane::cli {

class JsonObject {
 public:
  JsonObject& add(std::string_view name, std::u16string_view value) {
    return addRaw(name, jsonString(value));
  }
  JsonObject& add(std::string_view name, std::same_as<bool> auto value) {
    return addRaw(name, value ? "true" : "false");
  }
  JsonObject& add(std::string_view name, std::same_as<int> auto value) {
    return addRaw(name, std::to_string(value));
  }
  std::string text() const { return "{" + members_ + "}"; }

 private:
  JsonObject& addRaw(std::string_view name, std::string_view value) {
    if (!members_.empty()) members_ += ',';
    members_.append("\"").append(name).append("\":").append(value);
    return *this;
  }

  std::string members_;
};

}  // namespace kelvane::cli
