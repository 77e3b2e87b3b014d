// Covers: two nodes, 5 and 6, on one virtual bus, reading and writing each other's variables.
//
// | subject | functional                             | robustness                     |
// |---------|----------------------------------------|--------------------------------|
// | number  | written, read, both directions at once |                                |
// | text    | expedited, segmented, 889 characters   |                                |
// | refusal | out of range, unknown object           | local value kept               |
// | silence | node paused                            | late answer, server back again |
// | reset   | of the client, of the server           | in the middle of a transfer    |

#include "KQCANopenObjectDictionary.h"
#include "KQVariable.h"
#include "SDOServerFixture.h"
#include "SignalRecorder.h"
#include "StoredVariable.h"
#include "TwoNodesFixture.h"

namespace {

using test::Frames;
using test::pattern;

// Sub-indexes of 2001 are node 5's view of 2101 in node 6, those of 2002 are node 6's view of 2102 in node 5.
class SDOClientAndServer : public test::TwoNodesFixture {
protected:
  SDOClientAndServer() {
    five->addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "six");
    six->addSDOChannel(0x605, 0x585, 5, KQ::SDO_CHANNEL_CLIENT, "five");
    boot();
    five->setSDOEventListener(&events);
    bindNumbers();
    bindTexts();
  }

  ~SDOClientAndServer() override { five->setSDOEventListener(nullptr); }

  static KQ::KQVariable number(unsigned short index) {
    return {index, 1, "number", KQ::STORAGE_TYPE_INTEGER, 16, false};
  }
  static KQ::KQVariable text(unsigned short index) { return {index, 2, "text", KQ::STORAGE_TYPE_STRING}; }

  static void bindHere(KQ::KQCANopen& node, KQ::KQVariable variable) { ASSERT_EQ(0, node.addVariable(&variable)); }

  static void bindThere(KQ::KQCANopen& node, KQ::KQVariable variable, unsigned int server, const std::string& channel) {
    variable.setExternalIdentifier(variable.getVariableID() + 0x01000000);
    variable.setChannelName(channel);
    bindHere(node, variable);
    ASSERT_EQ(0, node.setSDOServerID(variable.getFirstAddress(), variable.getSecondAddress(), server));
  }

  void bindNumbers() {
    bindHere(*five, number(0x2102));
    bindHere(*six, number(0x2101));
    six->getObjectDictionary()->setLimits(0x2101, 1, 0, 9999);
    bindThere(*five, number(0x2001), 0x606, "six");
    bindThere(*six, number(0x2002), 0x605, "five");
  }

  void bindTexts() {
    bindHere(*five, text(0x2102));
    bindHere(*six, text(0x2101));
    bindThere(*five, text(0x2001), 0x606, "six");
    bindThere(*six, text(0x2002), 0x605, "five");
  }

  static KQ::KQDEI& store() { return *KQ::KQDEI::instance(); }
  // What the application does: its request reaches the node that owns the variable.
  static void write(unsigned short index, int value) {
    EXPECT_EQ(0, store().setVariableValue(index, 1, value, true, true));
  }
  static void write(unsigned short index, const std::string& value) {
    EXPECT_EQ(0, store().setVariableValue(index, 2, value, true, true));
  }
  static int numberIn(unsigned short index) {
    int value = -1;
    store().getVariableValue(index, 1, &value);
    return value;
  }
  static std::string textIn(unsigned short index) {
    std::string value;
    store().getVariableValue(index, 2, &value);
    return value;
  }
  static void keep(unsigned short index, int value) {
    EXPECT_EQ(0, store().setVariableValue(index, 1, value, true, false));
  }
  static void keep(unsigned short index, const std::string& value) {
    EXPECT_EQ(0, store().setVariableValue(index, 2, value, true, false));
  }

  // Cycles until the bus is silent. @return what the master saw
  Frames settle() {
    Frames frames;
    int silent = 0;
    while (silent < 3) {
      const Frames now = cycle();
      silent = now.empty() ? silent + 1 : 0;
      frames.insert(frames.end(), now.begin(), now.end());
    }
    return frames;
  }

  test::SignalRecorder events;
};

TEST_F(SDOClientAndServer, NumberIsWritten) {
  write(0x2001, 0x1234);
  EXPECT_EQ((Frames{"606#2B 01 21 01 34 12 00 00", "586#60 01 21 01 00 00 00 00"}), settle());
  EXPECT_EQ(0x1234, numberIn(0x2101));
  EXPECT_EQ(0x1234, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, NumberIsRead) {
  keep(0x2101, 0x1234);
  EXPECT_EQ(0, five->getValueRequest(0x2001, 1));
  EXPECT_EQ((Frames{"606#40 01 21 01 00 00 00 00", "586#4B 01 21 01 34 12 00 00"}), settle());
  EXPECT_EQ(0x1234, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, TextOfUpToFourCharactersIsWritten) {
  write(0x2001, "abcd");
  EXPECT_EQ((Frames{"606#23 01 21 02 61 62 63 64", "586#60 01 21 02 00 00 00 00"}), settle());
  EXPECT_EQ("abcd", textIn(0x2101));
  EXPECT_EQ("abcd", textIn(0x2001));
}

TEST_F(SDOClientAndServer, TextIsWrittenInSegments) {
  write(0x2001, "hello world");
  EXPECT_EQ((Frames{"606#21 01 21 02 0B 00 00 00", "586#60 01 21 02 00 00 00 00", "606#00 68 65 6C 6C 6F 20 77",
                    "586#20 00 00 00 00 00 00 00", "606#17 6F 72 6C 64 00 00 00", "586#30 00 00 00 00 00 00 00"}),
            settle());
  EXPECT_EQ("hello world", textIn(0x2101));
  EXPECT_EQ("hello world", textIn(0x2001));
}

TEST_F(SDOClientAndServer, TextIsReadInSegments) {
  keep(0x2101, "hello world");
  five->getValueRequest(0x2001, 2);
  EXPECT_EQ((Frames{"606#40 01 21 02 00 00 00 00", "586#41 01 21 02 0B 00 00 00", "606#60 00 00 00 00 00 00 00",
                    "586#00 68 65 6C 6C 6F 20 77", "606#70 00 00 00 00 00 00 00", "586#17 6F 72 6C 64 00 00 00"}),
            settle());
  EXPECT_EQ("hello world", textIn(0x2001));
}

class TextLength : public SDOClientAndServer, public testing::WithParamInterface<std::size_t> {};

TEST_P(TextLength, SurvivesWriteAndRead) {
  const std::string text = pattern(GetParam());
  write(0x2001, text);
  settle();
  EXPECT_EQ(text, textIn(0x2101));
  keep(0x2001, "overwritten");
  five->getValueRequest(0x2001, 2);
  settle();
  EXPECT_EQ(text, textIn(0x2001));
}

INSTANTIATE_TEST_SUITE_P(Lengths, TextLength, testing::Values(1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 13U, 14U, 15U, 889U),
                         testing::PrintToStringParamName());

TEST_F(SDOClientAndServer, BothWriteAndReadAtTheSameTime) {
  keep(0x2101, 11);
  keep(0x2102, 12);
  five->getValueRequest(0x2001, 1);
  six->getValueRequest(0x2002, 1);
  write(0x2001, "of five");
  write(0x2002, "six");
  settle();
  EXPECT_EQ(11, numberIn(0x2001));
  EXPECT_EQ(12, numberIn(0x2002));
  EXPECT_EQ("of five", textIn(0x2101));
  EXPECT_EQ("six", textIn(0x2102));
}

TEST_F(SDOClientAndServer, ReadsFollowOneAnother) {
  keep(0x2101, 11);
  keep(0x2101, "hello world");
  five->getValueRequest(0x2001, 2);
  five->getValueRequest(0x2001, 1);
  settle();
  EXPECT_EQ(11, numberIn(0x2001));
  EXPECT_EQ("hello world", textIn(0x2001));
}

// ---- refusals

TEST_F(SDOClientAndServer, NumberOutOfRangeKeepsBothValues) {
  write(0x2001, 10000);
  EXPECT_EQ((Frames{"606#2B 01 21 01 10 27 00 00", "586#80 01 21 01 30 00 09 06"}), settle());
  EXPECT_EQ(0, numberIn(0x2101));
  EXPECT_EQ(0, numberIn(0x2001));
  ASSERT_EQ(1U, events.signals.size());
  EXPECT_EQ(1103, events.signals[0].getCode());
  EXPECT_EQ(0x20010001U, events.signals[0].getFirstValue());
}

TEST_F(SDOClientAndServer, UnknownObjectOfTheServerIsRefused) {
  bindThere(*five, KQ::KQVariable(0x2001, 9, "unknown"), 0x606, "six");
  EXPECT_EQ(0, store().setVariableValue(0x2001, 9, 5, true, true));
  EXPECT_EQ((Frames{"606#23 01 21 09 05 00 00 00", "586#80 01 21 09 00 00 02 06"}), settle());
}

// ---- silence

TEST_F(SDOClientAndServer, SilentServerIsAborted) {
  six->setPaused(true);
  write(0x2001, 5);
  settle();
  clock.advance(101);
  EXPECT_EQ(Frames{"606#80 01 21 01 00 00 04 05"}, settle());
  EXPECT_EQ(0, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, LateConfirmationChangesOnlyTheServer) {
  six->setPaused(true);
  write(0x2001, 5);
  settle();
  clock.advance(101);
  settle();
  six->setPaused(false);
  EXPECT_EQ(Frames{"586#60 01 21 01 00 00 00 00"}, settle());
  EXPECT_EQ(5, numberIn(0x2101));
  EXPECT_EQ(0, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, ServerThatIsBackIsReadAgain) {
  six->setPaused(true);
  five->getValueRequest(0x2001, 1);
  settle();
  clock.advance(101);
  EXPECT_EQ(Frames{"586#80 01 21 01 00 00 04 05"}, settle());
  EXPECT_FALSE(test::isValid(0x2001, 1));
  six->setPaused(false);
  settle();
  EXPECT_FALSE(test::isValid(0x2001, 1));
  keep(0x2101, 7);
  five->getValueRequest(0x2001, 1);
  settle();
  EXPECT_TRUE(test::isValid(0x2001, 1));
  EXPECT_EQ(7, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, SilenceInTheMiddleOfSegmentsEndsBothSides) {
  write(0x2001, pattern(50));
  cycle();
  cycle();
  six->setPaused(true);
  settle();
  clock.advance(101);
  EXPECT_EQ(Frames{"586#80 01 21 02 00 00 04 05"}, settle());
  six->setPaused(false);
  settle();
  EXPECT_EQ("", textIn(0x2101));
  EXPECT_EQ("", textIn(0x2001));
}

// ---- reset

TEST_F(SDOClientAndServer, ResetOfTheClientKeepsItsChannel) {
  send("000#82 05");
  settle();
  write(0x2001, 5);
  settle();
  EXPECT_EQ(5, numberIn(0x2101));
  EXPECT_EQ(5, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, WriteDuringTheResetOfTheServerArrives) {
  send("000#82 06");
  write(0x2001, 5);
  settle();
  EXPECT_EQ(5, numberIn(0x2101));
  EXPECT_EQ(5, numberIn(0x2001));
}

TEST_F(SDOClientAndServer, StoppedServerIsSilent) {
  send("000#02 06");
  write(0x2001, 5);
  EXPECT_EQ(Frames{"606#2B 01 21 01 05 00 00 00"}, settle());
}

}  // namespace
