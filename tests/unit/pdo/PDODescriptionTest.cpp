// Covers: the runtime's description of PDOs: addPDO, addPDOMapping, enableMessage and the actions on PDO events.
//
// | subject           | functional                                    | robustness                                    |
// |-------------------|-----------------------------------------------|-----------------------------------------------|
// | addPDO            | objects, names, access rights, types, limits, | before init, added again                      |
// |                   | values                                        |                                               |
// | COB-ID            | bits 30 and 31 by kind and by enabled         |                                               |
// | inhibit time      | every transmission type                       |                                               |
// | addPDOMapping     | entries, appended, mapping object created     | missing and unmappable objects, lengths below |
// |                   | when missing                                  | 1                                             |
// | dummy entries     | index below 0x48, with and without a variable | 0x47 and 0x48                                 |
// |                   | of that address                               |                                               |
// | access rights     | mapped in one direction, in both, in either   | rights other than rw                          |
// |                   | order                                         |                                               |
// | failures          | code, text, no PDO from then on               | before init                                   |
// | enableMessage     | bit 31 of the COB-ID                          | no object, refused, before init               |
// | PDO event actions | by index and event, replaced                  | null                                          |

#include <string>

#include "CountedAction.h"
#include "KQVariable.h"
#include "NamedCase.h"
#include "ObjectDictionaryEntry.h"
#include "PDOFixture.h"
#include "ReadableName.h"
#include "SignalRecorder.h"

using namespace KQ;

namespace {

class PDODescription : public test::PDOFixture {
protected:
  int add(KQCANopenPDOType type, unsigned short number, unsigned int cobID, bool enabled = true,
          unsigned char transmissionType = 255, unsigned short inhibitTime = 0, unsigned short eventTimer = 0) {
    return node.canopen().addPDO(type, number, cobID, eventTimer, inhibitTime, transmissionType, enabled, nullptr);
  }

  int mapTransmit(unsigned short index, unsigned short subIndex, int bits) {
    return node.canopen().addPDOMapping(0, PDO_TYPE_TRANSMIT, index, subIndex, bits);
  }
  int mapReceive(unsigned short index, unsigned short subIndex, int bits) {
    return node.canopen().addPDOMapping(0, PDO_TYPE_RECEIVE, index, subIndex, bits);
  }

  KQCANopenAccessType access(unsigned short index, unsigned char subIndex) {
    return node.dictionary().getSubentry(index, subIndex)->accessType;
  }
};

// ---- addPDO

struct SubEntryRow {
  unsigned char subIndex;
  const char* name;
  KQCANopenAccessType access;
  KQCANopenDataType type;
  unsigned int value;
  unsigned int low;
  unsigned int high;
};

struct ObjectRow {
  KQCANopenPDOType kind;
  unsigned short index;
  const char* name;
  std::vector<SubEntryRow> subEntries;
};

std::ostream& operator<<(std::ostream& stream, const ObjectRow& row) {
  return stream << std::hex << row.index << std::dec;
}

class PDODescriptionObject : public PDODescription, public testing::WithParamInterface<ObjectRow> {
protected:
  PDODescriptionObject() { EXPECT_EQ(KQ_OK, add(GetParam().kind, 2, 0x187, true, 254, 100, 500)); }
};

TEST_P(PDODescriptionObject, HasItsSubEntriesAndNoOther) {
  const ObjectDictionaryEntry* const entry = node.dictionary().getEntry(GetParam().index);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(GetParam().name, entry->name);
  EXPECT_EQ(OBJECT_TYPE_RECORD, entry->objectType);
  EXPECT_EQ(GetParam().subEntries.size(), entry->subEntries.size());
  for (const SubEntryRow& row : GetParam().subEntries) {
    const ObjectDictionarySubEntry* const sub = node.dictionary().getSubentry(GetParam().index, row.subIndex);
    ASSERT_NE(nullptr, sub) << int{row.subIndex};
    EXPECT_EQ(row.name, sub->name);
    EXPECT_EQ(row.access, sub->accessType) << row.name;
    EXPECT_EQ(row.type, sub->dataType) << row.name;
    EXPECT_EQ(row.value, static_cast<unsigned int>(sub->value)) << row.name;
    EXPECT_EQ(row.low, static_cast<unsigned int>(sub->lowLimit)) << row.name;
    EXPECT_EQ(row.high, static_cast<unsigned int>(sub->highLimit)) << row.name;
    EXPECT_FALSE(sub->pdoMappable) << row.name;
  }
}

const SubEntryRow MAPPED_OBJECTS = {
    0, "number of mapped application objects in PDO", ACCESS_RW, DATA_TYPE_UNSIGNED8, 0, 0, 64};
const SubEntryRow HIGHEST_SUB_INDEX = {0, "largest sub-index supported", ACCESS_RO, DATA_TYPE_UNSIGNED8, 5, 2, 5};
const SubEntryRow TYPE = {2, "transmission type", ACCESS_RW, DATA_TYPE_UNSIGNED8, 254, 0, 255};
const SubEntryRow EVENT_TIMER = {5, "event timer", ACCESS_RW, DATA_TYPE_UNSIGNED16, 500, 0, 65535};

INSTANTIATE_TEST_SUITE_P(
    Of, PDODescriptionObject,
    testing::Values(ObjectRow{PDO_TYPE_RECEIVE,
                              0x1402,
                              "receive PDO parameter",
                              {HIGHEST_SUB_INDEX,
                               {1, "COB-ID used by PDO", ACCESS_RW, DATA_TYPE_UNSIGNED32, 0x187, 1, 0xFFFFFFFF},
                               TYPE,
                               EVENT_TIMER}},
                    ObjectRow{PDO_TYPE_RECEIVE, 0x1602, "receive PDO mapping", {MAPPED_OBJECTS}},
                    // Both kinds bear the names of a receive PDO.
                    ObjectRow{PDO_TYPE_TRANSMIT,
                              0x1802,
                              "receive PDO parameter",
                              {HIGHEST_SUB_INDEX,
                               {1, "COB-ID used by PDO", ACCESS_RW, DATA_TYPE_UNSIGNED32, 0x40000187, 1, 0xFFFFFFFF},
                               TYPE,
                               {3, "inhibit time", ACCESS_RW, DATA_TYPE_UNSIGNED16, 100, 0, 65535},
                               EVENT_TIMER}},
                    ObjectRow{PDO_TYPE_TRANSMIT, 0x1A02, "receive PDO mapping", {MAPPED_OBJECTS}}),
    test::ReadableName());

TEST_F(PDODescription, BeforeInitThereIsNoDictionary) {
  KQCANopen fresh("node");
  EXPECT_EQ(KQ_NOT_AVAILABLE, fresh.addPDO(PDO_TYPE_TRANSMIT, 0, 0x185, 0, 0, 255, true, nullptr));
}

TEST_F(PDODescription, AnyOtherKindIsTransmit) {
  EXPECT_EQ(KQ_OK, add(static_cast<KQCANopenPDOType>(2), 0, 0x185));
  EXPECT_TRUE(node.dictionary().subObjectExists(0x1800, 3));
  EXPECT_FALSE(node.dictionary().objectExists(0x1400));
}

TEST_F(PDODescription, PrintsNothing) {
  add(PDO_TYPE_TRANSMIT, 0, 0x185);
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(PDODescription, AddedAgainTakesTheNewParametersAndLosesTheMapping) {
  addVariable(0x2001, 1, 8);
  add(PDO_TYPE_TRANSMIT, 0, 0x185);
  mapTransmit(0x2001, 1, 8);
  EXPECT_EQ(KQ_OK, add(PDO_TYPE_TRANSMIT, 0, 0x186, true, 1));
  EXPECT_EQ(0x40000186U, read(0x1800, 1));
  EXPECT_EQ(1U, read(0x1800, 2));
  EXPECT_EQ(0U, read(0x1A00, 0));
}

TEST_F(PDODescription, ListenerMayBeGiven) {
  test::SignalRecorder listener;
  EXPECT_EQ(KQ_OK, node.canopen().addPDO(PDO_TYPE_RECEIVE, 0, 0x205, 0, 0, 255, true, &listener));
  EXPECT_TRUE(listener.signals.empty());
}

struct COBIDCase {
  KQCANopenPDOType kind;
  unsigned int given;
  bool enabled;
  unsigned int stored;
};

class PDODescriptionCOBID : public PDODescription, public testing::WithParamInterface<COBIDCase> {};

TEST_P(PDODescriptionCOBID, CarriesTheFlagsOfKindAndState) {
  EXPECT_EQ(KQ_OK, add(GetParam().kind, 0, GetParam().given, GetParam().enabled));
  EXPECT_EQ(GetParam().stored, read(GetParam().kind == PDO_TYPE_RECEIVE ? 0x1400 : 0x1800, 1));
}

INSTANTIATE_TEST_SUITE_P(Flags, PDODescriptionCOBID,
                         testing::Values(COBIDCase{PDO_TYPE_RECEIVE, 0x205, true, 0x205},
                                         COBIDCase{PDO_TYPE_RECEIVE, 0x205, false, 0x80000205},
                                         COBIDCase{PDO_TYPE_RECEIVE, 0xC0000205, true, 0x205},
                                         COBIDCase{PDO_TYPE_RECEIVE, 0xE0000205, false, 0xA0000205},
                                         COBIDCase{PDO_TYPE_TRANSMIT, 0x185, true, 0x40000185},
                                         COBIDCase{PDO_TYPE_TRANSMIT, 0x185, false, 0xC0000185},
                                         COBIDCase{PDO_TYPE_TRANSMIT, 0xC0000185, true, 0x40000185},
                                         COBIDCase{PDO_TYPE_TRANSMIT, 0xA0000185, true, 0x60000185}));

class PDODescriptionInhibitTime : public PDODescription, public testing::WithParamInterface<int> {};

TEST_P(PDODescriptionInhibitTime, IsForEventDrivenPDOsOnly) {
  add(PDO_TYPE_TRANSMIT, 0, 0x185, true, static_cast<unsigned char>(GetParam()), 100);
  EXPECT_EQ(GetParam() >= 254 ? 100U : 0U, read(0x1800, 3));
  EXPECT_EQ(100, node.dictionary().getSubentry(0x1800, 3)->defaultValue);
}

INSTANTIATE_TEST_SUITE_P(TransmissionType, PDODescriptionInhibitTime, testing::Range(0, 256), test::ReadableName());

// ---- addPDOMapping

class AddPDOMapping : public PDODescription {};

TEST_F(AddPDOMapping, MappingIsAppended) {
  addVariables(3, 16);
  add(PDO_TYPE_TRANSMIT, 0, 0x185);
  EXPECT_EQ(KQ_OK, mapTransmit(0x2001, 1, 16));
  EXPECT_EQ(KQ_OK, mapTransmit(0x2001, 3, 12));
  EXPECT_EQ(2U, read(0x1A00, 0));
  EXPECT_EQ(0x20010110U, read(0x1A00, 1));
  EXPECT_EQ(0x2001030CU, read(0x1A00, 2));
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(AddPDOMapping, MappingEntryIsDescribed) {
  addVariable(0x2001, 1, 16);
  add(PDO_TYPE_RECEIVE, 0, 0x205);
  mapReceive(0x2001, 1, 16);
  const ObjectDictionarySubEntry* const entry = node.dictionary().getSubentry(0x1600, 1);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ("PDO mapping for the nth application object to be mapped", entry->name);
  EXPECT_EQ(ACCESS_RW, entry->accessType);
  EXPECT_EQ(DATA_TYPE_UNSIGNED32, entry->dataType);
  EXPECT_FALSE(entry->pdoMappable);
}

TEST_F(AddPDOMapping, SubIndexAndLengthHaveEightBits) {
  addVariable(0x2001, 1, 16);
  EXPECT_EQ(KQ_OK, mapTransmit(0x2001, 0x5501, 0x110));
  EXPECT_EQ(0x20010110U, read(0x1A00, 1));
}

TEST_F(AddPDOMapping, MissingMappingObjectIsCreatedReadOnly) {
  addVariable(0x2001, 1, 16);
  EXPECT_EQ(KQ_OK, mapTransmit(0x2001, 1, 16));
  const ObjectDictionaryEntry* const entry = node.dictionary().getEntry(0x1A00);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ("receive PDO mapping", entry->name);
  const ObjectDictionarySubEntry* const number = node.dictionary().getSubentry(0x1A00, 0);
  EXPECT_EQ("number of mapped application objects in PDO", number->name);
  EXPECT_EQ(ACCESS_RO, number->accessType);
  EXPECT_EQ(DATA_TYPE_UNSIGNED8, number->dataType);
  EXPECT_EQ(1, number->value);
  EXPECT_EQ(0, number->lowLimit);
  EXPECT_EQ(64, number->highLimit);
}

TEST_F(AddPDOMapping, PresentMappingObjectStaysWritable) {
  addVariable(0x2001, 1, 16);
  add(PDO_TYPE_TRANSMIT, 0, 0x185);
  mapTransmit(0x2001, 1, 16);
  EXPECT_EQ(ACCESS_RW, access(0x1A00, 0));
}

TEST_F(AddPDOMapping, SixtyFourObjectsCanBeMapped) {
  addVariable(0x2001, 1, 1);
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(KQ_OK, mapTransmit(0x2001, 1, 1));
  }
  EXPECT_EQ(64U, read(0x1A00, 0));
  EXPECT_EQ(0x20010101U, read(0x1A00, 64));
}

TEST_F(AddPDOMapping, SubIndexesOfTheMappingObjectEndAt255) {
  addVariable(0x2001, 1, 1);
  mapTransmit(0x2001, 1, 1);
  *node.dictionary().getPointerToValue(0x1A00, 0) = 254;
  EXPECT_EQ(KQ_OK, mapTransmit(0x2001, 1, 1));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, mapTransmit(0x2001, 1, 1));
  EXPECT_EQ(255U, read(0x1A00, 0));
}

// ---- dummy entries

struct DummyCase : test::NamedCase {
  unsigned short index;
  int bits;  // of the variable with that address, 0: there is none
  bool isSigned;
  unsigned int mapped;
};

class AddPDOMappingDummyEntry : public PDODescription, public testing::WithParamInterface<DummyCase> {};

TEST_P(AddPDOMappingDummyEntry, NamesTheTypeOfTheVariable) {
  if (GetParam().bits != 0) {
    const KQVariable variable(GetParam().index, 0, "value", STORAGE_TYPE_INTEGER, GetParam().bits, GetParam().isSigned);
    ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
  }
  EXPECT_EQ(KQ_OK, mapTransmit(GetParam().index, 0, 8));
  EXPECT_EQ(GetParam().mapped, read(0x1A00, 1));
}

INSTANTIATE_TEST_SUITE_P(Below0x48, AddPDOMappingDummyEntry,
                         testing::Values(DummyCase{{"Unsigned8"}, 0x0005, 0, false, 0x00050008},
                                         DummyCase{{"Unsigned32"}, 0x0007, 0, false, 0x00070008},
                                         DummyCase{{"VariableOf16Bits"}, 0x0005, 16, false, 0x00060008},
                                         DummyCase{{"SignedVariable"}, 0x0005, 32, true, 0x00040008},
                                         DummyCase{{"VariableOf12Bits"}, 0x0030, 12, false, 0x00400008},
                                         DummyCase{{"HighestIndex"}, 0x0047, 8, false, 0x00050008}),
                         test::caseName<DummyCase>);

TEST_F(AddPDOMapping, IndexFrom0x48OnIsNoDummy) {
  const KQVariable variable(0x0048, 0, "value", STORAGE_TYPE_INTEGER, 8, false);
  KQDEI::instance()->addVariable(&variable);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, mapTransmit(0x0048, 0, 8));
}

TEST_F(AddPDOMapping, TypeOfADummyHasNoSubIndex) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, mapTransmit(0x0005, 1, 8));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, mapTransmit(0x0040, 0, 8));
}

// ---- access rights

TEST_F(AddPDOMapping, ObjectMappedForTransmissionIsRwr) {
  addVariable(0x2001, 1, 8);
  mapTransmit(0x2001, 1, 8);
  EXPECT_EQ(ACCESS_RWR, access(0x2001, 1));
  mapTransmit(0x2001, 1, 8);
  EXPECT_EQ(ACCESS_RWR, access(0x2001, 1));
}

TEST_F(AddPDOMapping, ObjectMappedForReceptionIsRww) {
  addVariable(0x2001, 1, 8);
  mapReceive(0x2001, 1, 8);
  EXPECT_EQ(ACCESS_RWW, access(0x2001, 1));
  mapReceive(0x2001, 1, 8);
  EXPECT_EQ(ACCESS_RWW, access(0x2001, 1));
}

TEST_F(AddPDOMapping, ObjectMappedInBothDirectionsIsRwAgain) {
  addVariables(2, 8);
  mapReceive(0x2001, 1, 8);
  mapTransmit(0x2001, 1, 8);
  EXPECT_EQ(ACCESS_RW, access(0x2001, 1));
  mapTransmit(0x2001, 2, 8);
  mapReceive(0x2001, 2, 8);
  EXPECT_EQ(ACCESS_RW, access(0x2001, 2));
}

class AddPDOMappingAccess : public PDODescription, public testing::WithParamInterface<KQCANopenAccessType> {};

TEST_P(AddPDOMappingAccess, StaysWhenItIsNotRw) {
  addVariables(2, 8);
  node.dictionary().getSubentry(0x2001, 1)->accessType = GetParam();
  node.dictionary().getSubentry(0x2001, 2)->accessType = GetParam();
  mapTransmit(0x2001, 1, 8);
  mapReceive(0x2001, 2, 8);
  EXPECT_EQ(GetParam(), access(0x2001, 1));
  EXPECT_EQ(GetParam(), access(0x2001, 2));
  mapReceive(0x2001, 1, 8);
  mapTransmit(0x2001, 2, 8);
  EXPECT_EQ(GetParam(), access(0x2001, 1));
  EXPECT_EQ(GetParam(), access(0x2001, 2));
}

INSTANTIATE_TEST_SUITE_P(Rights, AddPDOMappingAccess, testing::Values(ACCESS_RO, ACCESS_WO, ACCESS_CONST));

// ---- failures

struct RefusedCase : test::NamedCase {
  unsigned short index;
  unsigned short subIndex;
  int bits;
  int result;
};

class AddPDOMappingRefused : public PDODescription, public testing::WithParamInterface<RefusedCase> {
protected:
  AddPDOMappingRefused() {
    addVariable(0x2001, 1, 8);
    add(PDO_TYPE_TRANSMIT, 0x1A, 0x185);
    node.output.takeOutput();
  }

  int mapRefused() {
    return node.canopen().addPDOMapping(0x1A, PDO_TYPE_TRANSMIT, GetParam().index, GetParam().subIndex,
                                        GetParam().bits);
  }
};

TEST_P(AddPDOMappingRefused, IsReported) {
  EXPECT_EQ(GetParam().result, mapRefused());
  EXPECT_EQ("WARNING: Marking PDO 26 OD index 0x1a1a as forever invalid due to invalid mapping!\n",
            node.output.takeOutput());
  EXPECT_EQ(0U, read(0x1A1A, 0));
}

TEST_P(AddPDOMappingRefused, MakesThePDOInvalidForGood) {
  mapRefused();
  EXPECT_EQ(KQ_OK, node.canopen().addPDOMapping(0x1A, PDO_TYPE_TRANSMIT, 0x2001, 1, 8));
  node.output.takeOutput();
  EXPECT_EQ(nullptr, handler().getPDODataFromObjectDictionary(0x181A));
  EXPECT_EQ("Not creating invalid PDO from OD index 0x181a\n", node.output.takeOutput());
}

TEST_P(AddPDOMappingRefused, LeavesTheAccessRightAlone) {
  mapRefused();
  EXPECT_EQ(ACCESS_RW, access(0x2001, 1));
}

INSTANTIATE_TEST_SUITE_P(Rows, AddPDOMappingRefused,
                         testing::Values(RefusedCase{{"MissingObject"}, 0x2100, 1, 8, KQ_INVALID_ARGUMENT},
                                         RefusedCase{{"MissingSubIndex"}, 0x2001, 2, 8, KQ_INVALID_ARGUMENT},
                                         RefusedCase{{"UnmappableObject"}, 0x1017, 0, 16, KQ_INVALID_ARGUMENT},
                                         RefusedCase{{"NoBits"}, 0x2001, 1, 0, KQ_NO_STORAGE_TYPE},
                                         RefusedCase{{"NegativeBits"}, 0x2001, 1, -8, KQ_NO_STORAGE_TYPE},
                                         RefusedCase{{"MissingObjectBeforeNoBits"}, 0x2100, 1, 0, KQ_INVALID_ARGUMENT}),
                         test::caseName<RefusedCase>);

TEST_F(AddPDOMapping, RefusedReceiveMappingNamesItsOwnIndex) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, node.canopen().addPDOMapping(10, PDO_TYPE_RECEIVE, 0x2100, 1, 8));
  EXPECT_EQ("WARNING: Marking PDO 10 OD index 0x160a as forever invalid due to invalid mapping!\n",
            node.output.takeOutput());
}

TEST_F(AddPDOMapping, MappingBeforeInitIsRefused) {
  KQCANopen fresh("node");
  EXPECT_EQ(KQ_NOT_AVAILABLE, fresh.addPDOMapping(0, PDO_TYPE_TRANSMIT, 0x2001, 1, 8));
  EXPECT_EQ("WARNING: Marking PDO 0 OD index 0x1a00 as forever invalid due to invalid mapping!\n",
            node.output.takeOutput());
}

TEST_F(AddPDOMapping, LengthBelowOneCreatesTheMappingObjectAllTheSame) {
  addVariable(0x2001, 1, 8);
  EXPECT_EQ(KQ_NO_STORAGE_TYPE, mapTransmit(0x2001, 1, 0));
  EXPECT_TRUE(node.dictionary().objectExists(0x1A00));
}

// ---- enableMessage

TEST_F(PDODescription, EnableMessageMovesBit31Only) {
  add(PDO_TYPE_TRANSMIT, 0, 0x185);
  EXPECT_EQ(KQ_OK, node.canopen().enableMessage(0x1800, false));
  EXPECT_EQ(0xC0000185U, read(0x1800, 1));
}

TEST_F(PDODescription, EnabledMessageIsSentAndDisabledOneIsNot) {
  add(PDO_TYPE_RECEIVE, 0, 0x205, false);
  map(0x1600, {0x10060008});
  start();
  node.receive("205#01");
  EXPECT_EQ(0U, read(0x1006, 0));
  EXPECT_EQ(KQ_OK, node.canopen().enableMessage(0x1400, true));
  EXPECT_EQ(0x205U, read(0x1400, 1));
  node.receive("205#02");
  EXPECT_EQ(2U, read(0x1006, 0));
  EXPECT_EQ(KQ_OK, node.canopen().enableMessage(0x1400, false));
  node.receive("205#03");
  EXPECT_EQ(2U, read(0x1006, 0));
}

TEST_F(PDODescription, EnableMessagePassesTheRulesOfTheBus) {
  add(PDO_TYPE_RECEIVE, 0, 0x205);
  EXPECT_EQ(0x06090030, node.canopen().enableMessage(0x1400, true));  // it is valid already
}

TEST_F(PDODescription, EnableMessageWithoutObjectFails) {
  EXPECT_EQ(KQ_NOT_FOUND, node.canopen().enableMessage(0x1800, true));
  KQCANopen fresh("node");
  EXPECT_EQ(KQ_DONE, fresh.enableMessage(0x1800, true));
}

// ---- event actions

TEST_F(PDODescription, ActionRunsOnItsEventOfItsPDOOnly) {
  test::CountedAction action(42);
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_RECEIVED, &action);
  EXPECT_EQ(PDO_EVENT_RX_RECEIVED, action.getEventType());
  EXPECT_EQ(42, node.canopen().sendPDOEvent(PDO_EVENT_RX_RECEIVED, 0x1400));
  EXPECT_EQ(1U, action.runs);
  node.canopen().sendPDOEvent(PDO_EVENT_RX_RECEIVED, 0x1401);
  node.canopen().sendPDOEvent(PDO_EVENT_RX_TIMEOUT, 0x1400);
  EXPECT_EQ(1U, action.runs);
}

TEST_F(PDODescription, LaterActionReplacesTheEarlierOne) {
  test::CountedAction first(1);
  test::CountedAction second(2);
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &first);
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &second);
  EXPECT_EQ(2, node.canopen().sendPDOEvent(PDO_EVENT_RX_TIMEOUT, 0x1400));
  EXPECT_EQ(0U, first.runs);
}

TEST_F(PDODescription, NullActionIsIgnored) {
  test::CountedAction action(7);
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, &action);
  node.canopen().setPDOEventAction(0x1400, PDO_EVENT_RX_TIMEOUT, nullptr);
  EXPECT_EQ(7, node.canopen().sendPDOEvent(PDO_EVENT_RX_TIMEOUT, 0x1400));
}

}  // namespace
