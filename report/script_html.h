// A change script in the data of the page, and which of its steps end a difference.
//
// Lifetime: the script outlives the links. Threading: none of their own.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "inventory/compare/changes.h"
#include "report/change_report.h"
#include "report/json_writer.h"

namespace kelvane::report {

class ScriptLinks {
 public:
  explicit ScriptLinks(const change_script::ChangeScript& script);

  // Members of an object that differs, or of a part of it:
  //
  //   steps    the steps that end its difference, each as [step, line of its differences]
  //   omitted  the omissions that say why there is none
  void write(const inventory::Change& object, const inventory::Change* part,
             JsonWriter& json) const;

 private:
  struct Line {
    std::size_t step, line;
  };
  std::unordered_map<std::string, std::vector<Line>> lines_;
  std::unordered_map<std::string, std::vector<std::size_t>> omissions_;
};

// The member "script" of the page.
void writeScript(const ShownScript& shown, JsonWriter& json);

}  // namespace kelvane::report
