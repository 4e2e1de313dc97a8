#include "report/json_report.h"

#include "report/json_writer.h"

namespace kelvane {

namespace {

constexpr int kFormat = 1;

}  // namespace

void writeJsonHeader(const ReportHeader& header, JsonWriter& writer) {
  writer.member("version", std::string_view(header.version));
  writer.member("source", std::string_view(header.source));
  writer.member("target", std::string_view(header.target));
  writer.member("complete", header.coverage() == Coverage::complete);
  writer.member("gaps", header.gaps);
  writer.member("notes", header.notes);
  writer.key("renames");
  writer.beginArray();
  for (const Rename& rename : header.renames) {
    writer.beginObject();
    writer.member("kind", rename.kind);
    writer.member("source", rename.source);
    writer.member("target", rename.target);
    writer.member("likeness", rename.likeness);
    writer.endObject();
  }
  writer.endArray();
}

void writeJsonReport(const diffSchema& differences, const ReportHeader& header, std::ostream& out) {
  JsonWriter writer(out);
  writer.beginObject();
  writer.member("format", kFormat);
  writeJsonHeader(header, writer);
  writer.member("switches", header.switches);
  writer.member("ignored", header.ignored);
  writer.member("differences", differences);
  writer.endObject();
}

}  // namespace kelvane
