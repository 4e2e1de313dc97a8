#include "cli/words/script_request.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/words/row_script_request.h"
#include "cli/words/side_arguments.h"

namespace kelvane::cli {
namespace {

// drop-column, drop-column:empty
void allow(std::string_view word, change_script::Allowed& allowed) {
  constexpr std::string_view kEmpty = ":empty";
  const bool whereEmpty = word.ends_with(kEmpty);
  const std::string_view name = word.substr(0, word.size() - (whereEmpty ? kEmpty.size() : 0));
  const auto* row =
      std::ranges::find(change_script::kDangers, name, &change_script::DangerRow::word);
  if (word == kRowDelete) throw UsageError("--allow delete is for rows: it needs --data");
  if (row == change_script::kDangers.end()) {
    std::string all;
    for (const auto& one : change_script::kDangers)
      all += (all.empty() ? "" : ", ") + std::string(one.word);
    throw UsageError("--allow takes " + all + "; not '" + std::string(word) + "'");
  }
  if (!whereEmpty) return allowed.add(row->danger);
  if (!row->concernsRows)
    throw UsageError("--allow " + std::string(name) + " has nothing to do with rows; leave out " +
                     std::string(kEmpty));
  allowed.addWhereEmpty(row->danger);
}

change_script::Allowed allowedBy(const Arguments& arguments) {
  change_script::Allowed allowed;
  for (const std::string& list : arguments.values(kAllow)) {
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');) {
      // It is about rows; a file may say it for scripts of those alone.
      if (word == kRowDelete && (arguments.has(kScriptData) || !arguments.isGiven(kAllow)))
        continue;
      allow(word, allowed);
    }
  }
  return allowed;
}

std::vector<change_script::Rename> renamesOf(const Arguments& arguments) {
  std::vector<change_script::Rename> renames;
  for (const std::string& text : arguments.values(kRename)) {
    auto one = change_script::parseRename(text);
    if (!one)
      throw UsageError("--rename takes OWNER.TABLE=NAME or OWNER.TABLE.COLUMN=NAME; not '" + text +
                       "'");
    renames.push_back(*std::move(one));
  }
  return renames;
}

}  // namespace

ScriptRequest scriptRequest(const Arguments& arguments) {
  ScriptRequest request;
  request.plan.allowed = allowedBy(arguments);
  request.plan.renames = renamesOf(arguments);
  request.plan.release = askedRelease(arguments);
  request.isTried = !arguments.has(kNoProof);
  return request;
}

}  // namespace kelvane::cli
