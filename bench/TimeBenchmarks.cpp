// The scenarios of tavo-bench by the clock: time an operation, as Google Benchmark measures it.

#include <benchmark/benchmark.h>

#include <memory>

#include "Scenario.h"

namespace {

constexpr std::size_t BATCH = 100;

void measure(benchmark::State& state, const bench::ScenarioEntry& entry) {
  const std::unique_ptr<bench::Scenario> scenario = entry.create();
  scenario->prepare();
  while (state.KeepRunningBatch(BATCH)) {
    scenario->run(BATCH);
  }
  scenario->check();
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(entry.units));
  state.SetLabel(entry.operation);
}

}  // namespace

int main(int argc, char** argv) {
  for (const bench::ScenarioEntry& entry : bench::scenarios()) {
    benchmark::RegisterBenchmark(entry.name, [&entry](benchmark::State& state) { measure(state, entry); });
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
