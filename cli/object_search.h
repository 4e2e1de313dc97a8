// Finds the object that a command line names.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "cli/object_kinds.h"
#include "model/schema.h"
#include "model/text.h"

namespace kelvane::cli {

inline constexpr std::string_view kTriggerWord = "trigger";

// "procedure:dbo.p", taken apart.
struct WantedObject {
  std::string_view word;  // of its kind, or kTriggerWord; empty: of any kind
  std::u16string name;    // or owner.name
};
WantedObject wantedObject(const std::string& operand);

// An object, or a trigger of a table.
struct FoundObject {
  const ObjectKind* kind;
  std::int32_t index;        // among those of its kind, 1-based
  std::int32_t trigger = 0;  // among those of the table, 1-based; 0: the object itself
  ObjectName name;
  std::u16string ofOwner = {};  // a trigger by its owner instead of its table: "dbo.tr_x"

  // By which it may be asked for.
  std::array<std::u16string_view, 3> names() const {
    return {name.name, name.fullName, trigger > 0 ? ofOwner : name.fullName};
  }
  std::string_view word() const { return trigger > 0 ? kTriggerWord : kind->word; }
  // "procedure dbo.p"
  std::string shown() const { return std::string(word()) + " " + toUtf8(name.fullName); }
};

// Throws CommandError where the name stands for nothing, with names that are near it, or for
// several.
FoundObject findObject(const Schema& schema, const WantedObject& wanted, CaseMode mode);

}  // namespace kelvane::cli
