// The kinds of objects in one word each, as people write them on command lines and in files.
//
// Lifetime and threading: constants.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "model/schema.h"

namespace kelvane {

struct KindWord {
  std::string_view word;
  enumEntityType kind;
};
inline constexpr std::array<KindWord, 7> kKindWords{{
    {"table", entity_TABLE},
    {"view", entity_VIEW},
    {"procedure", entity_STOREDPROC},
    {"function", entity_FUNCTION},
    {"user", entity_USER},
    {"group", entity_GROUP},
    {"type", entity_UDDT},
}};

constexpr std::string_view wordOf(enumEntityType kind) {
  return std::ranges::find(kKindWords, kind, &KindWord::kind)->word;
}

}  // namespace kelvane
