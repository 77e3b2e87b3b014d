// Covers: reading and writing objects that application variables of the store stand behind.
//
// | subject                                             | functional                                    | robustness |
// |-----------------------------------------------------|-----------------------------------------------|------------|
// | integer and text read                               | value, invalid value, no variable, wrong kind |            |
// | integer write by owner                              | this node, another, none; every access right  |            |
// | limits signed and unsigned, from both sides         | x                                             |            |
// | limits are not asked for another owner's variable   | x                                             |            |
// | text write by owner, without access check           | x                                             |            |
// | change reports of the store; the kept value follows | x                                             |            |
// | the write                                           |                                               |            |
// | the store is asked each time                        | cleared, variable added (again), owner        |            |
// | no instance, no store at the dictionary             |                                               | x          |

#include <gtest/gtest.h>

#include <string>

#include "DictionaryFixture.h"
#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQExternalVariable.h"
#include "KQVariableEventDispatcher.h"
#include "SignalRecorder.h"

using namespace KQ;

namespace {

enum Owner { THIS_NODE, ANOTHER, NOBODY };

class VariableAccess : public test::DictionaryFixture {
protected:
  static constexpr unsigned short INDEX = 0x2001;
  static constexpr unsigned char SUB_INDEX = 3;

  void SetUp() override {
    KQDEI::instance()->clear();
    KQVariableEventDispatcher::instance()->clear();
    dictionary.setDEI(KQDEI::instance());
    dictionary.setCANopenInstance(&node);
  }

  void TearDown() override {
    KQVariableEventDispatcher::instance()->clear();
    KQDEI::instance()->clear();
  }

  KQVariableOwner* pointerTo(Owner owner) {
    if (owner == NOBODY) {
      return nullptr;
    }
    return owner == THIS_NODE ? &node : &other;
  }

  void addToStore(KQVariableStorageType storageType, int value, const std::string& text, Owner owner) {
    const KQExternalVariable variable(INDEX, SUB_INDEX, "Variable", storageType, 0, 0x7FFFFFFF, value, text, 32, true,
                                      pointerTo(owner));
    ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
  }

  void addVariable(int value, Owner owner, KQCANopenAccessType access = ACCESS_RW,
                   KQCANopenDataType dataType = DATA_TYPE_INTEGER32) {
    addObject(INDEX, SUB_INDEX, 0, dataType, access);
    setLimits(0, 0x7FFFFFFF);
    addToStore(STORAGE_TYPE_INTEGER, value, "", owner);
  }

  void addTextVariable(const std::string& text, Owner owner, KQCANopenAccessType access = ACCESS_RW) {
    addText(INDEX, SUB_INDEX, "", access);
    addToStore(STORAGE_TYPE_STRING, 0, text, owner);
  }

  void setLimits(int low, int high) { ASSERT_EQ(KQ_OK, dictionary.setLimits(INDEX, SUB_INDEX, low, high)); }

  int write(int value, bool force) { return dictionary.setValue(INDEX, SUB_INDEX, value, force); }
  int write(const std::string& text, bool force) { return dictionary.setValue(INDEX, SUB_INDEX, text, force); }

  int valueInStore() const {
    int value = 0;
    EXPECT_EQ(KQ_OK, KQDEI::instance()->getVariableValue(INDEX, SUB_INDEX, &value));
    return value;
  }

  std::string textInStore() const {
    std::string text;
    EXPECT_EQ(KQ_OK, KQDEI::instance()->getVariableValue(INDEX, SUB_INDEX, &text));
    return text;
  }

  int cachedValue() const { return storedValue(INDEX, SUB_INDEX); }
  std::string cachedText() const { return dictionary.getSubentry(INDEX, SUB_INDEX)->valueString; }

  KQCANopen node{"node"};
  KQCANopen other{"other"};
};

// ---- reading

using VariableRead = VariableAccess;

TEST_F(VariableRead, GivesTheValueOfTheStoreAndKeepsIt) {
  addVariable(42, ANOTHER);
  int value = 0;
  EXPECT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(42, value);
  EXPECT_EQ(42, cachedValue());
}

TEST_F(VariableRead, ByKey) {
  addVariable(42, ANOTHER);
  int value = 0;
  EXPECT_EQ(KQ_OK, dictionary.getValue(test::objectKey(INDEX, SUB_INDEX), value));
  EXPECT_EQ(42, value);
}

TEST_F(VariableRead, InvalidValueComesWithItsCodeAndIsKept) {
  addVariable(42, ANOTHER);
  KQDEI::instance()->markValueAsInvalid(INDEX, SUB_INDEX, true);
  int value = 0;
  EXPECT_EQ(KQ_VALUE_INVALID, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(42, value);
  EXPECT_EQ(42, cachedValue());
}

TEST_F(VariableRead, WithoutVariableTheCacheStays) {
  addObject(INDEX, SUB_INDEX, 7);
  int value = 0;
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(7, cachedValue());
}

TEST_F(VariableRead, OfATextVariableTheCacheStays) {
  addObject(INDEX, SUB_INDEX, 7);
  addToStore(STORAGE_TYPE_STRING, 0, "text", ANOTHER);
  int value = 0;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(7, cachedValue());
}

TEST_F(VariableRead, WriteOnlyIsRefusedBeforeTheStoreIsAsked) {
  addVariable(42, ANOTHER, ACCESS_WO);
  int value = 0;
  EXPECT_EQ(test::ABORT_WRITE_ONLY, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(0, cachedValue());
}

TEST_F(VariableRead, TextIsGivenAndKept) {
  addTextVariable("text", ANOTHER);
  std::string text;
  EXPECT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, text));
  EXPECT_EQ("text", text);
  EXPECT_EQ("text", cachedText());
}

TEST_F(VariableRead, TextByKey) {
  addTextVariable("text", ANOTHER);
  std::string text;
  EXPECT_EQ(KQ_OK, dictionary.getValue(test::objectKey(INDEX, SUB_INDEX), text));
  EXPECT_EQ("text", text);
}

TEST_F(VariableRead, WithoutStoreIsNotAvailable) {
  addVariable(42, ANOTHER);
  dictionary.setDEI(nullptr);
  int value = 5;
  std::string text = "before";
  EXPECT_EQ(KQ_NOT_AVAILABLE, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(KQ_NOT_AVAILABLE, dictionary.getValue(INDEX, SUB_INDEX, text));
  EXPECT_EQ(5, value);
  EXPECT_EQ("before", text);
}

TEST_F(VariableRead, InvalidTextIsNotKept) {
  addTextVariable("text", ANOTHER);
  KQDEI::instance()->markValueAsInvalid(INDEX, SUB_INDEX, true);
  std::string text;
  EXPECT_EQ(KQ_VALUE_INVALID, dictionary.getValue(INDEX, SUB_INDEX, text));
  EXPECT_EQ("text", text);
  EXPECT_EQ("", cachedText());
}

TEST_F(VariableRead, WriteOnlyTextIsReadable) {
  addTextVariable("text", ANOTHER, ACCESS_WO);
  std::string text;
  EXPECT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, text));
  EXPECT_EQ("text", text);
}

TEST_F(VariableRead, TextWithoutVariable) {
  addText(INDEX, SUB_INDEX, "before");
  std::string text;
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(INDEX, SUB_INDEX, text));
  EXPECT_EQ("before", cachedText());
}

TEST_F(VariableRead, TextOfAnIntegerVariable) {
  addVariable(42, ANOTHER);
  std::string text;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.getValue(INDEX, SUB_INDEX, text));
}

// ---- writing integers: who may

struct WriteRightRow {
  const char* name;
  Owner owner;
  KQCANopenAccessType access;
  bool force;
  int result;
};

class VariableWriteRight : public VariableAccess, public testing::WithParamInterface<WriteRightRow> {};

TEST_P(VariableWriteRight, Decides) {
  addVariable(1, GetParam().owner, GetParam().access);
  EXPECT_EQ(GetParam().result, write(5, GetParam().force));
  const bool written = GetParam().result == KQ_OK;
  EXPECT_EQ(written ? 5 : 1, valueInStore());
  EXPECT_EQ(written ? 5 : 0, cachedValue());
}

const WriteRightRow WRITE_RIGHTS[] = {
    {"OwnReadOnly", THIS_NODE, ACCESS_RO, false, test::ABORT_READ_ONLY},
    {"OwnReadOnlyForced", THIS_NODE, ACCESS_RO, true, KQ_OK},
    {"OwnWriteOnly", THIS_NODE, ACCESS_WO, false, KQ_OK},
    {"OwnWriteOnlyForced", THIS_NODE, ACCESS_WO, true, KQ_OK},
    {"OwnReadWrite", THIS_NODE, ACCESS_RW, false, KQ_OK},
    {"OwnReadWriteForced", THIS_NODE, ACCESS_RW, true, KQ_OK},
    {"OwnReadWriteWrite", THIS_NODE, ACCESS_RWW, false, KQ_OK},
    {"OwnReadWriteRead", THIS_NODE, ACCESS_RWR, false, KQ_OK},
    {"OwnConstant", THIS_NODE, ACCESS_CONST, false, test::ABORT_READ_ONLY},
    {"OwnConstantForced", THIS_NODE, ACCESS_CONST, true, KQ_OK},
    {"OtherReadOnly", ANOTHER, ACCESS_RO, false, test::ABORT_READ_ONLY},
    {"OtherReadOnlyForced", ANOTHER, ACCESS_RO, true, test::ABORT_READ_ONLY},
    {"OtherWriteOnly", ANOTHER, ACCESS_WO, false, KQ_OK},
    {"OtherReadWrite", ANOTHER, ACCESS_RW, false, KQ_OK},
    {"OtherReadWriteForced", ANOTHER, ACCESS_RW, true, KQ_OK},
    {"OtherReadWriteWrite", ANOTHER, ACCESS_RWW, false, KQ_OK},
    {"OtherReadWriteRead", ANOTHER, ACCESS_RWR, false, KQ_OK},
    {"OtherConstant", ANOTHER, ACCESS_CONST, false, test::ABORT_READ_ONLY},
    {"OtherConstantForced", ANOTHER, ACCESS_CONST, true, test::ABORT_READ_ONLY},
    {"NobodysWriteOnly", NOBODY, ACCESS_WO, false, KQ_OK},
    {"NobodysReadWrite", NOBODY, ACCESS_RW, false, KQ_OK},
    {"NobodysReadWriteWrite", NOBODY, ACCESS_RWW, false, KQ_OK},
    {"NobodysReadWriteRead", NOBODY, ACCESS_RWR, false, KQ_OK},
    {"NobodysConstant", NOBODY, ACCESS_CONST, false, test::ABORT_READ_ONLY},
    {"NobodysReadOnly", NOBODY, ACCESS_RO, false, test::ABORT_READ_ONLY},
    {"NobodysReadOnlyForced", NOBODY, ACCESS_RO, true, test::ABORT_READ_ONLY},
};

INSTANTIATE_TEST_SUITE_P(Owners, VariableWriteRight, testing::ValuesIn(WRITE_RIGHTS), test::rowName());

// ---- writing integers: limits

struct LimitRow {
  const char* name;
  KQCANopenDataType dataType;
  int low;
  int high;
  int value;
  bool accepted;
};

class VariableLimit : public VariableAccess, public testing::WithParamInterface<LimitRow> {
protected:
  void addWithLimits(Owner owner) {
    addVariable(test::stored(0x55555555), owner, ACCESS_RW, GetParam().dataType);
    setLimits(GetParam().low, GetParam().high);
  }
};

TEST_P(VariableLimit, OfAnOwnVariable) {
  for (const bool force : {false, true}) {
    KQDEI::instance()->clear();
    addWithLimits(THIS_NODE);
    EXPECT_EQ(GetParam().accepted ? KQ_OK : test::ABORT_VALUE_RANGE, write(GetParam().value, force)) << force;
    EXPECT_EQ(GetParam().accepted ? GetParam().value : 0x55555555, valueInStore()) << force;
  }
}

TEST_P(VariableLimit, OfAnotherOwnersVariableIsNotAsked) {
  addWithLimits(ANOTHER);
  EXPECT_EQ(KQ_OK, write(GetParam().value, false));
  EXPECT_EQ(GetParam().value, valueInStore());
}

constexpr int LOWEST = test::stored(0x80000000);
constexpr int HIGHEST = 0x7FFFFFFF;

const LimitRow LIMITS[] = {
    {"SignedBelowLow", DATA_TYPE_INTEGER16, -10, 20, -11, false},
    {"SignedLow", DATA_TYPE_INTEGER16, -10, 20, -10, true},
    {"SignedHigh", DATA_TYPE_INTEGER16, -10, 20, 20, true},
    {"SignedAboveHigh", DATA_TYPE_INTEGER16, -10, 20, 21, false},
    {"SignedZeroBetween", DATA_TYPE_INTEGER16, -10, 20, 0, true},
    {"SignedLowestOfAll", DATA_TYPE_INTEGER32, LOWEST, HIGHEST, LOWEST, true},
    {"SignedHighestOfAll", DATA_TYPE_INTEGER32, LOWEST, HIGHEST, HIGHEST, true},
    {"SignedMinusOneBelowZero", DATA_TYPE_INTEGER8, 0, 127, -1, false},
    {"SignedEmptyRangeZero", DATA_TYPE_INTEGER32, 0, -1, 0, false},
    {"SignedEmptyRangeMinusOne", DATA_TYPE_INTEGER32, 0, -1, -1, false},
    {"SignedEmptyRangeHighest", DATA_TYPE_INTEGER32, 0, -1, HIGHEST, false},
    {"UnsignedBelowLow", DATA_TYPE_UNSIGNED8, 10, 20, 9, false},
    {"UnsignedLow", DATA_TYPE_UNSIGNED8, 10, 20, 10, true},
    {"UnsignedHigh", DATA_TYPE_UNSIGNED8, 10, 20, 20, true},
    {"UnsignedAboveHigh", DATA_TYPE_UNSIGNED8, 10, 20, 21, false},
    {"UnsignedFullRangeZero", DATA_TYPE_UNSIGNED32, 0, -1, 0, true},
    {"UnsignedFullRangeMiddle", DATA_TYPE_UNSIGNED32, 0, -1, LOWEST, true},
    {"UnsignedFullRangeHighest", DATA_TYPE_UNSIGNED32, 0, -1, -1, true},
    {"UnsignedAboveTheSignBit", DATA_TYPE_UNSIGNED32, 0, LOWEST, test::stored(0x80000001), false},
    {"UnsignedAtTheSignBit", DATA_TYPE_UNSIGNED32, 0, LOWEST, LOWEST, true},
    {"UnsignedAboveCreationLimit", DATA_TYPE_UNSIGNED32, 0, HIGHEST, LOWEST, false},
    {"UnsignedBelowNegativeLow", DATA_TYPE_UNSIGNED8, -128, 127, 5, false},
    {"RealComparesUnsigned", DATA_TYPE_REAL32, 0, -1, LOWEST, true},
    {"BooleanAbove", DATA_TYPE_BOOLEAN, 0, 1, 2, false},
};

INSTANTIATE_TEST_SUITE_P(Limits, VariableLimit, testing::ValuesIn(LIMITS), test::rowName());

TEST_F(VariableAccess, AccessIsAskedBeforeTheLimits) {
  addVariable(1, THIS_NODE, ACCESS_RO);
  setLimits(0, 10);
  EXPECT_EQ(test::ABORT_READ_ONLY, write(11, false));
}

// ---- writing integers: the store's own answers

TEST_F(VariableAccess, WriteWithoutVariable) {
  addObject(INDEX, SUB_INDEX, 7);
  EXPECT_EQ(KQ_NOT_FOUND, write(5, false));
  EXPECT_EQ(KQ_NOT_FOUND, write(5, true));
  EXPECT_EQ(7, cachedValue());
}

TEST_F(VariableAccess, ReadOnlyWriteWithoutVariable) {
  addObject(INDEX, SUB_INDEX, 7, DATA_TYPE_UNSIGNED32, ACCESS_RO);
  EXPECT_EQ(test::ABORT_READ_ONLY, write(5, true));
}

TEST_F(VariableAccess, IntegerWriteIntoATextVariableIsTheStoresAnswer) {
  addObject(INDEX, SUB_INDEX, 7);
  addToStore(STORAGE_TYPE_STRING, 0, "text", ANOTHER);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, write(5, false));
  EXPECT_EQ(7, cachedValue());
}

TEST_F(VariableAccess, IntegerWriteIntoAnOwnTextVariableIsTheStoresAnswer) {
  addObject(INDEX, SUB_INDEX, 7);
  addToStore(STORAGE_TYPE_STRING, 0, "text", THIS_NODE);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, write(5, false));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, write(5, true));
  EXPECT_EQ(7, cachedValue());
  EXPECT_EQ("text", textInStore());
}

// ---- the store is asked each time

TEST_F(VariableAccess, ClearedStoreHasNoVariable) {
  addVariable(42, THIS_NODE);
  int value = 0;
  ASSERT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, value));
  ASSERT_EQ(KQ_OK, write(43, false));
  KQDEI::instance()->clear();
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(KQ_NOT_FOUND, write(5, true));
  EXPECT_EQ(43, cachedValue());
}

TEST_F(VariableAccess, VariableThatIsAddedAgainIsSeen) {
  addVariable(42, ANOTHER);
  int value = 0;
  ASSERT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, value));
  KQDEI::instance()->clear();
  addToStore(STORAGE_TYPE_INTEGER, 9, "", ANOTHER);
  EXPECT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(9, value);
  EXPECT_EQ(KQ_OK, write(5, false));
  EXPECT_EQ(5, valueInStore());
}

TEST_F(VariableAccess, VariableThatIsAddedAfterItsObjectIsSeen) {
  addObject(INDEX, SUB_INDEX, 7);
  int value = 0;
  ASSERT_EQ(KQ_NOT_FOUND, dictionary.getValue(INDEX, SUB_INDEX, value));
  addToStore(STORAGE_TYPE_INTEGER, 9, "", ANOTHER);
  EXPECT_EQ(KQ_OK, dictionary.getValue(INDEX, SUB_INDEX, value));
  EXPECT_EQ(9, value);
}

TEST_F(VariableAccess, VariableOfASubEntryThatWasPutIntoItsEntryIsFound) {
  addVariable(42, ANOTHER);
  auto* const sub = new ObjectDictionarySubEntry;
  sub->subIndex = 4;
  sub->accessType = ACCESS_RW;
  sub->isVariable = true;
  dictionary.getEntry(INDEX)->subEntries[4] = sub;
  const KQVariable variable(INDEX, 4, "Variable");
  ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
  EXPECT_EQ(KQ_OK, dictionary.setValue(INDEX, 4, 5, false));
  int value = 0;
  EXPECT_EQ(KQ_OK, dictionary.getValue(INDEX, 4, value));
  EXPECT_EQ(5, value);
}

TEST_F(VariableAccess, VariableThatTheNodeTookOverObeysItsLimits) {
  addVariable(1, NOBODY);
  setLimits(0, 10);
  ASSERT_EQ(KQ_OK, write(11, false));
  addToStore(STORAGE_TYPE_INTEGER, 1, "", THIS_NODE);
  EXPECT_EQ(test::ABORT_VALUE_RANGE, write(12, false));
}

TEST_F(VariableAccess, ValueIsKeptOnceTheWriteSucceeded) {
  for (const Owner owner : {THIS_NODE, ANOTHER}) {
    KQDEI::instance()->clear();
    addVariable(1, owner);
    const int* const kept = dictionary.getPointerToValue(INDEX, SUB_INDEX);
    int seen = -1;
    test::SignalRecorder watcher([&] { seen = *kept; });
    KQVariableEventDispatcher::instance()->addMapping(INDEX, SUB_INDEX, &watcher);
    write(5, false);
    KQVariableEventDispatcher::instance()->clear();
    EXPECT_EQ(0, seen);
    EXPECT_EQ(5, cachedValue());
  }
}

TEST_F(VariableAccess, WriteMakesAnInvalidValueValid) {
  addVariable(1, THIS_NODE);
  KQDEI::instance()->markValueAsInvalid(INDEX, SUB_INDEX, true);
  EXPECT_EQ(KQ_OK, write(5, false));
  EXPECT_TRUE(KQDEI::instance()->isValid(INDEX, SUB_INDEX));
}

TEST_F(VariableAccess, ChangeOfAnOwnVariableIsReported) {
  addVariable(1, THIS_NODE);
  test::SignalRecorder recorder;
  KQVariableEventDispatcher::instance()->addMapping(INDEX, SUB_INDEX, &recorder);
  write(5, false);
  ASSERT_EQ(1U, recorder.signals.size());
  EXPECT_EQ(5U, recorder.signals[0].getSecondValue());
}

TEST_F(VariableAccess, ChangeOfAnotherOwnersVariableIsReported) {
  addVariable(1, ANOTHER);
  test::SignalRecorder recorder;
  KQVariableEventDispatcher::instance()->addMapping(INDEX, SUB_INDEX, &recorder);
  write(5, false);
  EXPECT_EQ(1U, recorder.signals.size());
}

TEST_F(VariableAccess, ChangedTextIsReported) {
  addTextVariable("a", ANOTHER);
  test::SignalRecorder recorder;
  KQVariableEventDispatcher::instance()->addMapping(INDEX, SUB_INDEX, &recorder);
  write("b", false);
  EXPECT_EQ(1U, recorder.signals.size());
}

TEST_F(VariableAccess, DictionaryWithoutInstanceOwnsNoVariable) {
  dictionary.setCANopenInstance(nullptr);
  addVariable(1, NOBODY, ACCESS_RO);
  EXPECT_EQ(test::ABORT_READ_ONLY, write(5, true));
  EXPECT_EQ(1, valueInStore());
}

TEST_F(VariableAccess, DictionaryWithoutInstanceWritesOthersVariables) {
  dictionary.setCANopenInstance(nullptr);
  addVariable(1, ANOTHER);
  EXPECT_EQ(KQ_OK, write(5, false));
  EXPECT_EQ(5, valueInStore());
}

// ---- writing texts

class VariableTextWrite : public VariableAccess, public testing::WithParamInterface<WriteRightRow> {};

TEST_P(VariableTextWrite, AsksNoAccessRight) {
  addTextVariable("before", GetParam().owner, GetParam().access);
  EXPECT_EQ(KQ_OK, write("after", GetParam().force));
  EXPECT_EQ("after", textInStore());
  EXPECT_EQ("after", cachedText());
}

INSTANTIATE_TEST_SUITE_P(Owners, VariableTextWrite, testing::ValuesIn(WRITE_RIGHTS), test::rowName());

TEST_F(VariableAccess, TextWriteWithoutVariable) {
  addText(INDEX, SUB_INDEX, "before");
  EXPECT_EQ(KQ_NOT_FOUND, write("after", true));
  EXPECT_EQ("before", cachedText());
}

TEST_F(VariableAccess, TextWriteIntoAnIntegerVariableIsTheStoresAnswer) {
  addText(INDEX, SUB_INDEX, "before");
  addToStore(STORAGE_TYPE_INTEGER, 1, "", THIS_NODE);
  EXPECT_EQ(KQ_INVALID_ARGUMENT, write("after", true));
  EXPECT_EQ("before", cachedText());
}

TEST_F(VariableAccess, TextWriteIntoANumberIsNotFound) {
  addVariable(1, THIS_NODE);
  EXPECT_EQ(KQ_NOT_FOUND, write("after", true));
  EXPECT_EQ(1, valueInStore());
}

}  // namespace
