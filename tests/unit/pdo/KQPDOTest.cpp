// Covers: one PDO by itself.
//
// | subject                  | functional                               | robustness                                |
// |--------------------------|------------------------------------------|-------------------------------------------|
// | construction             | what is kept, what starts at 0           |                                           |
// | fillMessage              | COB-ID flags, length, values, bits of no | null, missing, write-only and text        |
// |                          | object, dummy entries, records that      | objects, values marked invalid            |
// |                          | overlap, narrow and wide                 |                                           |
// | handleExtractedValue     | integer and text, results of the         | no dictionary, dummy entries              |
// |                          | dictionary                               |                                           |
// | extractMappedValues      | values, dummy entries, a text between    | short frames, an object that comes later, |
// |                          | integers, a mapping that grows           | no dictionary                             |
// | getAllMappedVariableKeys | none, several, the same one twice        |                                           |
// | isInhibited              | both sides of the time, never sent,      | the tick wraps                            |
// |                          | switched off                             |                                           |

#include "KQPDO.h"

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

constexpr int READ_ONLY = 0x06010002;

class PDO : public test::PDOFixture {
protected:
  PDO() {
    pdo.setCOBID(0x185);
    pdo.setFrameLength(8);
  }

  static void addRecord(KQPDO& target, int byte, unsigned int bits, unsigned int key,
                        KQVariableStorageType type = STORAGE_TYPE_INTEGER) {
    ASSERT_EQ(KQ_OK, target.addMappingData(byte, 0, bits, key, type, false, 0, nullptr, 0xFFFFFFFF, nullptr, 0.0F, 0.0F,
                                           1.0F, 0, nullptr, false));
  }

  void addRecord(int byte, unsigned int bits, unsigned int key, KQVariableStorageType type = STORAGE_TYPE_INTEGER) {
    addRecord(pdo, byte, bits, key, type);
  }

  // The frame that the PDO packs over data bytes that are all before.
  std::string filled(unsigned char before = 0) {
    KQCANMessage message;
    std::fill(std::begin(message.data), std::end(message.data), before);
    EXPECT_EQ(KQ_OK, pdo.fillMessage(&message));
    return test::toText(message);
  }

  void addText(unsigned short index, unsigned char subIndex) {
    KQVariable text(index, subIndex, "text", STORAGE_TYPE_STRING);
    ASSERT_EQ(KQ_OK, node.canopen().addVariable(&text));
  }

  int apply(const std::string& frame) {
    KQCANMessage message = test::frame(frame);
    return pdo.extractMappedValues(&message, KQDEI::instance(), nullptr, false);
  }

  int extract(unsigned int key, int value) { return pdo.handleExtractedValue(key, value, nullptr, nullptr, 0); }
  int extract(unsigned int key, const std::string& text) {
    return pdo.handleExtractedValue(key, text, nullptr, nullptr, 0);
  }

  KQPDO pdo{8, TRANSMIT_ON_CHANGE, 100, 1000, &node.dictionary(), PDO_TRANSMISSION_EVENT_PROFILE};
  KQPDO detached{8, TRANSMIT_RECEIVE, 0, 0, nullptr, PDO_TRANSMISSION_EVENT_PROFILE};
};

TEST_F(PDO, KeepsWhatItIsBuiltWith) {
  const KQPDO built(5, TRANSMIT_ON_REQUEST, 100, 70000, nullptr, PDO_TRANSMISSION_RTR_EVENT);
  EXPECT_EQ(5U, built.getDataLength());
  EXPECT_EQ(TRANSMIT_ON_REQUEST, built.getTransmitType());
  EXPECT_EQ(70000U, built.getEventTimer());
  EXPECT_EQ(70000U, built.getCycleTime());
  EXPECT_EQ(PDO_TRANSMISSION_RTR_EVENT, built.getTransmissionType());
}

TEST_F(PDO, EverythingElseStartsAtZero) {
  EXPECT_EQ(0U, detached.getCommunicationIndex());
  EXPECT_EQ(0U, detached.getFrameLength());
  EXPECT_EQ(0U, detached.getCOBID());
  EXPECT_EQ(0U, detached.getTimeStamp());
  EXPECT_EQ(0, detached.getAction());
  EXPECT_EQ(0U, detached.getActionKey());
  EXPECT_FALSE(detached.isTimedOut());
}

// ---- fillMessage

TEST_F(PDO, NoFrameIsRefused) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, pdo.fillMessage(nullptr));
}

TEST_F(PDO, WithoutMappingLeavesTheDataAlone) {
  EXPECT_EQ("185#AA AA AA AA AA AA AA AA", filled(0xAA));
}

TEST_F(PDO, BitsOfNoObjectStayAsTheyAre) {
  addVariable(0x2001, 1, 4);
  change(0x2001, 1, 0x3);
  addRecord(1, 4, 0x20010001);
  EXPECT_EQ("185#AA A3 AA AA AA AA AA AA", filled(0xAA));
}

TEST_F(PDO, WithoutDictionaryPacksZero) {
  addRecord(detached, 0, 16, 0x20010001);
  detached.setFrameLength(2);
  KQCANMessage message;
  message.data[0] = message.data[1] = 0xFF;
  EXPECT_EQ(KQ_OK, detached.fillMessage(&message));
  EXPECT_EQ("000#00 00", test::toText(message));
}

class PDOFlags : public PDO, public testing::WithParamInterface<std::pair<unsigned int, unsigned int>> {};

TEST_P(PDOFlags, NeverLeaveInTheIdentifier) {
  pdo.setCOBID(GetParam().first);
  KQCANMessage message;
  pdo.fillMessage(&message);
  EXPECT_EQ(GetParam().second, message.identifier);
}

INSTANTIATE_TEST_SUITE_P(COBID, PDOFlags,
                         testing::Values(std::make_pair(0x181U, 0x181U), std::make_pair(0x40000181U, 0x181U),
                                         std::make_pair(0x20000181U, 0x181U), std::make_pair(0x80000181U, 0x181U),
                                         std::make_pair(0xE0000181U, 0x181U), std::make_pair(0xFFFFFFFFU, 0x1FFFFFFFU),
                                         std::make_pair(0U, 0U)));

class PDOLength : public PDO, public testing::WithParamInterface<unsigned int> {};

TEST_P(PDOLength, IsThatOfTheFrame) {
  pdo.setFrameLength(static_cast<unsigned char>(GetParam()));
  KQCANMessage message;
  pdo.fillMessage(&message);
  EXPECT_EQ(GetParam(), message.length);
}

INSTANTIATE_TEST_SUITE_P(Length, PDOLength, testing::Range(0U, 9U), test::ReadableName());

TEST_F(PDO, ValuesArePackedLittleEndianInTheirPlaces) {
  addVariables(3, 32);
  change(0x2001, 1, 0x12345678);
  change(0x2001, 2, -2);
  change(0x2001, 3, 0x99);
  addRecord(4, 32, 0x20010001);
  addRecord(0, 16, 0x20010002);
  addRecord(2, 8, 0x20010003);
  EXPECT_EQ("185#FE FF 99 00 78 56 34 12", filled());
}

TEST_F(PDO, RecordBeyondTheFrameIsLeftOut) {
  addVariables(2, 16);
  change(0x2001, 1, 0x1111);
  change(0x2001, 2, 0x2222);
  addRecord(0, 16, 0x20010001);
  addRecord(2, 16, 0x20010002);
  pdo.setFrameLength(3);
  EXPECT_EQ("185#11 11 00", filled());
}

TEST_F(PDO, DummyEntryPacksZeroWithoutAskingTheDictionary) {
  *node.dictionary().getPointerToValue(0x0005, 0) = 0x55;
  addObject(0x0FFF, 0, 0x66);
  addRecord(0, 8, 0x00050000);
  addRecord(1, 8, 0x0FFF0000);
  EXPECT_EQ("185#00 00 FF FF FF FF FF FF", filled(0xFF));
}

TEST_F(PDO, FirstObjectThatIsNoDummyIsTheDeviceType) {
  addRecord(0, 32, 0x10000000);
  *node.dictionary().getPointerToValue(0x1000, 0) = 0x01020304;
  EXPECT_EQ("185#04 03 02 01 00 00 00 00", filled());
}

TEST_F(PDO, MissingObjectPacksZero) {
  addRecord(0, 8, 0x21000001);
  EXPECT_EQ("185#00 FF FF FF FF FF FF FF", filled(0xFF));
}

TEST_F(PDO, WriteOnlyObjectPacksZero) {
  addVariable(0x2001, 1, 8);
  change(0x2001, 1, 0x42);
  node.dictionary().getSubentry(0x2001, 1)->accessType = ACCESS_WO;
  addRecord(0, 8, 0x20010001);
  EXPECT_EQ("185#00 00 00 00 00 00 00 00", filled());
}

TEST_F(PDO, ValueMarkedInvalidIsPackedAllTheSame) {
  addVariable(0x2001, 1, 8);
  change(0x2001, 1, 0x42);
  KQDEI::instance()->markValueAsInvalid(0x2001, 1, true);
  addRecord(0, 8, 0x20010001);
  EXPECT_EQ("185#42 00 00 00 00 00 00 00", filled());
}

TEST_F(PDO, TextIsNotPacked) {
  addText(0x2002, 1);
  KQDEI::instance()->setVariableValue(0x2002, 1, std::string("abc"), true, false);
  addRecord(0, 24, 0x20020001, STORAGE_TYPE_STRING);
  EXPECT_EQ("185#00 00 00 00 00 00 00 00", filled());
}

struct OverlapCase : test::NamedCase {
  struct Record {
    int byte;
    unsigned int bits;
    unsigned char value;  // sub-index of 0x2001
  };
  std::vector<Record> records;
  const char* frame;
};

class PDOOverlap : public PDO, public testing::WithParamInterface<OverlapCase> {};

// 0x2001 holds 0x11111111, 0x22222222 and 0x33333333.
TEST_P(PDOOverlap, LaterRecordLiesOnTheEarlierOne) {
  addVariables(3, 32);
  for (unsigned short subIndex = 1; subIndex <= 3; ++subIndex) {
    change(0x2001, subIndex, 0x11111111 * subIndex);
  }
  for (const OverlapCase::Record& record : GetParam().records) {
    addRecord(record.byte, record.bits, 0x20010000U + record.value);
  }
  EXPECT_EQ(GetParam().frame, filled());
}

INSTANTIATE_TEST_SUITE_P(
    Records, PDOOverlap,
    testing::Values(OverlapCase{{"Narrow"}, {{0, 32, 1}, {1, 16, 2}}, "185#11 22 22 11 00 00 00 00"},
                    OverlapCase{{"NarrowOnWide"}, {{0, 40, 1}, {3, 16, 2}}, "185#11 11 11 22 22 00 00 00"},
                    OverlapCase{{"WideOnNarrow"}, {{3, 16, 2}, {0, 40, 1}}, "185#11 11 11 11 00 00 00 00"},
                    OverlapCase{{"WideOnWide"}, {{0, 48, 1}, {2, 48, 2}}, "185#11 11 22 22 22 22 00 00"},
                    OverlapCase{{"WideBetween"}, {{2, 16, 3}, {0, 64, 1}, {1, 8, 2}}, "185#11 22 11 11 00 00 00 00"}),
    test::caseName<OverlapCase>);

// ---- handleExtractedValue

TEST_F(PDO, WithoutDictionaryTakesNothing) {
  EXPECT_EQ(KQ_NOT_AVAILABLE, detached.handleExtractedValue(0x20010001, 1, KQDEI::instance(), &node.canopen(), 0));
  EXPECT_EQ(KQ_NOT_AVAILABLE,
            detached.handleExtractedValue(0x20010001, std::string("a"), KQDEI::instance(), &node.canopen(), 0));
  EXPECT_EQ(KQ_NOT_AVAILABLE, detached.handleExtractedValue(0x00050000, 1, nullptr, nullptr, 0));
}

TEST_F(PDO, ReceivedDummyIsDropped) {
  addObject(0x0FFF, 0, 7);
  EXPECT_EQ(KQ_OK, extract(0x00050000, 1));
  EXPECT_EQ(KQ_OK, extract(0x0FFF0000, 1));
  EXPECT_EQ(KQ_OK, extract(0x00050000, "text"));
  EXPECT_EQ(7U, read(0x0FFF, 0));
}

TEST_F(PDO, ReceivedValueReachesTheDictionary) {
  EXPECT_EQ(KQ_OK, extract(0x10060000, 0x12345678));
  EXPECT_EQ(0x12345678U, read(0x1006, 0));
}

TEST_F(PDO, ReceivedValueReachesTheVariable) {
  addVariable(0x2001, 1, 16);
  EXPECT_EQ(KQ_OK, extract(0x20010001, 0x1234));
  EXPECT_EQ(0x1234, stored(0x2001, 1));
}

TEST_F(PDO, ReceivedTextReachesTheVariable) {
  addText(0x2002, 1);
  EXPECT_EQ(KQ_OK, extract(0x20020001, "abc"));
  std::string text;
  EXPECT_EQ(KQ_OK, KQDEI::instance()->getVariableValue(0x2002, 1, &text));
  EXPECT_EQ("abc", text);
}

TEST_F(PDO, OnlyTheLowByteOfTheKeyIsTheSubIndex) {
  addVariable(0x2001, 1, 16);
  EXPECT_EQ(KQ_OK, extract(0x20015501, 0x77));
  EXPECT_EQ(0x77, stored(0x2001, 1));
}

TEST_F(PDO, DictionaryRefusesAsItDoesForTheBus) {
  addVariable(0x2001, 1, 16);
  node.dictionary().getSubentry(0x2001, 1)->accessType = ACCESS_RO;
  EXPECT_EQ(READ_ONLY, extract(0x20010001, 1));
  EXPECT_EQ(KQ_NOT_PERMITTED, extract(0x10000000, 1));
  EXPECT_EQ(KQ_NOT_FOUND, extract(0x21000001, 1));
  EXPECT_EQ(KQ_NOT_FOUND, extract(0x20010001, "text"));
  EXPECT_EQ(KQ_NOT_FOUND, extract(0x21000001, "text"));
}

// ---- extractMappedValues

TEST_F(PDO, FrameIsUnpackedIntoTheDictionary) {
  addVariable(0x2001, 1, 16);
  addRecord(0, 16, 0x20010001);
  addRecord(2, 8, 0x00050000);
  addRecord(3, 32, 0x10060000);
  EXPECT_EQ(KQ_OK, apply("205#34 12 FF 78 56 34 12 00"));
  EXPECT_EQ(0x1234, stored(0x2001, 1));
  EXPECT_EQ(0x12345678U, read(0x1006, 0));
}

TEST_F(PDO, ShortFrameIsUnpackedAsFarAsItReaches) {
  addVariable(0x2001, 1, 16);
  addVariable(0x2001, 2, 16);
  addRecord(0, 16, 0x20010001);
  addRecord(2, 16, 0x20010002);
  EXPECT_EQ(KQ_OK, apply("205#34 12 78"));
  EXPECT_EQ(0x1234, stored(0x2001, 1));
  EXPECT_EQ(0, stored(0x2001, 2));
}

TEST_F(PDO, TextInAFrameIsUnpackedBetweenIntegers) {
  addVariable(0x2001, 1, 8);
  addVariable(0x2001, 2, 8);
  addText(0x2002, 1);
  addRecord(0, 8, 0x20010001);
  addRecord(1, 24, 0x20020001, STORAGE_TYPE_STRING);
  addRecord(4, 8, 0x20010002);
  EXPECT_EQ(KQ_OK, apply("205#11 61 62 63 22"));
  EXPECT_EQ(0x11, stored(0x2001, 1));
  EXPECT_EQ(0x22, stored(0x2001, 2));
  std::string text;
  EXPECT_EQ(KQ_OK, KQDEI::instance()->getVariableValue(0x2002, 1, &text));
  EXPECT_EQ("abc", text);
}

TEST_F(PDO, ObjectThatComesLaterIsFound) {
  addRecord(0, 16, 0x20010001);
  EXPECT_EQ(KQ_OK, apply("205#34 12"));
  addVariable(0x2001, 1, 16);
  EXPECT_EQ(KQ_OK, apply("205#78 56"));
  EXPECT_EQ(0x5678, stored(0x2001, 1));
}

TEST_F(PDO, RecordThatComesLaterIsUnpacked) {
  addVariable(0x2001, 1, 8);
  addVariable(0x2001, 2, 8);
  addRecord(0, 8, 0x20010001);
  EXPECT_EQ(KQ_OK, apply("205#01 02"));
  addRecord(1, 8, 0x20010002);
  EXPECT_EQ(KQ_OK, apply("205#03 04"));
  EXPECT_EQ(3, stored(0x2001, 1));
  EXPECT_EQ(4, stored(0x2001, 2));
}

TEST_F(PDO, SamePDOPacksAndUnpacks) {
  addVariable(0x2001, 1, 16);
  addRecord(0, 16, 0x20010001);
  EXPECT_EQ("185#00 00 00 00 00 00 00 00", filled());
  EXPECT_EQ(KQ_OK, apply("205#34 12"));
  EXPECT_EQ("185#34 12 00 00 00 00 00 00", filled());
}

TEST_F(PDO, FrameWithoutDictionaryIsDropped) {
  addRecord(detached, 0, 16, 0x20010001);
  KQCANMessage message = test::frame("205#34 12");
  EXPECT_EQ(KQ_OK, detached.extractMappedValues(&message, KQDEI::instance(), nullptr, false));
}

// ---- the rest

TEST_F(PDO, HasNoKeysWithoutMapping) {
  EXPECT_TRUE(pdo.getAllMappedVariableKeys().empty());
}

TEST_F(PDO, KeysNameEachMappedObjectOnce) {
  addRecord(0, 8, 0x20010002);
  addRecord(1, 8, 0x20010001);
  addRecord(2, 8, 0x20010002);
  addRecord(3, 8, 0x00050000);
  EXPECT_EQ((std::set<unsigned int>{0x00050000, 0x20010001, 0x20010002}), pdo.getAllMappedVariableKeys());
}

struct InhibitCase : test::NamedCase {
  unsigned int timeStamp;
  unsigned int now;
  bool inhibited;
};

class PDOInhibitTime : public PDO, public testing::WithParamInterface<InhibitCase> {};

TEST_P(PDOInhibitTime, RunsFromTheLastTransmission) {
  PDOInternals::setTimeStamp(pdo, GetParam().timeStamp);
  EXPECT_EQ(GetParam().inhibited, pdo.isInhibited(GetParam().now));
}

INSTANTIATE_TEST_SUITE_P(Of100, PDOInhibitTime,
                         testing::Values(InhibitCase{{"NeverSent"}, 0, 50, false},
                                         InhibitCase{{"SameTick"}, 5000, 5000, true},
                                         InhibitCase{{"After99"}, 5000, 5099, true},
                                         InhibitCase{{"After100"}, 5000, 5100, false},
                                         InhibitCase{{"WrapAfter99"}, 0xFFFFFFF0, 83, true},
                                         InhibitCase{{"WrapAfter100"}, 0xFFFFFFF0, 84, false}),
                         test::caseName<InhibitCase>);

TEST_F(PDO, WithoutInhibitTimeIsNeverInhibited) {
  PDOInternals::setTimeStamp(detached, 5000);
  EXPECT_FALSE(detached.isInhibited(5000));
}

}  // namespace
