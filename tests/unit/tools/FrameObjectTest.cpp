// Covers: a frame as an object for programs.
//
// | subject                                              | functional | robustness |
// |------------------------------------------------------|------------|------------|
// | members of each service                              | x          |            |
// | values as numbers, texts and truths                  | x          |            |
// | numbers that JSON does not have, texts with anything |            | x          |

#include "FrameObject.h"

#include <gtest/gtest.h>

#include <string>

#include "CandumpReader.h"
#include "FrameDecoder.h"

namespace {

using Json = nlohmann::ordered_json;

// The last frame of a log.
Json object(std::initializer_list<const char*> lines) {
  monitor::FrameDecoder decoder;
  Json result;
  for (const char* line : lines) {
    monitor::LoggedFrame logged;
    EXPECT_TRUE(monitor::CandumpReader::parseLine(line, logged)) << line;
    result = trace::toObject(decoder.decode(logged.frame), logged.interface);
  }
  return result;
}

// A value of a type, as a member of an object.
Json valueOf(unsigned int type, std::initializer_list<unsigned char> bytes) {
  monitor::DecodedFrame frame;
  frame.service = monitor::Service::TPDO;
  frame.values.resize(1);
  frame.valueCount = 1;
  frame.values[0].value.setBytes(monitor::ValueType::fromCode(type), bytes.begin(), bytes.size());
  return trace::toObject(frame, "can0")["values"][0]["value"];
}

TEST(FrameObjectTest, OfAHeartbeat) {
  EXPECT_EQ(R"({"time":1700000000.123456,"interface":"can0","id":1797,"data":"05","service":"heartbeat","node":5,)"
            R"("state":"OPERATIONAL"})",
            object({"(1700000000.123456) can0 705#05"}).dump());
}

TEST(FrameObjectTest, OfAnNMTCommandForAll) {
  EXPECT_EQ(0, object({"(1.0) can0 000#0100"})["node"]);
}

TEST(FrameObjectTest, OfATransferThatIsComplete) {
  const Json last = object({"(1.0) can0 605#4008100000000000", "(1.5) can0 585#4308100054617601"});
  EXPECT_EQ("completed", last["transfer"]);
  EXPECT_EQ(0.5, last["duration"]);
  EXPECT_EQ(4, last["bytes"]);
  EXPECT_EQ("Tav\x01", last["value"]);
  EXPECT_EQ(0x1008, last["index"]);
}

TEST(FrameObjectTest, OfAnAbort) {
  const Json last = object({"(1.0) can0 605#40FF5F0000000000", "(1.5) can0 585#80FF5F0000000206"});
  EXPECT_EQ(0x06020000, last["abortCode"]);
  EXPECT_EQ("object does not exist in the object dictionary", last["abortText"]);
  EXPECT_EQ("aborted", last["transfer"]);
}

TEST(FrameObjectTest, OfAnEmergency) {
  const Json last = object({"(1.0) can0 085#1081810000000000"});
  EXPECT_EQ(0x8110, last["emergencyCode"]);
  EXPECT_EQ(0x81, last["errorRegister"]);
}

TEST(FrameObjectTest, OfAFrameThatIsNoCANopen) {
  EXPECT_EQ("extended", object({"(1.0) can0 00000705#05"})["kind"]);
}

TEST(FrameObjectTest, OfARemoteFrameHasNoData) {
  EXPECT_EQ("", object({"(1.0) can0 705#R1"})["data"]);
}

TEST(FrameObjectTest, OfWhatBreaksTheProtocol) {
  EXPECT_EQ("heartbeat with an unknown state", object({"(1.0) can0 705#03"})["violation"]);
}

TEST(FrameObjectTest, HasNumbersAsNumbers) {
  EXPECT_EQ(-2, valueOf(0x03, {0xFE, 0xFF}));
  EXPECT_EQ(18446744073709551615U, valueOf(0x1B, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(true, valueOf(0x01, {1}));
  EXPECT_EQ(1.5, valueOf(0x08, {0, 0, 0xC0, 0x3F}));
}

TEST(FrameObjectTest, HasWhatIsNoNumberAsText) {
  EXPECT_EQ("inf", valueOf(0x08, {0, 0, 0x80, 0x7F}));
}

TEST(FrameObjectTest, HasTextsWithoutQuotationMarks) {
  EXPECT_EQ("a\"b\\\xC3\xA9", valueOf(0x09, {'a', '"', 'b', '\\', 0xE9}));
}

TEST(FrameObjectTest, HasHalfALetterAsItsReplacement) {
  EXPECT_EQ("\xEF\xBF\xBD", valueOf(0x0B, {0x3D, 0xD8}));
}

}  // namespace
