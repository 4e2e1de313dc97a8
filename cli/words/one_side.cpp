#include "cli/words/one_side.h"

#include <array>

namespace kelvane::cli {
namespace {

constexpr auto kOptions = std::to_array<Option>({
    {kOneSide.server, "SERVER", "a live server instead of SIDE: a name or HOST:PORT"},
    {kOneSide.user, "USER", "log in as this user"},
    {kOneSide.database, "DATABASE",
     "the database; default: the login's, or the only one that the scripts fill"},
    {kOneSide.passwordFile, kFile, "read the password from its first line; only you may read FILE"},
});

}  // namespace

OptionFamily oneSideOptions() { return {"The side", kOptions, Elsewhere::nowhere}; }

OneSide oneSide(const Arguments& arguments, std::string_view command, std::string_view further) {
  const std::vector<std::string>& all = arguments.operands;
  const std::size_t ofSide =
      arguments.has(kOneSide.server) ? 0 : arguments.parting.value_or(all.empty() ? 0 : 1);
  const bool sideMissing = ofSide == 0 && !arguments.has(kOneSide.server);
  if (sideMissing || all.size() > ofSide + 1 || (arguments.parting && all.size() != ofSide + 1))
    throw UsageError(std::string(command) + " needs one SIDE or --server, and takes at most one " +
                     std::string(further) + "; write '--' after a SIDE of several scripts");
  const auto parting = all.begin() + static_cast<std::ptrdiff_t>(ofSide);
  const std::vector<std::string> operands(all.begin(), parting);
  OneSide result{placeOf(arguments, operands, kOneSide, readingSettings(arguments)), {}, {}};
  if (parting != all.end()) result.further = *parting;
  result.shown = nameOf(result.place, operands);
  return result;
}

}  // namespace kelvane::cli
