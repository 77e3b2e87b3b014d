// Covers: the values of variables in the description file are those that the store holds when it is written.
//
// | subject                                                   | functional | robustness |
// |-----------------------------------------------------------|------------|------------|
// | numbers and texts, of a VAR and of a RECORD               | x          |            |
// | every access right, also write-only                       | x          |            |
// | values that are marked invalid                            | x          |            |
// | to a file, to standard output, by the signature of saving | x          |            |
// | what the dictionary holds afterwards                      | x          |            |
// | no variable in the store, no store, an export that fails  |            | x          |

#include <gtest/gtest.h>

#include <string>

#include "DcfFixture.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"

using namespace KQ;

namespace {

class DCFRefresh : public test::DcfFixture {
protected:
  static constexpr unsigned short NUMBER = 0x2001;
  static constexpr unsigned short TEXT = 0x2002;

  void SetUp() override {
    KQDEI::instance()->clear();
    dictionary.setDEI(KQDEI::instance());
  }
  void TearDown() override { KQDEI::instance()->clear(); }

  // The dictionary knows 1, the store 0x1234.
  void addNumber(unsigned char subIndex = 0, KQCANopenAccessType access = ACCESS_RW) {
    dictionary.addEntry(NUMBER, subIndex == 0 ? OBJECT_TYPE_VAR : OBJECT_TYPE_RECORD, "Number");
    dictionary.addSubentry(NUMBER, subIndex, access, DATA_TYPE_UNSIGNED32, "Number", false, 1, "", 0);
    KQVariable variable(NUMBER, subIndex, "number");
    variable.setInitialValue(0x1234);
    ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
  }

  // The dictionary knows "before", the store "after".
  void addTextVariable(KQCANopenAccessType access = ACCESS_RW) {
    dictionary.addEntry(TEXT, OBJECT_TYPE_VAR, "Text");
    dictionary.addSubentry(TEXT, 0, access, DATA_TYPE_VISIBLE_STRING, "Text", false, 0, "before", 0);
    KQVariable variable(TEXT, 0, "text", STORAGE_TYPE_STRING);
    variable.setInitialText("after");
    ASSERT_EQ(KQ_OK, KQDEI::instance()->addVariable(&variable));
  }

  // The current value of an object, as a file's text shows it.
  static std::string valueIn(const std::string& text, const std::string& name) {
    const std::string lines = section(text, name);
    const std::string key = "ParameterValue=";
    const std::size_t found = lines.find(key);
    if (found == std::string::npos) {
      return "no value";
    }
    const std::size_t begin = found + key.size();
    return lines.substr(begin, lines.find('\n', begin) - begin);
  }
};

TEST_F(DCFRefresh, NumberIsThatOfTheStore) {
  addNumber();
  EXPECT_EQ("0x1234", valueIn(exported(), "2001"));
}

TEST_F(DCFRefresh, NumberInARecordIsThatOfTheStore) {
  addNumber(3);
  EXPECT_EQ("0x1234", valueIn(exported(), "2001sub3"));
}

TEST_F(DCFRefresh, TextIsThatOfTheStore) {
  addTextVariable();
  EXPECT_EQ("after", valueIn(exported(), "2002"));
}

TEST_F(DCFRefresh, DefaultsStay) {
  addNumber();
  addTextVariable();
  const std::string text = exported();
  EXPECT_NE(std::string::npos, section(text, "2001").find("DefaultValue=0x1\n"));
  EXPECT_NE(std::string::npos, section(text, "2002").find("DefaultValue=before\n"));
}

class DCFRefreshAccess : public DCFRefresh, public testing::WithParamInterface<KQCANopenAccessType> {};

TEST_P(DCFRefreshAccess, IsNotAsked) {
  addNumber(0, GetParam());
  addTextVariable(GetParam());
  const std::string text = exported();
  EXPECT_EQ("0x1234", valueIn(text, "2001"));
  EXPECT_EQ("after", valueIn(text, "2002"));
}

INSTANTIATE_TEST_SUITE_P(Rights, DCFRefreshAccess,
                         testing::Values(ACCESS_RO, ACCESS_WO, ACCESS_RW, ACCESS_RWW, ACCESS_RWR, ACCESS_CONST),
                         [](const auto& row) { return KQCANopenObjectDictionary::getAccessTypeString(row.param); });

TEST_F(DCFRefresh, InvalidNumberIsTakenAllTheSame) {
  addNumber();
  KQDEI::instance()->markValueAsInvalid(NUMBER, 0, true);
  EXPECT_EQ("0x1234", valueIn(exported(), "2001"));
}

TEST_F(DCFRefresh, InvalidTextIsNot) {
  addTextVariable();
  KQDEI::instance()->markValueAsInvalid(TEXT, 0, true);
  EXPECT_EQ("before", valueIn(exported(), "2002"));
}

TEST_F(DCFRefresh, HappensBeforeStandardOutputToo) {
  addNumber();
  addTextVariable();
  EXPECT_EQ(KQ_OK, dictionary.storeParameters("cout"));
  const std::string text = output.takeOutput();
  EXPECT_EQ("0x1234", valueIn(text, "2001"));
  EXPECT_EQ("after", valueIn(text, "2002"));
}

TEST_F(DCFRefresh, HappensWhenParametersAreSaved) {
  dictionary.createPreDefinedConnectionSet();
  addNumber();
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1010, 1, 0x65766173, false));
  EXPECT_EQ("0x1234", valueIn(directory.read("tavo.dcf"), "2001"));
}

TEST_F(DCFRefresh, DictionaryHoldsTheValuesAfterwards) {
  addNumber();
  addTextVariable();
  exported();
  EXPECT_EQ(0x1234, storedValue(NUMBER, 0));
  EXPECT_EQ("after", dictionary.getSubentry(TEXT, 0)->valueString);
}

TEST_F(DCFRefresh, OfAMissingVariableChangesNothing) {
  addNumber();
  KQDEI::instance()->clear();
  EXPECT_EQ("0x1", valueIn(exported(), "2001"));
}

TEST_F(DCFRefresh, WithoutStoreChangesNothing) {
  addNumber();
  addTextVariable();
  dictionary.setDEI(nullptr);
  const std::string text = exported();
  EXPECT_EQ("0x1", valueIn(text, "2001"));
  EXPECT_EQ("before", valueIn(text, "2002"));
}

TEST_F(DCFRefresh, DoesNotHappenWhenTheFileCannotBeOpened) {
  addNumber();
  addTextVariable();
  EXPECT_EQ(KQ_FILE_ERROR, dictionary.storeParameters("missing/export.dcf"));
  EXPECT_EQ(1, storedValue(NUMBER, 0));
  EXPECT_EQ("before", dictionary.getSubentry(TEXT, 0)->valueString);
}

}  // namespace
