// tavo-bench: one kind of work of the node, a given number of times, for counting instructions.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <utility>

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

// The bytes on the heap that one node of configuration a takes; port and variable store are not its own.
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

void runScenario(const bench::ScenarioEntry& entry, const bench::Configuration& configuration, std::size_t count) {
  const std::unique_ptr<bench::Scenario> scenario = entry.createFor(configuration);
  scenario->prepare();
  const std::size_t before = AllocationCounter::allocations();
  scenario->run(count);
  const std::size_t allocations = AllocationCounter::allocations() - before;
  scenario->check();
  std::printf("%s\t%zu operations\t%zu frames\t%zu allocations\n", entry.name, count,
              count * scenario->framesPerOperation(), allocations);
}

// @return 0 for anything but a number from 1 on
unsigned long parseCount(const char* text) {
  char* end = nullptr;
  const unsigned long count = std::strtoul(text, &end, 10);
  return *end == '\0' ? count : 0;
}

// Takes an option over into the configuration. @return whether there is such an option
bool setOption(bench::Configuration& configuration, const char* option, unsigned int value) {
  constexpr std::pair<const char*, unsigned int bench::Configuration::*> OPTIONS[] = {
      {"--pdos", &bench::Configuration::pdos},
      {"--consumers", &bench::Configuration::consumers},
      {"--variables", &bench::Configuration::variables},
      {"--nodes", &bench::Configuration::nodes},
  };
  const auto* const found = std::find_if(std::begin(OPTIONS), std::end(OPTIONS), [option](const auto& candidate) {
    return std::strcmp(candidate.first, option) == 0;
  });
  if (found == std::end(OPTIONS)) {
    return false;
  }
  configuration.*found->second = value;
  return true;
}

int showUsage() {
  std::fprintf(stderr,
               "usage: tavo-bench SCENARIO COUNT [--pdos N] [--consumers N] [--variables N] [--nodes N]\n"
               "       tavo-bench --list | --heap\n");
  return WRONG_ARGUMENTS;
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
  const unsigned long count = argc >= 3 && argc % 2 == 1 ? parseCount(argv[2]) : 0;
  if (count == 0) {
    return showUsage();
  }
  const bench::ScenarioEntry* const entry = bench::findScenario(argv[1]);
  if (entry == nullptr) {
    std::fprintf(stderr, "tavo-bench: no scenario '%s', see --list\n", argv[1]);
    return WRONG_ARGUMENTS;
  }
  bench::Configuration configuration = entry->configuration;
  for (int i = 3; i < argc; i += 2) {
    const auto value = static_cast<unsigned int>(parseCount(argv[i + 1]));
    if (value == 0 || !setOption(configuration, argv[i], value)) {
      return showUsage();
    }
  }
  runScenario(*entry, configuration, count);
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
