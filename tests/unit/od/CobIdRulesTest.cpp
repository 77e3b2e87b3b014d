// Covers: COB-IDs of SDO channels and PDOs: which ones may be written when, and what is said about it.
//
// | subject                                        | functional                                        | robustness |
// |------------------------------------------------|---------------------------------------------------|------------|
// | restricted COB-IDs                             | every bound from both sides, identifiers with     |            |
// | higher bits, for PDOs and for SDO channels SDO | x                                                 |            |
// | channel: invalidating, replacing a valid one,  |                                                   |            |
// | making one valid                               |                                                   |            |
// | SDO channel                                    | expected range of each sub-index, server and      |            |
// |                                                | client                                            |            |
// | PDO                                            | zero, invalidating, replacing a valid one, bit 30 |            |
// |                                                | of each kind                                      |            |
// | every line on standard output, whatever the    | x                                                 |            |
// | stream is set to                               |                                                   |            |

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "ChangedStreamFormat.h"
#include "DictionaryFixture.h"
#include "KQErrorCodes.h"

using namespace KQ;
using test::stored;

namespace {

constexpr unsigned int INVALID = 0x80000000;

std::string hex(unsigned int value) {
  std::ostringstream text;
  text << std::hex << value;
  return text.str();
}

class CobIdRule : public test::DictionaryFixture {
protected:
  // Writes over current. @return the result; the value then stored stands in `now`, the printed text in `said`
  int write(unsigned short index, unsigned char subIndex, unsigned int current, unsigned int value, bool force) {
    addObject(index, subIndex, stored(current));
    const int result = dictionary.setValue(index, subIndex, stored(value), force);
    now = static_cast<unsigned int>(storedValue(index, subIndex));
    said = output.takeOutput();
    return result;
  }

  unsigned int now = 0;
  std::string said;
};

// ---- restricted COB-IDs

struct RestrictedRow {
  unsigned int cobID;
  bool allowed;
};

std::string restrictedName(const testing::TestParamInfo<RestrictedRow>& info) {
  return (info.param.allowed ? "Allowed" : "Restricted") + hex(info.param.cobID);
}

class RestrictedCobId : public CobIdRule, public testing::WithParamInterface<RestrictedRow> {};

TEST_P(RestrictedCobId, OfAReceivePDO) {
  const unsigned int cobID = GetParam().cobID;
  EXPECT_EQ(GetParam().allowed ? KQ_OK : test::ABORT_VALUE_RANGE, write(0x1400, 1, INVALID, cobID, false));
  EXPECT_EQ(GetParam().allowed ? cobID & ~0x40000000U : INVALID, now);
}

TEST_P(RestrictedCobId, OfATransmitPDO) {
  const unsigned int cobID = GetParam().cobID;
  EXPECT_EQ(GetParam().allowed ? KQ_OK : test::ABORT_VALUE_RANGE, write(0x1800, 1, INVALID, cobID, true));
  EXPECT_EQ(GetParam().allowed ? cobID | 0x40000000U : INVALID, now);
}

TEST_P(RestrictedCobId, RefusedInSilence) {
  write(0x1400, 1, INVALID, GetParam().cobID, false);
  EXPECT_EQ(!GetParam().allowed, said.empty());
}

const RestrictedRow RESTRICTED[] = {
    {0x1, false},       {0x7F, false},  {0x80, true},       {0x100, true},      {0x101, false},     {0x180, false},
    {0x181, true},      {0x201, true},  {0x580, true},      {0x581, false},     {0x5FF, false},     {0x600, true},
    {0x601, false},     {0x67F, false}, {0x680, true},      {0x6DF, true},      {0x6E0, false},     {0x6FF, false},
    {0x700, true},      {0x701, false}, {0x77F, false},     {0x780, true},      {0x7FF, true},      {0x800, true},
    {0x20000001, true}, {0x481, true},  {0x501, true},      {0x20000101, true}, {0x20000581, true}, {0x20000601, true},
    {0x57F, true},      {0xE01, true},  {0x400006E0, true}, {0x7FFFFFFF, true},
};

INSTANTIATE_TEST_SUITE_P(Bounds, RestrictedCobId, testing::ValuesIn(RESTRICTED), restrictedName);

// ---- SDO channels

struct SDORow {
  const char* name;
  unsigned short index;
  unsigned char subIndex;
  unsigned int current;
  unsigned int value;
  int result;
};

class SDOCobId : public CobIdRule, public testing::WithParamInterface<SDORow> {};

TEST_P(SDOCobId, IsWrittenOrRefused) {
  const SDORow& row = GetParam();
  EXPECT_EQ(row.result, write(row.index, row.subIndex, row.current, row.value, true));
  EXPECT_EQ(row.result == KQ_OK ? row.value : row.current, now);
  const bool invalidated = (row.value & INVALID) != 0;
  EXPECT_EQ(invalidated ? "Set SDO COB-ID invalid, new value: 0x" + hex(row.value) + "\n" : "", said);
}

const SDORow SDO_STEPS[] = {
    {"ValidMadeInvalid", 0x1201, 1, 0x620, 0x80000620, KQ_OK},
    {"DefaultChannelMadeInvalid", 0x1200, 1, 0x605, 0x80000605, KQ_OK},
    {"DefaultChannelResponseMadeInvalid", 0x1200, 2, 0x585, 0x80000585, KQ_OK},
    {"InvalidMadeInvalidAgain", 0x1201, 1, 0x80000620, 0x80000621, KQ_OK},
    {"InvalidWithAnyIdentifier", 0x1201, 2, 0x5A0, 0xFFFFFFFF, KQ_OK},
    {"ClientMadeInvalid", 0x1280, 1, 0x600, 0x80000000, KQ_OK},
    {"LastClientMadeInvalid", 0x12FF, 2, 0x580, 0x80000001, KQ_OK},
    {"ValidReplacedInRange", 0x1201, 1, 0x620, 0x621, KQ_OK},
    {"ValidReplacedOutOfRange", 0x1201, 1, 0x620, 0x123, KQ_OK},
    {"ValidReplacedByZero", 0x1201, 2, 0x620, 0, KQ_OK},
    {"ValidReplacedByHighest", 0x127F, 2, 0, 0x7FFFFFFF, KQ_OK},
    {"ValidClientReplaced", 0x1280, 1, 0x580, 0x700, KQ_OK},
    {"PlainIdentifierInRangeIsRestricted", 0x1201, 1, INVALID, 0x620, test::ABORT_VALUE_RANGE},
    {"PlainResponseInRangeIsRestricted", 0x1201, 2, INVALID, 0x5A0, test::ABORT_VALUE_RANGE},
    {"PlainClientIdentifierIsRestricted", 0x1280, 1, INVALID, 0x5A0, test::ABORT_VALUE_RANGE},
    {"ZeroIsRestricted", 0x1201, 1, INVALID, 0, test::ABORT_VALUE_RANGE},
    {"UnrestrictedOutOfRange", 0x1201, 1, INVALID, 0x201, test::ABORT_VALUE_RANGE},
    {"Bit11MakesValid", 0x1201, 1, INVALID, 0xE01, KQ_OK},
    {"Bit30MakesValid", 0x1201, 1, INVALID, 0x40000601, KQ_OK},
    {"DefaultChannelMadeValid", 0x1200, 1, INVALID, 0x20000605, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(Steps, SDOCobId, testing::ValuesIn(SDO_STEPS), test::rowName());

constexpr int OUTSIDE = test::ABORT_VALUE_RANGE;

// Bit 29 takes the value past the restricted identifiers, so that only the range of the low 11 bits decides.
const SDORow SDO_RANGES[] = {
    {"ServerRequestBelow", 0x1201, 1, INVALID, 0x20000600, OUTSIDE},
    {"ServerRequestFirst", 0x1201, 1, INVALID, 0x20000601, KQ_OK},
    {"ServerRequestLast", 0x127F, 1, INVALID, 0x2000067F, KQ_OK},
    {"ServerRequestAbove", 0x127F, 1, INVALID, 0x20000680, OUTSIDE},
    {"ServerResponseBelow", 0x1201, 2, INVALID, 0x20000580, OUTSIDE},
    {"ServerResponseFirst", 0x1201, 2, INVALID, 0x20000581, KQ_OK},
    {"ServerResponseLast", 0x127F, 2, INVALID, 0x200005FF, KQ_OK},
    {"ServerResponseAbove", 0x127F, 2, INVALID, 0x20000600, OUTSIDE},
    {"ServerRequestInResponseRange", 0x1201, 1, INVALID, 0x20000590, OUTSIDE},
    {"ServerResponseInRequestRange", 0x1201, 2, INVALID, 0x20000610, OUTSIDE},
    {"ClientSub1Below", 0x1280, 1, INVALID, 0x20000580, OUTSIDE},
    {"ClientSub1First", 0x1280, 1, INVALID, 0x20000581, KQ_OK},
    {"ClientSub1Last", 0x12FF, 1, INVALID, 0x200005FF, KQ_OK},
    {"ClientSub1Above", 0x12FF, 1, INVALID, 0x20000600, OUTSIDE},
    {"ClientSub2Below", 0x1280, 2, INVALID, 0x20000600, OUTSIDE},
    {"ClientSub2First", 0x1280, 2, INVALID, 0x20000601, KQ_OK},
    {"ClientSub2Last", 0x12FF, 2, INVALID, 0x2000067F, KQ_OK},
    {"ClientSub2Above", 0x12FF, 2, INVALID, 0x20000680, OUTSIDE},
};

INSTANTIATE_TEST_SUITE_P(Ranges, SDOCobId, testing::ValuesIn(SDO_RANGES), test::rowName());

TEST_F(CobIdRule, SDOChannelsOtherThanTheDefaultAreOpenToTheBus) {
  EXPECT_EQ(KQ_OK, write(0x1201, 1, 0x620, 0x80000620, false));
  EXPECT_EQ("Set SDO COB-ID invalid, new value: 0x80000620\n", said);
}

TEST_F(CobIdRule, DefaultSDOChannelIsClosedToTheBus) {
  EXPECT_EQ(KQ_NOT_PERMITTED, write(0x1200, 1, 0x605, 0x80000605, false));
  EXPECT_EQ("", said);
}

TEST_F(CobIdRule, OtherSubIndexesOfAnSDOChannelTakeAnything) {
  EXPECT_EQ(KQ_OK, write(0x1201, 3, INVALID, 0x620, false));
  EXPECT_EQ(KQ_OK, write(0x1201, 3, INVALID, 0x80000620, false));
  EXPECT_EQ("", said);
}

// ---- PDOs

struct PDORow {
  const char* name;
  unsigned short index;
  unsigned int current;
  unsigned int value;
  int result;
  unsigned int after;
  const char* said;
};

class PDOCobId : public CobIdRule, public testing::WithParamInterface<PDORow> {
protected:
  void expectWrite(bool force) {
    const PDORow& row = GetParam();
    EXPECT_EQ(row.result, write(row.index, 1, row.current, row.value, force));
    EXPECT_EQ(row.after, now);
    EXPECT_EQ(row.said, said);
  }
};

TEST_P(PDOCobId, FromTheBus) {
  expectWrite(false);
}

TEST_P(PDOCobId, Forced) {
  expectWrite(true);
}

const PDORow PDO_STEPS[] = {
    {"ZeroOverValid", 0x1400, 0x201, 0, KQ_OK, 0, ""},
    {"ZeroOverInvalid", 0x1800, 0x80000185, 0, KQ_OK, 0, ""},
    {"ReceiveMadeInvalid", 0x1400, 0x201, 0x80000201, KQ_OK, 0x80000201, "Set COB-ID invalid, new value: 0x80000201\n"},
    {"TransmitMadeInvalid", 0x1800, 0x40000185, 0xC0000185, KQ_OK, 0xC0000185,
     "Set COB-ID invalid, new value: 0xc0000185\n"},
    {"InvalidMadeInvalidAgain", 0x15FF, 0x80000201, 0x80000000, KQ_OK, 0x80000000,
     "Set COB-ID invalid, new value: 0x80000000\n"},
    {"InvalidTakesRestrictedIdentifiers", 0x19FF, 0x185, 0x80000001, KQ_OK, 0x80000001,
     "Set COB-ID invalid, new value: 0x80000001\n"},
    {"ValidIsNotReplaced", 0x1400, 0x201, 0x182, test::ABORT_VALUE_RANGE, 0x201,
     "Trying to set 0x 182 to a valid PDO COB-ID -> Error\n"},
    {"ValidIsNotReplacedByItself", 0x1400, 0x201, 0x201, test::ABORT_VALUE_RANGE, 0x201,
     "Trying to set 0x 201 to a valid PDO COB-ID -> Error\n"},
    {"ValidTransmitIsNotReplaced", 0x1800, 0x40000185, 0x1AB, test::ABORT_VALUE_RANGE, 0x40000185,
     "Trying to set 0x 1ab to a valid PDO COB-ID -> Error\n"},
    {"ValidIsNamedBeforeRestricted", 0x1800, 0x40000185, 0x1, test::ABORT_VALUE_RANGE, 0x40000185,
     "Trying to set 0x 1 to a valid PDO COB-ID -> Error\n"},
    {"ZeroCountsAsValid", 0x1400, 0, 0x201, test::ABORT_VALUE_RANGE, 0,
     "Trying to set 0x 201 to a valid PDO COB-ID -> Error\n"},
    {"ReceiveMadeValid", 0x1400, 0x80000201, 0x201, KQ_OK, 0x201, "Set COB-ID valid, value: 0x201\n"},
    {"ReceiveLosesBit30", 0x15FF, 0x80000201, 0x40000201, KQ_OK, 0x201, "Set COB-ID valid, value: 0x201\n"},
    {"TransmitGetsBit30", 0x1800, 0x80000185, 0x185, KQ_OK, 0x40000185, "Set COB-ID valid, value: 0x40000185\n"},
    {"TransmitKeepsBit30", 0x19FF, 0xC0000185, 0x40000185, KQ_OK, 0x40000185, "Set COB-ID valid, value: 0x40000185\n"},
    {"HigherBitsStay", 0x1400, 0x80000201, 0x20000201, KQ_OK, 0x20000201, "Set COB-ID valid, value: 0x20000201\n"},
    {"RestrictedIsRefusedInSilence", 0x1800, 0x80000185, 0x585, test::ABORT_VALUE_RANGE, 0x80000185, ""},
};

INSTANTIATE_TEST_SUITE_P(Steps, PDOCobId, testing::ValuesIn(PDO_STEPS), test::rowName());

TEST_F(CobIdRule, RefusedPDOCobIdIsNotChangedForTheCaller) {
  addObject(0x1800, 1, stored(0x80000185));
  int value = 0x585;
  EXPECT_EQ(test::ABORT_VALUE_RANGE,
            dictionary.handleValueChangeRequest(0x1800, dictionary.getSubentry(0x1800, 1), value, false));
  EXPECT_EQ(0x585, value);
}

TEST_F(CobIdRule, AcceptedTransmitPDOCobIdIsChangedForTheCaller) {
  addObject(0x1800, 1, stored(0x80000185));
  int value = 0x185;
  EXPECT_EQ(KQ_OK, dictionary.handleValueChangeRequest(0x1800, dictionary.getSubentry(0x1800, 1), value, false));
  EXPECT_EQ(0x40000185, value);
  EXPECT_EQ(stored(0x80000185), storedValue(0x1800, 1));
}

TEST_F(CobIdRule, ValidPDOIsReplacedByWayOfAnInvalidOne) {
  addObject(0x1400, 1, 0x201);
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1400, 1, stored(0x80000201), false));
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1400, 1, 0x202, false));
  EXPECT_EQ(0x202, storedValue(0x1400, 1));
  EXPECT_EQ("Set COB-ID invalid, new value: 0x80000201\nSet COB-ID valid, value: 0x202\n", output.takeOutput());
}

// ---- format of the lines

struct LineRow {
  const char* name;
  unsigned short index;
  unsigned int current;
  unsigned int value;
  const char* line;
};

class CobIdLine : public CobIdRule, public testing::WithParamInterface<LineRow> {};

TEST_P(CobIdLine, DoesNotDependOnTheFormatOfTheStream) {
  const test::ChangedStreamFormat format;
  write(GetParam().index, 1, GetParam().current, GetParam().value, true);
  EXPECT_EQ(GetParam().line, said);
  EXPECT_TRUE(format.isKept());
}

const LineRow LINES[] = {
    {"SDOInvalid", 0x1201, 0x62A, 0x8000062A, "Set SDO COB-ID invalid, new value: 0x8000062a\n"},
    {"PDOInvalid", 0x1400, 0x20A, 0x8000020A, "Set COB-ID invalid, new value: 0x8000020a\n"},
    {"PDOValid", 0x1400, INVALID, 0x20A, "Set COB-ID valid, value: 0x20a\n"},
    {"PDORefused", 0x1400, 0x20A, 0x18A, "Trying to set 0x 18a to a valid PDO COB-ID -> Error\n"},
};

INSTANTIATE_TEST_SUITE_P(Lines, CobIdLine, testing::ValuesIn(LINES), test::rowName());

}  // namespace
