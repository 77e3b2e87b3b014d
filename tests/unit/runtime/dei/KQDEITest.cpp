// Covers: KQDEI: the variable store.
//
// | subject          | functional                                                          | robustness |
// |------------------|---------------------------------------------------------------------|------------|
// | addVariable      | null, new, initial value and validity, taken key, taking over, many | x          |
// | getVariableValue | integer, text, null, other storage type, unknown, invalid           | x          |
// | setVariableValue | storing, validity, report or none, forwarding to the owner          |            |
// | forceSet...      | name of the owner by address and by text, another name, no owner    | x          |
// | owners           | pointer, name, an owner that goes                                   |            |
// | descriptions     | length, sign, copy of the map                                       |            |
// | findVariable     | value, reports, validity, text, owner, forgotten, coming back       | x          |

#include "KQDEI.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "KQExternalVariable.h"
#include "KQVariableEventDispatcher.h"
#include "OwnerRecorder.h"
#include "SignalRecorder.h"

namespace KQ {
namespace {

constexpr unsigned short INDEX = 0x2001;
constexpr unsigned short INTEGER_SUB = 3;
constexpr unsigned short TEXT_SUB = 4;
constexpr unsigned short OWNED_SUB = 5;
constexpr unsigned short OWNED_TEXT_SUB = 6;
constexpr unsigned short UNKNOWN_SUB = 9;

class VariableStore : public testing::Test {
protected:
  VariableStore() {
    dei->clear();
    dispatcher->clear();
    add(INTEGER_SUB, STORAGE_TYPE_INTEGER, nullptr);
    add(TEXT_SUB, STORAGE_TYPE_STRING, nullptr);
    add(OWNED_SUB, STORAGE_TYPE_INTEGER, &node5);
    add(OWNED_TEXT_SUB, STORAGE_TYPE_STRING, &node5);
    for (const unsigned short sub : {INTEGER_SUB, TEXT_SUB, OWNED_SUB, OWNED_TEXT_SUB}) {
      dispatcher->addMapping(INDEX, sub, &listener);
    }
  }

  ~VariableStore() override {
    dispatcher->clear();
    dei->clear();
  }

  int add(unsigned short sub, KQVariableStorageType type, KQVariableOwner* owner, int value = 42) {
    const KQExternalVariable variable(INDEX, sub, "variable", type, 0, 1000, value, "text", 16, false, owner);
    return dei->addVariable(&variable);
  }

  int integer(unsigned short sub) const {
    int value = -1;
    dei->getVariableValue(INDEX, sub, &value);
    return value;
  }

  std::string text(unsigned short sub) const {
    std::string value;
    dei->getVariableValue(INDEX, sub, &value);
    return value;
  }

  void expectOneReport(int code, unsigned short sub, unsigned int value) const {
    ASSERT_EQ(1U, listener.signals.size());
    const KQSignal& signal = listener.signals.front();
    EXPECT_EQ(KQ_SIGNAL_TYPE_VARIABLE, signal.getType());
    EXPECT_EQ(code, signal.getCode());
    EXPECT_EQ(static_cast<unsigned int>(INDEX) << 16 | sub, signal.getFirstValue());
    EXPECT_EQ(value, signal.getSecondValue());
  }

  KQDEI* const dei{KQDEI::instance()};
  KQVariableEventDispatcher* const dispatcher{KQVariableEventDispatcher::instance()};
  test::OwnerRecorder node5{"node5"};
  test::SignalRecorder listener;
};

TEST_F(VariableStore, IsOneForTheProcess) {
  EXPECT_EQ(dei, KQDEI::instance());
}

TEST_F(VariableStore, AddingNullIsRefused) {
  EXPECT_EQ(20, dei->addVariable(nullptr));
}

TEST_F(VariableStore, NewVariableHasItsInitialValue) {
  int value = 0;
  EXPECT_EQ(0, dei->getVariableValue(INDEX, INTEGER_SUB, &value));
  EXPECT_EQ(42, value);
  std::string text;
  EXPECT_EQ(0, dei->getVariableValue(INDEX, TEXT_SUB, &text));
  EXPECT_EQ("text", text);
}

TEST_F(VariableStore, VariableAddedAsInvalidIsInvalidUntilItIsWritten) {
  KQVariable variable(INDEX, 20, "invalid");
  variable.setValid(false);
  ASSERT_EQ(0, dei->addVariable(&variable));
  int value = -1;
  EXPECT_EQ(12, dei->getVariableValue(INDEX, 20, &value));
  EXPECT_EQ(0, value);
  EXPECT_FALSE(dei->isValid(INDEX, 20));
  EXPECT_EQ(0, dei->setVariableValue(INDEX, 20, 0, true, false));
  EXPECT_EQ(0, dei->getVariableValue(INDEX, 20, &value));
  EXPECT_TRUE(dei->isValid(INDEX, 20));
}

TEST_F(VariableStore, KeyIsBothAddressParts) {
  const KQVariable first(0, 0, "first");
  const KQVariable last(0xFFFF, 0xFFFF, "last");
  EXPECT_EQ(0, dei->addVariable(&first));
  EXPECT_EQ(0, dei->addVariable(&last));
  EXPECT_EQ(0, dei->setVariableValue(0, 0, 1, true, false));
  EXPECT_EQ(0, dei->setVariableValue(0xFFFF, 0xFFFF, 2, true, false));
  int value = 0;
  dei->getVariableValue(0, 0, &value);
  EXPECT_EQ(1, value);
  dei->getVariableValue(0xFFFF, 0xFFFF, &value);
  EXPECT_EQ(2, value);
  EXPECT_EQ(23, dei->getVariableValue(0, 0xFFFF, &value));
}

TEST_F(VariableStore, FindsEveryOneOfManyVariables) {
  constexpr unsigned short OBJECTS = 500;
  constexpr unsigned short SUBS = 20;
  for (unsigned short object = 0; object < OBJECTS; ++object) {
    for (unsigned short sub = 0; sub < SUBS; ++sub) {
      KQVariable variable(static_cast<unsigned short>(0x3000 + object), sub, "many");
      variable.setInitialValue(object * SUBS + sub);
      ASSERT_EQ(0, dei->addVariable(&variable));
    }
  }
  for (unsigned short object = 0; object < OBJECTS; ++object) {
    for (unsigned short sub = 0; sub < SUBS; ++sub) {
      int value = -1;
      ASSERT_EQ(0, dei->getVariableValue(static_cast<unsigned short>(0x3000 + object), sub, &value));
      ASSERT_EQ(object * SUBS + sub, value);
    }
  }
  EXPECT_EQ(OBJECTS * SUBS + 4U, dei->getCopyOfVariableMap()->size());
}

TEST_F(VariableStore, KeyOfAnotherOwnerIsTaken) {
  test::OwnerRecorder other("node6");
  EXPECT_EQ(25, add(OWNED_SUB, STORAGE_TYPE_INTEGER, &other));
  EXPECT_EQ(&node5, dei->getVariableOwnerPointer(INDEX, OWNED_SUB));
}

TEST_F(VariableStore, KeyOfAnOwnerIsTakenForAVariableWithoutOne) {
  EXPECT_EQ(25, add(OWNED_SUB, STORAGE_TYPE_INTEGER, nullptr));
  EXPECT_EQ(&node5, dei->getVariableOwnerPointer(INDEX, OWNED_SUB));
}

TEST_F(VariableStore, VariableWithoutOwnerIsTakenOverWithItsValue) {
  dei->setVariableValue(INDEX, INTEGER_SUB, 77, true, false);
  EXPECT_EQ(0, add(INTEGER_SUB, STORAGE_TYPE_INTEGER, &node5));
  EXPECT_EQ(77, integer(INTEGER_SUB));
  EXPECT_EQ(&node5, dei->getVariableOwnerPointer(INDEX, INTEGER_SUB));
}

TEST_F(VariableStore, OwnerOfTheSameNameTakesOver) {
  dei->setVariableValue(INDEX, OWNED_SUB, 77, true, false);
  test::OwnerRecorder successor("node5");
  EXPECT_EQ(0, add(OWNED_SUB, STORAGE_TYPE_INTEGER, &successor));
  EXPECT_EQ(77, integer(OWNED_SUB));
  EXPECT_EQ(&successor, dei->getVariableOwnerPointer(INDEX, OWNED_SUB));
}

TEST_F(VariableStore, TakingOverKeepsTheMarkOfAnInvalidValue) {
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, true);
  EXPECT_EQ(0, add(INTEGER_SUB, STORAGE_TYPE_INTEGER, &node5));
  EXPECT_FALSE(dei->isValid(INDEX, INTEGER_SUB));
}

TEST_F(VariableStore, TakingOverReplacesTheAttributes) {
  const KQVariable variable(INDEX, INTEGER_SUB, "renamed", STORAGE_TYPE_INTEGER, 8, true);
  EXPECT_EQ(0, dei->addVariable(&variable));
  EXPECT_EQ(8, dei->getVariableLength(0x20010003U));
  EXPECT_TRUE(dei->isVariableSigned(0x20010003U));
}

TEST_F(VariableStore, TakingOverWithAnotherStorageTypeStartsAfresh) {
  EXPECT_EQ(0, add(INTEGER_SUB, STORAGE_TYPE_STRING, nullptr));
  EXPECT_EQ("text", text(INTEGER_SUB));
  int value = 0;
  EXPECT_EQ(20, dei->getVariableValue(INDEX, INTEGER_SUB, &value));
}

TEST_F(VariableStore, ReadingRefusesNull) {
  EXPECT_EQ(20, dei->getVariableValue(INDEX, INTEGER_SUB, static_cast<int*>(nullptr)));
  EXPECT_EQ(20, dei->getVariableValue(INDEX, TEXT_SUB, static_cast<std::string*>(nullptr)));
}

TEST_F(VariableStore, ReadingRefusesTheOtherStorageType) {
  int value = -1;
  EXPECT_EQ(20, dei->getVariableValue(INDEX, TEXT_SUB, &value));
  EXPECT_EQ(-1, value);
  std::string text = "untouched";
  EXPECT_EQ(20, dei->getVariableValue(INDEX, INTEGER_SUB, &text));
  EXPECT_EQ("untouched", text);
}

TEST_F(VariableStore, UndefinedStorageTypeHasNoValue) {
  add(20, STORAGE_TYPE_UNDEFINED, nullptr);
  int value = -1;
  std::string text;
  EXPECT_EQ(20, dei->getVariableValue(INDEX, 20, &value));
  EXPECT_EQ(20, dei->getVariableValue(INDEX, 20, &text));
  EXPECT_EQ(20, dei->setVariableValue(INDEX, 20, 1, true, false));
  EXPECT_EQ(20, dei->setVariableValue(INDEX, 20, std::string("a"), true, false));
}

TEST_F(VariableStore, UnknownVariableIsNotFound) {
  int value = -1;
  std::string text;
  EXPECT_EQ(23, dei->getVariableValue(INDEX, UNKNOWN_SUB, &value));
  EXPECT_EQ(23, dei->getVariableValue(INDEX, UNKNOWN_SUB, &text));
  EXPECT_EQ(23, dei->setVariableValue(INDEX, UNKNOWN_SUB, 1, true, true));
  EXPECT_EQ(23, dei->setVariableValue(INDEX, UNKNOWN_SUB, std::string("a"), true, true));
  EXPECT_EQ(23, dei->forceSetVariableValue(INDEX, UNKNOWN_SUB, 1, "node5", true, false));
  EXPECT_EQ(23, dei->forceSetVariableValue(INDEX, UNKNOWN_SUB, std::string("a"), "node5", true, false));
  EXPECT_EQ(23, dei->markValueAsInvalid(INDEX, UNKNOWN_SUB, true));
  EXPECT_FALSE(dei->isValid(INDEX, UNKNOWN_SUB));
  EXPECT_EQ(nullptr, dei->getVariableOwnerPointer(INDEX, UNKNOWN_SUB));
  EXPECT_EQ(nullptr, dei->getVariableOwner(INDEX, UNKNOWN_SUB));
  EXPECT_EQ(0, dei->getVariableLength(0x20010009U));
  EXPECT_FALSE(dei->isVariableSigned(0x20010009U));
}

TEST_F(VariableStore, InvalidValueIsDeliveredWithCode12) {
  EXPECT_EQ(0, dei->markValueAsInvalid(INDEX, INTEGER_SUB, true));
  EXPECT_EQ(0, dei->markValueAsInvalid(INDEX, TEXT_SUB, true));
  int value = 0;
  EXPECT_EQ(12, dei->getVariableValue(INDEX, INTEGER_SUB, &value));
  EXPECT_EQ(42, value);
  std::string text;
  EXPECT_EQ(12, dei->getVariableValue(INDEX, TEXT_SUB, &text));
  EXPECT_EQ("text", text);
}

TEST_F(VariableStore, ValueCanBeMarkedValidAgain) {
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, true);
  EXPECT_EQ(0, dei->markValueAsInvalid(INDEX, INTEGER_SUB, false));
  EXPECT_TRUE(dei->isValid(INDEX, INTEGER_SUB));
}

TEST_F(VariableStore, MarkingAValueIsNotReported) {
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, true);
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, false);
  EXPECT_TRUE(listener.signals.empty());
}

TEST_F(VariableStore, WritingMarksTheValueValid) {
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, true);
  dei->markValueAsInvalid(INDEX, TEXT_SUB, true);
  EXPECT_EQ(0, dei->setVariableValue(INDEX, INTEGER_SUB, 42, true, false));
  EXPECT_EQ(0, dei->setVariableValue(INDEX, TEXT_SUB, std::string("text"), true, false));
  EXPECT_TRUE(dei->isValid(INDEX, INTEGER_SUB));
  EXPECT_TRUE(dei->isValid(INDEX, TEXT_SUB));
}

class IntegerValue : public VariableStore, public testing::WithParamInterface<int> {};

TEST_P(IntegerValue, IsStoredAndReported) {
  EXPECT_EQ(0, dei->setVariableValue(INDEX, INTEGER_SUB, GetParam(), true, false));
  EXPECT_EQ(GetParam(), integer(INTEGER_SUB));
  expectOneReport(1100, INTEGER_SUB, static_cast<unsigned int>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Limits, IntegerValue,
                         testing::Values(0, 41, 43, -1, std::numeric_limits<int>::max(),
                                         std::numeric_limits<int>::min()));

TEST_F(VariableStore, ChangeOfATextIsReported) {
  EXPECT_EQ(0, dei->setVariableValue(INDEX, TEXT_SUB, std::string("other"), true, false));
  EXPECT_EQ("other", text(TEXT_SUB));
  expectOneReport(1101, TEXT_SUB, 0);
}

TEST_F(VariableStore, TextMayHoldZeroBytes) {
  const std::string bytes("a\0b", 3);
  EXPECT_EQ(0, dei->setVariableValue(INDEX, TEXT_SUB, bytes, true, false));
  EXPECT_EQ(bytes, text(TEXT_SUB));
}

TEST_F(VariableStore, SameValueIsNotReported) {
  dei->setVariableValue(INDEX, INTEGER_SUB, 42, true, false);
  dei->setVariableValue(INDEX, TEXT_SUB, std::string("text"), true, false);
  EXPECT_TRUE(listener.signals.empty());
}

TEST_F(VariableStore, ChangeIsNotReportedWhenNotAskedFor) {
  EXPECT_EQ(0, dei->setVariableValue(INDEX, INTEGER_SUB, 43, false, false));
  EXPECT_EQ(0, dei->setVariableValue(INDEX, TEXT_SUB, std::string("other"), false, false));
  EXPECT_EQ(43, integer(INTEGER_SUB));
  EXPECT_EQ("other", text(TEXT_SUB));
  EXPECT_TRUE(listener.signals.empty());
}

TEST_F(VariableStore, WritingRefusesTheOtherStorageType) {
  EXPECT_EQ(20, dei->setVariableValue(INDEX, TEXT_SUB, 1, true, false));
  EXPECT_EQ(20, dei->setVariableValue(INDEX, INTEGER_SUB, std::string("a"), true, false));
  EXPECT_EQ(42, integer(INTEGER_SUB));
  EXPECT_TRUE(listener.signals.empty());
}

TEST_F(VariableStore, ForwardedWriteGoesToTheOwnerInstead) {
  node5.result = 17;
  EXPECT_EQ(17, dei->setVariableValue(INDEX, OWNED_SUB, -7, true, true));
  EXPECT_EQ(17, dei->setVariableValue(INDEX, OWNED_TEXT_SUB, std::string("other"), true, true));
  EXPECT_EQ((std::vector<std::string>{"8193/5=-7", "8193/6=other"}), node5.requests);
  EXPECT_EQ(42, integer(OWNED_SUB));
  EXPECT_EQ("text", text(OWNED_TEXT_SUB));
  EXPECT_TRUE(listener.signals.empty());
}

TEST_F(VariableStore, ForwardedWriteIsStoredWhenThereIsNoOwner) {
  EXPECT_EQ(0, dei->setVariableValue(INDEX, INTEGER_SUB, 43, true, true));
  EXPECT_EQ(43, integer(INTEGER_SUB));
}

TEST_F(VariableStore, WriteThatIsNotForwardedLeavesTheOwnerAlone) {
  EXPECT_EQ(0, dei->setVariableValue(INDEX, OWNED_SUB, 43, true, false));
  EXPECT_TRUE(node5.requests.empty());
  EXPECT_EQ(43, integer(OWNED_SUB));
}

TEST_F(VariableStore, OwnerMayWriteUnderItsName) {
  EXPECT_EQ(0, dei->forceSetVariableValue(INDEX, OWNED_SUB, 43, node5.getOwnerName(), true, false));
  EXPECT_EQ(43, integer(OWNED_SUB));
  expectOneReport(1100, OWNED_SUB, 43);
}

TEST_F(VariableStore, OwnerMayWriteUnderACopyOfItsName) {
  EXPECT_EQ(0, dei->forceSetVariableValue(INDEX, OWNED_TEXT_SUB, std::string("other"), "node5", true, false));
  EXPECT_EQ("other", text(OWNED_TEXT_SUB));
  expectOneReport(1101, OWNED_TEXT_SUB, 0);
}

TEST_F(VariableStore, WritingUnderAnotherNameIsNotPermitted) {
  EXPECT_EQ(30, dei->forceSetVariableValue(INDEX, OWNED_SUB, 43, "node6", true, false));
  EXPECT_EQ(30, dei->forceSetVariableValue(INDEX, OWNED_TEXT_SUB, std::string("other"), "", true, false));
  EXPECT_EQ(42, integer(OWNED_SUB));
  EXPECT_EQ("text", text(OWNED_TEXT_SUB));
}

TEST_F(VariableStore, WritingAsOwnerOfAVariableWithoutOneIsNotPermitted) {
  EXPECT_EQ(30, dei->forceSetVariableValue(INDEX, INTEGER_SUB, 43, "", true, false));
  EXPECT_EQ(30, dei->forceSetVariableValue(INDEX, INTEGER_SUB, 43, "node5", true, false));
}

TEST_F(VariableStore, WritingAsOwnerRefusesTheOtherStorageType) {
  EXPECT_EQ(20, dei->forceSetVariableValue(INDEX, OWNED_TEXT_SUB, 1, "node5", true, false));
  EXPECT_EQ(20, dei->forceSetVariableValue(INDEX, OWNED_SUB, std::string("a"), "node5", true, false));
}

TEST_F(VariableStore, WritingAsOwnerCanBeForwarded) {
  node5.result = 0;
  EXPECT_EQ(0, dei->forceSetVariableValue(INDEX, OWNED_SUB, 43, "node5", true, true));
  EXPECT_EQ(1U, node5.requests.size());
  EXPECT_EQ(42, integer(OWNED_SUB));
}

TEST_F(VariableStore, KnowsTheOwner) {
  EXPECT_EQ(&node5, dei->getVariableOwnerPointer(INDEX, OWNED_SUB));
  ASSERT_NE(nullptr, dei->getVariableOwner(INDEX, OWNED_SUB));
  EXPECT_EQ("node5", *dei->getVariableOwner(INDEX, OWNED_SUB));
  EXPECT_EQ(nullptr, dei->getVariableOwnerPointer(INDEX, INTEGER_SUB));
  EXPECT_EQ(nullptr, dei->getVariableOwner(INDEX, INTEGER_SUB));
}

TEST_F(VariableStore, VariablesOfAnOwnerThatGoesStayWithoutOne) {
  auto leaving = std::make_unique<test::OwnerRecorder>("leaving");
  add(20, STORAGE_TYPE_INTEGER, leaving.get());
  dei->setVariableValue(INDEX, 20, 77, true, false);
  leaving.reset();
  EXPECT_EQ(nullptr, dei->getVariableOwnerPointer(INDEX, 20));
  EXPECT_EQ(nullptr, dei->getVariableOwner(INDEX, 20));
  EXPECT_EQ(77, integer(20));
  EXPECT_EQ(30, dei->forceSetVariableValue(INDEX, 20, 78, "leaving", true, false));
  EXPECT_EQ(nullptr, dei->getCopyOfVariableMap()->at(0x20010014U).getOwner());
}

TEST_F(VariableStore, OwnerThatGoesLeavesTheVariablesOfOthersAlone) {
  { const test::OwnerRecorder leaving("node5"); }
  EXPECT_EQ(&node5, dei->getVariableOwnerPointer(INDEX, OWNED_SUB));
}

TEST_F(VariableStore, OwnerThatWasReplacedGoesWithoutATrace) {
  test::OwnerRecorder successor("leaving");
  {
    test::OwnerRecorder leaving("leaving");
    add(20, STORAGE_TYPE_INTEGER, &leaving);
    add(20, STORAGE_TYPE_INTEGER, &successor);
  }
  EXPECT_EQ(&successor, dei->getVariableOwnerPointer(INDEX, 20));
}

TEST_F(VariableStore, KnowsLengthAndSign) {
  const KQVariable variable(INDEX, 20, "signed", STORAGE_TYPE_INTEGER, 12, true);
  dei->addVariable(&variable);
  EXPECT_EQ(12, dei->getVariableLength(0x20010014U));
  EXPECT_TRUE(dei->isVariableSigned(0x20010014U));
  EXPECT_EQ(16, dei->getVariableLength(0x20010003U));
  EXPECT_FALSE(dei->isVariableSigned(0x20010003U));
}

TEST_F(VariableStore, MapIsACopyOfTheDescriptions) {
  dei->setVariableValue(INDEX, INTEGER_SUB, 77, true, false);
  auto copy = dei->getCopyOfVariableMap();
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(4U, copy->size());
  EXPECT_EQ(42, copy->at(0x20010003U).getInitialValue());
  EXPECT_EQ(&node5, copy->at(0x20010005U).getOwner());
  copy->at(0x20010003U).setBitLength(1);
  copy->clear();
  EXPECT_EQ(16, dei->getVariableLength(0x20010003U));
}

class NamedByItself : public KQVariable {
public:
  using KQVariable::KQVariable;
  std::string getName() const override { return "itself"; }
};

TEST_F(VariableStore, KeepsTheNameThatAVariableGivesItself) {
  const NamedByItself variable(INDEX, 20, "ignored");
  dei->addVariable(&variable);
  EXPECT_EQ("itself", dei->getCopyOfVariableMap()->at(0x20010014U).getName());
}

TEST_F(VariableStore, MapOfAnEmptyStoreIsNull) {
  dei->clear();
  EXPECT_EQ(nullptr, dei->getCopyOfVariableMap());
  int value = 0;
  EXPECT_EQ(23, dei->getVariableValue(INDEX, INTEGER_SUB, &value));
}

// An owner as a protocol is one: it listens, too.
class ListeningOwner : public test::OwnerRecorder, public test::SignalRecorder {
public:
  using OwnerRecorder::OwnerRecorder;
};

TEST_F(VariableStore, OwnerThatListensHearsOfItsVariablesFromWhoeverWrites) {
  ListeningOwner owner("protocol");
  add(20, STORAGE_TYPE_INTEGER, &owner);
  dei->setVariableValue(INDEX, 20, 43, true, false);
  dei->forceSetVariableValue(INDEX, 20, 44, "protocol", true, false);
  dei->setVariableValue(INDEX, INTEGER_SUB, 1, true, false);
  ASSERT_EQ(2U, owner.signals.size());
  EXPECT_EQ(0x20010014U, owner.signals[0].getFirstValue());
  EXPECT_EQ(43U, owner.signals[0].getSecondValue());
  EXPECT_EQ(44U, owner.signals[1].getSecondValue());
}

TEST_F(VariableStore, OwnerThatListensAndRegistersItselfIsToldOnce) {
  ListeningOwner owner("protocol");
  add(20, STORAGE_TYPE_INTEGER, &owner);
  add(20, STORAGE_TYPE_INTEGER, &owner);
  dispatcher->addMapping(INDEX, 20, &owner);
  dei->setVariableValue(INDEX, 20, 43, true, false);
  EXPECT_EQ(1U, owner.signals.size());
}

TEST_F(VariableStore, ListenerMayUseTheStore) {
  int seen = 0;
  test::SignalRecorder busy([&] {
    add(30, STORAGE_TYPE_INTEGER, nullptr);
    seen = integer(INTEGER_SUB);
    dei->setVariableValue(INDEX, TEXT_SUB, std::string("from listener"), true, false);
  });
  busy.result = 99;
  dispatcher->addMapping(INDEX, INTEGER_SUB, &busy);
  EXPECT_EQ(0, dei->setVariableValue(INDEX, INTEGER_SUB, 43, true, false));
  EXPECT_EQ(43, seen);
  EXPECT_EQ("from listener", text(TEXT_SUB));
  EXPECT_TRUE(dei->isValid(INDEX, 30));
}

// ---- a variable that was found once and kept

TEST_F(VariableStore, FindsNoVariableThatIsNotThere) {
  EXPECT_EQ(nullptr, dei->findVariable(INDEX, UNKNOWN_SUB));
}

TEST_F(VariableStore, KeptVariableHasTheValueOfTheStore) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, INTEGER_SUB);
  dei->setVariableValue(INDEX, INTEGER_SUB, 7, false, false);
  int value = 0;
  EXPECT_EQ(0, kept->getVariableValue(&value));
  EXPECT_EQ(7, value);
  EXPECT_EQ(0, kept->setVariableValue(8, false));
  EXPECT_EQ(8, integer(INTEGER_SUB));
}

TEST_F(VariableStore, KeptVariableReportsAChangeOnce) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, INTEGER_SUB);
  kept->setVariableValue(9, true);
  kept->setVariableValue(9, true);
  kept->setVariableValue(10, false);
  expectOneReport(KQ_SIGNAL_VARIABLE_CHANGED, INTEGER_SUB, 9);
}

TEST_F(VariableStore, KeptVariableTellsOfItsInvalidValue) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, INTEGER_SUB);
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, true);
  int value = 0;
  EXPECT_EQ(12, kept->getVariableValue(&value));
  EXPECT_EQ(42, value);
  kept->setVariableValue(42, true);
  EXPECT_EQ(0, kept->getVariableValue(&value));
}

TEST_F(VariableStore, KeptTextIsNoNumber) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, TEXT_SUB);
  int value = 3;
  EXPECT_EQ(20, kept->getVariableValue(&value));
  EXPECT_EQ(3, value);
  EXPECT_EQ(20, kept->setVariableValue(1, false));
}

TEST_F(VariableStore, KeptVariableKnowsItsOwner) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, OWNED_SUB);
  EXPECT_EQ(&node5, kept->getVariableOwnerPointer());
  EXPECT_EQ(0, kept->forceSetVariableValue(5, node5.getOwnerName(), false));
  EXPECT_EQ(0, kept->forceSetVariableValue(6, "node5", false));
  EXPECT_EQ(6, integer(OWNED_SUB));
  EXPECT_EQ(30, kept->forceSetVariableValue(7, "node6", false));
  EXPECT_EQ(6, integer(OWNED_SUB));
}

TEST_F(VariableStore, KeptVariableHasNoOwnerWhenItsOwnerGoes) {
  auto leaving = std::make_unique<test::OwnerRecorder>("leaving");
  add(20, STORAGE_TYPE_INTEGER, leaving.get());
  KQStoredVariable* const kept = dei->findVariable(INDEX, 20);
  EXPECT_EQ(leaving.get(), kept->getVariableOwnerPointer());
  leaving.reset();
  EXPECT_EQ(nullptr, kept->getVariableOwnerPointer());
  EXPECT_EQ(30, kept->forceSetVariableValue(7, "leaving", false));
}

TEST_F(VariableStore, KeptVariableThatWasForgottenIsNotThere) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, OWNED_SUB);
  dei->clear();
  int value = 3;
  EXPECT_EQ(23, kept->getVariableValue(&value));
  EXPECT_EQ(3, value);
  EXPECT_EQ(23, kept->setVariableValue(1, true));
  EXPECT_EQ(23, kept->forceSetVariableValue(1, "node5", true));
  EXPECT_EQ(nullptr, kept->getVariableOwnerPointer());
  EXPECT_EQ(nullptr, dei->findVariable(INDEX, OWNED_SUB));
}

TEST_F(VariableStore, ForgottenVariableIsNotThereForAnyOperation) {
  dei->clear();
  int value = 0;
  EXPECT_EQ(23, dei->getVariableValue(INDEX, INTEGER_SUB, &value));
  EXPECT_EQ(23, dei->setVariableValue(INDEX, TEXT_SUB, std::string("a"), true, false));
  EXPECT_EQ(23, dei->markValueAsInvalid(INDEX, INTEGER_SUB, true));
  EXPECT_FALSE(dei->isValid(INDEX, INTEGER_SUB));
  EXPECT_EQ(0, dei->getVariableLength(static_cast<unsigned int>(INDEX) << 16 | INTEGER_SUB));
  EXPECT_EQ(nullptr, dei->getVariableOwner(INDEX, OWNED_SUB));
}

TEST_F(VariableStore, ForgottenVariableThatComesBackStartsAfresh) {
  KQStoredVariable* const kept = dei->findVariable(INDEX, INTEGER_SUB);
  kept->setVariableValue(7, false);
  dei->markValueAsInvalid(INDEX, INTEGER_SUB, true);
  dei->clear();
  EXPECT_EQ(0, add(INTEGER_SUB, STORAGE_TYPE_INTEGER, nullptr, 11));
  int value = 0;
  EXPECT_EQ(0, kept->getVariableValue(&value));
  EXPECT_EQ(11, value);
  EXPECT_EQ(kept, dei->findVariable(INDEX, INTEGER_SUB));
}

}  // namespace
}  // namespace KQ
