// Ratios between two programs that do the same, measured in one run.
#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <vector>

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

/// The two in turn, so that both meet the same machine: the ratio of the medians of their processor
/// times.
template <class Component, class Bare>
double ratioOfMedians(std::size_t rounds, Component component, Bare bare) {
  const auto secondsOf = [](auto& work) {
    const std::clock_t start = std::clock();
    benchmark::DoNotOptimize(work());
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  std::vector<double> ofComponent, ofBare;
  for (std::size_t round = 0; round < rounds; ++round) {
    ofComponent.push_back(secondsOf(component));
    ofBare.push_back(secondsOf(bare));
  }
  const auto median = [](std::vector<double>& times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
  };
  return median(ofComponent) / median(ofBare);
}

}  // namespace kelvane::bench
