#include "tests/support/recording.h"

#include "model/text.h"

namespace kelvane::testing {
namespace {

std::string inQuotes(std::u16string_view text) { return '"' + toUtf8(text) + '"'; }

std::string objectType(enumObjectType type) {
  static constexpr const char* kNames[] = {"IRRELEVANT", "TABLE", "VIEW", "STOREDPROC",
                                           "USER",       "GROUP", "UDDT", "FUNCTION",
                                           "DATA",       "SERVER"};
  return kNames[type + 1];
}

}  // namespace

void RecordingSink::StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                                    const enumObjectType& ObjectType) {
  record("start " + inQuotes(Status) + (SupportProgressBar ? " bar " : " ") +
         objectType(ObjectType));
}

void RecordingSink::Processing(const std::u16string& Status, const std::int16_t& Progress,
                               const enumObjectType& ObjectType) {
  record("progress " + inQuotes(Status) + ' ' + std::to_string(Progress) + ' ' +
         objectType(ObjectType));
}

void RecordingSink::EndProcessing(const enumObjectType& ObjectType) {
  record("end " + objectType(ObjectType));
}

void RecordingSink::record(std::string event) {
  journal_.push_back(event);
  events_.push_back(std::move(event));
  if (onEvent) onEvent(static_cast<int>(events_.size()), std::string(events_.back()));
}

void RecordingHost::MessageBox(std::u16string_view text, MessageIcon icon) {
  messages_.push_back(inQuotes(text) + (icon == MessageIcon::exclamation ? "!" : ""));
  journal_.push_back("message " + messages_.back());
}

void RecordingHost::DoEvents() {
  journal_.push_back("yield");
  ++yields_;
  if (onYield) onYield(yields_);
}

}  // namespace kelvane::testing
