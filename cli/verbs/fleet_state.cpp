#include "cli/verbs/fleet_state.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sha256.h>
#include <string_view>
#include <utility>

#include "cli/screen/figures.h"
#include "report/json_writer.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

constexpr int kFormat = 1;
constexpr const char *kTargets = "targets", *kName = "target", *kLines = "differences",
                     *kDigest = "digest", *kCauses = "causes";

std::string digestOf(const std::string& text) {
  std::array<char, SHA256_DIGEST_STRING_LENGTH> hex{};
  SHA256Data(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), hex.data());
  return hex.data();
}

// Those of `all` that are not among `others`, each as often as it is there more often.
std::vector<std::string> without(std::vector<std::string> all, std::vector<std::string> others) {
  std::ranges::sort(all);
  std::ranges::sort(others);
  std::vector<std::string> rest;
  std::ranges::set_difference(all, others, std::back_inserter(rest));
  return rest;
}

struct News {
  std::vector<std::string> lines;
  ExitStatus status = kNoDifference;
};

News newsOf(const FleetState::Target& before, const FleetState::Target& after) {
  News news;
  const auto add = [&](const char* what, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) news.lines.push_back(what + line);
  };
  if (!after.causes.empty()) {
    if (after.causes != before.causes) {
      add("could not be read: ", after.causes);
      news.status = kNotProven;
    }
    return news;
  }
  if (!before.causes.empty()) news.lines.emplace_back("can be read again");
  add("new: ", without(after.differences, before.differences));
  add("gone: ", without(before.differences, after.differences));
  if (news.lines.empty() && after.digest != before.digest)
    add("differs otherwise than before: ", after.differences);
  if (!news.lines.empty()) news.status = ExitStatus::kDifferences;
  return news;
}

}  // namespace

FleetState FleetState::load(const std::string& path) {
  FleetState state;
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return state;
  std::ifstream file(path, std::ios::binary);
  if (!file) throw CommandError({"'" + path + "' cannot be read: " + std::strerror(errno)});
  try {
    const nlohmann::json json = nlohmann::json::parse(file);
    if (json.at("format").get<int>() != kFormat)
      throw CommandError({"'" + path + "' was written by another release; remove it"});
    for (const nlohmann::json& one : json.at(kTargets)) {
      state.targets[one.at(kName).get<std::string>()] = {
          one.at(kLines).get<std::vector<std::string>>(), one.at(kDigest).get<std::string>(),
          one.at(kCauses).get<std::vector<std::string>>()};
    }
  } catch (const nlohmann::json::exception&) {
    throw CommandError({"'" + path + "' is not a file of --state; it is left as it is"});
  }
  return state;
}

void FleetState::write(std::ostream& out) const {
  JsonWriter writer(out);
  writer.beginObject();
  writer.member("format", kFormat);
  writer.key(kTargets);
  writer.beginArray();
  for (const auto& [name, target] : targets) {
    writer.beginObject();
    writer.member(kName, std::string_view(name));
    writer.member(kDigest, std::string_view(target.digest));
    writer.member(kLines, target.differences);
    writer.member(kCauses, target.causes);
    writer.endObject();
  }
  writer.endArray();
  writer.endObject();
  out << '\n';
}

FleetState stateAfter(const FleetState& before, const FleetResult& result) {
  FleetState after;
  for (const ComparedTarget& target : result.targets) {
    const auto known = before.targets.find(target.name);
    if (target.outcome == Outcome::notBegun) {
      if (known != before.targets.end()) after.targets.insert(*known);
      continue;
    }
    FleetState::Target& now = after.targets[target.name];
    if (target.outcome == Outcome::unread) {
      if (known != before.targets.end()) now = known->second;
      now.causes = target.causes;
      continue;
    }
    for (const report::Difference& one : target.differences) now.differences.push_back(one.line);
    if (!now.differences.empty()) now.digest = digestOf(target.signature);
  }
  return after;
}

ExitStatus writeNews(const FleetState& before, const FleetState& after, const FleetResult& result,
                     std::ostream& out) {
  std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> groups;
  std::map<std::vector<std::string>, std::size_t> places;
  ExitStatus status = kNoDifference;
  const auto add = [&](const std::string& name, std::vector<std::string> lines) {
    const auto [place, isNew] = places.emplace(lines, groups.size());
    if (isNew) groups.emplace_back(std::move(lines), std::vector<std::string>());
    groups[place->second].second.push_back(name);
  };
  for (const ComparedTarget& target : result.targets) {
    const auto now = after.targets.find(target.name);
    if (now == after.targets.end()) continue;
    const auto known = before.targets.find(target.name);
    News news =
        newsOf(known == before.targets.end() ? FleetState::Target() : known->second, now->second);
    if (news.lines.empty()) continue;
    status = std::max(status, news.status);
    add(target.name, std::move(news.lines));
  }
  for (const auto& [name, known] : before.targets) {
    const bool isThere =
        std::ranges::find(result.targets, name, &ComparedTarget::name) != result.targets.end();
    if (!isThere) add(name, {"no longer among the targets"});
  }
  if (groups.empty()) return status;
  out << "changes since the last run; reference: " << report::showMessage(result.reference) << '\n';
  for (const auto& [lines, names] : groups) {
    out << '\n' << counted(names.size(), "target") << '\n';
    for (const std::string& name : names) out << "  " << report::showMessage(name) << '\n';
    for (const std::string& line : lines) out << "    " << report::showMessage(line) << '\n';
  }
  return std::max(status, ExitStatus::kDifferences);
}

}  // namespace kelvane::cli
