#include "cli/verbs/table_task.h"

#include <algorithm>
#include <compare>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane::cli {

void TableTask::begin() const {
  for (RowSink* sink : sinks) sink->tableBegins(table);
}

void TableTask::end() const {
  for (RowSink* sink : sinks) sink->tableEnds(table);
}

void TableTask::take(const rows::DifferingRows& rows) {
  if (later != nullptr)
    later->keep(kept, rows);
  else
    tell(rows);
}

void TableTask::tell(const rows::DifferingRows& rows) {
  for (RowSink* sink : sinks) sink->rowsDiffer(table, rows);
  keepSample(rows);
}

void TableTask::keepPlace(std::string_view begin, const rows::RowCounts& counts) {
  TableState reached{state.plan, false, std::string(begin), state.counts, table.samples};
  reached.counts.add(counts);
  resume->keep(table.name, std::move(reached));
}

// The rows with the smallest keys.
void TableTask::keepSample(const rows::DifferingRows& rows) {
  if (shown == 0) return;
  const std::string_view key =
      (rows.source.empty() ? rows.target : rows.source).substr(0, rows.keySize);
  std::vector<RowSample>& samples = table.samples;
  const auto comesBefore = [](std::string_view one, const RowSample& kept) {
    return std::is_lt(rows::orderOf(one, kept.key()));
  };
  if (samples.size() == shown && !comesBefore(key, samples.back())) return;
  samples.insert(std::upper_bound(samples.begin(), samples.end(), key, comesBefore),
                 {{std::string(rows.source), std::string(rows.target)}, rows.keySize});
  if (samples.size() > shown) samples.pop_back();
}

}  // namespace kelvane::cli
