// Covers: application variables as the bus sees them.
//
// | subject | functional                                     | robustness                           |
// |---------|------------------------------------------------|--------------------------------------|
// | lengths | 1, 12 and 24 bits, both signs, at their limits | one beyond                           |
// | TPDO    | a change of every mapped variable is sent      | same value, not mapped, not notified |

#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;

const char* const WRITTEN = "585#60 01 20 01 00 00 00 00";
const char* const REFUSED = "585#80 01 20 01 30 00 09 06";

// ---- over SDO

struct LimitRow : test::NamedCase {
  int bits;
  bool isSigned;
  const char* request;
  int value;
  const char* upload;
};

class VariableAtItsLimit : public test::SDOServerFixture, public ::testing::WithParamInterface<LimitRow> {};

TEST_P(VariableAtItsLimit, IsWrittenAndReadBack) {
  addOwnNumber(0x2001, 1, GetParam().bits, GetParam().isSigned);
  EXPECT_EQ(Frames{WRITTEN}, request(GetParam().request));
  EXPECT_EQ(GetParam().value, stored(0x2001, 1));
  EXPECT_EQ(Frames{GetParam().upload}, request("40 01 20 01 00 00 00 00"));
}

const LimitRow LIMIT_ROWS[] = {
    {{"Bit0"}, 1, false, "2F 01 20 01 00 00 00 00", 0, "585#4F 01 20 01 00 00 00 00"},
    {{"Bit1"}, 1, false, "2F 01 20 01 01 00 00 00", 1, "585#4F 01 20 01 01 00 00 00"},
    {{"SignedBit0"}, 1, true, "2F 01 20 01 00 00 00 00", 0, "585#4F 01 20 01 00 00 00 00"},
    {{"SignedBit1"}, 1, true, "2F 01 20 01 01 00 00 00", -1, "585#4F 01 20 01 FF 00 00 00"},
    {{"TwelveBitsLowest"}, 12, false, "2B 01 20 01 00 00 00 00", 0, "585#4B 01 20 01 00 00 00 00"},
    {{"TwelveBitsHighest"}, 12, false, "2B 01 20 01 FF 0F 00 00", 4095, "585#4B 01 20 01 FF 0F 00 00"},
    {{"SignedTwelveBitsLowest"}, 12, true, "2B 01 20 01 00 08 00 00", -2048, "585#4B 01 20 01 00 F8 00 00"},
    {{"SignedTwelveBitsMinusOne"}, 12, true, "2B 01 20 01 FF 0F 00 00", -1, "585#4B 01 20 01 FF FF 00 00"},
    {{"SignedTwelveBitsHighest"}, 12, true, "2B 01 20 01 FF 07 00 00", 2047, "585#4B 01 20 01 FF 07 00 00"},
    {{"Bits24Highest"}, 24, false, "27 01 20 01 FF FF FF 00", 16777215, "585#47 01 20 01 FF FF FF 00"},
    {{"SignedBits24Lowest"}, 24, true, "27 01 20 01 00 00 80 00", -8388608, "585#47 01 20 01 00 00 80 00"},
    {{"SignedBits24MinusOne"}, 24, true, "27 01 20 01 FF FF FF 00", -1, "585#47 01 20 01 FF FF FF 00"},
    {{"SignedBits24Highest"}, 24, true, "27 01 20 01 FF FF 7F 00", 8388607, "585#47 01 20 01 FF FF 7F 00"},
};

INSTANTIATE_TEST_SUITE_P(Table, VariableAtItsLimit, ::testing::ValuesIn(LIMIT_ROWS), test::caseName<LimitRow>);

struct BeyondRow : test::NamedCase {
  int bits;
  bool isSigned;
  const char* request;
};

class VariableBeyondItsLimit : public test::SDOServerFixture, public ::testing::WithParamInterface<BeyondRow> {};

TEST_P(VariableBeyondItsLimit, IsRefused) {
  addOwnNumber(0x2001, 1, GetParam().bits, GetParam().isSigned);
  EXPECT_EQ(Frames{REFUSED}, request(GetParam().request));
  EXPECT_EQ(0, stored(0x2001, 1));
}

const BeyondRow BEYOND_ROWS[] = {
    {{"Bit"}, 1, false, "2F 01 20 01 02 00 00 00"},
    {{"SignedBit"}, 1, true, "2F 01 20 01 02 00 00 00"},
    {{"SignedBitExtended"}, 1, true, "2F 01 20 01 FF 00 00 00"},
    {{"TwelveBits"}, 12, false, "2B 01 20 01 00 10 00 00"},
    {{"SignedTwelveBits"}, 12, true, "2B 01 20 01 00 10 00 00"},
    {{"SignedTwelveBitsExtended"}, 12, true, "2B 01 20 01 FF FF 00 00"},
    {{"Bits24InFourBytes"}, 24, false, "23 01 20 01 00 00 00 01"},
    {{"SignedBits24InFourBytes"}, 24, true, "23 01 20 01 FF FF FF FF"},
};

INSTANTIATE_TEST_SUITE_P(Table, VariableBeyondItsLimit, ::testing::ValuesIn(BEYOND_ROWS), test::caseName<BeyondRow>);

// ---- in a TPDO

struct MappedRow : test::NamedCase {
  unsigned char subIndex;
  int value;
  const char* frame;
};

// A node in OPERATIONAL whose first TPDO maps five variables of the application, one after the other.
class MappedVariables : public test::SDOServerFixture {
protected:
  MappedVariables() {
    const int bits[] = {1, 7, 12, 20, 24};
    const bool signs[] = {false, false, true, false, true};
    for (unsigned short i = 0; i < 5; ++i) {
      addToStore(static_cast<unsigned short>(i + 1), bits[i], signs[i]);
    }
    addToStore(6, 16, false);
    EXPECT_EQ(1, node.canopen().getApplicationVariables());
    node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 0, 0, 255, true, nullptr);
    for (unsigned short i = 0; i < 5; ++i) {
      const auto subIndex = static_cast<unsigned short>(i + 1);
      EXPECT_EQ(0, node.canopen().addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2001, subIndex, bits[i]));
    }
    node.receive("000#82 05");
    node.run(5);
    node.receive("000#01 05");
    node.run(5);
  }

  static void addToStore(unsigned short subIndex, int bits, bool isSigned) {
    const KQ::KQVariable variable(0x2001, subIndex, "number", KQ::STORAGE_TYPE_INTEGER, bits, isSigned);
    ASSERT_EQ(0, KQ::KQDEI::instance()->addVariable(&variable));
  }

  Frames change(unsigned char subIndex, int value, bool notify = true) {
    EXPECT_EQ(0, KQ::KQDEI::instance()->setVariableValue(0x2001, subIndex, value, notify, false));
    return node.port().takeSent();
  }
};

class MappedVariable : public MappedVariables, public ::testing::WithParamInterface<MappedRow> {};

TEST_P(MappedVariable, ChangedByTheApplicationIsSentAtOnce) {
  EXPECT_EQ(Frames{GetParam().frame}, change(GetParam().subIndex, GetParam().value));
  EXPECT_EQ(Frames{}, node.run(10));
}

const MappedRow MAPPED_ROWS[] = {
    {{"OneBit"}, 1, 1, "185#01 00 00 00 00 00 00 00"},
    {{"SevenBits"}, 2, 127, "185#FE 00 00 00 00 00 00 00"},
    {{"TwelveBits"}, 3, -2048, "185#00 00 08 00 00 00 00 00"},
    {{"TwentyBits"}, 4, 0xFFFFF, "185#00 00 F0 FF FF 00 00 00"},
    {{"TwentyFourBits"}, 5, -1, "185#00 00 00 00 00 FF FF FF"},
};

INSTANTIATE_TEST_SUITE_P(EveryVariable, MappedVariable, ::testing::ValuesIn(MAPPED_ROWS), test::caseName<MappedRow>);

TEST_F(MappedVariables, ChangedOneAfterTheOtherAreSentEachTime) {
  EXPECT_EQ(Frames{"185#01 00 00 00 00 00 00 00"}, change(1, 1));
  EXPECT_EQ(Frames{"185#07 00 00 00 00 00 00 00"}, change(2, 3));
  EXPECT_EQ(Frames{"185#07 FF 0F 00 00 00 00 00"}, change(3, -1));
}

TEST_F(MappedVariables, WrittenWithTheSameValueAreNotSent) {
  change(1, 1);
  EXPECT_EQ(Frames{}, change(1, 1));
  EXPECT_EQ(Frames{}, node.run(10));
}

TEST_F(MappedVariables, ChangedWithoutNoticeAreNotSent) {
  EXPECT_EQ(Frames{}, change(1, 1, false));
}

TEST_F(MappedVariables, ChangeOfAVariableThatIsNotMappedIsNotSent) {
  EXPECT_EQ(Frames{}, change(6, 1));
  EXPECT_EQ(Frames{}, node.run(10));
}

TEST_F(MappedVariables, WrittenByAMasterAreSentBeforeTheAnswer) {
  EXPECT_EQ((Frames{"185#01 00 00 00 00 00 00 00", WRITTEN}), request("2F 01 20 01 01 00 00 00"));
}

TEST_F(MappedVariables, ChangedInPreOperationalAreNotSent) {
  node.receive("000#80 05");
  EXPECT_EQ(Frames{}, change(1, 1));
}

}  // namespace
