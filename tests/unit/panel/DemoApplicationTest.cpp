// Covers: the application that the panel has of its own.
//
// | subject                                          | functional                                       | robustness |
// |--------------------------------------------------|--------------------------------------------------|------------|
// | objects                                          | data type, access, limits of every sub-index     |            |
// | temperature, pieces, analogue input and alarms   | x                                                |            |
// | over time                                        |                                                  |            |
// | set point, run switch and device text written by | x                                                |            |
// | a master                                         |                                                  |            |
// | writes of the runtime's other users; a peer      | x                                                |            |
// | PDOs                                             | parameters; TPDOs by change, event timer and     |            |
// |                                                  | SYNC; RPDOs at once and at the SYNC; lines about |            |
// |                                                  | their reception                                  |            |
// | refused writes, by PDO as well; a late update;   |                                                  | x          |
// | the wrap of the clock                            |                                                  |            |

#include "DemoApplication.h"

#include <gtest/gtest.h>
#include <sstream>

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQTick.h"
#include "TestNode.h"

namespace {

using Demo = panel::DemoApplication;

constexpr int WRITE_OF_READ_ONLY = 0x06010002;
constexpr int OUT_OF_RANGE = 0x06090030;

class DemoApplicationTest : public testing::Test {
protected:
  DemoApplicationTest() : application(*KQ::KQDEI::instance(), console, std::nullopt) {
    node.init();
    application.bind(node.canopen());
    node.cycle();
  }

  int read(unsigned char subIndex) {
    int value = -1;
    EXPECT_EQ(0, node.dictionary().getValue(Demo::MACHINE, subIndex, value));
    return value;
  }

  int write(unsigned char subIndex, int value) {
    return node.dictionary().setValue(Demo::MACHINE, subIndex, value, false);
  }

  void runSteps(unsigned int steps) {
    for (unsigned int i = 0; i < steps; ++i) {
      node.clock.advance(Demo::STEP_MS);
      application.update(KQ::KQTick::getTickCount());
    }
  }

  // Long enough to reach any set point from any temperature.
  void settle() { runSteps(400); }

  std::ostringstream console;
  test::TestNode node;
  Demo application;
};

struct ObjectCase {
  const char* name;
  unsigned char subIndex;
  KQ::KQCANopenDataType dataType;
  KQ::KQCANopenAccessType access;
};

class DemoObjects : public DemoApplicationTest, public testing::WithParamInterface<ObjectCase> {};

TEST_P(DemoObjects, HaveTypeAndAccess) {
  const KQ::ObjectDictionarySubEntry* const entry = node.dictionary().getSubentry(Demo::MACHINE, GetParam().subIndex);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(GetParam().dataType, entry->dataType);
  EXPECT_EQ(GetParam().access, entry->accessType);
}

INSTANTIATE_TEST_SUITE_P(Machine, DemoObjects,
                         testing::Values(ObjectCase{"Count", 0, KQ::DATA_TYPE_UNSIGNED8, KQ::ACCESS_RO},
                                         ObjectCase{"Temperature", 1, KQ::DATA_TYPE_INTEGER16, KQ::ACCESS_RO},
                                         ObjectCase{"SetPoint", 2, KQ::DATA_TYPE_INTEGER16, KQ::ACCESS_RWW},
                                         ObjectCase{"Pieces", 3, KQ::DATA_TYPE_UNSIGNED32, KQ::ACCESS_RO},
                                         ObjectCase{"AnalogueInput", 4, KQ::DATA_TYPE_MANUFACTURER_FIRST,
                                                    KQ::ACCESS_RO},
                                         ObjectCase{"Run", 5, KQ::DATA_TYPE_BOOLEAN, KQ::ACCESS_RW},
                                         ObjectCase{"Alarms", 6, KQ::DATA_TYPE_UNSIGNED16, KQ::ACCESS_RO}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(DemoApplicationTest, MachineIsARecordThatCountsItsSubIndexes) {
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(Demo::MACHINE)->objectType);
  EXPECT_EQ(6, read(0));
}

TEST_F(DemoApplicationTest, DeviceTextIsReadableOverSDO) {
  EXPECT_EQ(test::Frames({"585#41 01 20 00 11 00 00 00"}), node.receive("605#40 01 20 00 00 00 00 00"));
}

TEST_F(DemoApplicationTest, DeviceTextIsWritableOverSDO) {
  node.receive("605#21 01 20 00 05 00 00 00");
  node.receive("605#05 50 61 6E 65 6C 00 00");
  std::string text;
  EXPECT_EQ(0, KQ::KQDEI::instance()->getVariableValue(Demo::DEVICE_TEXT, 0, &text));
  EXPECT_EQ("Panel", text);
}

TEST_F(DemoApplicationTest, NothingMovesBeforeAStepIsOver) {
  node.clock.advance(Demo::STEP_MS - 1);
  application.update(KQ::KQTick::getTickCount());
  EXPECT_EQ(0, read(Demo::SUB_ANALOGUE_INPUT));
  node.clock.advance(1);
  application.update(KQ::KQTick::getTickCount());
  EXPECT_EQ(Demo::ANALOGUE_STEP, read(Demo::SUB_ANALOGUE_INPUT));
}

TEST_F(DemoApplicationTest, LateUpdateCatchesUp) {
  node.clock.advance(10 * Demo::STEP_MS);
  application.update(KQ::KQTick::getTickCount());
  EXPECT_EQ(10 * Demo::ANALOGUE_STEP, read(Demo::SUB_ANALOGUE_INPUT));
}

TEST_F(DemoApplicationTest, TemperatureReachesTheSetPointWithARipple) {
  settle();
  int lowest = Demo::HIGHEST_SET_POINT;
  int highest = 0;
  for (int i = 0; i < 8; ++i) {
    runSteps(1);
    lowest = std::min(lowest, read(Demo::SUB_TEMPERATURE));
    highest = std::max(highest, read(Demo::SUB_TEMPERATURE));
  }
  EXPECT_EQ(Demo::DEFAULT_SET_POINT - Demo::RIPPLE, lowest);
  EXPECT_EQ(Demo::DEFAULT_SET_POINT + Demo::RIPPLE, highest);
}

TEST_F(DemoApplicationTest, TemperatureFollowsAWrittenSetPoint) {
  EXPECT_EQ(0, write(Demo::SUB_SET_POINT, 1000));
  settle();
  EXPECT_NEAR(read(Demo::SUB_TEMPERATURE), 1000, Demo::RIPPLE);
}

TEST_F(DemoApplicationTest, TemperatureFallsToAmbientWhenStopped) {
  settle();
  EXPECT_EQ(0, write(Demo::SUB_RUN, 0));
  settle();
  EXPECT_EQ(Demo::AMBIENT, read(Demo::SUB_TEMPERATURE));
}

TEST_F(DemoApplicationTest, PiecesAreCountedWhileRunning) {
  runSteps(Demo::STEPS_PER_PIECE - 1);
  EXPECT_EQ(0, read(Demo::SUB_PIECES));
  runSteps(1);
  EXPECT_EQ(1, read(Demo::SUB_PIECES));
}

TEST_F(DemoApplicationTest, PiecesStayWhenStopped) {
  runSteps(Demo::STEPS_PER_PIECE);
  write(Demo::SUB_RUN, 0);
  settle();
  EXPECT_EQ(1, read(Demo::SUB_PIECES));
}

TEST_F(DemoApplicationTest, AnalogueInputRisesToItsHighestValueAndFallsAgain) {
  const unsigned int stepsUp = Demo::ANALOGUE_HIGHEST / Demo::ANALOGUE_STEP;
  runSteps(stepsUp);
  EXPECT_EQ(4095, read(Demo::SUB_ANALOGUE_INPUT));
  runSteps(1);
  EXPECT_EQ(4095 - Demo::ANALOGUE_STEP, read(Demo::SUB_ANALOGUE_INPUT));
  runSteps(stepsUp - 1);
  EXPECT_EQ(0, read(Demo::SUB_ANALOGUE_INPUT));
  runSteps(1);
  EXPECT_EQ(Demo::ANALOGUE_STEP, read(Demo::SUB_ANALOGUE_INPUT));
}

TEST_F(DemoApplicationTest, NoAlarmAtTheSetPoint) {
  settle();
  EXPECT_EQ(0, read(Demo::SUB_ALARMS));
}

TEST_F(DemoApplicationTest, HigherSetPointRaisesUnderTemperature) {
  settle();
  write(Demo::SUB_SET_POINT, Demo::HIGHEST_SET_POINT);
  runSteps(1);
  EXPECT_EQ(0x2, read(Demo::SUB_ALARMS));
}

TEST_F(DemoApplicationTest, LowerSetPointRaisesOverTemperature) {
  settle();
  write(Demo::SUB_SET_POINT, Demo::LOWEST_SET_POINT);
  runSteps(1);
  EXPECT_EQ(0x1, read(Demo::SUB_ALARMS));
}

TEST_F(DemoApplicationTest, StoppedMachineRaisesNothingElse) {
  write(Demo::SUB_RUN, 0);
  runSteps(1);
  EXPECT_EQ(0x4, read(Demo::SUB_ALARMS));
}

TEST_F(DemoApplicationTest, SetPointOutsideItsLimitsIsRefused) {
  EXPECT_EQ(0, write(Demo::SUB_SET_POINT, Demo::LOWEST_SET_POINT));
  EXPECT_EQ(OUT_OF_RANGE, write(Demo::SUB_SET_POINT, Demo::LOWEST_SET_POINT - 1));
  EXPECT_EQ(0, write(Demo::SUB_SET_POINT, Demo::HIGHEST_SET_POINT));
  EXPECT_EQ(OUT_OF_RANGE, write(Demo::SUB_SET_POINT, Demo::HIGHEST_SET_POINT + 1));
}

TEST_F(DemoApplicationTest, MeasuredValuesAreReadOnly) {
  for (const unsigned char subIndex :
       {Demo::SUB_COUNT, Demo::SUB_TEMPERATURE, Demo::SUB_PIECES, Demo::SUB_ANALOGUE_INPUT, Demo::SUB_ALARMS}) {
    EXPECT_EQ(WRITE_OF_READ_ONLY, write(subIndex, 1)) << int{subIndex};
  }
}

TEST_F(DemoApplicationTest, RuntimeMayChangeTheTextOnly) {
  KQ::KQDEI& store = *KQ::KQDEI::instance();
  EXPECT_EQ(0, store.setVariableValue(Demo::DEVICE_TEXT, 0, std::string("Line 3"), true, true));
  std::string text;
  store.getVariableValue(Demo::DEVICE_TEXT, 0, &text);
  EXPECT_EQ("Line 3", text);
  EXPECT_EQ(30, store.setVariableValue(Demo::MACHINE, Demo::SUB_PIECES, 7, true, true));
  EXPECT_EQ(23, application.updateRequest(0x2002, 0, 7));
  EXPECT_EQ(23, application.updateRequest(0x2002, 0, std::string("x")));
  EXPECT_EQ(0, application.getValueRequest(Demo::MACHINE, Demo::SUB_PIECES));
}

TEST(DemoApplicationWithPeer, AsksThePeerAfterTheBootUp) {
  std::ostringstream console;
  test::TestNode node;
  Demo application(*KQ::KQDEI::instance(), console, 6);
  node.init();
  application.bind(node.canopen());
  application.update(KQ::KQTick::getTickCount());
  EXPECT_EQ(test::Frames{"705#00"}, node.cycle());
  application.update(KQ::KQTick::getTickCount());
  EXPECT_EQ(test::Frames{"606#40 00 20 02 00 00 00 00"}, node.cycle());
}

// ---- PDOs

struct PDOCase {
  const char* name;
  unsigned short communicationIndex;
  int cobID;
  int transmissionType;
  int eventTimer;
  std::vector<unsigned int> mapping;
};

class DemoPDOs : public DemoApplicationTest, public testing::WithParamInterface<PDOCase> {
protected:
  int parameter(unsigned short index, unsigned char subIndex) {
    int value = -1;
    node.dictionary().getValue(index, subIndex, value);
    return value;
  }
};

TEST_P(DemoPDOs, AreDescribedInTheDictionary) {
  const auto mappingIndex = static_cast<unsigned short>(GetParam().communicationIndex + 0x200);
  EXPECT_EQ(GetParam().cobID, parameter(GetParam().communicationIndex, 1));
  EXPECT_EQ(GetParam().transmissionType, parameter(GetParam().communicationIndex, 2));
  EXPECT_EQ(GetParam().eventTimer, parameter(GetParam().communicationIndex, 5));
  EXPECT_EQ(static_cast<int>(GetParam().mapping.size()), parameter(mappingIndex, 0));
  unsigned char subIndex = 0;
  for (const unsigned int mapped : GetParam().mapping) {
    EXPECT_EQ(static_cast<int>(mapped), parameter(mappingIndex, ++subIndex));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Machine, DemoPDOs,
    testing::Values(PDOCase{"TPDO1", 0x1800, 0x40000185, 254, 1000, {0x20000110, 0x20000610, 0x2000040C, 0x20000501}},
                    PDOCase{"TPDO2", 0x1801, 0x40000285, 1, 0, {0x20000320, 0x20000110}},
                    PDOCase{"RPDO1", 0x1400, 0x205, 254, 500, {0x20000210}},
                    PDOCase{"RPDO2", 0x1401, 0x305, 1, 0, {0x20000501}}),
    [](const auto& tested) { return std::string(tested.param.name); });

class DemoCommunication : public DemoApplicationTest {
protected:
  DemoCommunication() { node.receive("000#01 05"); }

  // Lets steps of the machine go by, with a cycle of the node after each. @return the frames sent
  test::Frames runCycles(unsigned int steps) {
    test::Frames frames;
    for (unsigned int i = 0; i < steps; ++i) {
      node.clock.advance(Demo::STEP_MS);
      application.update(KQ::KQTick::getTickCount());
      for (const std::string& frame : node.cycle()) {
        frames.push_back(frame);
      }
    }
    return frames;
  }
};

TEST_F(DemoCommunication, ValuesGoOutWhenTheNodeIsStarted) {
  EXPECT_EQ(test::Frames{"185#D7 00 00 00 00 10"}, node.cycle());
}

TEST_F(DemoCommunication, ChangeGoesOutAtOnceAndTheNextOneAfterTheInhibitTime) {
  node.cycle();
  // The first value that changed takes the others along as they are; they follow a step later.
  EXPECT_EQ(test::Frames{"185#DE 00 00 00 00 10"}, runCycles(1));
  EXPECT_EQ(test::Frames{"185#E4 00 02 00 41 10"}, runCycles(1));
}

TEST_F(DemoCommunication, ValuesGoOutWithTheEventTimerWhenNothingChanges) {
  node.cycle();
  test::Frames frames;
  for (unsigned int i = 0; i < 2 * Demo::EVENT_TIMER_MS; ++i) {
    node.clock.advance(1);
    for (const std::string& frame : node.cycle()) {
      frames.push_back(frame);
    }
  }
  EXPECT_EQ((test::Frames{"185#D7 00 00 00 00 10", "185#D7 00 00 00 00 10"}), frames);
}

TEST_F(DemoCommunication, PiecesAndTemperatureFollowTheSync) {
  runCycles(Demo::STEPS_PER_PIECE);
  EXPECT_EQ((test::Frames{"285#01 00 00 00 EE 00", "285#01 00 00 00 EE 00"}), node.receive("080#"));
  EXPECT_EQ(test::Frames{"285#01 00 00 00 EE 00"}, node.receive("080#"));
}

TEST_F(DemoCommunication, SetPointByPDOTakesEffectAtOnce) {
  node.receive("205#20 03");
  EXPECT_EQ(800, read(Demo::SUB_SET_POINT));
}

TEST_F(DemoCommunication, SetPointOutsideItsLimitsIsIgnored) {
  node.receive("205#B1 04");
  EXPECT_EQ(Demo::DEFAULT_SET_POINT, read(Demo::SUB_SET_POINT));
}

TEST_F(DemoCommunication, RefusedSetPointIsReceivedAllTheSame) {
  node.receive("205#B1 04");
  EXPECT_EQ("RPDO 1: receiving\n", console.str());
}

TEST_F(DemoCommunication, RunSwitchByPDOTakesEffectWithTheSync) {
  node.receive("305#00");
  EXPECT_EQ(1, read(Demo::SUB_RUN));
  node.receive("080#");
  EXPECT_EQ(0, read(Demo::SUB_RUN));
}

TEST_F(DemoCommunication, ReceptionIsReported) {
  EXPECT_EQ("", console.str());
  node.cycle();
  EXPECT_EQ("RPDO 1: nothing received yet\n", console.str());
  console.str("");
  node.receive("205#20 03");
  node.receive("305#01");
  node.receive("080#");
  EXPECT_EQ("RPDO 1: receiving\nRPDO 2: receiving\n", console.str());
}

TEST_F(DemoCommunication, SetPointIsExpectedEveryHalfSecond) {
  node.cycle();
  node.receive("205#20 03");
  console.str("");
  node.run(Demo::RECEPTION_TIME_MS);
  EXPECT_EQ("", console.str());
  node.run(1);
  EXPECT_EQ("RPDO 1: reception timed out\n", console.str());
  node.receive("205#20 03");
  EXPECT_EQ("RPDO 1: reception timed out\nRPDO 1: receiving again\n", console.str());
}

TEST_F(DemoCommunication, MachineGoesOnWithTheLastSetPointAfterATimeOut) {
  node.cycle();
  node.receive("205#20 03");
  node.run(Demo::RECEPTION_TIME_MS + 1);
  settle();
  EXPECT_NEAR(read(Demo::SUB_TEMPERATURE), 800, Demo::RIPPLE);
}

TEST(DemoApplicationClock, StepsGoOnAcrossTheWrapOfTheClock) {
  KQ::KQDEI::instance()->clear();
  test::TestClock clock(0xFFFFFFF0U);
  std::ostringstream console;
  panel::DemoApplication application(*KQ::KQDEI::instance(), console, std::nullopt);
  clock.advance(Demo::STEP_MS);
  application.update(KQ::KQTick::getTickCount());
  int value = 0;
  KQ::KQDEI::instance()->getVariableValue(Demo::MACHINE, Demo::SUB_ANALOGUE_INPUT, &value);
  EXPECT_EQ(Demo::ANALOGUE_STEP, value);
}

}  // namespace
