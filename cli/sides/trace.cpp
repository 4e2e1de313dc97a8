#include "cli/sides/trace.h"

namespace kelvane::cli {

JsonObject Trace::line(std::u16string_view kind) const {
  return JsonObject().add("side", side_).add("kind", kind);
}
JsonObject Trace::statement(std::u16string_view text, std::u16string_view outcome,
                            std::u16string_view kind) const {
  return line(kind).add("text", text).add("outcome", outcome);
}
JsonObject Trace::event(std::u16string_view name) const {
  return line(u"event").add("event", name);
}

void Trace::rows(std::u16string_view text, std::int32_t count) {
  JsonObject line = statement(text, u"rows");
  if (count >= 0) line.add("rows", int{count});
  write(line);
}
void Trace::none(std::u16string_view text) { write(statement(text, u"none")); }
void Trace::rejected(std::u16string_view text, std::u16string_view error) {
  write(statement(text, u"error").add("error", error));
}
void Trace::failedLater(std::u16string_view text, std::u16string_view error) {
  write(statement(text, u"error", u"result").add("error", error));
}

void Trace::startProcessing(std::u16string_view status, bool progressBar,
                            enumObjectType objectType) {
  write(event(u"StartProcessing")
            .add("status", status)
            .add("progressBar", progressBar)
            .add("objectType", int{objectType}));
}
void Trace::processing(std::u16string_view status, std::int16_t progress,
                       enumObjectType objectType) {
  write(event(u"Processing")
            .add("status", status)
            .add("progress", int{progress})
            .add("objectType", int{objectType}));
}
void Trace::endProcessing(enumObjectType objectType) {
  write(event(u"EndProcessing").add("objectType", int{objectType}));
}

}  // namespace kelvane::cli
