// Covers: the communication state machine: draining the port.
//
// | subject                | functional                               | robustness                                    |
// |------------------------|------------------------------------------|-----------------------------------------------|
// | handler order          | up to the one that takes the frame       | nobody takes it, any result, no EMCY handler  |
// | handlers that declare  | only who serves it, two of them in order | more than 11 bits, EMCY that declares nothing |
// | result                 | 5, 0 while paused, the kept one, STOPPED | no port, port closed by a frame, each handler |
// |                        |                                          | missing                                       |
// | receive buffer         | cleared after every frame                |                                               |
// | budget                 | boundary in both directions              | 0, sum wraps                                  |
// | budget of the instance | boundaries of the tick                   | where it wraps                                |

#include <initializer_list>
#include <typeinfo>

#include "ReadableName.h"
#include "SignalRecorder.h"
#include "StateMachineFixture.h"

namespace {

using test::Frames;
using test::Offers;

class Reception : public test::StateMachineFixture {
protected:
  void inject(unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      node.port().inject("123#01");
    }
  }
};

TEST_F(Reception, EmptyPortGives5) {
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10));
  EXPECT_EQ(Offers{}, offers);
}

// ---- order

struct Taker {
  const char* name;
  unsigned int position;  // of the handler that takes the frame
};

class HandlerOrder : public Reception, public testing::WithParamInterface<Taker> {
protected:
  void answer(unsigned int position, int result) {
    int* const answers[] = {&nmt.answer, &sync.answer, &pdo.answer, &sdo.answer, &emergency.answer};
    *answers[position] = result;
  }
};

const Offers IN_ORDER = {"NMT 123#01", "SYNC 123#01", "PDO 123#01", "SDO 123#01", "EMCY 123#01"};

TEST_P(HandlerOrder, OfferingEndsWithTheHandlerThatTakesTheFrame) {
  inject(1);
  answer(GetParam().position, KQ::KQ_OK);
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10));
  const Offers expected(IN_ORDER.data(), IN_ORDER.data() + GetParam().position + 1);
  EXPECT_EQ(expected, offers);
}

TEST_P(HandlerOrder, AnyResultBut11TakesTheFrame) {
  inject(1);
  answer(GetParam().position, KQ::KQ_UNKNOWN_COMMAND);
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10));
  EXPECT_EQ(GetParam().position + 1, offers.size());
}

TEST_P(HandlerOrder, ResultOfTheLastHandlerAskedIsKept) {
  inject(1);
  answer(GetParam().position, 42);
  EXPECT_EQ(42, machine.receiveCANMessages(0));
}

INSTANTIATE_TEST_SUITE_P(Handlers, HandlerOrder,
                         testing::Values(Taker{"NMT", 0}, Taker{"SYNC", 1}, Taker{"PDO", 2}, Taker{"SDO", 3},
                                         Taker{"EMCY", 4}),
                         [](const testing::TestParamInfo<Taker>& testInfo) { return testInfo.param.name; });

TEST_F(Reception, FrameThatNobodyTakesIsDroppedAndTheNextOneOffered) {
  node.port().inject("123#01");
  node.port().inject("124#02 03");
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10));
  EXPECT_EQ((Offers{"NMT 123#01", "SYNC 123#01", "PDO 123#01", "SDO 123#01", "EMCY 123#01", "NMT 124#02 03",
                    "SYNC 124#02 03", "PDO 124#02 03", "SDO 124#02 03", "EMCY 124#02 03"}),
            offers);
}

TEST_F(Reception, FailureOfAHandlerDoesNotEndTheLoop) {
  nmt.answer = KQ::KQ_INVALID_ARGUMENT;
  inject(3);
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10));
  EXPECT_EQ(3U, offers.size());
}

TEST_F(Reception, WorksWithoutTheEmergencyHandler) {
  machine.setMessageHandlers(&sdo, &pdo, &sync, &nmt, nullptr);
  inject(1);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, machine.receiveCANMessages(0));
  EXPECT_EQ(4U, offers.size());
}

TEST_F(Reception, BufferIsClearedAfterEveryFrame) {
  node.port().inject("123#01 02 03 04 05 06 07 08");
  machine.receiveCANMessages(10);
  ASSERT_NE(nullptr, nmt.lastMessage);
  EXPECT_EQ(0U, nmt.lastMessage->identifier);
  EXPECT_EQ(0U, nmt.lastMessage->length);
  EXPECT_EQ(0U, nmt.lastMessage->flags);
  for (const unsigned char byte : nmt.lastMessage->data) {
    EXPECT_EQ(0, byte);
  }
}

TEST_F(Reception, DoesNotDependOnTheState) {
  for (const int state : {0, 1, 2, 3, 4, 5, 6, 9}) {
    enter(state);
    offers.clear();
    inject(1);
    EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10)) << state;
    EXPECT_EQ(5U, offers.size()) << state;
  }
}

// ---- handlers that declare what they serve

// An observed handler whose class speaks for itself.
template <typename Handler>
class DeclaringHandler : public test::ObservedHandler<Handler> {
public:
  using test::ObservedHandler<Handler>::ObservedHandler;

  void serve(std::initializer_list<unsigned int> cobIDs) {
    KQ::KQServedCOBIDs& served = this->declareServedCOBIDs(typeid(DeclaringHandler));
    for (const unsigned int identifier : cobIDs) {
      served.add(identifier);
    }
  }
};

// A machine whose handlers have declared nothing but 0x123 for PDO and SDO.
class ServedReception : public Reception {
protected:
  ServedReception() {
    declaringNMT.serve({});
    declaringSync.serve({});
    declaringPDO.serve({0x123});
    declaringSDO.serve({0x123});
    declaringEmergency.serve({});
    machine.setMessageHandlers(&declaringSDO, &declaringPDO, &declaringSync, &declaringNMT, &declaringEmergency);
  }

  int receive(const std::string& text) {
    node.port().inject(text);
    return machine.receiveCANMessages(0);
  }

  DeclaringHandler<KQ::KQNMTHandler> declaringNMT{"NMT", offers};
  DeclaringHandler<KQ::KQSyncHandler> declaringSync{"SYNC", offers, &node.canopen()};
  DeclaringHandler<KQ::KQPDOHandler> declaringPDO{"PDO", offers, &node.canopen()};
  DeclaringHandler<KQ::KQSDOHandler> declaringSDO{"SDO", offers};
  DeclaringHandler<KQ::KQEmergencyHandler> declaringEmergency{"EMCY", offers};
};

TEST_F(ServedReception, FrameThatNobodyServesIsOfferedToNobody) {
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("124#01"));
  EXPECT_EQ(Offers{}, offers);
}

TEST_F(ServedReception, FrameOfTwoHandlersIsOfferedToTheSecondWhenTheFirstDeclines) {
  declaringSDO.answer = 42;
  EXPECT_EQ(42, receive("123#01"));
  EXPECT_EQ((Offers{"PDO 123#01", "SDO 123#01"}), offers);
}

TEST_F(ServedReception, FrameOfTwoHandlersEndsWithTheFirstWhenThatTakesIt) {
  declaringPDO.answer = KQ::KQ_OK;
  EXPECT_EQ(KQ::KQ_OK, receive("123#01"));
  EXPECT_EQ(Offers{"PDO 123#01"}, offers);
}

TEST_F(ServedReception, FrameOfMoreThan11BitsIsOfferedToEverybody) {
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("800#01"));
  EXPECT_EQ((Offers{"NMT 800#01", "SYNC 800#01", "PDO 800#01", "SDO 800#01", "EMCY 800#01"}), offers);
}

TEST_F(ServedReception, FrameOfMoreThan11BitsNeedsNoEmergencyHandler) {
  machine.setMessageHandlers(&declaringSDO, &declaringPDO, &declaringSync, &declaringNMT, nullptr);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("800#01"));
  EXPECT_EQ(4U, offers.size());
}

TEST_F(ServedReception, EmergencyHandlerThatDeclaresNothingIsAskedForEveryFrame) {
  machine.setMessageHandlers(&declaringSDO, &declaringPDO, &declaringSync, &declaringNMT, &emergency);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, receive("124#01"));
  EXPECT_EQ(Offers{"EMCY 124#01"}, offers);
}

TEST_F(ServedReception, InStoppedTheSDOHandlerIsAskedForEveryFrame) {
  enter(5);
  declaringSDO.answer = KQ::KQ_INVALID_ARGUMENT;
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, receive("124#01"));
  EXPECT_EQ(Offers{"SDO 124#01"}, offers);
}

// The handlers of the stack themselves: each declares what it serves when it is wired.
class StackReception : public testing::Test {
protected:
  StackReception() { node.boot(); }

  int resultOf(const std::string& text) {
    node.port().inject(text);
    return node.canopen().getStateMachine()->receiveCANMessages(0);
  }

  test::TestNode node;
};

TEST_F(StackReception, FrameForNobodyGives11) {
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, resultOf("124#01"));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, resultOf("085#30 81 10 00 00 00 00 00"));
}

TEST_F(StackReception, FrameForNobodyGives20InStopped) {
  node.receive("000#02 05");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, resultOf("124#01"));
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, resultOf("605#40 00 10 00 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(StackReception, CommandGivesTheResultOfTheNMTHandlerInStopped) {
  node.receive("000#02 05");
  EXPECT_EQ(KQ::KQ_UNKNOWN_COMMAND, resultOf("000#03 05"));
}

TEST_F(StackReception, HeartbeatThatStopsTheNodeGives20) {
  test::SignalRecorder listener([this] { node.canopen().getStateMachine()->setState(KQ::CANOPEN_STATE_STOPPED); });
  node.dictionary().setValue(0x1016, 1, 0x00070064, true);
  node.canopen().getNMTHandler()->addHeartbeatListener(&listener);
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, resultOf("707#05"));
}

TEST_F(StackReception, PortThatAFrameClosesIsReadNoMore) {
  test::SignalRecorder listener([this] { node.canopen().release(); });
  node.dictionary().setValue(0x1016, 1, 0x00070064, true);
  node.canopen().getNMTHandler()->addHeartbeatListener(&listener);
  node.port().inject("707#05");
  node.port().inject("000#02 05");
  EXPECT_EQ(KQ::KQ_NO_DATA, node.canopen().getStateMachine()->receiveCANMessages(10));
  EXPECT_EQ(nullptr, node.canopen().getEndPoint());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
}

// ---- results without reception

TEST_F(Reception, PausedMachineGives0AndReadsNothing) {
  inject(1);
  machine.pauseMachine(true);
  EXPECT_EQ(0, machine.receiveCANMessages(10));
  EXPECT_EQ(1U, node.port().waitingFrames());
}

TEST_F(Reception, PausedComesBeforeAnythingMissing) {
  KQ::KQCANopenStateMachine bare(&node.canopen());
  bare.pauseMachine(true);
  EXPECT_EQ(0, bare.receiveCANMessages(10));
}

TEST_F(Reception, WithoutPortGives10) {
  KQ::KQCANopen portless("portless");
  KQ::KQCANopenStateMachine other(&portless);
  connect(other);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, other.receiveCANMessages(10));
}

class ReceptionWithoutHandler : public Reception, public testing::WithParamInterface<const char*> {};

TEST_P(ReceptionWithoutHandler, Gives10AndLeavesTheFrameInThePort) {
  const std::string missing = GetParam();
  machine.setMessageHandlers(missing == "SDO" ? nullptr : &sdo, missing == "PDO" ? nullptr : &pdo,
                             missing == "SYNC" ? nullptr : &sync, missing == "NMT" ? nullptr : &nmt, &emergency);
  inject(1);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, machine.receiveCANMessages(10));
  EXPECT_EQ(1U, node.port().waitingFrames());
  EXPECT_EQ(Offers{}, offers);
}

INSTANTIATE_TEST_SUITE_P(Missing, ReceptionWithoutHandler, testing::Values("NMT", "SDO", "PDO", "SYNC"),
                         test::ReadableName());

// ---- budget

TEST_F(Reception, ZeroBudgetEndsAfterOneFrame) {
  inject(3);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, machine.receiveCANMessages(0));
  EXPECT_EQ(2U, node.port().waitingFrames());
}

TEST_F(Reception, StandingClockDrainsThePort) {
  inject(100);
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(1));
  EXPECT_EQ(0U, node.port().waitingFrames());
}

TEST_F(Reception, EndsWhenTheBudgetIsReached) {
  inject(12);
  node.clock.advanceOnEveryReading(1);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, machine.receiveCANMessages(10));
  EXPECT_EQ(2U, node.port().waitingFrames());  // the tenth frame ended at start + 10
}

TEST_F(Reception, GoesOnOneMillisecondBeforeTheBudgetIsReached) {
  inject(9);
  node.clock.advanceOnEveryReading(1);
  EXPECT_EQ(KQ::KQ_NO_DATA, machine.receiveCANMessages(10));
}

struct WrapRow {
  const char* name;
  unsigned int start;
  unsigned int budget;
  std::size_t left;  // of three frames
};

class BudgetWrap : public Reception, public testing::WithParamInterface<WrapRow> {};

TEST_P(BudgetWrap, SumIsUnsigned32Bit) {
  node.clock.set(GetParam().start);
  inject(3);
  EXPECT_EQ(GetParam().left == 0 ? KQ::KQ_NO_DATA : KQ::KQ_NOT_HANDLED, machine.receiveCANMessages(GetParam().budget));
  EXPECT_EQ(GetParam().left, node.port().waitingFrames());
}

INSTANTIATE_TEST_SUITE_P(Sums, BudgetWrap,
                         testing::Values(WrapRow{"LastSumBeforeTheWrap", 0xFFFFFFF5, 10, 0},
                                         WrapRow{"FirstSumThatWraps", 0xFFFFFFF6, 10, 2},
                                         WrapRow{"LastTick", 0xFFFFFFFF, 10, 2}, WrapRow{"AfterTheWrap", 0, 10, 0},
                                         WrapRow{"LargestBudget", 1, 0xFFFFFFFF, 2},
                                         WrapRow{"LargestBudgetAtTick0", 0, 0xFFFFFFFF, 0}),
                         [](const testing::TestParamInfo<WrapRow>& testInfo) { return testInfo.param.name; });

// The instance passes tick + 10 as the budget, which is added to the tick once more: the loop ends early only where
// that sum wraps to or below the tick.
class InstanceBudget : public testing::TestWithParam<WrapRow> {};

TEST_P(InstanceBudget, TickPlusTenIsAddedToTheTick) {
  test::TestNode node;
  node.boot();
  node.clock.set(GetParam().start);
  for (int i = 0; i < 3; ++i) {
    node.port().inject("123#01");
  }
  node.canopen().onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(GetParam().left, node.port().waitingFrames());
}

INSTANTIATE_TEST_SUITE_P(
    Ticks, InstanceBudget,
    testing::Values(WrapRow{"Tick0", 0, 0, 0}, WrapRow{"LastBelowTheWrap", 0x7FFFFFFA, 0, 0},
                    WrapRow{"FirstThatWraps", 0x7FFFFFFB, 0, 2}, WrapRow{"SignBit", 0x80000000, 0, 2},
                    WrapRow{"LastThatWrapsOnce", 0xFFFFFFF6, 0, 2}, WrapRow{"SumJustAboveTheTick", 0xFFFFFFF7, 0, 0},
                    WrapRow{"LastSumAboveTheTick", 0xFFFFFFFA, 0, 0}, WrapRow{"FirstThatWrapsTwice", 0xFFFFFFFB, 0, 2},
                    WrapRow{"LastTick", 0xFFFFFFFF, 0, 2}),
    [](const testing::TestParamInfo<WrapRow>& testInfo) { return testInfo.param.name; });

}  // namespace
