// Covers: a whole node whose port refuses frames, fails when it is read, or is gone.
//
// | subject    | functional                                        | robustness                                |
// |------------|---------------------------------------------------|-------------------------------------------|
// | writes     | accepted                                          | refused n times, for ever, at random      |
// | reads      | all frames that wait                              | fail for a while, for ever, at random     |
// | afterwards | heartbeat, SDO, PDO, client: as before, by itself |                                           |
// | log        | nothing                                           | one line for each frame that was given up |
//
// The seed is printed; the environment variable TAVO_TEST_SEED repeats a run.

#include <algorithm>
#include <random>
#include <string>

#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "PDOFixture.h"
#include "ReadableName.h"
#include "TestSeed.h"

namespace {

using test::Frames;

// How often a frame is offered to the port before it is given up.
constexpr unsigned int ATTEMPTS = 26;
constexpr unsigned int FOR_EVER = 0xFFFFFFFF;
constexpr const char* GIVEN_UP = "CANopen: Error sending CAN message\n";

class PortFaults : public test::PDOFixture {
protected:
  // A node with a heartbeat of 100 ms, a TPDO on change, one with an inhibit time and a channel to node 6.
  PortFaults() {
    node.canopen().setHeartbeatProducerTime(100);
    addVariable(0x2001, 1, 8);
    addVariable(0x2001, 2, 8);
    addTransmitPDO(0, {0x185}, {0x20010108});
    addTransmitPDO(1, {0x285, 255, 0, 10}, {0x20010208});
    node.canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "remote");
    node.dictionary().addEntry(0x2100, KQ::OBJECT_TYPE_RECORD, "remote");
    node.dictionary().addSubentry(0x2100, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED16, "remote", false, 0, "", 0x606);
    node.dictionary().addSubentry(0x2100, 2, KQ::ACCESS_RW, KQ::DATA_TYPE_VISIBLE_STRING, "text", false, 0, "", 0);
    node.canopen().setHeartbeatProducerTime(100);
    startAndSettle();
    answer = node.receive("605#40 18 10 01 00 00 00 00");
    EXPECT_EQ(1U, answer.size());
  }

  static bool contains(const Frames& frames, const std::string& frame) {
    return std::find(frames.begin(), frames.end(), frame) != frames.end();
  }

  unsigned int givenUp() {
    const std::string errors = node.output.takeErrors();
    unsigned int lines = 0;
    for (std::size_t at = 0; (at = errors.find(GIVEN_UP, at)) != std::string::npos; ++at) {
      ++lines;
    }
    EXPECT_EQ(errors.size(), lines * std::string(GIVEN_UP).size()) << errors;
    return lines;
  }

  // Every service works, without anything having been done for it.
  void expectHealthy() {
    node.run(150);  // what is left of time-outs and inhibit times
    const Frames frames = node.run(100);
    EXPECT_TRUE(contains(frames, "705#05"));
    EXPECT_EQ(answer, node.receive("605#40 18 10 01 00 00 00 00"));
    change(0x2001, 1, ++value);
    char expected[16];
    std::snprintf(expected, sizeof expected, "185#%02X", static_cast<unsigned int>(value));
    EXPECT_EQ(Frames{expected}, sent());
    EXPECT_EQ(KQ::KQ_OK, node.canopen().updateRequest(0x21000001, value));
    EXPECT_TRUE(contains(node.cycle(), "606#2B 00 21 01 " + std::string(expected + 4) + " 00 00 00"));
    node.receive("586#60 00 21 01 00 00 00 00");
    EXPECT_EQ(0U, givenUp());
  }

  int value = 0;
  Frames answer;
};

class PortThatRefuses : public PortFaults, public testing::WithParamInterface<unsigned int> {};

TEST_P(PortThatRefuses, IsTriedAgainAndGivenUpWithOneLineAFrame) {
  node.port().refuse(GetParam(), KQ::KQ_DEFERRED);
  change(0x2001, 1, ++value);
  EXPECT_EQ(std::min(GetParam() / ATTEMPTS, 1U), givenUp());
  EXPECT_EQ(GetParam() < ATTEMPTS ? 1U : 0U, sent().size());
}

TEST_P(PortThatRefuses, IsOvercomeByItself) {
  node.port().refuse(GetParam(), KQ::KQ_DEFERRED);
  node.run(1000);
  node.port().refuse(0, KQ::KQ_OK);
  node.output.takeErrors();
  expectHealthy();
}

// A TPDO that its inhibit time held back was accepted: it is not lost, however often it is refused then.
TEST_P(PortThatRefuses, LosesNoTransmissionThatIsPending) {
  node.run(200);
  change(0x2001, 2, 1);
  change(0x2001, 2, 2);
  node.port().refuse(GetParam(), KQ::KQ_DEFERRED);
  Frames frames = node.run(45);
  node.port().refuse(0, KQ::KQ_OK);
  for (const std::string& frame : node.run(6)) {
    frames.push_back(frame);
  }
  EXPECT_TRUE(contains(frames, "285#02"));
}

INSTANTIATE_TEST_SUITE_P(Times, PortThatRefuses,
                         testing::Values(0U, 1U, ATTEMPTS - 1, ATTEMPTS, ATTEMPTS + 1, 100U, FOR_EVER),
                         test::ReadableName());

TEST_F(PortFaults, RefusedForEverCostsAFrameItsAttemptsAndNoMore) {
  node.port().refuse(FOR_EVER, KQ::KQ_NOT_AVAILABLE);
  const unsigned int before = node.port().writeAttempts();
  node.run(1000);
  EXPECT_EQ(givenUp() * ATTEMPTS, node.port().writeAttempts() - before);
}

TEST_F(PortFaults, RefusedAtRandomLeavesTheNodeWhole) {
  std::mt19937 random(test::chooseSeed());
  for (unsigned int step = 0; step < 3000; ++step) {
    if (random() % 3 == 0) {
      node.port().refuse(static_cast<unsigned int>(random() % 60), KQ::KQ_DEFERRED);
    }
    switch (random() % 6) {
      case 0:
        change(0x2001, 1, static_cast<int>(random() % 100));
        break;
      case 1:
        change(0x2001, 2, static_cast<int>(random() % 100));
        break;
      case 2:
        node.receive("605#40 18 10 01 00 00 00 00");
        break;
      case 3:
        node.receive("605#21 00 21 02 0E 00 00 00");
        break;
      case 4:
        node.canopen().updateRequest(0x21000001, static_cast<int>(random() % 100));
        break;
      default:
        node.canopen().getValueRequest(0x21000001);
        break;
    }
    node.run(static_cast<unsigned int>(random() % 20));
  }
  node.port().refuse(0, KQ::KQ_OK);
  node.run(150);
  node.output.takeErrors();
  expectHealthy();
}

// ---- reads

TEST_F(PortFaults, ReadsThatFailLeaveWhatWaitsForLater) {
  node.port().inject("605#40 18 10 01 00 00 00 00");
  node.port().failReads(3, KQ::KQ_NOT_AVAILABLE);
  for (int i = 0; i < 3; ++i) {
    node.canopen().onEndPointReadable(&node.port(), nullptr);
    EXPECT_EQ(Frames{}, sent());
  }
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(answer, sent());
  expectHealthy();
}

TEST_F(PortFaults, ReadsThatFailForEverCostNoHeartbeatAndNoLine) {
  constexpr unsigned int REQUESTS = 100;
  for (unsigned int i = 0; i < REQUESTS; ++i) {
    node.port().inject("605#40 18 10 01 00 00 00 00");
  }
  node.port().failReads(FOR_EVER, KQ::KQ_NOT_AVAILABLE);
  node.run(100);
  unsigned int heartbeats = 0;
  for (unsigned int passed = 0; passed < 1000; ++passed) {
    node.canopen().onEndPointReadable(&node.port(), nullptr);
    heartbeats += static_cast<unsigned int>(node.run(1).size());
  }
  EXPECT_EQ(10U, heartbeats);
  EXPECT_EQ(0U, givenUp());
  node.port().failReads(0, KQ::KQ_OK);
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(REQUESTS, sent().size());
  expectHealthy();
}

TEST_F(PortFaults, ReadsThatFailAtRandomLoseNoRequestAndKeepTheirOrder) {
  std::mt19937 random(test::chooseSeed());
  Frames answers;
  Frames expected;
  for (unsigned int request = 0; request < 1000 || node.port().waitingFrames() > 0; ++request) {
    if (request < 1000) {
      char object[8];
      std::snprintf(object, sizeof object, "%02X %02X", request & 0xFFU, 0x50U + (request >> 8U));
      node.port().inject("605#40 " + std::string(object) + " 00 00 00 00 00");
      expected.push_back("585#80 " + std::string(object) + " 00 00 00 02 06");
    }
    node.port().failReads(static_cast<unsigned int>(random() % 4), KQ::KQ_NOT_AVAILABLE);
    node.canopen().onEndPointReadable(&node.port(), nullptr);
    const Frames part = sent();
    answers.insert(answers.end(), part.begin(), part.end());
  }
  EXPECT_EQ(expected, answers);
  node.port().failReads(0, KQ::KQ_OK);
  expectHealthy();
}

}  // namespace
