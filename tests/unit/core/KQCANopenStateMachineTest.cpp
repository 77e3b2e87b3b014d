// Covers: the communication state machine: states, cycle and send pass. (Reception:
// KQCANopenStateMachineReceptionTest.cpp)
//
// | subject                    | functional                      | robustness                              |
// |----------------------------|---------------------------------|-----------------------------------------|
// | initHandlers               | every handler wired             | each part missing, objects missing      |
// | setState                   | signal, log line, order         | any value, every flag of the stream set |
// | run, a row for each state  | result, next state, frames, log | unknown states, paused, failing INIT    |
// | run, time of the send pass | 50 ms from now                  | deadlines before, at and after that     |
// | sendCANMessages            | status word, heartbeat          | paused, without handlers, in INIT       |
// | copy and assignment        | what is taken, what is reset    | onto itself                             |

#include <iostream>
#include <limits>

#include "KQSignal.h"
#include "PDOFixture.h"
#include "ReadableName.h"
#include "SignalRecorder.h"
#include "StateMachineFixture.h"

namespace {

using test::Frames;

constexpr int SEND_STATUS_AFTER_A_QUIET_PASS = 5;
constexpr int UNTOUCHED_STATUS = 77;

class StateMachine : public test::StateMachineFixture {};

// ---- setState

class SetState : public StateMachine, public testing::WithParamInterface<std::pair<int, const char*>> {};

TEST_P(SetState, StoresAnyValueAndLogsItInHexadecimal) {
  machine.setState(GetParam().first);
  EXPECT_EQ(GetParam().first, machine.getState());
  EXPECT_EQ(std::string("CANOPEN: State set to 0x") + GetParam().second + "\n", node.output.takeOutput());
}

TEST_P(SetState, SignalsNodeIDAndState) {
  test::SignalRecorder listener;
  machine.addStateListener(&listener);
  machine.setState(GetParam().first);
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(6, listener.signals[0].getType());
  EXPECT_EQ(1700, listener.signals[0].getCode());
  EXPECT_EQ(5U, listener.signals[0].getFirstValue());
  EXPECT_EQ(static_cast<unsigned int>(GetParam().first), listener.signals[0].getSecondValue());
  EXPECT_FALSE(listener.signals[0].getFlag());
}

INSTANTIATE_TEST_SUITE_P(Values, SetState,
                         testing::Values(std::make_pair(0, "0"), std::make_pair(1, "1"), std::make_pair(2, "2"),
                                         std::make_pair(3, "3"), std::make_pair(4, "4"), std::make_pair(5, "5"),
                                         std::make_pair(6, "6"), std::make_pair(7, "7"), std::make_pair(26, "1a"),
                                         std::make_pair(-1, "ffffffff")),
                         [](const testing::TestParamInfo<std::pair<int, const char*>>& testInfo) {
                           return std::string("State0x") + testInfo.param.second;
                         });

// An application that has set up the standard output for its own lines.
class FormattedStream : public StateMachine, public testing::WithParamInterface<std::ios_base::fmtflags> {
protected:
  FormattedStream() : before(nullptr) {
    before.copyfmt(std::cout);
    std::cout.flags(GetParam());
    std::cout.width(60);
    std::cout.fill('*');
  }
  ~FormattedStream() override { std::cout.copyfmt(before); }

private:
  std::ios before;
};

TEST_P(FormattedStream, ShowsNothingOfItInTheLine) {
  machine.setState(0x1A);
  EXPECT_EQ("CANOPEN: State set to 0x1a\n", node.output.takeOutput());
}

TEST_P(FormattedStream, IsLeftInDecimalModeAndElseAsItWas) {
  machine.setState(0x1A);
  EXPECT_EQ((GetParam() & ~std::ios_base::basefield) | std::ios_base::dec, std::cout.flags());
  EXPECT_EQ(60, std::cout.width());
  EXPECT_EQ('*', std::cout.fill());
}

const std::ios_base::fmtflags WITH_ALL = std::ios_base::uppercase | std::ios_base::showbase | std::ios_base::showpos |
                                         std::ios_base::left | std::ios_base::unitbuf;

INSTANTIATE_TEST_SUITE_P(Flags, FormattedStream,
                         testing::Values(std::ios_base::dec, std::ios_base::hex, std::ios_base::oct,
                                         std::ios_base::hex | WITH_ALL, std::ios_base::oct | WITH_ALL));

TEST_F(StateMachine, StoresThenSignalsThenLogs) {
  int stateDuringCall = -1;
  std::string outputBeforeCall = "not called";
  test::SignalRecorder listener([&] {
    stateDuringCall = machine.getState();
    outputBeforeCall = node.output.takeOutput();
  });
  machine.addStateListener(&listener);
  machine.setState(4);
  EXPECT_EQ(4, stateDuringCall);
  EXPECT_EQ("", outputBeforeCall);
  EXPECT_EQ("CANOPEN: State set to 0x4\n", node.output.takeOutput());
}

TEST_F(StateMachine, SignalsTheNodeIDOfTheInstanceAsItIsNow) {
  test::SignalRecorder listener;
  machine.addStateListener(&listener);
  node.canopen().setNodeID(127);
  machine.setState(4);
  EXPECT_EQ(127U, listener.signals.at(0).getFirstValue());
}

TEST_F(StateMachine, SecondStateListenerReplacesTheFirst) {
  test::SignalRecorder first;
  test::SignalRecorder second;
  machine.addStateListener(&first);
  machine.addStateListener(&second);
  machine.setState(4);
  EXPECT_TRUE(first.signals.empty());
  EXPECT_EQ(1U, second.signals.size());
}

TEST_F(StateMachine, NullStateListenerRemovesTheListener) {
  test::SignalRecorder listener;
  machine.addStateListener(&listener);
  machine.addStateListener(nullptr);
  machine.setState(4);
  EXPECT_TRUE(listener.signals.empty());
}

TEST_F(StateMachine, SignalsTheSameStateAgain) {
  test::SignalRecorder listener;
  machine.addStateListener(&listener);
  machine.setState(4);
  machine.setState(4);
  EXPECT_EQ(2U, listener.signals.size());
}

// ---- run: a row for each state

struct StateRow {
  const char* name;
  int state;
  int nextState;
  Frames frames;
  const char* log;
  int status;
};

class Cycle : public StateMachine, public testing::WithParamInterface<StateRow> {
protected:
  Cycle() {
    machine.initHandlers();
    dictionary.setValue(0x1017, 0, 100, true);
    node.canopen().setProtocolStatus(UNTOUCHED_STATUS);
    enter(GetParam().state);
  }
};

TEST_P(Cycle, RunsTheActionOfTheState) {
  EXPECT_EQ(0, machine.run(0));
  EXPECT_EQ(GetParam().nextState, machine.getState());
  EXPECT_EQ(GetParam().frames, node.port().takeSent());
  EXPECT_EQ(GetParam().log, node.output.takeOutput());
  EXPECT_EQ(GetParam().status, node.canopen().getProtocolStatus());
}

TEST_P(Cycle, DoesNothingWhilePaused) {
  machine.pauseMachine(true);
  EXPECT_EQ(0, machine.run(0));
  EXPECT_EQ(GetParam().state, machine.getState());
  EXPECT_EQ(Frames{}, node.port().takeSent());
  EXPECT_EQ("", node.output.takeOutput());
  EXPECT_EQ(UNTOUCHED_STATUS, node.canopen().getProtocolStatus());
}

INSTANTIATE_TEST_SUITE_P(
    States, Cycle,
    testing::Values(StateRow{"Init", 0, 3, {"705#00"}, "CANOPEN: State set to 0x3\n", UNTOUCHED_STATUS},
                    StateRow{"ResetApplication", 1, 0, {}, "CANOPEN: State set to 0x0\n", UNTOUCHED_STATUS},
                    StateRow{"ResetCommunication", 2, 0, {}, "CANOPEN: State set to 0x0\n", UNTOUCHED_STATUS},
                    StateRow{"PreOperational", 3, 3, {"705#7F"}, "", SEND_STATUS_AFTER_A_QUIET_PASS},
                    StateRow{"Operational", 4, 4, {"705#05"}, "", SEND_STATUS_AFTER_A_QUIET_PASS},
                    StateRow{"Stopped", 5, 5, {"705#04"}, "", SEND_STATUS_AFTER_A_QUIET_PASS},
                    StateRow{"FatalError",
                             6,
                             2,
                             {},
                             "KQCANopenStateMachine: CANOPEN_STATE_FATAL_ERROR!\nTrying to do a reset...!\n"
                             "CANOPEN: State set to 0x2\n",
                             UNTOUCHED_STATUS},
                    StateRow{"Unknown7", 7, 7, {}, "KQCANopenStateMachine: UNKNOWN STATE!!!!!\n", UNTOUCHED_STATUS},
                    StateRow{"Unknown9", 9, 9, {}, "KQCANopenStateMachine: UNKNOWN STATE!!!!!\n", UNTOUCHED_STATUS},
                    StateRow{
                        "UnknownMinus1", -1, -1, {}, "KQCANopenStateMachine: UNKNOWN STATE!!!!!\n", UNTOUCHED_STATUS}),
    [](const testing::TestParamInfo<StateRow>& testInfo) { return testInfo.param.name; });

// ---- run: the time of the send pass

// A node in OPERATIONAL with three TPDOs that wait for the next pass, each of which takes 30 ms: the clock moves when
// it is sent.
class PassTime : public test::PDOFixture, public testing::WithParamInterface<unsigned int> {
protected:
  PassTime() {
    addVariables(3, 8);
    addTransmitPDO(0, {0x185}, {0x20010108});
    addTransmitPDO(1, {0x285}, {0x20010208});
    addTransmitPDO(2, {0x385}, {0x20010308});
    start();
    node.port().onWrite = [this] { node.clock.advance(30); };
  }
};

TEST_P(PassTime, Is50MillisecondsWhateverTheDeadline) {
  EXPECT_EQ(0, node.canopen().process(node.clock.now() + GetParam()));
  EXPECT_EQ((Frames{"185#00", "285#00"}), sent());
}

INSTANTIATE_TEST_SUITE_P(Deadlines, PassTime, testing::Values(0U, 10U, 30U, 50U, 60U, 1000U, 0x80000000U, 0xFFFFFFFFU),
                         test::ReadableName());

TEST_F(StateMachine, StartsInINITUnpaused) {
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, machine.getState());
  EXPECT_FALSE(machine.isPaused());
}

TEST_F(StateMachine, INITSignalsOnlyPreOperational) {
  test::SignalRecorder listener;
  machine.addStateListener(&listener);
  machine.run(0);
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(3U, listener.signals[0].getSecondValue());
}

TEST_F(StateMachine, INITSendsTheBootUpBeforeItEntersPreOperational) {
  Frames sentBefore;
  test::SignalRecorder listener([&] { sentBefore = node.port().takeSent(); });
  machine.addStateListener(&listener);
  machine.run(0);
  EXPECT_EQ(Frames{"705#00"}, sentBefore);
}

TEST_F(StateMachine, INITSucceedsAlsoWhenTheBootUpIsRefused) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(0, machine.run(0));
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, machine.getState());
}

TEST_F(StateMachine, UnknownStateIsReportedEveryCycle) {
  enter(9);
  machine.run(0);
  machine.run(0);
  EXPECT_EQ("KQCANopenStateMachine: UNKNOWN STATE!!!!!\nKQCANopenStateMachine: UNKNOWN STATE!!!!!\n",
            node.output.takeOutput());
}

TEST_F(StateMachine, PausedMachineDoesNotReadTheClock) {
  machine.pauseMachine(true);
  const unsigned int readings = node.clock.readings();
  machine.run(0);
  machine.sendCANMessages(0);
  machine.receiveCANMessages(10);
  EXPECT_EQ(readings, node.clock.readings());
}

TEST_F(StateMachine, ResumedMachineGoesOnWhereItStopped) {
  enter(4);
  machine.pauseMachine(true);
  machine.run(0);
  EXPECT_TRUE(machine.isPaused());
  machine.pauseMachine(false);
  EXPECT_FALSE(machine.isPaused());
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, machine.getState());
}

TEST_F(StateMachine, FailingINITRetriesEveryThirdCycle) {
  machine.setMessageHandlers(nullptr, &pdo, &sync, &nmt, &emergency);
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, machine.run(0));
    EXPECT_EQ("KQCANopenStateMachine: INIT FAILED!\nCANOPEN: State set to 0x6\n", node.output.takeOutput());
    EXPECT_EQ(0, machine.run(0));
    EXPECT_EQ(
        "KQCANopenStateMachine: CANOPEN_STATE_FATAL_ERROR!\nTrying to do a reset...!\n"
        "CANOPEN: State set to 0x2\n",
        node.output.takeOutput());
    EXPECT_EQ(0, machine.run(0));
    EXPECT_EQ("CANOPEN: State set to 0x0\n", node.output.takeOutput());
  }
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(StateMachine, RecoversWhenTheMissingHandlerIsThere) {
  machine.setMessageHandlers(nullptr, &pdo, &sync, &nmt, &emergency);
  machine.run(0);
  machine.setMessageHandlers(&sdo, &pdo, &sync, &nmt, &emergency);
  machine.run(0);
  machine.run(0);
  EXPECT_EQ(0, machine.run(0));
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, machine.getState());
  EXPECT_EQ(Frames{"705#00"}, node.port().takeSent());
}

// ---- initHandlers

enum Part { NMT, SDO, PDO, SYNC, DICTIONARY, EMCY };

class MissingPart : public StateMachine, public testing::WithParamInterface<std::pair<Part, const char*>> {
protected:
  MissingPart() {
    const Part missing = GetParam().first;
    machine.setMessageHandlers(missing == SDO ? nullptr : &sdo, missing == PDO ? nullptr : &pdo,
                               missing == SYNC ? nullptr : &sync, missing == NMT ? nullptr : &nmt,
                               missing == EMCY ? nullptr : &emergency);
    machine.setObjectDictionary(missing == DICTIONARY ? nullptr : &dictionary);
    answerAsReal();
  }
};

TEST_P(MissingPart, InitGives10AndWiresNothing) {
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, machine.initHandlers());
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, machine.handleInitState(0));
  KQ::KQCANMessage command = test::frame("000#80 05");
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, nmt.handleMessage(&command));  // as long as it knows no state machine
  KQ::KQCANMessage request = test::frame("605#40 00 10 00 00 00 00 00");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, sdo.handleMessage(&request));
}

TEST_P(MissingPart, CycleInINITFails) {
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, machine.run(0));
  EXPECT_EQ(KQ::CANOPEN_STATE_FATAL_ERROR, machine.getState());
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

INSTANTIATE_TEST_SUITE_P(Parts, MissingPart,
                         testing::Values(std::make_pair(NMT, "NMT"), std::make_pair(SDO, "SDO"),
                                         std::make_pair(PDO, "PDO"), std::make_pair(SYNC, "SYNC"),
                                         std::make_pair(DICTIONARY, "Dictionary"), std::make_pair(EMCY, "EMCY")),
                         [](const testing::TestParamInfo<std::pair<Part, const char*>>& testInfo) {
                           return testInfo.param.second;
                         });

class Wiring : public StateMachine {
protected:
  Wiring() {
    answerAsReal();
    EXPECT_EQ(0, machine.handleInitState(0));
  }

  Frames receive(const std::string& text) {
    node.port().inject(text);
    machine.receiveCANMessages(10);
    return node.port().takeSent();
  }
};

TEST_F(Wiring, StaysInTheStateAndSendsNothing) {
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, machine.getState());
  EXPECT_EQ(Frames{}, node.port().takeSent());
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(Wiring, NMTHandlerCommandsThisMachine) {
  receive("000#02 05");
  EXPECT_EQ(KQ::CANOPEN_STATE_STOPPED, machine.getState());
}

TEST_F(Wiring, NMTHandlerReadsTheLiveProducerTime) {
  enter(3);
  dictionary.setValue(0x1017, 0, 100, true);
  machine.run(0);
  EXPECT_EQ(Frames{"705#7F"}, node.port().takeSent());
}

TEST_F(Wiring, SDOHandlerServesTheDictionary) {
  enter(3);
  EXPECT_EQ(Frames{"585#43 00 12 01 05 06 00 00"}, receive("605#40 00 12 01 00 00 00 00"));
}

TEST_F(Wiring, SyncHandlerKnowsItsCOBIDAndThisMachine) {
  enter(4);
  node.port().inject("080#");
  EXPECT_EQ(0, machine.receiveCANMessages(0));
}

TEST_F(Wiring, PDOHandlerBuildsFromTheDictionaryAndKnowsThisMachine) {
  const auto add = [this](unsigned short index, unsigned char subIndex, int value) {
    dictionary.addEntry(index, KQ::OBJECT_TYPE_RECORD, "PDO");
    dictionary.addSubentry(index, subIndex, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "", false, value, "", 0);
  };
  add(0x1400, 1, 0x205);
  add(0x1400, 2, 255);
  add(0x1600, 0, 1);
  add(0x1600, 1, 0x00050008);  // a byte that nobody takes
  machine.initHandlers();
  enter(4);
  node.port().inject("205#11");
  EXPECT_EQ(0, machine.receiveCANMessages(0));
}

TEST_F(Wiring, DictionaryTellsTheNMTHandlerOfNewConsumers) {
  test::SignalRecorder listener;
  nmt.addHeartbeatListener(&listener);
  enter(3);
  dictionary.setValue(0x1016, 1, 0x00070064, true);
  receive("707#05");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(7U, listener.signals[0].getFirstValue());
}

TEST_F(Wiring, DictionaryTellsTheSDOHandlerOfNewChannels) {
  enter(3);
  dictionary.addEntry(0x1201, KQ::OBJECT_TYPE_RECORD, "second server channel");
  dictionary.addSubentry(0x1201, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "", false, 0x641, "", 0);
  dictionary.addSubentry(0x1201, 2, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "", false, 0x5C1, "", 0);
  EXPECT_EQ(Frames{}, receive("641#40 00 12 01 00 00 00 00"));
  dictionary.setValue(0x1201, 2, 0x5C1, true);
  EXPECT_EQ(Frames{"5C1#43 00 12 01 05 06 00 00"}, receive("641#40 00 12 01 00 00 00 00"));
}

TEST_F(Wiring, EmergencyHandlerKnowsTheErrorRegisterAndItsCOBID) {
  emergency.enabled = true;
  EXPECT_EQ(0, emergency.sendEmergencyMessage(0x8130));
  EXPECT_EQ(Frames{"085#30 81 10 00 00 00 00 00"}, node.port().takeSent());
  EXPECT_EQ(0x10, dictionary.read(0x1001, 0));
}

TEST_F(StateMachine, InitSucceedsWithoutAnyStandardObject) {
  KQ::KQCANopenObjectDictionary empty;
  machine.setObjectDictionary(&empty);
  EXPECT_EQ(0, machine.initHandlers());
}

// ---- sendCANMessages

TEST_F(StateMachine, SendPassWithoutHandlersSetsTheStatusWord) {
  KQ::KQCANopenStateMachine bare(&node.canopen());
  node.canopen().setProtocolStatus(UNTOUCHED_STATUS);
  EXPECT_EQ(0, bare.sendCANMessages(node.clock.now() + 50));
  EXPECT_EQ(SEND_STATUS_AFTER_A_QUIET_PASS, node.canopen().getProtocolStatus());
}

TEST_F(StateMachine, SendPassHeartbeatsForTheCurrentState) {
  machine.initHandlers();
  dictionary.setValue(0x1017, 0, 100, true);
  enter(5);
  EXPECT_EQ(0, machine.sendCANMessages(node.clock.now() + 50));
  EXPECT_EQ(Frames{"705#04"}, node.port().takeSent());
}

TEST_F(StateMachine, SendPassInINITSendsTheBootUpEachTime) {
  machine.initHandlers();
  EXPECT_EQ(0, machine.sendCANMessages(node.clock.now() + 50));
  EXPECT_EQ(Frames{"705#00"}, node.port().takeSent());
  EXPECT_EQ(0, machine.sendCANMessages(node.clock.now() + 50));
  EXPECT_EQ(Frames{"705#00"}, node.port().takeSent());
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, machine.getState());
}

class SilentState : public StateMachine, public testing::WithParamInterface<int> {};

TEST_P(SilentState, SendPassSendsNoHeartbeat) {
  machine.initHandlers();
  dictionary.setValue(0x1017, 0, 100, true);
  enter(GetParam());
  EXPECT_EQ(0, machine.sendCANMessages(node.clock.now() + 50));
  EXPECT_EQ(Frames{}, node.port().takeSent());
  EXPECT_EQ(GetParam(), machine.getState());
}

INSTANTIATE_TEST_SUITE_P(States, SilentState, testing::Values(1, 2, 6, 9, -1), test::ReadableName());

TEST_F(StateMachine, SendPassSendsTheHeartbeatBeforeItChecksTheConsumers) {
  machine.initHandlers();
  dictionary.setValue(0x1017, 0, 100, true);
  enter(4);
  dictionary.setValue(0x1016, 1, 0x00070064, true);
  KQ::KQCANMessage heartbeat = test::frame("707#05");
  nmt.answer = nmt.REAL;
  nmt.handleMessage(&heartbeat);
  Frames sentBefore;
  test::SignalRecorder listener([&] { sentBefore = node.port().takeSent(); });
  nmt.addHeartbeatListener(&listener);
  node.clock.advance(101);
  machine.sendCANMessages(node.clock.now() + 50);
  EXPECT_EQ(Frames{"705#05"}, sentBefore);
}

TEST_F(StateMachine, SendPassDoesNothingWhilePaused) {
  machine.initHandlers();
  dictionary.setValue(0x1017, 0, 100, true);
  enter(4);
  node.canopen().setProtocolStatus(UNTOUCHED_STATUS);
  machine.pauseMachine(true);
  EXPECT_EQ(0, machine.sendCANMessages(node.clock.now() + 50));
  EXPECT_EQ(Frames{}, node.port().takeSent());
  EXPECT_EQ(UNTOUCHED_STATUS, node.canopen().getProtocolStatus());
}

// ---- copy and assignment

class CopiedMachine : public StateMachine {
protected:
  CopiedMachine() {
    machine.addStateListener(&listener);
    machine.pauseMachine(true);
    machine.setState(4);
    listener.signals.clear();
    node.output.takeOutput();
  }

  void expectOnlyTheInstance(KQ::KQCANopenStateMachine& copy) {
    EXPECT_EQ(KQ::CANOPEN_STATE_INIT, copy.getState());
    EXPECT_FALSE(copy.isPaused());
    EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, copy.receiveCANMessages(10));
    EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, copy.initHandlers());
    copy.setMessageHandlers(&sdo, &pdo, &sync, &nmt, &emergency);
    EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, copy.initHandlers());  // the dictionary is not taken either
    copy.setState(4);
    EXPECT_TRUE(listener.signals.empty());
    copy.addStateListener(&listener);
    copy.setState(4);
    ASSERT_EQ(1U, listener.signals.size());
    EXPECT_EQ(5U, listener.signals[0].getFirstValue());
    EXPECT_EQ(0, copy.sendCANMessages(0));
    EXPECT_EQ(SEND_STATUS_AFTER_A_QUIET_PASS, node.canopen().getProtocolStatus());
  }

  test::SignalRecorder listener;
};

TEST_F(CopiedMachine, ConstructionTakesOnlyTheInstance) {
  KQ::KQCANopenStateMachine copy(machine);
  expectOnlyTheInstance(copy);
}

TEST_F(CopiedMachine, AssignmentTakesOnlyTheInstanceAndResetsTheRest) {
  KQ::KQCANopen otherNode("other");
  otherNode.setNodeID(9);
  KQ::KQCANopenStateMachine target(&otherNode);
  test::SignalRecorder otherListener;
  connect(target);
  target.addStateListener(&otherListener);
  target.pauseMachine(true);
  target.setState(5);
  otherListener.signals.clear();
  target = machine;
  expectOnlyTheInstance(target);
  EXPECT_TRUE(otherListener.signals.empty());
}

TEST_F(CopiedMachine, AssignmentToItselfResetsIt) {
  const KQ::KQCANopenStateMachine& alias = machine;
  machine = alias;
  expectOnlyTheInstance(machine);
}

TEST_F(CopiedMachine, TheSourceIsLeftAsItWas) {
  const KQ::KQCANopenStateMachine copy(machine);
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, machine.getState());
  EXPECT_TRUE(machine.isPaused());
  EXPECT_EQ(0, machine.initHandlers());
  EXPECT_EQ(KQ::CANOPEN_STATE_INIT, copy.getState());
}

}  // namespace
