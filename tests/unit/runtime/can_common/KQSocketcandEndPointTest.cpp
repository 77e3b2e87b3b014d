// KQSocketcandEndPoint against the own server and against one that the test plays
//
// | what                    | cases |
// |-------------------------|------------------------------------------------------------------------------------------|
// | opening                 | through the factory; refused connection, unknown host, wrong channel, silence, nonsense |
// | frames                  | both ways; answers coalesced with frames; extended and bad ones dropped; other lines
// ignored       | | queues                  | more than the receive queue holds; full output gives 17 and drains | |
// connection lost         | told once each way; writes give 10; comes back; without a manager as well |

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

/// A listening socket of which the test plays the server.
class PlayedServer {
public:
  explicit PlayedServer(unsigned short port = 0) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    const int on = 1;
    setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(socket_, 4), 0);
    socklen_t size = sizeof address;
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
  }
  ~PlayedServer() { close(socket_); }
  PlayedServer(const PlayedServer&) = delete;
  PlayedServer& operator=(const PlayedServer&) = delete;

  unsigned short getPort() const { return port_; }
  int accept() const { return ::accept(socket_, nullptr, nullptr); }

private:
  int socket_;
  unsigned short port_{0};
};

void sendAll(int descriptor, const std::string& text) {
  EXPECT_EQ(::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
}

std::string readOnce(int descriptor) {
  char buffer[256];
  const ssize_t count = recv(descriptor, buffer, sizeof buffer, 0);
  return std::string(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
}

/// Plays the handshake with a client that is connecting; the last answer may carry more. @return the connection
int playHandshake(const PlayedServer& server, const std::string& behindLastAnswer = "") {
  const int descriptor = server.accept();
  sendAll(descriptor, "< hi >");
  EXPECT_EQ(readOnce(descriptor), "< open bus0 >");
  sendAll(descriptor, "< ok >");
  EXPECT_EQ(readOnce(descriptor), "< rawmode >");
  sendAll(descriptor, "< ok >" + behindLastAnswer);
  return descriptor;
}

/// An end point connected to a played server.
class PlayedConnection : public testing::Test {
protected:
  void open(const std::string& behindLastAnswer = "") {
    std::thread play([&] { descriptor_ = playHandshake(server, behindLastAnswer); });
    std::string error;
    endPoint = KQSocketcandEndPoint::open("127.0.0.1", server.getPort(), "bus0", error);
    play.join();
    ASSERT_NE(endPoint, nullptr) << error;
    peer = std::make_unique<TcpPeer>(descriptor_);
    manager.addEndPoint(endPoint.get(), &listener);
  }

  PlayedServer server;
  KQEndPointManager manager;
  RecordingListener listener;
  std::unique_ptr<KQSocketcandEndPoint> endPoint;
  std::unique_ptr<TcpPeer> peer;

private:
  int descriptor_{-1};
};

std::string failureOf(unsigned short port, const std::string& channel = "bus0", const std::string& host = "127.0.0.1") {
  std::string error;
  EXPECT_EQ(KQSocketcandEndPoint::open(host, port, channel, error), nullptr);
  return error;
}

// ---- Opening

TEST(SocketcandEndPointOpen, RefusedConnectionIsNamed) {
  unsigned short port = 0;
  {
    const PlayedServer server;
    port = server.getPort();
  }
  EXPECT_EQ(failureOf(port), "socketcand:127.0.0.1:" + std::to_string(port) + "/bus0: Connection refused");
}

TEST(SocketcandEndPointOpen, UnknownHostIsNamed) {
  EXPECT_EQ(failureOf(1, "bus0", "no such host").substr(0, 61),
            "socketcand:no such host:1/bus0: unknown host 'no such host': ");
}

TEST(SocketcandEndPointOpen, WrongChannelIsNamedWithTheAnswer) {
  const PlayedServer server;
  std::thread play([&] {
    const int descriptor = server.accept();
    sendAll(descriptor, "< hi >");
    EXPECT_EQ(readOnce(descriptor), "< open can7 >");
    sendAll(descriptor, "< error could not open bus >");
    close(descriptor);
  });
  EXPECT_EQ(failureOf(server.getPort(), "can7"),
            "socketcand:127.0.0.1:" + std::to_string(server.getPort()) +
                "/can7: the server refuses channel 'can7': error could not open bus");
  play.join();
}

TEST(SocketcandEndPointOpen, SilentServerIsGivenUp) {
  const PlayedServer server;
  std::string error;
  EXPECT_EQ(KQSocketcandEndPoint::open("127.0.0.1", server.getPort(), "bus0", error, 30), nullptr);
  EXPECT_EQ(error, "socketcand:127.0.0.1:" + std::to_string(server.getPort()) + "/bus0: no answer within 30 ms");
}

TEST(SocketcandEndPointOpen, ServerOfAnotherProtocolIsGivenUp) {
  const PlayedServer server;
  std::thread play([&] {
    const int descriptor = server.accept();
    sendAll(descriptor, std::string(2000, 'x'));
    readOnce(descriptor);
    close(descriptor);
  });
  EXPECT_EQ(failureOf(server.getPort()), "socketcand:127.0.0.1:" + std::to_string(server.getPort()) +
                                             "/bus0: the server does not speak this protocol");
  play.join();
}

TEST(SocketcandEndPointOpen, FactoryReachesTheOwnServer) {
  std::string error;
  std::unique_ptr<KQEndPoint> remote;
  KQEndPointManager manager;
  KQSocketcandServer server;
  auto local = KQVirtualEndPoint::open("bus0", error);
  ASSERT_EQ(server.listen("localhost", 0, "bus0", manager, error), KQ_OK) << error;
  std::atomic<bool> isOpen{false};
  std::thread opening([&] {
    remote =
        KQEndPointFactory::openEndPoint("socketcand:localhost:" + std::to_string(server.getPort()) + "/bus0", error);
    isOpen = true;
  });
  waitUntil(manager, [&] { return isOpen.load(); });
  opening.join();
  ASSERT_NE(remote, nullptr) << error;
  RecordingListener listener;
  RecordingListener localListener;
  manager.addEndPoint(remote.get(), &listener);
  manager.addEndPoint(local.get(), &localListener);
  for (unsigned i = 0; i < 500; ++i) {
    EXPECT_EQ(remote->writeMessage(makeMessage(i, {1})), KQ_OK);
    EXPECT_EQ(local->writeMessage(makeMessage(i, {2})), KQ_OK);
  }
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 500 && localListener.frames.size() == 500; }));
  EXPECT_EQ(listener.frames[499], "1F3#02");
  EXPECT_EQ(localListener.frames[499], "1F3#01");
}

// ---- Frames

TEST_F(PlayedConnection, FramesTogetherWithTheLastAnswerAreRead) {
  open("< frame 705 1700000000.123456 00 >< frame 80 1700000000.1");
  peer->send("23456  >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 2; }));
  EXPECT_EQ(listener.frames, (Frames{"705#00", "080#"}));
}

TEST_F(PlayedConnection, FrameLeavesAsASendLine) {
  open();
  EXPECT_EQ(endPoint->writeMessage(makeMessage(0x601, {0x40, 0, 0x20, 0, 0, 0, 0, 0xF})), KQ_OK);
  EXPECT_TRUE(waitUntil(manager, [&] {
    peer->collect();
    return peer->received == "< send 601 8 40 0 20 0 0 0 0 f >";
  }));
}

TEST_F(PlayedConnection, WhatIsNoClassicFrameIsDroppedOrIgnored) {
  open();
  peer->send("< frame 00000181 1.0 01 >< frame 181 1.0 0 >< echo >< error x >rubbish< frame 181 1.0 02 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"181#02"}; }));
  EXPECT_EQ(endPoint->getStatistics().dropped, 2U);
}

TEST_F(PlayedConnection, HandshakeAndPartsOfLinesAreNotAnnounced) {
  open();
  peer->send("< frame 181 ");
  settle(manager);
  EXPECT_EQ(listener.announcements, 0U);
}

TEST_F(PlayedConnection, DescriptorIsReadableWhenFramesArrive) {
  open();
  EXPECT_FALSE(isReadable(endPoint->getDescriptor()));
  peer->send("< frame 181 1.0 01 >");
  pollfd waiting{endPoint->getDescriptor(), POLLIN, 0};
  EXPECT_EQ(poll(&waiting, 1, 1000), 1);
  EXPECT_EQ(readAll(*endPoint), Frames{"181#01"});
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
  EXPECT_EQ(listener.frames[2999], "3B7#");
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
  EXPECT_EQ(result, KQ_DEFERRED);
  EXPECT_EQ(flushed, KQ_NO_DATA);
  const std::size_t expected = std::string("< send 181 8 1 2 3 4 5 6 7 8 >").size() * written;
  EXPECT_TRUE(waitUntil(manager, [&] {
    peer->collect();
    return peer->received.size() == expected;
  }));
  EXPECT_EQ(endPoint->flush(), KQ_OK);
  EXPECT_EQ(endPoint->writeMessage(makeMessage(0x181)), KQ_OK);
}

TEST_F(PlayedConnection, WritersOfSeveralThreadsDoNotMixTheirLines) {
  open();
  std::vector<std::thread> writers;
  for (unsigned i = 0; i < 3; ++i) {
    writers.emplace_back([this, i] {
      for (unsigned frame = 0; frame < 200; ++frame) {
        EXPECT_EQ(endPoint->writeMessage(makeMessage(0x100 + i)), KQ_OK);
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
  EXPECT_EQ(endPoint->writeMessage(makeMessage(1)), KQ_NOT_AVAILABLE);
  KQCANMessage message;
  EXPECT_EQ(endPoint->readMessage(message), KQ_NOT_AVAILABLE);
  std::thread play([&] { peer = std::make_unique<TcpPeer>(playHandshake(server, "< frame 705 1.0 00 >")); });
  TestClock::advance(500);
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.events.size() == 2; }));
  play.join();
  EXPECT_EQ(listener.events, (Frames{"disconnected", "reconnected"}));
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"705#00"}; }));
  EXPECT_EQ(endPoint->writeMessage(makeMessage(1)), KQ_OK);
  const std::string uri = endPoint->getURI();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            uri + ": the server closed the connection\n" + uri + ": connected again\n");
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
  EXPECT_EQ(listener.events.size(), 1U);
  EXPECT_EQ(endPoint->getURI(), "socketcand:127.0.0.1:" + std::to_string(port) + "/bus0");
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
  EXPECT_EQ(result, KQ_NOT_AVAILABLE);
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
  EXPECT_EQ(statistics.sent, accepted);
  EXPECT_EQ(statistics.refused, 1U);
  EXPECT_EQ(statistics.discarded, 0U);
}

/// An end point on a bus that a server of this process serves, which can be killed and started again.
class ServedConnection : public testing::Test {
protected:
  void serve() {
    std::string error;
    ASSERT_EQ(server.listen("127.0.0.1", port, "bus0", manager, error), KQ_OK) << error;
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
    ASSERT_NE(remote, nullptr) << error;
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
    EXPECT_EQ(remote->writeMessage(makeMessage(kill)), KQ_NOT_AVAILABLE);
    ++refused;
    serve();
    ASSERT_TRUE(waitUntil(manager, [&] {
      TestClock::advance(20);
      return listener.events.size() == 2 * kill;
    }));
    EXPECT_EQ(remote->writeMessage(makeMessage(kill)), KQ_OK);
    EXPECT_EQ(local->writeMessage(makeMessage(kill)), KQ_OK);
    EXPECT_TRUE(waitUntil(manager, [&] {
      TestClock::advance(20);
      return listener.frames.size() == kill && localListener.frames.size() == kill;
    })) << "frames pass both ways";
  }
  const std::string lines = testing::internal::GetCapturedStderr();
  const std::string uri = remote->getURI();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2 * KILLS) << "one line each way: " << lines;
  EXPECT_EQ(lines.rfind(uri + ": connected again\n"), lines.size() - uri.size() - 18);
  const KQEndPointStatistics statistics = remote->getStatistics();
  EXPECT_EQ(statistics.disconnects, KILLS);
  EXPECT_EQ(statistics.reconnects, KILLS);
  EXPECT_EQ(statistics.refused, refused);
  EXPECT_EQ(statistics.discarded, 0U);
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
