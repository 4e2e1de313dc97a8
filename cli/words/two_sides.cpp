#include "cli/words/two_sides.h"

#include <algorithm>
#include <vector>

namespace kelvane::cli {
namespace {

constexpr auto kOptions = std::to_array<Option>({
    {kTwoSides[0].server, "SERVER", "a live server instead of SOURCE: a name or HOST:PORT"},
    {kTwoSides[0].user, "USER", "log in as this user"},
    {kTwoSides[0].database, "DATABASE",
     "the database; default: the login's, or the only one that the scripts fill"},
    {kTwoSides[0].passwordFile, kFile,
     "read the password from its first line; only you may read FILE"},
    {kTwoSides[1].server, "SERVER", "a live server instead of TARGET: a name or HOST:PORT"},
    {kTwoSides[1].user, "USER", "as --source-user"},
    {kTwoSides[1].database, "DATABASE", "as --source-database"},
    {kTwoSides[1].passwordFile, kFile, "as --source-password-file"},
});

std::string text(std::string_view option) { return std::string(option); }

// The operands of each side; a side that is given by options has none.
std::array<std::vector<std::string>, 2> operandsOfSides(const Arguments& arguments,
                                                        std::string_view command) {
  const std::vector<std::string>& all = arguments.operands;
  std::array<bool, 2> byOption{};
  for (std::size_t side = 0; side < 2; ++side)
    byOption[side] = arguments.has(kTwoSides[side].server);
  const auto count = std::ranges::count(byOption, true);
  if (count == 0 && arguments.isGiven(kOdbcDriver))
    throw UsageError(text(kOdbcDriver) + " needs " + text(kTwoSides[0].server) + " or " +
                     text(kTwoSides[1].server) + "; for an 'odbc:' side write Driver= into it");
  if (count > 0) {
    const bool enough = count == 2 ? all.empty() : !all.empty();
    if (arguments.parting || !enough)
      throw UsageError(count == 2 ? "both sides are given by options; no operand is allowed"
                                  : "one side is given by options; give the other one as operands");
    return {byOption[0] ? std::vector<std::string>() : all,
            byOption[1] ? std::vector<std::string>() : all};
  }
  if (!arguments.parting && all.size() != 2)
    throw UsageError(text(command) +
                     " needs SOURCE and TARGET, with '--' between them if there are more than two "
                     "operands; given: " +
                     std::to_string(all.size()));
  const auto parting = all.begin() + static_cast<std::ptrdiff_t>(arguments.parting.value_or(1));
  if (parting == all.end()) throw UsageError(text(command) + " needs a TARGET after '--'");
  return {std::vector(all.begin(), parting), std::vector(parting, all.end())};
}

}  // namespace

OptionFamily twoSidesOptions() { return {"The sides", kOptions, Elsewhere::nowhere}; }

TwoSides twoSides(const Arguments& arguments, std::string_view command,
                  const std::optional<rows::RowFileForm>& rowFiles) {
  const auto operands = operandsOfSides(arguments, command);
  ReadingSettings settings = readingSettings(arguments);
  settings.rowFiles = rowFiles;
  TwoSides sides{{placeOf(arguments, operands[0], kTwoSides[0], settings),
                  placeOf(arguments, operands[1], kTwoSides[1], settings)}};
  for (std::size_t side = 0; side < 2; ++side)
    sides.shown[side] = nameOf(sides.places[side], operands[side]);
  return sides;
}

}  // namespace kelvane::cli
