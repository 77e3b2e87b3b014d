// Covers: what the runtime configures of the node's communication. (The objects of PDOs and what becomes of a refused
// mapping: PDODescriptionTest.cpp)
//
// | subject                 | functional                                  | robustness                           |
// |-------------------------|---------------------------------------------|--------------------------------------|
// | addSDOChannel           | both kinds, every sub-entry                 | 129th, gap, other types, before init |
// | setSDOServerID          | stored, sub-index & 0xFF                    | missing object, before init          |
// | SDO listener, time-out  | listener is told, time-out is kept          | listener before init                 |
// | addPDO                  | defaults of the two times                   |                                      |
// | addPDOMapping           | every order of directions; ID of a variable | rights other than rw                 |
// | heartbeat producer time | read back, before and after init            | too long, before init                |
// | addHeartbeatConsumer    | first free place, update, 127, at once      | 128th, node 0, before init           |
// | listeners               | heartbeat of all, of one node, state; texts | before init                          |
// | log lines               | whatever the stream is set to               |                                      |

#include "ChangedStreamFormat.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQSDOHandler.h"
#include "KQVariable.h"
#include "NamedCase.h"
#include "ReadableName.h"
#include "SignalRecorder.h"
#include "TestNode.h"

namespace {

using test::Frames;

class Configuration : public testing::Test {
protected:
  Configuration() {
    node.init();
    node.output.takeOutput();
  }

  KQ::KQCANopen& canopen() { return node.canopen(); }
  int addServer() { return canopen().addSDOChannel(0x612, 0x592, 9, KQ::SDO_CHANNEL_SERVER, ""); }
  int addClient() { return canopen().addSDOChannel(0x612, 0x592, 9, KQ::SDO_CHANNEL_CLIENT, "remote"); }
  std::string nameOf(unsigned short index) {
    const KQ::ObjectDictionaryEntry* const entry = node.dictionary().getEntry(index);
    return entry != nullptr ? std::string(entry->name) : "no entry";
  }
  int valueOf(unsigned short index, unsigned char subIndex) {
    int value = -1;
    EXPECT_EQ(KQ::KQ_OK, node.dictionary().getValue(index, subIndex, value));
    return value;
  }

  test::TestNode node;
};

// A node before init().
class EarlyConfiguration : public testing::Test {
protected:
  KQ::KQCANopen& canopen() { return node.canopen(); }

  test::TestNode node;
};

// ---- addSDOChannel

TEST_F(EarlyConfiguration, SDOChannelGives10) {
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().addSDOChannel(0x612, 0x592, 9, KQ::SDO_CHANNEL_SERVER, ""));
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().addSDOChannel(0x612, 0x592, 9, KQ::SDO_CHANNEL_CLIENT, "remote"));
}

TEST_F(Configuration, FirstServerChannelFollowsTheDefaultOne) {
  EXPECT_EQ(KQ::KQ_OK, addServer());
  EXPECT_EQ("Server SDO parameter", nameOf(0x1201));
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(0x1201)->objectType);
  EXPECT_EQ("Server SDO Parameter", nameOf(0x1200));
}

TEST_F(Configuration, FirstClientChannelIs1280) {
  EXPECT_EQ(KQ::KQ_OK, addClient());
  EXPECT_EQ("Client SDO parameter", nameOf(0x1280));
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(0x1280)->objectType);
}

class OtherChannelType : public Configuration, public testing::WithParamInterface<int> {};

TEST_P(OtherChannelType, CountsAsClient) {
  EXPECT_EQ(KQ::KQ_OK,
            canopen().addSDOChannel(0x612, 0x592, 9, static_cast<KQ::KQCANopenSDOChannelType>(GetParam()), "remote"));
  EXPECT_EQ("Client SDO parameter", nameOf(0x1280));
  EXPECT_FALSE(node.dictionary().objectExists(0x1201));
}

INSTANTIATE_TEST_SUITE_P(Types, OtherChannelType, testing::Values(-1, 2, 255), test::ReadableName());

struct ChannelSubEntryRow : test::NamedCase {
  unsigned char subIndex;
  const char* title;
  KQ::KQCANopenAccessType access;
  KQ::KQCANopenDataType dataType;
  int value;
};

class SDOChannelSubEntry : public Configuration, public testing::WithParamInterface<ChannelSubEntryRow> {
protected:
  void expectSubEntry(unsigned short index) {
    const KQ::ObjectDictionarySubEntry* const entry = node.dictionary().getSubentry(index, GetParam().subIndex);
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(GetParam().title, entry->name);
    EXPECT_EQ(GetParam().access, entry->accessType);
    EXPECT_EQ(GetParam().dataType, entry->dataType);
    EXPECT_EQ(GetParam().value, entry->value);
    EXPECT_EQ(GetParam().value, entry->defaultValue);
    EXPECT_EQ("", entry->defaultValueString);
    EXPECT_FALSE(entry->pdoMappable);
    EXPECT_EQ(0U, entry->sdoServerID);
    EXPECT_EQ(4U, node.dictionary().getEntry(index)->subEntries.size());
  }
};

TEST_P(SDOChannelSubEntry, OfAServerChannel) {
  addServer();
  expectSubEntry(0x1201);
}

TEST_P(SDOChannelSubEntry, OfAClientChannel) {
  addClient();
  expectSubEntry(0x1280);
}

// Sub-index 0 of a record follows the highest sub-index.
const ChannelSubEntryRow CHANNEL_SUB_ENTRY_ROWS[] = {
    {{"Count"}, 0, "number of entries", KQ::ACCESS_RO, KQ::DATA_TYPE_UNSIGNED8, 3},
    {{"Request"}, 1, "COB-ID Client -> Server", KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, 0x612},
    {{"Response"}, 2, "COB-ID Server -> Client", KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, 0x592},
    {{"NodeID"}, 3, "Node-ID", KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED8, 9},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOChannelSubEntry, testing::ValuesIn(CHANNEL_SUB_ENTRY_ROWS),
                         test::caseName<ChannelSubEntryRow>);

TEST_F(Configuration, DisabledSDOChannelKeepsBit31) {
  canopen().addSDOChannel(0x80000612, 0x80000592, 9, KQ::SDO_CHANNEL_CLIENT, "remote");
  EXPECT_EQ(static_cast<int>(0x80000612), valueOf(0x1280, 1));
  EXPECT_EQ(static_cast<int>(0x80000592), valueOf(0x1280, 2));
}

TEST_F(Configuration, ServerChannelsEndAt127F) {
  for (int i = 0; i < 127; ++i) {
    ASSERT_EQ(KQ::KQ_OK, addServer());  // with the default channel they are 128
  }
  EXPECT_TRUE(node.dictionary().objectExists(0x127F));
  EXPECT_EQ(KQ::KQ_NO_FREE_INDEX, addServer());
  EXPECT_FALSE(node.dictionary().objectExists(0x1280));
}

TEST_F(Configuration, ClientChannelsEndAt12FF) {
  for (int i = 0; i < 128; ++i) {
    ASSERT_EQ(KQ::KQ_OK, addClient());
  }
  EXPECT_TRUE(node.dictionary().objectExists(0x12FF));
  EXPECT_EQ(KQ::KQ_NO_FREE_INDEX, addClient());
  EXPECT_FALSE(node.dictionary().objectExists(0x1300));
}

TEST_F(Configuration, RefusedClientChannelLeavesNoName) {
  for (int i = 0; i < 128; ++i) {
    addClient();
  }
  KQ::KQVariable variable(0x2001, 1, "number");
  variable.setChannelName("refused");
  ASSERT_EQ(KQ::KQ_OK, canopen().addVariable(&variable));
  EXPECT_EQ(KQ::KQ_NO_FREE_INDEX, canopen().addSDOChannel(0x613, 0x593, 9, KQ::SDO_CHANNEL_CLIENT, "refused"));
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0x2001, 1, 0x593));
}

TEST_F(Configuration, ServerAndClientChannelsAreCountedApart) {
  for (int i = 0; i < 128; ++i) {
    addClient();
  }
  EXPECT_EQ(KQ::KQ_OK, addServer());
  for (int i = 0; i < 126; ++i) {
    EXPECT_EQ(KQ::KQ_OK, addServer());
  }
  EXPECT_EQ(KQ::KQ_NO_FREE_INDEX, addServer());
}

TEST_F(Configuration, SDOChannelFillsTheFirstGap) {
  node.dictionary().addEntry(0x1280, KQ::OBJECT_TYPE_RECORD, "taken");
  node.dictionary().addEntry(0x1282, KQ::OBJECT_TYPE_RECORD, "taken");
  addClient();
  addClient();
  EXPECT_EQ("Client SDO parameter", nameOf(0x1281));
  EXPECT_EQ("taken", nameOf(0x1282));
  EXPECT_EQ("Client SDO parameter", nameOf(0x1283));
}

TEST_F(Configuration, AddedServerChannelIsServedFromTheFirstCycleOn) {
  addServer();
  EXPECT_EQ(Frames{}, node.receive("612#40 18 10 01 00 00 00 00"));
  node.cycle();
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, node.receive("612#40 18 10 01 00 00 00 00"));
}

// ---- SDO server IDs, time-out and listener

TEST_F(EarlyConfiguration, SDOServerIDGives10) {
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().setSDOServerID(0x2001, 1, 0x606));
}

TEST_F(Configuration, SDOServerIDOfAMissingObjectGives10) {
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().setSDOServerID(0x2001, 1, 0x606));
}

class SDOServerID : public Configuration, public testing::WithParamInterface<unsigned short> {};

TEST_P(SDOServerID, IsThatOfTheLowByteOfTheSubIndex) {
  node.dictionary().addEntry(0x2001, KQ::OBJECT_TYPE_RECORD, "record");
  node.dictionary().addSubentry(0x2001, 3, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED8, "", false, 0, "", 0);
  EXPECT_EQ(KQ::KQ_OK, canopen().setSDOServerID(0x2001, GetParam(), 0x606));
  EXPECT_EQ(0x606U, node.dictionary().getSubentry(0x2001, 3)->sdoServerID);
}

INSTANTIATE_TEST_SUITE_P(SubIndexes, SDOServerID, testing::Values(3, 0x103, 0xFF03), test::ReadableName());

TEST_F(EarlyConfiguration, SDOEventListenerGives10) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().setSDOEventListener(&listener));
}

TEST_F(Configuration, SDOEventListenerIsTold) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ::KQ_OK, canopen().setSDOEventListener(&listener));
  node.cycle();
  node.receive("605#80 18 10 01 00 00 00 08");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(1103, listener.signals[0].getCode());
}

TEST_F(Configuration, LaterSDOEventListenerReplacesTheEarlier) {
  test::SignalRecorder earlier;
  test::SignalRecorder later;
  canopen().setSDOEventListener(&earlier);
  canopen().setSDOEventListener(&later);
  node.cycle();
  node.receive("605#80 18 10 01 00 00 00 08");
  EXPECT_EQ(0U, earlier.signals.size());
  EXPECT_EQ(1U, later.signals.size());
}

TEST_F(EarlyConfiguration, SDOTimeoutIs100AndCanBeSet) {
  EXPECT_EQ(100U, canopen().getSDOTimeout());
  canopen().setSDOTimeout(2500);
  node.init();
  EXPECT_EQ(2500U, canopen().getSDOTimeout());
}

// ---- PDOs

TEST_F(Configuration, DefaultOfTheEventTimerIsTheTimeGiven) {
  canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 500, 0, 1, true, nullptr);
  canopen().addPDO(KQ::PDO_TYPE_RECEIVE, 0, 0x205, 600, 0, 1, true, nullptr);
  EXPECT_EQ(500, node.dictionary().getSubentry(0x1800, 5)->defaultValue);
  EXPECT_EQ(600, node.dictionary().getSubentry(0x1400, 5)->defaultValue);
}

TEST_F(Configuration, DefaultOfTheInhibitTimeIsTheTimeGivenAlsoWhereItDoesNotCount) {
  canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 0, 100, 1, true, nullptr);
  canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 1, 0x285, 0, 200, 254, true, nullptr);
  EXPECT_EQ(100, node.dictionary().getSubentry(0x1800, 3)->defaultValue);
  EXPECT_EQ(200, node.dictionary().getSubentry(0x1801, 3)->defaultValue);
}

// The directions in which an object is mapped, one after the other, and its access right then.
struct DirectionsRow : test::NamedCase {
  std::vector<KQ::KQCANopenPDOType> directions;
  KQ::KQCANopenAccessType access;
};

class MappedDirections : public Configuration, public testing::WithParamInterface<DirectionsRow> {
protected:
  // @return the access right of an object that had access before it was mapped in all directions of the row
  KQ::KQCANopenAccessType accessAfterMapping(KQ::KQCANopenAccessType access) {
    node.dictionary().addEntry(0x2001, KQ::OBJECT_TYPE_VAR, "object");
    node.dictionary().addSubentry(0x2001, 0, access, KQ::DATA_TYPE_UNSIGNED8, "", true, 0, "", 0);
    for (const KQ::KQCANopenPDOType direction : GetParam().directions) {
      EXPECT_EQ(KQ::KQ_OK, canopen().addPDOMapping(0, direction, 0x2001, 0, 8));
    }
    return node.dictionary().getSubentry(0x2001, 0)->accessType;
  }
};

TEST_P(MappedDirections, ShowInTheAccessRight) {
  EXPECT_EQ(GetParam().access, accessAfterMapping(KQ::ACCESS_RW));
}

TEST_P(MappedDirections, LeaveAReadOnlyObjectReadOnly) {
  EXPECT_EQ(KQ::ACCESS_RO, accessAfterMapping(KQ::ACCESS_RO));
}

constexpr KQ::KQCANopenPDOType T = KQ::PDO_TYPE_TRANSMIT;
constexpr KQ::KQCANopenPDOType R = KQ::PDO_TYPE_RECEIVE;

const DirectionsRow DIRECTIONS_ROWS[] = {
    {{"T"}, {T}, KQ::ACCESS_RWR},
    {{"TT"}, {T, T}, KQ::ACCESS_RWR},
    {{"TR"}, {T, R}, KQ::ACCESS_RW},
    {{"TRT"}, {T, R, T}, KQ::ACCESS_RW},
    {{"TRR"}, {T, R, R}, KQ::ACCESS_RW},
    {{"TTR"}, {T, T, R}, KQ::ACCESS_RW},
    {{"R"}, {R}, KQ::ACCESS_RWW},
    {{"RR"}, {R, R}, KQ::ACCESS_RWW},
    {{"RT"}, {R, T}, KQ::ACCESS_RW},
    {{"RTR"}, {R, T, R}, KQ::ACCESS_RW},
    {{"RTT"}, {R, T, T}, KQ::ACCESS_RW},
    {{"RRT"}, {R, R, T}, KQ::ACCESS_RW},
    {{"TRTR"}, {T, R, T, R}, KQ::ACCESS_RW},
};

INSTANTIATE_TEST_SUITE_P(Orders, MappedDirections, testing::ValuesIn(DIRECTIONS_ROWS), test::caseName<DirectionsRow>);

// A data type is named by 16 bits of sub-index, as the ID of a variable; the mapped object has 8.
TEST_F(Configuration, VariableOfADummyMappingHasSixteenBitsOfSubIndex) {
  const KQ::KQVariable variable(0x0005, 0x100, "type", KQ::STORAGE_TYPE_INTEGER, 16, false);
  ASSERT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->addVariable(&variable));
  EXPECT_EQ(KQ::KQ_OK, canopen().addPDOMapping(0, T, 0x0005, 0x100, 16));
  EXPECT_EQ(0x00060010, valueOf(0x1A00, 1));
  EXPECT_EQ(KQ::KQ_OK, canopen().addPDOMapping(0, T, 0x0005, 0, 8));
  EXPECT_EQ(0x00050008, valueOf(0x1A00, 2));
}

// ---- heartbeat producer

TEST_F(EarlyConfiguration, HeartbeatTimeIs0) {
  canopen().setHeartbeatProducerTime(500);
  EXPECT_EQ(0, canopen().getHeartbeatTime());
}

TEST_F(EarlyConfiguration, HeartbeatProducerTimeReachesTheObjectInInit) {
  canopen().setHeartbeatProducerTime(500);
  node.init();
  EXPECT_EQ(500, canopen().getHeartbeatTime());
}

class HeartbeatProducerTime : public Configuration, public testing::WithParamInterface<int> {};

TEST_P(HeartbeatProducerTime, IsWrittenIntoItsObject) {
  canopen().setHeartbeatProducerTime(GetParam());
  EXPECT_EQ(GetParam(), valueOf(0x1017, 0));
  EXPECT_EQ(GetParam(), canopen().getHeartbeatTime());
}

INSTANTIATE_TEST_SUITE_P(Times, HeartbeatProducerTime, testing::Values(0, 1, 1000, 65535), test::ReadableName());

TEST_F(Configuration, TooLongHeartbeatProducerTimeLeavesTheObject) {
  canopen().setHeartbeatProducerTime(500);
  canopen().setHeartbeatProducerTime(65536);
  EXPECT_EQ(500, canopen().getHeartbeatTime());
}

TEST_F(Configuration, HeartbeatTimeIsThatOfTheObject) {
  node.dictionary().setValue(0x1017, 0, 321, true);
  EXPECT_EQ(321, canopen().getHeartbeatTime());
}

TEST_F(Configuration, UnreadableHeartbeatTimeIs0) {
  canopen().setHeartbeatProducerTime(500);
  node.dictionary().getSubentry(0x1017, 0)->accessType = KQ::ACCESS_WO;
  EXPECT_EQ(0, canopen().getHeartbeatTime());
}

// ---- heartbeat consumers

TEST_F(EarlyConfiguration, HeartbeatConsumerGives10AndIsLogged) {
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().addHeartbeatConsumer(5, 1000));
  EXPECT_EQ("Can't add heartbeat consumer! Object dictionary not available!\n", node.output.takeOutput());
}

TEST_F(Configuration, FirstHeartbeatConsumerTakesTheFreeSubIndex1) {
  EXPECT_EQ(KQ::KQ_OK, canopen().addHeartbeatConsumer(5, 1000));
  EXPECT_EQ(0x000503E8, valueOf(0x1016, 1));
  EXPECT_FALSE(node.dictionary().subObjectExists(0x1016, 2));
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(Configuration, NextHeartbeatConsumerIsAppended) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(6, 2000);
  EXPECT_EQ(0x000503E8, valueOf(0x1016, 1));
  EXPECT_EQ(0x000607D0, valueOf(0x1016, 2));
  EXPECT_EQ(2, valueOf(0x1016, 0));
}

TEST_F(Configuration, AppendedHeartbeatConsumerHasItsAttributes) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(6, 2000);
  const KQ::ObjectDictionarySubEntry* const entry = node.dictionary().getSubentry(0x1016, 2);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ("Consumer Heartbeat Time", entry->name);
  EXPECT_EQ(KQ::ACCESS_RW, entry->accessType);
  EXPECT_EQ(KQ::DATA_TYPE_UNSIGNED32, entry->dataType);
  EXPECT_FALSE(entry->pdoMappable);
  EXPECT_EQ(0x000607D0, entry->defaultValue);
}

TEST_F(Configuration, HeartbeatConsumerOfAListedNodeIsUpdatedInPlace) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(6, 2000);
  canopen().addHeartbeatConsumer(5, 500);
  EXPECT_EQ(0x000501F4, valueOf(0x1016, 1));
  EXPECT_EQ(0x000607D0, valueOf(0x1016, 2));
  EXPECT_FALSE(node.dictionary().subObjectExists(0x1016, 3));
}

TEST_F(Configuration, UpdateOfAHeartbeatConsumerKeepsTheirNumber) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(6, 2000);
  canopen().addHeartbeatConsumer(5, 500);
  EXPECT_EQ(2, valueOf(0x1016, 0));
}

TEST_F(Configuration, UpdatedHeartbeatConsumerKeepsItsDefault) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(5, 500);
  EXPECT_EQ(0x000503E8, node.dictionary().getSubentry(0x1016, 1)->defaultValue);
}

TEST_F(Configuration, UpdatedHeartbeatConsumerKeepsItsUpper16Bits) {
  node.dictionary().setLimits(0x1016, 1, 0, -1);
  node.dictionary().getSubentry(0x1016, 1)->value = 0x12050001;
  canopen().addHeartbeatConsumer(5, 0xFFFF);
  EXPECT_EQ(0x1205FFFF, valueOf(0x1016, 1));
}

TEST_F(Configuration, HeartbeatConsumerTakesTheFirstSubIndexWithoutNode) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(6, 1000);
  canopen().addHeartbeatConsumer(7, 1000);
  node.dictionary().setValue(0x1016, 2, 0, true);
  canopen().addHeartbeatConsumer(8, 100);
  EXPECT_EQ(0x00080064, valueOf(0x1016, 2));
}

TEST_F(Configuration, FreeSubIndexInFrontHidesALaterOneOfTheNode) {
  canopen().addHeartbeatConsumer(5, 1000);
  canopen().addHeartbeatConsumer(6, 1000);
  node.dictionary().setValue(0x1016, 1, 0, true);
  canopen().addHeartbeatConsumer(6, 100);
  EXPECT_EQ(0x00060064, valueOf(0x1016, 1));
  EXPECT_EQ(0x000603E8, valueOf(0x1016, 2));
}

TEST_F(Configuration, HeartbeatConsumerOfNode0FillsTheTimeOfAFreeSubIndex) {
  canopen().addHeartbeatConsumer(0, 100);
  EXPECT_EQ(100, valueOf(0x1016, 1));
  canopen().addHeartbeatConsumer(5, 200);
  EXPECT_EQ(0x000500C8, valueOf(0x1016, 1));
}

TEST_F(Configuration, HeartbeatConsumerOfNode0IsAnUpdateOfAFreeSubIndex) {
  canopen().addHeartbeatConsumer(0, 100);
  EXPECT_EQ(0, node.dictionary().getSubentry(0x1016, 1)->defaultValue);
}

TEST_F(Configuration, AddedHeartbeatConsumerCountsAtOnce) {
  test::SignalRecorder listener;
  canopen().addHeartbeatListener(&listener);
  node.cycle();
  canopen().addHeartbeatConsumer(6, 100);
  node.receive("706#05");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(6U, listener.signals[0].getFirstValue());
}

TEST_F(Configuration, ThereIsRoomFor127HeartbeatConsumers) {
  for (unsigned char id = 1; id <= 127; ++id) {
    ASSERT_EQ(KQ::KQ_OK, canopen().addHeartbeatConsumer(id, 1000));
  }
  EXPECT_EQ(0x007F03E8, valueOf(0x1016, 127));
  EXPECT_EQ(127, valueOf(0x1016, 0));
  EXPECT_EQ(KQ::KQ_OK, canopen().addHeartbeatConsumer(200, 1000));
  EXPECT_FALSE(node.dictionary().subObjectExists(0x1016, 128));
  EXPECT_EQ(KQ::KQ_OK, canopen().addHeartbeatConsumer(127, 500));
  EXPECT_EQ(0x007F01F4, valueOf(0x1016, 127));
}

// ---- listeners

TEST_F(EarlyConfiguration, HeartbeatListenerGives10AndIsLogged) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().addHeartbeatListener(&listener));
  EXPECT_EQ("Could not add heartbeat listener! NMT handler not available\n", node.output.takeOutput());
}

TEST_F(EarlyConfiguration, HeartbeatListenerOfANodeIsIgnoredSilently) {
  test::SignalRecorder listener;
  canopen().addHeartbeatListener(&listener, 6);
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(EarlyConfiguration, StateListenerGives10AndIsLogged) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, canopen().addStateListener(&listener));
  EXPECT_EQ("Could not add state listener! State machine not available\n", node.output.takeOutput());
}

TEST_F(Configuration, HeartbeatListenerIsLoggedAndTold) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ::KQ_OK, canopen().addHeartbeatListener(&listener));
  EXPECT_EQ("Adding heartbeat listener\n", node.output.takeOutput());
  canopen().addHeartbeatConsumer(6, 100);
  node.cycle();
  node.receive("706#05");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(6U, listener.signals[0].getFirstValue());
}

TEST_F(Configuration, HeartbeatListenerOfANodeIsToldOfThatOneAndNotLogged) {
  test::SignalRecorder listener;
  canopen().addHeartbeatListener(&listener, 6);
  EXPECT_EQ("", node.output.takeOutput());
  canopen().addHeartbeatConsumer(6, 100);
  canopen().addHeartbeatConsumer(7, 100);
  node.cycle();
  node.receive("707#05");
  EXPECT_EQ(0U, listener.signals.size());
  node.receive("706#05");
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(6U, listener.signals[0].getFirstValue());
}

TEST_F(Configuration, StateListenerIsLoggedAndTold) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ::KQ_OK, canopen().addStateListener(&listener));
  EXPECT_EQ("Adding state listener\n", node.output.takeOutput());
  node.cycle();
  ASSERT_EQ(1U, listener.signals.size());
  EXPECT_EQ(1700, listener.signals[0].getCode());
  EXPECT_EQ(3U, listener.signals[0].getSecondValue());
}

TEST_F(Configuration, LaterStateListenerReplacesTheEarlier) {
  test::SignalRecorder earlier;
  test::SignalRecorder later;
  canopen().addStateListener(&earlier);
  canopen().addStateListener(&later);
  node.cycle();
  EXPECT_EQ(0U, earlier.signals.size());
  EXPECT_EQ(1U, later.signals.size());
}

// ---- format of the lines

TEST_F(Configuration, LinesDoNotDependOnTheFormatOfTheStream) {
  const test::ChangedStreamFormat format;
  test::SignalRecorder listener;
  canopen().addPDOMapping(0x1B, T, 0x2100, 1, 8);
  canopen().addHeartbeatListener(&listener);
  canopen().addStateListener(&listener);
  EXPECT_EQ(
      "WARNING: Marking PDO 27 OD index 0x1a1b as forever invalid due to invalid mapping!\n"
      "Adding heartbeat listener\n"
      "Adding state listener\n",
      node.output.takeOutput());
  EXPECT_TRUE(format.isKept());
}

}  // namespace
