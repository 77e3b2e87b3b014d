// Covers: the observation of all frames for who asks for it.
//
// | subject                                                             | functional | robustness                    |
// |---------------------------------------------------------------------|------------|-------------------------------|
// | frames are observed from the first question on, and not before      | x          |                               |
// | they are counted, and told to observers with the names that are set | x          |                               |
// | the loop takes no more tasks                                        |            | the next question tries again |

#include "TrafficWatch.h"

#include <gtest/gtest.h>

#include "FrameFanOut.h"
#include "Frames.h"
#include "HttpServer.h"
#include "LoopTasks.h"
#include "MemoryEndPoint.h"

namespace {

using panel::LoopTasks;
using panel::TrafficWatch;

class Names : public monitor::ObjectNames {
public:
  monitor::ObjectDescription describe(unsigned char, unsigned short, unsigned char) const override {
    return {"Speed", {monitor::Form::UNSIGNED, 8}};
  }
  const monitor::CommunicationObject* findCommunicationObject(unsigned int) const override { return nullptr; }
};

// The server is not started: this thread is the protocol thread and the server's.
class TrafficWatchTest : public testing::Test {
protected:
  TrafficWatchTest() {
    watch.addObserver([this](const monitor::DecodedFrame& frame, bool /*sent*/) {
      std::string line;
      frame.appendService(line);
      line += " ";
      frame.appendObject(line);
      lines.push_back(line);
    });
  }

  void send(const std::string& frame) { port.writeMessage(test::frame(frame)); }

  static constexpr unsigned int LONG_MS = 1000000;
  static constexpr unsigned int BIT_RATE = 250000;

  test::MemoryEndPoint port;
  panel::HttpServer server{{"127.0.0.1", 0}};
  LoopTasks tasks{[] {}};
  panel::FrameFanOut fanOut{port};
  TrafficWatch watch{server, tasks, fanOut, BIT_RATE};
  std::vector<std::string> lines;
};

TEST_F(TrafficWatchTest, NothingIsObservedBeforeSomebodyAsks) {
  send("705#05");
  watch.drain();
  EXPECT_FALSE(watch.isWatching());
  EXPECT_EQ(0U, watch.getStatistics().getFrames());
}

TEST_F(TrafficWatchTest, FramesAreObservedOnceTheLoopHasHeardOfIt) {
  watch.keep(LONG_MS);
  send("705#05");
  tasks.serve();
  send("706#05");
  watch.drain();
  EXPECT_TRUE(watch.isWatching());
  EXPECT_EQ(1U, watch.getStatistics().getFrames());
  EXPECT_EQ(std::vector<std::string>{"heartbeat "}, lines);
}

TEST_F(TrafficWatchTest, NamesAreThoseThatWereSet) {
  watch.setNames(std::make_shared<Names>());
  watch.keep(LONG_MS);
  tasks.serve();
  send("605#40 00 20 01 00 00 00 00");
  watch.drain();
  EXPECT_EQ(std::vector<std::string>{"SDO request 0x2000/1 Speed"}, lines);
}

TEST_F(TrafficWatchTest, FramesThatNobodyHadTimeForAreCounted) {
  watch.keep(LONG_MS);
  tasks.serve();
  for (std::size_t i = 0; i < panel::FrameLog::CAPACITY + 7; ++i) {
    send("705#05");
  }
  watch.drain();
  EXPECT_EQ(7U, watch.getLost());
  EXPECT_EQ(panel::FrameLog::CAPACITY, watch.getStatistics().getFrames());
}

TEST_F(TrafficWatchTest, QuestionThatTheLoopHasNoRoomForIsAskedAgain) {
  while (tasks.post([] {})) {
  }
  watch.keep(LONG_MS);
  EXPECT_FALSE(watch.isWatching());
  for (std::size_t i = 0; i < LoopTasks::CAPACITY; ++i) {
    tasks.serve();
  }
  watch.keep(LONG_MS);
  EXPECT_TRUE(watch.isWatching());
}

}  // namespace
