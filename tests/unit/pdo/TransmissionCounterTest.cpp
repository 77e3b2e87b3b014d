// Covers: the action that counts the transmissions of a TPDO in an object.
//
// | subject       | functional                                                    | robustness                        |
// |---------------|---------------------------------------------------------------|-----------------------------------|
// | what counts   | every way in which a TPDO goes out                            | refused and inhibited ones do not |
// | value         | one more each time                                            | highest value, negative values    |
// | counter       | dictionary object, variable of the node, of the application   | missing, read-only, at its limit  |
// | other actions | no effect                                                     |                                   |
// | mapped        | into another TPDO, into its own, two into each other, a ring, | bounded frames, no deadlock       |
// |               | shared by two and by eight; on change, by timer, on SYNC      |                                   |
// | listener      | changes another variable of the same TPDO, with and without   |                                   |
// |               | inhibit time                                                  |                                   |
// | parameter     | of its own PDO, of another one, mapped or not                 | the PDO is rebuilt meanwhile      |

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "KQVariableEventDispatcher.h"
#include "NamedCase.h"
#include "PDOFixture.h"
#include "ReadableName.h"
#include "SignalRecorder.h"

using namespace KQ;
using test::Frames;

namespace {

constexpr int COUNT_TRANSMISSIONS = 2;

class TransmissionCounter : public test::PDOFixture {
protected:
  void count(int number, unsigned int key, int action = COUNT_TRANSMISSIONS) {
    ASSERT_EQ(KQ_DONE, node.canopen().setPDOAction(number, PDO_TYPE_TRANSMIT, action, key));
  }

  // Each transmission needs a new value.
  void changeValue() { change(0x2001, 1, ++value); }

  int value = 0;
};

// ---- what counts

class CountedTPDO : public TransmissionCounter {
protected:
  void startWith(unsigned char transmissionType, unsigned short eventTimer = 0, unsigned short inhibitTime = 0) {
    addVariable(0x2001, 1, 8);
    addTransmitPDO(0, {0x185, transmissionType, eventTimer, inhibitTime}, {0x20010108});
    count(0, 0x10060000);
    start();
  }
};

TEST_F(CountedTPDO, FirstPassCounts) {
  startWith(255);
  node.cycle();
  EXPECT_EQ(1U, read(0x1006, 0));
}

TEST_F(CountedTPDO, ChangesCount) {
  startWith(255);
  node.cycle();
  changeValue();
  changeValue();
  EXPECT_EQ(3U, read(0x1006, 0));
}

TEST_F(CountedTPDO, EventTimerCounts) {
  startWith(255, 100);
  node.cycle();
  node.run(200);
  EXPECT_EQ(3U, read(0x1006, 0));
}

TEST_F(CountedTPDO, SyncCounts) {
  startWith(1);
  node.receive("080#");
  EXPECT_EQ(2U, read(0x1006, 0));
  node.receive("080#");
  EXPECT_EQ(3U, read(0x1006, 0));
}

TEST_F(CountedTPDO, InhibitedTransmissionCountsWhenItGoesOut) {
  startWith(255, 0, 100);
  node.cycle();
  changeValue();
  EXPECT_EQ(1U, read(0x1006, 0));
  node.run(100);
  EXPECT_EQ(2U, read(0x1006, 0));
}

TEST_F(CountedTPDO, RefusedFrameDoesNotCount) {
  startWith(255);
  node.port().refuse(26, 24);
  node.cycle();
  EXPECT_EQ(0U, read(0x1006, 0));
  node.cycle();
  EXPECT_EQ(1U, read(0x1006, 0));
}

TEST_F(TransmissionCounter, CountsItsOwnTPDOOnly) {
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  count(1, 0x10060000);
  startAndSettle();
  EXPECT_EQ(1U, read(0x1006, 0));
}

class OtherAction : public CountedTPDO, public testing::WithParamInterface<int> {};

TEST_P(OtherAction, HasNoEffect) {
  addTransmitPDO(0, {0x185}, {});
  count(0, 0x10060000, GetParam());
  startAndSettle();
  EXPECT_EQ(0U, read(0x1006, 0));
}

INSTANTIATE_TEST_SUITE_P(Codes, OtherAction, testing::Values(-1, 0, 1, 3, 0x7FFFFFFF), test::ReadableName());

// ---- value

struct CountCase : test::NamedCase {
  unsigned int before;
  unsigned int after;
};

class CountedValue : public TransmissionCounter, public testing::WithParamInterface<CountCase> {};

TEST_P(CountedValue, IsOneMore) {
  addTransmitPDO(0, {0x185}, {});
  count(0, 0x10060000);
  write(0x1006, 0, GetParam().before);
  startAndSettle();
  EXPECT_EQ(GetParam().after, read(0x1006, 0));
}

INSTANTIATE_TEST_SUITE_P(Of32Bits, CountedValue,
                         testing::Values(CountCase{{"Zero"}, 0, 1},
                                         CountCase{{"BelowTheHighest"}, 0x7FFFFFFE, 0x7FFFFFFF},
                                         CountCase{{"Highest"}, 0x7FFFFFFF, 1},
                                         CountCase{{"Lowest"}, 0x80000000, 0x80000001},
                                         CountCase{{"MinusOne"}, 0xFFFFFFFF, 0}),
                         test::caseName<CountCase>);

// ---- counter

TEST_F(TransmissionCounter, MayBeAVariableOfTheNode) {
  addOwnVariable(0x2002, 1, 32);
  addTransmitPDO(0, {0x185}, {});
  count(0, 0x20020001);
  startAndSettle();
  EXPECT_EQ(1, stored(0x2002, 1));
}

TEST_F(TransmissionCounter, MayBeAVariableOfTheApplication) {
  addVariable(0x2002, 1, 32);
  addTransmitPDO(0, {0x185}, {});
  count(0, 0x20020001);
  startAndSettle();
  EXPECT_EQ(1, stored(0x2002, 1));
}

TEST_F(TransmissionCounter, ThatIsMissingIsNoHarm) {
  addTransmitPDO(0, {0x185}, {});
  count(0, 0x21000001);
  start();
  EXPECT_EQ(Frames{"185#"}, node.cycle());
}

TEST_F(TransmissionCounter, ThatIsReadOnlyStays) {
  addVariable(0x2002, 1, 32);
  node.dictionary().getSubentry(0x2002, 1)->accessType = ACCESS_RO;
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  count(0, 0x20020001);
  count(1, 0x10000000);
  start();
  const unsigned int deviceType = read(0x1000, 0);
  EXPECT_EQ((Frames{"185#", "186#"}), node.cycle());
  EXPECT_EQ(0, stored(0x2002, 1));
  EXPECT_EQ(deviceType, read(0x1000, 0));
}

TEST_F(TransmissionCounter, StaysAtTheLimitOfItsVariable) {
  addOwnVariable(0x2002, 1, 1);
  addTransmitPDO(0, {0x185, 255, 10}, {});
  count(0, 0x20020001);
  startAndSettle();
  node.run(50);
  EXPECT_EQ(1, stored(0x2002, 1));
}

// ---- mapped

struct CounterCase : test::NamedCase {
  unsigned int key;
};

class MappedCounter : public TransmissionCounter, public testing::WithParamInterface<CounterCase> {
protected:
  MappedCounter() {
    addVariable(0x2001, 1, 8);
    addOwnVariable(0x2002, 1, 32);
    addVariable(0x2003, 1, 32);
  }

  const unsigned int key = GetParam().key;
  const unsigned int entry = (key & 0xFFFF0000U) | (key & 0xFFU) << 8 | 8U;
};

TEST_P(MappedCounter, LeavesInAnotherTPDO) {
  addTransmitPDO(0, {0x185}, {0x20010108});
  addTransmitPDO(1, {0x186}, {entry});
  count(0, key);
  start();
  EXPECT_EQ((Frames{"185#00", "186#01", "186#01"}), node.cycle());  // the second one has its first pass, too
  changeValue();
  EXPECT_EQ((Frames{"185#01", "186#02"}), sent());
  EXPECT_EQ(Frames{}, node.run(50));
}

TEST_P(MappedCounter, InItsOwnTPDODoesNotSetItOffAgain) {
  addTransmitPDO(0, {0x185}, {0x20010108, entry});
  count(0, key);
  start();
  EXPECT_EQ(Frames{"185#00 00"}, node.cycle());
  changeValue();
  EXPECT_EQ(Frames{"185#01 01"}, sent());
  changeValue();
  EXPECT_EQ(Frames{"185#02 02"}, sent());
  EXPECT_EQ(Frames{}, node.run(50));
}

TEST_P(MappedCounter, InItsOwnTPDOWithInhibitTimeGoesOnAtItsPace) {
  addTransmitPDO(0, {0x185, 255, 0, 10}, {entry});
  count(0, key);
  start();
  EXPECT_EQ(Frames{"185#00"}, node.run(1));
  EXPECT_EQ(Frames{}, node.run(9));
  EXPECT_EQ(Frames{"185#01"}, node.run(1));
  EXPECT_EQ((Frames{"185#02", "185#03"}), node.run(20));
}

TEST_P(MappedCounter, InItsOwnTPDOWithEventTimerGoesOutOncePerPeriod) {
  addTransmitPDO(0, {0x185, 255, 10}, {entry});
  count(0, key);
  startAndSettle();
  EXPECT_EQ((Frames{"185#01", "185#02", "185#03"}), node.run(30));
}

TEST_P(MappedCounter, InItsOwnSynchronousTPDOGoesOutOncePerTurn) {
  addTransmitPDO(0, {0x185, 2}, {entry});
  count(0, key);
  start();
  EXPECT_EQ(Frames{"185#00"}, node.receive("080#"));
  EXPECT_EQ(Frames{"185#01"}, node.receive("080#"));
  EXPECT_EQ(Frames{}, node.receive("080#"));
  EXPECT_EQ(Frames{"185#02"}, node.receive("080#"));
}

TEST_P(MappedCounter, OfAnAcyclicTPDOQueuesAtMostItsNextTransmission) {
  addTransmitPDO(0, {0x185, 0}, {entry});
  count(0, key);
  start();
  for (int i = 0; i < 5; ++i) {
    EXPECT_LE(node.receive("080#").size(), 1U);
    EXPECT_EQ(Frames{}, node.cycle());
  }
}

TEST_P(MappedCounter, OfAnInvalidValueStillCounts) {
  addTransmitPDO(0, {0x185}, {entry});
  count(0, key);
  KQDEI::instance()->markValueAsInvalid(static_cast<unsigned short>(key >> 16), static_cast<unsigned short>(key & 0xFF),
                                        true);
  startAndSettle();
  EXPECT_EQ(1U, read(static_cast<unsigned short>(key >> 16), static_cast<unsigned char>(key & 0xFF)));
}

INSTANTIATE_TEST_SUITE_P(Where, MappedCounter,
                         testing::Values(CounterCase{{"InTheDictionary"}, 0x10060000},
                                         CounterCase{{"VariableOfTheNode"}, 0x20020001},
                                         CounterCase{{"VariableOfTheApplication"}, 0x20030001}),
                         test::caseName<CounterCase>);

// Each counts into an object that the other one maps: one change may send each of them once.
TEST_F(TransmissionCounter, TwoTPDOsThatMapEachOthersCountersComeToRest) {
  addVariables(3, 8);
  addTransmitPDO(0, {0x185}, {0x20010108, 0x20010308});
  addTransmitPDO(1, {0x186}, {0x20010208});
  count(0, 0x20010002);
  count(1, 0x20010003);
  startAndSettle();
  node.cycle();
  changeValue();
  const Frames frames = sent();
  EXPECT_GE(frames.size(), 2U);
  EXPECT_LE(frames.size(), 4U);
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST_F(TransmissionCounter, RingOfTPDOsComesToRest) {
  constexpr unsigned char COUNT = 8;
  addVariables(COUNT, 8);
  for (unsigned char i = 0; i < COUNT; ++i) {
    addTransmitPDO(i, {0x185U + i}, {0x20010008U | static_cast<unsigned int>(i + 1) << 8});
    count(i, 0x20010000U | static_cast<unsigned int>((i + 1) % COUNT + 1));
  }
  startAndSettle();
  node.cycle();
  changeValue();
  change(0x2001, 1, 77);
  EXPECT_LE(sent().size(), 4U * COUNT);
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST_F(TransmissionCounter, SharedByTwoTPDOsThatMapItComesToRest) {
  addVariables(2, 8);
  addTransmitPDO(0, {0x185}, {0x20010108, 0x20010208});
  addTransmitPDO(1, {0x186}, {0x20010208});
  count(0, 0x20010002);
  count(1, 0x20010002);
  startAndSettle();
  node.cycle();
  changeValue();
  EXPECT_LE(sent().size(), 8U);
  EXPECT_EQ(Frames{}, node.run(100));
}

class SharedCounter : public TransmissionCounter {
protected:
  // The TPDOs 0x185 and so on, all of which map the counter 0x2001 sub-index 2 and count in it.
  void addSharers(unsigned char sharers) {
    addVariables(2, 8);
    for (unsigned char i = 0; i < sharers; ++i) {
      addTransmitPDO(i, {0x185U + i}, i == 0 ? test::Mapping{0x20010108, 0x20010208} : test::Mapping{0x20010208});
      count(i, 0x20010002);
    }
  }
};

TEST_F(SharedCounter, SendsEachOfItsTPDOsOnceForOneChange) {
  addSharers(8);
  startAndSettle();
  node.run(20);
  changeValue();
  EXPECT_EQ(8U, sent().size());
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST_F(SharedCounter, LeavesWithItsLastValueInATPDOThatOnlyMapsIt) {
  addSharers(4);
  addTransmitPDO(4, {0x195}, {0x20010208});
  startAndSettle();
  node.run(20);
  changeValue();
  const Frames frames = sent();
  char last[16];
  std::snprintf(last, sizeof last, "195#%02X", static_cast<unsigned int>(stored(0x2001, 2)));
  EXPECT_NE(frames.end(), std::find(frames.begin(), frames.end(), last)) << last;
  EXPECT_LE(frames.size(), 4U + 4U);
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST_F(SharedCounter, SetsItsTPDOsOffAnewWithTheNextChange) {
  addSharers(3);
  startAndSettle();
  node.run(20);
  changeValue();
  sent();
  changeValue();
  EXPECT_EQ(3U, sent().size());
}

TEST_F(TransmissionCounter, ManyTPDOsThatMapAllOfEachOthersCountersComeToRest) {
  constexpr unsigned char COUNT = 7;
  addVariables(COUNT + 1, 8);
  test::Mapping all;
  for (unsigned int i = 1; i <= COUNT + 1U; ++i) {
    all.push_back(0x20010008U | i << 8);
  }
  for (unsigned char i = 0; i < COUNT; ++i) {
    addTransmitPDO(i, {0x185U + i}, all);
    count(i, 0x20010002U + i);
  }
  startAndSettle();
  node.run(20);
  changeValue();
  EXPECT_LE(sent().size(), static_cast<std::size_t>(COUNT) * COUNT);
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST_F(TransmissionCounter, ListenerThatChangesWhatManyCountedTPDOsMapIsBounded) {
  constexpr unsigned char COUNT = 8;
  addVariables(3, 8);
  for (unsigned char i = 0; i < COUNT; ++i) {
    addTransmitPDO(i, {0x185U + i}, {i == 0 ? 0x20010108U : 0x20010308U});
    count(i, 0x20010002);
  }
  int changes = 0;
  test::SignalRecorder listener([&changes] { change(0x2001, 3, ++changes & 0x7F); });
  startAndSettle();
  node.run(20);
  KQVariableEventDispatcher::instance()->addMapping(0x2001, 2, &listener);
  changeValue();
  EXPECT_EQ(COUNT, sent().size());
}

class ListenedCounter : public TransmissionCounter {
protected:
  void addCountedPDO(unsigned char transmissionType, unsigned short inhibitTime = 0) {
    addVariables(3, 8);
    addTransmitPDO(0, {0x185, transmissionType, 0, inhibitTime}, {0x20010108, 0x20010308});
    count(0, 0x20010002);
    KQVariableEventDispatcher::instance()->addMapping(0x2001, 2, &listener);
  }

  bool isListening = false;
  test::SignalRecorder listener{[this] {
    if (isListening) {
      change(0x2001, 3, 77);
    }
  }};
};

class CounterListenedTo : public ListenedCounter, public testing::WithParamInterface<unsigned short> {};

TEST_P(CounterListenedTo, ChangeOfAnotherVariableOfTheSameTPDOGoesOutLater) {
  addCountedPDO(255, GetParam());
  startAndSettle();
  node.run(20);
  isListening = true;
  changeValue();
  EXPECT_EQ(Frames{"185#01 00"}, sent());
  EXPECT_EQ(Frames{"185#01 4D"}, node.run(20));
  EXPECT_EQ(Frames{}, node.run(100));
}

INSTANTIATE_TEST_SUITE_P(InhibitTime, CounterListenedTo, testing::Values(0, 10), test::ReadableName());

TEST_F(ListenedCounter, ChangeOfAnotherVariableDuringASendPassGoesOutInTheNextOne) {
  addCountedPDO(255);
  start();
  isListening = true;
  EXPECT_EQ(Frames{"185#00 00"}, node.cycle());
  EXPECT_EQ(Frames{"185#00 4D"}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(100));
}

TEST_F(ListenedCounter, ChangeOfAnotherVariableDuringASyncGoesOutWithTheNextOne) {
  addCountedPDO(0);
  start();
  isListening = true;
  EXPECT_EQ(Frames{"185#00 00"}, node.receive("080#"));
  EXPECT_EQ(Frames{"185#00 4D"}, node.receive("080#"));
  EXPECT_EQ(Frames{}, node.receive("080#"));
}

// ---- parameter

TEST_F(TransmissionCounter, ThatIsAParameterOfItsOwnPDORebuildsIt) {
  addTransmitPDO(0, {0x185, 255, 1000}, {0x10060008});
  count(0, 0x18000005);
  start();
  EXPECT_EQ(Frames{"185#00"}, node.cycle());
  EXPECT_EQ(1001U, read(0x1800, 5));
  // Built anew, it has its first pass again, and so on: at most one frame a pass.
  for (int i = 0; i < 20; ++i) {
    EXPECT_LE(node.run(1).size(), 1U);
  }
}

TEST_F(TransmissionCounter, ThatIsAParameterOfAnotherPDORebuildsThat) {
  addTransmitPDO(0, {0x185}, {0x10060008});
  addTransmitPDO(1, {0x186, 255, 1000}, {0x10060008});
  count(0, 0x18010005);
  startAndSettle();
  node.run(2);
  EXPECT_EQ(KQ_OK, write(0x1006, 0, 1));
  const Frames frames = sent();
  EXPECT_EQ(1, std::count(frames.begin(), frames.end(), "185#01"));
  EXPECT_LE(frames.size(), 2U);
  EXPECT_EQ(1002U, read(0x1801, 5));
}

// The counter's own change sends nothing more, but the parameter rebuilds a PDO in the middle of the walk.
TEST_F(TransmissionCounter, ThatIsAMappedParameterOfAnotherPDOGoesOutOncePerChange) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108, 0x18010510});
  addTransmitPDO(1, {0x186, 255, 1000}, {0x20010108});
  count(0, 0x18010005);
  startAndSettle();
  changeValue();
  EXPECT_EQ((Frames{"185#01 E9 03"}), sent());
  EXPECT_EQ(Frames{"186#01"}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(10));
}

TEST_F(TransmissionCounter, ThatIsAParameterOfATPDOStillToComeLeavesTheOthersTheirTurn) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108});
  addTransmitPDO(1, {0x186}, {0x20010108});
  addTransmitPDO(2, {0x187}, {0x20010108});
  count(0, 0x18010005);
  startAndSettle();
  node.cycle();
  changeValue();
  EXPECT_EQ((Frames{"185#01", "187#01"}), sent());
  EXPECT_EQ(Frames{"186#01"}, node.cycle());
}

TEST_F(TransmissionCounter, TwoThatAreMappedParametersOfEachOthersPDOsComeToRest) {
  addVariable(0x2001, 1, 8);
  addTransmitPDO(0, {0x185}, {0x20010108, 0x18010510});
  addTransmitPDO(1, {0x186}, {0x20010108, 0x18000510, 0x18010510});
  count(0, 0x18010005);
  count(1, 0x18000005);
  startAndSettle();
  node.run(1);
  changeValue();
  EXPECT_LE(sent().size(), 6U);
  for (int i = 0; i < 20; ++i) {
    EXPECT_LE(node.run(1).size(), 6U);  // each is built anew by the other one, and has its first pass again
  }
}

TEST_F(TransmissionCounter, ThatIsACOBIDInvalidatesNothingByAccident) {
  addTransmitPDO(0, {0x185}, {});
  count(0, 0x18000001);  // a valid COB-ID takes no other one
  startAndSettle();
  EXPECT_EQ(0x40000185U, read(0x1800, 1));
}

}  // namespace
