// Covers: KQSocketcandServer over real loopback connections.
//
// | subject   | functional                                        | robustness                                        |
// |-----------|---------------------------------------------------|---------------------------------------------------|
// | listening | any port; port in use; unknown host; twice; name  |                                                   |
// |           | with several addresses; IPv6; close               |                                                   |
// | handshake | exact bytes, each answer alone; wrong bus;        |                                                   |
// |           | commands at the wrong time; commands sent ahead   |                                                   |
// | settling  | frames wait behind "< ok >", none is lost         |                                                   |
// | frames    | node to client, client to node, client to client, |                                                   |
// |           | never back; extended; kept boot-up                |                                                   |
// | rubbish   |                                                   | unknown commands, no brackets, bad frames,        |
// |           |                                                   | endless line, cut line and gone                   |
// | load      |                                                   | a thousand frames in one segment; one that never  |
// |           |                                                   | reads; an end point that never reads; bursts      |
// | resources |                                                   | many connections leave no descriptor; application |
// |           |                                                   | threads write meanwhile                           |

#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "CANTestSupport.h"
#include "KQSocketcandServer.h"
#include "KQVirtualBus.h"
#include "KQVirtualEndPoint.h"
#include "SocketcandCodec.h"

namespace KQ::test {
namespace {

using Frames = std::vector<std::string>;

unsigned countDescriptors() {
  unsigned number = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) {
    ++number;
  }
  closedir(directory);
  return number;
}

// The frames in what a client has received, without the time; other lines as they are.
Frames linesOf(const std::string& received) {
  Frames lines;
  std::string_view rest = received;
  std::string_view line;
  std::size_t used = 0;
  while (SocketcandCodec::nextLine(rest, line, used) == SocketcandCodec::Split::LINE) {
    const std::string_view whole = rest.substr(0, used);
    rest.remove_prefix(used);
    std::string_view arguments = line;
    if (SocketcandCodec::nextWord(arguments) != "frame") {
      lines.emplace_back(whole);
      continue;
    }
    std::string text(SocketcandCodec::nextWord(arguments));
    SocketcandCodec::nextWord(arguments);
    lines.push_back(text + "#" + std::string(SocketcandCodec::nextWord(arguments)));
  }
  return lines;
}

class SocketcandServer : public testing::Test {
protected:
  SocketcandServer() {
    std::string error;
    node = KQVirtualEndPoint::open("bus0", error);
    EXPECT_EQ(KQ_OK, server.listen("127.0.0.1", 0, "bus0", manager, error)) << error;
    manager.addEndPoint(node.get(), &listener);
  }

  // What the next read of the peer gives, once something has arrived.
  std::string nextRead(TcpPeer& peer) {
    std::string text;
    waitUntil(manager, [&] {
      text = peer.read();
      return !text.empty() || !peer.isOpen();
    });
    return text;
  }

  std::unique_ptr<TcpPeer> connectRaw(int receiveBuffer = 0) {
    auto peer = std::make_unique<TcpPeer>(server.getPort(), receiveBuffer);
    EXPECT_EQ("< hi >", nextRead(*peer));
    peer->send("< open bus0 >");
    EXPECT_EQ("< ok >", nextRead(*peer));
    peer->send("< rawmode >");
    EXPECT_EQ("< ok >", nextRead(*peer));
    return peer;
  }

  static std::size_t lineSize(unsigned dataBytes) {
    KQBusFrame frame;
    frame.identifier = 0x181;
    frame.length = static_cast<unsigned char>(dataBytes);
    std::string line;
    SocketcandCodec::appendFrameLine(line, frame, SocketcandCodec::getWallClock());
    return line.size();
  }

  void writeFrame(std::size_t dataBytes) {
    KQCANMessage message = makeMessage(0x181);
    message.length = static_cast<unsigned>(dataBytes);
    EXPECT_EQ(KQ_OK, node->writeMessage(message));
  }

  // Sends frames whose lines have so many bytes together, an even number.
  void fill(std::size_t bytes) {
    const std::size_t longest = lineSize(8);
    for (; bytes >= 3 * longest; bytes -= longest) {
      writeFrame(8);
    }
    std::size_t data = (bytes - 3 * lineSize(0)) / 2;
    for (int i = 0; i < 3; ++i) {
      const std::size_t part = std::min<std::size_t>(data, 8);
      writeFrame(part);
      data -= part;
    }
  }

  bool waitForLines(TcpPeer& peer, std::size_t number) {
    return waitUntil(manager, [&] {
      peer.collect();
      return linesOf(peer.received).size() >= number;
    });
  }

  KQEndPointManager manager;
  RecordingListener listener;
  std::unique_ptr<KQVirtualEndPoint> node;
  KQSocketcandServer server;
};

// ---- Listening

TEST_F(SocketcandServer, ChoosesAPortWhenAskedForAny) {
  EXPECT_GT(server.getPort(), 0U);
  EXPECT_EQ(0U, server.getClientCount());
}

TEST_F(SocketcandServer, SaysThatThePortIsInUse) {
  KQSocketcandServer second;
  std::string error;
  EXPECT_EQ(KQ_NOT_AVAILABLE, second.listen("127.0.0.1", server.getPort(), "bus0", manager, error));
  EXPECT_EQ("cannot listen on 127.0.0.1:" + std::to_string(server.getPort()) + ": Address already in use", error);
  EXPECT_EQ(0U, second.getPort());
}

TEST_F(SocketcandServer, PortInUseAtOneOfTwoAddressesIsAFailure) {
  KQSocketcandServer second;
  std::string error;
  EXPECT_EQ(KQ_NOT_AVAILABLE, second.listen("", server.getPort(), "bus0", manager, error));
  EXPECT_NE(error.find("Address already in use"), std::string::npos) << error;
  EXPECT_EQ(0U, second.getPort());
}

TEST_F(SocketcandServer, SaysThatTheHostIsUnknown) {
  KQSocketcandServer second;
  std::string error;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, second.listen("no such host", 0, "bus0", manager, error));
  EXPECT_EQ("unknown host 'no such host': ", error.substr(0, 29));
}

TEST_F(SocketcandServer, ListensOnceAtATime) {
  std::string error;
  EXPECT_EQ(KQ_ALREADY_EXISTS, server.listen("127.0.0.1", 0, "bus0", manager, error));
  server.close();
  EXPECT_EQ(0U, server.getPort());
  EXPECT_EQ(KQ_OK, server.listen("127.0.0.1", 0, "bus0", manager, error));
  connectRaw();
}

TEST_F(SocketcandServer, WithoutHostListensOnTheLoopbackAddressesUnderOnePort) {
  server.close();
  std::string error;
  ASSERT_EQ(KQ_OK, server.listen("", 0, "bus0", manager, error)) << error;
  connectRaw();  // over IPv4
  const int socket6 = socket(AF_INET6, SOCK_STREAM, 0);
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(server.getPort());
  address.sin6_addr = in6addr_loopback;
  sockaddr_in6 any = address;
  any.sin6_port = 0;
  const bool hasVersion6 = bind(socket6, reinterpret_cast<sockaddr*>(&any), sizeof any) == 0;
  if (hasVersion6) {
    ASSERT_EQ(0, connect(socket6, reinterpret_cast<sockaddr*>(&address), sizeof address));
    TcpPeer peer(socket6);
    EXPECT_EQ("< hi >", nextRead(peer));
  } else {
    close(socket6);
  }
}

TEST_F(SocketcandServer, CloseEndsTheConnections) {
  auto peer = connectRaw();
  server.close();
  nextRead(*peer);
  EXPECT_FALSE(peer->isOpen());
  EXPECT_EQ(1U, KQVirtualBus::get("bus0")->getParticipantCount());
}

// ---- Handshake

TEST_F(SocketcandServer, OpeningAnotherBusIsRefusedAndEnds) {
  TcpPeer peer(server.getPort());
  EXPECT_EQ("< hi >", nextRead(peer));
  peer.send("< open bus1 >");
  EXPECT_EQ("< error could not open bus >", nextRead(peer));
  nextRead(peer);
  EXPECT_FALSE(peer.isOpen());
  peer.close();
  EXPECT_TRUE(waitUntil(manager, [&] { return server.getClientCount() == 0; }));
}

TEST_F(SocketcandServer, ClientIsOnTheBusOnlyInRawMode) {
  auto bus = KQVirtualBus::get("bus0");
  TcpPeer peer(server.getPort());
  nextRead(peer);
  peer.send("< open bus0 >");
  nextRead(peer);
  EXPECT_EQ(1U, bus->getParticipantCount());
  peer.send("< rawmode >");
  nextRead(peer);
  EXPECT_EQ(2U, bus->getParticipantCount());
  peer.close();
  EXPECT_TRUE(waitUntil(manager, [&] { return bus->getParticipantCount() == 1; }));
}

TEST_F(SocketcandServer, CommandsAtTheWrongTimeAreErrors) {
  TcpPeer peer(server.getPort());
  nextRead(peer);
  for (const char* command : {"< rawmode >", "< send 1 0 >"}) {
    peer.send(command);
    EXPECT_EQ("< error not now >", nextRead(peer));
  }
  peer.send("< open bus0 >");
  EXPECT_EQ("< ok >", nextRead(peer));
  peer.send("< open bus0 >");
  EXPECT_EQ("< error not now >", nextRead(peer));
}

TEST_F(SocketcandServer, CommandsSentAheadAreAnsweredOneByOne) {
  const TestClock clock;
  TcpPeer peer(server.getPort());
  nextRead(peer);
  peer.send("< open bus0 >< rawmode >< send 123 0 >");
  EXPECT_EQ("< ok >", nextRead(peer));
  settle(manager);
  EXPECT_EQ("", peer.read());
  TestClock::advance(20);
  EXPECT_EQ("< ok >", nextRead(peer));
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"123#"}; }));
}

TEST_F(SocketcandServer, LinesMayArriveInPieces) {
  TcpPeer peer(server.getPort());
  nextRead(peer);
  for (const char* part : {"<", " op", "en bus0", " ", ">"}) {
    peer.send(part);
    settle(manager);
  }
  EXPECT_EQ("< ok >", nextRead(peer));
}

TEST_F(SocketcandServer, EchoIsAnsweredAtAnyTime) {
  TcpPeer peer(server.getPort());
  nextRead(peer);
  peer.send("< echo >");
  EXPECT_EQ("< echo >", nextRead(peer));
  auto raw = connectRaw();
  raw->send("< echo >");
  EXPECT_EQ("< echo >", nextRead(*raw));
}

// ---- Settling

TEST_F(SocketcandServer, FramesWaitTwentyMillisecondsBehindTheAnswerToRawmode) {
  const TestClock clock;
  auto peer = connectRaw();
  node->writeMessage(makeMessage(0x705, {0x7F}));
  node->writeMessage(makeMessage(0x705, {5}));
  settle(manager);
  EXPECT_EQ("", peer->read());
  TestClock::advance(19);
  settle(manager);
  EXPECT_EQ("", peer->read());
  TestClock::advance(1);
  EXPECT_TRUE(waitForLines(*peer, 2));
  EXPECT_EQ((Frames{"705#7F", "705#05"}), linesOf(peer->received));
}

TEST_F(SocketcandServer, FramesOfTheClientDoNotWait) {
  const TestClock clock;
  auto peer = connectRaw();
  peer->send("< send 0 2 1 0 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"000#0100"}; }));
}

// ---- Frames

TEST_F(SocketcandServer, FrameOfTheNodeHasTheExactBytes) {
  auto peer = connectRaw();
  const long long before = SocketcandCodec::getWallClock();
  node->writeMessage(makeMessage(0x581, {0x43, 0, 0x20, 0, 1, 0, 0, 0xAB}));
  ASSERT_TRUE(waitForLines(*peer, 1));
  const std::string& text = peer->received;
  ASSERT_EQ(std::string("< frame 581 1700000000.123456 43002000010000AB >").size(), text.size());
  EXPECT_EQ("< frame 581 ", text.substr(0, 12));
  EXPECT_EQ(" 43002000010000AB >", text.substr(29));
  const long long time = std::stoll(text.substr(12, 10)) * 1000000 + std::stoll(text.substr(23, 6));
  EXPECT_GE(time, before);
  EXPECT_LE(time, SocketcandCodec::getWallClock());
}

TEST_F(SocketcandServer, FrameWithoutDataHasTwoBlanks) {
  auto peer = connectRaw();
  node->writeMessage(makeMessage(0x80));
  ASSERT_TRUE(waitForLines(*peer, 1));
  EXPECT_EQ("  >", peer->received.substr(peer->received.size() - 3));
}

TEST_F(SocketcandServer, FrameOfTheClientReachesTheNode) {
  auto peer = connectRaw();
  peer->send("< send 601 8 40 0 20 0 0 0 0 f >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"601#400020000000000F"}; }));
}

TEST_F(SocketcandServer, BootUpSentBeforeTheFirstClientReachesIt) {
  node->writeMessage(makeMessage(0x705, {0}));
  node->writeMessage(makeMessage(0x705, {0x7F}));
  auto peer = connectRaw();
  ASSERT_TRUE(waitForLines(*peer, 1));
  EXPECT_EQ(Frames{"705#00"}, linesOf(peer->received));
}

TEST_F(SocketcandServer, EveryClientSeesTheOthersAndTheNodeButNotItself) {
  auto first = connectRaw();
  node->writeMessage(makeMessage(0x185, {1}));
  ASSERT_TRUE(waitForLines(*first, 1));
  auto second = connectRaw();  // while traffic flows
  node->writeMessage(makeMessage(0x185, {2}));
  first->send("< send 605 1 a >");
  ASSERT_TRUE(waitForLines(*second, 2));
  second->send("< send 605 1 b >");
  ASSERT_TRUE(waitForLines(*first, 3));
  settle(manager);
  first->collect();
  second->collect();
  EXPECT_EQ((Frames{"185#01", "185#02", "605#0B"}), linesOf(first->received));
  EXPECT_EQ((Frames{"185#02", "605#0A"}), linesOf(second->received));
  EXPECT_EQ((Frames{"605#0A", "605#0B"}), listener.frames);
}

TEST_F(SocketcandServer, ExtendedFrameGoesToTheOtherClientsOnly) {
  auto first = connectRaw();
  auto second = connectRaw();
  first->send("< send 00000123 1 1 >< send 1ABCDEF 0 >< send 123 1 2 >");
  ASSERT_TRUE(waitForLines(*second, 3));
  EXPECT_EQ((Frames{"00000123#01", "01ABCDEF#", "123#02"}), linesOf(second->received));
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"123#02"}; }));
  EXPECT_EQ(2U, node->getStatistics().dropped);
}

// ---- Rubbish

struct RubbishCase {
  const char* text;
  const char* answer;
};

class SocketcandServerRubbish : public SocketcandServer, public testing::WithParamInterface<RubbishCase> {};

TEST_P(SocketcandServerRubbish, IsAnsweredAndTheConnectionGoesOn) {
  auto peer = connectRaw();
  peer->send(GetParam().text);
  EXPECT_EQ(GetParam().answer, nextRead(*peer));
  peer->send("< send 1 1 1 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"001#01"}; }));
}

INSTANTIATE_TEST_SUITE_P(Lines, SocketcandServerRubbish,
                         testing::Values(RubbishCase{"< make coffee >", "< error unknown command >"},
                                         RubbishCase{"no bracket at all >", "< error unknown command >"},
                                         RubbishCase{"<>", "< error unknown command >"},
                                         RubbishCase{"\xff\xfe\x01<\x80>", "< error unknown command >"},
                                         RubbishCase{"< sendr 123 0 >", "< error remote frames are not carried >"},
                                         RubbishCase{"< send 800 0 >", "< error not a frame >"},
                                         RubbishCase{"< send 1 9 1 2 3 4 5 6 7 8 9 >", "< error not a frame >"},
                                         RubbishCase{"< send 1 2 1 >", "< error not a frame >"},
                                         RubbishCase{"< send >", "< error not a frame >"},
                                         RubbishCase{"< rawmode >", "< error not now >"}));

TEST_F(SocketcandServer, RubbishBeforeALineIsSkipped) {
  auto peer = connectRaw();
  peer->send("rubbish\n\n< half a li< send 1 0 >\n< send 2 0 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"001#", "002#"}; }));
}

TEST_F(SocketcandServer, EndlessLineIsClosedWithAnError) {
  auto peer = connectRaw();
  auto other = connectRaw();
  bool isTaken = true;
  for (int i = 0; i < 100 && isTaken; ++i) {
    isTaken = peer->send("< send 601 8 " + std::string(2000, 'A'));
    manager.wait(0);
    peer->collect();
  }
  EXPECT_TRUE(waitUntil(manager, [&] {
    peer->collect();
    return !peer->isOpen();
  }));
  EXPECT_EQ("< error line too long >", peer->received);
  peer->close();
  EXPECT_TRUE(waitUntil(manager, [&] { return server.getClientCount() == 1; }));
  other->send("< send 1 0 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames == Frames{"001#"}; }));
}

TEST_F(SocketcandServer, RefusedClientThatStaysIsClosedAfterASecond) {
  const TestClock clock;
  TcpPeer peer(server.getPort());
  nextRead(peer);
  peer.send("< open bus1 >");
  EXPECT_EQ("< error could not open bus >", nextRead(peer));
  TestClock::advance(999);
  settle(manager);
  EXPECT_EQ(1U, server.getClientCount());
  TestClock::advance(1);
  settle(manager);
  EXPECT_EQ(0U, server.getClientCount());
}

TEST_F(SocketcandServer, ClientGoneInTheMiddleOfALineLeavesNothingBehind) {
  auto peer = connectRaw();
  auto other = connectRaw();
  peer->send("< send 1 0 >< send 2 1");
  peer.reset();
  EXPECT_TRUE(waitUntil(manager, [&] { return server.getClientCount() == 1; }));
  other->send("< send 3 0 >");
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 2; }));
  EXPECT_EQ((Frames{"001#", "003#"}), listener.frames);
  node->writeMessage(makeMessage(0x705, {5}));
  EXPECT_TRUE(waitUntil(manager, [&] {
    other->collect();
    return !linesOf(other->received).empty() && linesOf(other->received).back() == "705#05";
  }));
}

// ---- Load

std::string manyLines(unsigned number) {
  std::string text;
  for (unsigned i = 0; i < number; ++i) {
    KQBusFrame frame;
    frame.identifier = i & 0x7FFU;
    frame.length = 2;
    frame.data[0] = static_cast<unsigned char>(i);
    frame.data[1] = static_cast<unsigned char>(i >> 8U);
    SocketcandCodec::appendSendLine(text, frame);
  }
  return text;
}

bool isInOrder(const Frames& frames) {
  for (unsigned i = 0; i < frames.size(); ++i) {
    if (frames[i] !=
        toText(makeMessage(i & 0x7FFU, {static_cast<unsigned char>(i), static_cast<unsigned char>(i >> 8U)}))) {
      return false;
    }
  }
  return true;
}

TEST_F(SocketcandServer, ThousandFramesInOneSegmentAllArrive) {
  auto peer = connectRaw();
  ASSERT_TRUE(peer->send(manyLines(1000)));
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 1000; }));
  EXPECT_TRUE(isInOrder(listener.frames));
}

TEST_F(SocketcandServer, BurstBeyondTheReceiveQueueOfASlowReaderIsHeldBackAndNotLost) {
  auto peer = connectRaw();
  listener.framesPerCall = 7;
  ASSERT_TRUE(peer->send(manyLines(4000)));
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 4000; }));
  EXPECT_TRUE(isInOrder(listener.frames));
  EXPECT_EQ(0U, node->getStatistics().overruns);
}

TEST_F(SocketcandServer, BurstOfAClientThatLeavesAtOnceIsNotLost) {
  auto peer = connectRaw();
  listener.framesPerCall = 7;
  ASSERT_TRUE(peer->send(manyLines(3000)));
  peer.reset();
  EXPECT_TRUE(waitUntil(manager, [&] { return listener.frames.size() == 3000; }));
  EXPECT_TRUE(isInOrder(listener.frames));
  EXPECT_TRUE(waitUntil(manager, [&] { return server.getClientCount() == 0; }));
}

TEST_F(SocketcandServer, EndPointThatReadsNothingDoesNotStopTheOthers) {
  const TestClock clock;
  manager.removeEndPoint(node.get());
  auto first = connectRaw();
  auto second = connectRaw();
  TestClock::advance(20);
  ASSERT_TRUE(first->send(manyLines(2000)));
  for (int i = 0; i < 3000 && linesOf(second->received).size() < 2000; ++i) {
    manager.wait(0);
    TestClock::advance(2);
    second->collect();
  }
  EXPECT_EQ(2000U, linesOf(second->received).size());
  EXPECT_GT(node->getStatistics().overruns, 0U);
}

TEST_F(SocketcandServer, ClientThatNeverReadsIsDroppedWithOneLine) {
  const TestClock clock;
  auto deaf = connectRaw(4096);
  auto reader = connectRaw();
  TestClock::advance(20);
  testing::internal::CaptureStderr();
  unsigned sent = 0;
  for (; server.getClientCount() == 2 && sent < 500000; ++sent) {
    node->writeMessage(makeMessage(sent & 0x7FFU, {1, 2, 3, 4, 5, 6, 7, 8}));
    if (sent % 16 == 0) {
      TestClock::advance(2);
      manager.wait(0);
      reader->collect();
    }
  }
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(1U, server.getClientCount());
  EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n'));
  EXPECT_NE(std::string::npos, text.find("dropped: it does not read what it is sent")) << text;
  for (int i = 0; i < 3000 && linesOf(reader->received).size() < sent; ++i) {
    TestClock::advance(2);
    manager.wait(0);
    reader->collect();
  }
  EXPECT_EQ(sent, linesOf(reader->received).size()) << "the other one loses nothing";
}

TEST_F(SocketcandServer, ClientIsDroppedOnceTheLimitWaitsForIt) {
  const TestClock clock;
  auto deaf = connectRaw();
  testing::internal::CaptureStderr();
  fill(KQSocketcandServer::OUTPUT_LIMIT);
  writeFrame(0);
  manager.wait(0);
  EXPECT_EQ(0U, server.getClientCount());
  testing::internal::GetCapturedStderr();
}

TEST_F(SocketcandServer, ClientIsNotDroppedBelowTheLimit) {
  const TestClock clock;
  auto slow = connectRaw();
  fill(KQSocketcandServer::OUTPUT_LIMIT - 2);
  writeFrame(0);
  manager.wait(0);
  EXPECT_EQ(1U, server.getClientCount());
}

TEST_F(SocketcandServer, WhatHasLeftDoesNotCountAsWaiting) {
  constexpr std::size_t EIGHTH = KQSocketcandServer::OUTPUT_LIMIT / 8;
  const TestClock clock;
  auto reader = connectRaw();
  TestClock::advance(20);
  fill(6 * EIGHTH);
  for (int i = 0; i < 2000 && reader->received.size() < 4 * EIGHTH; ++i) {
    TestClock::advance(2);
    manager.wait(0);
    reader->collect();
  }
  fill(5 * EIGHTH);
  manager.wait(0);
  EXPECT_EQ(1U, server.getClientCount());
}

TEST_F(SocketcandServer, NobodyWaitsForAClientThatIsAboutToBeDropped) {
  const TestClock clock;
  struct Sender : KQBusParticipant {
    void takeFrame(const KQBusFrame& /*frame*/) override {}
  } sender;
  const auto bus = KQVirtualBus::get("bus0");
  auto deaf = connectRaw();
  bus->attach(&sender);
  testing::internal::CaptureStderr();
  fill(KQSocketcandServer::OUTPUT_LIMIT);
  EXPECT_EQ(KQVirtualBus::SEND_NO_ROOM, bus->sendWhenRoom(&sender, KQBusFrame(), -1));
  writeFrame(0);
  EXPECT_EQ(KQVirtualBus::SEND_DELIVERED, bus->sendWhenRoom(&sender, KQBusFrame(), -1));
  bus->detach(&sender);
  manager.wait(0);
  testing::internal::GetCapturedStderr();
}

TEST_F(SocketcandServer, BurstLeavesInBlocksOfWholeLines) {
  const TestClock clock;
  auto peer = connectRaw();
  TestClock::advance(20);
  manager.wait(0);
  for (unsigned i = 0; i < 64; ++i) {
    node->writeMessage(makeMessage(0x180 + i, {1, 2, 3, 4, 5, 6, 7, 8}));
  }
  unsigned blocks = 0;
  while (linesOf(peer->received).size() < 64 && blocks < 64) {
    const std::string block = nextRead(*peer);
    EXPECT_LE(block.size(), 1024U);
    EXPECT_EQ('>', block.back());
    peer->received += block;
    ++blocks;
    settle(manager);
    EXPECT_EQ("", peer->read()) << "the next block waits";
    TestClock::advance(2);
  }
  EXPECT_EQ(4U, blocks);
}

// ---- Overload

// A client that keeps its socket full of frames with an identifier of its own.
class Flooder {
public:
  Flooder(std::unique_ptr<TcpPeer> connected, unsigned identifier) : peer(std::move(connected)) {
    KQBusFrame frame;
    frame.identifier = identifier;
    frame.length = 8;
    for (int i = 0; i < 100; ++i) {
      SocketcandCodec::appendSendLine(text, frame);
    }
  }

  TcpPeer& getPeer() { return *peer; }

  void fill() {
    ssize_t count = 1;
    while (count > 0) {
      count = ::send(peer->getSocket(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
      sent = (sent + (count > 0 ? static_cast<std::size_t>(count) : 0)) % text.size();
    }
  }

private:
  std::unique_ptr<TcpPeer> peer;
  std::string text;
  std::size_t sent{0};
};

class SocketcandServerOverload : public SocketcandServer {
protected:
  void addFlooders(unsigned number) {
    for (unsigned i = 0; i < number; ++i) {
      flooders.push_back(std::make_unique<Flooder>(connectRaw(), 0x100 + i));
    }
  }

  // The next milliseconds of the test's clock, in which the flooding clients keep sending, and read when told to.
  void flood(unsigned milliseconds, bool read = true) {
    for (unsigned i = 0; i < milliseconds; ++i) {
      TestClock::advance(1);
      for (const auto& flooder : flooders) {
        flooder->fill();
        if (read) {
          flooder->getPeer().collect();
          flooder->getPeer().received.clear();
        }
      }
      for (int turn = 0; turn < 4; ++turn) {
        manager.wait(0);
      }
    }
  }

  // Floods until somebody who does not read makes the flooding clients wait. @param reader one who does
  bool floodUntilItWaits(TcpPeer* reader = nullptr) {
    std::size_t before = 1;
    for (int i = 0; i < 200 && listener.frames.size() != before; ++i) {
      before = listener.frames.size();
      flood(50);
      if (reader != nullptr) {
        reader->collect();
      }
    }
    return listener.frames.size() == before;
  }

  // Number of frames that the node got from each of the flooding clients.
  std::vector<unsigned> getShares() const {
    std::vector<unsigned> shares(flooders.size());
    for (const std::string& frame : listener.frames) {
      const std::size_t sender = std::stoul(frame.substr(0, 3), nullptr, 16) - 0x100;
      if (sender < shares.size()) {
        ++shares[sender];
      }
    }
    return shares;
  }

  const TestClock clock;
  std::vector<std::unique_ptr<Flooder>> flooders;
};

TEST_F(SocketcandServerOverload, NoMoreIsTakenThanABusCarries) {
  addFlooders(1);
  flood(20);
  listener.frames.clear();
  flood(1000);
  EXPECT_LE(listener.frames.size(), 8100U);
  EXPECT_GE(listener.frames.size(), 7000U);
}

TEST_F(SocketcandServerOverload, FramesOfTheNodeCountAsWell) {
  addFlooders(1);
  flood(20);
  listener.frames.clear();
  for (int i = 0; i < 500; ++i) {
    for (int frame = 0; frame < 8; ++frame) {
      node->writeMessage(makeMessage(0x181));
    }
    flood(2);
  }
  EXPECT_LE(listener.frames.size(), 4300U) << "the node sent the other 4000";
  EXPECT_GE(listener.frames.size(), 3000U);
}

TEST_F(SocketcandServerOverload, ManyClientsMakeTurnsRarer) {
  addFlooders(40);
  flood(100);
  listener.frames.clear();
  flood(1000);
  EXPECT_LE(listener.frames.size(), 201U * KQSocketcandServer::TURN_FRAMES);
  EXPECT_GE(listener.frames.size(), 180U * KQSocketcandServer::TURN_FRAMES);
}

TEST_F(SocketcandServerOverload, WhoSendsTooMuchIsSentABlockAtATime) {
  addFlooders(1);
  flood(20);
  TcpPeer& peer = flooders[0]->getPeer();
  TestClock::advance(2);
  settle(manager);
  for (const unsigned identifier : {0x701U, 0x702U}) {
    node->writeMessage(makeMessage(identifier));
    settle(manager);
  }
  peer.collect();
  EXPECT_EQ(Frames{"701#"}, linesOf(peer.received)) << "while the clock stands";
  flood(3, false);
  peer.collect();
  EXPECT_EQ((Frames{"701#", "702#"}), linesOf(peer.received));
}

TEST_F(SocketcandServerOverload, ThoseWhoSendWithoutEndTakeTurns) {
  addFlooders(5);
  flood(20);
  listener.frames.clear();
  flood(1000);
  const std::vector<unsigned> shares = getShares();
  const auto [least, most] = std::minmax_element(shares.begin(), shares.end());
  EXPECT_GE(*least, 1000U);
  EXPECT_LE(*most, *least * 11 / 10);
}

TEST_F(SocketcandServerOverload, WhoSendsLittleDoesNotWaitForItsTurn) {
  addFlooders(50);
  auto master = connectRaw();
  flood(100);
  listener.frames.clear();
  ASSERT_TRUE(master->send("< send 605 1 40 >"));
  settle(manager);  // while the clock stands
  EXPECT_EQ(1, std::count(listener.frames.begin(), listener.frames.end(), "605#40"));
}

TEST_F(SocketcandServerOverload, FrameOfTheNodeDoesNotWaitBehindAFlood) {
  addFlooders(3);
  auto master = connectRaw();
  for (int i = 0; i < 500; ++i) {
    flood(1);
    master->collect();
  }
  TestClock::advance(2);
  settle(manager);
  master->collect();
  master->received.clear();
  node->writeMessage(makeMessage(0x705, {5}));
  settle(manager);  // while the clock stands
  master->collect();
  const Frames lines = linesOf(master->received);
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "705#05")) << master->received;
}

TEST_F(SocketcandServerOverload, ClientThatReadsNowAndThenIsNotDropped) {
  auto reader = connectRaw(70000);
  addFlooders(3);
  testing::internal::CaptureStderr();
  floodUntilItWaits();
  for (int i = 0; i < 6000; ++i) {
    node->writeMessage(makeMessage(0x701, {1, 2, 3, 4, 5, 6, 7, 8}));  // it does not wait
  }
  for (int i = 0; i < 20; ++i) {
    reader->collect();  // what its kernel holds
    settle(manager);    // the kernel may take its time to tell the server of the room
    flood(700);
  }
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ(4U, server.getClientCount());
  Frames lines = linesOf(reader->received);
  const auto own = std::remove(lines.begin(), lines.end(), "701#0102030405060708");
  EXPECT_EQ(6000, lines.end() - own);
  lines.erase(own, lines.end());
  ASSERT_GT(listener.frames.size(), lines.size());
  EXPECT_TRUE(std::equal(lines.begin(), lines.end(), listener.frames.begin())) << "nothing of it is lost";
}

TEST_F(SocketcandServerOverload, OneThatDoesNotReadHoldsUpOnlyThoseWhoSendMuch) {
  auto deaf = connectRaw(4096);
  addFlooders(1);
  auto master = connectRaw();
  ASSERT_TRUE(floodUntilItWaits(master.get()));
  ASSERT_TRUE(master->send("< send 605 1 40 >"));
  settle(manager);
  EXPECT_EQ("605#40", listener.frames.back());
}

TEST_F(SocketcandServerOverload, FloodOfRubbishDoesNotKeepTheServer) {
  auto rubbish = connectRaw();
  flood(20);
  ASSERT_TRUE(rubbish->send(std::string(20000, '>')));
  flood(100);
  rubbish->collect();
  EXPECT_LE(linesOf(rubbish->received).size(), 52U * KQSocketcandServer::TURN_FRAMES) << "answers in fifty turns";
}

TEST_F(SocketcandServerOverload, RubbishOfADeadClientIsForgotten) {
  auto peer = std::make_unique<TcpPeer>(server.getPort());
  ASSERT_EQ("< hi >", nextRead(*peer));
  ASSERT_TRUE(peer->send("< open bus0 >" + std::string(60000, '>')));
  const linger reset{1, 0};
  setsockopt(peer->getSocket(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  peer.reset();
  flood(100);
  EXPECT_EQ(0U, server.getClientCount());
}

TEST_F(SocketcandServerOverload, ErrorsBeforeRawModeAreNotHeldBackOneByOne) {
  TcpPeer peer(server.getPort());
  nextRead(peer);
  ASSERT_TRUE(peer.send("< open bus0 >>>>>"));
  flood(30);
  EXPECT_EQ(5U, linesOf(peer.read()).size());
}

TEST_F(SocketcandServerOverload, TooManyClientsAreToldSo) {
  std::vector<std::unique_ptr<TcpPeer>> peers;
  testing::internal::CaptureStderr();
  for (std::size_t i = 0; i < KQSocketcandServer::MAXIMUM_CLIENTS; ++i) {
    peers.push_back(std::make_unique<TcpPeer>(server.getPort()));
    ASSERT_EQ("< hi >", nextRead(*peers.back()));
  }
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) {
    TcpPeer refused(server.getPort());
    EXPECT_EQ("< error too many clients >", nextRead(refused));
    nextRead(refused);
    EXPECT_FALSE(refused.isOpen());
  }
  peers.pop_back();
  waitUntil(manager, [&] { return server.getClientCount() < KQSocketcandServer::MAXIMUM_CLIENTS; });
  peers.push_back(std::make_unique<TcpPeer>(server.getPort()));
  EXPECT_EQ("< hi >", nextRead(*peers.back()));
  TcpPeer refused(server.getPort());
  EXPECT_EQ("< error too many clients >", nextRead(refused));
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(2, std::count(lines.begin(), lines.end(), '\n')) << "a line whenever it has become too many: " << lines;
}

// ---- Resources and threads

TEST_F(SocketcandServer, ManyConnectionsLeaveNoDescriptorOpen) {
  connectRaw().reset();
  EXPECT_TRUE(waitUntil(manager, [&] { return server.getClientCount() == 0; }));
  const unsigned before = countDescriptors();
  for (int i = 0; i < 200; ++i) {
    std::vector<std::unique_ptr<TcpPeer>> peers;
    for (int each = 0; each < 3; ++each) {
      peers.push_back(std::make_unique<TcpPeer>(server.getPort()));
      peers.back()->send(each == 0 ? "< open bus0 >< rawmo" : "< open bus0 >");
    }
    manager.wait(0);
  }
  EXPECT_TRUE(waitUntil(manager, [&] { return server.getClientCount() == 0; }));
  EXPECT_EQ(before, countDescriptors());
  EXPECT_EQ(1U, KQVirtualBus::get("bus0")->getParticipantCount());
}

TEST_F(SocketcandServer, OutOfDescriptorsItWaitsAndGoesOn) {
  const TestClock clock;
  TcpPeer peer(server.getPort());
  std::vector<int> hoard;
  for (int descriptor = dup(0); descriptor >= 0; descriptor = dup(0)) {
    hoard.push_back(descriptor);
  }
  EXPECT_EQ(1, manager.wait(100));
  EXPECT_EQ(0, manager.wait(1)) << "the connection is not reported without end";
  for (const int descriptor : hoard) {
    close(descriptor);
  }
  TestClock::advance(100);
  EXPECT_EQ("< hi >", nextRead(peer));
}

TEST_F(SocketcandServer, ApplicationThreadsMayWriteMeanwhile) {
  constexpr unsigned FRAMES = 300;
  auto first = connectRaw();
  auto second = connectRaw();
  std::vector<std::thread> writers;
  for (unsigned i = 0; i < 2; ++i) {
    writers.emplace_back([this, i] {
      for (unsigned frame = 0; frame < FRAMES; ++frame) {
        node->writeMessage(makeMessage(0x180 + i, {static_cast<unsigned char>(frame)}));
      }
    });
  }
  EXPECT_TRUE(waitForLines(*first, std::size_t{2} * FRAMES));
  EXPECT_TRUE(waitForLines(*second, std::size_t{2} * FRAMES));
  for (std::thread& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(linesOf(second->received), linesOf(first->received));
}

}  // namespace
}  // namespace KQ::test
