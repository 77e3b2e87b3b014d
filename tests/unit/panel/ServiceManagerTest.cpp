// Covers: what a service manager is told.
//
// | subject                                        | functional                                     | robustness |
// |------------------------------------------------|------------------------------------------------|------------|
// | ready, once; stopping; a socket by path and by | x                                              |            |
// | abstract name                                  |                                                |            |
// | signs of life                                  | every half of the time that is wanted, of this |            |
// |                                                | process only                                   |            |
// | nobody wants to know; an address that is none; |                                                | x          |
// | nobody listens; nobody reads                   |                                                |            |

#include "ServiceManager.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "TemporaryDirectory.h"

namespace {

using panel::ServiceManager;

constexpr unsigned int NEVER = 0xFFFFFFFF;

// A service manager played by the test, and the environment that it gives the panel.
class ServiceManagerTest : public testing::Test {
protected:
  ServiceManagerTest() : receiver(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {}

  ~ServiceManagerTest() override {
    close(receiver);
    for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
      unsetenv(name);
    }
  }

  // @param address an abstract name begins with '@'
  void listenAt(const std::string& address) const {
    sockaddr_un own{};
    own.sun_family = AF_UNIX;
    std::memcpy(own.sun_path, address.data(), address.size());
    if (address.front() == '@') {
      own.sun_path[0] = '\0';
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
    ASSERT_EQ(0, bind(receiver, reinterpret_cast<const sockaddr*>(&own), length));
    setenv("NOTIFY_SOCKET", address.c_str(), 1);
  }

  void listen() const { listenAt(std::filesystem::current_path().string() + "/notify"); }

  // The message that has arrived, empty when there is none.
  std::string take() const {
    std::array<char, 256> text{};
    const ssize_t count = recv(receiver, text.data(), text.size(), 0);
    return count > 0 ? std::string(text.data(), static_cast<std::size_t>(count)) : "";
  }

  const test::TemporaryDirectory directory;
  const int receiver;
};

TEST_F(ServiceManagerTest, IsToldThatThePanelIsReadyOnce) {
  listen();
  ServiceManager manager;
  EXPECT_EQ("", take());
  manager.ready();
  manager.ready();
  EXPECT_EQ("READY=1", take());
  EXPECT_EQ("", take());
}

TEST_F(ServiceManagerTest, IsToldThatThePanelStops) {
  listen();
  ServiceManager().stopping();
  EXPECT_EQ("STOPPING=1", take());
}

TEST_F(ServiceManagerTest, MayHaveAnAbstractName) {
  listenAt("@tavo-panel-test-" + std::to_string(getpid()));
  ServiceManager().stopping();
  EXPECT_EQ("STOPPING=1", take());
}

TEST_F(ServiceManagerTest, HearsASignOfLifeEveryHalfOfItsTime) {
  listen();
  setenv("WATCHDOG_USEC", "2000000", 1);
  ServiceManager manager;
  manager.update(5000);
  EXPECT_EQ("WATCHDOG=1", take());
  EXPECT_EQ(1000U, manager.getTimeToNextUpdate(5000));
  EXPECT_EQ(1U, manager.getTimeToNextUpdate(5999));
  manager.update(5999);
  EXPECT_EQ("", take());
  EXPECT_EQ(0U, manager.getTimeToNextUpdate(6000));
  manager.update(6000);
  EXPECT_EQ("WATCHDOG=1", take());
}

TEST_F(ServiceManagerTest, HearsSignsOfLifeAcrossTheWrapOfTheTick) {
  listen();
  setenv("WATCHDOG_USEC", "2000000", 1);
  ServiceManager manager;
  manager.update(0xFFFFFF00);
  take();
  EXPECT_EQ(1U, manager.getTimeToNextUpdate(0xFFFFFF00 + 999));
  EXPECT_EQ(0U, manager.getTimeToNextUpdate(0xFFFFFF00 + 1000));
}

TEST_F(ServiceManagerTest, WantsNoSignOfLifeUnlessItSaysSo) {
  listen();
  ServiceManager manager;
  EXPECT_EQ(NEVER, manager.getTimeToNextUpdate(5000));
  manager.update(5000);
  EXPECT_EQ("", take());
}

TEST_F(ServiceManagerTest, WantsSignsOfLifeOfTheProcessThatItNames) {
  listen();
  setenv("WATCHDOG_USEC", "2000000", 1);
  setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  EXPECT_EQ(0U, ServiceManager().getTimeToNextUpdate(5000));
  setenv("WATCHDOG_PID", std::to_string(getpid() + 1).c_str(), 1);
  EXPECT_EQ(NEVER, ServiceManager().getTimeToNextUpdate(5000));
}

TEST_F(ServiceManagerTest, WithoutOneNothingIsDue) {
  setenv("WATCHDOG_USEC", "2000000", 1);
  ServiceManager manager;
  manager.ready();
  manager.stopping();
  EXPECT_EQ(NEVER, manager.getTimeToNextUpdate(5000));
}

TEST_F(ServiceManagerTest, AddressThatIsNoneIsLeftAlone) {
  setenv("WATCHDOG_USEC", "2000000", 1);
  for (const std::string& address : {std::string(), std::string("notify"), std::string("@"), std::string(200, '/')}) {
    setenv("NOTIFY_SOCKET", address.c_str(), 1);
    ServiceManager manager;
    manager.ready();
    EXPECT_EQ(NEVER, manager.getTimeToNextUpdate(5000)) << address;
  }
}

TEST_F(ServiceManagerTest, ThatIsGoneOrDoesNotReadHoldsNobodyUp) {
  listen();
  ServiceManager manager;
  for (int i = 0; i < 10000; ++i) {
    manager.stopping();
  }
  EXPECT_EQ("STOPPING=1", take());
  std::filesystem::remove("notify");
  manager.ready();
}

}  // namespace
