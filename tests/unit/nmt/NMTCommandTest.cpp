// Covers: NMT commands (module control).
//
// | subject           | functional                   | robustness                                           |
// |-------------------|------------------------------|------------------------------------------------------|
// | command specifier | 0x01, 0x02, 0x80, 0x81, 0x82 | every other value                                    |
// | current state     | 0 to 6                       | 9                                                    |
// | addressed node    | all, this one                | another one, node ID never set                       |
// | option 3          | on, off                      | changed between two commands                         |
// | frame             | COB-ID 0, two bytes          | other lengths, other COB-IDs, null, no state machine |

#include <tuple>

#include "KQCANopenStateMachine.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "ReadableName.h"
#include "TestNode.h"

namespace {

constexpr unsigned char ALL_NODES = 0;
constexpr unsigned char THIS_NODE = 5;
constexpr unsigned char OTHER_NODE = 6;

class NMTFixture {
protected:
  NMTFixture() {
    nmt.setNodeID(THIS_NODE);
    nmt.setStateMachine(&machine);
  }

  void enter(int state) {
    machine.setState(state);
    output.takeOutput();
  }

  int receive(const std::string& text) {
    KQ::KQCANMessage message = test::frame(text);
    return nmt.handleMessage(&message);
  }

  int command(unsigned int specifier, unsigned char node) {
    KQ::KQCANMessage message = test::frame("000#00 00");
    message.data[0] = static_cast<unsigned char>(specifier);
    message.data[1] = node;
    return nmt.handleMessage(&message);
  }

  test::CapturedOutput output;
  KQ::KQCANopen instance{"node"};
  KQ::KQCANopenStateMachine machine{&instance};
  KQ::KQNMTHandler nmt;
};

// ---- the whole table

struct Specifier {
  const char* name;
  unsigned int value;
  int newState;  // NONE: refused
};

constexpr int NONE = -1;

using CommandParameters = std::tuple<Specifier, int, unsigned char, bool>;

class NMTCommand : public NMTFixture, public testing::TestWithParam<CommandParameters> {
protected:
  NMTCommand() {
    nmt.setIgnoreBroadcastCommands(ignoresBroadcast);
    enter(state);
  }

  bool isTaken() const { return node == THIS_NODE || (node == ALL_NODES && !ignoresBroadcast); }
  bool isAllowed() const { return specifier.newState != NONE && (specifier.value != 0x01 || state == 3 || state == 5); }

  const Specifier specifier = std::get<0>(GetParam());
  const int state = std::get<1>(GetParam());
  const unsigned char node = std::get<2>(GetParam());
  const bool ignoresBroadcast = std::get<3>(GetParam());
};

TEST_P(NMTCommand, EntersItsStateOrIsRefused) {
  const bool obeyed = isTaken() && isAllowed();
  const int expectedResult = isTaken() && !isAllowed() ? KQ::KQ_UNKNOWN_COMMAND : KQ::KQ_OK;
  EXPECT_EQ(expectedResult, command(specifier.value, node));
  EXPECT_EQ(obeyed ? specifier.newState : state, machine.getState());
  EXPECT_EQ(!obeyed, output.takeOutput().empty());
}

std::string nameOfCommand(const testing::TestParamInfo<CommandParameters>& testInfo) {
  const unsigned char node = std::get<2>(testInfo.param);
  std::string name = std::get<0>(testInfo.param).name;
  name += "InState" + std::to_string(std::get<1>(testInfo.param));
  name += node == ALL_NODES ? "ToAll" : node == THIS_NODE ? "ToThisNode" : "ToAnotherNode";
  return name + (std::get<3>(testInfo.param) ? "IgnoringBroadcast" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Table, NMTCommand,
    testing::Combine(testing::Values(Specifier{"Start", 0x01, 4}, Specifier{"Stop", 0x02, 5},
                                     Specifier{"EnterPreOperational", 0x80, 3}, Specifier{"ResetNode", 0x81, 1},
                                     Specifier{"ResetCommunication", 0x82, 2}, Specifier{"Unknown03", 0x03, NONE}),
                     testing::Values(0, 1, 2, 3, 4, 5, 6, 9), testing::Values(ALL_NODES, THIS_NODE, OTHER_NODE),
                     testing::Bool()),
    nameOfCommand);

// ---- what is no command

class NMTHandlerFrame : public NMTFixture, public testing::Test {};

TEST_F(NMTHandlerFrame, EveryOtherSpecifierGives35) {
  enter(3);
  for (unsigned int specifier = 0; specifier <= 0xFF; ++specifier) {
    if (specifier == 0x01 || specifier == 0x02 || (specifier >= 0x80 && specifier <= 0x82)) {
      continue;
    }
    EXPECT_EQ(KQ::KQ_UNKNOWN_COMMAND, command(specifier, THIS_NODE)) << specifier;
  }
  EXPECT_EQ(3, machine.getState());
  EXPECT_EQ("", output.takeOutput());
}

TEST_F(NMTHandlerFrame, NullGives20) {
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, nmt.handleMessage(nullptr));
}

class OtherLength : public NMTFixture, public testing::TestWithParam<unsigned int> {};

TEST_P(OtherLength, IsNoCommand) {
  enter(3);
  KQ::KQCANMessage message = test::frame("000#02 05 00 00 00 00 00 00");
  message.length = GetParam();
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, nmt.handleMessage(&message));
  EXPECT_EQ(3, machine.getState());
}

INSTANTIATE_TEST_SUITE_P(Lengths, OtherLength, testing::Values(0U, 1U, 3U, 4U, 5U, 6U, 7U, 8U), test::ReadableName());

TEST_F(NMTHandlerFrame, OtherCOBIDIsNoCommand) {
  enter(3);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("001#02 05"));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("080#02 05"));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("7FF#02 05"));
  EXPECT_EQ(3, machine.getState());
}

// ---- missing parts

TEST_F(NMTHandlerFrame, CommandWithoutStateMachineGives11) {
  nmt.setStateMachine(nullptr);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, command(0x02, ALL_NODES));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, command(0x02, THIS_NODE));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, command(0x03, THIS_NODE));
}

TEST_F(NMTHandlerFrame, CommandForAnotherNodeIsConsumedAlsoWithoutStateMachine) {
  nmt.setStateMachine(nullptr);
  EXPECT_EQ(KQ::KQ_OK, command(0x02, OTHER_NODE));
}

TEST_F(NMTHandlerFrame, HandlerThatWasNeverWiredTakesNothing) {
  KQ::KQNMTHandler fresh;
  KQ::KQCANMessage message = test::frame("000#02 00");
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, fresh.handleMessage(&message));
}

TEST_F(NMTHandlerFrame, NodeIDThatWasNeverSetIs255) {
  KQ::KQNMTHandler fresh;
  fresh.setStateMachine(&machine);
  enter(3);
  KQ::KQCANMessage message = test::frame("000#02 FE");
  EXPECT_EQ(KQ::KQ_OK, fresh.handleMessage(&message));
  EXPECT_EQ(3, machine.getState());
  message = test::frame("000#02 FF");
  EXPECT_EQ(KQ::KQ_OK, fresh.handleMessage(&message));
  EXPECT_EQ(5, machine.getState());
}

TEST_F(NMTHandlerFrame, StoppedNodeStartsAgain) {
  enter(4);
  EXPECT_EQ(KQ::KQ_OK, receive("000#02 00"));
  EXPECT_EQ(KQ::KQ_OK, receive("000#01 00"));
  EXPECT_EQ(4, machine.getState());
  EXPECT_EQ("CANOPEN: State set to 0x5\nCANOPEN: State set to 0x4\n", output.takeOutput());
}

TEST_F(NMTHandlerFrame, IgnoringBroadcastsMayBeSwitchedBack) {
  enter(3);
  nmt.setIgnoreBroadcastCommands(true);
  command(0x02, ALL_NODES);
  EXPECT_EQ(3, machine.getState());
  nmt.setIgnoreBroadcastCommands(false);
  command(0x02, ALL_NODES);
  EXPECT_EQ(5, machine.getState());
}

}  // namespace
