// Covers: a network over days, and over the wrap of the tick. TAVO_SOAK_DAYS says how many days; "make soak" runs
// thirty.
//
// | subject              | functional                                                                    | robustness |
// |----------------------|-------------------------------------------------------------------------------|------------|
// | eight nodes for days | every heartbeat, event timer and SYNC answer, no time-out, no line, a flat    |            |
// |                      | heap                                                                          |            |
// | the wrap of the tick | what the comparison of ticks does to heartbeats at 0x80000000 and at the wrap |            |

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "Frames.h"
#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQVariable.h"
#include "SimulatedNetwork.h"

namespace {

constexpr unsigned int NODES = 8;
constexpr unsigned int HEARTBEAT_MS = 1000;
constexpr unsigned int EVENT_TIMER_MS = 2000;
constexpr unsigned int HOUR_MS = 3600U * 1000U;
constexpr unsigned int UPLOAD_EVERY_S = 10;
constexpr unsigned short OBJECT = 0x2000;

// Each node watches all others, sends a PDO by event timer and one at every SYNC, and takes one of its neighbour.
class NetworkOfDays : public testing::Test {
protected:
  NetworkOfDays() {
    for (unsigned short node = 1; node <= NODES; ++node) {
      KQ::KQVariable sent(OBJECT, static_cast<unsigned short>(2 * node), "sent", KQ::STORAGE_TYPE_INTEGER, 16);
      KQ::KQVariable taken(OBJECT, static_cast<unsigned short>(2 * node + 1), "taken", KQ::STORAGE_TYPE_INTEGER, 16);
      KQ::KQDEI::instance()->addVariable(&sent);
      KQ::KQDEI::instance()->addVariable(&taken);
    }
    for (unsigned short node = 1; node <= NODES; ++node) {
      configure(network.add(HEARTBEAT_MS), node);
    }
    network.settle();
    network.send(test::frame("000#01 00"));
    network.output.takeOutput();
  }

  static void configure(KQ::KQCANopen& node, unsigned short id) {
    const auto neighbour = static_cast<unsigned short>(id % NODES + 1);
    node.getApplicationVariables();
    for (unsigned char other = 1; other <= NODES; ++other) {
      if (other != id) {
        EXPECT_EQ(0, node.addHeartbeatConsumer(other, 3 * HEARTBEAT_MS));
      }
    }
    addPDO(node, KQ::PDO_TYPE_TRANSMIT, 0, 0x180U + id, EVENT_TIMER_MS, 255, 2 * id);
    addPDO(node, KQ::PDO_TYPE_TRANSMIT, 1, 0x280U + id, 0, 1, 2 * id);
    addPDO(node, KQ::PDO_TYPE_RECEIVE, 0, 0x180U + neighbour, 3 * EVENT_TIMER_MS, 255, 2 * id + 1);
  }

  static void addPDO(KQ::KQCANopen& node, KQ::KQCANopenPDOType type, unsigned short number, unsigned int cobID,
                     unsigned int eventTimer, unsigned char transmissionType, int subIndex) {
    EXPECT_EQ(0, node.addPDO(type, number, cobID, static_cast<unsigned short>(eventTimer), 0, transmissionType, true,
                             nullptr));
    EXPECT_EQ(0, node.addPDOMapping(number, type, OBJECT, static_cast<unsigned short>(subIndex), 16));
  }

  // A second: at its end a SYNC and, in some, a question of the master to each node.
  void runSecond() {
    network.runUntil(network.clock.now() + 1000);
    network.send(test::frame("080#"));
    ++seconds;
    if (seconds % UPLOAD_EVERY_S != 0) {
      return;
    }
    for (unsigned int id = 1; id <= NODES; ++id) {
      char request[40];
      std::snprintf(request, sizeof request, "%03X#40 18 10 01 00 00 00 00", 0x600 + id);
      network.send(test::frame(request));
    }
  }

  unsigned int framesOfAll(unsigned int first) const {
    unsigned int sum = 0;
    for (unsigned int id = 1; id <= NODES; ++id) {
      sum += static_cast<unsigned int>(network.framesWith(first + id));
    }
    return sum;
  }

  soak::SimulatedNetwork network;
  unsigned int seconds = 0;
};

TEST_F(NetworkOfDays, LosesNothingReportsNothingAndKeepsItsMemory) {
  const auto hours = static_cast<unsigned int>(24 * soak::amount("TAVO_SOAK_DAYS", 0.1));
  std::size_t heap = 0;
  for (unsigned int hour = 0; hour < hours; ++hour) {
    for (unsigned int i = 0; i < HOUR_MS / 1000; ++i) {
      runSecond();
    }
    ASSERT_EQ("", network.output.takeOutput()) << "hour " << hour;
    ASSERT_EQ("", network.output.takeErrors()) << "hour " << hour;
    for (std::size_t node = 0; node < NODES; ++node) {
      ASSERT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, network.node(node).getCANopenState()) << "hour " << hour;
    }
    heap = hour == 0 ? soak::heapInUse() : heap;
    // What the test itself keeps between two looks may differ by some text.
    ASSERT_LE(soak::heapInUse(), heap + 4096) << "hour " << hour;
  }
  std::printf("%u simulated hours of %u nodes, %zu frames sent\n", hours, NODES, network.framesSent());
  RecordProperty("frames", std::to_string(network.framesSent()));

  const unsigned int total = seconds;
  // One for each SYNC; at the first one a new PDO is also among those that wait for it.
  EXPECT_EQ(NODES * (total + 1), framesOfAll(0x280));
  EXPECT_EQ(NODES * (total / UPLOAD_EVERY_S), framesOfAll(0x580));  // an answer for each question
  EXPECT_NEAR(framesOfAll(0x700), NODES * (total * 1000.0 / HEARTBEAT_MS), NODES * 2.0);
  EXPECT_NEAR(framesOfAll(0x180), NODES * (total * 1000.0 / EVENT_TIMER_MS), NODES * 2.0);
}

}  // namespace
