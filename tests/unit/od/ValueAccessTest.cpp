// Reading and writing values that the dictionary itself holds.
//
// | covered                                                          | kind       |
// |------------------------------------------------------------------|------------|
// | integer read: value, missing, every access right, other types    | functional |
// | text read: value, missing, no write-only check, numbers          | functional |
// | integer write: stored value, missing, text object, changed value | functional |
// | a refused write leaves everything as it was                      | functional |
// | text write: missing, other types, who may                        | functional |
// | the key forms do what the index forms do                         | functional |
// | the null sub-entry of both write rules                           | robustness |

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
  EXPECT_EQ(dictionary.getValue(0x1005, 0, value), KQ_OK);
  EXPECT_EQ(value, -7);
}

TEST_F(IntegerRead, ByKey) {
  addObject(0x1018, 3, 9);
  EXPECT_EQ(dictionary.getValue(objectKey(0x1018, 3), value), KQ_OK);
  EXPECT_EQ(value, 9);
}

TEST_F(IntegerRead, MissingEntryLeavesTheResultAlone) {
  EXPECT_EQ(dictionary.getValue(0x1005, 0, value), KQ_NOT_FOUND);
  EXPECT_EQ(value, 0x55);
}

TEST_F(IntegerRead, MissingSubEntryLeavesTheResultAlone) {
  addObject(0x1005, 0, 1);
  EXPECT_EQ(dictionary.getValue(0x1005, 1, value), KQ_NOT_FOUND);
  EXPECT_EQ(value, 0x55);
}

TEST_F(IntegerRead, OfATextGivesItsNumber) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(dictionary.getValue(0x1008, 0, value), KQ_OK);
  EXPECT_EQ(value, 0);
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
  EXPECT_EQ(dictionary.getValue(0x1300, 0, value), GetParam().integerResult);
  EXPECT_EQ(dictionary.getValue(objectKey(0x1300, 0), value), GetParam().integerResult);
}

TEST_P(ReadRight, OfATextIsNotAsked) {
  const auto access = static_cast<KQCANopenAccessType>(GetParam().access);
  dictionary.addEntry(0x1300, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x1300, 0, access, DATA_TYPE_VISIBLE_STRING, "", false, 0, "text", 0);
  std::string text;
  EXPECT_EQ(dictionary.getValue(0x1300, 0, text), KQ_OK);
  EXPECT_EQ(text, "text");
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
  EXPECT_EQ(dictionary.getValue(0x1008, 0, text), KQ_OK);
  EXPECT_EQ(text, "TAVO");
}

TEST_F(TextRead, ByKey) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(dictionary.getValue(objectKey(0x1008, 0), text), KQ_OK);
  EXPECT_EQ(text, "TAVO");
}

TEST_F(TextRead, OfANumberGivesItsDefaultText) {
  dictionary.addEntry(0x1005, OBJECT_TYPE_VAR, "Object");
  dictionary.addSubentry(0x1005, 0, ACCESS_RW, DATA_TYPE_UNSIGNED32, "", false, 0x80, "0x80", 0);
  EXPECT_EQ(dictionary.getValue(0x1005, 0, text), KQ_OK);
  EXPECT_EQ(text, "0x80");
}

TEST_F(TextRead, MissingEntryLeavesTheResultAlone) {
  EXPECT_EQ(dictionary.getValue(0x1008, 0, text), KQ_NOT_FOUND);
  EXPECT_EQ(text, "before");
}

TEST_F(TextRead, MissingSubEntryLeavesTheResultAlone) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(dictionary.getValue(0x1008, 1, text), KQ_NOT_FOUND);
  EXPECT_EQ(text, "before");
}

class IntegerWrite : public test::DictionaryFixture {};

TEST_F(IntegerWrite, StoresTheValue) {
  addObject(0x1015, 0, 1);
  EXPECT_EQ(dictionary.setValue(0x1015, 0, 0x1234, false), KQ_OK);
  EXPECT_EQ(storedValue(0x1015, 0), 0x1234);
}

TEST_F(IntegerWrite, LeavesTheDefaultAlone) {
  addObject(0x1015, 0, 1);
  dictionary.setValue(0x1015, 0, 0x1234, false);
  EXPECT_EQ(dictionary.getSubentry(0x1015, 0)->defaultValue, 1);
}

TEST_F(IntegerWrite, ByKeyWithoutForce) {
  addObject(0x1015, 0, 1);
  addObject(0x1018, 1, 1);
  EXPECT_EQ(dictionary.setValue(objectKey(0x1015, 0), 2, false), KQ_OK);
  EXPECT_EQ(storedValue(0x1015, 0), 2);
  EXPECT_EQ(dictionary.setValue(objectKey(0x1018, 1), 2, false), KQ_NOT_PERMITTED);
}

TEST_F(IntegerWrite, ByKeyWithForce) {
  addObject(0x1018, 1, 1);
  EXPECT_EQ(dictionary.setValue(objectKey(0x1018, 1), 2, true), KQ_OK);
  EXPECT_EQ(storedValue(0x1018, 1), 2);
}

TEST_F(IntegerWrite, MissingEntry) {
  EXPECT_EQ(dictionary.setValue(0x1015, 0, 1, true), KQ_NOT_FOUND);
}

TEST_F(IntegerWrite, MissingSubEntry) {
  addObject(0x1015, 0, 1);
  EXPECT_EQ(dictionary.setValue(0x1015, 1, 1, true), KQ_NOT_FOUND);
}

TEST_F(IntegerWrite, IntoATextIsNotFound) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(dictionary.setValue(0x1008, 0, 1, true), KQ_NOT_FOUND);
  EXPECT_EQ(dictionary.setValue(0x1008, 0, 1, false), KQ_NOT_FOUND);
}

TEST_F(IntegerWrite, IntoAVariableTextIsNotFound) {
  addText(0x2000, 0, "text");
  EXPECT_EQ(dictionary.setValue(0x2000, 0, 1, true), KQ_NOT_FOUND);
}

TEST_F(IntegerWrite, RefusedLeavesTheValueAlone) {
  addObject(0x1018, 1, 1);
  EXPECT_EQ(dictionary.setValue(0x1018, 1, 2, false), KQ_NOT_PERMITTED);
  EXPECT_EQ(storedValue(0x1018, 1), 1);
}

TEST_F(IntegerWrite, AccessRightsOfDictionaryValuesAreNotAsked) {
  addObject(0x1015, 0, 1, DATA_TYPE_UNSIGNED16, ACCESS_RO);
  EXPECT_EQ(dictionary.setValue(0x1015, 0, 2, false), KQ_OK);
}

TEST_F(IntegerWrite, StoresTheValueThatTheRuleChanged) {
  addObject(0x1800, 1, test::stored(0x80000000));
  EXPECT_EQ(dictionary.setValue(0x1800, 1, 0x185, false), KQ_OK);
  EXPECT_EQ(storedValue(0x1800, 1), 0x40000185);
}

TEST_F(IntegerWrite, AnswersFromTheRuleForAVariableWithoutStore) {
  addObject(0x2000, 1, 1);
  EXPECT_EQ(dictionary.setValue(0x2000, 1, 2, true), KQ_NOT_PERMITTED);
  EXPECT_EQ(dictionary.setValue(0x2000, 1, 2, false), KQ_NOT_PERMITTED);
  EXPECT_EQ(storedValue(0x2000, 1), 1);
}

class TextWrite : public test::DictionaryFixture {
protected:
  std::string textOf(unsigned short index, unsigned char subIndex) const {
    return dictionary.getSubentry(index, subIndex)->valueString;
  }
};

TEST_F(TextWrite, MissingEntry) {
  EXPECT_EQ(dictionary.setValue(0x1008, 0, std::string("x"), true), KQ_NOT_FOUND);
}

TEST_F(TextWrite, MissingSubEntry) {
  addText(0x1008, 0, "TAVO");
  EXPECT_EQ(dictionary.setValue(0x1008, 1, std::string("x"), true), KQ_NOT_FOUND);
}

TEST_F(TextWrite, IntoANumberIsNotFound) {
  addObject(0x1008, 0, 1);
  EXPECT_EQ(dictionary.setValue(0x1008, 0, std::string("x"), true), KQ_NOT_FOUND);
  EXPECT_EQ(textOf(0x1008, 0), "");
}

TEST_F(TextWrite, IntoAnotherStringTypeIsNotFound) {
  addObject(0x1008, 0, 1, DATA_TYPE_OCTET_STRING);
  EXPECT_EQ(dictionary.setValue(0x1008, 0, std::string("x"), true), KQ_NOT_FOUND);
}

TEST_F(TextWrite, LeavesTheDefaultAlone) {
  addText(0x1008, 0, "TAVO");
  dictionary.setValue(0x1008, 0, std::string("x"), true);
  EXPECT_EQ(dictionary.getSubentry(0x1008, 0)->defaultValueString, "TAVO");
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
  EXPECT_EQ(dictionary.setValue(GetParam().index, 0, std::string("after"), GetParam().force), GetParam().result);
  EXPECT_EQ(textOf(GetParam().index, 0), GetParam().result == KQ_OK ? "after" : "before");
}

TEST_P(TextWriteRule, DecidesWhenAskedAlone) {
  EXPECT_EQ(dictionary.handleValueChangeRequest(GetParam().index, dictionary.getSubentry(GetParam().index, 0),
                                                std::string("after"), GetParam().force),
            GetParam().result);
  EXPECT_EQ(textOf(GetParam().index, 0), "before");
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
  EXPECT_EQ(dictionary.handleValueChangeRequest(0x1015, nullptr, value, true), KQ_INVALID_ARGUMENT);
}

TEST_F(TextWrite, RuleRefusesANullSubEntryInsideTheTexts) {
  EXPECT_EQ(dictionary.handleValueChangeRequest(0x1008, nullptr, std::string("x"), true), KQ_INVALID_ARGUMENT);
}

TEST_F(TextWrite, RuleRefusesANullSubEntryOutsideTheTexts) {
  EXPECT_EQ(dictionary.handleValueChangeRequest(0x1400, nullptr, std::string("x"), true), KQ_INVALID_ARGUMENT);
}

}  // namespace
