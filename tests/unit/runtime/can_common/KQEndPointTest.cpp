// KQCANMessage, KQEndPoint
//
// | what                     | cases                                                                  |
// |--------------------------|------------------------------------------------------------------------|
// | message                  | a fresh one has length 8; clear empties it                              |
// | write check (functional) | identifier 0, 0x7FF, 0x800, extended; length 0, 8, 9                    |
// | observer                 | frames read, frames accepted; not refused ones; replaced; none          |
// | statistics               | received, sent, refused; disconnects and reconnects                     |
// | state                    | one line each way on standard error; the same state again says nothing  |

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
  EXPECT_EQ(message.identifier, 0U);
  EXPECT_EQ(message.length, 8U);
  EXPECT_EQ(message.flags, 0U);
  EXPECT_EQ(toText(message), "000#0000000000000000");
}

TEST(CANMessage, ClearMakesItEmpty) {
  KQCANMessage message = makeMessage(0x585, {1, 2, 3, 4, 5, 6, 7, 8});
  message.flags = 1;
  message.clear();
  EXPECT_EQ(message.identifier, 0U);
  EXPECT_EQ(message.length, 0U);
  EXPECT_EQ(message.flags, 0U);
  for (const unsigned char byte : message.data) {
    EXPECT_EQ(byte, 0U);
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
  EXPECT_EQ(endPoint.writeMessage(message), GetParam().result);
  EXPECT_EQ(endPoint.written.size(), GetParam().result == KQ_OK ? 1U : 0U);
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
  EXPECT_EQ(endPoint.readMessage(message), KQ_OK);
  EXPECT_EQ(endPoint.readMessage(message), KQ_NO_DATA);
  EXPECT_EQ(endPoint.writeMessage(makeMessage(0x585, {0x43})), KQ_OK);
  EXPECT_EQ(observer.frames, (std::vector<std::string>{"< 605#40", "> 585#43"}));
}

TEST(EndPointObserver, IsNotToldOfRefusedFrames) {
  PlainEndPoint endPoint;
  RecordingObserver observer;
  endPoint.setFrameObserver(&observer);
  endPoint.writeResult = KQ_DEFERRED;
  EXPECT_EQ(endPoint.writeMessage(makeMessage(0x585)), KQ_DEFERRED);
  EXPECT_EQ(endPoint.writeMessage(makeMessage(0x800)), KQ_INVALID_ARGUMENT);
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
  EXPECT_EQ(second.frames, std::vector<std::string>{"> 001#"});
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
  EXPECT_EQ(statistics.received, 1U);
  EXPECT_EQ(statistics.sent, 2U);
  EXPECT_EQ(statistics.refused, 2U);
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
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "test:plain: gone\ntest:plain: back\n");
  EXPECT_EQ(endPoint.getStatistics().disconnects, 1U);
  EXPECT_EQ(endPoint.getStatistics().reconnects, 1U);
}

TEST(EndPointState, WithoutDescriptorHasNone) {
  const PlainEndPoint endPoint;
  EXPECT_EQ(endPoint.getDescriptor(), -1);
  EXPECT_EQ(endPoint.getServiceDelay(), -1);
  EXPECT_FALSE(endPoint.wantsWritable());
  EXPECT_EQ(endPoint.getURI(), "test:plain");
}

}  // namespace
}  // namespace KQ::test
