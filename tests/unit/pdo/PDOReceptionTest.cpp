// Covers: how RPDOs are taken, apart from SYNC, and how their reception is watched.
//
// | subject           | functional                                   | robustness                                   |
// |-------------------|----------------------------------------------|----------------------------------------------|
// | handleMessage     | every transmission type: at once or on SYNC  | null, outside OPERATIONAL, other COB-IDs, no |
// |                   |                                              | SYNC handler                                 |
// | length            | that of the PDO, shorter, none               | longer: 0x8220, nothing is applied           |
// | values            | variables, dictionary objects, dummy entries | read-only and out of the limits              |
// | events            | received, timed out, back again: order, once | no action; not applied                       |
// |                   | each, values valid or not at that moment     |                                              |
// | time-out          | both sides of the time, before the first     | values of other owners, the tick wraps       |
// |                   | frame, values of the node marked invalid,    |                                              |
// |                   | PRE-OPERATIONAL                              |                                              |
// | what is monitored | every transmission type, with and without    |                                              |
// |                   | event timer                                  |                                              |

#include <string>
#include <utility>
#include <vector>

#include "CountedAction.h"
#include "PDOFixture.h"
#include "ReadableName.h"

using namespace KQ;
using test::Frames;

namespace {

constexpr int PDO_LENGTH_EXCEEDED = 0x8220;

class PDOReception : public test::PDOFixture {
protected:
  PDOReception() {
    canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &received);
    canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &timedOut);
    canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT_RESOLVED, &resolved);
  }

  KQCANopen& canopen() { return node.canopen(); }

  // What the handler answers to a frame.
  int offer(const std::string& text) {
    KQCANMessage message = test::frame(text);
    return handler().handleMessage(&message);
  }

  std::string events() const {
    return std::to_string(received.runs) + " received, " + std::to_string(timedOut.runs) + " timed out, " +
           std::to_string(resolved.runs) + " resolved";
  }

  test::CountedAction received;
  test::CountedAction timedOut;
  test::CountedAction resolved;
};

// ---- which frames

class ReceptionState : public PDOReception, public testing::WithParamInterface<int> {};

TEST_P(ReceptionState, OtherThanOperationalLeavesTheFrameToOthers) {
  addReceivePDO(0, {0x205}, {0x10060008});
  startAndSettle();
  canopen().getStateMachine()->setState(GetParam());
  EXPECT_EQ(KQ_NOT_HANDLED, offer("205#11"));
  EXPECT_EQ(0U, read(0x1006, 0));
  EXPECT_EQ("0 received, 0 timed out, 0 resolved", events());
}

INSTANTIATE_TEST_SUITE_P(States, ReceptionState, testing::Values(0, 1, 2, 3, 5, 6, 7, -1), test::ReadableName());

TEST_F(PDOReception, NothingIsNoFrame) {
  start();
  EXPECT_EQ(KQ_NOT_HANDLED, handler().handleMessage(nullptr));
}

TEST_F(PDOReception, FrameOfAnotherCOBIDIsNotTaken) {
  addReceivePDO(0, {0x205}, {0x10060008});
  addTransmitPDO(0, {0x185}, {0x10060008});
  start();
  EXPECT_EQ(KQ_NOT_HANDLED, offer("204#11"));
  EXPECT_EQ(KQ_NOT_HANDLED, offer("206#11"));
  EXPECT_EQ(KQ_NOT_HANDLED, offer("185#11"));
  EXPECT_EQ(KQ_OK, offer("205#11"));
}

TEST_F(PDOReception, WithoutStateMachineNoFrameIsTaken) {
  addReceivePDO(0, {0x205}, {0x10060008});
  start();
  handler().setStateMachine(nullptr);
  EXPECT_EQ(KQ_NOT_HANDLED, offer("205#11"));
  handler().setStateMachine(canopen().getStateMachine());
}

// ---- transmission type

class ReceptionType : public PDOReception, public testing::WithParamInterface<int> {
protected:
  void add(unsigned short eventTimer) {
    addReceivePDO(0, {0x205, static_cast<unsigned char>(GetParam()), eventTimer}, {0x10060008});
    start();
  }
  const bool isEventDriven = GetParam() >= 254;
};

TEST_P(ReceptionType, DecidesWhenTheDataIsApplied) {
  add(0);
  EXPECT_EQ(KQ_OK, offer("205#11"));
  EXPECT_EQ(isEventDriven ? 0x11U : 0U, read(0x1006, 0));
  EXPECT_EQ(isEventDriven ? 1U : 0U, received.runs);
  node.receive("080#");
  EXPECT_EQ(0x11U, read(0x1006, 0));
  EXPECT_EQ(1U, received.runs);
}

TEST_P(ReceptionType, DecidesWhetherReceptionIsWatched) {
  add(500);
  node.cycle();
  EXPECT_EQ(isEventDriven ? 1U : 0U, timedOut.runs);
}

TEST_P(ReceptionType, WithoutEventTimerReceptionIsNotWatched) {
  add(0);
  node.run(100);
  EXPECT_EQ(0U, timedOut.runs);
}

INSTANTIATE_TEST_SUITE_P(All, ReceptionType, testing::Range(0, 256), test::ReadableName());

TEST_F(PDOReception, SynchronousFrameWithoutSyncHandlerHasNowhereToWait) {
  addReceivePDO(0, {0x205, 1}, {0x10060008});
  start();
  handler().setSyncHandler(nullptr);
  EXPECT_EQ(KQ_NOT_AVAILABLE, offer("205#11"));
  handler().setSyncHandler(&sync());
}

// ---- length and values

class ReceivedLength : public PDOReception, public testing::WithParamInterface<unsigned int> {
protected:
  ReceivedLength() {
    addVariables(4, 8);
    addReceivePDO(0, {0x205}, {0x20010108, 0x20010208, 0x20010308, 0x20010408});
    start();
  }

  std::string frameOfLength() const { return std::string("205#1122334455667788").substr(0, 4 + 2 * GetParam()); }
};

TEST_P(ReceivedLength, UpToThatOfThePDOIsAppliedAsFarAsItReaches) {
  const bool isTooLong = GetParam() > 4;
  EXPECT_EQ(isTooLong ? PDO_LENGTH_EXCEEDED : KQ_OK, offer(frameOfLength()));
  for (unsigned char i = 0; i < 4; ++i) {
    EXPECT_EQ(!isTooLong && i < GetParam() ? 0x11 * (i + 1) : 0, stored(0x2001, static_cast<unsigned short>(i + 1)));
  }
  EXPECT_EQ(isTooLong ? 0U : 1U, received.runs);
}

TEST_P(ReceivedLength, ProducesNoFrame) {
  EXPECT_EQ(Frames{}, node.receive(frameOfLength()));
}

INSTANTIATE_TEST_SUITE_P(Of4, ReceivedLength, testing::Range(0U, 9U), test::ReadableName());

TEST_F(PDOReception, FrameWithoutDataIsEnoughForAPDOWithoutData) {
  addReceivePDO(0, {0x205}, {});
  start();
  EXPECT_EQ(KQ_OK, offer("205#"));
  EXPECT_EQ(PDO_LENGTH_EXCEEDED, offer("205#00"));
  EXPECT_EQ("1 received, 0 timed out, 0 resolved", events());
}

TEST_F(PDOReception, LongFrameDoesNotCountAsReceived) {
  addReceivePDO(0, {0x205, 255, 500}, {0x10060008});
  startAndSettle();
  offer("205#01");
  node.run(400);
  EXPECT_EQ(PDO_LENGTH_EXCEEDED, offer("205#01 02"));
  node.run(101);
  EXPECT_EQ("1 received, 2 timed out, 1 resolved", events());
}

TEST_F(PDOReception, ValuesReachVariablesObjectsAndNobody) {
  addVariable(0x2001, 1, 16, true);
  addOwnVariable(0x2002, 1, 8);
  addReceivePDO(0, {0x205}, {0x20010110, 0x20020108, 0x00050008, 0x10060020});
  start();
  EXPECT_EQ(KQ_OK, offer("205#FE FF 07 99 78 56 34 12"));
  EXPECT_EQ(-2, stored(0x2001, 1));
  EXPECT_EQ(7, stored(0x2002, 1));
  EXPECT_EQ(0x12345678U, read(0x1006, 0));
  EXPECT_EQ(0, *node.dictionary().getPointerToValue(0x0005, 0));
}

TEST_F(PDOReception, RefusedValueDoesNotHoldBackTheOthers) {
  addVariables(2, 8);
  addOwnVariable(0x2002, 1, 4);
  node.dictionary().getSubentry(0x2001, 1)->accessType = ACCESS_RO;
  addReceivePDO(0, {0x205}, {0x20010108, 0x20020108, 0x20010208});
  start();
  EXPECT_EQ(KQ_OK, offer("205#11 22 33"));
  EXPECT_EQ(0, stored(0x2001, 1));
  EXPECT_EQ(0, stored(0x2002, 1));
  EXPECT_EQ(0x33, stored(0x2001, 2));
  EXPECT_EQ("1 received, 0 timed out, 0 resolved", events());
}

TEST_F(PDOReception, ReceivedValueLeavesInATPDOThatMapsIt) {
  addVariable(0x2001, 1, 8);
  addReceivePDO(0, {0x205}, {0x20010108});
  addTransmitPDO(0, {0x185}, {0x20010108});
  startAndSettle();
  EXPECT_EQ(Frames{"185#11"}, node.receive("205#11"));
  EXPECT_EQ(Frames{}, node.receive("205#11"));
}

TEST_F(PDOReception, EventsWithoutActionAreNoHarm) {
  addReceivePDO(1, {0x305, 255, 100}, {0x10060008});
  startAndSettle();
  EXPECT_EQ(KQ_OK, offer("305#01"));
  node.run(300);
  EXPECT_EQ("0 received, 0 timed out, 0 resolved", events());
}

TEST_F(PDOReception, ResultOfTheActionIsNotThatOfTheFrame) {
  test::CountedAction failing(20);
  canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &failing);
  addReceivePDO(0, {0x205}, {0x10060008});
  start();
  EXPECT_EQ(KQ_OK, offer("205#01"));
  EXPECT_EQ(1U, failing.runs);
}

// ---- time-out

class WatchedReception : public PDOReception {
protected:
  WatchedReception() {
    addOwnVariable(0x2001, 1, 8);
    addVariable(0x2001, 2, 8);
    addReceivePDO(0, {0x205, 255, 500}, {0x20010108, 0x20010208});
  }
};

TEST_F(WatchedReception, TimesOutInTheFirstCheckBeforeAnyFrame) {
  start();
  node.cycle();
  EXPECT_EQ("0 received, 1 timed out, 0 resolved", events());
  node.run(2000);
  EXPECT_EQ("0 received, 1 timed out, 0 resolved", events());
}

TEST_F(WatchedReception, TimesOutInPreOperationalToo) {
  node.cycle();
  node.cycle();
  EXPECT_EQ("0 received, 1 timed out, 0 resolved", events());
}

TEST_F(WatchedReception, FirstFrameEndsTheTimeOut) {
  startAndSettle();
  offer("205#01 02");
  EXPECT_EQ("1 received, 1 timed out, 1 resolved", events());
  offer("205#01 02");
  EXPECT_EQ("2 received, 1 timed out, 1 resolved", events());
}

TEST_F(WatchedReception, TimesOutOnceTheTimeIsOver) {
  startAndSettle();
  offer("205#01 02");
  node.run(500);
  EXPECT_EQ(1U, timedOut.runs);
  node.run(1);
  EXPECT_EQ("1 received, 2 timed out, 1 resolved", events());
  node.run(2000);
  EXPECT_EQ("1 received, 2 timed out, 1 resolved", events());
}

TEST_F(WatchedReception, EveryFrameStartsTheTimeAnew) {
  startAndSettle();
  for (int i = 0; i < 5; ++i) {
    offer("205#01 02");
    node.run(500);
  }
  EXPECT_EQ("5 received, 1 timed out, 1 resolved", events());
}

TEST_F(WatchedReception, FrameWithoutDataStartsTheTimeAnew) {
  startAndSettle();
  offer("205#");
  node.run(500);
  EXPECT_EQ("1 received, 1 timed out, 1 resolved", events());
}

TEST_F(WatchedReception, SurvivesTheWrapOfTheTick) {
  node.clock.set(0xFFFFFF00);
  startAndSettle();
  offer("205#01 02");
  node.run(500);
  EXPECT_EQ(1U, timedOut.runs);
  node.run(1);
  EXPECT_EQ(2U, timedOut.runs);
}

TEST_F(WatchedReception, OnlyValuesOfTheNodeAreMarkedInvalid) {
  start();
  EXPECT_TRUE(KQDEI::instance()->isValid(0x2001, 1));
  node.cycle();
  EXPECT_FALSE(KQDEI::instance()->isValid(0x2001, 1));
  EXPECT_TRUE(KQDEI::instance()->isValid(0x2001, 2));
}

TEST_F(WatchedReception, ReceivedValueIsValidAgain) {
  startAndSettle();
  offer("205#00 00");
  EXPECT_TRUE(KQDEI::instance()->isValid(0x2001, 1));
}

TEST_F(WatchedReception, SendsNoFrameWhenItTimesOut) {
  start();
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(WatchedReception, FramesOutsideOperationalDoNotEndTheTimeOut) {
  startAndSettle();
  node.receive("000#80 05");
  node.receive("205#01 02");
  EXPECT_EQ("0 received, 1 timed out, 0 resolved", events());
}

TEST_F(WatchedReception, OthersAreWatchedByTheirOwnTimes) {
  test::CountedAction other;
  canopen().setPDOEventAction(0x1401, PDO_EVENT_RX_TIMEOUT, &other);
  addReceivePDO(1, {0x305, 254, 200}, {});
  startAndSettle();
  offer("205#01 02");
  offer("305#");
  node.run(201);
  EXPECT_EQ(2U, other.runs);
  EXPECT_EQ(1U, timedOut.runs);
  node.run(299);
  EXPECT_EQ(1U, timedOut.runs);
  node.run(1);
  EXPECT_EQ(2U, timedOut.runs);
}

TEST_F(WatchedReception, ReplacedBearerOfACOBIDStaysWatched) {
  addReceivePDO(1, {0x205}, {});
  startAndSettle();
  EXPECT_EQ(1U, timedOut.runs);
}

// Notes the event, and whether the variable of the node is valid at that moment.
class NotingAction : public KQAction {
public:
  NotingAction(std::string eventName, std::vector<std::string>& notes) : name(std::move(eventName)), log(notes) {}
  int execute() override {
    log.push_back(name + (KQDEI::instance()->isValid(0x2001, 1) ? ", valid" : ", invalid"));
    return KQ_OK;
  }

private:
  const std::string name;
  std::vector<std::string>& log;
};

class OrderOfEvents : public WatchedReception {
protected:
  OrderOfEvents() {
    canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &whenReceived);
    canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &whenTimedOut);
    canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT_RESOLVED, &whenResolved);
    startAndSettle();
  }

  std::vector<std::string> log;
  NotingAction whenReceived{"received", log};
  NotingAction whenTimedOut{"timed out", log};
  NotingAction whenResolved{"resolved", log};
};

TEST_F(OrderOfEvents, ValuesAreInvalidBeforeTheTimeOutIsReported) {
  EXPECT_EQ(std::vector<std::string>{"timed out, invalid"}, log);
}

TEST_F(OrderOfEvents, FrameIsReportedBeforeTheEndOfTheTimeOutOnceEach) {
  log.clear();
  offer("205#01 02");
  EXPECT_EQ((std::vector<std::string>{"received, valid", "resolved, valid"}), log);
}

TEST_F(OrderOfEvents, FrameAfterTheEndOfTheTimeOutIsReportedAlone) {
  offer("205#01 02");
  log.clear();
  offer("205#01 02");
  EXPECT_EQ(std::vector<std::string>{"received, valid"}, log);
}

TEST_F(OrderOfEvents, TimeOutsAreReportedInTheOrderOfTheIndexesHoweverThePDOsWereBuilt) {
  NotingAction ofSecond("second timed out", log);
  canopen().setPDOEventAction(0x1401, PDO_EVENT_RX_TIMEOUT, &ofSecond);
  addReceivePDO(1, {0x305, 255, 500}, {});
  handler().signalPDOChange(0x1401);
  handler().signalPDOChange(0x1400);
  log.clear();
  node.run(1);
  EXPECT_EQ((std::vector<std::string>{"timed out, invalid", "second timed out, invalid"}), log);
}

// Rebuilds a PDO from inside its report.
class RebuildingAction : public KQAction {
public:
  RebuildingAction(KQPDOHandler& pdoHandler, unsigned short communicationIndex)
      : handler(pdoHandler), index(communicationIndex) {}
  int execute() override {
    handler.signalPDOChange(index);
    return KQ_OK;
  }

private:
  KQPDOHandler& handler;
  unsigned short index;
};

TEST_F(WatchedReception, PDOThatAnEarlierReportRebuildsIsReportedOnce) {
  RebuildingAction rebuild(handler(), 0x1401);
  test::CountedAction other;
  canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &rebuild);
  canopen().setPDOEventAction(0x1401, PDO_EVENT_RX_TIMEOUT, &other);
  addReceivePDO(1, {0x305, 255, 200}, {});
  startAndSettle();
  EXPECT_EQ(0U, other.runs);
  node.run(10);
  EXPECT_EQ(1U, other.runs);
}

TEST_F(WatchedReception, PDOMayBeRebuiltByItsOwnEvents) {
  RebuildingAction rebuild(handler(), 0x1400);
  canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &rebuild);
  canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &rebuild);
  startAndSettle();
  EXPECT_EQ(KQ_OK, offer("205#01 02"));
  node.run(3);
  EXPECT_EQ(2, stored(0x2001, 2));
}

}  // namespace
