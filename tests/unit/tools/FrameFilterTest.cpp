// Covers: which frames are shown and counted.
//
// | subject                                             | functional | robustness |
// |-----------------------------------------------------|------------|------------|
// | nodes, services, identifiers, and several of each   | x          |            |
// | moments of both forms, and the boundaries of a time | x          |            |
// | names, ranges and moments that there are not        |            | x          |

#include "FrameFilter.h"

#include <gtest/gtest.h>

#include <string>

#include "CandumpReader.h"
#include "FrameDecoder.h"
#include "TraceError.h"

namespace {

using trace::FrameFilter;
using trace::Moment;

bool matches(const FrameFilter& filter, const std::string& frame) {
  monitor::LoggedFrame logged;
  EXPECT_TRUE(monitor::CandumpReader::parseLine("can0 " + frame, logged)) << frame;
  monitor::FrameDecoder decoder;
  return filter.matches(decoder.decode(logged.frame));
}

class FrameFilterTest : public ::testing::Test {
protected:
  FrameFilter filter;
};

TEST_F(FrameFilterTest, LetsAllThroughAtFirst) {
  EXPECT_TRUE(matches(filter, "00000705#00"));
  EXPECT_TRUE(filter.isInTime(0, 0));
  EXPECT_TRUE(filter.isOfInterface("can0"));
}

TEST_F(FrameFilterTest, TakesTheFramesOfANode) {
  filter.addNode(5);
  EXPECT_TRUE(matches(filter, "605#4018100100000000"));
  EXPECT_FALSE(matches(filter, "606#4018100100000000"));
  EXPECT_FALSE(matches(filter, "080#"));
}

TEST_F(FrameFilterTest, TakesCommandsForAllWithThoseOfANode) {
  filter.addNode(5);
  EXPECT_TRUE(matches(filter, "000#0100"));
  EXPECT_FALSE(matches(filter, "000#0106"));
  EXPECT_FALSE(matches(filter, "000#01FF"));
}

TEST_F(FrameFilterTest, TakesServicesInEitherCase) {
  filter.addService("SDO");
  filter.addService("boot-up");
  EXPECT_TRUE(matches(filter, "585#4318100100000000"));
  EXPECT_TRUE(matches(filter, "705#00"));
  EXPECT_FALSE(matches(filter, "705#05"));
}

TEST_F(FrameFilterTest, TakesIdentifiersFromTheFirstToTheLast) {
  filter.addIdentifiers("180-1FF");
  filter.addIdentifiers("0x80");
  EXPECT_TRUE(matches(filter, "180#"));
  EXPECT_TRUE(matches(filter, "1FF#"));
  EXPECT_TRUE(matches(filter, "080#"));
  EXPECT_FALSE(matches(filter, "17F#"));
  EXPECT_FALSE(matches(filter, "200#"));
}

TEST_F(FrameFilterTest, TakesNoLongIdentifierForAShortOne) {
  filter.addIdentifiers("705");
  EXPECT_FALSE(matches(filter, "00000705#00"));
}

TEST_F(FrameFilterTest, TakesATimeWithItsBeginningAndWithoutItsEnd) {
  filter.setBegin(Moment::parse("2"));
  filter.setEnd(Moment::parse("+2.5"));
  EXPECT_FALSE(filter.isInTime(1999999, 1000000));
  EXPECT_TRUE(filter.isInTime(2000000, 1000000));
  EXPECT_TRUE(filter.isInTime(3499999, 1000000));
  EXPECT_FALSE(filter.isInTime(3500000, 1000000));
}

TEST_F(FrameFilterTest, TakesOneInterface) {
  filter.setInterface("can1");
  EXPECT_TRUE(filter.isOfInterface("can1"));
  EXPECT_FALSE(filter.isOfInterface("can10"));
}

TEST_F(FrameFilterTest, RefusesAServiceThatThereIsNot) {
  EXPECT_THROW(filter.addService("sd"), trace::TraceError);
}

TEST_F(FrameFilterTest, RefusesIdentifiersThatThereAreNot) {
  for (const char* range : {"", "800", "180-", "-180", "1FF-180", "18G", "180-1FF-2FF"}) {
    EXPECT_THROW(filter.addIdentifiers(range), trace::TraceError) << range;
  }
}

TEST(MomentTest, IsRefusedWhenItIsNone) {
  for (const char* text : {"", "+", "-1", "x", "1x", "1e3", "nan", "inf", "1000000000000"}) {
    EXPECT_THROW(Moment::parse(text), trace::TraceError) << text;
  }
}

}  // namespace
