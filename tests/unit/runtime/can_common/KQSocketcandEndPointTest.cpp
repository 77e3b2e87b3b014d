// Covers: KQSocketcandEndPoint against the own server and against one that the test plays.
//
// | subject         | functional                                                                     | robustness |
// |-----------------|--------------------------------------------------------------------------------|------------|
// | opening         | through the factory; refused connection, unknown host, wrong channel, silence, |            |
// |                 | nonsense                                                                       |            |
// | frames          | both ways; answers coalesced with frames; extended and bad ones dropped; other |            |
// |                 | lines ignored                                                                  |            |
// | queues          | more than the receive queue holds; full output gives 17 and drains             |            |
// | connection lost | told once each way; writes give 10; comes back; without a manager as well      |            |

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <thread>

#include "CANTestSupport.h"
#include "KQEndPointFactory.h"
#include "KQSocketcandEndPoint.h"
#include "KQSocketcandServer.h"
#include "KQVirtualEndPoint.h"
#include "SocketcandCodec.h"

namespace KQ::test {
namespace {

using Frames = std::vector<std::string>;

// A listening socket of which the test plays the server.
class PlayedServer {
public:
  explicit PlayedServer(unsigned short port = 0) : listening(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    listenOn(address);
    socklen_t size = sizeof address;
    getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size);
    boundPort = ntohs(address.sin_port);
  }
  // Listens on ::1.
  static std::unique_ptr<PlayedServer> ofVersion6(unsigned short port) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    address.sin6_addr = in6addr_loopback;
    auto server = std::make_unique<PlayedServer>();
    close(server->listening);
    server->listening = socket(AF_INET6, SOCK_STREAM, 0);
    server->listenOn(address);
    return server;
  }
  ~PlayedServer() { close(listening); }
  PlayedServer(const PlayedServer&) = delete;
  PlayedServer& operator=(const PlayedServer&) = delete;

  unsigned short getPort() const { return boundPort; }
  bool isListening() const { return listens; }
  bool hasVisitor() const { return isReadable(listening); }
  int accept() const { return ::accept(listening, nullptr, nullptr); }

private:
  template <class Address>
  void listenOn(const Address& address) {
    const int on = 1;
    setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    listens =
        bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && listen(listening, 4) == 0;
  }

  int listening;
  bool listens{false};
  unsigned short boundPort{0};
};

void sendAll(int descriptor, const std::string& text) {
  EXPECT_EQ(static_cast<ssize_t>(text.size()), ::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL));
}

std::string readOnce(int descriptor) {
  char buffer[256];
  const ssize_t count = recv(descriptor, buffer, sizeof buffer, 0);
  return std::string(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
}

// Plays the handshake with a client that is connecting; the last answer may carry more. @return the connection
int playHandshake(const PlayedServer& server, const std::string& behindLastAnswer = "") {
  const int descriptor = server.accept();
  sendAll(descriptor, "< hi >");
  EXPECT_EQ("< open bus0 >", readOnce(descriptor));
  sendAll(descriptor, "< ok >");
  EXPECT_EQ("< rawmode >", readOnce(descriptor));
  sendAll(descriptor, "< ok >" + behindLastAnswer);
  return descriptor;
}

// An end point connected to a played server.
class PlayedConnection : public testing::Test {
protected:
  void open(const std::string& behindLastAnswer = "") {
    std::thread play([&] { playedEnd = playHandshake(server, behindLastAnswer); });
    std::string error;
    endPoint = KQSocketcandEndPoint::open("127.0.0.1", server.getPort(), "bus0", error);
    play.join();
    ASSERT_NE(nullptr, endPoint) << error;
    peer = std::make_unique<TcpPeer>(playedEnd);
    manager.addEndPoint(endPoint.get(), &listener);
  }

  PlayedServer server;
  KQEndPointManager manager;
  RecordingListener listener;
  std::unique_ptr<KQSocketcandEndPoint> endPoint;
  std::unique_ptr<TcpPeer> peer;

private:
  int playedEnd{-1};
};

std::string failureOf(unsigned short port, const std::string& channel = "bus0", const std::string& host = "127.0.0.1") {
  std::string error;
  EXPECT_EQ(nullptr, KQSocketcandEndPoint::open(host, port, channel, error));
  return error;
}

// ---- Opening

TEST(SocketcandEndPointOpen, RefusedConnectionIsNamed) {
  // Bound, so that nobody else gets the port, but not listening.
  const int bound = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(0, bind(bound, reinterpret_cast<sockaddr*>(&address), size));
  ASSERT_EQ(0, getsockname(bound, reinterpret_cast<sockaddr*>(&address), &size));
  const unsigned short port = ntohs(address.sin_port);
  EXPECT_EQ("socketcand:127.0.0.1:" + std::to_string(port) + "/bus0: Connection refused", failureOf(port));
  close(bound);
}

TEST(SocketcandEndPointOpen, UnknownHostIsNamed) {
  EXPECT_EQ("socketcand:no such host:1/bus0: unknown host 'no such host': ",
            failureOf(1, "bus0", "no such host").substr(0, 61));
}

TEST(SocketcandEndPointOpen, WrongChannelIsNamedWithTheAnswer) {
  const PlayedServer server;
  std::thread play([&] {
    const int descriptor = server.accept();
    sendAll(descriptor, "< hi >");
    EXPECT_EQ("< open can7 >", readOnce(descriptor));
    sendAll(descriptor, "< error could not open bus >");
    close(descriptor);
  });
  EXPECT_EQ("socketcand:127.0.0.1:" + std::to_string(server.getPort()) +
                "/can7: the server refuses channel 'can7': error could not open bus",
            failureOf(server.getPort(), "can7"));
  play.join();
}

TEST(SocketcandEndPointOpen, SilentServerIsGivenUp) {
  const PlayedServer server;
  std::string error;
  EXPECT_EQ(nullptr, KQSocketcandEndPoint::open("127.0.0.1", server.getPort(), "bus0", error, 30));
  EXPECT_EQ("socketcand:127.0.0.1:" + std::to_string(server.getPort()) + "/bus0: no answer within 30 ms", error);
}

TEST(SocketcandEndPointOpen, ServerOfAnotherProtocolIsGivenUp) {
  const PlayedServer server;
  std::thread play([&] {
    const int descriptor = server.accept();
    sendAll(descriptor, std::string(2000, 'x'));
    readOnce(descriptor);
    close(descriptor);
  });
  EXPECT_EQ(
      "socketcand:127.0.0.1:" + std::to_string(server.getPort()) + "/bus0: the server does not speak this protocol",
      failureOf(server.getPort()));
  play.join();
}

// A host without name has two addresses, ::1 and 127.0.0.1, where there is IPv6.

TEST(SocketcandEndPointOpen, AddressWithNobodyThereIsFollowedByTheNext) {
  const PlayedServer server;
  int descriptor = -1;
  std::thread play([&] { descriptor = playHandshake(server); });
  std::string error;
  EXPECT_NE(nullptr, KQSocketcandEndPoint::open("", server.getPort(), "bus0", error)) << error;
  play.join();
  close(descriptor);
}

TEST(SocketcandEndPointOpen, AnswerOfTheFirstServerHolds) {
  const PlayedServer one;
  const auto other = PlayedServer::ofVersion6(one.getPort());
  if (!other->isListening()) {
    GTEST_SKIP() << "this machine has no IPv6";
  }
  const PlayedServer* asked = nullptr;  // which of them is the resolver's to say
  std::thread play([&] {
    while (asked == nullptr) {
      asked = one.hasVisitor() ? &one : other->hasVisitor() ? other.get() : nullptr;
    }
    const int descriptor = asked->accept();
    sendAll(descriptor, "< error not here >");
    close(descriptor);
  });
  EXPECT_NE(std::string::npos, failureOf(one.getPort(), "bus0", "").find("not here"));
  play.join();
  EXPECT_FALSE((asked == &one ? *other : one).hasVisitor());
}

TEST(SocketcandEndPointOpen, FactoryReachesTheOwnServer) {
  std::string error;
  std::unique_ptr<KQEndPoint> remote;
  KQEndPointManager manager;
  KQSocketcandServer server;
  auto local = KQVirtualEndPoint::open("bus0", error);
  ASSERT_EQ(KQ_OK, server.listen("localhost", 0, "bus0", manager, error)) << error;
  std::atomic<bool> isOpen{false};
  std::thread opening([&] {
    remote =
        KQEndPointFactory::openEndPoint("socketcand:localhost:" + std::to_string(server.getPort()) + "/bus0", error);
    isOpen = true;
  });
  waitUntil(manager, [&] { return isOpen.load(); });
  opening.join();
  ASSERT_NE(nullptr, remote) << error;
  RecordingListener listener;
  RecordingListener localListener;
  manager.addEndPoint(remote.get(), &listener);
  manager.addEndPoint(local.get(), &localListener);
  for (unsigned i = 0; i < 500; ++i) {
    EXPECT_EQ(KQ_OK, remote->writeMessage(makeMessage(i, {1})));
    EXPECT_EQ(KQ_OK, local->writeMessage(makeMessage(i, {2})));
  }
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 500 && localListener.frames.size() == 500; }));
  EXPECT_EQ("1F3#02", listener.frames[499]);
  EXPECT_EQ("1F3#01", localListener.frames[499]);
}

// ---- Frames

TEST_F(PlayedConnection, FramesTogetherWithTheLastAnswerAreRead) {
  open("< frame 705 1700000000.123456 00 >< frame 80 1700000000.1");
  peer->send("23456  >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 2; }));
  EXPECT_EQ((Frames{"705#00", "080#"}), listener.frames);
}

TEST_F(PlayedConnection, FrameLeavesAsASendLine) {
  open();
  EXPECT_EQ(KQ_OK, endPoint->writeMessage(makeMessage(0x601, {0x40, 0, 0x20, 0, 0, 0, 0, 0xF})));
  EXPECT_TRUE(waitUntil(manager, [&] {
    peer->collect();
    return peer->received == "< send 601 8 40 0 20 0 0 0 0 f >";
  }));
}

TEST_F(PlayedConnection, WhatIsNoClassicFrameIsDroppedOrIgnored) {
  open();
  peer->send("< frame 00000181 1.0 01 >< frame 181 1.0 0 >< echo >< error x >rubbish< frame 181 1.0 02 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"181#02"}; }));
  EXPECT_EQ(2U, endPoint->getStatistics().dropped);
}

TEST_F(PlayedConnection, HandshakeAndPartsOfLinesAreNotAnnounced) {
  open();
  peer->send("< frame 181 ");
  settle(manager);
  EXPECT_EQ(0U, listener.announcements);
}

TEST_F(PlayedConnection, DescriptorIsReadableWhenFramesArrive) {
  open();
  EXPECT_FALSE(isReadable(endPoint->getDescriptor()));
  peer->send("< frame 181 1.0 01 >");
  pollfd waiting{endPoint->getDescriptor(), POLLIN, 0};
  EXPECT_EQ(1, poll(&waiting, 1, 1000));
  EXPECT_EQ(Frames{"181#01"}, readAll(*endPoint));
  EXPECT_FALSE(isReadable(endPoint->getDescriptor()));
}

// ---- Queues

TEST_F(PlayedConnection, MoreThanTheReceiveQueueHoldsIsNotLost) {
  open();
  listener.framesPerCall = 5;
  std::string text;
  for (unsigned i = 0; i < 3000; ++i) {
    KQBusFrame frame;
    frame.identifier = i & 0x7FFU;
    SocketcandCodec::appendFrameLine(text, frame, 1);
  }
  ASSERT_TRUE(peer->send(text));
  peer->close();  // and what was sent before the end is still read
  testing::internal::CaptureStderr();
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 3000; }));
  EXPECT_TRUE(waitUntil(manager, [&] { return !endPoint->isConnected(); }));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ("3B7#", listener.frames[2999]);
}

TEST_F(PlayedConnection, FullOutputRefusesAndDrains) {
  open();
  unsigned written = 0;
  int result = KQ_OK;
  int flushed = KQ_OK;
  // On a busy machine the kernel may move on what it holds after it refused more: it is full when a flush says so, too.
  while (flushed == KQ_OK && written < 1000000) {
    result = endPoint->writeMessage(makeMessage(0x181, {1, 2, 3, 4, 5, 6, 7, 8}));
    if (result == KQ_OK) {
      ++written;
    } else {
      flushed = endPoint->flush();
    }
  }
  EXPECT_EQ(KQ_DEFERRED, result);
  EXPECT_EQ(KQ_NO_DATA, flushed);
  std::string expected;
  for (unsigned i = 0; i < written; ++i) {
    expected += "< send 181 8 1 2 3 4 5 6 7 8 >";
  }
  EXPECT_TRUE(waitUntil(manager, [&] {
    peer->collect();
    return peer->received.size() == expected.size();
  }));
  EXPECT_TRUE(peer->received == expected) << "each line as a whole, and once";
  EXPECT_EQ(KQ_OK, endPoint->flush());
  EXPECT_EQ(KQ_OK, endPoint->writeMessage(makeMessage(0x181)));
}

TEST_F(PlayedConnection, WritersOfSeveralThreadsDoNotMixTheirLines) {
  open();
  std::vector<std::thread> writers;
  for (unsigned i = 0; i < 3; ++i) {
    writers.emplace_back([this, i] {
      for (unsigned frame = 0; frame < 200; ++frame) {
        EXPECT_EQ(KQ_OK, endPoint->writeMessage(makeMessage(0x100 + i)));
      }
    });
  }
  const std::size_t expected = std::size_t{600} * std::string("< send 100 0 >").size();
  EXPECT_TRUE(waitUntil(manager, [&] {
    peer->collect();
    return peer->received.size() == expected;
  }));
  for (std::thread& writer : writers) {
    writer.join();
  }
}

// ---- Connection lost

TEST_F(PlayedConnection, LostConnectionIsToldOnceEachWayAndComesBack) {
  const TestClock clock;
  open();
  testing::internal::CaptureStderr();
  peer->close();
  EXPECT_TRUE(waitUntil(manager, [&] { return !listener.events.empty(); }));
  EXPECT_EQ(KQ_NOT_AVAILABLE, endPoint->writeMessage(makeMessage(1)));
  KQCANMessage message;
  EXPECT_EQ(KQ_NOT_AVAILABLE, endPoint->readMessage(message));
  std::thread play([&] { peer = std::make_unique<TcpPeer>(playHandshake(server, "< frame 705 1.0 00 >")); });
  TestClock::advance(500);
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.events.size() == 2; }));
  play.join();
  EXPECT_EQ((Frames{"disconnected", "reconnected"}), listener.events);
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"705#00"}; }));
  EXPECT_EQ(KQ_OK, endPoint->writeMessage(makeMessage(1)));
  const std::string uri = endPoint->getURI();
  EXPECT_EQ(uri + ": the server closed the connection\n" + uri + ": connected again\n",
            testing::internal::GetCapturedStderr());
}

TEST_F(PlayedConnection, TriesAgainWhileTheServerIsAway) {
  const TestClock clock;
  const unsigned short port = server.getPort();
  open();
  testing::internal::CaptureStderr();
  peer->close();
  EXPECT_TRUE(waitUntil(manager, [&] { return !listener.events.empty(); }));
  for (int i = 0; i < 3; ++i) {  // accepted by the listening socket, and silent
    TestClock::advance(500);
    settle(manager);
    TestClock::advance(2000);
    settle(manager);
  }
  EXPECT_EQ(1U, listener.events.size());
  EXPECT_EQ("socketcand:127.0.0.1:" + std::to_string(port) + "/bus0", endPoint->getURI());
  testing::internal::GetCapturedStderr();
}

TEST_F(PlayedConnection, WriteFindsTheConnectionGone) {
  open();
  testing::internal::CaptureStderr();
  linger reset{1, 0};
  setsockopt(peer->getSocket(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  peer->close();
  int result = KQ_OK;
  for (int i = 0; i < 1000 && result == KQ_OK; ++i) {
    result = endPoint->writeMessage(makeMessage(1));
  }
  EXPECT_EQ(KQ_NOT_AVAILABLE, result);
  EXPECT_TRUE(waitUntil(manager, [&] { return !listener.events.empty(); }));
  EXPECT_FALSE(endPoint->isConnected());
  testing::internal::GetCapturedStderr();
}

TEST_F(PlayedConnection, WhatWasReceivedBeforeAWriteFindsTheConnectionGoneIsNotLost) {
  open();
  listener.framesPerCall = 5;
  std::string text;
  for (unsigned i = 0; i < 2000; ++i) {
    KQBusFrame frame;
    frame.identifier = i & 0x7FFU;
    SocketcandCodec::appendFrameLine(text, frame, 1);
  }
  ASSERT_TRUE(peer->send(text));
  testing::internal::CaptureStderr();
  peer.reset();
  for (int i = 0; i < 1000 && endPoint->writeMessage(makeMessage(1)) == KQ_OK; ++i) {
  }
  EXPECT_TRUE(waitUntil(manager, [&] { return !endPoint->isConnected(); }));
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 2000; })) << listener.frames.size();
  testing::internal::GetCapturedStderr();
}

TEST_F(PlayedConnection, FrameThatFindsTheConnectionGoneIsRefusedAndNotDiscardedToo) {
  open();
  testing::internal::CaptureStderr();
  peer.reset();
  unsigned accepted = 0;
  while (accepted < 100000 && endPoint->writeMessage(makeMessage(1)) == KQ_OK) {
    ++accepted;
  }
  EXPECT_TRUE(waitUntil(manager, [&] { return !listener.events.empty(); }));
  testing::internal::GetCapturedStderr();
  const KQEndPointStatistics statistics = endPoint->getStatistics();
  EXPECT_EQ(accepted, statistics.sent);
  EXPECT_EQ(1U, statistics.refused);
  EXPECT_EQ(0U, statistics.discarded);
}

// An end point on a bus that a server of this process serves, which can be killed and started again.
class ServedConnection : public testing::Test {
protected:
  void serve() {
    std::string error;
    ASSERT_EQ(KQ_OK, server.listen("127.0.0.1", port, "bus0", manager, error)) << error;
    port = server.getPort();
  }

  void open() {
    std::string error;
    local = KQVirtualEndPoint::open("bus0", error);
    serve();
    std::atomic<bool> isOpen{false};
    std::thread opening([&] {
      remote = KQSocketcandEndPoint::open("127.0.0.1", port, "bus0", error);
      isOpen = true;
    });
    waitUntil(manager, [&] { return isOpen.load(); });
    opening.join();
    ASSERT_NE(nullptr, remote) << error;
    manager.addEndPoint(remote.get(), &listener);
    manager.addEndPoint(local.get(), &localListener);
  }

  KQEndPointManager manager;
  RecordingListener listener;
  RecordingListener localListener;
  std::unique_ptr<KQVirtualEndPoint> local;
  KQSocketcandServer server;
  unsigned short port{0};
  std::unique_ptr<KQSocketcandEndPoint> remote;
};

TEST_F(ServedConnection, ServerThatIsKilledAndStartedAgainIsFoundAgainEachTime) {
  const TestClock clock;
  constexpr unsigned KILLS = 20;
  open();
  testing::internal::CaptureStderr();
  unsigned refused = 0;
  for (unsigned kill = 1; kill <= KILLS; ++kill) {
    server.close();
    ASSERT_TRUE(waitUntil(manager, [&] { return listener.events.size() == 2 * kill - 1; }));
    EXPECT_EQ(KQ_NOT_AVAILABLE, remote->writeMessage(makeMessage(kill)));
    ++refused;
    serve();
    ASSERT_TRUE(waitUntil(manager, [&] {
      TestClock::advance(20);
      return listener.events.size() == 2 * kill;
    }));
    EXPECT_EQ(KQ_OK, remote->writeMessage(makeMessage(kill)));
    EXPECT_EQ(KQ_OK, local->writeMessage(makeMessage(kill)));
    EXPECT_TRUE(waitUntil(manager, [&] {
      TestClock::advance(20);
      return listener.frames.size() == kill && localListener.frames.size() == kill;
    })) << "frames pass both ways";
  }
  const std::string lines = testing::internal::GetCapturedStderr();
  const std::string uri = remote->getURI();
  EXPECT_EQ(2 * KILLS, std::count(lines.begin(), lines.end(), '\n')) << "one line each way: " << lines;
  EXPECT_EQ(lines.size() - uri.size() - 18, lines.rfind(uri + ": connected again\n"));
  const KQEndPointStatistics statistics = remote->getStatistics();
  EXPECT_EQ(KILLS, statistics.disconnects);
  EXPECT_EQ(KILLS, statistics.reconnects);
  EXPECT_EQ(refused, statistics.refused);
  EXPECT_EQ(0U, statistics.discarded);
}

TEST_F(PlayedConnection, WithoutManagerReadingBringsItBack) {
  const TestClock clock;
  open();
  manager.removeEndPoint(endPoint.get());
  testing::internal::CaptureStderr();
  peer->close();
  KQCANMessage message;
  for (int i = 0; i < 100000 && endPoint->isConnected(); ++i) {
    endPoint->readMessage(message);
  }
  EXPECT_FALSE(endPoint->isConnected());
  std::thread play([&] { peer = std::make_unique<TcpPeer>(playHandshake(server)); });
  TestClock::advance(500);
  for (int i = 0; i < 1000000 && !endPoint->isConnected(); ++i) {
    endPoint->readMessage(message);
  }
  play.join();
  EXPECT_TRUE(endPoint->isConnected());
  testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace KQ::test
