// What procedures, triggers and texts made at run time have in common when they are called.
//
// Both live for one call and refer to what they were made of.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

/// Counts one level of calls while it lives.
class Level {
 public:
  static constexpr int kMost = 16;

  /// `procedureId`: what runs on this level, for `@@procid`.
  Level(Session& session, std::uint32_t line, int procedureId)
      : session_(session), callerId_(session.calls.procedureId) {
    if (session.calls.level >= kMost) {
      throw tsql::ServerError(message::tooManyCalls, line);
    }
    ++session.calls.level;
    session.calls.procedureId = procedureId;
  }
  ~Level() {
    --session_.calls.level;
    session_.calls.procedureId = callerId_;
  }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;

 private:
  Session& session_;
  int callerId_;
};

/// What a called text says stands, for the client, at the line of the call.
class CalledOutcome final : public Outcome {
 public:
  CalledOutcome(Outcome& outcome, std::uint32_t line) : outcome_(outcome), line_(line) {}

  void beginRows(const std::vector<ResultColumn>& columns) override { outcome_.beginRows(columns); }
  void row(Row row) override { outcome_.row(std::move(row)); }
  void count(std::int64_t rows) override { outcome_.count(rows); }
  void notice(const Notice& notice) override {
    Notice moved = notice;
    moved.line = line_;
    outcome_.notice(moved);
  }
  void beginProcedure(const std::string& name) override { outcome_.beginProcedure(name); }
  void endProcedure(int status) override { outcome_.endProcedure(status); }

 private:
  Outcome& outcome_;
  std::uint32_t line_;
};

}  // namespace kelvane::embedded
