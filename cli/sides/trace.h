// What was asked of each side and how it was answered, one JSON object a line, in order.
//
// Every line holds "side" ("source" or "target") and "kind":
//   "sql"     a statement: "text" exactly as it was sent; "outcome" "rows", "none" or "error"; with
//             "rows" also "rows", the number in the first result (left out where the cursor does
//             not know it); with "error" also "error", the server's text
//   "result"  a failure behind the first row or result of a statement sent before: its "text",
//             "outcome" "error", "error"
//   "event"   a progress event: "event" is its name, "objectType" the published number; besides,
//             StartProcessing has "status" and "progressBar", Processing "status" and "progress"
//
// Lifetime: the stream outlives it. Threading: one thread; several traces may share a stream where
// they share a mutex.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "cli/screen/json.h"
#include "model/schema.h"

namespace kelvane::cli {

class Trace {
 public:
  Trace(std::ostream& out, std::u16string_view side, std::mutex* shared = nullptr)
      : out_(out), side_(side), shared_(shared) {}

  void rows(std::u16string_view statement, std::int32_t count);  // count -1: not known
  void none(std::u16string_view statement);
  void rejected(std::u16string_view statement, std::u16string_view error);
  void failedLater(std::u16string_view statement, std::u16string_view error);

  void startProcessing(std::u16string_view status, bool progressBar, enumObjectType objectType);
  void processing(std::u16string_view status, std::int16_t progress, enumObjectType objectType);
  void endProcessing(enumObjectType objectType);

 private:
  JsonObject line(std::u16string_view kind) const;
  JsonObject statement(std::u16string_view text, std::u16string_view outcome,
                       std::u16string_view kind = u"sql") const;
  JsonObject event(std::u16string_view name) const;
  // At once: the run may not come to its end.
  void write(const JsonObject& line) {
    std::unique_lock<std::mutex> lock;
    if (shared_ != nullptr) lock = std::unique_lock(*shared_);
    out_ << line.text() << '\n' << std::flush;
  }

  std::ostream& out_;
  std::u16string side_;
  std::mutex* shared_;
};

}  // namespace kelvane::cli
