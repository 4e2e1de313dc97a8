// Shows a reader's progress on a terminal, in one line that is written over, and hands it on to a
// trace.
//
// Lifetime: console and trace outlive it; it clears its line when it goes. Threading: one thread.
#pragma once

#include <string>
#include <string_view>

#include "cli/console.h"
#include "cli/trace.h"
#include "reader/idb_fetch.h"

namespace kelvane::cli {

class Progress final : public IDBFetchEvents {
 public:
  // `trace` may be null. Nothing is shown where standard error is no terminal. What the reader is
  // at is kept in `activity`.
  Progress(const Console& console, std::string_view side, Trace* trace, std::u16string& activity)
      : console_(console), side_(side), trace_(trace), activity_(activity) {}
  ~Progress() override { show({}); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                       const enumObjectType& ObjectType) override;
  void Processing(const std::u16string& Status, const std::int16_t& Progress,
                  const enumObjectType& ObjectType) override;
  void EndProcessing(const enumObjectType& ObjectType) override;

 private:
  void show(std::u16string text);

  const Console& console_;
  std::string side_;
  Trace* trace_;
  std::u16string& activity_;
};

}  // namespace kelvane::cli
