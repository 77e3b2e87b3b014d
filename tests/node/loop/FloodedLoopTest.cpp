// Covers: two nodes in the loop of a program, one of them asked without end, all over the tick's 32 bits.
//
// | subject | functional                         | robustness                                                |
// |---------|------------------------------------|-----------------------------------------------------------|
// | tick    | as anywhere else                   | beyond 0x80000000; the wrap: what shows, and for how long |
// | flood   | a bus of 1 Mbit/s full of requests | and the loop away for seconds                             |
// | answers | one for each request               | what the port had no room for is counted                  |
// | turns   | one for what came in a millisecond | in the upper half one for each frame                      |

#include <algorithm>
#include <map>
#include <vector>

#include "KQVirtualEndPoint.h"
#include "NodeLoop.h"

namespace {

using test::Frames;

constexpr unsigned int ANYWHERE = 0x20000000;
constexpr unsigned int MIDDLE = 0x80000000;
constexpr unsigned int WRAP = 0;
constexpr unsigned int HEARTBEAT_MS = 100;
// So many frames of eight bytes a bus of 1 Mbit/s carries in a millisecond.
constexpr unsigned int REQUESTS_IN_A_MS = 8;
// The longest run here is 1000 ms in front of the tick in question, and as much after it.
constexpr unsigned int BEFORE = 1000;
constexpr unsigned int AFTER = 1000;
const std::string REQUEST = "605#40 18 10 01 00 00 00 00";

class FloodedLoop : public test::NodeLoop {
protected:
  // What has come of a run.
  struct Result {
    unsigned int answers = 0;
    // Of node 5 and of node 6, each by the number of the millisecond.
    std::vector<unsigned int> heartbeats[2];
    // How many turns had something to read, in each millisecond.
    std::vector<unsigned int> turns;
  };

  FloodedLoop() {
    test::edition::bindPort(PORT, [] {
      std::string error;
      return KQ::KQVirtualEndPoint::open("flood", error);
    });
    std::string error;
    constexpr std::size_t ALL_ANSWERS = 4096;
    master = KQ::KQVirtualEndPoint::open("flood", error, ALL_ANSWERS);
  }

  void startBefore(unsigned int tick) {
    clock.set(tick - BEFORE);
    EXPECT_EQ(KQ::KQ_OK, add(five, 5, HEARTBEAT_MS));
    EXPECT_EQ(KQ::KQ_OK, add(six, 6, HEARTBEAT_MS));
    turn();
    EXPECT_EQ((Frames{"705#00", "706#00"}), take(*master));
  }

  void flood(unsigned int requests) {
    for (unsigned int i = 0; i < requests; ++i) {
      EXPECT_EQ(KQ::KQ_OK, master->writeMessage(test::frame(REQUEST)));
    }
  }

  // Turns until nothing waits. @return how many had something to read
  unsigned int settle() {
    unsigned int turns = 0;
    while (turn() > 0) {
      ++turns;
    }
    return turns;
  }

  Result run() {
    Result result;
    for (unsigned int now = 0; now < BEFORE + AFTER; ++now, clock.advance(1)) {
      flood(REQUESTS_IN_A_MS);
      result.turns.push_back(settle());
      note(now, result);
    }
    return result;
  }

  void note(unsigned int now, Result& result) {
    for (const std::string& frame : take(*master)) {
      if (frame.rfind("585#43 18 10 01", 0) == 0) {
        ++result.answers;
      } else {
        EXPECT_TRUE(frame == "705#7F" || frame == "706#7F") << frame;
        result.heartbeats[frame == "706#7F" ? 1 : 0].push_back(now);
      }
    }
  }

  void expectNothingLost(const Result& result) {
    EXPECT_EQ((BEFORE + AFTER) * REQUESTS_IN_A_MS, result.answers);
    EXPECT_EQ(0U, five->getEndPoint()->getStatistics().overruns);
    EXPECT_EQ("", output.takeErrors());
  }

  KQ::KQCANopen* five = nullptr;
  KQ::KQCANopen* six = nullptr;
  std::unique_ptr<KQ::KQVirtualEndPoint> master;
};

// The milliseconds in which a heartbeat is due, from the boot-up on.
std::vector<unsigned int> everyPeriod() {
  std::vector<unsigned int> times;
  for (unsigned int now = HEARTBEAT_MS; now < BEFORE + AFTER; now += HEARTBEAT_MS) {
    times.push_back(now);
  }
  return times;
}

TEST_F(FloodedLoop, AnywhereTakesATurnForAllThatCame) {
  startBefore(ANYWHERE);
  const Result result = run();
  expectNothingLost(result);
  EXPECT_EQ(std::vector<unsigned int>(BEFORE + AFTER, 1), result.turns);
  EXPECT_EQ(everyPeriod(), result.heartbeats[0]);
  EXPECT_EQ(everyPeriod(), result.heartbeats[1]);
}

// The budget of a drain lies in the past there: each turn reads a frame.
TEST_F(FloodedLoop, InTheUpperHalfTakesATurnForEachFrameAndLosesNoneAndNoHeartbeat) {
  startBefore(MIDDLE);
  const Result result = run();
  expectNothingLost(result);
  EXPECT_EQ(std::vector<unsigned int>(AFTER, REQUESTS_IN_A_MS),
            std::vector<unsigned int>(result.turns.begin() + BEFORE, result.turns.end()));
  EXPECT_EQ(everyPeriod(), result.heartbeats[0]);
  EXPECT_EQ(everyPeriod(), result.heartbeats[1]);
}

class FloodedLoopAtTheWrap : public FloodedLoop {
protected:
  // A run over the wrap with the heartbeats not due in the same moment as the wrap itself.
  Result runOverTheWrap() {
    startBefore(WRAP + SHIFT);
    return run();
  }

  static constexpr unsigned int SHIFT = 50;
  static constexpr unsigned int WRAPS_AT = BEFORE - SHIFT;
  // The one that finds nothing to read.
  static constexpr unsigned int LAST_TURN = 1;
};

TEST_F(FloodedLoopAtTheWrap, LosesNoRequest) {
  expectNothingLost(runOverTheWrap());
}

// Ticks are compared as they stand: from the last heartbeat that is due before the wrap up to the wrap, each turn sends
// one, and there is a turn for nearly each frame.
TEST_F(FloodedLoopAtTheWrap, SendsAHeartbeatInEveryTurnForTheRestOfThePeriodAndNoLonger) {
  const Result result = runOverTheWrap();
  constexpr unsigned int LAST_DUE = WRAPS_AT / HEARTBEAT_MS * HEARTBEAT_MS;
  for (const std::vector<unsigned int>& heartbeats : result.heartbeats) {
    std::map<unsigned int, unsigned int> perMillisecond;
    for (const unsigned int now : heartbeats) {
      ++perMillisecond[now];
    }
    for (const auto& [now, number] : perMillisecond) {
      const bool isInThatTime = now >= LAST_DUE && now < WRAPS_AT;
      EXPECT_EQ(isInThatTime ? result.turns[now] + LAST_TURN : 1, number) << "in millisecond " << now;
    }
    EXPECT_EQ(REQUESTS_IN_A_MS + LAST_TURN, perMillisecond[LAST_DUE]);
    EXPECT_EQ(0U, perMillisecond.count(LAST_DUE - 1));
    EXPECT_EQ(0U, perMillisecond.count(WRAPS_AT));
    // The next one comes a period after the last of these.
    EXPECT_EQ(1U, perMillisecond.count(WRAPS_AT - 1 + HEARTBEAT_MS));
  }
}

// ---- the loop is away for seconds

class LateLoop : public FloodedLoop, public testing::WithParamInterface<unsigned int> {};

TEST_P(LateLoop, AnswersWhatThePortKeptCountsTheRestAndGoesOn) {
  constexpr unsigned int AWAY_MS = 5000;
  startBefore(GetParam());
  flood(AWAY_MS * REQUESTS_IN_A_MS);
  clock.advance(AWAY_MS);
  settle();
  Result result;
  note(0, result);
  const unsigned int overruns = five->getEndPoint()->getStatistics().overruns;
  EXPECT_EQ(static_cast<unsigned int>(KQ::KQVirtualEndPoint::DEFAULT_CAPACITY), result.answers);
  EXPECT_EQ(AWAY_MS * REQUESTS_IN_A_MS, result.answers + overruns);
  EXPECT_EQ(1U, result.heartbeats[0].size()) << "those that were due meanwhile are of the past";
  EXPECT_EQ(1U, result.heartbeats[1].size());
  result = run();
  EXPECT_EQ((BEFORE + AFTER) * REQUESTS_IN_A_MS, result.answers);
  EXPECT_EQ(everyPeriod(), result.heartbeats[0]);
  EXPECT_EQ(overruns, five->getEndPoint()->getStatistics().overruns);
}

INSTANTIATE_TEST_SUITE_P(Ticks, LateLoop, testing::Values(ANYWHERE, MIDDLE), [](const auto& row) {
  return row.param == MIDDLE ? std::string("IntoTheUpperHalf") : std::string("Anywhere");
});

}  // namespace
