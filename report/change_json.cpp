#include <ostream>
#include <string_view>
#include <vector>

#include "inventory/compare/titles.h"
#include "report/change_parts.h"
#include "report/change_report.h"
#include "report/change_words.h"
#include "report/json_report.h"
#include "report/json_writer.h"

namespace kelvane {
namespace report {
namespace {

using inventory::Change;

constexpr int kFormat = 2;

class ChangeJson {
 public:
  explicit ChangeJson(JsonWriter& json) : json_(json) {}

  void write(const std::vector<Change>& changes, const ReportHeader& header) {
    json_.beginObject();
    json_.member("format", kFormat);
    writeJsonHeader(header, json_);
    json_.member("compared", header.switches);
    json_.member("ignored", header.ignored);
    writeAccepted(header.accepted);
    writeCounts(talliesOf(changes));
    json_.key("changes");
    writeChanges(changes);
    json_.endObject();
  }

  void writeChanges(const std::vector<Change>& changes) {
    json_.beginArray();
    for (const Change& change : changes) writeChange(change);
    json_.endArray();
  }

 private:
  void writeAccepted(const std::vector<AcceptedDifference>& accepted) {
    json_.key("accepted");
    json_.beginArray();
    for (const AcceptedDifference& one : accepted) {
      json_.beginObject();
      json_.member("difference", std::string_view(one.difference));
      json_.member("reason", std::string_view(one.reason));
      if (!one.until.empty()) json_.member("until", std::string_view(one.until));
      json_.endObject();
    }
    json_.endArray();
  }

  void writeCounts(const Tallies& tallies) {
    KindCounts all;
    for (const auto& [singular, plural, counts] : tallies) {
      all.differ += counts.differ;
      all.onlyInSource += counts.onlyInSource;
      all.onlyInTarget += counts.onlyInTarget;
      all.differences += counts.differences;
    }
    json_.key("counts");
    json_.beginObject();
    writeCounts(all);
    json_.key("kinds");
    json_.beginArray();
    for (const auto& [singular, plural, counts] : tallies) {
      json_.beginObject();
      json_.member("kind", singular);
      writeCounts(counts);
      json_.endObject();
    }
    json_.endArray();
    json_.endObject();
  }

  void writeCounts(const KindCounts& counts) {
    json_.member("differences", counts.differences);
    json_.member("objects", counts.objects());
    json_.member("onlyInSource", counts.onlyInSource);
    json_.member("onlyInTarget", counts.onlyInTarget);
    json_.member("changed", counts.differ);
  }

  void writeChange(const Change& change) {
    const auto side = sideOf(change);
    json_.beginObject();
    json_.member("kind", inventory::rowOf(change.kind).singular);
    writeText("owner", ownerOf(change));
    writeText("name", bareNameOf(change));
    json_.member("change", !side                      ? "changed"
                           : *side == location_Source ? "only-in-source"
                                                      : "only-in-target");
    json_.member("count", countOf(change));
    // Of what is called by what it says, this is the name.
    if (side || change.name.empty())
      writeText("declaration",
                declarationOf(change.isOnlyInTarget() ? change.target : change.source));
    if (!side) {
      json_.key("attributes");
      json_.beginArray();
      for (const inventory::AttributeChange& one : change.attributes) writeAttribute(one);
      json_.endArray();
      json_.key("parts");
      writeChanges(change.parts);
    }
    json_.endObject();
  }

  void writeAttribute(const inventory::AttributeChange& change) {
    json_.beginObject();
    json_.member("label", change.label);
    if (const auto word = inventory::rowOf(change.family).word; !word.empty())
      json_.member("family", word);
    json_.member("was", std::string_view(change.was));
    json_.member("is", std::string_view(change.is));
    json_.endObject();
  }

  void writeText(std::string_view name, const std::string& text) {
    if (!text.empty()) json_.member(name, std::string_view(text));
  }

  JsonWriter& json_;
};

}  // namespace

void writeJsonChanges(const std::vector<Change>& changes, JsonWriter& json) {
  ChangeJson(json).writeChanges(changes);
}

}  // namespace report

void writeJsonReport(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                     std::ostream& out) {
  JsonWriter json(out);
  report::ChangeJson(json).write(changes, header);
}

}  // namespace kelvane
