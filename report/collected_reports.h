// What comparisons with a reference found, in the formats of programs that collect results: test
// reports, code scanning, monitoring, and comments of merge requests.
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "report/compared_target.h"

namespace kelvane::report {

// Where a script made an object.
struct ScriptLocation {
  ObjectName object;
  std::string file;        // as it was named
  std::uint32_t line = 0;  // from 1
};

struct CollectedRun {
  std::string reference;     // how the user calls it, without secrets (UTF-8)
  std::string version = {};  // of this program
  bool isFleet = false;      // the target belongs to what a difference is known by
  std::span<const ComparedTarget> targets = {};
  // Places of those that differ in the same way, to the last letter.
  std::vector<std::vector<std::size_t>> groups = {};
  std::vector<inventory::Kind> kinds = {};  // of objects, that took part
  // Of scripts; where there are two of an object the first is the target's.
  std::vector<ScriptLocation> locations = {};
  std::chrono::sys_seconds end = {};
  int exitStatus = 0;
};

// JUnit XML as test servers read it: a suite for each target, a case for each object of either
// side. What differs has failed; a target that could not be read has a case that ended with an
// error, and of its other objects nothing is known: they are skipped.
void writeJunit(const CollectedRun& run, std::ostream& out);

// SARIF 2.1.0: a result for each difference, with a fingerprint that stays while the difference
// does, and its place in a script; known differences are suppressed results, and what could not be
// read is a notification.
void writeSarif(const CollectedRun& run, std::ostream& out);

// OpenMetrics text, which Prometheus reads as well: kelvane_differences for each target and kind of
// object, kelvane_read_ok and kelvane_read_seconds for each target, and kelvane_last_run_seconds,
// seconds since 1970. Of a target that could not be read there are no differences, not zero.
void writeOpenMetrics(const CollectedRun& run, std::ostream& out);

// Markdown for a comment: a summary, and what differs folded. No longer than kMostMarkdown, so that
// the usual servers take it; what is left out is said.
inline constexpr std::size_t kMostMarkdown = 60'000;  // bytes
void writeMarkdown(const CollectedRun& run, std::ostream& out);

}  // namespace kelvane::report
