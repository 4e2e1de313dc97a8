// Ratios between two programs that do the same, measured in one run.
#pragma once

#include <benchmark/benchmark.h>
#include <chrono>

namespace kelvane::bench {

/// Runs both in each iteration, one after the other. `ratio` is between the sums of their times;
/// the time of the benchmark, which must be manual, is that of the first.
template <class Component, class Bare>
void inTurn(benchmark::State& state, Component component, Bare bare) {
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  Seconds ofComponent{}, ofBare{};
  for (auto _ : state) {
    const auto start = Clock::now();
    component();
    const auto between = Clock::now();
    bare();
    ofComponent += between - start;
    ofBare += Clock::now() - between;
    state.SetIterationTime(Seconds(between - start).count());
  }
  state.counters["ratio"] = ofComponent / ofBare;
}

}  // namespace kelvane::bench
