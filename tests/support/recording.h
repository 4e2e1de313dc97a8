// A progress sink and a host that write down what they are told, in one journal, so that a test can
// see what came after what.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/host.h"
#include "reader/idb_fetch.h"

namespace kelvane::testing {

using Journal = std::vector<std::string>;

// Each event is a line such as `start "Starting" bar SERVER`, `progress "..." 50 IRRELEVANT` or
// `end TABLE`.
class RecordingSink final : public IDBFetchEvents {
 public:
  explicit RecordingSink(Journal& journal) : journal_(journal) {}

  // Called with the 1-based number and the line of each event; may throw or cancel.
  std::function<void(int, const std::string&)> onEvent;
  const std::vector<std::string>& events() const { return events_; }

  void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                       const enumObjectType& ObjectType) override;
  void Processing(const std::u16string& Status, const std::int16_t& Progress,
                  const enumObjectType& ObjectType) override;
  void EndProcessing(const enumObjectType& ObjectType) override;

 private:
  void record(std::string event);

  Journal& journal_;
  std::vector<std::string> events_;
};

// Writes `yield` and `message "..."`, with a `!` behind it for the exclamation icon.
class RecordingHost final : public Host {
 public:
  explicit RecordingHost(Journal& journal) : journal_(journal) {}

  // Called with the 1-based number of each yield.
  std::function<void(int)> onYield;
  // The messages since the last call of this function.
  std::vector<std::string> takeMessages() { return std::exchange(messages_, {}); }

  void MessageBox(std::u16string_view text, MessageIcon icon) override;
  void DoEvents() override;

 private:
  Journal& journal_;
  std::vector<std::string> messages_;
  int yields_ = 0;
};

}  // namespace kelvane::testing
