#include "cli/words/result_files.h"

namespace kelvane::cli {
namespace {

constexpr auto kOptions = std::to_array<Option>({
    {kJunit, kFile, "write a JUnit report: a suite for each target, a case for each object"},
    {kMarkdown, kFile, "write Markdown for the comment of a merge request"},
    {kOpenMetrics, kFile, "write metrics for Prometheus and others"},
    {kSarif, kFile, "write a SARIF 2.1.0 report for code scanning"},
});

}  // namespace

OptionFamily resultFileOptions() { return {"Files for other programs", kOptions}; }

ResultFiles resultFiles(const Arguments& arguments) {
  return {arguments.value(kJunit), arguments.value(kMarkdown), arguments.value(kOpenMetrics),
          arguments.value(kSarif)};
}

}  // namespace kelvane::cli
