// Covers: nothing of a PDO leaves or is applied outside OPERATIONAL, whatever waited when the state changed.
//
// | subject      | functional                                      | robustness                                   |
// |--------------|-------------------------------------------------|----------------------------------------------|
// | state change | every NMT command, setCANopenState, refused     | repeated, in quick turns, by an event of the |
// |              | ones, pause                                     | SYNC itself                                  |
// | what waits   | inhibited change, queued and cyclic SYNC, event | all of it at once                            |
// |              | timer that is due, buffered RPDO                |                                              |
// | afterwards   | what is kept goes on in OPERATIONAL, a reset    | frames on either side of the command         |
// |              | starts anew                                     |                                              |

#include <string>

#include "KQAction.h"
#include "NamedCase.h"
#include "PDOFixture.h"

using namespace KQ;
using test::Frames;

namespace {

// A node in which everything waits at once: a change within its inhibit time, an event timer that is due, TPDOs of
// type 0 and 1, a buffered RPDO.
class PDOStateChanges : public test::PDOFixture {
protected:
  PDOStateChanges() {
    addVariable(0x2001, 1, 8);
    addVariable(0x2002, 1, 8);
    addTransmitPDO(0, {0x185, 255, 0, 1000}, {0x20010108});
    addTransmitPDO(1, {0x285, 254, 500}, {0x20010108});
    addTransmitPDO(2, {0x385, 0}, {0x20010108});
    addTransmitPDO(3, {0x485, 1}, {0x20010108});
    addReceivePDO(0, {0x205, 1}, {0x20020108});
    node.canopen().setOption(4, true);
    startAndSettle();
    node.clock.advance(500);
    change(0x2001, 1, 1);
    node.receive("205#77");
    sent();
  }

  // Everything that could let a PDO out or in. @return the frames of PDOs
  Frames provoke() {
    Frames frames;
    const auto add = [&frames](const Frames& more) {
      for (const std::string& frame : more) {
        if (frame.substr(0, 3) != "705") {
          frames.push_back(frame);
        }
      }
    };
    add(node.receive("080#"));
    change(0x2001, 1, stored(0x2001, 1) + 1);
    add(sent());
    add(node.receive("205#55"));
    add(node.cycle());
    node.clock.advance(2000);
    add(node.cycle());
    add(node.receive("080#"));
    return frames;
  }
};

struct StateChange : test::NamedCase {
  const char* command;   // NMT command, or null
  int state;             // by setCANopenState
  bool keepsWhatWaited;  // no INIT on the way back to OPERATIONAL
};

class PDOAfterStateChange : public PDOStateChanges, public testing::WithParamInterface<StateChange> {
protected:
  // @return the frames that the change itself sends
  Frames changeState() {
    if (GetParam().command != nullptr) {
      return node.receive(GetParam().command);
    }
    EXPECT_EQ(KQ_OK, node.canopen().setCANopenState(GetParam().state));
    return sent();
  }

  void returnToOperational() {
    for (int i = 0; i < 4 && node.canopen().getCANopenState() != CANOPEN_STATE_PRE_OPERATIONAL; ++i) {
      node.cycle();
      if (node.canopen().getCANopenState() == CANOPEN_STATE_STOPPED || node.canopen().getCANopenState() > 6) {
        break;
      }
    }
    node.canopen().setCANopenState(CANOPEN_STATE_OPERATIONAL);
  }
};

TEST_P(PDOAfterStateChange, NothingIsSentOrApplied) {
  changeState();
  EXPECT_EQ(Frames{}, provoke());
  EXPECT_EQ(Frames{}, provoke());
  EXPECT_EQ(0, stored(0x2002, 1));
}

TEST_P(PDOAfterStateChange, NothingIsSentByTheChangeItself) {
  EXPECT_EQ(Frames{}, changeState());
}

TEST_P(PDOAfterStateChange, OperationalGoesOnWithWhatWaited) {
  changeState();
  node.clock.advance(2000);
  returnToOperational();
  sent();
  const bool kept = GetParam().keepsWhatWaited;
  // What waited, or the first pass after a reset. The buffered frame does not survive a reset.
  EXPECT_EQ((Frames{"185#01", "285#01"}), node.cycle());
  node.receive("080#");
  EXPECT_EQ(kept ? 0x77 : 0, stored(0x2002, 1));
}

INSTANTIATE_TEST_SUITE_P(
    All, PDOAfterStateChange,
    testing::Values(StateChange{{"Stop"}, "000#02 05", 0, true}, StateChange{{"StopAll"}, "000#02 00", 0, true},
                    StateChange{{"PreOperational"}, "000#80 05", 0, true},
                    StateChange{{"ResetNode"}, "000#81 05", 0, false},
                    StateChange{{"ResetCommunication"}, "000#82 05", 0, false},
                    StateChange{{"SetInit"}, nullptr, 0, false},
                    StateChange{{"SetResetApplication"}, nullptr, 1, false},
                    StateChange{{"SetResetCommunication"}, nullptr, 2, false},
                    StateChange{{"SetPreOperational"}, nullptr, 3, true}, StateChange{{"SetStopped"}, nullptr, 5, true},
                    StateChange{{"SetFatalError"}, nullptr, 6, false}, StateChange{{"SetUnknown"}, nullptr, 9, true}),
    test::caseName<StateChange>);

TEST_F(PDOStateChanges, WithoutOneEverythingGoesOn) {
  EXPECT_NE(Frames{}, provoke());
  EXPECT_EQ(0x55, stored(0x2002, 1));
}

TEST_F(PDOStateChanges, RefusedCommandsChangeNothing) {
  node.receive("000#01 05");  // OPERATIONAL already
  node.receive("000#02 06");  // another node
  node.receive("000#77 05");
  EXPECT_NE(Frames{}, provoke());
}

TEST_F(PDOStateChanges, PausedNodeSendsNothingByItself) {
  node.canopen().setPaused(true);
  EXPECT_EQ(Frames{}, node.receive("080#"));
  EXPECT_EQ(Frames{}, node.run(20));
  node.canopen().setPaused(false);
  EXPECT_NE(Frames{}, node.run(1));
}

TEST_F(PDOStateChanges, FramesThatFollowAStopInOneReadingAreNotApplied) {
  node.port().inject("000#02 05");
  node.port().inject("205#66");
  node.port().inject("080#");
  EXPECT_EQ(Frames{}, node.receive("080#"));
  EXPECT_EQ(0, stored(0x2002, 1));
}

TEST_F(PDOStateChanges, FramesThatFollowAStartInOneReadingAreApplied) {
  node.receive("000#80 05");
  node.port().inject("205#66");
  node.port().inject("000#01 05");
  EXPECT_EQ((Frames{"385#01", "485#01", "485#01"}), node.receive("080#"));
  EXPECT_EQ(0x77, stored(0x2002, 1));
}

TEST_F(PDOStateChanges, QuickTurnsSendNothingTwice) {
  for (int i = 0; i < 5; ++i) {
    node.receive("000#80 05");
    EXPECT_EQ(Frames{}, node.cycle());
    node.receive("000#01 05");
  }
  node.clock.advance(1000);
  EXPECT_EQ((Frames{"185#01", "285#01"}), node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(PDOStateChanges, EveryResetSendsEachEventDrivenTPDOOnceAfterTheStart) {
  for (int i = 0; i < 3; ++i) {
    node.receive("000#82 05");
    node.cycle();
    EXPECT_EQ(Frames{"705#00"}, node.cycle());
    EXPECT_EQ(Frames{}, node.cycle());
    node.receive("000#01 05");
    EXPECT_EQ((Frames{"185#01", "285#01"}), node.cycle());
    EXPECT_EQ((Frames{"385#01", "485#01", "485#01"}), node.receive("080#"));
  }
}

// Ends OPERATIONAL as soon as it is told of something.
class Stopper : public KQAction {
public:
  explicit Stopper(KQCANopen& stack) : canopen(stack) {}
  int execute() override { return canopen.setCANopenState(CANOPEN_STATE_STOPPED); }

private:
  KQCANopen& canopen;
};

TEST_F(PDOStateChanges, StateChangedByAnEventOfTheSyncEndsItsTransmissions) {
  Stopper stopper(node.canopen());
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &stopper);
  EXPECT_EQ(Frames{}, node.receive("080#"));
  EXPECT_EQ(0x77, stored(0x2002, 1));
}

}  // namespace
