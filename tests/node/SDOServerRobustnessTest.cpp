// Covers: a booted node under frames that no well-behaved master sends.
//
// | subject | functional | robustness                                                                         |
// |---------|------------|------------------------------------------------------------------------------------|
// | COB-ID  |            | both server channels, a disabled one, responses, neighbours, SYNC, NMT, heartbeats |
// | length  |            | 0 to 8                                                                             |
// | data    |            | random bytes; requests that come close to real ones                                |
// | time    |            | random steps, some beyond the SDO timeout                                          |
//
// The seed is printed; the environment variable TAVO_TEST_SEED repeats a run.

#include <random>

#include "SDOServerFixture.h"
#include "TestSeed.h"

namespace {

using test::Frames;

class SDOServerRobustness : public test::SDOServerFixture {
protected:
  SDOServerRobustness() : random(test::chooseSeed()) {
    addChannel(0x1201, 0x612, 0x592);
    addChannel(0x1202, 0x613, static_cast<int>(0x80000593));
    addOwnNumber(0x2001, 1, 8, true);
    addOwnNumber(0x2001, 2, 16, false);
    addOwnNumber(0x2001, 3, 12, true);
    addOwnNumber(0x2001, 4, 32, false);
    addOwnText(0x2002, 1, "");
    addOwnText(0x2002, 2, test::pattern(50));
    addObject(0x2003, 1, KQ::DATA_TYPE_UNSIGNED64);
  }

  unsigned int below(unsigned int end) { return static_cast<unsigned int>(random() % end); }

  template <std::size_t N>
  unsigned int oneOf(const unsigned int (&values)[N]) {
    return values[below(N)];
  }

  KQ::KQCANMessage randomFrame() {
    static const unsigned int COB_IDS[] = {0x605, 0x605, 0x605, 0x605, 0x612, 0x612, 0x613, 0x604,
                                           0x585, 0x592, 0x080, 0x000, 0x085, 0x705, 0x7FF};
    KQ::KQCANMessage message;
    message.identifier = oneOf(COB_IDS);
    message.length = below(4) == 0 ? below(9) : 8;
    for (unsigned char& byte : message.data) {
      byte = static_cast<unsigned char>(below(256));
    }
    if (message.identifier >= 0x600 && below(4) != 0) {
      makeRequest(message);
    }
    return message;
  }

  // Overwrites command byte, index and sub-index with those of requests that mean something.
  void makeRequest(KQ::KQCANMessage& message) {
    // Without 0x1201 and 0x1202: a master may move those channels to any COB-ID.
    static const unsigned int INDEXES[] = {0x0005, 0x1000, 0x1003, 0x1005, 0x1008, 0x100A, 0x1010,
                                           0x1012, 0x1014, 0x1018, 0x1200, 0x2001, 0x2001, 0x2002,
                                           0x2002, 0x2002, 0x2002, 0x2003, 0x3000};
    static const unsigned int COMMANDS[] = {0x00, 0x00, 0x10, 0x10, 0x01, 0x11, 0x1D, 0x60, 0x60,
                                            0x60, 0x70, 0x70, 0x70, 0x20, 0x21, 0x22, 0x23, 0x27,
                                            0x2B, 0x2F, 0x40, 0x40, 0x80, 0xA0, 0xE0};
    const unsigned int index = oneOf(INDEXES);
    message.data[0] = static_cast<unsigned char>(oneOf(COMMANDS));
    if (message.data[0] < 0x20) {
      return;
    }
    message.data[1] = static_cast<unsigned char>(index & 0xFFu);
    message.data[2] = static_cast<unsigned char>(index >> 8u);
    message.data[3] = static_cast<unsigned char>(below(4));
  }

  void expectWellFormed(const Frames& frames) {
    for (const std::string& text : frames) {
      const KQ::KQCANMessage message = test::frame(text);
      const bool isAnswer = (message.identifier == 0x585 || message.identifier == 0x592) && message.length == 8;
      const bool isHeartbeat = message.identifier == 0x705 && message.length == 1;
      EXPECT_TRUE(isAnswer || isHeartbeat) << text;
    }
  }

  // A node that a random command or write has stopped or frozen would make the rest of the run worthless.
  void putBackIntoService() {
    node.receive("000#01 05");
    node.output.takeOutput();
    node.output.takeErrors();
  }

private:
  std::mt19937 random;
};

TEST_F(SDOServerRobustness, SurvivesRandomFrames) {
  for (unsigned int i = 0; i < 200000 && !HasFailure(); ++i) {
    node.port().inject(randomFrame());
    node.canopen().onEndPointReadable(&node.port(), nullptr);
    expectWellFormed(node.port().takeSent());
    if (below(4) == 0) {
      node.clock.advance(below(50) == 0 ? below(500) : below(10));
      expectWellFormed(node.cycle());
    }
    if (i % 500 == 0) {
      putBackIntoService();
    }
  }
  putBackIntoService();
  node.run(200);
  EXPECT_EQ(Frames{"585#43 18 10 01 C7 03 00 00"}, request("40 18 10 01 00 00 00 00"));
}

TEST_F(SDOServerRobustness, SegmentsWithoutEndAreTakenUntilTheMasterStops) {
  request("20 02 20 01 00 00 00 00");
  for (unsigned int i = 0; i < 100000; ++i) {
    request(i % 2 == 0 ? "00 61 62 63 64 65 66 67" : "10 61 62 63 64 65 66 67");
  }
  EXPECT_EQ(Frames{"585#80 02 20 01 00 00 04 05"}, node.run(101));
  EXPECT_EQ("", storedText(0x2002, 1));
}

TEST_F(SDOServerRobustness, EmptyFramesOnEveryIdentifierAreHarmless) {
  for (unsigned int identifier = 0; identifier < 0x800; ++identifier) {
    KQ::KQCANMessage message;
    message.length = 0;
    message.identifier = identifier;
    node.port().inject(message);
    node.canopen().onEndPointReadable(&node.port(), nullptr);
    expectWellFormed(node.port().takeSent());
  }
  putBackIntoService();
  EXPECT_EQ(Frames{"585#43 18 10 01 C7 03 00 00"}, request("40 18 10 01 00 00 00 00"));
}

}  // namespace
