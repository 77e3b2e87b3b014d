// Covers: tavo-panel on can0 and its master on can1: two controllers on one bus at 1 Mbit/s.
//
// | subject         | functional                                      | robustness                                   |
// |-----------------|-------------------------------------------------|----------------------------------------------|
// | life            | boot-up and heartbeat; NMT commands; SIGTERM    |                                              |
// |                 | ends it with 0                                  |                                              |
// | SDO             | expedited and segmented upload, download, abort |                                              |
// | interface       |                                                 | can0 down and up; down when the panel starts |
// | wall clock      |                                                 | set by hours and by years                    |
// | flood           | ten seconds at the full rate of the bus: SDO is |                                              |
// |                 | answered, heartbeats come (robustness); two     |                                              |
// |                 | seconds while every frame is traced             |                                              |
// | foreign frames  | wake nobody, and are traced; two panels on one  |                                              |
// |                 | interface: each sleeps while the other is asked |                                              |
// | foreign clients | candump, cansend and cangen                     |                                              |

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>

#include "KernelBus.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int HEARTBEAT_MS = 100;
constexpr int PATIENCE_MS = 500;

class PanelOnBus : public testing::Test {
protected:
  explicit PanelOnBus(const std::vector<std::string>& options = {}) {
    std::vector<std::string> words = {"tavo-panel", "--can", "socketcan:can0", "--heartbeat",
                                      std::to_string(HEARTBEAT_MS)};
    words.insert(words.end(), options.begin(), options.end());
    panel = std::make_unique<Process>(words, "/tmp/panel.log");
    const auto bootUp = master.receiveOf("705", 5000);
    EXPECT_TRUE(bootUp) << "the panel does not boot";
    EXPECT_EQ("705#00", bootUp ? bootUp->text : "");
  }

  std::string ask(const std::string& request) {
    master.send(request);
    const auto answer = master.receiveOf("585", PATIENCE_MS);
    return answer ? answer->text : "no answer";
  }

  std::string nextHeartbeat() {
    const auto heartbeat = master.receiveOf("705", PATIENCE_MS);
    return heartbeat ? heartbeat->text : "no heartbeat";
  }

  // The state that the node says in its heartbeats after an NMT command.
  std::string heartbeatAfter(const std::string& command) {
    master.take();
    master.send(command);
    nextHeartbeat();
    return nextHeartbeat();
  }

  // How often the panel wakes in two seconds, with a program beside it.
  long wakesBeside(const std::vector<std::string>& words) {
    constexpr int DURATION_MS = 2000;
    const Process program(words);
    const long before = panel->wakes();
    poll(nullptr, 0, DURATION_MS);
    return panel->wakes() - before;
  }
  long wakesAlone() { return wakesBeside({"true"}); }

  void flood(std::int64_t duration);

  RawSocket master{"can1"};
  std::unique_ptr<Process> panel;
};

TEST_F(PanelOnBus, ObeysTheMastersCommands) {
  EXPECT_EQ("705#7F", nextHeartbeat());
  EXPECT_EQ("705#05", heartbeatAfter("000#01 05"));
  EXPECT_EQ("705#04", heartbeatAfter("000#02 05"));
  EXPECT_EQ("705#7F", heartbeatAfter("000#80 05"));
  EXPECT_EQ("705#7F", heartbeatAfter("000#01 06")) << "that was for another node";
  master.take();
  master.send("000#81 05");
  EXPECT_EQ("705#00", nextHeartbeat());
  EXPECT_EQ("705#7F", nextHeartbeat());
}

TEST_F(PanelOnBus, AnswersSDORequests) {
  EXPECT_THAT(ask("605#40 18 10 01 00 00 00 00"), StartsWith("585#43 18 10 01"));
  EXPECT_EQ("585#60 00 20 02 00 00 00 00", ask("605#2B 00 20 02 20 03 00 00"));
  EXPECT_EQ("585#4B 00 20 02 20 03 00 00", ask("605#40 00 20 02 00 00 00 00"));
  EXPECT_EQ("585#41 01 20 00 11 00 00 00", ask("605#40 01 20 00 00 00 00 00"));
  EXPECT_EQ("585#00 54 41 56 4F 20 64 65", ask("605#60 00 00 00 00 00 00 00"));
  EXPECT_EQ("585#10 6D 6F 20 6D 61 63 68", ask("605#70 00 00 00 00 00 00 00"));
  EXPECT_EQ("585#09 69 6E 65 ", ask("605#60 00 00 00 00 00 00 00").substr(0, 16));
  EXPECT_EQ("585#80 00 50 00 00 00 02 06", ask("605#40 00 50 00 00 00 00 00"));
}

TEST_F(PanelOnBus, EndsCleanlyOnSIGTERM) {
  EXPECT_EQ(0, panel->terminate());
}

// What a panel has said of its port.
std::string portLinesOf(const std::string& logFile) {
  return outputOf("grep ^socketcan: " + logFile);
}

constexpr const char* ONE_LINE_EACH_WAY = "socketcan:can0: interface is down\nsocketcan:can0: interface is up again\n";

TEST_F(PanelOnBus, ReturnsWithItsInterface) {
  canlink("down can0");
  while (master.receiveOf("705", PATIENCE_MS)) {
  }
  canlink("up can0");
  EXPECT_EQ("705#7F", nextHeartbeat());
  EXPECT_THAT(ask("605#40 18 10 01 00 00 00 00"), StartsWith("585#43 18 10 01"));
  EXPECT_TRUE(panel->isRunning());
  EXPECT_EQ(ONE_LINE_EACH_WAY, portLinesOf("/tmp/panel.log"));
}

TEST(PanelBeforeItsInterfaceOnBus, WaitsForItAndServesItThen) {
  canlink("down can0");
  Process panel({"tavo-panel", "--can", "socketcan:can0", "--heartbeat", std::to_string(HEARTBEAT_MS)},
                "/tmp/panel.log");
  RawSocket master("can1");
  EXPECT_FALSE(master.receiveOf("705", 2 * PATIENCE_MS));
  EXPECT_TRUE(panel.isRunning());
  canlink("up can0");
  EXPECT_TRUE(master.receiveOf("705", PATIENCE_MS));
  master.send("605#40 18 10 01 00 00 00 00");
  EXPECT_TRUE(master.receiveOf("585", PATIENCE_MS));
  EXPECT_EQ(ONE_LINE_EACH_WAY, portLinesOf("/tmp/panel.log"));
  EXPECT_EQ(0, panel.terminate());
}

TEST_F(PanelOnBus, WallClockThatIsSetMovesNoHeartbeat) {
  constexpr int YEAR_S = 365 * 24 * 3600;
  SteppedWallClock wallClock;
  nextHeartbeat();
  std::int64_t last = monotonicTime();
  for (const int step : {3600, -3600, YEAR_S, -2 * YEAR_S, YEAR_S}) {
    wallClock.step(step);
    for (int i = 0; i < 5; ++i) {
      ASSERT_EQ("705#7F", nextHeartbeat()) << "after a step of " << step << " s";
      const std::int64_t now = monotonicTime();
      EXPECT_NEAR(static_cast<double>(now - last), HEARTBEAT_MS * MILLISECOND, 20 * MILLISECOND)
          << "after a step of " << step << " s";
      last = now;
    }
  }
  EXPECT_THAT(ask("605#40 18 10 01 00 00 00 00"), StartsWith("585#43 18 10 01"));
}

// Asks the node again and again while cangen sends as much as the bus carries, and expects its answers and heartbeats.
void PanelOnBus::flood(std::int64_t duration) {
  EXPECT_EQ("705#05", heartbeatAfter("000#01 05"));
  master.listenOnlyTo(0x705, 0x585);
  const std::int64_t begin = monotonicTime();
  const Process flood({"cangen", "can1", "-g", "0", "-i", "-I", "2A5", "-L", "8", "-D", "i"});
  unsigned int heartbeats = 0;
  unsigned int answers = 0;
  std::int64_t lastHeartbeat = begin;
  std::int64_t lastRequest = begin;
  std::int64_t longestSilence = 0;
  std::int64_t longestAnswer = 0;
  master.send("605#40 18 10 01 00 00 00 00");
  for (std::int64_t now = begin; now - begin < duration; now = monotonicTime()) {
    const auto received = master.receive(10);
    now = monotonicTime();
    if (received && received->text == "705#05") {
      longestSilence = std::max(longestSilence, now - lastHeartbeat);
      lastHeartbeat = now;
      ++heartbeats;
    } else if (received && received->text.rfind("585#43 18 10 01", 0) == 0) {
      longestAnswer = std::max(longestAnswer, now - lastRequest);
      ++answers;
      lastRequest = now;
      master.send("605#40 18 10 01 00 00 00 00");
    }
    ASSERT_LT(now - lastRequest, 1000 * MILLISECOND) << "no answer to request " << answers;
  }
  std::cout << "flood: " << answers << " answers, the slowest after " << longestAnswer / MILLISECOND << " ms; "
            << heartbeats << " heartbeats, the longest silence " << longestSilence / MILLISECOND << " ms" << std::endl;
  // A period begins when the heartbeat before was sent: it is longer than its time by what the node was late.
  constexpr std::int64_t LONGEST_PERIOD = (HEARTBEAT_MS + 20) * MILLISECOND;
  EXPECT_GE(heartbeats, duration / LONGEST_PERIOD);
  EXPECT_LT(longestSilence, LONGEST_PERIOD);
  EXPECT_LT(longestAnswer, 50 * MILLISECOND);
  EXPECT_GE(answers, duration / (100 * MILLISECOND));
}

TEST_F(PanelOnBus, FloodOfTenSecondsHoldsUpNeitherSDONorHeartbeat) {
  flood(10'000 * MILLISECOND);
}

// ---- Foreign frames

// What a panel's own timers make the difference between two spans of the same length.
constexpr long FEW_WAKES = 5;

unsigned long framesSentBy(const std::string& interface) {
  return std::stoul(outputOf("cat /sys/class/net/" + interface + "/statistics/tx_packets"));
}

TEST_F(PanelOnBus, ForeignFramesDoNotWakeIt) {
  const long alone = wakesAlone();
  const unsigned long before = framesSentBy("can1");
  EXPECT_NEAR(wakesBeside({"cangen", "can1", "-g", "1", "-I", "2A5", "-L", "8"}), alone, FEW_WAKES);
  EXPECT_GT(framesSentBy("can1") - before, 1000U);
}

class TwoPanelsOnBus : public PanelOnBus {
protected:
  TwoPanelsOnBus() { EXPECT_TRUE(master.receiveOf("706", 5000)) << "the second panel does not boot"; }

  const Process second{{"tavo-panel", "--can", "socketcan:can0", "--node-id", "6"}};
};

TEST_F(TwoPanelsOnBus, OneSleepsWhileTheOtherIsAsked) {
  const long alone = wakesAlone();
  const long secondBefore = second.wakes();
  EXPECT_NEAR(wakesBeside({"cangen", "can1", "-g", "1", "-I", "606", "-L", "8", "-D", "4018100100000000"}), alone,
              FEW_WAKES);
  EXPECT_GT(second.wakes() - secondBefore, 1000);
}

TEST_F(TwoPanelsOnBus, BothAnswer) {
  EXPECT_THAT(ask("605#40 18 10 01 00 00 00 00"), StartsWith("585#43 18 10 01"));
  master.send("606#40 18 10 01 00 00 00 00");
  EXPECT_TRUE(master.receiveOf("586", PATIENCE_MS));
}

// ---- Foreign clients

TEST_F(PanelOnBus, CandumpSeesWhatThePanelSends) {
  EXPECT_EQ("  can1  705   [1]  7F\n", outputOf("candump -n 1 -T 1000 can1,705:7FF"));
}

TEST_F(PanelOnBus, CansendGetsAnAnswer) {
  EXPECT_EQ("  can1  585   [8]  4F 00 20 00 06 00 00 00\n",
            outputOf("(sleep 0.2; cansend can1 605#4000200000000000) & candump -n 1 -T 2000 can1,585:7FF"));
}

class TracedPanelOnBus : public PanelOnBus {
protected:
  TracedPanelOnBus() : PanelOnBus({"--trace", "/tmp/panel-trace.log"}) {}
};

TEST_F(TracedPanelOnBus, TraceHasTheFramesThatCandumpLogs) {
  const std::string logged = outputOf(
      "candump -L -n 12 -T 3000 can1,705:7FF,585:7FF & sleep 0.1;"
      "cansend can1 605#4000200000000000; wait");
  const std::string trace = outputOf("cat /tmp/panel-trace.log");
  std::istringstream lines(logged);
  unsigned int number = 0;
  for (std::string line; std::getline(lines, line); ++number) {
    const std::string text = line.substr(line.rfind(' ') + 1);
    EXPECT_THAT(trace, HasSubstr(" " + text + "\n"));
  }
  EXPECT_EQ(12U, number);
}

TEST_F(TracedPanelOnBus, TraceHasTheFramesThatAreNobodys) {
  constexpr int FRAMES = 200;
  outputOf("cangen can1 -g 1 -n " + std::to_string(FRAMES) + " -I 2A5 -L 8 -D i");
  nextHeartbeat();
  EXPECT_EQ(FRAMES, std::stoi(outputOf("grep -c ' 2A5#' /tmp/panel-trace.log")));
}

TEST_F(TracedPanelOnBus, FloodHoldsUpNothingEither) {
  flood(2'000 * MILLISECOND);
}

TEST_F(PanelOnBus, TrafficOfCangenChangesNothing) {
  // Frames of any length and content, on 29-bit identifiers and on an 11-bit one that is nobody's.
  EXPECT_EQ("", outputOf("cangen can1 -g 1 -n 500 -e 2>&1; cangen can1 -g 1 -n 500 -I 6A5 2>&1"));
  EXPECT_EQ("705#7F", nextHeartbeat());
  EXPECT_THAT(ask("605#40 18 10 01 00 00 00 00"), StartsWith("585#43 18 10 01"));
  EXPECT_TRUE(panel->isRunning());
}

}  // namespace
}  // namespace test
