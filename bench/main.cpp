// tavo-bench: one kind of work of the node, a given number of times, for counting instructions.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "AllocationCounter.h"
#include "Scenario.h"

namespace {

using bench::AllocationCounter;

constexpr int WRONG_ARGUMENTS = 2;

void listScenarios() {
  for (const bench::ScenarioEntry& entry : bench::scenarios()) {
    std::printf("%s\t%zu\t%s\t%s\n", entry.name, entry.units, entry.unit, entry.operation);
  }
}

/// The bytes on the heap that one node of configuration a takes; port and variable store are not its own.
void printHeap() {
  const bench::BenchEnvironment environment;
  const bench::BenchApplication application(bench::CONFIGURATION_A);
  AllocationCounter::countBytes();
  const std::size_t before = AllocationCounter::bytes();
  const bench::BenchNode node(bench::CONFIGURATION_A);
  const std::size_t after = AllocationCounter::bytes();
  const std::size_t rings = sizeof(bench::FrameRings) + sizeof(bench::RingEndPoint);
  std::printf("heap\t%zu\n", after - before - rings);
}

void runScenario(const bench::ScenarioEntry& entry, std::size_t count) {
  const std::unique_ptr<bench::Scenario> scenario = entry.create();
  scenario->prepare();
  const std::size_t before = AllocationCounter::allocations();
  scenario->run(count);
  const std::size_t allocations = AllocationCounter::allocations() - before;
  scenario->check();
  std::printf("%s\t%zu operations\t%zu frames\t%zu allocations\n", entry.name, count,
              count * scenario->framesPerOperation(), allocations);
}

int run(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
    listScenarios();
    return EXIT_SUCCESS;
  }
  if (argc == 2 && std::strcmp(argv[1], "--heap") == 0) {
    printHeap();
    return EXIT_SUCCESS;
  }
  char* end = nullptr;
  const unsigned long count = argc == 3 ? std::strtoul(argv[2], &end, 10) : 0;
  if (count == 0 || *end != '\0') {
    std::fprintf(stderr, "usage: tavo-bench SCENARIO COUNT | --list | --heap\n");
    return WRONG_ARGUMENTS;
  }
  const bench::ScenarioEntry* const entry = bench::findScenario(argv[1]);
  if (entry == nullptr) {
    std::fprintf(stderr, "tavo-bench: no scenario '%s', see --list\n", argv[1]);
    return WRONG_ARGUMENTS;
  }
  runScenario(*entry, count);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavo-bench: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
