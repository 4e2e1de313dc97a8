#include "cli/words/row_script_request.h"

#include <algorithm>
#include <sstream>

#include "change_script/steps.h"
#include "cli/words/side_arguments.h"

namespace kelvane::cli {
namespace {

constexpr auto kOptions = std::to_array<Option>({
    {kRowAllow, kDangerWord, "with --script: delete, rows that are only in the target go"},
    {kRowBatch, kNumber, "with --script: rows of a transaction; default: 100"},
    {kRowNoProof, "", "with --script, do not try the script on a copy of the target"},
    {kRowScript, kFile, "also write T-SQL that makes the rows of the target like the source's"},
});

std::size_t batchRows(const Arguments& arguments) {
  constexpr std::int32_t kMostRows = 100'000;
  const auto rows = numberOf(arguments, kRowBatch, 1, kMostRows);
  return rows ? static_cast<std::size_t>(*rows) : RowScriptRequest().batchRows;
}

bool allowsDelete(const Arguments& arguments) {
  bool allows = false;
  for (const std::string& list : arguments.values(kRowAllow)) {
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');) {
      allows = allows || word == kRowDelete;
      // A file may say the others for other commands.
      const bool isOfOthers = !arguments.isGiven(kRowAllow) &&
                              std::ranges::any_of(change_script::kDangers, [&](const auto& row) {
                                return word.starts_with(row.word);
                              });
      if (word != kRowDelete && !isOfOthers)
        throw UsageError(arguments.called(kRowAllow) + " takes delete, not '" + word + "'");
    }
  }
  return allows;
}

}  // namespace

std::span<const Option> rowScriptOptions() { return kOptions; }

std::optional<RowScriptRequest> rowScriptRequest(const Arguments& arguments) {
  const auto path = arguments.value(kRowScript);
  if (!path) {
    for (const std::string_view option : {kRowAllow, kRowBatch, kRowNoProof}) {
      if (arguments.isGiven(option)) throw UsageError(std::string(option) + " needs --script");
    }
    return std::nullopt;
  }
  RowScriptRequest request{.path = *path};
  request.allowsDelete = allowsDelete(arguments);
  request.batchRows = batchRows(arguments);
  request.release = askedRelease(arguments);
  request.isTried = !arguments.has(kRowNoProof);
  return request;
}

RowScriptRequest rowsOfScript(const Arguments& arguments) {
  RowScriptRequest request;
  for (const std::string& list : arguments.values(kRowAllow)) {
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');)
      request.allowsDelete = request.allowsDelete || word == kRowDelete;
  }
  request.batchRows = batchRows(arguments);
  request.release = askedRelease(arguments);
  return request;
}

}  // namespace kelvane::cli
