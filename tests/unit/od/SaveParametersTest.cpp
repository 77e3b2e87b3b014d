// Covers: saving by the signature in object 0x1010.
//
// | subject                                                 | functional | robustness |
// |---------------------------------------------------------|------------|------------|
// | signature in sub-index 1 and 2, forced and from the bus | x          |            |
// | every other value, the signature's neighbours           | x          |            |
// | sub-indexes 0 and 3 with the signature                  | x          |            |
// | what the file and the object hold afterwards            | x          |            |
// | a file that cannot be opened                            |            | x          |

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "FreshNodeFixture.h"
#include "KQErrorCodes.h"

using namespace KQ;

namespace {

constexpr int SIGNATURE = 0x65766173;

class SaveParameters : public test::FreshNodeFixture {
protected:
  void SetUp() override {
    dictionary.createPreDefinedConnectionSet();
    ASSERT_FALSE(isSaved());
  }

  static bool isSaved() { return std::filesystem::is_regular_file("tavo.dcf"); }
};

struct SignatureRow {
  const char* name;
  unsigned char subIndex;
  bool force;
};

class SaveSignature : public SaveParameters, public testing::WithParamInterface<SignatureRow> {};

TEST_P(SaveSignature, WritesTheFile) {
  EXPECT_EQ(KQ_OK, dictionary.setValue(0x1010, GetParam().subIndex, SIGNATURE, GetParam().force));
  EXPECT_TRUE(isSaved());
}

TEST_P(SaveSignature, StaysInTheObject) {
  dictionary.setValue(0x1010, GetParam().subIndex, SIGNATURE, GetParam().force);
  EXPECT_EQ(SIGNATURE, storedValue(0x1010, GetParam().subIndex));
}

TEST_P(SaveSignature, PrintsNothing) {
  dictionary.setValue(0x1010, GetParam().subIndex, SIGNATURE, GetParam().force);
  EXPECT_EQ("", output.takeOutput());
}

TEST_P(SaveSignature, WithoutAPossibleFileIsRefused) {
  std::filesystem::create_directory("tavo.dcf");
  EXPECT_EQ(test::ABORT_HARDWARE_ERROR, dictionary.setValue(0x1010, GetParam().subIndex, SIGNATURE, GetParam().force));
  EXPECT_EQ(1, storedValue(0x1010, GetParam().subIndex));
}

TEST_P(SaveSignature, AnyOtherValueIsRefused) {
  for (const int value : {0, 1, SIGNATURE - 1, SIGNATURE + 1, 0x73617665, -1}) {
    EXPECT_EQ(test::ABORT_NO_SIGNATURE, dictionary.setValue(0x1010, GetParam().subIndex, value, GetParam().force));
  }
  EXPECT_FALSE(isSaved());
  EXPECT_EQ(1, storedValue(0x1010, GetParam().subIndex));
}

const SignatureRow SIGNATURES[] = {
    {"AllFromTheBus", 1, false},
    {"AllForced", 1, true},
    {"CommunicationFromTheBus", 2, false},
    {"CommunicationForced", 2, true},
};

INSTANTIATE_TEST_SUITE_P(SubIndexes, SaveSignature, testing::ValuesIn(SIGNATURES), test::rowName());

TEST_F(SaveParameters, ApplicationParametersCannotBeSaved) {
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x1010, 3, SIGNATURE, false));
  EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x1010, 3, SIGNATURE, true));
  EXPECT_FALSE(isSaved());
}

TEST_F(SaveParameters, SignatureInSubIndexZeroIsOutsideItsLimits) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, dictionary.setValue(0x1010, 0, SIGNATURE, true));
  EXPECT_FALSE(isSaved());
}

TEST_F(SaveParameters, FileHoldsTheCurrentValues) {
  dictionary.setValue(0x1017, 0, 0x1234, false);
  dictionary.setValue(0x1010, 1, SIGNATURE, false);
  const std::string text = directory.read("tavo.dcf");
  EXPECT_NE(std::string::npos, text.find("\nDefaultValue=0x0\nParameterValue=0x1234\n"));
}

// The file is written while the write is being judged, so the signature is not in it yet.
TEST_F(SaveParameters, FileOfTheFirstSaveHoldsTheOldValue) {
  dictionary.setValue(0x1010, 1, SIGNATURE, false);
  EXPECT_EQ(std::string::npos, directory.read("tavo.dcf").find("0x65766173"));
}

TEST_F(SaveParameters, FileOfTheSecondSaveHoldsTheSignature) {
  dictionary.setValue(0x1010, 1, SIGNATURE, false);
  dictionary.setValue(0x1010, 2, SIGNATURE, false);
  EXPECT_NE(std::string::npos, directory.read("tavo.dcf").find("DefaultValue=0x1\nParameterValue=0x65766173\n"));
}

TEST_F(SaveParameters, DefaultFileStaysAsItWas) {
  const std::string before = directory.read("tavo_default.dcf");
  dictionary.setValue(0x1017, 0, 0x1234, false);
  dictionary.setValue(0x1010, 1, SIGNATURE, false);
  EXPECT_EQ(before, directory.read("tavo_default.dcf"));
}

TEST_F(SaveParameters, RestoringIsRefusedWithEverySignature) {
  constexpr int LOAD = 0x64616F6C;
  for (unsigned char subIndex = 1; subIndex <= 3; ++subIndex) {
    EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x1011, subIndex, LOAD, false));
    EXPECT_EQ(KQ_NOT_PERMITTED, dictionary.setValue(0x1011, subIndex, LOAD, true));
  }
}

}  // namespace
