// Covers: KQEndPointManager.
//
// | subject     | functional                                       | robustness                                      |
// |-------------|--------------------------------------------------|-------------------------------------------------|
// | arguments   | null, twice, unknown, a bad descriptor, no       |                                                 |
// |             | callback                                         |                                                 |
// | end points  | level-triggered; several at once; frames taken   |                                                 |
// |             | in a batch; a listener that reads nothing more   |                                                 |
// |             | frames than one wait serves (robustness)         |                                                 |
// | removal     |                                                  | itself or another one from inside a callback;   |
// |             |                                                  | deleted while added; the manager first          |
// | descriptors | events, modify, remove                           |                                                 |
// | services    | called when due and not before; shorten the      |                                                 |
// |             | wait; removed from inside                        |                                                 |
// | transitions | told once each way and in order; down when added |                                                 |
// | wake        | from another thread                              |                                                 |
// | signals     |                                                  | what came with one that ends the wait is served |
// |             |                                                  | in that wait                                    |

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <sys/time.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <thread>

#include "CANTestSupport.h"
#include "KQTimedService.h"
#include "KQVirtualEndPoint.h"

namespace KQ::test {
namespace {

std::unique_ptr<KQVirtualEndPoint> openVirtual(const std::string& name) {
  std::string error;
  return KQVirtualEndPoint::open(name, error);
}

// An end point whose every answer the test gives.
class ScriptedEndPoint : public KQEndPoint {
public:
  ScriptedEndPoint() : KQEndPoint("test:scripted"), descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
  ~ScriptedEndPoint() override { close(descriptor); }
  using KQEndPoint::setConnected;
  using KQEndPoint::wakeManager;

  int getDescriptor() const override { return descriptor; }
  bool wantsWritable() const override { return wishesWritable; }
  int flush() override {
    ++flushes;
    wishesWritable = false;
    return KQ_OK;
  }
  bool hasBufferedFrames() const override { return buffered > 0; }
  int getServiceDelay() const override { return delay; }
  void service() override {
    ++services;
    delay = -1;
  }

  int descriptor;
  bool wishesWritable{false};
  unsigned buffered{0};
  int delay{-1};
  unsigned flushes{0};
  unsigned services{0};

protected:
  int doRead(KQCANMessage& message) override {
    if (buffered == 0) {
      return KQ_NO_DATA;
    }
    message = makeMessage(buffered--);
    return KQ_OK;
  }
  int doWrite(const KQCANMessage&) override { return KQ_OK; }
};

// Does in onEndPointReadable what the test says.
class ActingListener : public KQEndPointListener {
public:
  explicit ActingListener(std::function<void(KQEndPoint*)> action) : reaction(std::move(action)) {}
  void onEndPointReadable(KQEndPoint* endPoint, KQEndPointManager*) override {
    ++calls;
    reaction(endPoint);
  }
  void onEndPointReconnected(KQEndPoint*) override {}
  void onEndPointDisconnected(KQEndPoint*) override {}
  unsigned calls{0};

private:
  std::function<void(KQEndPoint*)> reaction;
};

class TestService : public KQTimedService {
public:
  int getServiceDelay() const override { return delay; }
  void service() override {
    ++calls;
    if (action) {
      action();
    }
  }
  int delay{-1};
  unsigned calls{0};
  std::function<void()> action;
};

TEST(EndPointManager, RefusesWrongArguments) {
  KQEndPointManager manager;
  auto endPoint = openVirtual("manager");
  RecordingListener listener;
  TestService service;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, manager.addEndPoint(nullptr, &listener));
  EXPECT_EQ(KQ_NOT_FOUND, manager.removeEndPoint(nullptr));
  EXPECT_EQ(KQ_NOT_FOUND, manager.removeEndPoint(endPoint.get()));
  EXPECT_EQ(KQ_OK, manager.addEndPoint(endPoint.get(), &listener));
  EXPECT_EQ(KQ_ALREADY_EXISTS, manager.addEndPoint(endPoint.get(), &listener));
  EXPECT_EQ(KQ_OK, manager.removeEndPoint(endPoint.get()));
  EXPECT_EQ(KQ_OK, manager.addEndPoint(endPoint.get(), &listener));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, manager.addDescriptor(-1, EPOLLIN, [](unsigned) {}));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, manager.addDescriptor(100000, EPOLLIN, [](unsigned) {}));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, manager.addDescriptor(endPoint->getDescriptor(), EPOLLIN, nullptr));
  EXPECT_EQ(KQ_NOT_FOUND, manager.modifyDescriptor(5, EPOLLIN));
  EXPECT_EQ(KQ_NOT_FOUND, manager.removeDescriptor(5));
  EXPECT_EQ(KQ_INVALID_ARGUMENT, manager.addService(nullptr));
  EXPECT_EQ(KQ_NOT_FOUND, manager.removeService(nullptr));
  EXPECT_EQ(KQ_OK, manager.addService(&service));
  EXPECT_EQ(KQ_ALREADY_EXISTS, manager.addService(&service));
  EXPECT_EQ(KQ_OK, manager.removeService(&service));
  EXPECT_EQ(KQ_NOT_FOUND, manager.removeService(&service));
}

TEST(EndPointManager, OneEndPointHasOneManager) {
  KQEndPointManager first;
  KQEndPointManager second;
  auto endPoint = openVirtual("manager");
  EXPECT_EQ(KQ_OK, first.addEndPoint(endPoint.get(), nullptr));
  EXPECT_EQ(KQ_ALREADY_EXISTS, second.addEndPoint(endPoint.get(), nullptr));
}

// Reads until nothing waits, as a node does.
ActingListener drainingListener() {
  return ActingListener([](KQEndPoint* endPoint) {
    KQCANMessage message;
    while (endPoint->readMessage(message) == KQ_OK) {
    }
  });
}

TEST(EndPointManager, EndlessFramesHoldUpNobody) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  endPoint.buffered = 3 * KQEndPointManager::FRAMES_PER_WAIT;
  ActingListener listener = drainingListener();
  ASSERT_EQ(KQ_OK, manager.addEndPoint(&endPoint, &listener));
  EXPECT_EQ(1, manager.wait(-1));
  EXPECT_EQ(2 * KQEndPointManager::FRAMES_PER_WAIT, endPoint.buffered);
  EXPECT_EQ(1, manager.wait(-1)) << "the rest is served without waiting";
  EXPECT_EQ(KQEndPointManager::FRAMES_PER_WAIT, endPoint.buffered);
  EXPECT_EQ(1, manager.wait(-1));
  EXPECT_EQ(0U, endPoint.buffered);
  EXPECT_EQ(0, manager.wait(0));
}

TEST(EndPointManager, EndPointIsReadWithoutLimitOutsideOfWait) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  ActingListener listener = drainingListener();
  ASSERT_EQ(KQ_OK, manager.addEndPoint(&endPoint, &listener));
  endPoint.buffered = KQEndPointManager::FRAMES_PER_WAIT + 1;
  manager.wait(-1);
  EXPECT_EQ(1U, endPoint.buffered);
  endPoint.buffered = 2 * KQEndPointManager::FRAMES_PER_WAIT;
  listener.onEndPointReadable(&endPoint, &manager);
  EXPECT_EQ(0U, endPoint.buffered);
}

TEST(EndPointManager, EndPointRemovedWhileItIsReadHasNoLimit) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  endPoint.buffered = 2 * KQEndPointManager::FRAMES_PER_WAIT;
  ActingListener listener([&manager](KQEndPoint* readable) {
    manager.removeEndPoint(readable);
    drainingListener().onEndPointReadable(readable, &manager);
  });
  ASSERT_EQ(KQ_OK, manager.addEndPoint(&endPoint, &listener));
  manager.wait(-1);
  EXPECT_EQ(0U, endPoint.buffered);
}

TEST(EndPointManager, WithNothingReadyServesNothing) {
  KQEndPointManager manager;
  EXPECT_EQ(0, manager.wait(0));
  EXPECT_EQ(0, manager.wait(1));
}

TEST(EndPointManager, AnnouncesFramesUntilTheyAreRead) {
  KQEndPointManager manager;
  auto sender = openVirtual("manager");
  auto receiver = openVirtual("manager");
  RecordingListener listener;
  listener.framesPerCall = 1;
  manager.addEndPoint(receiver.get(), &listener);
  for (unsigned i = 1; i <= 3; ++i) {
    sender->writeMessage(makeMessage(i));
  }
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(0, manager.wait(0));
  EXPECT_EQ((std::vector<std::string>{"001#", "002#", "003#"}), listener.frames);
}

TEST(EndPointManager, ServesAllThatIsReadyInOneWait) {
  KQEndPointManager manager;
  auto sender = openVirtual("manager");
  auto first = openVirtual("manager");
  auto second = openVirtual("manager");
  RecordingListener listener;
  manager.addEndPoint(first.get(), &listener);
  manager.addEndPoint(second.get(), &listener);
  sender->writeMessage(makeMessage(7));
  EXPECT_EQ(2, manager.wait(100));
  EXPECT_EQ((std::vector<std::string>{"007#", "007#"}), listener.frames);
}

TEST(EndPointManager, AnnouncesFramesThatWereTakenInABatch) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  RecordingListener listener;
  listener.framesPerCall = 1;
  manager.addEndPoint(&endPoint, &listener);
  endPoint.buffered = 2;
  EXPECT_EQ(1, manager.wait(-1));
  EXPECT_EQ(1, manager.wait(-1));
  EXPECT_EQ(0, manager.wait(0));
}

TEST(EndPointManager, DoesNotSpinOnAListenerThatReadsNothing) {
  KQEndPointManager manager;
  auto sender = openVirtual("manager");
  auto receiver = openVirtual("manager");
  ActingListener listener([](KQEndPoint*) {});
  manager.addEndPoint(receiver.get(), &listener);
  sender->writeMessage(makeMessage(1));
  EXPECT_EQ(1, manager.wait(50));
  EXPECT_EQ(0, manager.wait(50));  // a pause instead of the next announcement
  EXPECT_EQ(1, manager.wait(50));
  EXPECT_EQ(1, manager.wait(0));  // polled: level-triggered as ever
  EXPECT_EQ(1, manager.wait(0));
}

TEST(EndPointManager, WithoutListenerLeavesTheFramesAlone) {
  KQEndPointManager manager;
  auto sender = openVirtual("manager");
  auto receiver = openVirtual("manager");
  manager.addEndPoint(receiver.get(), nullptr);
  sender->writeMessage(makeMessage(1));
  EXPECT_EQ(0, manager.wait(1));
  EXPECT_EQ(0, manager.wait(1));
  EXPECT_EQ(std::vector<std::string>{"001#"}, readAll(*receiver));
}

TEST(EndPointManager, FlushesWhenTheDescriptorIsWritable) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  RecordingListener listener;
  manager.addEndPoint(&endPoint, &listener);
  endPoint.wishesWritable = true;
  manager.wait(100);
  EXPECT_EQ(1U, endPoint.flushes);
  manager.wait(0);
  EXPECT_EQ(1U, endPoint.flushes);
  EXPECT_EQ(0U, listener.announcements);
}

TEST(EndPointManager, EndPointMayRemoveItselfInItsCallback) {
  KQEndPointManager manager;
  auto sender = openVirtual("manager");
  auto receiver = openVirtual("manager");
  ActingListener listener([&](KQEndPoint* endPoint) {
    manager.removeEndPoint(endPoint);
    receiver.reset();
  });
  manager.addEndPoint(receiver.get(), &listener);
  sender->writeMessage(makeMessage(1));
  EXPECT_EQ(1, manager.wait(100));
  sender->writeMessage(makeMessage(2));
  EXPECT_EQ(0, manager.wait(0));
  EXPECT_EQ(1U, listener.calls);
}

TEST(EndPointManager, EndPointRemovedByAnothersCallbackIsNotCalled) {
  KQEndPointManager manager;
  auto sender = openVirtual("manager");
  std::unique_ptr<KQVirtualEndPoint> receivers[2] = {openVirtual("manager"), openVirtual("manager")};
  ActingListener listener([&](KQEndPoint* endPoint) {
    receivers[endPoint == receivers[0].get() ? 1 : 0].reset();  // deleted without a removal before
    readAll(*endPoint);
  });
  manager.addEndPoint(receivers[0].get(), &listener);
  manager.addEndPoint(receivers[1].get(), &listener);
  sender->writeMessage(makeMessage(1));
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(0, manager.wait(0));
  EXPECT_EQ(1U, listener.calls);
}

TEST(EndPointManager, MayGoBeforeItsEndPoints) {
  auto sender = openVirtual("manager");
  auto receiver = openVirtual("manager");
  {
    KQEndPointManager manager;
    manager.addEndPoint(receiver.get(), nullptr);
  }
  KQEndPointManager next;
  EXPECT_EQ(KQ_OK, next.addEndPoint(receiver.get(), nullptr));
}

TEST(EndPointManager, DescriptorIsCalledWithItsEvents) {
  KQEndPointManager manager;
  const int descriptor = eventfd(1, EFD_NONBLOCK | EFD_CLOEXEC);
  unsigned seen = 0;
  EXPECT_EQ(KQ_OK, manager.addDescriptor(descriptor, EPOLLIN, [&seen](unsigned events) { seen = events; }));
  EXPECT_EQ(KQ_ALREADY_EXISTS, manager.addDescriptor(descriptor, EPOLLIN, [](unsigned) {}));
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(static_cast<unsigned>(EPOLLIN), seen);
  EXPECT_EQ(KQ_OK, manager.modifyDescriptor(descriptor, EPOLLOUT));
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(static_cast<unsigned>(EPOLLOUT), seen);
  EXPECT_EQ(KQ_OK, manager.modifyDescriptor(descriptor, 0));
  EXPECT_EQ(0, manager.wait(0));
  EXPECT_EQ(KQ_OK, manager.removeDescriptor(descriptor));
  EXPECT_EQ(0, manager.wait(0));
  close(descriptor);
}

TEST(EndPointManager, DescriptorMayReplaceItselfInItsCallback) {
  KQEndPointManager manager;
  const int descriptor = eventfd(1, EFD_NONBLOCK | EFD_CLOEXEC);
  std::vector<std::string> calls;
  const std::string captured = "a capture that must outlive its own removal";
  manager.addDescriptor(descriptor, EPOLLIN, [&, captured](unsigned) {
    manager.removeDescriptor(descriptor);
    manager.addDescriptor(descriptor, EPOLLIN, [&](unsigned) { calls.push_back("second"); });
    calls.push_back(captured);
  });
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ((std::vector<std::string>{captured, "second"}), calls);
  manager.removeDescriptor(descriptor);
  close(descriptor);
}

TEST(EndPointManager, ServiceIsCalledWhenItIsDueAndNotBefore) {
  KQEndPointManager manager;
  TestService service;
  manager.addService(&service);
  manager.wait(0);
  service.delay = 3;
  EXPECT_EQ(0, manager.wait(-1));  // the delay ends it
  EXPECT_EQ(0U, service.calls);
  service.delay = 0;
  EXPECT_EQ(0, manager.wait(-1));
  EXPECT_EQ(1U, service.calls);
}

TEST(EndPointManager, ServiceMayRemoveAnotherOne) {
  KQEndPointManager manager;
  TestService first;
  TestService second;
  first.delay = second.delay = 0;
  first.action = [&] { manager.removeService(&second); };
  manager.addService(&first);
  manager.addService(&second);
  manager.wait(0);
  EXPECT_EQ(1U, first.calls);
  EXPECT_EQ(0U, second.calls);
}

TEST(EndPointManager, EndPointIsServicedWhenItIsDue) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  manager.addEndPoint(&endPoint, nullptr);
  endPoint.delay = 0;
  manager.wait(-1);
  EXPECT_EQ(1U, endPoint.services);
}

TEST(EndPointManager, TellsEveryTransitionOnceAndInOrder) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  RecordingListener listener;
  manager.addEndPoint(&endPoint, &listener);
  testing::internal::CaptureStderr();
  endPoint.setConnected(false, "gone");
  endPoint.setConnected(true, "back");
  endPoint.setConnected(false, "gone");
  manager.wait(-1);
  manager.wait(0);
  EXPECT_EQ((std::vector<std::string>{"disconnected", "reconnected", "disconnected"}), listener.events);
  endPoint.setConnected(true, "back");
  manager.wait(-1);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(4U, listener.events.size());
  EXPECT_EQ("reconnected", listener.events.back());
}

TEST(EndPointManager, TellsThatAnEndPointIsDownWhenItIsAdded) {
  KQEndPointManager manager;
  ScriptedEndPoint endPoint;
  RecordingListener listener;
  testing::internal::CaptureStderr();
  endPoint.setConnected(false, "gone");
  endPoint.setConnected(true, "back");
  endPoint.setConnected(false, "gone");
  testing::internal::GetCapturedStderr();
  manager.addEndPoint(&endPoint, &listener);
  manager.wait(-1);
  EXPECT_EQ(std::vector<std::string>{"disconnected"}, listener.events);
}

int signalledDescriptor = -1;

extern "C" void makeReadableOnSignal(int /*signal*/) {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(signalledDescriptor, &one, sizeof one);
}

TEST(EndPointManager, ServesWhatCameWithASignalInTheSameWait) {
  KQEndPointManager manager;
  signalledDescriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  unsigned calls = 0;
  manager.addDescriptor(signalledDescriptor, EPOLLIN, [&calls](unsigned) { ++calls; });
  std::signal(SIGALRM, makeReadableOnSignal);
  const itimerval soon{{0, 0}, {0, 5000}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  EXPECT_EQ(1, manager.wait(60000));
  EXPECT_EQ(1U, calls);
  std::signal(SIGALRM, SIG_DFL);
  close(signalledDescriptor);
}

TEST(EndPointManager, IsWokenFromAnotherThread) {
  KQEndPointManager manager;
  std::thread other([&manager] { manager.wake(); });
  EXPECT_EQ(0, manager.wait(-1));
  other.join();
  EXPECT_EQ(0, manager.wait(0));
}

}  // namespace
}  // namespace KQ::test
