// Covers: several observers of one end point.
//
// | subject                            | functional                     | robustness |
// |------------------------------------|--------------------------------|------------|
// | each observer sees each frame once | x                              |            |
// | nobody is left                     | the end point may filter again |            |
// | the same one twice, too many       |                                | x          |

#include "FrameFanOut.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "Frames.h"
#include "MemoryEndPoint.h"

namespace {

using panel::FrameFanOut;

class Observer : public KQ::KQFrameObserver {
public:
  void frameTransferred(const KQ::KQCANMessage& /*message*/, bool /*sent*/) override { ++frames; }
  int frames = 0;
};

class FrameFanOutTest : public testing::Test {
protected:
  void send() { port.writeMessage(test::frame("705#05")); }

  test::MemoryEndPoint port;
  FrameFanOut fanOut{port};
  Observer one;
  Observer other;
};

TEST_F(FrameFanOutTest, EachSeesEachFrame) {
  fanOut.add(one);
  fanOut.add(other);
  send();
  EXPECT_EQ(1, one.frames);
  EXPECT_EQ(1, other.frames);
}

TEST_F(FrameFanOutTest, OneThatWasRemovedSeesNothingMore) {
  fanOut.add(one);
  fanOut.add(other);
  fanOut.remove(one);
  send();
  EXPECT_EQ(0, one.frames);
  EXPECT_EQ(1, other.frames);
}

TEST_F(FrameFanOutTest, OneThatIsAddedTwiceSeesAFrameOnce) {
  fanOut.add(one);
  EXPECT_TRUE(fanOut.add(one));
  send();
  EXPECT_EQ(1, one.frames);
}

TEST_F(FrameFanOutTest, TheEndPointHasNoObserverWhenNobodyIsLeft) {
  fanOut.add(one);
  fanOut.remove(one);
  Observer unseen;
  port.setFrameObserver(&unseen);  // in place of nobody
  send();
  EXPECT_EQ(0, one.frames);
  EXPECT_EQ(1, unseen.frames);
}

TEST_F(FrameFanOutTest, MoreThanThereIsRoomForAreRefused) {
  std::vector<std::unique_ptr<Observer>> observers;
  for (unsigned int i = 0; i < FrameFanOut::MAXIMUM_OBSERVERS; ++i) {
    observers.push_back(std::make_unique<Observer>());
    ASSERT_TRUE(fanOut.add(*observers.back()));
  }
  EXPECT_FALSE(fanOut.add(one));
  fanOut.remove(*observers.front());
  EXPECT_TRUE(fanOut.add(one));
}

}  // namespace
