// Covers: KQDebug.
//
// | subject  | functional                                                     | robustness |
// |----------|----------------------------------------------------------------|------------|
// | sections | one number a name, unknown sections                            | x          |
// | levels   | default, set, boundary from both sides, switched off           |            |
// | the line | section name, arguments, line end, long texts, several threads |            |

#include "KQDebug.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace KQ {
namespace {

class Debug : public testing::Test {
protected:
  ~Debug() override { KQDebug::setLevel(section, KQDebug::DEFAULT_LEVEL); }

  std::string printed(int level) const {
    testing::internal::CaptureStderr();
    KQDebug::debugPrintError(level, section, "level %d", level);
    return testing::internal::GetCapturedStderr();
  }

  const int section{KQDebug::insertNewDebugSection("debug_test")};
};

TEST_F(Debug, SameNameIsTheSameSection) {
  EXPECT_EQ(section, KQDebug::insertNewDebugSection("debug_test"));
  EXPECT_GE(section, 0);
}

TEST_F(Debug, AnotherNameIsAnotherSection) {
  EXPECT_NE(section, KQDebug::insertNewDebugSection("debug_test_other"));
}

TEST_F(Debug, ShowsErrorsByDefault) {
  EXPECT_EQ(1, KQDebug::getLevel(section));
  EXPECT_EQ("debug_test: level 0\n", printed(0));
  EXPECT_EQ("debug_test: level 1\n", printed(1));
  EXPECT_EQ("", printed(2));
}

TEST_F(Debug, ShowsUpToTheLevelOfTheSection) {
  EXPECT_EQ(0, KQDebug::setLevel(section, 3));
  EXPECT_EQ(3, KQDebug::getLevel(section));
  EXPECT_EQ("debug_test: level 3\n", printed(3));
  EXPECT_EQ("", printed(4));
}

TEST_F(Debug, ShowsNothingWhenSwitchedOff) {
  KQDebug::setLevel(section, -1);
  EXPECT_EQ("", printed(0));
}

TEST_F(Debug, LevelOfOneSectionLeavesOthersAlone) {
  const int other = KQDebug::insertNewDebugSection("debug_test_other");
  KQDebug::setLevel(section, 5);
  EXPECT_EQ(1, KQDebug::getLevel(other));
}

TEST_F(Debug, PrintsItsArguments) {
  testing::internal::CaptureStderr();
  KQDebug::debugPrintError(1, section, "%s%X%s%X%s", "Variable 0x", 0x20FFU, ", 0x", 0xAU, " is missing");
  EXPECT_EQ("debug_test: Variable 0x20FF, 0xA is missing\n", testing::internal::GetCapturedStderr());
}

TEST_F(Debug, PrintsLongTextsWhole) {
  const std::string text(5000, 'x');
  testing::internal::CaptureStderr();
  KQDebug::debugPrintError(1, section, "%s", text.c_str());
  EXPECT_EQ("debug_test: " + text + "\n", testing::internal::GetCapturedStderr());
}

class UnknownSection : public testing::TestWithParam<int> {};

TEST_P(UnknownSection, PrintsNothingAndHasNoLevel) {
  testing::internal::CaptureStderr();
  KQDebug::debugPrintError(0, GetParam(), "text");
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ(-1, KQDebug::getLevel(GetParam()));
  EXPECT_EQ(23, KQDebug::setLevel(GetParam(), 1));
}

INSTANTIATE_TEST_SUITE_P(Numbers, UnknownSection, testing::Values(-1, 1000000));

TEST_F(Debug, LinesOfThreadsDoNotMix) {
  constexpr int LINES = 200;
  const auto print = [this](const char* text) {
    for (int line = 0; line < LINES; ++line) {
      KQDebug::debugPrintError(0, section, "%s", text);
    }
  };
  testing::internal::CaptureStderr();
  std::thread other(print, "aaaaaaaaaaaaaaaa");
  print("bbbbbbbbbbbbbbbb");
  other.join();
  const std::string output = testing::internal::GetCapturedStderr();
  const std::string oneLine = "debug_test: aaaaaaaaaaaaaaaa\n";
  ASSERT_EQ(2 * LINES * oneLine.size(), output.size());
  for (std::size_t at = 0; at < output.size(); at += oneLine.size()) {
    std::string line = output.substr(at, oneLine.size());
    std::replace(line.begin() + 12, line.end(), 'b', 'a');
    EXPECT_EQ(oneLine, line);
  }
}

}  // namespace
}  // namespace KQ
