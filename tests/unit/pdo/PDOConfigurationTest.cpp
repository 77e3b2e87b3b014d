// Covers: one PDO as it is built from the dictionary.
//
// | subject               | functional                                | robustness                                 |
// |-----------------------|-------------------------------------------|--------------------------------------------|
// | objects               | first and last index of both directions   | communication or mapping parameter missing |
// | invalid mapping       | text, for good                            | missing object                             |
// | number of entries     | 0, fewer and more than there are          | no sub-index 0, write-only sub-index 0     |
// | data length           | 0 to 8 bytes, both sides of each byte     | 65 bits and more: texts, cut to 8          |
// | communication record  | type, event timer, inhibit time, COB-ID   | each of them missing                       |
// | transmit kind         | every transmission type, with and without |                                            |
// |                       | event timer, both directions              |                                            |
// | places of the entries | whole bytes, bits, bits in front of bytes | entries that cannot be read                |
// | mapped objects        | key, length, sign, kind of value          | missing, without a type: log line          |
// | action                | reaches the PDO that is built next        | receive PDO                                |

#include <memory>
#include <string>
#include <vector>

#include "KQVariable.h"
#include "NamedCase.h"
#include "PDOFixture.h"
#include "PDOInternals.h"
#include "ReadableName.h"

using namespace KQ;

namespace {

constexpr unsigned int INVALID = 0x80000000U;

class PDOConfiguration : public test::PDOFixture {
protected:
  std::unique_ptr<KQPDO> build(unsigned short index) {
    return std::unique_ptr<KQPDO>(handler().getPDODataFromObjectDictionary(index));
  }

  void addTransmit(const test::Mapping& mapping) { addTransmitPDO(0, {0x185}, mapping); }

  // A record with these sub-entries and no other.
  void addRecord(unsigned short index, const std::vector<std::pair<unsigned char, unsigned int>>& values) {
    node.dictionary().addEntry(index, OBJECT_TYPE_RECORD, "PDO parameter");
    for (const auto& value : values) {
      node.dictionary().addSubentry(index, value.first, ACCESS_RW, DATA_TYPE_UNSIGNED32, "", false,
                                    static_cast<int>(value.second), "", 0);
    }
  }

  // Start bits of all records.
  static std::vector<unsigned int> placesOf(const KQPDO& pdo) {
    std::vector<unsigned int> places;
    for (const auto& record : pdo.getMappingData()) {
      places.push_back(static_cast<unsigned int>(record->getStartBit()));
    }
    return places;
  }

  std::string printed() { return node.output.takeOutput(); }
};

// ---- objects

TEST_F(PDOConfiguration, WithoutCommunicationParameterThereIsNone) {
  map(0x1A00, {});
  EXPECT_EQ(nullptr, build(0x1800));
  EXPECT_EQ("", printed());
}

TEST_F(PDOConfiguration, WithoutMappingParameterThereIsNone) {
  addRecord(0x1800, {{1, 0x185}, {2, 255}});
  EXPECT_EQ(nullptr, build(0x1800));
  EXPECT_EQ("", printed());
}

class PDOConfigurationIndex : public PDOConfiguration, public testing::WithParamInterface<int> {
protected:
  const unsigned short index = static_cast<unsigned short>(GetParam());
  const unsigned short mappingIndex = static_cast<unsigned short>(GetParam() + 0x200);
};

TEST_P(PDOConfigurationIndex, IsTheIdentityOfThePDO) {
  addRecord(index, {{1, 0x185}});
  map(mappingIndex, {});
  const auto pdo = build(index);
  ASSERT_NE(nullptr, pdo);
  EXPECT_EQ(index, pdo->getCommunicationIndex());
}

TEST_P(PDOConfigurationIndex, MappingMarkedInvalidMakesNoPDO) {
  addRecord(index, {{1, 0x185}});
  map(mappingIndex, {});
  handler().addInvalidPDOIndex(mappingIndex);
  EXPECT_EQ("", printed());
  EXPECT_EQ(nullptr, build(index));
  char expected[80];
  std::snprintf(expected, sizeof expected, "Not creating invalid PDO from OD index 0x%x\n", GetParam());
  EXPECT_EQ(expected, printed());
}

INSTANTIATE_TEST_SUITE_P(Ranges, PDOConfigurationIndex, testing::Values(0x1400, 0x15FF, 0x1800, 0x19FF),
                         test::ReadableName());

TEST_F(PDOConfiguration, MappingMarkedInvalidStaysSoAndPrintsInHexadecimalOnlyItself) {
  addTransmit({});
  handler().addInvalidPDOIndex(0x1A00);
  build(0x1800);
  build(0x1800);
  std::cout << 26;
  EXPECT_EQ(
      "Not creating invalid PDO from OD index 0x1800\n"
      "Not creating invalid PDO from OD index 0x1800\n26",
      printed());
}

TEST_F(PDOConfiguration, MissingObjectIsNotReportedAsInvalid) {
  handler().addInvalidPDOIndex(0x1A00);
  EXPECT_EQ(nullptr, build(0x1800));
  EXPECT_EQ("", printed());
}

// ---- number of entries and length

TEST_F(PDOConfiguration, NoMappedObjectGivesAPDOWithoutData) {
  addTransmit({});
  const auto pdo = build(0x1800);
  ASSERT_NE(nullptr, pdo);
  EXPECT_EQ(0U, pdo->getFrameLength());
  EXPECT_TRUE(pdo->getMappingData().empty());
}

TEST_F(PDOConfiguration, EntriesBehindTheNumberAreNotMapped) {
  addTransmit({0x10060020, 0x10070020});
  *node.dictionary().getPointerToValue(0x1A00, 0) = 1;
  const auto pdo = build(0x1800);
  EXPECT_EQ(4U, pdo->getFrameLength());
  EXPECT_EQ(1U, pdo->getMappingData().size());
}

TEST_F(PDOConfiguration, NumberOfZeroMapsNothingWhateverFollows) {
  addTransmit({0x10060020});
  *node.dictionary().getPointerToValue(0x1A00, 0) = 0;
  EXPECT_EQ(0U, build(0x1800)->getFrameLength());
}

TEST_F(PDOConfiguration, NegativeNumberMapsNothing) {
  addTransmit({0x10060020});
  *node.dictionary().getPointerToValue(0x1A00, 0) = -1;
  EXPECT_EQ(0U, build(0x1800)->getFrameLength());
}

TEST_F(PDOConfiguration, WithoutNumberNothingIsMapped) {
  addRecord(0x1800, {{1, 0x185}});
  addRecord(0x1A00, {{1, 0x10060020}});
  EXPECT_EQ(0U, build(0x1800)->getFrameLength());
}

TEST_F(PDOConfiguration, NumberThatCannotBeReadMapsNothing) {
  addTransmit({0x10060020});
  node.dictionary().getSubentry(0x1A00, 0)->accessType = ACCESS_WO;
  EXPECT_EQ(0U, build(0x1800)->getFrameLength());
}

TEST_F(PDOConfiguration, HugeNumberIsNoHarm) {
  addTransmit({0x10060020});
  *node.dictionary().getPointerToValue(0x1A00, 0) = 0x7FFFFFFF;
  EXPECT_EQ(1U, build(0x1800)->getMappingData().size());
}

struct LengthCase {
  test::Mapping bits;
  unsigned int bytes;
};

std::ostream& operator<<(std::ostream& stream, const LengthCase& row) {
  unsigned int total = 0;
  for (const unsigned int bits : row.bits) {
    total += bits;
  }
  return stream << total << " bits of " << row.bits.size();
}

class PDOConfigurationLength : public PDOConfiguration, public testing::WithParamInterface<LengthCase> {
protected:
  test::Mapping mapping() const {
    test::Mapping entries = GetParam().bits;
    for (unsigned int& entry : entries) {
      entry |= 0x10060000U;
    }
    return entries;
  }
};

TEST_P(PDOConfigurationLength, IsThatOfAllBitsRoundedUp) {
  addTransmit(mapping());
  const auto pdo = build(0x1800);
  EXPECT_EQ(GetParam().bytes, pdo->getFrameLength());
  EXPECT_EQ(GetParam().bytes, pdo->getDataLength());
  EXPECT_EQ("", printed());
}

INSTANTIATE_TEST_SUITE_P(Bits, PDOConfigurationLength,
                         testing::Values(LengthCase{{0}, 0}, LengthCase{{1}, 1}, LengthCase{{7}, 1}, LengthCase{{8}, 1},
                                         LengthCase{{8, 1}, 2}, LengthCase{{4, 4, 4, 4}, 2}, LengthCase{{16, 1}, 3},
                                         LengthCase{{32, 24}, 7}, LengthCase{{32, 24, 1}, 8}, LengthCase{{32, 31}, 8},
                                         LengthCase{{64}, 8}, LengthCase{{32, 32}, 8}),
                         test::ReadableName());

struct OversizeCase {
  test::Mapping bits;
  const char* length;
};

std::ostream& operator<<(std::ostream& stream, const OversizeCase& row) {
  return stream << row.length << " bytes of " << row.bits.size();
}

class PDOConfigurationOversize : public PDOConfiguration, public testing::WithParamInterface<OversizeCase> {
protected:
  // Builds the PDO and gives what is printed.
  std::string warningOf(unsigned short index) {
    test::Mapping entries = GetParam().bits;
    for (unsigned int& entry : entries) {
      entry |= 0x10060000U;
    }
    addRecord(index, {{1, 0x185}, {2, 255}});
    map(static_cast<unsigned short>(index + 0x200), entries);
    const auto pdo = build(index);
    EXPECT_NE(nullptr, pdo);
    EXPECT_EQ(8U, pdo->getFrameLength());
    EXPECT_EQ(entries.size(), pdo->getMappingData().size());
    return printed();
  }
};

TEST_P(PDOConfigurationOversize, ReceivePDOIsCutAndCreatedAllTheSame) {
  EXPECT_EQ("WARNING: PDO 0x140a exceeds 8 data bytes (" + std::string(GetParam().length) +
                ")\n\tLength was reduced to 8 bytes but data reception will be corrupted!\n",
            warningOf(0x140A));
}

TEST_P(PDOConfigurationOversize, TransmitPDOIsCutAndCreatedAllTheSame) {
  EXPECT_EQ("WARNING: PDO 0x180a exceeds 8 data bytes (" + std::string(GetParam().length) +
                ")\n\tLength was reduced to 8 bytes but data transmission will be corrupted!\n",
            warningOf(0x180A));
}

INSTANTIATE_TEST_SUITE_P(Bits, PDOConfigurationOversize,
                         testing::Values(OversizeCase{{64, 1}, "9"}, OversizeCase{{32, 32, 8}, "9"},
                                         OversizeCase{{32, 32, 9}, "10"}, OversizeCase{{255, 255, 255}, "96"},
                                         OversizeCase{{64, 64}, "16"}),
                         test::ReadableName());

TEST_F(PDOConfiguration, OversizeIsReportedAlsoWhenTheCOBIDIsInvalid) {
  addRecord(0x1800, {{1, INVALID | 0x185}});
  map(0x1A00, {0x10060040, 0x10060008});
  EXPECT_EQ(nullptr, build(0x1800));
  EXPECT_NE("", printed());
}

// ---- communication record

TEST_F(PDOConfiguration, ParametersAreThoseOfTheRecord) {
  addTransmitPDO(3, {0x188, 254, 500, 100}, {0x10060020});
  const auto pdo = build(0x1803);
  EXPECT_EQ(0x188U, pdo->getCOBID());
  EXPECT_EQ(PDO_TRANSMISSION_EVENT_MANUFACTURER, pdo->getTransmissionType());
  EXPECT_EQ(500U, pdo->getEventTimer());
  PDOInternals::setTimeStamp(*pdo, 5000);
  EXPECT_TRUE(pdo->isInhibited(5099));
  EXPECT_FALSE(pdo->isInhibited(5100));
}

TEST_F(PDOConfiguration, WhatIsMissingCountsAsZero) {
  addRecord(0x1800, {});
  map(0x1A00, {});
  const auto pdo = build(0x1800);
  ASSERT_NE(nullptr, pdo);
  EXPECT_EQ(0U, pdo->getCOBID());
  EXPECT_EQ(PDO_TRANSMISSION_SYNC_ACYCLIC, pdo->getTransmissionType());
  EXPECT_EQ(0U, pdo->getEventTimer());
  PDOInternals::setTimeStamp(*pdo, 5000);
  EXPECT_FALSE(pdo->isInhibited(5000));
}

TEST_F(PDOConfiguration, WhatCannotBeReadCountsAsZero) {
  addTransmitPDO(0, {0x185, 255, 500, 100}, {0x10060020});
  for (const unsigned char subIndex : std::vector<unsigned char>{1, 2, 3, 5}) {
    node.dictionary().getSubentry(0x1800, subIndex)->accessType = ACCESS_WO;
  }
  const auto pdo = build(0x1800);
  EXPECT_EQ(0U, pdo->getCOBID());
  EXPECT_EQ(PDO_TRANSMISSION_SYNC_ACYCLIC, pdo->getTransmissionType());
  EXPECT_EQ(0U, pdo->getEventTimer());
}

TEST_F(PDOConfiguration, ReceivePDOHasNoInhibitTime) {
  addRecord(0x1400, {{1, 0x205}, {2, 255}, {3, 100}});
  map(0x1600, {});
  const auto pdo = build(0x1400);
  PDOInternals::setTimeStamp(*pdo, 5000);
  EXPECT_FALSE(pdo->isInhibited(5000));
}

TEST_F(PDOConfiguration, InhibitTimeHasSixteenBits) {
  addRecord(0x1800, {{1, 0x185}, {2, 255}, {3, 0x10000 + 100}});
  map(0x1A00, {});
  const auto pdo = build(0x1800);
  PDOInternals::setTimeStamp(*pdo, 5000);
  EXPECT_TRUE(pdo->isInhibited(5099));
  EXPECT_FALSE(pdo->isInhibited(5100));
}

struct COBIDCase {
  unsigned int parameter;
  unsigned int cobID;
};

class PDOConfigurationCOBID : public PDOConfiguration, public testing::WithParamInterface<COBIDCase> {};

TEST_P(PDOConfigurationCOBID, HasNoFlags) {
  addRecord(0x1800, {{1, GetParam().parameter}});
  map(0x1A00, {});
  const auto pdo = build(0x1800);
  ASSERT_NE(nullptr, pdo);
  EXPECT_EQ(GetParam().cobID, pdo->getCOBID());
}

INSTANTIATE_TEST_SUITE_P(Valid, PDOConfigurationCOBID,
                         testing::Values(COBIDCase{0x185, 0x185}, COBIDCase{0x40000185, 0x185},
                                         COBIDCase{0x20000185, 0x185}, COBIDCase{0x60000185, 0x185},
                                         COBIDCase{0x7FFFFFFF, 0x1FFFFFFF}, COBIDCase{0, 0}));

class PDOConfigurationInvalidCOBID : public PDOConfiguration, public testing::WithParamInterface<unsigned int> {};

TEST_P(PDOConfigurationInvalidCOBID, MakesNoPDO) {
  addRecord(0x1800, {{1, GetParam()}});
  map(0x1A00, {});
  addRecord(0x1400, {{1, GetParam()}});
  map(0x1600, {});
  EXPECT_EQ(nullptr, build(0x1800));
  EXPECT_EQ(nullptr, build(0x1400));
  EXPECT_EQ("", printed());
}

INSTANTIATE_TEST_SUITE_P(Bit31, PDOConfigurationInvalidCOBID,
                         testing::Values(0x80000000U, 0x80000185U, 0xC0000185U, 0xFFFFFFFFU), test::ReadableName());

// ---- transmit kind

class PDOConfigurationTransmissionType : public PDOConfiguration, public testing::WithParamInterface<int> {
protected:
  static KQTransmitType expectedKind(int type, bool hasEventTimer) {
    if (type == 252 || type == 253) {
      return TRANSMIT_ON_REQUEST;
    }
    return type >= 254 && hasEventTimer ? TRANSMIT_ON_CHANGE_AND_TIMER : TRANSMIT_ON_CHANGE;
  }
};

TEST_P(PDOConfigurationTransmissionType, DecidesTheTransmitKind) {
  const auto type = static_cast<unsigned char>(GetParam());
  for (const unsigned short eventTimer : {static_cast<unsigned short>(0), static_cast<unsigned short>(1)}) {
    addTransmitPDO(0, {0x185, type, eventTimer}, {});
    addReceivePDO(0, {0x205, type, eventTimer}, {});
    const auto transmit = build(0x1800);
    EXPECT_EQ(expectedKind(type, eventTimer != 0), transmit->getTransmitType());
    EXPECT_EQ(GetParam(), transmit->getTransmissionType());
    EXPECT_EQ(TRANSMIT_RECEIVE, build(0x1400)->getTransmitType());
  }
}

INSTANTIATE_TEST_SUITE_P(All, PDOConfigurationTransmissionType, testing::Range(0, 256), test::ReadableName());

// ---- places and mapped objects

struct PlaceCase {
  std::vector<unsigned int> bits;
  std::vector<unsigned int> places;
};

class PDOConfigurationPlaces : public PDOConfiguration, public testing::WithParamInterface<PlaceCase> {};

TEST_P(PDOConfigurationPlaces, FollowOneAnother) {
  test::Mapping mapping;
  for (const unsigned int bits : GetParam().bits) {
    mapping.push_back(0x10060000U | bits);
  }
  addTransmit(mapping);
  EXPECT_EQ(GetParam().places, placesOf(*build(0x1800)));
}

// The third row: five times three bits stay in byte position 0, where the bit position exceeds 7.
INSTANTIATE_TEST_SUITE_P(Lengths, PDOConfigurationPlaces,
                         testing::Values(PlaceCase{{8, 16, 32}, {0, 8, 24}}, PlaceCase{{4, 4, 8}, {0, 4, 8}},
                                         PlaceCase{{3, 3, 3, 3, 3, 8}, {0, 3, 6, 9, 12, 15}},
                                         PlaceCase{{12, 12, 8}, {0, 12, 24}}, PlaceCase{{1, 32, 1}, {0, 1, 33}},
                                         PlaceCase{{0, 8}, {0, 0}}, PlaceCase{{64, 8}, {0, 64}}));

TEST_F(PDOConfiguration, EntryThatCannotBeReadTakesNoPlace) {
  addVariables(4, 16);
  addTransmit({0x20010110, 0x20010210, 0x20010310, 0x20010410});
  node.dictionary().getSubentry(0x1A00, 1)->accessType = ACCESS_WO;
  node.dictionary().getSubentry(0x1A00, 3)->accessType = ACCESS_WO;
  const auto pdo = build(0x1800);
  EXPECT_EQ(4U, pdo->getFrameLength());
  EXPECT_EQ((std::set<unsigned int>{0x20010002, 0x20010004}), pdo->getAllMappedVariableKeys());
  EXPECT_EQ((std::vector<unsigned int>{0, 16}), placesOf(*pdo));
}

TEST_F(PDOConfiguration, MissingEntryTakesNoPlace) {
  addVariables(2, 16);
  addRecord(0x1800, {{1, 0x185}});
  addRecord(0x1A00, {{0, 3}, {1, 0x20010110}, {3, 0x20010210}});
  const auto pdo = build(0x1800);
  EXPECT_EQ((std::vector<unsigned int>{0, 16}), placesOf(*pdo));
}

TEST_F(PDOConfiguration, RecordSaysWhatIsMapped) {
  addVariable(0x2001, 1, 16, true);
  addVariable(0x2001, 0xFE, 32, false);
  KQVariable text(0x2002, 1, "text", STORAGE_TYPE_STRING);
  node.canopen().addVariable(&text);
  addTransmit({0x20010110, 0x2001FE20, 0x20020108});
  const auto pdo = build(0x1800);
  const auto& records = pdo->getMappingData();
  ASSERT_EQ(3U, records.size());
  EXPECT_EQ(0x20010001U, records[0]->getKey());
  EXPECT_EQ(16U, records[0]->getBitLength());
  EXPECT_TRUE(records[0]->isSigned());
  EXPECT_EQ(STORAGE_TYPE_INTEGER, records[0]->getStorageType());
  EXPECT_EQ(0x200100FEU, records[1]->getKey());
  EXPECT_FALSE(records[1]->isSigned());
  EXPECT_EQ(STORAGE_TYPE_STRING, records[2]->getStorageType());
  EXPECT_EQ(0U, records[2]->getLowestRawValue());
  EXPECT_EQ(0xFFFFFFFFU, records[2]->getHighestRawValue());
}

TEST_F(PDOConfiguration, SignIsThatOfTheObjectWhateverTheLength) {
  addVariable(0x2001, 1, 32, true);
  addTransmit({0x20010103});
  EXPECT_TRUE(build(0x1800)->getMappingData()[0]->isSigned());
}

TEST_F(PDOConfiguration, MissingObjectIsLoggedAndMappedAllTheSame) {
  addTransmit({0x21AB0C10, 0x10060020});
  testing::internal::CaptureStderr();
  const auto pdo = build(0x1800);
  EXPECT_EQ(
      "kq_can_open: KQPDOHandler::getPDODataFromObjectDictionary()   => Variable 0x21AB, 0xC could not be found in "
      "Object Dictionary \n",
      testing::internal::GetCapturedStderr());
  EXPECT_EQ((std::vector<unsigned int>{0, 16}), placesOf(*pdo));
}

TEST_F(PDOConfiguration, ObjectWithoutTypeIsLoggedAndMappedAllTheSame) {
  node.dictionary().addEntry(0x21AB, OBJECT_TYPE_RECORD, "object");
  node.dictionary().addSubentry(0x21AB, 0x0C, ACCESS_RW, DATA_TYPE_NONE, "", true, 0, "", 0);
  addTransmit({0x21AB0C10});
  testing::internal::CaptureStderr();
  const auto pdo = build(0x1800);
  EXPECT_EQ(
      "kq_can_open: KQPDOHandler::getPDODataFromObjectDictionary()   => Variable 0x21AB, 0xC has Storage Type: "
      "STORAGE_TYPE_UNDEFINED \n",
      testing::internal::GetCapturedStderr());
  EXPECT_EQ(1U, pdo->getMappingData().size());
}

TEST_F(PDOConfiguration, DummyEntriesAreNotLogged) {
  addTransmit({0x00050008, 0x00070020});
  testing::internal::CaptureStderr();
  EXPECT_EQ(5U, build(0x1800)->getFrameLength());
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

// ---- action

TEST_F(PDOConfiguration, ActionIsThatOfTheCommunicationIndex) {
  addTransmitPDO(0, {0x185}, {});
  addTransmitPDO(1, {0x186}, {});
  EXPECT_EQ(KQ_DONE, handler().setPDOAction(1, PDO_TYPE_TRANSMIT, 2, 0x10060000));
  EXPECT_EQ(0, build(0x1800)->getAction());
  EXPECT_EQ(0U, build(0x1800)->getActionKey());
  EXPECT_EQ(2, build(0x1801)->getAction());
  EXPECT_EQ(0x10060000U, build(0x1801)->getActionKey());
}

TEST_F(PDOConfiguration, LaterActionReplacesTheEarlierOne) {
  addTransmitPDO(0, {0x185}, {});
  handler().setPDOAction(0, PDO_TYPE_TRANSMIT, 2, 0x10060000);
  handler().setPDOAction(0, PDO_TYPE_TRANSMIT, 7, 0x10070000);
  EXPECT_EQ(7, build(0x1800)->getAction());
  EXPECT_EQ(0x10070000U, build(0x1800)->getActionKey());
}

TEST_F(PDOConfiguration, ReceivePDOTakesNoAction) {
  addReceivePDO(0, {0x205}, {});
  addTransmitPDO(0, {0x185}, {});
  EXPECT_EQ(KQ_NOT_HANDLED, handler().setPDOAction(0, PDO_TYPE_RECEIVE, 2, 0x10060000));
  EXPECT_EQ(KQ_NOT_HANDLED, node.canopen().setPDOAction(0, PDO_TYPE_RECEIVE, 2, 0x10060000));
  EXPECT_EQ(0, build(0x1400)->getAction());
  EXPECT_EQ(0, build(0x1800)->getAction());
}

TEST_F(PDOConfiguration, AnyOtherKindCountsAsTransmit) {
  addTransmitPDO(0, {0x185}, {});
  EXPECT_EQ(KQ_DONE, node.canopen().setPDOAction(0, static_cast<KQCANopenPDOType>(7), 2, 0x10060000));
  EXPECT_EQ(2, build(0x1800)->getAction());
}

TEST(PDOConfigurationBeforeInit, ActionHasNobodyToTakeIt) {
  KQCANopen node("node");
  EXPECT_EQ(KQ_NOT_AVAILABLE, node.setPDOAction(0, PDO_TYPE_TRANSMIT, 2, 0x10060000));
  EXPECT_EQ(KQ_NOT_AVAILABLE, node.setPDOAction(0, PDO_TYPE_RECEIVE, 2, 0x10060000));
}

}  // namespace
