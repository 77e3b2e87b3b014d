// Covers: threads of the application that change mapped variables while the node cycles; for the thread sanitizer.
//
// | subject       | functional                                       | robustness                                    |
// |---------------|--------------------------------------------------|-----------------------------------------------|
// | values        | the last frame carries the last value            | no value of a frame or of the store is torn   |
// | state changes | nothing leaves once the state change is done     | stop, pre-operational, both resets            |
// | all ways out  | change, inhibit time, event timer, SYNC, counter | RPDOs and SDO downloads to the same variables |
// | rebuilds      |                                                  | TPDOs are invalidated and validated meanwhile |

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "PDOFixture.h"

using namespace KQ;
using test::Frames;

namespace {

constexpr unsigned char VARIABLES = 2;

// Four equal bytes: a value that was put together from two others shows.
unsigned int pattern(unsigned int number) {
  return (number & 0xFFU) * 0x01010101U;
}

bool isPattern(unsigned int value) {
  return value == pattern(value);
}

class PDOThreads : public test::PDOFixture {
protected:
  PDOThreads() {
    for (unsigned char subIndex = 1; subIndex <= VARIABLES; ++subIndex) {
      addVariable(0x2001, subIndex, 32);
      addOwnVariable(0x2002, subIndex, 32);
    }
    addVariable(0x2003, 1, 32);
    const test::Mapping ofApplication = {0x20010120, 0x20010220};
    const test::Mapping ofNode = {0x20020120, 0x20020220};
    addTransmitPDO(0, {0x181, 255}, ofApplication);
    addTransmitPDO(1, {0x182, 254, 5, 3}, ofNode);
    addTransmitPDO(2, {0x183, 0}, ofApplication);
    addTransmitPDO(3, {0x184, 1}, ofNode);
    addTransmitPDO(4, {0x185, 255}, {0x20020120, 0x20010120});
    addReceivePDO(0, {0x201, 255}, ofApplication);
    addReceivePDO(1, {0x202, 1}, ofNode);
    node.canopen().setPDOAction(0, PDO_TYPE_TRANSMIT, 2, 0x20030001);
    startAndSettle();
  }

  ~PDOThreads() override { stopThreads(); }

  // Each thread writes one variable of the application and one of the node, in different orders.
  void startThreads() {
    for (unsigned char number = 0; number < VARIABLES; ++number) {
      threads.emplace_back([this, number] { changeVariables(number); });
    }
  }

  void changeVariables(unsigned char number) {
    const auto subIndex = static_cast<unsigned short>(number + 1);
    for (unsigned int i = number; !isOver; ++i) {
      const int value = static_cast<int>(pattern(i));
      KQDEI::instance()->setVariableValue(i % 2 == 0 ? 0x2001 : 0x2002, subIndex, value, true, false);
      KQDEI::instance()->setVariableValue(i % 2 == 0 ? 0x2002 : 0x2001, subIndex, value, true, false);
      ++changes;
    }
  }

  void stopThreads() {
    isOver = true;
    for (std::thread& thread : threads) {
      thread.join();
    }
    threads.clear();
  }

  // Lets the threads make count changes.
  void letThemChange(unsigned int count) const {
    const unsigned int end = changes + count;
    while (static_cast<int>(end - changes) > 0) {
      std::this_thread::yield();
    }
  }

  static void expectWholeValues(const Frames& frames) {
    for (const std::string& text : frames) {
      const KQCANMessage message = test::frame(text);
      const bool isPDO = message.identifier >= 0x181 && message.identifier <= 0x185;
      for (unsigned int i = 0; isPDO && i < 8; ++i) {
        EXPECT_EQ(message.data[i / 4 * 4], message.data[i]) << text;
      }
    }
  }

  static bool hasPDO(const Frames& frames) {
    for (const std::string& text : frames) {
      if (text.compare(0, 2, "18") == 0) {
        return true;
      }
    }
    return false;
  }

  // One round of everything that the protocol thread does with PDOs.
  Frames work(unsigned int round) {
    const std::string value = test::toText(messageOf(round)).substr(4);
    node.clock.advance(1);
    Frames frames = node.cycle();
    for (const std::string& received :
         {"201#" + value, "202#" + value, std::string("080#"), "605#23 01 20 01 " + value.substr(0, 11)}) {
      for (std::string& text : node.receive(received)) {
        frames.push_back(std::move(text));
      }
    }
    return frames;
  }

  std::atomic<unsigned int> changes{0};

private:
  static KQCANMessage messageOf(unsigned int round) {
    KQCANMessage message;
    for (unsigned char& byte : message.data) {
      byte = static_cast<unsigned char>(round & 0xFFU);
    }
    return message;
  }

  std::atomic<bool> isOver{false};
  std::vector<std::thread> threads;
};

TEST_F(PDOThreads, ValuesAreNeverTorn) {
  startThreads();
  bool wasSent = false;
  for (unsigned int round = 0; round < 150 && !HasFailure(); ++round) {
    const Frames frames = work(round);
    wasSent = wasSent || hasPDO(frames);
    expectWholeValues(frames);
    letThemChange(1);
    for (unsigned short subIndex = 1; subIndex <= VARIABLES; ++subIndex) {
      EXPECT_TRUE(isPattern(static_cast<unsigned int>(stored(0x2001, subIndex))));
      EXPECT_TRUE(isPattern(static_cast<unsigned int>(stored(0x2002, subIndex))));
    }
  }
  EXPECT_TRUE(wasSent);
}

TEST_F(PDOThreads, NothingLeavesOnceTheStateChangeIsDone) {
  startThreads();
  static const char* const COMMANDS[] = {"000#02 05", "000#80 05", "000#82 05", "000#81 05"};
  for (unsigned int round = 0; round < 60 && !HasFailure(); ++round) {
    node.receive(COMMANDS[round % std::size(COMMANDS)]);
    letThemChange(3);
    EXPECT_FALSE(hasPDO(sent()));
    EXPECT_FALSE(hasPDO(work(round)));
    EXPECT_FALSE(hasPDO(work(round)));
    letThemChange(3);
    EXPECT_FALSE(hasPDO(sent()));
    node.receive("000#01 05");
    ASSERT_EQ(CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
    letThemChange(3);
    EXPECT_TRUE(hasPDO(work(round)));
    node.output.takeOutput();
  }
}

TEST_F(PDOThreads, PDOsMayBeRebuiltMeanwhile) {
  startThreads();
  for (unsigned int round = 0; round < 60 && !HasFailure(); ++round) {
    const auto index = static_cast<unsigned short>(0x1800 + round % 5);
    const unsigned int cobID = 0x181 + round % 5;
    write(index, 1, 0x80000000U | cobID);
    expectWholeValues(work(round));
    write(index, 1, cobID);
    expectWholeValues(work(round));
    letThemChange(1);
    node.output.takeOutput();
  }
}

TEST_F(PDOThreads, LastFrameCarriesTheLastValue) {
  startThreads();
  Frames frames;
  for (unsigned int round = 0; round < 100; ++round) {
    for (std::string& text : node.run(1)) {
      frames.push_back(std::move(text));
    }
    letThemChange(5);
  }
  stopThreads();
  for (std::string& text : node.run(20)) {
    frames.push_back(std::move(text));
  }
  const auto lastOf = [&frames](const std::string& cobID) {
    for (auto it = frames.rbegin(); it != frames.rend(); ++it) {
      if (it->compare(0, 3, cobID) == 0) {
        return test::frame(*it);
      }
    }
    return KQCANMessage();
  };
  EXPECT_EQ(static_cast<unsigned char>(stored(0x2001, 1)), lastOf("181").data[0]);
  EXPECT_EQ(static_cast<unsigned char>(stored(0x2001, 2)), lastOf("181").data[4]);
  EXPECT_EQ(static_cast<unsigned char>(stored(0x2002, 1)), lastOf("182").data[0]);
  EXPECT_EQ(static_cast<unsigned char>(stored(0x2002, 2)), lastOf("182").data[4]);
  EXPECT_EQ(static_cast<unsigned char>(stored(0x2002, 1)), lastOf("185").data[0]);
  EXPECT_EQ(static_cast<unsigned char>(stored(0x2001, 1)), lastOf("185").data[4]);
}

TEST_F(PDOThreads, EveryTransmissionIsCounted) {
  change(0x2003, 1, 0);
  sent();
  startThreads();
  unsigned int transmissions = 0;
  for (unsigned int round = 0; round < 100; ++round) {
    letThemChange(5);
    const Frames frames = node.run(1);
    transmissions += static_cast<unsigned int>(std::count_if(
        frames.begin(), frames.end(), [](const std::string& text) { return text.compare(0, 3, "181") == 0; }));
  }
  stopThreads();
  for (const std::string& text : sent()) {
    transmissions += text.compare(0, 3, "181") == 0 ? 1U : 0U;
  }
  EXPECT_EQ(transmissions, static_cast<unsigned int>(stored(0x2003, 1)));
}

}  // namespace
