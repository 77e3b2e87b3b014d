#include "SequenceRun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "ComparedNode.h"
#include "NodeModel.h"
#include "TemporaryDirectory.h"
#include "TestSeed.h"

namespace model {

namespace {

// A run in every "make test" is the same one. A seed given covers all that follow it, one for each sequence.
constexpr std::uint64_t FIRST_SEED = 1;
constexpr unsigned int SEQUENCES = 2000;

std::uint64_t chooseFirstSeed() {
  const char* const given = std::getenv("TAVO_TEST_SEED");
  return given != nullptr ? std::strtoull(given, nullptr, 0) : FIRST_SEED;
}

// A working directory in which no node writes the description of its defaults: that would take longer than a sequence.
void avoidDescriptionFiles() {
  static const test::TemporaryDirectory directory;
  std::filesystem::create_directories("tavo_default.dcf");
}

}  // namespace

void expectAlike(const Comparison::Generate& generate) {
  avoidDescriptionFiles();
  const std::uint64_t seed = chooseFirstSeed();
  const unsigned int sequences = test::countFromEnvironment("TAVO_MODEL_SEQUENCES", SEQUENCES);
  const Comparison comparison([] { return std::make_unique<ComparedNode>(); },
                              [] { return std::make_unique<NodeModel>(); });
  const char* const suite = testing::UnitTest::GetInstance()->current_test_info()->test_suite_name();
  std::printf("%s: %u sequences from seed %llu on\n", suite, sequences, static_cast<unsigned long long>(seed));
  std::fflush(stdout);  // also when the node does not live to the end
  const auto start = std::chrono::steady_clock::now();
  const std::string difference = comparison.run(generate, seed, sequences);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  std::printf("%s: %.0f sequences a second\n", suite, sequences / taken.count());
  EXPECT_TRUE(difference.empty()) << "SEQUENCES=1 SEED=" << difference;
}

}  // namespace model
