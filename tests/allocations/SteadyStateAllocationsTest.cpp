// Covers: that a node in operation takes nothing from the heap and gives nothing back.
//
// | subject           | functional                                          | robustness                              |
// |-------------------|-----------------------------------------------------|-----------------------------------------|
// | every scenario of | SteadyState.AllocatesNothing                        |                                         |
// | the benchmarks    |                                                     |                                         |
// | timers, time-outs | SteadyStateOfNode.TimersAndTimeoutsAllocateNothing  |                                         |
// | and their         |                                                     |                                         |
// | resolution        |                                                     |                                         |
// | requests that are |                                                     | SteadyStateOfNode.AbortsAllocateNothing |
// | answered with an  |                                                     |                                         |
// | abort             |                                                     |                                         |
// | writes to another | SteadyStateOfNode.DownloadsToAServerAllocateNothing |                                         |
// | node              |                                                     |                                         |
// | reset of the      | Restart.GivesBackWhatItTook                         |                                         |
// | communication     |                                                     |                                         |

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "AllocationCounter.h"
#include "BenchEnvironment.h"
#include "BenchNode.h"
#include "Frame.h"
#include "Scenario.h"

namespace {

using bench::AllocationCounter;

constexpr std::size_t OPERATIONS = 600;

std::vector<bench::ScenarioEntry> steadyScenarios() {
  std::vector<bench::ScenarioEntry> steady;
  for (const bench::ScenarioEntry& entry : bench::scenarios()) {
    if (entry.isSteady) {
      steady.push_back(entry);
    }
  }
  return steady;
}

std::string nameOf(const testing::TestParamInfo<bench::ScenarioEntry>& info) {
  std::string name = info.param.name;
  for (char& character : name) {
    character = character == '-' ? '_' : character;
  }
  return name;
}

class SteadyState : public testing::TestWithParam<bench::ScenarioEntry> {};

TEST_P(SteadyState, AllocatesNothing) {
  const std::unique_ptr<bench::Scenario> scenario = GetParam().create();
  scenario->prepare();
  const std::size_t before = AllocationCounter::allocations();
  scenario->run(OPERATIONS);
  const std::size_t allocations = AllocationCounter::allocations() - before;
  scenario->check();
  EXPECT_EQ(0U, allocations);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, SteadyState, testing::ValuesIn(steadyScenarios()), nameOf);

class SteadyStateOfNode : public testing::TestWithParam<bench::Configuration> {
protected:
  // Lets the clock run, with one cycle a millisecond.
  void run(unsigned int milliseconds) {
    for (unsigned int i = 0; i < milliseconds; ++i) {
      bench::BenchEnvironment::advance(1);
      node.cycle();
    }
  }

  void hearWatchedNodes() {
    for (unsigned int consumer = 0; consumer < GetParam().consumers; ++consumer) {
      node.receive(bench::frame(0x700 + bench::watchedNode(consumer), {0x05}));
    }
  }

  bench::BenchEnvironment environment;
  bench::BenchApplication application{GetParam()};
  bench::BenchNode node{GetParam()};
};

std::string nameOfConfiguration(const testing::TestParamInfo<bench::Configuration>& info) {
  return std::to_string(info.param.pdos) + "PDOs" + std::to_string(info.param.consumers) + "Consumers";
}

INSTANTIATE_TEST_SUITE_P(Configurations, SteadyStateOfNode,
                         testing::Values(bench::CONFIGURATION_A, bench::CONFIGURATION_B), nameOfConfiguration);

TEST_P(SteadyStateOfNode, TimersAndTimeoutsAllocateNothing) {
  run(10);
  const std::size_t before = AllocationCounter::allocations();
  const std::size_t sentBefore = node.sent().getCount();
  run(4500);  // the watched nodes fall silent meanwhile
  hearWatchedNodes();
  run(10);
  EXPECT_EQ(0U, AllocationCounter::allocations() - before);
  // Heartbeats at 1, 2, 3 and 4 s, all TPDOs at 2 and 4 s.
  EXPECT_EQ(4U + 2U * GetParam().pdos, node.sent().getCount() - sentBefore);
}

TEST_P(SteadyStateOfNode, AbortsAllocateNothing) {
  const KQ::KQCANMessage requests[] = {
      bench::frame(0x605, {0x40, 0x00, 0x50, 0x00, 0, 0, 0, 0}),  // no such object
      bench::frame(0x605, {0x2F, 0x05, 0x22, 0x05, 1, 0, 0, 0}),  // no such sub-index
      bench::frame(0x605, {0x2F, 0x00, 0x22, 0x05, 1, 0, 0, 0}),  // one byte for two
      bench::frame(0x605, {0x23, 0x18, 0x10, 0x01, 1, 0, 0, 0}),  // read only
      bench::frame(0x605, {0xE0, 0x00, 0x00, 0x00, 0, 0, 0, 0}),  // no such command
  };
  const std::size_t before = AllocationCounter::allocations();
  for (const KQ::KQCANMessage& request : requests) {
    node.receive(request);
    EXPECT_EQ(0x80, node.sent()[node.sent().getCount() - 1].data[0]);
  }
  EXPECT_EQ(0U, AllocationCounter::allocations() - before);
}

TEST_P(SteadyStateOfNode, DownloadsToAServerAllocateNothing) {
  constexpr unsigned int KEY = 0x22000005;  // an UNSIGNED16
  KQ::KQCANopen& canopen = node.canopen();
  ASSERT_EQ(KQ::KQ_OK, canopen.addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "six"));
  ASSERT_EQ(KQ::KQ_OK, canopen.setSDOServerID(KEY >> 16, KEY & 0xFF, 0x606));
  node.receive(bench::frame(0x000, {0x82, 0x05}));  // it reads its channels anew
  run(10);
  const auto write = [this, &canopen](int value) {
    EXPECT_EQ(KQ::KQ_OK, canopen.updateRequest(KEY, value));
    node.cycle();
    node.receive(bench::frame(0x586, {0x60, 0x00, 0x22, 0x05, 0, 0, 0, 0}));
  };
  write(1);
  const std::size_t before = AllocationCounter::allocations();
  const std::size_t sentBefore = node.sent().getCount();
  for (int value = 2; value < 102; ++value) {
    write(value);
  }
  EXPECT_EQ(0U, AllocationCounter::allocations() - before);
  EXPECT_EQ(100U, node.sent().getCount() - sentBefore);
  EXPECT_EQ(0x606U, node.sent()[node.sent().getCount() - 1].identifier);
}

TEST(Restart, GivesBackWhatItTook) {
  const std::unique_ptr<bench::Scenario> scenario = bench::findScenario("reset")->create();
  scenario->prepare();
  AllocationCounter::countBytes();
  const std::size_t before = AllocationCounter::bytes();
  scenario->run(OPERATIONS);
  EXPECT_EQ(before, AllocationCounter::bytes());
  scenario->check();
}

}  // namespace
