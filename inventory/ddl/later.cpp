#include "inventory/ddl/later.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "inventory/ddl/tokens.h"

namespace kelvane::inventory {
namespace {

using Type = Token::Type;

constexpr auto kFunctionsSince15 = std::to_array<std::string_view>({
    // clang-format off
    "allocinfo", "asehostname", "authmech", "biginttohex", "bintostr", "count_big",
    "create_locator", "current_bigdatetime", "current_bigtime", "data_pages", "datachange",
    "defrag_status", "derived_stat", "dol_downgrade_check", "hash", "hashbytes", "hextobigint",
    "index_name", "instance_id", "instance_name", "is_singleusermode", "isdate", "isnumeric",
    "lc_id", "lc_name", "locator_literal", "locator_valid", "loginfo", "migrate_instance_id",
    "object_attr", "pageinfo", "partition_id", "partition_name", "partition_object_id",
    "password_random", "pssinfo", "rand2", "reserve_identity", "reserved_pages", "return_lob",
    "row_count", "sdc_intempdbconfig", "setdata", "show_cached_plan_in_xml", "show_cached_text",
    "show_cached_text_long", "show_condensed_text", "show_dynamic_params_in_xml",
    "shrinkdb_status", "spaceusage", "spid_instance_id", "stddev", "stddev_pop", "stddev_samp",
    "stdev", "stdevp", "strtobin", "tran_dumptable_status", "used_pages", "var", "var_pop",
    "var_samp", "variance", "varp", "workload_metric", "xact_connmigrate_check",
    "xact_owner_instance",
    // clang-format on
});
static_assert(std::ranges::is_sorted(kFunctionsSince15));
constexpr auto kFunctionsSince16 = std::to_array<std::string_view>({"dbencryption_status"});
constexpr auto kTypesSince15 =
    std::to_array<std::string_view>({"bigdatetime", "bigint", "bigtime", "unitext"});
constexpr auto kUnsigned =
    std::to_array<std::string_view>({"bigint", "int", "integer", "smallint"});
constexpr std::size_t kLongestName = 30;

/// Three tokens, of which the middle one is looked at.
struct Place {
  Token before, at, behind;
};

bool isType(const Place& place) {
  const std::string before = lowerCase(place.before.text);
  // A variable, a column or a cast; a convert has a parenthesis before it.
  const bool canBe = place.before.type == Type::name || before == "(";
  return canBe && place.behind.text != "." && place.behind.text != "=" && before != "select";
}

std::optional<std::string> laterAt(const Place& place, TargetRelease release,
                                   const std::function<bool(std::string_view)>& isOwn) {
  const std::string word = lowerCase(place.at.text);
  const auto isIn = [&](const auto& words) {
    return std::ranges::find(words, word) != words.end();
  };
  if (place.behind.text == "(" && place.before.text != ".") {
    const bool isLater = (release < TargetRelease::ase15 && isIn(kFunctionsSince15)) ||
                         (release < TargetRelease::ase16 && isIn(kFunctionsSince16));
    if (isLater && !isOwn(place.at.text)) return "function " + word;
  }
  if (release >= TargetRelease::ase15) return std::nullopt;
  if (isIn(kTypesSince15) && isType(place)) return "type " + word;
  if (word == "unsigned" &&
      std::ranges::find(kUnsigned, lowerCase(place.behind.text)) != kUnsigned.end())
    return "type unsigned " + lowerCase(place.behind.text);
  if (word == "merge" && lowerCase(place.behind.text) == "into") return "merge";
  const bool isNumber = place.at.text.front() >= '0' && place.at.text.front() <= '9';
  if (place.at.text.size() > kLongestName && !isNumber)
    return "names as long as " + std::string(place.at.text);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> laterIn(std::string_view text, bool quotedIdentifier,
                                   TargetRelease release,
                                   const std::function<bool(std::string_view)>& isOwn) {
  std::optional<std::string> found;
  Place place{};
  const auto look = [&](const Token& next) {
    place = {place.at, place.behind, next};
    if (!place.at.text.empty() && place.at.type == Type::name)
      found = laterAt(place, release, isOwn);
    return !found;
  };
  forEachToken(text, quotedIdentifier, look);
  if (!found) look({});
  return found;
}

std::optional<std::string> withoutReplace(std::string_view text, bool quotedIdentifier) {
  static constexpr std::array<std::string_view, 3> kWords{"create", "or", "replace"};
  std::vector<std::size_t> places;
  forEachToken(text, quotedIdentifier, [&](const Token& token) {
    const bool isIt =
        places.size() == kWords.size() || lowerCase(token.text) == kWords[places.size()];
    if (isIt) places.push_back(static_cast<std::size_t>(token.text.data() - text.data()));
    return isIt && places.size() <= kWords.size();
  });
  if (places.size() <= kWords.size()) return std::nullopt;
  std::string without(text);
  without.erase(places[1], places[2] + kWords[2].size() - places[1]);
  // What stood behind it, such as a comment, stays.
  if (places[1] < without.size() && without[places[1]] == ' ') without.erase(places[1], 1);
  return without;
}

}  // namespace kelvane::inventory
