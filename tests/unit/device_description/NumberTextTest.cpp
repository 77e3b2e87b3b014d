// Covers: numbers as the files write them.
//
// | subject                                                           | functional | robustness |
// |-------------------------------------------------------------------|------------|------------|
// | decimal, hexadecimal, octal, $NODEID in either order and any case | x          |            |
// | two's complement, ranges of types from both sides                 | x          |            |
// | what is no number                                                 |            | x          |

#include "NumberText.h"

#include <gtest/gtest.h>

namespace {

using device_description::IntegerType;
using device_description::NumberText;

constexpr unsigned char NODE_ID = 5;
constexpr IntegerType U8{8, false};
constexpr IntegerType I8{8, true};
constexpr IntegerType U32{32, false};
constexpr IntegerType I32{32, true};
constexpr IntegerType U64{64, false};
constexpr IntegerType I64{64, true};

struct NumberCase {
  const char* name;
  const char* text;
  IntegerType type;
  long long number;
};

class Number : public testing::TestWithParam<NumberCase> {};

TEST_P(Number, IsReadInItsType) {
  const auto number = NumberText::parse(GetParam().text, NODE_ID);
  ASSERT_TRUE(number);
  const auto value = number->as(GetParam().type);
  ASSERT_TRUE(value);
  EXPECT_EQ(GetParam().number, value->number);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, Number,
    testing::Values(NumberCase{"Decimal", "200", U8, 200}, NumberCase{"Hexadecimal", "0xc8", U8, 200},
                    NumberCase{"HexadecimalUpperCase", "0XC8", U8, 200}, NumberCase{"Octal", "0310", U8, 200},
                    NumberCase{"Zero", "0", U8, 0}, NumberCase{"MinusZero", "-0", U8, 0},
                    NumberCase{"Negative", "-128", I8, -128}, NumberCase{"TwosComplement", "0x80", I8, -128},
                    NumberCase{"TwosComplementAll", "0xFFFFFFFF", I32, -1}, NumberCase{"HighestSigned", "127", I8, 127},
                    NumberCase{"HighestUnsigned", "0xFFFFFFFF", U32, 4294967295LL},
                    NumberCase{"Lowest64", "-9223372036854775808", I64, std::numeric_limits<long long>::min()},
                    NumberCase{"Highest64", "0xFFFFFFFFFFFFFFFF", U64, -1},
                    NumberCase{"BeforeComment", "7 ; seven", U8, 7}, NumberCase{"Blanks", " 0x 10 ", U8, 16},
                    NumberCase{"NodeID", "$NODEID", U8, 5}, NumberCase{"NodeIDFirst", "$NODEID+0x180", U32, 0x185},
                    NumberCase{"NodeIDLast", "0x180+$NODEID", U32, 0x185},
                    NumberCase{"NodeIDAnyCase", "0x180 + $NodeId", U32, 0x185},
                    NumberCase{"NodeIDLowerCase", "$nodeid+384", U32, 0x185}),
    [](const auto& tested) { return std::string(tested.param.name); });

class NoNumber : public testing::TestWithParam<const char*> {};

TEST_P(NoNumber, IsRefused) {
  EXPECT_FALSE(NumberText::parse(GetParam(), NODE_ID));
}

INSTANTIATE_TEST_SUITE_P(Texts, NoNumber,
                         testing::Values("", "five", "0x", "10h", "0x1G", "08", "1e3", "0b11", "1.5", "--1", "+-1", "$",
                                         "$NODEID-1", "$NODEID0x180", "0x180$NODEID", "$NODEID+", "+$NODEID",
                                         "$NODEID+$NODEID", "$NODEID+-1", "18446744073709551616",
                                         "$NODEID+0xFFFFFFFFFFFFFFFF"));

struct RangeCase {
  const char* name;
  const char* text;
  IntegerType type;
};

class NumberOutOfRange : public testing::TestWithParam<RangeCase> {};

TEST_P(NumberOutOfRange, IsNoValue) {
  EXPECT_FALSE(NumberText::parse(GetParam().text, NODE_ID)->as(GetParam().type));
}

INSTANTIATE_TEST_SUITE_P(Sides, NumberOutOfRange,
                         testing::Values(RangeCase{"AboveUnsigned", "256", U8}, RangeCase{"BelowUnsigned", "-1", U8},
                                         RangeCase{"DecimalAboveSigned", "128", I8},
                                         RangeCase{"BelowSigned", "-129", I8},
                                         RangeCase{"HexadecimalBeyondBits", "0x100", I8},
                                         RangeCase{"Above32", "0x100000000", U32},
                                         RangeCase{"Above63", "9223372036854775808", I64}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(NumberText, WithinIsInclusiveOnBothSides) {
  EXPECT_TRUE(NumberText::parse("1", NODE_ID)->within(1, 127));
  EXPECT_TRUE(NumberText::parse("127", NODE_ID)->within(1, 127));
  EXPECT_FALSE(NumberText::parse("0", NODE_ID)->within(1, 127));
  EXPECT_FALSE(NumberText::parse("128", NODE_ID)->within(1, 127));
  EXPECT_FALSE(NumberText::parse("-1", NODE_ID)->within(0, 0xFFFFFFFF));
}

TEST(NumberText, RemembersThatItDependsOnTheNodeID) {
  EXPECT_TRUE(NumberText::parse("$NODEID+1", NODE_ID)->as(U8)->dependsOnNodeID);
  EXPECT_FALSE(NumberText::parse("6", NODE_ID)->as(U8)->dependsOnNodeID);
}

}  // namespace
