// Covers: reading and writing values that the dictionary itself holds.
//
// | subject                                     | functional                                        | robustness |
// |---------------------------------------------|---------------------------------------------------|------------|
// | integer read                                | value, missing, every access right, other types   |            |
// | text read                                   | value, missing, no write-only check, numbers      |            |
// | integer write                               | stored value, missing, text object, changed value |            |
// | a refused write leaves everything as it was | x                                                 |            |
// | text write                                  | missing, other types, who may                     |            |
// | the key forms do what the index forms do    | x                                                 |            |
// | the null sub-entry of both write rules      |                                                   | x          |

#include <gtest/gtest.h>

#include <string>

#include "DictionaryFixture.h"
#include "KQErrorCodes.h"

using namespace KQ;
using test::objectKey;

namespace {

class IntegerRead : public test::DictionaryFixture {
protected:
  int value = 0x55;
};

TEST_F(IntegerRead, GivesTheStoredValue) {
  addObject(0x1005, 0, -7);
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1005, 0, value));
  EXPECT_EQ(-7, value);
}

TEST_F(IntegerRead, ByKey) {
  addObject(0x1018, 3, 9);
  EXPECT_EQ(KQ_OK, dictionary.getValue(objectKey(0x1018, 3), value));
  EXPECT_EQ(9, value);
}

TEST_F(IntegerRead, MissingEntryLeavesTheResultAlone) {
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(0x1005, 0, value));
  EXPECT_EQ(0x55, value);
}

TEST_F(IntegerRead, MissingSubEntryLeavesTheResultAlone) {
  addObject(0x1005, 0, 1);
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(0x1005, 1, value));
  EXPECT_EQ(0x55, value);
}

TEST_F(IntegerRead, OfATextGivesItsNumber) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1008, 0, value));
  EXPECT_EQ(0, value);
}

struct ReadRightRow {
  const char* name;
  int access;
  int integerResult;
};

class ReadRight : public testing::TestWithParam<ReadRightRow> {
protected:
  KQCANopenObjectDictionary dictionary;
};

TEST_P(ReadRight, OfAnInteger) {
  const auto access = static_cast<KQCANopenAccessType>(GetParam().access);
  dictionary.addEntry(0x1300, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x1300, 0, access, DATA_TYPE_UNSIGNED32, "", false, 3, "", 0);
  int value = 0;
  EXPECT_EQ(GetParam().integerResult, dictionary.getValue(0x1300, 0, value));
  EXPECT_EQ(GetParam().integerResult, dictionary.getValue(objectKey(0x1300, 0), value));
}

TEST_P(ReadRight, OfATextIsNotAsked) {
  const auto access = static_cast<KQCANopenAccessType>(GetParam().access);
  dictionary.addEntry(0x1300, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x1300, 0, access, DATA_TYPE_VISIBLE_STRING, "", false, 0, "text", 0);
  std::string text;
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1300, 0, text));
  EXPECT_EQ("text", text);
}

const ReadRightRow READ_RIGHTS[] = {
    {"ReadOnly", 0, KQ_OK},      {"WriteOnly", 1, test::ABORT_WRITE_ONLY},
    {"ReadWrite", 2, KQ_OK},     {"ReadWriteWrite", 3, KQ_OK},
    {"ReadWriteRead", 4, KQ_OK}, {"Constant", 5, KQ_OK},
};

INSTANTIATE_TEST_SUITE_P(Rights, ReadRight, testing::ValuesIn(READ_RIGHTS), test::rowName());

class TextRead : public test::DictionaryFixture {
protected:
  std::string text = "before";
};

TEST_F(TextRead, GivesTheStoredText) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1008, 0, text));
  EXPECT_EQ("TAVO", text);
}

TEST_F(TextRead, ByKey) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(KQ_OK, dictionary.getValue(objectKey(0x1008, 0), text));
  EXPECT_EQ("TAVO", text);
}

TEST_F(TextRead, OfANumberGivesItsDefaultText) {
  dictionary.addEntry(0x1005, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x1005, 0, ACCESS_RW, DATA_TYPE_UNSIGNED32, "", false, 0x80, "0x80", 0);
  EXPECT_EQ(KQ_OK, dictionary.getValue(0x1005, 0, text));
  EXPECT_EQ("0x80", text);
}

TEST_F(TextRead, MissingEntryLeavesTheResultAlone) {
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(0x1008, 0, text));
  EXPECT_EQ("before", text);
}

TEST_F(TextRead, MissingSubEntryLeavesTheResultAlone) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.getValue(0x1008, 1, text));
  EXPECT_EQ("before", text);
}

class IntegerWrite : public test::DictionaryFixture {};

TEST_F(IntegerWrite, StoresTheValue) {
  addObject(0x1015, 0, 1);
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1015, 0, 0x1234, false));
  EXPECT_EQ(0x1234, storedValue(0x1015, 0));
}

TEST_F(IntegerWrite, LeavesTheDefaultAlone) {
  addObject(0x1015, 0, 1);
  dictionary.setValue(0x1015, 0, 0x1234, false);
  EXPECT_EQ(1, dictionary.getSubentry(0x1015, 0)->defaultValue);
}

TEST_F(IntegerWrite, ByKeyWithoutForce) {
  addObject(0x1015, 0, 1);
  addObject(0x1018, 1, 1);
  EXPECT_EQ(KQ_OK, dictionary.setValue(objectKey(0x1015, 0), 2, false));
  EXPECT_EQ(2, storedValue(0x1015, 0));
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(objectKey(0x1018, 1), 2, false));
}

TEST_F(IntegerWrite, ByKeyWithForce) {
  addObject(0x1018, 1, 1);
  EXPECT_EQ(KQ_OK, dictionary.setValue(objectKey(0x1018, 1), 2, true));
  EXPECT_EQ(2, storedValue(0x1018, 1));
}

TEST_F(IntegerWrite, MissingEntry) {
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1015, 0, 1, true));
}

TEST_F(IntegerWrite, MissingSubEntry) {
  addObject(0x1015, 0, 1);
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1015, 1, 1, true));
}

TEST_F(IntegerWrite, IntoATextIsNotFound) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1008, 0, 1, true));
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1008, 0, 1, false));
}

TEST_F(IntegerWrite, IntoAVariableTextIsNotFound) {
  addText(0x2000, 0, "text");
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x2000, 0, 1, true));
}

TEST_F(IntegerWrite, RefusedLeavesTheValueAlone) {
  addObject(0x1018, 1, 1);
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x1018, 1, 2, false));
  EXPECT_EQ(1, storedValue(0x1018, 1));
}

TEST_F(IntegerWrite, AccessRightsOfDictionaryValuesAreNotAsked) {
  addObject(0x1015, 0, 1, DATA_TYPE_UNSIGNED16, ACCESS_RO);
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1015, 0, 2, false));
}

TEST_F(IntegerWrite, StoresTheValueThatTheRuleChanged) {
  addObject(0x1800, 1, test::stored(0x80000000));
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1800, 1, 0x185, false));
  EXPECT_EQ(0x40000185, storedValue(0x1800, 1));
}

TEST_F(IntegerWrite, AnswersFromTheRuleForAVariableWithoutStore) {
  addObject(0x2000, 1, 1);
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x2000, 1, 2, true));
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x2000, 1, 2, false));
  EXPECT_EQ(1, storedValue(0x2000, 1));
}

class TextWrite : public test::DictionaryFixture {
protected:
  std::string textOf(unsigned short index, unsigned char subIndex) const {
    return dictionary.getSubentry(index, subIndex)->valueString;
  }
};

TEST_F(TextWrite, MissingEntry) {
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1008, 0, std::string("x"), true));
}

TEST_F(TextWrite, MissingSubEntry) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1008, 1, std::string("x"), true));
}

TEST_F(TextWrite, IntoANumberIsNotFound) {
  addObject(0x1008, 0, 1);
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1008, 0, std::string("x"), true));
  EXPECT_EQ("", textOf(0x1008, 0));
}

TEST_F(TextWrite, IntoAnotherStringTypeIsNotFound) {
  addObject(0x1008, 0, 1, DATA_TYPE_OCTET_STRING);
  EXPECT_EQ(KQ_NOT_FOUND, dictionary.setValue(0x1008, 0, std::string("x"), true));
}

TEST_F(TextWrite, LeavesTheDefaultAlone) {
  addText(0x1008, 0, "TAVO");
  dictionary.setValue(0x1008, 0, std::string("x"), true);
  EXPECT_EQ("TAVO", dictionary.getSubentry(0x1008, 0)->defaultValueString);
}

struct TextRuleRow {
  const char* name;
  unsigned short index;
  bool force;
  int result;
};

class TextWriteRule : public TextWrite, public testing::WithParamInterface<TextRuleRow> {
protected:
  void SetUp() override { addText(GetParam().index, 0, "before"); }
};

TEST_P(TextWriteRule, Decides) {
  EXPECT_EQ(GetParam().result, dictionary.setValue(GetParam().index, 0, std::string("after"), GetParam().force));
  EXPECT_EQ(GetParam().result == KQ_OK ? "after" : "before", textOf(GetParam().index, 0));
}

TEST_P(TextWriteRule, DecidesWhenAskedAlone) {
  EXPECT_EQ(GetParam().result,
            dictionary.handleValueChangeRequest(GetParam().index, dictionary.getSubentry(GetParam().index, 0),
                                                std::string("after"), GetParam().force));
  EXPECT_EQ("before", textOf(GetParam().index, 0));
}

const TextRuleRow TEXT_RULES[] = {
    {"BelowForced", 0x1007, true, KQ_NOT_PERMITTED},
    {"FirstForced", 0x1008, true, KQ_OK},
    {"FirstFromTheBus", 0x1008, false, KQ_NOT_PERMITTED},
    {"MiddleForced", 0x1009, true, KQ_OK},
    {"MiddleFromTheBus", 0x1009, false, KQ_NOT_PERMITTED},
    {"LastForced", 0x100A, true, KQ_OK},
    {"LastFromTheBus", 0x100A, false, KQ_NOT_PERMITTED},
    {"AboveForced", 0x100B, true, KQ_NOT_PERMITTED},
    {"AboveFromTheBus", 0x100B, false, KQ_NOT_PERMITTED},
    {"PDOAreaForced", 0x1400, true, KQ_NOT_PERMITTED},
    {"VariableWithoutStoreForced", 0x2000, true, KQ_NOT_PERMITTED},
};

INSTANTIATE_TEST_SUITE_P(Indexes, TextWriteRule, testing::ValuesIn(TEXT_RULES), test::rowName());

TEST_F(IntegerWrite, RuleRefusesANullSubEntry) {
  int value = 1;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.handleValueChangeRequest(0x1015, nullptr, value, true));
}

TEST_F(TextWrite, RuleRefusesANullSubEntryInsideTheTexts) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.handleValueChangeRequest(0x1008, nullptr, std::string("x"), true));
}

TEST_F(TextWrite, RuleRefusesANullSubEntryOutsideTheTexts) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.handleValueChangeRequest(0x1400, nullptr, std::string("x"), true));
}

}  // namespace
