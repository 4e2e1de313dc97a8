// Shows a reader's progress in the status line, hands it on to a trace, and keeps how far it came.
//
// Lifetime: status line, trace and connection outlive it; what it shows vanishes when it goes.
// Threading: one thread.
#pragma once

#include <string>
#include <string_view>

#include "cli/read_extent.h"
#include "cli/status_line.h"
#include "cli/trace.h"
#include "cli/tracing_connection.h"
#include "reader/idb_fetch.h"

namespace kelvane::cli {

class Progress final : public IDBFetchEvents {
 public:
  // `trace` may be null. What the reader is at is kept in `activity`.
  Progress(StatusLine& line, std::string_view side, Trace* trace, std::u16string& activity,
           const TracingConnection& connection)
      : line_(line), side_(side), trace_(trace), activity_(activity), connection_(connection) {}
  ~Progress() override { line_.show(side_, {}); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                       const enumObjectType& ObjectType) override;
  void Processing(const std::u16string& Status, const std::int16_t& Progress,
                  const enumObjectType& ObjectType) override;
  void EndProcessing(const enumObjectType& ObjectType) override;

  // How far the reading came before the connection was over.
  const ReadExtent& extent() const { return extent_; }

 private:
  StatusLine& line_;
  std::string side_;
  Trace* trace_;
  std::u16string& activity_;
  const TracingConnection& connection_;
  ReadExtent extent_;
  bool amidObject_ = false;
};

}  // namespace kelvane::cli
