// Covers: the binding of the application's variables to objects of the node.
//
// | subject                     | functional                            | robustness                               |
// |-----------------------------|---------------------------------------|------------------------------------------|
// | addVariable                 | copy, entry, sub-entry, limits, store | null, no type, same ID, before init      |
// | second address part         | above 255: cut in the dictionary only |                                          |
// | data type                   | every row of both signs               | odd lengths                              |
// | external identifier         | identifier, variable ID, channel name | 0, unknown channel, server channel, sub- |
// |                             |                                       | index above 255                          |
// | requests of the application | write and read, number and text       | before init                              |
// | change signals              | 1100, 1101                            | other codes, before init                 |
// | resetValue                  | number                                | text, missing object, before init        |

#include <map>

#include "KQAction.h"
#include "KQCANopenObjectDictionary.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQVariable.h"
#include "NamedCase.h"
#include "ReadableName.h"
#include "TestNode.h"

namespace {

using KQ::KQVariable;

constexpr unsigned short INDEX = 0x2001;

class NoAction : public KQ::KQAction {
public:
  int execute() override { return 0; }
};

class ApplicationVariable : public testing::Test {
protected:
  ApplicationVariable() { node.boot(); }

  KQ::KQCANopen& canopen() { return node.canopen(); }

  const KQ::ObjectDictionarySubEntry& subEntry(unsigned short index, unsigned char subIndex) {
    static const KQ::ObjectDictionarySubEntry missing;
    const KQ::ObjectDictionarySubEntry* const found = node.dictionary().getSubentry(index, subIndex);
    EXPECT_NE(nullptr, found) << std::hex << index << "/" << int{subIndex};
    return found != nullptr ? *found : missing;
  }

  // The variable as the store describes it.
  static KQVariable described(unsigned int key) { return KQ::KQDEI::instance()->getCopyOfVariableMap()->at(key); }

  test::TestNode node;
};

// ---- addVariable

TEST(ApplicationVariableAlone, NullGives20) {
  test::TestNode node;
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, node.canopen().addVariable(nullptr));
}

TEST(ApplicationVariableAlone, BeforeInitGives10) {
  test::TestNode node;
  KQVariable variable(INDEX, 1, "number");
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().addVariable(&variable));
  EXPECT_EQ(nullptr, node.canopen().getVariable(0x20010001));
}

TEST_F(ApplicationVariable, IsBoundAsACopyOfItsOwn) {
  KQVariable variable(INDEX, 1, "number", KQ::STORAGE_TYPE_INTEGER, 16, true);
  variable.setVariableID(4711);
  variable.setGroupName("group");
  variable.setChannelName("channel");
  variable.setExternalIdentifier(0x60000001);
  EXPECT_EQ(KQ::KQ_OK, canopen().addVariable(&variable));
  const KQVariable* const copy = canopen().getVariable(4711);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(&variable, copy);
  EXPECT_EQ(&canopen(), copy->getOwner());
  EXPECT_EQ(2, copy->getBindingMode());
  EXPECT_EQ("group", copy->getGroupName());
  EXPECT_EQ("channel", copy->getChannelName());
  EXPECT_EQ(0x60000001U, copy->getExternalIdentifier());
  EXPECT_EQ("number", copy->getName());
}

TEST_F(ApplicationVariable, HandedInStaysAsItWas) {
  KQVariable variable(INDEX, 1, "number");
  canopen().addVariable(&variable);
  EXPECT_EQ(nullptr, variable.getOwner());
  EXPECT_EQ(0, variable.getBindingMode());
}

TEST_F(ApplicationVariable, IsFoundByItsVariableIDOnly) {
  KQVariable variable(INDEX, 1, "number");
  variable.setVariableID(4711);
  canopen().addVariable(&variable);
  EXPECT_EQ(nullptr, canopen().getVariable(0x20010001));
  EXPECT_EQ(nullptr, canopen().getVariable(4712));
}

TEST_F(ApplicationVariable, SecondOfTheSameIDGives25AndAddsNothing) {
  KQVariable first(INDEX, 1, "first");
  KQVariable second(0x2002, 1, "second");
  second.setVariableID(first.getVariableID());
  EXPECT_EQ(KQ::KQ_OK, canopen().addVariable(&first));
  EXPECT_EQ(KQ::KQ_ALREADY_EXISTS, canopen().addVariable(&second));
  EXPECT_FALSE(node.dictionary().objectExists(0x2002));
  EXPECT_EQ(0, KQ::KQDEI::instance()->getVariableLength(0x20020001));
  EXPECT_EQ("first", canopen().getVariable(first.getVariableID())->getName());
}

TEST_F(ApplicationVariable, AtASubIndexMakesARecord) {
  KQVariable variable(INDEX, 1, "number");
  canopen().addVariable(&variable);
  ASSERT_TRUE(node.dictionary().objectExists(INDEX));
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(INDEX)->objectType);
  EXPECT_EQ("Auto-Generated Record Object", node.dictionary().getEntry(INDEX)->name);
  EXPECT_FALSE(node.dictionary().subObjectExists(INDEX, 0));
}

TEST_F(ApplicationVariable, AtSubIndex0MakesAVAROfItsName) {
  KQVariable variable(INDEX, 0, "number");
  canopen().addVariable(&variable);
  EXPECT_EQ(KQ::OBJECT_TYPE_VAR, node.dictionary().getEntry(INDEX)->objectType);
  EXPECT_EQ("number", node.dictionary().getEntry(INDEX)->name);
  EXPECT_EQ("number", subEntry(INDEX, 0).name);
}

TEST_F(ApplicationVariable, SecondAddressAbove255IsCutInTheDictionary) {
  KQVariable variable(INDEX, 0x103, "number");
  EXPECT_EQ(KQ::KQ_OK, canopen().addVariable(&variable));
  EXPECT_EQ("number", subEntry(INDEX, 3).name);
}

TEST_F(ApplicationVariable, SecondAddressAbove255StaysInTheStore) {
  KQVariable variable(INDEX, 0x103, "number");
  canopen().addVariable(&variable);
  EXPECT_EQ(&canopen(), KQ::KQDEI::instance()->getVariableOwnerPointer(INDEX, 0x103));
  EXPECT_EQ(nullptr, KQ::KQDEI::instance()->getVariableOwnerPointer(INDEX, 3));
}

TEST_F(ApplicationVariable, SecondAddress256IsNotSubIndex0OfAVAR) {
  KQVariable variable(INDEX, 0x100, "number");
  canopen().addVariable(&variable);
  EXPECT_EQ(KQ::OBJECT_TYPE_RECORD, node.dictionary().getEntry(INDEX)->objectType);
  EXPECT_EQ("Auto-Generated Record Object", node.dictionary().getEntry(INDEX)->name);
  EXPECT_EQ("number", subEntry(INDEX, 0).name);
}

class VariableInAnEntry : public ApplicationVariable, public testing::WithParamInterface<unsigned short> {};

TEST_P(VariableInAnEntry, LeavesTheEntryAsItIs) {
  node.dictionary().addEntry(INDEX, KQ::OBJECT_TYPE_ARRAY, "array");
  KQVariable variable(INDEX, GetParam(), "number");
  EXPECT_EQ(KQ::KQ_OK, canopen().addVariable(&variable));
  EXPECT_EQ(KQ::OBJECT_TYPE_ARRAY, node.dictionary().getEntry(INDEX)->objectType);
  EXPECT_EQ("array", node.dictionary().getEntry(INDEX)->name);
  EXPECT_TRUE(node.dictionary().subObjectExists(INDEX, static_cast<unsigned char>(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(SubIndexes, VariableInAnEntry, testing::Values(0, 1, 255), test::ReadableName());

TEST_F(ApplicationVariable, BecomesASubEntryWithItsAttributes) {
  KQVariable variable(INDEX, 3, "number", KQ::STORAGE_TYPE_INTEGER, 16, false);
  variable.setInitialValue(17);
  variable.setInitialText("seventeen");
  canopen().addVariable(&variable);
  const KQ::ObjectDictionarySubEntry& entry = subEntry(INDEX, 3);
  EXPECT_EQ("number", entry.name);
  EXPECT_TRUE(entry.pdoMappable);
  EXPECT_EQ(17, entry.defaultValue);
  EXPECT_EQ("seventeen", entry.defaultValueString);
  EXPECT_EQ(0U, entry.sdoServerID);
  EXPECT_TRUE(entry.isVariable);
}

struct AccessRow : test::NamedCase {
  int mode;
  KQ::KQCANopenAccessType access;
};

class VariableAccessMode : public ApplicationVariable, public testing::WithParamInterface<AccessRow> {};

TEST_P(VariableAccessMode, IsTheAccessRight) {
  KQVariable variable(INDEX, 1, "number");
  variable.setAccessMode(GetParam().mode);
  canopen().addVariable(&variable);
  EXPECT_EQ(GetParam().access, subEntry(INDEX, 1).accessType);
}

const AccessRow ACCESS_ROWS[] = {
    {{"ReadWrite"}, 0, KQ::ACCESS_RW},   {{"WriteOnly"}, 1, KQ::ACCESS_WO},         {{"ReadOnly"}, 2, KQ::ACCESS_RO},
    {{"Constant"}, 3, KQ::ACCESS_CONST}, {{"BelowTheTable"}, -1, KQ::ACCESS_CONST}, {{"Other"}, 77, KQ::ACCESS_CONST},
};

INSTANTIATE_TEST_SUITE_P(Table, VariableAccessMode, testing::ValuesIn(ACCESS_ROWS), test::caseName<AccessRow>);

TEST_F(ApplicationVariable, OfTextIsAVisibleStringWhateverItsLength) {
  KQVariable variable(INDEX, 1, "text", KQ::STORAGE_TYPE_STRING, 16, true);
  canopen().addVariable(&variable);
  EXPECT_EQ(KQ::DATA_TYPE_VISIBLE_STRING, subEntry(INDEX, 1).dataType);
}

TEST_F(ApplicationVariable, WithoutStorageTypeGives20AndKeepsEntryAndCopy) {
  KQVariable variable(INDEX, 1, "nothing", KQ::STORAGE_TYPE_UNDEFINED);
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, canopen().addVariable(&variable));
  EXPECT_TRUE(node.dictionary().objectExists(INDEX));
  EXPECT_FALSE(node.dictionary().subObjectExists(INDEX, 1));
  EXPECT_NE(nullptr, canopen().getVariable(0x20010001));
  EXPECT_EQ(0, KQ::KQDEI::instance()->getVariableLength(0x20010001));
}

TEST_F(ApplicationVariable, LimitsAreItsOwn) {
  KQVariable variable(INDEX, 1, "number", KQ::STORAGE_TYPE_INTEGER, 8, true);
  variable.setMinimum(-7);
  variable.setMaximum(3000);
  canopen().addVariable(&variable);
  EXPECT_EQ(-7, subEntry(INDEX, 1).lowLimit);
  EXPECT_EQ(3000, subEntry(INDEX, 1).highLimit);
}

TEST_F(ApplicationVariable, EntersTheStoreUnderTheNameOfTheNode) {
  KQVariable variable(INDEX, 1, "number", KQ::STORAGE_TYPE_INTEGER, 12, true);
  variable.setInitialValue(17);
  variable.setVariableID(4711);
  canopen().addVariable(&variable);
  const std::string* const owner = KQ::KQDEI::instance()->getVariableOwner(INDEX, 1);
  ASSERT_NE(nullptr, owner);
  EXPECT_EQ(canopen().getOwnerName(), *owner);
  EXPECT_EQ(&canopen(), KQ::KQDEI::instance()->getVariableOwnerPointer(INDEX, 1));
  int value = 0;
  EXPECT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->getVariableValue(INDEX, 1, &value));
  EXPECT_EQ(17, value);
  EXPECT_EQ(12, KQ::KQDEI::instance()->getVariableLength(0x20010001));
  EXPECT_TRUE(KQ::KQDEI::instance()->isVariableSigned(0x20010001));
}

TEST_F(ApplicationVariable, EntersTheStoreWithItsAttributes) {
  NoAction action;
  const std::map<int, KQ::KQAction*> actions{{1301, &action}};
  KQVariable variable(INDEX, 1, "number", KQ::STORAGE_TYPE_INTEGER, 8, true);
  variable.setMinimum(-7);
  variable.setMaximum(7);
  variable.setGroupName("group");
  variable.setChannelName("channel");
  variable.setForceWriting(true);
  variable.setEventActions(actions);
  canopen().addVariable(&variable);
  const KQVariable inStore = described(0x20010001);
  EXPECT_EQ("number", inStore.getName());
  EXPECT_EQ(-7, inStore.getMinimum());
  EXPECT_EQ(7, inStore.getMaximum());
  EXPECT_EQ("group", inStore.getGroupName());
  EXPECT_EQ("channel", inStore.getChannelName());
  EXPECT_TRUE(inStore.isForceWriting());
  EXPECT_EQ(actions, inStore.getEventActions());
}

class VariableValidity : public ApplicationVariable, public testing::WithParamInterface<bool> {};

TEST_P(VariableValidity, EntersTheStore) {
  KQVariable variable(INDEX, 1, "number");
  variable.setValid(GetParam());
  canopen().addVariable(&variable);
  EXPECT_EQ(GetParam(), KQ::KQDEI::instance()->isValid(INDEX, 1));
}

INSTANTIATE_TEST_SUITE_P(Both, VariableValidity, testing::Bool(), test::ReadableName());

TEST_F(ApplicationVariable, TextEntersTheStore) {
  KQVariable variable(INDEX, 1, "text", KQ::STORAGE_TYPE_STRING);
  variable.setInitialText("initial");
  canopen().addVariable(&variable);
  std::string text;
  EXPECT_EQ(KQ::KQ_OK, KQ::KQDEI::instance()->getVariableValue(INDEX, 1, &text));
  EXPECT_EQ("initial", text);
}

// ---- data types

struct DataTypeRow : test::NamedCase {
  int bits;
  int ofUnsigned;
  int ofSigned;
};

class VariableDataType : public ApplicationVariable, public testing::WithParamInterface<DataTypeRow> {};

TEST_P(VariableDataType, FollowsFromLengthWithoutSign) {
  EXPECT_EQ(GetParam().ofUnsigned, canopen().calculateDataType(GetParam().bits, false));
}

TEST_P(VariableDataType, FollowsFromLengthWithSign) {
  EXPECT_EQ(GetParam().ofSigned, canopen().calculateDataType(GetParam().bits, true));
}

TEST_P(VariableDataType, IsThatOfTheSubEntry) {
  KQVariable variable(INDEX, 1, "number", KQ::STORAGE_TYPE_INTEGER, GetParam().bits, true);
  canopen().addVariable(&variable);
  EXPECT_EQ(GetParam().ofSigned, subEntry(INDEX, 1).dataType);
}

const DataTypeRow DATA_TYPE_ROWS[] = {
    {{"Bits1"}, 1, 0x01, 0x40},   {{"Bits2"}, 2, 0x40, 0x40},   {{"Bits7"}, 7, 0x40, 0x40},
    {{"Bits8"}, 8, 0x05, 0x02},   {{"Bits9"}, 9, 0x40, 0x40},   {{"Bits12"}, 12, 0x40, 0x40},
    {{"Bits15"}, 15, 0x40, 0x40}, {{"Bits16"}, 16, 0x06, 0x03}, {{"Bits17"}, 17, 0x40, 0x40},
    {{"Bits23"}, 23, 0x40, 0x40}, {{"Bits24"}, 24, 0x16, 0x10}, {{"Bits25"}, 25, 0x40, 0x40},
    {{"Bits31"}, 31, 0x40, 0x40}, {{"Bits32"}, 32, 0x07, 0x04}, {{"Bits33"}, 33, 0x40, 0x40},
    {{"Bits40"}, 40, 0x40, 0x40}, {{"Bits64"}, 64, 0x40, 0x40},
};

INSTANTIATE_TEST_SUITE_P(Table, VariableDataType, testing::ValuesIn(DATA_TYPE_ROWS), test::caseName<DataTypeRow>);

// ---- external identifier

class ExternalIdentifier : public ApplicationVariable {
protected:
  ExternalIdentifier() {
    canopen().addSDOChannel(0x606, 0x586, 6, KQ::SDO_CHANNEL_CLIENT, "remote");
    canopen().addSDOChannel(0x607, 0x587, 7, KQ::SDO_CHANNEL_CLIENT, "other");
    KQVariable variable(INDEX, 1, "number");
    variable.setChannelName("remote");
    variable.setExternalIdentifier(0x60000012);
    canopen().addVariable(&variable);
    bound = canopen().getVariable(0x20010001);
  }

  KQVariable* bound = nullptr;
};

TEST_F(ExternalIdentifier, FindsTheVariableOnItsChannel) {
  ASSERT_NE(nullptr, bound);
  EXPECT_EQ(bound, canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x586));
}

TEST_F(ExternalIdentifier, VariableIDFindsItToo) {
  EXPECT_EQ(bound, canopen().getVariableByExternalIdentifier(INDEX, 1, 0x586));
}

TEST_F(ExternalIdentifier, OfAnotherObjectFindsNothing) {
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0x6000, 0x13, 0x586));
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0x6001, 0x12, 0x586));
}

TEST_F(ExternalIdentifier, HasSixteenBitsOfSubIndex) {
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0x6000, 0x112, 0x586));
  KQVariable variable(INDEX, 2, "number");
  variable.setChannelName("remote");
  variable.setExternalIdentifier(0x60000112);
  canopen().addVariable(&variable);
  EXPECT_EQ(canopen().getVariable(0x20010002), canopen().getVariableByExternalIdentifier(0x6000, 0x112, 0x586));
  EXPECT_EQ(bound, canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x586));
}

TEST_F(ExternalIdentifier, FindsNothingOnAnotherChannel) {
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x587));
}

TEST_F(ExternalIdentifier, FindsNothingByTheRequestCobID) {
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x606));
}

TEST_F(ExternalIdentifier, ServerChannelHasNoName) {
  KQVariable variable(INDEX, 2, "number");
  variable.setChannelName("server");
  canopen().addVariable(&variable);
  canopen().addSDOChannel(0x612, 0x592, 9, KQ::SDO_CHANNEL_SERVER, "server");
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(INDEX, 2, 0x592));
}

TEST_F(ExternalIdentifier, LaterChannelOfTheSameCobIDGivesTheName) {
  canopen().addSDOChannel(0x608, 0x587, 7, KQ::SDO_CHANNEL_CLIENT, "remote");
  EXPECT_EQ(bound, canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x587));
}

TEST_F(ExternalIdentifier, ZeroFindsNothing) {
  KQVariable variable(INDEX, 2, "number");
  variable.setChannelName("remote");
  variable.setVariableID(0);
  canopen().addVariable(&variable);
  EXPECT_EQ(nullptr, canopen().getVariableByExternalIdentifier(0, 0, 0x586));
}

TEST_F(ExternalIdentifier, TellsVariablesOfDifferentChannelsApart) {
  KQVariable variable(INDEX, 2, "number");
  variable.setChannelName("other");
  variable.setExternalIdentifier(0x60000012);
  canopen().addVariable(&variable);
  EXPECT_EQ(bound, canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x586));
  EXPECT_EQ(canopen().getVariable(0x20010002), canopen().getVariableByExternalIdentifier(0x6000, 0x12, 0x587));
}

// ---- requests of the application

TEST(VariableRequestAlone, BeforeInitGives10) {
  test::TestNode node;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().updateRequest(0x20010001U, 5));
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().updateRequest(0x20010001U, std::string("text")));
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().getValueRequest(0x20010001U));
}

TEST_F(ApplicationVariable, RequestsReturnTheCodeOfTheSDOClient) {
  EXPECT_EQ(KQ::KQ_NOT_FOUND, canopen().updateRequest(0x20010001U, 5));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, canopen().updateRequest(0x20010001U, std::string("text")));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, canopen().getValueRequest(0x20010001U));
}

// ---- change signals

TEST(VariableSignalAlone, BeforeInitGives10) {
  test::TestNode node;
  KQ::KQSignal number(KQ::KQ_SIGNAL_TYPE_VARIABLE, 1100, 0x20010001, 1);
  KQ::KQSignal text(KQ::KQ_SIGNAL_TYPE_VARIABLE, 1101, 0x20010001, 1);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().signalOccurred(number));
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().signalOccurred(text));
}

struct SignalRow : test::NamedCase {
  int code;
  int result;
};

class VariableSignal : public ApplicationVariable, public testing::WithParamInterface<SignalRow> {};

TEST_P(VariableSignal, GoesToThePDOsByItsCode) {
  node.receive("000#01 05");
  KQ::KQSignal signal(KQ::KQ_SIGNAL_TYPE_VARIABLE, GetParam().code, 0x20010001, 1);
  EXPECT_EQ(GetParam().result, canopen().signalOccurred(signal));
}

// 23 is the PDO handler's result for an object that no PDO maps.
const SignalRow SIGNAL_ROWS[] = {
    {{"Number"}, 1100, KQ::KQ_NOT_FOUND},     {{"Text"}, 1101, KQ::KQ_NOT_FOUND},
    {{"OneBelow"}, 1099, KQ::KQ_NOT_HANDLED}, {{"OneAbove"}, 1102, KQ::KQ_NOT_HANDLED},
    {{"Zero"}, 0, KQ::KQ_NOT_HANDLED},        {{"StateChange"}, 1700, KQ::KQ_NOT_HANDLED},
};

INSTANTIATE_TEST_SUITE_P(Codes, VariableSignal, testing::ValuesIn(SIGNAL_ROWS), test::caseName<SignalRow>);

// ---- resetValue

TEST(VariableResetAlone, BeforeInitGives0) {
  test::TestNode node;
  EXPECT_EQ(KQ::KQ_OK, node.canopen().resetValue(0x20010001));
}

TEST_F(ApplicationVariable, ResetGetsItsInitialValueBack) {
  KQVariable variable(INDEX, 1, "number");
  variable.setInitialValue(17);
  canopen().addVariable(&variable);
  node.dictionary().setValue(INDEX, 1, 5, true);
  EXPECT_EQ(KQ::KQ_OK, canopen().resetValue(0x20010001));
  int value = 0;
  KQ::KQDEI::instance()->getVariableValue(INDEX, 1, &value);
  EXPECT_EQ(17, value);
}

TEST_F(ApplicationVariable, ResetOfATextIsRefusedAndLeavesIt) {
  KQVariable variable(INDEX, 1, "text", KQ::STORAGE_TYPE_STRING);
  canopen().addVariable(&variable);
  node.dictionary().setValue(INDEX, 1, "changed", true);
  EXPECT_NE(KQ::KQ_OK, canopen().resetValue(0x20010001));
  std::string text;
  KQ::KQDEI::instance()->getVariableValue(INDEX, 1, &text);
  EXPECT_EQ("changed", text);
}

TEST_F(ApplicationVariable, ResetOfNothingGives0) {
  EXPECT_EQ(KQ::KQ_OK, canopen().resetValue(0x20010001));
}

}  // namespace
