// The parts that registerFunctions puts together, and what they have in common.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/functions.h"

namespace kelvane::embedded {

void registerValueFunctions(Database& store, Running& running);
void registerDecimalFunctions(Database& store);
void registerTextFunctions(Database& store);
void registerTextPartFunctions(Database& store);
void registerNumberFunctions(Database& store, Running& running);
void registerDateFunctions(Database& store, Running& running);
void registerCatalogFunctions(Catalog& catalog, Running& running);
void registerLookupFunctions(Catalog& catalog, Running& running);

/// The line of an error that arises while SQLite runs is the statement's; it is filled in there.
inline constexpr std::uint32_t kUnknownLine = 0;

/// What a function makes of texts is a varchar, of which this is the longest.
inline constexpr std::size_t kLongest = 16384;

inline bool anyNull(const FunctionCall& call) {
  for (int i = 0; i < call.count(); ++i) {
    if (call.isNull(i)) return true;
  }
  return false;
}

/// There are no empty texts: what would be one is null.
inline void textResult(FunctionCall& call, std::string_view text) {
  if (!text.empty()) call.result(text);
}

/// A text by characters.
class Characters {
 public:
  explicit Characters(std::string_view text) : text_(text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      if ((static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80U) starts_.push_back(at);
    }
    starts_.push_back(text.size());
  }
  std::int64_t count() const { return static_cast<std::int64_t>(starts_.size()) - 1; }
  /// From `first` (0-based), at most `length`.
  std::string_view part(std::int64_t first, std::int64_t length) const {
    const auto from = std::clamp<std::int64_t>(first, 0, count());
    const auto to =
        std::clamp<std::int64_t>(from + std::max<std::int64_t>(length, 0), from, count());
    const auto start = starts_[static_cast<std::size_t>(from)];
    return text_.substr(start, starts_[static_cast<std::size_t>(to)] - start);
  }

 private:
  std::string_view text_;
  std::vector<std::size_t> starts_;
};

}  // namespace kelvane::embedded
