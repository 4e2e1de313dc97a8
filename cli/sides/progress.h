// Shows a reader's progress in the status line and hands it on to a trace.
//
// Lifetime: status line, trace and connection outlive it; what it shows vanishes when it goes.
// Threading: one thread.
#pragma once

#include <string>
#include <string_view>

#include "cli/screen/status_line.h"
#include "cli/sides/trace.h"
#include "reader/idb_fetch.h"

namespace kelvane::cli {

class Progress final : public IDBFetchEvents {
 public:
  // `trace` may be null. What the reader is at is kept in `activity`.
  Progress(StatusLine& line, std::string_view side, Trace* trace, std::u16string& activity)
      : line_(line), side_(side), trace_(trace), activity_(activity) {}
  ~Progress() override { line_.show(side_, {}); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                       const enumObjectType& ObjectType) override;
  void Processing(const std::u16string& Status, const std::int16_t& Progress,
                  const enumObjectType& ObjectType) override;
  void EndProcessing(const enumObjectType& ObjectType) override;

 private:
  StatusLine& line_;
  std::string side_;
  Trace* trace_;
  std::u16string& activity_;
};

}  // namespace kelvane::cli
