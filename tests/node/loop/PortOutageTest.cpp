// Covers: a whole node in the loop of a program while the bus that others serve is not there, goes and returns, and
// while nobody else is on its own bus.
//
// | subject      | functional                | robustness                                              |
// |--------------|---------------------------|---------------------------------------------------------|
// | served bus   | there                     | missing at the start; its server killed again and again |
// | own bus      | with a master             | alone for a while                                       |
// | what is sent | heartbeats, answers, PDOs | a PDO that is held back while the port goes is not lost |
// | said         | nothing                   | one line each way, one for each frame that was given up |

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

#include "KQSocketcandEndPoint.h"
#include "KQSocketcandServer.h"
#include "KQVariable.h"
#include "KQVirtualEndPoint.h"
#include "NodeLoop.h"

namespace {

using test::Frames;

constexpr int HEARTBEAT_MS = 100;
// How often a frame is offered to the port before it is given up.
constexpr unsigned int ATTEMPTS = 26;
const std::string GIVEN_UP = "CANopen: Error sending CAN message\n";

class PortOutage : public test::NodeLoop {
protected:
  PortOutage() {
    std::string error;
    master = KQ::KQVirtualEndPoint::open("bus0", error);
  }

  // Turns of a millisecond each, until something is true. What the master sees is kept.
  // @return false: it did not become true for a long time
  template <class Predicate>
  bool runUntil(Predicate predicate) {
    constexpr int PATIENCE = 50000;
    for (int i = 0; i < PATIENCE; ++i) {
      turn();
      const Frames frames = take(*master);
      seen.insert(seen.end(), frames.begin(), frames.end());
      if (predicate()) {
        return true;
      }
      clock.advance(1);
    }
    return false;
  }

  bool hasSeen(const std::string& frame) const { return std::find(seen.begin(), seen.end(), frame) != seen.end(); }

  void run(unsigned int milliseconds) {
    const unsigned int end = clock.now() + milliseconds;
    EXPECT_TRUE(runUntil([&] { return clock.now() == end; }));
  }

  void expectHealthy(const std::string& heartbeat) {
    seen.clear();
    EXPECT_TRUE(runUntil([&] { return hasSeen(heartbeat); }));
    EXPECT_EQ(KQ::KQ_OK, master->writeMessage(test::frame("605#40 00 10 00 00 00 00 00")));
    EXPECT_TRUE(runUntil([&] {
      return std::any_of(seen.begin(), seen.end(),
                         [](const auto& frame) { return frame.rfind("585#43 00 10", 0) == 0; });
    }));
  }

  std::unique_ptr<KQ::KQVirtualEndPoint> master;
  KQ::KQCANopen* node = nullptr;
  Frames seen;
};

// ---- A bus that another program serves

class ServedBusOutage : public PortOutage {
protected:
  void serve() {
    std::string error;
    ASSERT_EQ(KQ::KQ_OK, server.listen("127.0.0.1", tcpPort, "bus0", endPoints, error)) << error;
    tcpPort = server.getPort();
  }

  // Opening waits for the server, which this thread serves meanwhile.
  template <class Open>
  void openBesideTheServer(Open open) {
    std::atomic<bool> isDone{false};
    std::thread opening([&] {
      open();
      isDone = true;
    });
    while (!isDone) {
      endPoints.wait(1);
    }
    opening.join();
  }

  std::unique_ptr<KQ::KQEndPoint> connect() const {
    std::string error;
    return KQ::KQSocketcandEndPoint::open("127.0.0.1", tcpPort, "bus0", error);
  }

  // An operational node with a PDO that may go out every 300 ms.
  void start() {
    serve();
    std::unique_ptr<KQ::KQEndPoint> connection;
    openBesideTheServer([&] { connection = connect(); });
    test::edition::bindPort(PORT, [&] { return std::move(connection); });
    KQ::KQVariable variable(0x2000, 0, "value", KQ::STORAGE_TYPE_INTEGER, 8);
    KQ::KQDEI::instance()->addVariable(&variable);
    EXPECT_EQ(KQ::KQ_OK, add(node, 5, HEARTBEAT_MS));
    node->getApplicationVariables();
    constexpr unsigned short INHIBIT_TIME = 300;
    EXPECT_EQ(KQ::KQ_OK, node->addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 0, INHIBIT_TIME, 255, true, nullptr));
    EXPECT_EQ(KQ::KQ_OK, node->addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, 0x2000, 0, 8));
    EXPECT_TRUE(runUntil([this] { return hasSeen("705#7F"); }));
    EXPECT_EQ(KQ::KQ_OK, master->writeMessage(test::frame("000#01 05")));
    EXPECT_TRUE(runUntil([this] { return hasSeen("185#00"); }));
    run(2 * INHIBIT_TIME);
  }

  static void change(int value) { KQ::KQDEI::instance()->setVariableValue(0x2000, 0, value, true, false); }

  void kill() {
    server.close();
    while (node->getEndPoint()->isConnected()) {
      endPoints.wait(1);
    }
  }

  // How many frames the node has said to have given up since the last call, and that it has said nothing else.
  unsigned int takeGivenUp() {
    const std::string lines = output.takeErrors();
    const auto number = static_cast<unsigned int>(std::count(lines.begin(), lines.end(), '\n'));
    std::string expected;
    for (unsigned int i = 0; i < number; ++i) {
      expected += GIVEN_UP;
    }
    EXPECT_EQ(expected, lines);
    return number;
  }

  KQ::KQSocketcandServer server;
  unsigned short tcpPort = 0;
};

TEST_F(ServedBusOutage, ServerThatIsKilledAgainAndAgainCostsNothingThatWasAccepted) {
  start();
  constexpr unsigned int KILLS = 5;
  unsigned int givenUp = 0;
  for (unsigned int kills = 1; kills <= KILLS; ++kills) {
    change(static_cast<int>(16 + kills));
    EXPECT_TRUE(runUntil([&] { return hasSeen("185#1" + std::to_string(kills)); }));
    change(static_cast<int>(32 + kills));  // held back, as it comes too soon after the one before
    testing::internal::CaptureStderr();    // where ports say what becomes of them
    kill();
    run(1000);
    serve();
    expectHealthy("705#05");
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(1, std::count(seen.begin(), seen.end(), "185#2" + std::to_string(kills)));
    givenUp += takeGivenUp();
    const std::string& uri = node->getEndPoint()->getURI();
    EXPECT_EQ(uri + ": the server closed the connection\n" + uri + ": connected again\n", lines);
    const KQ::KQEndPointStatistics statistics = node->getEndPoint()->getStatistics();
    EXPECT_EQ(kills, statistics.disconnects);
    EXPECT_EQ(kills, statistics.reconnects);
    EXPECT_EQ(0U, statistics.discarded);
    EXPECT_EQ(givenUp * ATTEMPTS, statistics.refused) << "every frame that was refused was given up with a line";
  }
  EXPECT_GE(givenUp, KILLS * 9) << "the heartbeats of the outages, or nothing was refused here";
}

TEST_F(ServedBusOutage, MissingAtTheStartIsAPortThatCanBeOpenedLater) {
  serve();
  server.close();
  test::edition::bindPort(PORT, [this] { return connect(); });
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, add(node, 5, HEARTBEAT_MS));
  EXPECT_EQ(nullptr, node->getEndPoint());
  run(500);
  EXPECT_GT(takeGivenUp(), 0U);
  serve();
  openBesideTheServer([this] { EXPECT_EQ(KQ::KQ_OK, node->reset()); });
  EXPECT_EQ(KQ::KQ_OK, node->subscribeToEndpointManager(&endPoints));
  expectHealthy("705#7F");
  EXPECT_EQ("", output.takeErrors());
}

// ---- Its own bus

class LonelyNode : public PortOutage {
protected:
  LonelyNode() {
    test::edition::bindPort(PORT, [] {
      std::string error;
      return KQ::KQVirtualEndPoint::open("bus0", error);
    });
    EXPECT_EQ(KQ::KQ_OK, add(node, 5, HEARTBEAT_MS));
  }
};

TEST_F(LonelyNode, GoesOnAloneAndGivesWhoeverComesNothingOfThePast) {
  expectHealthy("705#7F");
  master.reset();
  constexpr unsigned int PERIODS_ALONE = 10;
  for (unsigned int i = 0; i < PERIODS_ALONE * HEARTBEAT_MS; ++i) {
    clock.advance(1);
    turn();
  }
  EXPECT_EQ(PERIODS_ALONE, node->getEndPoint()->getStatistics().unacknowledged);
  EXPECT_EQ(0U, node->getEndPoint()->getStatistics().refused);
  EXPECT_EQ("", output.takeErrors());
  std::string error;
  master = KQ::KQVirtualEndPoint::open("bus0", error);
  turn();
  EXPECT_EQ(Frames{}, take(*master));
  expectHealthy("705#7F");
}

}  // namespace
