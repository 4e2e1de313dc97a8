#include <algorithm>
#include <array>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "report/collected_reports.h"
#include "report/collected_words.h"
#include "report/json_writer.h"

namespace kelvane::report {
namespace {

constexpr const char* kFingerprint = "kelvaneDifference/v1";

// Paths as SARIF wants them: relative ones stay relative.
std::string uriOf(std::string_view path) {
  constexpr std::string_view
      kDigits = "0123456789ABCDEF",
      kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  while (path.starts_with("./")) path.remove_prefix(2);
  std::string uri = path.starts_with('/') ? "file://" : "";
  for (const char c : path) {
    if (kPlain.find(c) != kPlain.npos) {
      uri += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    uri += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return uri;
}

// What one result says.
struct Result {
  ObjectName object;
  std::string message, fingerprint;
  const AcceptedDifference* accepted = nullptr;
};

class Sarif {
 public:
  Sarif(const CollectedRun& run, std::ostream& out) : run_(run), json_(out) {
    for (const ScriptLocation& one : run.locations) locations_[one.object].push_back(&one);
  }

  void write() {
    json_.beginObject();
    json_.member("$schema", "https://json.schemastore.org/sarif-2.1.0.json");
    json_.member("version", "2.1.0");
    json_.key("runs");
    json_.beginArray();
    json_.beginObject();
    writeTool();
    writeInvocation();
    json_.member("columnKind", "utf16CodeUnits");
    json_.key("results");
    json_.beginArray();
    for (const ComparedTarget& target : run_.targets) writeTarget(target);
    json_.endArray();
    json_.endObject();
    json_.endArray();
    json_.endObject();
  }

 private:
  void text(std::string_view name, std::string_view utf8) {
    json_.key(name);
    json_.beginObject();
    json_.member("text", utf8);
    json_.endObject();
  }

  // A rule for each kind of object.
  void writeTool() {
    json_.key("tool");
    json_.beginObject();
    json_.key("driver");
    json_.beginObject();
    json_.member("name", "kelvane");
    json_.member("version", std::string_view(run_.version));
    json_.key("rules");
    json_.beginArray();
    for (const inventory::KindRow& row : inventory::kKinds) {
      if (!inventory::isObject(row.kind)) continue;
      json_.beginObject();
      json_.member("id", std::string_view(inventory::wordOf(row.kind)));
      text("shortDescription",
           std::string("Differs from the reference: ") + std::string(row.singular));
      json_.endObject();
    }
    json_.endArray();
    json_.endObject();
    json_.endObject();
  }

  void writeInvocation() {
    json_.key("invocations");
    json_.beginArray();
    json_.beginObject();
    json_.member("executionSuccessful",
                 std::ranges::all_of(run_.targets, [](const ComparedTarget& target) {
                   return target.outcome == Outcome::equal || target.outcome == Outcome::differs;
                 }));
    json_.member("exitCode", run_.exitStatus);
    json_.key("toolExecutionNotifications");
    json_.beginArray();
    for (const ComparedTarget& target : run_.targets) {
      if (target.outcome == Outcome::notBegun) notify("error", target, "not begun");
      for (const std::string& cause : target.causes) notify("error", target, cause);
      for (const std::string& note : target.notes) notify("note", target, note);
    }
    json_.endArray();
    json_.endObject();
    json_.endArray();
  }
  void notify(std::string_view level, const ComparedTarget& target, const std::string& what) {
    json_.beginObject();
    json_.member("level", level);
    text("message", target.name + ": " + what);
    json_.endObject();
  }

  void writeTarget(const ComparedTarget& target) {
    std::map<std::string, std::size_t> seen;
    const auto fingerprint = [&](const std::string& place) {
      std::string print = run_.isFleet ? target.name + ": " + place : place;
      const std::size_t before = seen[print]++;
      return before == 0 ? print : print + " #" + std::to_string(before + 1);
    };
    for (const Difference& one : target.differences)
      writeResult({one.object, target.name + ": " + one.line, fingerprint(one.place)});
    for (const AcceptedDifference& one : target.accepted)
      writeResult({{one.kind, one.object},
                   target.name + ": " + one.difference,
                   fingerprint(one.place),
                   &one});
  }

  void writeResult(const Result& result) {
    json_.beginObject();
    json_.member("ruleId", std::string_view(inventory::wordOf(result.object.kind)));
    json_.member("ruleIndex", static_cast<std::int64_t>(result.object.kind));
    json_.member("level", "error");
    text("message", result.message);
    writeLocations(result);
    json_.key("partialFingerprints");
    json_.beginObject();
    json_.member(kFingerprint, std::string_view(result.fingerprint));
    json_.endObject();
    if (result.accepted != nullptr) {
      json_.key("suppressions");
      json_.beginArray();
      json_.beginObject();
      json_.member("kind", "external");
      json_.member("justification", std::string_view(result.accepted->reason));
      json_.endObject();
      json_.endArray();
    }
    json_.endObject();
  }

  // Of both sides' scripts the first is where it is; the others are related.
  void writeLocations(const Result& result) {
    static const std::vector<const ScriptLocation*> kNone;
    const auto known = locations_.find(result.object);
    const auto& found = known == locations_.end() ? kNone : known->second;
    json_.key("locations");
    json_.beginArray();
    json_.beginObject();
    if (!found.empty()) writePhysical(*found.front());
    json_.key("logicalLocations");
    json_.beginArray();
    json_.beginObject();
    json_.member("fullyQualifiedName", std::string_view(result.object.name));
    json_.member("kind", std::string_view(inventory::wordOf(result.object.kind)));
    json_.endObject();
    json_.endArray();
    json_.endObject();
    json_.endArray();
    if (found.size() < 2) return;
    json_.key("relatedLocations");
    json_.beginArray();
    for (std::size_t at = 1; at < found.size(); ++at) {
      json_.beginObject();
      writePhysical(*found[at]);
      text("message", "in the source");
      json_.endObject();
    }
    json_.endArray();
  }
  void writePhysical(const ScriptLocation& location) {
    json_.key("physicalLocation");
    json_.beginObject();
    json_.key("artifactLocation");
    json_.beginObject();
    json_.member("uri", std::string_view(uriOf(location.file)));
    json_.endObject();
    json_.key("region");
    json_.beginObject();
    json_.member("startLine", static_cast<std::int64_t>(location.line));
    json_.endObject();
    json_.endObject();
  }

  const CollectedRun& run_;
  JsonWriter json_;
  std::map<ObjectName, std::vector<const ScriptLocation*>> locations_;
};

}  // namespace

void writeSarif(const CollectedRun& run, std::ostream& out) { Sarif(run, out).write(); }

}  // namespace kelvane::report
