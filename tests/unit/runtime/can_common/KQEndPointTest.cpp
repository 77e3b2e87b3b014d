// Covers: KQCANMessage, KQEndPoint.
//
// | subject                  | functional                                                             | robustness |
// |--------------------------|------------------------------------------------------------------------|------------|
// | message                  | a fresh one has length 8; clear empties it                             |            |
// | write check (functional) | identifier 0, 0x7FF, 0x800, extended; length 0, 8, 9                   |            |
// | observer                 | frames read, frames accepted; not refused ones; replaced; none         |            |
// | statistics               | received, sent, refused; disconnects and reconnects                    |            |
// | state                    | one line each way on standard error; the same state again says nothing |            |

#include <gtest/gtest.h>

#include <deque>

#include "CANTestSupport.h"

namespace KQ::test {
namespace {

class PlainEndPoint : public KQEndPoint {
public:
  PlainEndPoint() : KQEndPoint("test:plain") {}
  using KQEndPoint::setConnected;

  std::deque<KQCANMessage> waiting;
  std::vector<std::string> written;
  int writeResult{KQ_OK};

protected:
  int doRead(KQCANMessage& message) override {
    if (waiting.empty()) {
      return KQ_NO_DATA;
    }
    message = waiting.front();
    waiting.pop_front();
    return KQ_OK;
  }
  int doWrite(const KQCANMessage& message) override {
    written.push_back(toText(message));
    return writeResult;
  }
};

class RecordingObserver : public KQFrameObserver {
public:
  void frameTransferred(const KQCANMessage& message, bool sent) override {
    frames.push_back((sent ? "> " : "< ") + toText(message));
  }
  std::vector<std::string> frames;
};

TEST(CANMessage, FreshMessageHasLengthEight) {
  const KQCANMessage message;
  EXPECT_EQ(0U, message.identifier);
  EXPECT_EQ(8U, message.length);
  EXPECT_EQ(0U, message.flags);
  EXPECT_EQ("000#0000000000000000", toText(message));
}

TEST(CANMessage, ClearMakesItEmpty) {
  KQCANMessage message = makeMessage(0x585, {1, 2, 3, 4, 5, 6, 7, 8});
  message.flags = 1;
  message.clear();
  EXPECT_EQ(0U, message.identifier);
  EXPECT_EQ(0U, message.length);
  EXPECT_EQ(0U, message.flags);
  for (const unsigned char byte : message.data) {
    EXPECT_EQ(0U, byte);
  }
}

struct WriteCase {
  unsigned identifier;
  unsigned length;
  int result;
};

class EndPointWrite : public testing::TestWithParam<WriteCase> {};

TEST_P(EndPointWrite, TakesElevenBitDataFramesOnly) {
  PlainEndPoint endPoint;
  KQCANMessage message;
  message.identifier = GetParam().identifier;
  message.length = GetParam().length;
  EXPECT_EQ(GetParam().result, endPoint.writeMessage(message));
  EXPECT_EQ(GetParam().result == KQ_OK ? 1U : 0U, endPoint.written.size());
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, EndPointWrite,
    testing::Values(WriteCase{0, 0, KQ_OK}, WriteCase{0x7FF, 8, KQ_OK}, WriteCase{0x800, 8, KQ_INVALID_ARGUMENT},
                    WriteCase{0x123, 9, KQ_INVALID_ARGUMENT}, WriteCase{0x1FFFFFFF, 0, KQ_INVALID_ARGUMENT},
                    WriteCase{0x80000123, 8, KQ_INVALID_ARGUMENT}, WriteCase{0x123, 0xFFFFFFFF, KQ_INVALID_ARGUMENT}));

TEST(EndPointObserver, SeesFramesReadAndFramesAccepted) {
  PlainEndPoint endPoint;
  RecordingObserver observer;
  endPoint.setFrameObserver(&observer);
  endPoint.waiting.push_back(makeMessage(0x605, {0x40}));
  KQCANMessage message;
  EXPECT_EQ(KQ_OK, endPoint.readMessage(message));
  EXPECT_EQ(KQ_NO_DATA, endPoint.readMessage(message));
  EXPECT_EQ(KQ_OK, endPoint.writeMessage(makeMessage(0x585, {0x43})));
  EXPECT_EQ((std::vector<std::string>{"< 605#40", "> 585#43"}), observer.frames);
}

TEST(EndPointObserver, IsNotToldOfRefusedFrames) {
  PlainEndPoint endPoint;
  RecordingObserver observer;
  endPoint.setFrameObserver(&observer);
  endPoint.writeResult = KQ_DEFERRED;
  EXPECT_EQ(KQ_DEFERRED, endPoint.writeMessage(makeMessage(0x585)));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, endPoint.writeMessage(makeMessage(0x800)));
  EXPECT_TRUE(observer.frames.empty());
}

TEST(EndPointObserver, IsReplacedAndRemoved) {
  PlainEndPoint endPoint;
  RecordingObserver first;
  RecordingObserver second;
  endPoint.setFrameObserver(&first);
  endPoint.setFrameObserver(&second);
  endPoint.writeMessage(makeMessage(1));
  endPoint.setFrameObserver(nullptr);
  endPoint.writeMessage(makeMessage(2));
  EXPECT_TRUE(first.frames.empty());
  EXPECT_EQ(std::vector<std::string>{"> 001#"}, second.frames);
}

TEST(EndPointStatistics, CountFramesAndRefusals) {
  PlainEndPoint endPoint;
  endPoint.waiting.push_back(makeMessage(1));
  KQCANMessage message;
  endPoint.readMessage(message);
  endPoint.readMessage(message);
  endPoint.writeMessage(makeMessage(1));
  endPoint.writeMessage(makeMessage(2));
  endPoint.writeMessage(makeMessage(0x800));
  endPoint.writeResult = KQ_NOT_AVAILABLE;
  endPoint.writeMessage(makeMessage(3));
  const KQEndPointStatistics statistics = endPoint.getStatistics();
  EXPECT_EQ(1U, statistics.received);
  EXPECT_EQ(2U, statistics.sent);
  EXPECT_EQ(2U, statistics.refused);
}

TEST(EndPointState, SaysOneLineEachWay) {
  PlainEndPoint endPoint;
  testing::internal::CaptureStderr();
  endPoint.setConnected(true, "not said");
  endPoint.setConnected(false, "gone");
  endPoint.setConnected(false, "not said");
  EXPECT_FALSE(endPoint.isConnected());
  endPoint.setConnected(true, "back");
  endPoint.setConnected(true, "not said");
  EXPECT_TRUE(endPoint.isConnected());
  EXPECT_EQ("test:plain: gone\ntest:plain: back\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ(1U, endPoint.getStatistics().disconnects);
  EXPECT_EQ(1U, endPoint.getStatistics().reconnects);
}

TEST(EndPointState, WithoutDescriptorHasNone) {
  const PlainEndPoint endPoint;
  EXPECT_EQ(-1, endPoint.getDescriptor());
  EXPECT_EQ(-1, endPoint.getServiceDelay());
  EXPECT_FALSE(endPoint.wantsWritable());
  EXPECT_EQ("test:plain", endPoint.getURI());
}

}  // namespace
}  // namespace KQ::test
