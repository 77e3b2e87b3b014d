// Covers: KQVariable and KQExternalVariable.
//
// | subject            | functional                                                 | robustness |
// |--------------------|------------------------------------------------------------|------------|
// | KQVariable         | what a new one says, every attribute set and copied        |            |
// | limits             | natural range by bits and sign, explicit ones, odd lengths | x          |
// | KQExternalVariable | what its constructor sets                                  |            |

#include "KQVariable.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>

#include "KQAction.h"
#include "KQExternalVariable.h"
#include "OwnerRecorder.h"

namespace KQ {
namespace {

class NoAction : public KQAction {
public:
  int execute() override { return 0; }
};

TEST(Variable, IsKnownByItsAddress) {
  const KQVariable variable(0x2001, 3, "speed");
  EXPECT_EQ(0x20010003U, variable.getVariableID());
  EXPECT_EQ(0x2001, variable.getFirstAddress());
  EXPECT_EQ(3, variable.getSecondAddress());
  EXPECT_EQ("speed", variable.getName());
}

TEST(Variable, UsesAllSixteenBitsOfBothAddressParts) {
  EXPECT_EQ(0xFFFFFFFFU, KQVariable(0xFFFF, 0xFFFF, "last").getVariableID());
  EXPECT_EQ(0U, KQVariable(0, 0, "first").getVariableID());
}

TEST(Variable, StartsAsAValidReadableWritableInteger) {
  const KQVariable variable(0x2001, 3, "speed");
  EXPECT_EQ(STORAGE_TYPE_INTEGER, variable.getStorageType());
  EXPECT_EQ(32, variable.getBitLength());
  EXPECT_FALSE(variable.isSigned());
  EXPECT_EQ(0, variable.getAccessMode());
  EXPECT_EQ(0, variable.getInitialValue());
  EXPECT_EQ("", variable.getInitialText());
  EXPECT_EQ(nullptr, variable.getOwner());
  EXPECT_EQ("", variable.getChannelName());
  EXPECT_EQ(0U, variable.getExternalIdentifier());
  EXPECT_TRUE(variable.isValid());
  EXPECT_TRUE(variable.getEventActions().empty());
  EXPECT_EQ("", variable.getGroupName());
  EXPECT_FALSE(variable.isForceWriting());
  EXPECT_EQ(0, variable.getBindingMode());
}

TEST(Variable, CopyHasEveryAttribute) {
  test::OwnerRecorder owner;
  NoAction action;
  KQVariable variable(1, 2, "before", STORAGE_TYPE_INTEGER, 16, true);
  variable.setName("after");
  variable.setVariableID(77);
  variable.setFirstAddress(0x2002);
  variable.setSecondAddress(4);
  variable.setAccessMode(2);
  variable.setInitialValue(-5);
  variable.setInitialText("text");
  variable.setSigned(false);
  variable.setBitLength(12);
  variable.setStorageType(STORAGE_TYPE_STRING);
  variable.setOwner(&owner);
  variable.setChannelName("drive");
  variable.setExternalIdentifier(0x60410000U);
  variable.setValid(false);
  variable.setEventActions({{1301, &action}});
  variable.setGroupName("group");
  variable.setForceWriting(true);
  variable.setBindingMode(2);
  variable.setMinimum(-10);
  variable.setMaximum(10);

  const KQVariable copy(variable);
  EXPECT_EQ("after", copy.getName());
  EXPECT_EQ(77U, copy.getVariableID());
  EXPECT_EQ(0x2002, copy.getFirstAddress());
  EXPECT_EQ(4, copy.getSecondAddress());
  EXPECT_EQ(2, copy.getAccessMode());
  EXPECT_EQ(-5, copy.getInitialValue());
  EXPECT_EQ("text", copy.getInitialText());
  EXPECT_FALSE(copy.isSigned());
  EXPECT_EQ(12, copy.getBitLength());
  EXPECT_EQ(STORAGE_TYPE_STRING, copy.getStorageType());
  EXPECT_EQ(&owner, copy.getOwner());
  EXPECT_EQ("drive", copy.getChannelName());
  EXPECT_EQ(0x60410000U, copy.getExternalIdentifier());
  EXPECT_FALSE(copy.isValid());
  EXPECT_EQ((std::map<int, KQAction*>{{1301, &action}}), copy.getEventActions());
  EXPECT_EQ("group", copy.getGroupName());
  EXPECT_TRUE(copy.isForceWriting());
  EXPECT_EQ(2, copy.getBindingMode());
  EXPECT_EQ(-10, copy.getMinimum());
  EXPECT_EQ(10, copy.getMaximum());
}

struct RangeCase {
  int bits;
  bool isSigned;
  int minimum;
  int maximum;
};

class NaturalRange : public testing::TestWithParam<RangeCase> {};

TEST_P(NaturalRange, IsThatOfBitsAndSign) {
  const KQVariable variable(0x2000, 1, "range", STORAGE_TYPE_INTEGER, GetParam().bits, GetParam().isSigned);
  EXPECT_EQ(GetParam().minimum, variable.getMinimum());
  EXPECT_EQ(GetParam().maximum, variable.getMaximum());
}

constexpr int SMALLEST = std::numeric_limits<int>::min();
constexpr int LARGEST = std::numeric_limits<int>::max();

INSTANTIATE_TEST_SUITE_P(Lengths, NaturalRange,
                         testing::Values(RangeCase{1, false, 0, 1}, RangeCase{1, true, -1, 0},
                                         RangeCase{8, false, 0, 255}, RangeCase{8, true, -128, 127},
                                         RangeCase{31, false, 0, LARGEST}, RangeCase{32, false, 0, -1},
                                         RangeCase{32, true, SMALLEST, LARGEST}, RangeCase{64, false, 0, -1},
                                         RangeCase{33, true, SMALLEST, LARGEST}, RangeCase{0, false, 0, 0},
                                         RangeCase{0, true, -1, 0}, RangeCase{-3, true, -1, 0}));

TEST(Variable, ExplicitLimitsReplaceTheNaturalRange) {
  KQVariable variable(0x2000, 1, "range", STORAGE_TYPE_INTEGER, 8, true);
  variable.setMinimum(-1);
  EXPECT_EQ(-1, variable.getMinimum());
  EXPECT_EQ(127, variable.getMaximum());
  variable.setMaximum(1000);
  EXPECT_EQ(1000, variable.getMaximum());
}

TEST(ExternalVariable, HasWhatItsConstructorWasGiven) {
  test::OwnerRecorder owner;
  const KQExternalVariable variable(0x2100, 5, "external", STORAGE_TYPE_STRING, -7, 7, 3, "hello", 24, true, &owner);
  EXPECT_EQ(0x21000005U, variable.getVariableID());
  EXPECT_EQ("external", variable.getName());
  EXPECT_EQ(STORAGE_TYPE_STRING, variable.getStorageType());
  EXPECT_EQ(-7, variable.getMinimum());
  EXPECT_EQ(7, variable.getMaximum());
  EXPECT_EQ(3, variable.getInitialValue());
  EXPECT_EQ("hello", variable.getInitialText());
  EXPECT_EQ(24, variable.getBitLength());
  EXPECT_TRUE(variable.isSigned());
  EXPECT_EQ(&owner, variable.getOwner());
}

}  // namespace
}  // namespace KQ
