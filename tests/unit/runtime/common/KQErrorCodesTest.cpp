// Covers: the result codes.
//
// | subject      | functional                                                          | robustness |
// |--------------|---------------------------------------------------------------------|------------|
// | result codes | numbers as agreed with the runtime, a text for each, unlisted codes | x          |

#include "KQErrorCodes.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>

namespace KQ {
namespace {

struct CodeCase {
  int code;
  int number;
};

class ErrorCode : public testing::TestWithParam<CodeCase> {};

TEST_P(ErrorCode, HasItsNumber) {
  EXPECT_EQ(GetParam().number, GetParam().code);
}

TEST_P(ErrorCode, HasATextOfItsOwn) {
  ASSERT_NE(nullptr, kqGetErrorString(GetParam().code));
  EXPECT_STRNE("unknown error", kqGetErrorString(GetParam().code));
  EXPECT_STRNE("", kqGetErrorString(GetParam().code));
}

constexpr CodeCase allCodes[] = {
    {KQ_OK, 0},
    {KQ_DONE, 1},
    {KQ_MISSING_OBJECT, 3},
    {KQ_NO_DATA, 5},
    {KQ_NO_FREE_INDEX, 6},
    {KQ_DISABLED, 7},
    {KQ_UNEXPECTED, 8},
    {KQ_NOT_AVAILABLE, 10},
    {KQ_NOT_HANDLED, 11},
    {KQ_VALUE_INVALID, 12},
    {KQ_NOT_WRITTEN, 13},
    {KQ_MISMATCH, 15},
    {KQ_FILE_ERROR, 16},
    {KQ_DEFERRED, 17},
    {KQ_INVALID_ARGUMENT, 20},
    {KQ_NOT_FOUND, 23},
    {KQ_DOES_NOT_FIT, 24},
    {KQ_ALREADY_EXISTS, 25},
    {KQ_NO_STORAGE_TYPE, 29},
    {KQ_NOT_PERMITTED, 30},
    {KQ_UNKNOWN_COMMAND, 35},
};

INSTANTIATE_TEST_SUITE_P(Listed, ErrorCode, testing::ValuesIn(allCodes),
                         [](const auto& row) { return "Code" + std::to_string(row.param.number); });

TEST(ErrorText, DiffersFromCodeToCode) {
  std::set<std::string> texts;
  for (const CodeCase& listed : allCodes) {
    EXPECT_TRUE(texts.insert(kqGetErrorString(listed.code)).second) << listed.number;
  }
}

class UnlistedCode : public testing::TestWithParam<int> {};

TEST_P(UnlistedCode, IsAnUnknownError) {
  EXPECT_STREQ("unknown error", kqGetErrorString(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Numbers, UnlistedCode,
                         testing::Values(-1, 2, 4, 9, 14, 22, 26, 34, 36, 0x06010002, std::numeric_limits<int>::max(),
                                         std::numeric_limits<int>::min()));

}  // namespace
}  // namespace KQ
