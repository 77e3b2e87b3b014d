// Covers: SocketcandCodec: the bytes of the line protocol.
//
// | subject     | functional                                                                             | robustness |
// |-------------|----------------------------------------------------------------------------------------|------------|
// | frame lines | 11 bits without, 29 bits with leading zeros; no data: two blanks; microseconds in full |            |
// | send lines  | as clients write them                                                                  |            |
// | parsing     | every field at and beyond its limit; one digit data; more or fewer bytes than said     |            |
// | splitting   | one, several, part of a line; rubbish before; no end                                   |            |

#include <gtest/gtest.h>

#include "SocketcandCodec.h"

namespace KQ::test {
namespace {

KQBusFrame makeFrame(unsigned identifier, bool extended, std::initializer_list<unsigned char> bytes) {
  KQBusFrame frame;
  frame.identifier = identifier;
  frame.extended = extended;
  for (const unsigned char byte : bytes) {
    frame.data[frame.length++] = byte;
  }
  return frame;
}

struct TextCase {
  KQBusFrame frame;
  const char* frameLine;
  const char* sendLine;
};

class CodecText : public testing::TestWithParam<TextCase> {};

TEST_P(CodecText, FrameLineHasTheExactBytes) {
  std::string text;
  SocketcandCodec::appendFrameLine(text, GetParam().frame, 1700000000123456);
  EXPECT_EQ(GetParam().frameLine, text);
}

TEST_P(CodecText, SendLineHasTheExactBytes) {
  std::string text;
  SocketcandCodec::appendSendLine(text, GetParam().frame);
  EXPECT_EQ(GetParam().sendLine, text);
}

TEST_P(CodecText, BothAreReadAsTheSameFrame) {
  std::string_view line;
  std::size_t used = 0;
  for (const std::string_view text : {GetParam().frameLine, GetParam().sendLine}) {
    ASSERT_EQ(SocketcandCodec::Split::LINE, SocketcandCodec::nextLine(text, line, used));
    KQBusFrame frame;
    const bool isFrame = SocketcandCodec::nextWord(line) == "frame";
    ASSERT_TRUE(isFrame ? SocketcandCodec::parseFrame(line, frame) : SocketcandCodec::parseSend(line, frame));
    EXPECT_EQ(GetParam().frame.identifier, frame.identifier);
    EXPECT_EQ(GetParam().frame.extended, frame.extended);
    EXPECT_EQ(GetParam().frame.length, frame.length);
    EXPECT_EQ(0, std::memcmp(frame.data, GetParam().frame.data, sizeof frame.data));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Frames, CodecText,
    testing::Values(
        TextCase{makeFrame(0x581, false, {0x43, 0, 0x20, 0, 1, 0, 0, 0}),
                 "< frame 581 1700000000.123456 4300200001000000 >", "< send 581 8 43 0 20 0 1 0 0 0 >"},
        TextCase{makeFrame(0x601, false, {0x40, 0, 0x20, 0, 0, 0, 0, 0xF}),
                 "< frame 601 1700000000.123456 400020000000000F >", "< send 601 8 40 0 20 0 0 0 0 f >"},
        TextCase{makeFrame(0, false, {0x81, 0xAB}), "< frame 0 1700000000.123456 81AB >", "< send 0 2 81 ab >"},
        TextCase{makeFrame(0x80, false, {}), "< frame 80 1700000000.123456  >", "< send 80 0 >"},
        TextCase{makeFrame(0x7FF, false, {1}), "< frame 7FF 1700000000.123456 01 >", "< send 7FF 1 1 >"},
        TextCase{makeFrame(0x5, true, {1}), "< frame 00000005 1700000000.123456 01 >", "< send 00000005 1 1 >"},
        TextCase{makeFrame(0x1FFFFFFF, true, {}), "< frame 1FFFFFFF 1700000000.123456  >", "< send 1FFFFFFF 0 >"}));

TEST(CodecText, TimeHasSixDecimals) {
  std::string text;
  SocketcandCodec::appendFrameLine(text, makeFrame(1, false, {}), 5000007);
  EXPECT_EQ("< frame 1 5.000007  >", text);
  text.clear();
  SocketcandCodec::appendFrameLine(text, makeFrame(1, false, {}), 0);
  EXPECT_EQ("< frame 1 0.000000  >", text);
}

TEST(CodecText, WallClockIsOfThisCentury) {
  EXPECT_GT(SocketcandCodec::getWallClock(), 1600000000LL * 1000000);
  EXPECT_LT(SocketcandCodec::getWallClock(), 4000000000LL * 1000000);
}

struct ParseCase {
  const char* arguments;
  bool isFrame;
};

class CodecSend : public testing::TestWithParam<ParseCase> {};

TEST_P(CodecSend, IsReadOrRefused) {
  KQBusFrame frame = makeFrame(0x123, false, {9});
  EXPECT_EQ(GetParam().isFrame, SocketcandCodec::parseSend(GetParam().arguments, frame));
  if (!GetParam().isFrame) {
    EXPECT_EQ(0x123U, frame.identifier) << "a refused line leaves the frame alone";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, CodecSend,
    testing::Values(ParseCase{"7FF 0", true}, ParseCase{"7ff 0", true}, ParseCase{"800 0", false},
                    ParseCase{"0800 0", true}, ParseCase{"1FFFFFFF 0", true}, ParseCase{"20000000 0", false},
                    ParseCase{"01FFFFFFF 0", false}, ParseCase{"1 8 1 2 3 4 5 6 7 8", true},
                    ParseCase{"1 9 1 2 3 4 5 6 7 8 9", false}, ParseCase{"1 08 1 2 3 4 5 6 7 8", true},
                    ParseCase{"1 008 1 2 3 4 5 6 7 8", false}, ParseCase{"1 2 1", false}, ParseCase{"1 2 1 2 3", false},
                    ParseCase{"1 1 FF", true}, ParseCase{"1 1 0FF", false}, ParseCase{"1 1 g", false},
                    ParseCase{"1 1 -1", false}, ParseCase{"1", false}, ParseCase{"", false}, ParseCase{"x 0", false},
                    ParseCase{"  5   2\t 1  2 ", true}));

class CodecFrame : public testing::TestWithParam<ParseCase> {};

TEST_P(CodecFrame, IsReadOrRefused) {
  KQBusFrame frame = makeFrame(0x123, false, {9});
  EXPECT_EQ(GetParam().isFrame, SocketcandCodec::parseFrame(GetParam().arguments, frame));
}

INSTANTIATE_TEST_SUITE_P(Arguments, CodecFrame,
                         testing::Values(ParseCase{"581 1.0 4300200001000000", true}, ParseCase{"581 1.0 ", true},
                                         ParseCase{"581 1.0 43 00 20", true}, ParseCase{"581", false},
                                         ParseCase{"581 1.0 430", false},
                                         ParseCase{"581 1.0 4300200001000000FF", false}, ParseCase{"581 1.0 4g", false},
                                         ParseCase{"800 1.0 ", false}, ParseCase{"", false}));

struct SplitCase {
  std::string text;
  SocketcandCodec::Split split;
  std::string content;
  std::size_t used;
};

class CodecSplit : public testing::TestWithParam<SplitCase> {};

TEST_P(CodecSplit, FindsTheFirstLine) {
  std::string_view content = "";
  std::size_t used = 0;
  EXPECT_EQ(GetParam().split, SocketcandCodec::nextLine(GetParam().text, content, used));
  EXPECT_EQ(GetParam().content, content);
  EXPECT_EQ(GetParam().used, used);
}

using Split = SocketcandCodec::Split;
INSTANTIATE_TEST_SUITE_P(
    Texts, CodecSplit,
    testing::Values(SplitCase{"", Split::PARTIAL, "", 0}, SplitCase{"< send 1 0", Split::PARTIAL, "", 0},
                    SplitCase{"< ok >", Split::LINE, "ok", 6}, SplitCase{"<ok>", Split::LINE, "ok", 4},
                    SplitCase{"< ok >< hi >", Split::LINE, "ok", 6}, SplitCase{"\n < ok >\n", Split::LINE, "ok", 8},
                    SplitCase{"rub<bish < ok >", Split::LINE, "ok", 15}, SplitCase{"rubbish>", Split::LINE, "", 8},
                    SplitCase{"<>", Split::LINE, "", 2}, SplitCase{"< a  b >", Split::LINE, "a  b", 8},
                    SplitCase{std::string(1023, 'x'), Split::PARTIAL, "", 0},
                    SplitCase{std::string(1024, 'x'), Split::ENDLESS, "", 0},
                    SplitCase{"<" + std::string(1022, 'x') + ">", Split::LINE, std::string(1022, 'x'), 1024},
                    SplitCase{"<" + std::string(1023, 'x') + ">", Split::ENDLESS, "", 0}));

}  // namespace
}  // namespace KQ::test
