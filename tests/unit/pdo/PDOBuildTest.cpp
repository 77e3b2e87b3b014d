// Covers: the PDOs of a node as they are built at the start and rebuilt when a communication parameter is written.
//
// | subject           | functional                                    | robustness                                  |
// |-------------------|-----------------------------------------------|---------------------------------------------|
// | init              | first and last index of both directions, 64 + | no dictionary; called again                 |
// |                   | 64 PDOs                                       |                                             |
// | same COB-ID twice | after the start the later RPDO takes the      | the one without frames is rebuilt and goes  |
// |                   | frames, after a rebuild the earlier one keeps |                                             |
// |                   | them                                          |                                             |
// | rebuilt TPDO      | every kind of transmission type: what goes    | its pending, timed and cyclic transmissions |
// |                   | out by itself; its turn at the next SYNC      | and those of others; invalid meanwhile      |
// | mapped parameters | go out, then rebuild their PDO                | mapped by the PDO that is rebuilt           |
// | replaced PDOs     | are freed after the last walk                 |                                             |
// | rebuilt RPDO      | COB-ID as it stands, flags included;          | buffered frame of the old one               |
// |                   | monitored again                               |                                             |
// | other indexes     | mapping parameters rebuild nothing            | outside both ranges                         |
// | invalid for good  | neither a start nor a rebuild brings it back  |                                             |

#include <memory>
#include <string>
#include <vector>

#include "CountedAction.h"
#include "NamedCase.h"
#include "PDOFixture.h"
#include "PDOInternals.h"
#include "ReadableName.h"

using namespace KQ;
using test::Frames;

namespace {

std::string hex(unsigned int value) {
  char text[16];
  std::snprintf(text, sizeof text, "%03X", value);
  return text;
}

class PDOBuild : public test::PDOFixture {
protected:
  // Resets the communication, boots and starts again.
  void restart() {
    node.receive("000#82 05");
    node.cycle();
    node.cycle();
    node.receive("000#01 05");
    ASSERT_EQ(CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
    node.output.takeOutput();
  }

  void rebuild(unsigned short index) { handler().signalPDOChange(index); }
};

TEST_F(PDOBuild, WithoutDictionaryThereIsNothingToBuild) {
  KQPDOHandler alone(&node.canopen());
  EXPECT_EQ(KQ_NOT_AVAILABLE, alone.init());
}

TEST_F(PDOBuild, HandlerOfItsOwnBuildsWithoutSyncHandlerAndStateMachine) {
  addTransmitPDO(0, {0x185, 1}, {});
  addTransmitPDO(1, {0x186, 255}, {});
  addTransmitPDO(2, {0x187, 1}, {});
  node.dictionary().getSubentry(0x1802, 1)->value = static_cast<int>(0x80000187);
  addReceivePDO(0, {0x205}, {});
  KQPDOHandler alone(nullptr);
  alone.setObjectDictionary(&node.dictionary());
  EXPECT_EQ(KQ_OK, alone.init());
  alone.signalPDOChange(0x1800);
  alone.signalPDOChange(0x1400);
  EXPECT_EQ(KQ_NOT_AVAILABLE, alone.sendPDOs(node.clock.now() + 10, nullptr));
}

class PDOBuildIndex : public PDOBuild, public testing::WithParamInterface<unsigned short> {};

TEST_P(PDOBuildIndex, BelongsToTheRangesOfTheNode) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(GetParam(), {0x185}, {0x10060008});
  addReceivePDO(GetParam(), {0x205}, {0x20010108});
  start();
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  node.receive("205#44");
  EXPECT_EQ(0x44, stored(0x2001, 1));
}

INSTANTIATE_TEST_SUITE_P(Numbers, PDOBuildIndex, testing::Values(0, 1, 0x100, 0x1FF), test::ReadableName());

TEST_F(PDOBuild, SixtyFourOfEachKindWorkAtOnce) {
  Frames expected;
  for (unsigned char i = 0; i < 64; ++i) {
    const auto subIndex = static_cast<unsigned char>(i + 1);
    addVariable(0x2001, subIndex, 16);
    addVariable(0x2002, subIndex, 16);
    addTransmitPDO(i, {0x180U + i}, {0x20010010U | static_cast<unsigned int>(subIndex) << 8});
    addReceivePDO(i, {0x200U + i}, {0x20020010U | static_cast<unsigned int>(subIndex) << 8});
    change(0x2001, subIndex, 0x100 + i);
    expected.push_back(hex(0x180U + i) + "#" + hex(i).substr(1) + " 01");
  }
  start();
  EXPECT_EQ(expected, node.cycle());
  for (unsigned char i = 0; i < 64; ++i) {
    const auto subIndex = static_cast<unsigned char>(i + 1);
    EXPECT_EQ(Frames{}, node.receive(hex(0x200U + i) + "#" + hex(i).substr(1) + " 02"));
    EXPECT_EQ(0x200 + i, stored(0x2002, subIndex));
    change(0x2001, subIndex, 0);
    EXPECT_EQ(Frames{hex(0x180U + i) + "#00 00"}, sent());
  }
}

TEST_F(PDOBuild, InitAgainBuildsEverythingOnce) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  addTransmitPDO(1, {0x186, 1}, {0x20010108});
  startAndSettle();
  EXPECT_EQ(KQ_OK, handler().init());
  EXPECT_EQ(KQ_OK, handler().init());
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"185#01"}, sent());
  EXPECT_EQ((Frames{"186#01", "186#01"}), node.receive("080#"));
}

TEST_F(PDOBuild, PDOThatIsInvalidInAnotherInitAnswersNoSyncAnyMore) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 1}, {0x20010108});
  addTransmitPDO(1, {0x186, 1}, {0x20010108});
  startAndSettle();
  node.receive("080#");
  EXPECT_EQ((Frames{"185#00", "186#00"}), node.receive("080#"));
  node.dictionary().getSubentry(0x1800, 1)->value = static_cast<int>(0x80000185);  // told to nobody
  EXPECT_EQ(KQ_OK, handler().init());
  node.receive("080#");
  EXPECT_EQ(Frames{"186#00"}, node.receive("080#"));
}

TEST_F(PDOBuild, PDOThatIsInvalidAtTheStartIsNotBuilt) {
  addTransmitPDO(0, {0x185}, {0x10060008});
  addReceivePDO(0, {0x205}, {0x10060008});
  write(0x1800, 1, 0x80000185);
  write(0x1400, 1, 0x80000205);
  start();
  EXPECT_EQ(Frames{}, node.cycle());
  node.receive("205#44");
  EXPECT_EQ(0U, read(0x1006, 0));
}

TEST_F(PDOBuild, InvalidForGoodSurvivesStartAndRebuild) {
  addTransmitPDO(0, {0x185}, {0x10060008});
  handler().addInvalidPDOIndex(0x1A00);
  node.cycle();
  EXPECT_EQ("Not creating invalid PDO from OD index 0x1800\nCANOPEN: State set to 0x3\n", node.output.takeOutput());
  node.receive("000#01 05");
  node.output.takeOutput();
  rebuild(0x1800);
  EXPECT_EQ("Not creating invalid PDO from OD index 0x1800\n", node.output.takeOutput());
  EXPECT_EQ(Frames{}, node.cycle());
  restart();
  EXPECT_EQ(Frames{}, node.cycle());
}

// ---- the same COB-ID

class TwoReceivePDOsWithOneCOBID : public PDOBuild {
protected:
  TwoReceivePDOsWithOneCOBID() {
    addVariables(2, 8);
    addReceivePDO(0, {0x205}, {0x20010108});
    addReceivePDO(5, {0x205}, {0x20010208});
    start();
  }

  // Which of the two variables a frame reaches.
  std::pair<int, int> valuesAfter(const std::string& frame) {
    change(0x2001, 1, 0);
    change(0x2001, 2, 0);
    node.receive(frame);
    return {stored(0x2001, 1), stored(0x2001, 2)};
  }
};

TEST_F(TwoReceivePDOsWithOneCOBID, LaterOneTakesTheFramesAfterTheStart) {
  EXPECT_EQ(std::make_pair(0, 1), valuesAfter("205#01"));
}

TEST_F(TwoReceivePDOsWithOneCOBID, EarlierOneStaysWithoutFramesWhenItIsRebuilt) {
  rebuild(0x1400);
  EXPECT_EQ(std::make_pair(0, 1), valuesAfter("205#01"));
}

TEST_F(TwoReceivePDOsWithOneCOBID, EarlierOneTakesTheFramesWhenItIsRebuiltAfterTheLaterOneWent) {
  EXPECT_EQ(KQ_OK, write(0x1405, 1, 0x80000205));
  EXPECT_EQ(std::make_pair(0, 0), valuesAfter("205#01"));
  rebuild(0x1400);
  EXPECT_EQ(std::make_pair(1, 0), valuesAfter("205#01"));
}

TEST_F(TwoReceivePDOsWithOneCOBID, RebuiltLaterOneKeepsTheFrames) {
  rebuild(0x1405);
  EXPECT_EQ(std::make_pair(0, 1), valuesAfter("205#01"));
}

TEST_F(TwoReceivePDOsWithOneCOBID, InvalidatedEarlierOneTakesNothingFromTheLaterOne) {
  EXPECT_EQ(KQ_OK, write(0x1400, 1, 0x80000205));
  EXPECT_EQ(std::make_pair(0, 1), valuesAfter("205#01"));
}

TEST_F(TwoReceivePDOsWithOneCOBID, LaterOneTakesTheFramesAgainAfterAReset) {
  write(0x1405, 1, 0x80000205);
  rebuild(0x1400);
  write(0x1405, 1, 0x205);
  EXPECT_EQ(std::make_pair(1, 0), valuesAfter("205#01"));
  restart();
  EXPECT_EQ(std::make_pair(0, 1), valuesAfter("205#01"));
}

// ---- rebuilt TPDO

struct RebuildCase : test::NamedCase {
  unsigned char transmissionType;
  Frames inNextPass;
  Frames onSync;
};

class RebuiltTransmitPDO : public PDOBuild, public testing::WithParamInterface<RebuildCase> {};

TEST_P(RebuiltTransmitPDO, GoesOutAsItsTypeSays) {
  addTransmitPDO(0, {0x185, GetParam().transmissionType}, {0x10060008});
  startAndSettle();
  node.receive("080#");
  rebuild(0x1800);
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(GetParam().inNextPass, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(GetParam().onSync, node.receive("080#"));
}

// Type 0 is queued at the start, but not after a rebuild. The second SYNC finds the counter at 2.
INSTANTIATE_TEST_SUITE_P(
    Types, RebuiltTransmitPDO,
    testing::Values(RebuildCase{{"Type0"}, 0, {}, {}}, RebuildCase{{"Type1"}, 1, {}, {"185#00", "185#00"}},
                    RebuildCase{{"Type2"}, 2, {}, {"185#00", "185#00"}}, RebuildCase{{"Type3"}, 3, {}, {"185#00"}},
                    RebuildCase{{"Type240"}, 240, {}, {"185#00"}}, RebuildCase{{"Type241"}, 241, {}, {"185#00"}},
                    RebuildCase{{"Type251"}, 251, {}, {"185#00"}}, RebuildCase{{"Type252"}, 252, {}, {}},
                    RebuildCase{{"Type253"}, 253, {}, {}}, RebuildCase{{"Type254"}, 254, {"185#00"}, {}},
                    RebuildCase{{"Type255"}, 255, {"185#00"}, {}}),
    test::caseName<RebuildCase>);

struct KeptTurnCase : test::NamedCase {
  unsigned char subIndex;
  unsigned int parameter;
  Frames onSync;
};

class TransmitPDOThatWaitsForASync : public PDOBuild {
protected:
  TransmitPDOThatWaitsForASync() {
    addVariable(0x2001, 1, 8);
    addTransmitPDO(0, {0x185, 0}, {0x20010108});
    startAndSettle();
    node.receive("080#");
    change(0x2001, 1, 1);
  }
};

class RebuiltTransmitPDOThatWaitsForASync : public TransmitPDOThatWaitsForASync,
                                            public testing::WithParamInterface<KeptTurnCase> {};

TEST_P(RebuiltTransmitPDOThatWaitsForASync, KeepsItsTurnWhenItIsValid) {
  EXPECT_EQ(KQ_OK, write(0x1800, GetParam().subIndex, GetParam().parameter));
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(GetParam().onSync, node.receive("080#"));
}

// The second SYNC finds the counter at 2.
INSTANTIATE_TEST_SUITE_P(
    Parameters, RebuiltTransmitPDOThatWaitsForASync,
    testing::Values(KeptTurnCase{{"InhibitTime"}, 3, 10, {"185#01"}}, KeptTurnCase{{"EventTimer"}, 5, 10, {"185#01"}},
                    KeptTurnCase{{"Type2"}, 2, 2, {"185#01", "185#01"}}, KeptTurnCase{{"Type3"}, 2, 3, {"185#01"}},
                    KeptTurnCase{{"Type252"}, 2, 252, {}}, KeptTurnCase{{"Invalid"}, 1, 0x80000185, {}}),
    test::caseName<KeptTurnCase>);

TEST_F(TransmitPDOThatWaitsForASync, HasOneTurn) {
  rebuild(0x1800);
  rebuild(0x1800);
  EXPECT_EQ(Frames{"185#01"}, node.receive("080#"));
  EXPECT_EQ(Frames{}, node.receive("080#"));
}

TEST_F(TransmitPDOThatWaitsForASync, HasLostItsTurnWhenItWasInvalidMeanwhile) {
  EXPECT_EQ(KQ_OK, write(0x1800, 1, 0x80000185));
  EXPECT_EQ(KQ_OK, write(0x1800, 1, 0x185));
  EXPECT_EQ(Frames{}, node.receive("080#"));
}

// ---- parameters that are mapped

TEST_F(PDOBuild, ParameterThatIsMappedGoesOutAndRebuildsItsPDO) {
  addTransmitPDO(0, {0x185}, {0x18010510});
  addTransmitPDO(1, {0x186}, {});
  startAndSettle();
  EXPECT_EQ(KQ_OK, write(0x1801, 5, 0x1234));
  EXPECT_EQ(Frames{"185#34 12"}, sent());
  EXPECT_EQ(Frames{"186#"}, node.cycle());
}

TEST_F(PDOBuild, FirstParameterOfAllThatIsMappedGoesOut) {
  addTransmitPDO(0, {0x185}, {0x14000510});
  addReceivePDO(0, {0x205}, {});
  startAndSettle();
  EXPECT_EQ(KQ_OK, write(0x1400, 5, 7));
  EXPECT_EQ(Frames{"185#07 00"}, sent());
}

// The change leaves with the TPDO as it was; the inhibit time of the new one begins with its own first frame.
TEST_F(PDOBuild, ParameterThatItsOwnPDOMapsGoesOutBeforeThatIsRebuilt) {
  addTransmitPDO(0, {0x185, 255, 0, 100}, {0x18000510});
  startAndSettle();
  node.clock.advance(100);
  EXPECT_EQ(KQ_OK, write(0x1800, 5, 7));
  EXPECT_EQ(Frames{"185#07 00"}, sent());
  EXPECT_EQ(Frames{"185#07 00"}, node.cycle());
}

// ---- replaced PDOs

class ReplacedPDO : public PDOBuild {
protected:
  static constexpr unsigned short INDEXES[] = {0x1800, 0x1801, 0x1400};

  ReplacedPDO() {
    addVariable(0x2001, 1, 8);
    addTransmitPDO(0, {0x185, 255, 100}, {0x20010108});
    addTransmitPDO(1, {0x186, 1}, {0x20010108});
    addReceivePDO(0, {0x205, 1, 100}, {0x20010108});
    startAndSettle();
    node.receive("205#05");
    sent();
  }
};

TEST_F(ReplacedPDO, GoesWithTheLastWalkOverIt) {
  std::shared_ptr<const PDOTable> walk = PDOInternals::pdosOf(handler());
  const std::weak_ptr<const PDOTable> replaced = walk;
  for (const unsigned short index : INDEXES) {
    rebuild(index);
  }
  EXPECT_FALSE(replaced.expired());
  walk.reset();
  EXPECT_TRUE(replaced.expired());
}

TEST_F(ReplacedPDO, GoesWithItsTableWhenNobodyWalks) {
  for (const unsigned short index : INDEXES) {
    const std::weak_ptr<const PDOTable> replaced = PDOInternals::pdosOf(handler());
    rebuild(index);
    EXPECT_TRUE(replaced.expired()) << index;
  }
}

TEST_F(ReplacedPDO, GoesWithItsTableWhenAllAreBuiltAnew) {
  const std::weak_ptr<const PDOTable> replaced = PDOInternals::pdosOf(handler());
  EXPECT_EQ(KQ_OK, handler().init());
  EXPECT_TRUE(replaced.expired());
}

// ---- rebuilt TPDO, otherwise

TEST_F(PDOBuild, RebuiltTransmitPDOIsTheLastToGoOutForAChange) {
  addVariable(0x2001, 1, 8);
  for (unsigned short number = 0; number < 3; ++number) {
    addTransmitPDO(number, {0x185U + number}, {0x20010108});
  }
  startAndSettle();
  rebuild(0x1800);
  node.cycle();
  change(0x2001, 1, 1);
  EXPECT_EQ((Frames{"186#01", "187#01", "185#01"}), sent());
}

TEST_F(PDOBuild, RebuiltTransmitPDOHasNeverBeenSent) {
  addTransmitPDO(0, {0x185, 255, 0, 100}, {0x10060008});
  startAndSettle();
  rebuild(0x1800);
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
}

TEST_F(PDOBuild, RebuiltTransmitPDOIsTimedFromNow) {
  addTransmitPDO(0, {0x185, 255, 100}, {0x10060008});
  startAndSettle();
  EXPECT_EQ(Frames{}, node.run(60));
  rebuild(0x1800);
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(99));
  EXPECT_EQ(Frames{"185#00"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(99));
}

TEST_F(PDOBuild, InvalidatedTransmitPDOIsSilentInEveryRespect) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255, 100, 50}, {0x20010108});
  addTransmitPDO(1, {0x186, 1}, {0x20010108});
  startAndSettle();
  change(0x2001, 1, 1);
  EXPECT_EQ(KQ_OK, write(0x1800, 1, 0x80000185));
  EXPECT_EQ(KQ_OK, write(0x1801, 1, 0x80000186));
  EXPECT_EQ(Frames{}, node.run(300));
  EXPECT_EQ(Frames{}, node.receive("080#"));
  change(0x2001, 1, 2);
  EXPECT_EQ(Frames{}, node.run(1));
}

TEST_F(PDOBuild, InvalidatingOneLeavesTheOthersAlone) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185, 255, 100}, {0x20010108});
  addTransmitPDO(1, {0x186, 255, 100}, {0x20010108});
  addTransmitPDO(2, {0x187, 1}, {0x20010108});
  startAndSettle();
  write(0x1800, 1, 0x80000185);
  change(0x2001, 1, 1);
  EXPECT_EQ(Frames{"186#01"}, sent());
  EXPECT_EQ((Frames{"187#01", "187#01"}), node.receive("080#"));
  EXPECT_EQ(Frames{"186#01"}, node.run(100));
}

TEST_F(PDOBuild, AnyParameterOfATransmitPDORebuildsIt) {
  addTransmitPDO(0, {0x185, 255, 0, 0}, {0x10060008});
  startAndSettle();
  for (const unsigned char subIndex : {static_cast<unsigned char>(3), static_cast<unsigned char>(5)}) {
    EXPECT_EQ(KQ_OK, write(0x1800, subIndex, 0));
    EXPECT_EQ(Frames{"185#00"}, node.cycle()) << int{subIndex};
  }
  EXPECT_EQ(KQ_OK, write(0x1800, 2, 1));
  EXPECT_EQ(Frames{}, node.run(200));
  EXPECT_EQ((Frames{"185#00", "185#00"}), node.receive("080#"));
}

TEST_F(PDOBuild, ActionReachesARunningTransmitPDOOnlyWhenItIsRebuilt) {
  addTransmitPDO(0, {0x185}, {});
  startAndSettle();
  EXPECT_EQ(KQ_DONE, node.canopen().setPDOAction(0, PDO_TYPE_TRANSMIT, 2, 0x10060000));
  rebuild(0x1801);
  node.cycle();
  EXPECT_EQ(0U, read(0x1006, 0));
  rebuild(0x1800);
  node.cycle();
  EXPECT_EQ(1U, read(0x1006, 0));
}

TEST_F(PDOBuild, ActionSurvivesAReset) {
  addTransmitPDO(0, {0x185}, {});
  node.canopen().setPDOAction(0, PDO_TYPE_TRANSMIT, 2, 0x10060000);
  startAndSettle();
  restart();
  node.cycle();
  EXPECT_EQ(2U, read(0x1006, 0));
}

// ---- rebuilt RPDO

TEST_F(PDOBuild, InvalidatedReceivePDOTakesNoFrames) {
  addReceivePDO(0, {0x205}, {0x10060008});
  start();
  EXPECT_EQ(KQ_OK, write(0x1400, 1, 0x80000205));
  node.receive("205#01");
  EXPECT_EQ(0U, read(0x1006, 0));
  KQCANMessage message = test::frame("205#01");
  EXPECT_EQ(KQ_NOT_HANDLED, handler().handleMessage(&message));
}

TEST_F(PDOBuild, RebuiltReceivePDOTakesFramesOfItsNewCOBID) {
  addReceivePDO(0, {0x205}, {0x10060008});
  start();
  write(0x1400, 1, 0x80000205);
  EXPECT_EQ(KQ_OK, write(0x1400, 1, 0x215));
  node.receive("205#01");
  EXPECT_EQ(0U, read(0x1006, 0));
  node.receive("215#02");
  EXPECT_EQ(2U, read(0x1006, 0));
}

TEST_F(PDOBuild, FlagsOfTheCOBIDCountAfterARebuildButNotAfterTheStart) {
  addReceivePDO(0, {0x20000205}, {0x10060008});
  start();
  node.receive("205#01");
  EXPECT_EQ(1U, read(0x1006, 0));
  rebuild(0x1400);
  node.receive("205#02");
  EXPECT_EQ(1U, read(0x1006, 0));
  KQCANMessage message = test::frame("205#03");
  message.identifier = 0x20000205;
  EXPECT_EQ(KQ_OK, handler().handleMessage(&message));
  EXPECT_EQ(3U, read(0x1006, 0));
  restart();
  node.receive("205#04");
  EXPECT_EQ(4U, read(0x1006, 0));
}

TEST_F(PDOBuild, FrameBufferedForARebuiltReceivePDOIsGone) {
  addReceivePDO(0, {0x205, 1}, {0x10060008});
  start();
  node.receive("205#01");
  rebuild(0x1400);
  node.receive("080#");
  EXPECT_EQ(0U, read(0x1006, 0));
}

TEST_F(PDOBuild, FramesOfOthersAreStillBuffered) {
  addReceivePDO(0, {0x205, 1}, {0x10060008});
  addReceivePDO(1, {0x305, 1}, {0x10070008});
  start();
  node.receive("205#01");
  node.receive("305#02");
  rebuild(0x1400);
  node.receive("080#");
  EXPECT_EQ(0U, read(0x1006, 0));
  EXPECT_EQ(2U, read(0x1007, 0));
}

TEST_F(PDOBuild, RebuiltReceivePDOIsMonitoredAnewAlsoWhenAnotherHasItsCOBID) {
  addReceivePDO(0, {0x205, 255, 500}, {});
  addReceivePDO(1, {0x205, 255, 0}, {});
  test::CountedAction timeouts;
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &timeouts);
  startAndSettle();
  EXPECT_EQ(1U, timeouts.runs);
  rebuild(0x1400);
  node.run(10);
  EXPECT_EQ(2U, timeouts.runs);
}

TEST_F(PDOBuild, InvalidatedReceivePDOIsNotMonitored) {
  addReceivePDO(0, {0x205, 255, 500}, {});
  test::CountedAction timeouts;
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &timeouts);
  startAndSettle();
  node.receive("205#");
  write(0x1400, 1, 0x80000205);
  node.run(1000);
  EXPECT_EQ(1U, timeouts.runs);
}

// ---- other indexes

class UnrelatedIndex : public PDOBuild, public testing::WithParamInterface<unsigned short> {};

TEST_P(UnrelatedIndex, RebuildsNothing) {
  addTransmitPDO(0, {0x185}, {0x10060008});
  addReceivePDO(0, {0x205}, {0x10070008});
  startAndSettle();
  map(0x1A00, {0x10060010});
  map(0x1600, {0x10070010});
  rebuild(GetParam());
  EXPECT_EQ(Frames{}, node.cycle());
  KQCANMessage message = test::frame("205#01 02");
  EXPECT_EQ(0x8220, handler().handleMessage(&message));
}

INSTANTIATE_TEST_SUITE_P(Indexes, UnrelatedIndex,
                         testing::Values(0x0000, 0x13FF, 0x1401, 0x1600, 0x17FF, 0x1801, 0x1A00, 0x1BFF, 0x1C00,
                                         0xFFFF),
                         test::ReadableName());

TEST_F(PDOBuild, NewMappingCountsFromTheNextRebuildOn) {
  addTransmitPDO(0, {0x185}, {0x10060008});
  startAndSettle();
  map(0x1A00, {0x10060010});
  EXPECT_EQ(KQ_OK, write(0x1006, 0, 0x1234));
  EXPECT_EQ(Frames{"185#34"}, sent());
  rebuild(0x1800);
  EXPECT_EQ(Frames{"185#34 12"}, node.cycle());
}

}  // namespace
