// Covers: application threads that write and read remote variables while the node runs.
//
// | subject | functional                         | robustness                           |
// |---------|------------------------------------|--------------------------------------|
// | threads | four, with writes, texts and reads | all on the same variable             |
// | node    | answered by a server               | reset in the middle, again and again |

#include <array>
#include <atomic>
#include <map>
#include <thread>

#include "NamedCase.h"
#include "SDOClientFixture.h"

namespace {

constexpr unsigned int THREAD_COUNT = 4;
constexpr int REQUESTS_OF_A_THREAD = 500;
// Sub-indexes of the threads' own variables start here; the one that all of them write is in front.
constexpr unsigned char SHARED = 1;
constexpr unsigned char FIRST_NUMBER = 2;
constexpr unsigned char FIRST_TEXT = 6;
constexpr unsigned char FIRST_READ = 10;

// Node 6 is a server that keeps what it is sent and answers every read with the sub-index.
class SDOClientThreads : public test::SDOClientFixture {
protected:
  SDOClientThreads() {
    addNumber(SHARED, 32, false);
    for (unsigned int i = 0; i < THREAD_COUNT; ++i) {
      addNumber(static_cast<unsigned char>(FIRST_NUMBER + i), 32, false);
      addText(static_cast<unsigned char>(FIRST_TEXT + i));
      addNumber(static_cast<unsigned char>(FIRST_READ + i), 32, false);
    }
  }

  // What one application thread does.
  void request(unsigned int thread) {
    for (int i = 1; i <= REQUESTS_OF_A_THREAD; ++i) {
      failures += write(static_cast<unsigned char>(FIRST_NUMBER + thread), i) != 0 ? 1 : 0;
      failures += write(static_cast<unsigned char>(FIRST_TEXT + thread), std::to_string(i)) != 0 ? 1 : 0;
      failures += write(SHARED, i) != 0 ? 1 : 0;
      failures += read(static_cast<unsigned char>(FIRST_READ + thread)) != 0 ? 1 : 0;
    }
    ++finished;
  }

  // One cycle of the node, and the answers of the server. @return whether the client sent something
  bool serve() {
    bool busy = false;
    for (const std::string& text : node.cycle()) {
      KQ::KQCANMessage message = test::frame(text);
      if (message.identifier == 0x606) {
        busy = true;
        node.port().inject(answerTo(message));
      }
    }
    node.canopen().onEndPointReadable(&node.port(), nullptr);
    return busy;
  }

  KQ::KQCANMessage answerTo(const KQ::KQCANMessage& request) {
    KQ::KQCANMessage answer = request;
    answer.identifier = 0x586;
    const unsigned char subIndex = request.data[3];
    if (request.data[0] == 0x40) {
      ++reads[subIndex];
      answer.data[0] = 0x43;
      answer.data[4] = subIndex;
      return answer;
    }
    written[subIndex].assign(request.data + 4, request.data + 8);
    answer.data[0] = 0x60;
    return answer;
  }

  // Serves until all threads are done and everything that they asked for is sent.
  // @param command an NMT command that node 5 is given every cycles cycles; empty for none
  void serveUntilDone(const std::string& command, unsigned int cycles) {
    constexpr int IDLE_CYCLES_AT_THE_END = 10;  // longer than a reset
    int idle = 0;
    for (unsigned int count = 1; idle < IDLE_CYCLES_AT_THE_END; ++count) {
      const bool isAsking = finished < THREAD_COUNT;
      if (isAsking && !command.empty() && count % cycles == 0) {
        node.port().inject(command);
      }
      idle = serve() || isAsking ? 0 : idle + 1;
    }
  }

  void runThreads(const std::string& command = std::string(), unsigned int cycles = 1) {
    std::array<std::thread, THREAD_COUNT> threads;
    for (unsigned int i = 0; i < THREAD_COUNT; ++i) {
      threads[i] = std::thread([this, i] { request(i); });
    }
    serveUntilDone(command, cycles);
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  static std::string bytes(int value) { return {static_cast<char>(value), static_cast<char>(value >> 8), 0, 0}; }

  void expectEverythingArrived() {
    EXPECT_EQ(0, failures);
    unsigned int readCount = 0;
    for (unsigned int i = 0; i < THREAD_COUNT; ++i) {
      const auto offset = static_cast<unsigned char>(0x10 + i);
      EXPECT_EQ(bytes(REQUESTS_OF_A_THREAD), written[static_cast<unsigned char>(offset + FIRST_NUMBER)]);
      EXPECT_EQ(std::to_string(REQUESTS_OF_A_THREAD) + '\0', written[static_cast<unsigned char>(offset + FIRST_TEXT)]);
      // Those that found one of the same variable waiting went out with it.
      EXPECT_GE(reads[static_cast<unsigned char>(offset + FIRST_READ)], 1);
      readCount += static_cast<unsigned int>(reads[static_cast<unsigned char>(offset + FIRST_READ)]);
    }
    EXPECT_EQ(THREAD_COUNT * REQUESTS_OF_A_THREAD, readCount + client().getJoinedReadCount());
    EXPECT_EQ(bytes(REQUESTS_OF_A_THREAD), written[0x10 + SHARED]);
  }

  std::atomic<int> failures{0};
  std::atomic<unsigned int> finished{0};
  std::map<unsigned char, std::string> written;  // the last data bytes of every sub-index of the server
  std::map<unsigned char, int> reads;
};

TEST_F(SDOClientThreads, LoseNoRequestAndTheNewestValueWins) {
  runThreads();
  expectEverythingArrived();
}

TEST_F(SDOClientThreads, LocalValuesFollowTheirConfirmations) {
  runThreads();
  for (unsigned int i = 0; i < THREAD_COUNT; ++i) {
    EXPECT_EQ(REQUESTS_OF_A_THREAD, stored(static_cast<unsigned char>(FIRST_NUMBER + i)));
    EXPECT_EQ(std::to_string(REQUESTS_OF_A_THREAD), storedText(static_cast<unsigned char>(FIRST_TEXT + i)));
    EXPECT_EQ(static_cast<int>(0x10 + FIRST_READ + i), stored(static_cast<unsigned char>(FIRST_READ + i)));
  }
  EXPECT_EQ(REQUESTS_OF_A_THREAD, stored(SHARED));
}

struct ResetRow : test::NamedCase {
  const char* command;
  unsigned int cycles;
};

class SDOClientThreadsAndReset : public SDOClientThreads, public testing::WithParamInterface<ResetRow> {};

TEST_P(SDOClientThreadsAndReset, LoseNoRequestAndTheNewestValueWins) {
  runThreads(GetParam().command, GetParam().cycles);
  expectEverythingArrived();
}

const ResetRow RESET_ROWS[] = {
    {{"CommunicationNowAndThen"}, "000#82 05", 50},
    {{"CommunicationAgainAndAgain"}, "000#82 05", 3},
    {{"ApplicationNowAndThen"}, "000#81 05", 50},
    {{"ApplicationAgainAndAgain"}, "000#81 05", 3},
};

INSTANTIATE_TEST_SUITE_P(Resets, SDOClientThreadsAndReset, testing::ValuesIn(RESET_ROWS), test::caseName<ResetRow>);

}  // namespace
