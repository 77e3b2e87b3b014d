// Covers: a frame as a line for a person.
//
// | subject                                          | functional | robustness |
// |--------------------------------------------------|------------|------------|
// | columns, with and without node, object and data  | x          |            |
// | the four forms of time                           | x          |            |
// | identifiers of 29 bits, what breaks the protocol |            | x          |

#include "FrameText.h"

#include <gtest/gtest.h>

#include <string>

#include "CandumpReader.h"
#include "FrameDecoder.h"

namespace {

using trace::FrameText;
using trace::TimeForm;

// The lines of a log as they are shown.
std::string shown(std::initializer_list<const char*> lines, TimeForm form = TimeForm::AS_LOGGED, bool data = false) {
  FrameText frameText(form, data);
  monitor::FrameDecoder decoder;
  std::string text;
  for (const char* line : lines) {
    monitor::LoggedFrame logged;
    EXPECT_TRUE(monitor::CandumpReader::parseLine(line, logged)) << line;
    frameText.append(text, decoder.decode(logged.frame), logged.interface, 1000000);
  }
  return text;
}

TEST(FrameTextTest, HasItsColumns) {
  EXPECT_EQ(
      "1700000000.000001 can0 605 SDO request   node 5   0x1017/0 Producer heartbeat time: initiate download = "
      "1000\n",
      shown({"(1700000000.000001) can0 605#2B171000E8030000"}));
}

TEST(FrameTextTest, EndsWithItsLastWord) {
  EXPECT_EQ("1.000000 can0 080 SYNC\n", shown({"(1.0) can0 080#"}));
}

TEST(FrameTextTest, NamesAllNodes) {
  EXPECT_EQ("1.000000 can0 000 NMT           all nodes start\n", shown({"(1.0) can0 000#0100"}));
}

TEST(FrameTextTest, ShowsWhatBreaksTheProtocol) {
  EXPECT_EQ("1.000000 can0 705 heartbeat     node 5   unknown state !! heartbeat with an unknown state\n",
            shown({"(1.0) can0 705#03"}));
}

TEST(FrameTextTest, ShowsTheBytes) {
  EXPECT_EQ("1.000000 can0 705 05                      heartbeat     node 5   OPERATIONAL\n",
            shown({"(1.0) can0 705#05"}, TimeForm::AS_LOGGED, true));
}

TEST(FrameTextTest, ShowsALongIdentifierInEightDigits) {
  EXPECT_EQ("1.000000 can0 00000705", shown({"(1.0) can0 00000705#05"}).substr(0, 22));
}

TEST(FrameTextTest, ShowsTheDate) {
  EXPECT_EQ("2023-11-14 22:13:20.000001 can0 080 SYNC\n", shown({"(1700000000.000001) can0 080#"}, TimeForm::DATE));
}

TEST(FrameTextTest, ShowsTheTimeSinceTheFirstFrame) {
  EXPECT_EQ("1.500000 can0 080 SYNC\n", shown({"(2.5) can0 080#"}, TimeForm::RELATIVE));
}

TEST(FrameTextTest, ShowsTheTimeSinceTheLineBefore) {
  EXPECT_EQ("0.000000 can0 080 SYNC\n0.250000 can0 080 SYNC\n-0.500000 can0 080 SYNC\n",
            shown({"(2.5) can0 080#", "(2.75) can0 080#", "(2.25) can0 080#"}, TimeForm::DELTA));
}

}  // namespace
