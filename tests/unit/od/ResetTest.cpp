// Covers: bringing default values back.
//
// | subject      | functional                                                 | robustness |
// |--------------|------------------------------------------------------------|------------|
// | resetValue   | number, text, missing, refused, application variable       |            |
// | performReset | sub-index 0 of VAR and of others, texts, variables         |            |
// | performReset | early end at the first manufacturer object, in map order   |            |
// | performReset | forced, yet with the write rules; failures are passed over |            |

#include <gtest/gtest.h>

#include <string>
#include <unordered_map>

#include "DictionaryFixture.h"
#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQExternalVariable.h"

using namespace KQ;
using test::objectKey;

namespace {

class Reset : public test::DictionaryFixture {
protected:
  void SetUp() override {
    KQDEI::instance()->clear();
    dictionary.setDEI(KQDEI::instance());
    dictionary.setCANopenInstance(&node);
  }

  void TearDown() override { KQDEI::instance()->clear(); }

  // A VAR with default 0 and value 0x55 at an index whose objects may be written.
  void addChangedVar(unsigned short index) {
    dictionary.addEntry(index, OBJECT_TYPE_VAR, "Object");
    addObject(index, 0, 0);
    *dictionary.getPointerToValue(index, 0) = 0x55;
  }

  void addVariable(unsigned short index, KQCANopenAccessType access, KQVariableOwner* owner) {
    dictionary.addEntry(index, OBJECT_TYPE_VAR, "Variable");
    addObject(index, 0, 7, DATA_TYPE_UNSIGNED32, access);
    const KQExternalVariable variable(index, 0, "Variable", STORAGE_TYPE_INTEGER, 0, 100, 50, "", 32, false, owner);
    ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
  }

  int valueInStore(unsigned short index) const {
    int value = 0;
    EXPECT_EQ(KQ_OK, KQDEI::instance()->getVariableValue(index, 0, &value));
    return value;
  }

  KQCANopen node{"node"};
  KQCANopen other{"other"};
};

// ---- one value

TEST_F(Reset, ValueGetsItsDefaultBack) {
  addChangedVar(0x1015);
  EXPECT_EQ(KQ_OK, dictionary.resetValue(objectKey(0x1015, 0)));
  EXPECT_EQ(0, storedValue(0x1015, 0));
}

TEST_F(Reset, ValueIsForced) {
  addChangedVar(0x1000);
  EXPECT_EQ(KQ_OK, dictionary.resetValue(objectKey(0x1000, 0)));
  EXPECT_EQ(0, storedValue(0x1000, 0));
}

TEST_F(Reset, MissingValueIsNoFailure) {
  EXPECT_EQ(KQ_OK, dictionary.resetValue(objectKey(0x1015, 0)));
  addChangedVar(0x1015);
  EXPECT_EQ(KQ_OK, dictionary.resetValue(objectKey(0x1015, 1)));
}

TEST_F(Reset, RefusedValueStaysAndSaysWhy) {
  addChangedVar(0x1011);
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.resetValue(objectKey(0x1011, 0)));
  EXPECT_EQ(0x55, storedValue(0x1011, 0));
}

TEST_F(Reset, DefaultOutsideTheLimitsIsRefused) {
  addChangedVar(0x1015);
  dictionary.setLimits(0x1015, 0, 1, 0x100);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.resetValue(objectKey(0x1015, 0)));
}

TEST_F(Reset, TextIsLeftAsItIs) {
  addText(0x1008, 0, "TAVO");
  dictionary.setValue(0x1008, 0, std::string("changed"), true);
  EXPECT_NE(KQ_OK, dictionary.resetValue(objectKey(0x1008, 0)));
  EXPECT_EQ("changed", dictionary.getSubentry(0x1008, 0)->valueString);
}

TEST_F(Reset, VariableGetsItsDefaultInTheStore) {
  addVariable(0x2000, ACCESS_RO, &node);
  EXPECT_EQ(KQ_OK, dictionary.resetValue(objectKey(0x2000, 0)));
  EXPECT_EQ(7, valueInStore(0x2000));
}

TEST_F(Reset, KeyIgnoresBits8To15) {
  addChangedVar(0x1015);
  EXPECT_EQ(KQ_OK, dictionary.resetValue(0x1015AB00U));
  EXPECT_EQ(0, storedValue(0x1015, 0));
}

// ---- the whole dictionary

TEST_F(Reset, EmptyDictionary) {
  EXPECT_EQ(KQ_OK, dictionary.performReset(true));
  EXPECT_EQ(KQ_OK, dictionary.performReset(false));
}

TEST_F(Reset, SubIndexZeroOfAVarIsReset) {
  addChangedVar(0x1015);
  EXPECT_EQ(KQ_OK, dictionary.performReset(false));
  EXPECT_EQ(0, storedValue(0x1015, 0));
}

struct ObjectTypeRow {
  const char* name;
  KQCANopenObjectType objectType;
};

constexpr unsigned char PARTS[] = {1, 2, 127};

class ResetOfParts : public Reset, public testing::WithParamInterface<ObjectTypeRow> {};

TEST_P(ResetOfParts, LeavesSubIndexZeroAndTakesTheOthers) {
  dictionary.addEntry(0x1016, GetParam().objectType, "Object");
  addObject(0x1016, 0, 3);
  for (const unsigned char subIndex : PARTS) {
    addObject(0x1016, subIndex, 3);
    *dictionary.getPointerToValue(0x1016, subIndex) = 0x55;
  }
  *dictionary.getPointerToValue(0x1016, 0) = 0x55;
  dictionary.performReset(false);
  EXPECT_EQ(0x55, storedValue(0x1016, 0));
  for (const unsigned char subIndex : PARTS) {
    EXPECT_EQ(3, storedValue(0x1016, subIndex));
  }
}

const ObjectTypeRow COMPOUND_TYPES[] = {{"Array", OBJECT_TYPE_ARRAY}, {"Record", OBJECT_TYPE_RECORD}};

INSTANTIATE_TEST_SUITE_P(Types, ResetOfParts, testing::ValuesIn(COMPOUND_TYPES), test::rowName());

TEST_F(Reset, FurtherSubIndexesOfAVarAreResetToo) {
  addChangedVar(0x1012);
  addObject(0x1012, 1, 3);
  *dictionary.getPointerToValue(0x1012, 1) = 0x55;
  dictionary.performReset(false);
  EXPECT_EQ(3, storedValue(0x1012, 1));
}

TEST_F(Reset, TextGetsItsDefaultBack) {
  dictionary.addEntry(0x1008, OBJECT_TYPE_VAR, "Name");
  addText(0x1008, 0, "TAVO");
  dictionary.setValue(0x1008, 0, std::string("changed"), true);
  dictionary.performReset(false);
  EXPECT_EQ("TAVO", dictionary.getSubentry(0x1008, 0)->valueString);
}

TEST_F(Reset, RefusedObjectDoesNotStopTheWalk) {
  addChangedVar(0x1015);
  addChangedVar(0x1011);
  addChangedVar(0x1012);
  EXPECT_EQ(KQ_OK, dictionary.performReset(false));
  EXPECT_EQ(0x55, storedValue(0x1011, 0));
  EXPECT_EQ(0, storedValue(0x1015, 0));
  EXPECT_EQ(0, storedValue(0x1012, 0));
}

TEST_F(Reset, ValidPDOKeepsItsCOBIDAndSaysSo) {
  addObject(0x1800, 1, 0x185);
  *dictionary.getPointerToValue(0x1800, 1) = 0x285;
  dictionary.performReset(false);
  EXPECT_EQ(0x285, storedValue(0x1800, 1));
  EXPECT_EQ("Trying to set 0x 185 to a valid PDO COB-ID -> Error\n", output.takeOutput());
}

TEST_F(Reset, WholeResetTakesTheVariables) {
  addVariable(0x2000, ACCESS_RO, &node);
  addVariable(0x2001, ACCESS_RW, &other);
  EXPECT_EQ(KQ_OK, dictionary.performReset(true));
  EXPECT_EQ(7, valueInStore(0x2000));
  EXPECT_EQ(7, valueInStore(0x2001));
}

TEST_F(Reset, OthersReadOnlyVariableKeepsItsValue) {
  addVariable(0x2001, ACCESS_RO, &other);
  dictionary.performReset(true);
  EXPECT_EQ(50, valueInStore(0x2001));
}

TEST_F(Reset, CommunicationResetLeavesTheVariables) {
  addVariable(0x2000, ACCESS_RW, &node);
  dictionary.performReset(false);
  EXPECT_EQ(50, valueInStore(0x2000));
}

// The map hands out new indexes of a bucket of their own first: 0x1006, 0x2000, 0x1005 here.
TEST_F(Reset, CommunicationResetEndsAtTheFirstManufacturerObject) {
  addChangedVar(0x1005);
  addVariable(0x2000, ACCESS_RW, &node);
  addChangedVar(0x1006);
  dictionary.performReset(false);
  EXPECT_EQ(0, storedValue(0x1006, 0));
  EXPECT_EQ(0x55, storedValue(0x1005, 0));
}

TEST_F(Reset, WholeResetHasNoEarlyEnd) {
  addChangedVar(0x1005);
  addVariable(0x2000, ACCESS_RW, &node);
  addChangedVar(0x1006);
  dictionary.performReset(true);
  EXPECT_EQ(0, storedValue(0x1006, 0));
  EXPECT_EQ(0, storedValue(0x1005, 0));
  EXPECT_EQ(7, valueInStore(0x2000));
}

TEST_F(Reset, LastIndexBelowTheManufacturerAreaDoesNotEndTheWalk) {
  addChangedVar(0x1015);
  dictionary.addEntry(0x1FFF, OBJECT_TYPE_VAR, "Last");
  dictionary.performReset(false);
  EXPECT_EQ(0, storedValue(0x1015, 0));
}

// A map that took the same indexes in the same order says which objects come before the end of the walk.
TEST_F(Reset, EarlyEndFollowsTheOrderOfALargeMap) {
  std::unordered_map<unsigned short, int> order;
  for (unsigned short i = 0; i < 100; ++i) {
    const auto index = static_cast<unsigned short>(0x1280 + i);
    addObject(index, 3, 1);
    *dictionary.getPointerToValue(index, 3) = 0x55;
    order.emplace(index, 1);
  }
  dictionary.addEntry(0x2345, OBJECT_TYPE_VAR, "Variable");
  order.emplace(static_cast<unsigned short>(0x2345), 1);
  dictionary.performReset(false);
  bool ended = false;
  for (const auto& [index, expected] : order) {
    ended = ended || index >= 0x2000;
    if (index < 0x2000) {
      EXPECT_EQ(ended ? 0x55 : expected, storedValue(index, 3)) << std::hex << index;
    }
  }
}

}  // namespace
