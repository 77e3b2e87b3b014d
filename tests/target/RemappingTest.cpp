// Covers: a node on can0 whose master on can1 changes identifiers while the bus is busy: no frame that it serves is
// lost.
//
// | subject | functional | robustness                                                                |
// |---------|------------|---------------------------------------------------------------------------|
// | RPDO    |            | the frame that follows the confirmation of its new identifier is received |
// | SYNC    |            | the one that follows the confirmation is answered by a synchronous TPDO   |

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "KernelBus.h"
#include "KernelNode.h"

namespace test {
namespace {

constexpr unsigned char NODE = 5;
constexpr int HEARTBEAT_MS = 100;
constexpr int PATIENCE_MS = 500;
constexpr unsigned int ROUNDS = 300;
constexpr unsigned short RECEIVED_VARIABLE = 0;
constexpr unsigned short SENT_VARIABLE = 1;
constexpr unsigned int NOT_VALID = 0x80000000U;

void runNode() {
  // The lines of the stack belong into no test's output.
  std::cout.setstate(std::ios::failbit);
  KernelNode device("can0", NODE, HEARTBEAT_MS);
  device.addVariables(2);
  device.addReceivePDO(0, 0x205, RECEIVED_VARIABLE);
  device.addTransmitPDO(0, 0x301, 1, SENT_VARIABLE);
  device.start();
  for (;;) {
    device.cycle(1000);
  }
}

// An SDO request, or any other frame that has a number in its last four bytes.
std::string frameWith(unsigned int number, unsigned int identifier, std::vector<unsigned char> bytesBefore = {}) {
  KQ::KQCANMessage message;
  message.identifier = identifier;
  std::copy(bytesBefore.begin(), bytesBefore.end(), message.data);
  std::memcpy(message.data + bytesBefore.size(), &number, sizeof number);
  message.length = static_cast<unsigned int>(bytesBefore.size() + sizeof number);
  return toText(message);
}

class RemappingOnBus : public testing::Test {
protected:
  RemappingOnBus() {
    // Not before it is operational: between its boot-up and that it answers writes, but no SYNC.
    std::string heartbeat;
    while (heartbeat.rfind("705#05", 0) != 0) {
      const auto received = master.receiveOf("705", 5000);
      EXPECT_TRUE(received) << "the node does not start";
      heartbeat = received ? received->text : "705#05";
    }
    master.listenOnlyTo(0x585, 0x301);
  }

  // Writes an object. The next frame that the master sends follows upon the confirmation at once.
  void write(unsigned short index, unsigned char subIndex, unsigned int value) {
    EXPECT_EQ("60", ask(0x23, index, subIndex, value).substr(4, 2));
  }
  unsigned int read(unsigned short index) {
    const KQ::KQCANMessage answer = frame(ask(0x40, index, 0, 0));
    unsigned int value = 0;
    std::memcpy(&value, answer.data + 4, sizeof value);
    return value;
  }

  // It gets on with a confirmation before the node does with whatever comes after sending it.
  const AheadOfOthers priority;
  RawSocket master{"can1"};
  const Process node{runNode};
  const Process traffic{{"cangen", "can1", "-g", "0.2", "-i", "-I", "2A5", "-L", "8"}};

private:
  std::string ask(unsigned char command, unsigned short index, unsigned char subIndex, unsigned int value) {
    const auto high = static_cast<unsigned char>(index >> 8U);
    const auto low = static_cast<unsigned char>(index & 0xFFU);
    master.send(frameWith(value, 0x600U + NODE, {command, low, high, subIndex}));
    const auto answer = master.receiveOf("585", PATIENCE_MS);
    return answer ? answer->text : "585#00 no answer";
  }
};

TEST_F(RemappingOnBus, FrameAfterTheConfirmationOfAReceivePDOIsReceived) {
  for (unsigned int round = 1; round <= ROUNDS; ++round) {
    const unsigned int identifier = 0x380 + round % 64;
    write(0x1400, 1, NOT_VALID | identifier);
    write(0x1400, 1, identifier);
    master.send(frameWith(round, identifier));
    ASSERT_EQ(round, read(0x2000 + RECEIVED_VARIABLE));
  }
}

TEST_F(RemappingOnBus, SyncAfterTheConfirmationOfItsIdentifierIsAnswered) {
  for (unsigned int round = 1; round <= ROUNDS; ++round) {
    const unsigned int identifier = 0x081 + round % 16;
    // What the SYNC before set off stands ahead of the confirmation, and is thrown away with it.
    write(0x1005, 0, identifier);
    KQ::KQCANMessage sync;
    sync.identifier = identifier;
    master.send(toText(sync));
    ASSERT_TRUE(master.receiveOf("301", PATIENCE_MS)) << "round " << round;
  }
}

}  // namespace
}  // namespace test
