// Covers: values as a person reads them.
//
// | subject                                                | functional | robustness |
// |--------------------------------------------------------|------------|------------|
// | each data type of CiA 301, both ends of its range      | x          |            |
// | odd numbers of bits out of a PDO                       | x          |            |
// | more or fewer bytes than the type has; unknown types   |            | x          |
// | texts with quotation marks, control letters, no UTF-16 |            | x          |

#include "Value.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NamedCase.h"

namespace {

using monitor::Form;
using monitor::Value;
using monitor::ValueType;

std::string shown(const Value& value) {
  std::string text;
  value.appendTo(text);
  return text;
}

struct BytesCase : test::NamedCase {
  unsigned int type;
  std::vector<unsigned char> bytes;
  const char* text;
};

class ValueOfBytes : public ::testing::TestWithParam<BytesCase> {};

TEST_P(ValueOfBytes, IsShownByItsType) {
  Value value;
  value.setBytes(ValueType::fromCode(GetParam().type), GetParam().bytes.data(), GetParam().bytes.size());
  EXPECT_EQ(GetParam().text, shown(value));
}

const BytesCase BYTES[] = {
    {{"False"}, 0x01, {0}, "false"},
    {{"True"}, 0x01, {1}, "true"},
    {{"Integer8"}, 0x02, {0x80}, "-128"},
    {{"Integer16"}, 0x03, {0xFF, 0x7F}, "32767"},
    {{"Integer24"}, 0x10, {0x00, 0x00, 0x80}, "-8388608"},
    {{"Integer32"}, 0x04, {0, 0, 0, 0x80}, "-2147483648"},
    {{"Integer40"}, 0x12, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, "-1"},
    {{"Integer48"}, 0x13, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, "140737488355327"},
    {{"Integer56"}, 0x14, {0, 0, 0, 0, 0, 0, 0x80}, "-36028797018963968"},
    {{"Integer64"}, 0x15, {0, 0, 0, 0, 0, 0, 0, 0x80}, "-9223372036854775808"},
    {{"Unsigned8"}, 0x05, {0xFF}, "255"},
    {{"Unsigned16"}, 0x06, {0xFF, 0xFF}, "65535"},
    {{"Unsigned24"}, 0x16, {1, 2, 3}, "197121"},
    {{"Unsigned32"}, 0x07, {0xFF, 0xFF, 0xFF, 0xFF}, "4294967295"},
    {{"Unsigned40"}, 0x18, {0, 0, 0, 0, 1}, "4294967296"},
    {{"Unsigned48"}, 0x19, {0, 0, 0, 0, 0, 1}, "1099511627776"},
    {{"Unsigned56"}, 0x1A, {0, 0, 0, 0, 0, 0, 1}, "281474976710656"},
    {{"Unsigned64"}, 0x1B, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, "18446744073709551615"},
    {{"Real32"}, 0x08, {0xCD, 0xCC, 0xCC, 0x3D}, "0.1"},
    {{"Real64"}, 0x11, {0, 0, 0, 0, 0, 0, 0xF0, 0xBF}, "-1"},
    {{"VisibleString"}, 0x09, {'T', 'a', '"', '\\', 7, 0xE9}, "\"Ta\\\"\\\\\\x07\xC3\xA9\""},
    {{"EmptyString"}, 0x09, {}, "\"\""},
    {{"OctetString"}, 0x0A, {0x00, 0x1A, 0xFF}, "00 1A FF"},
    {{"UnicodeString"}, 0x0B, {0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE}, "\"\xE2\x82\xAC\xF0\x9F\x98\x80\""},
    {{"UnicodeStringCutShort"}, 0x0B, {0x41, 0x00, 0x3D, 0xD8, 0x42}, "\"A\\uD83D\""},
    {{"FirstTimeOfDay"}, 0x0C, {0, 0, 0, 0, 0, 0}, "1984-01-01 00:00:00.000"},
    {{"LeapDay"}, 0x0C, {0xFF, 0x5B, 0x26, 0x05, 0x0F, 0x17}, "2000-02-29 23:59:59.999"},
    {{"DayBehindLeapDay"}, 0x0C, {0, 0, 0, 0, 0x10, 0x17}, "2000-03-01 00:00:00.000"},
    {{"TimeDifference"}, 0x0D, {1, 0, 0, 0, 0, 0}, "01 00 00 00 00 00"},
    {{"Domain"}, 0x0F, {1, 2}, "01 02"},
    {{"MoreBytesThanTheType"}, 0x05, {0x12, 0x34}, "18"},
    {{"FewerBytesThanTheType"}, 0x07, {0x12, 0x34}, "12 34"},
    {{"UnknownType"}, 0x00, {0x12, 0x34}, "0x3412"},
    {{"UnknownTypeOfReservedCode"}, 0x17, {0x12}, "0x12"},
    {{"UnknownTypeBeyondAll"}, 0x40, {0xFF, 0x0F}, "0x0FFF"},
    {{"UnknownTypeOfNineLetters"}, 0x00, {'T', 'a', 'v', 'o', ' ', 'd', 'e', 'm', 'o'}, "\"Tavo demo\""},
    {{"UnknownTypeOfNineBytes"}, 0x00, {1, 2, 3, 4, 5, 6, 7, 8, 9}, "01 02 03 04 05 06 07 08 09"},
    {{"UnknownTypeOfNoByte"}, 0x00, {}, ""},
};
INSTANTIATE_TEST_SUITE_P(Value, ValueOfBytes, ::testing::ValuesIn(BYTES), test::caseName<BytesCase>);

TEST(ValueOfBits, LeavesOutWhatIsAbove) {
  Value value;
  value.setBits({Form::UNSIGNED, 12}, 0xFFFFF123, 12);
  EXPECT_EQ("291", shown(value));
}

TEST(ValueOfBits, TakesTheSignOfTheHighestBit) {
  Value value;
  value.setBits({Form::SIGNED, 12}, 0x800, 12);
  EXPECT_EQ(-2048, value.getSigned());
}

TEST(ValueOfBits, TakesNoMoreThanThePDOHas) {
  Value value;
  value.setBits({Form::SIGNED, 16}, 0xFF, 8);
  EXPECT_EQ("-1", shown(value));
}

TEST(ValueOfBits, ShowsAnUnknownTypeByItsDigits) {
  Value value;
  value.setBits({}, 0x5, 9);
  EXPECT_EQ("0x005", shown(value));
}

TEST(ValueOfBits, ShowsARealOfAnotherSizeAsAPattern) {
  Value value;
  value.setBits({Form::REAL, 0}, 0x3C00, 16);
  EXPECT_EQ("0x3C00", shown(value));
}

TEST(ValueOfBits, TakesTextsToo) {
  Value value;
  value.setBits({Form::TEXT, 0}, 0x6F766154, 32);
  EXPECT_EQ("\"Tavo\"", shown(value));
}

}  // namespace
