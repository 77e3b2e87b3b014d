// Covers: everything that concerns PDOs, in random order; meant for the address sanitizer.
//
// | subject       | functional | robustness                                                                           |
// |---------------|------------|--------------------------------------------------------------------------------------|
// | values        |            | variables of the application and of the node, dictionary objects, from RPDOs that    |
// |               |            | are mapped                                                                           |
// |               |            | into TPDOs as well                                                                   |
// | frames        |            | SYNC, RPDOs of any length, buffered ones, RPDOs that write parameters of PDOs, their |
// |               |            | own too                                                                              |
// | configuration |            | COB-IDs (also shared ones), types, times, mappings, actions, events that rebuild     |
// |               |            | PDOs                                                                                 |
// | states        |            | NMT, setCANopenState, reset of communication and of values, init of the handler,     |
// |               |            | pause                                                                                |
// | surroundings  |            | steps of the clock and its wrap, refused frames                                      |
// | counters      |            | mapped into their own TPDO, into others, parameters of PDOs                          |
//
// After every operation: no PDO outside OPERATIONAL, only identifiers that are in use, a bounded number of frames.
// The seed is printed; TAVO_TEST_SEED repeats a run, TAVO_TEST_OPERATIONS sets the number of operations.

#include <functional>
#include <iterator>
#include <string>
#include <utility>

#include "Edition.h"
#include "KQAction.h"
#include "PDOFixture.h"
#include "SignalRecorder.h"
#include "TestSeed.h"

using namespace KQ;
using test::Frames;

namespace {

constexpr unsigned short PDOS = 6;
constexpr unsigned int INVALID = 0x80000000U;
// Frames that one operation may let out. A pause may have kept back many operations, but an end there is.
constexpr std::size_t MOST_FRAMES = 10000;

class RandomAction : public KQAction {
public:
  explicit RandomAction(std::function<void()> reaction) : react(std::move(reaction)) {}
  int execute() override {
    react();
    return KQ_OK;
  }

private:
  std::function<void()> react;
};

class PDORandomOrder : public test::PDOFixture {
protected:
  PDORandomOrder() : random(test::chooseSeed()) {
    test::edition::printDebugLines(false);  // mapped objects that are missing are reported by each rebuild
    for (unsigned char subIndex = 1; subIndex <= 6; ++subIndex) {
      addVariable(0x2001, subIndex, 1 << (subIndex % 6), subIndex % 2 != 0);
      addOwnVariable(0x2002, subIndex, 32);
    }
    for (unsigned short number = 0; number < PDOS; ++number) {
      addTransmitPDO(number, {0x181U + number, transmissionType(), shortTime(), shortTime()}, randomMapping());
      addReceivePDO(number, {0x201U + number, transmissionType(), shortTime()}, randomMapping());
    }
    for (unsigned short number = 0; number < PDOS; ++number) {
      node.canopen().setPDOEventAction(receiveIndex(number), PDO_EVENT_RX_RECEIVED, &action);
      node.canopen().setPDOEventAction(receiveIndex(number), PDO_EVENT_RX_TIMEOUT, &action);
      node.canopen().setPDOEventAction(receiveIndex(number), PDO_EVENT_RX_TIMEOUT_RESOLVED, &action);
    }
    node.canopen().setOption(4, true);
    node.canopen().addStateListener(&stateChanges);
    start();
  }

  ~PDORandomOrder() override { test::edition::printDebugLines(true); }

  // ---- random choices

  unsigned int below(unsigned int end) { return static_cast<unsigned int>(random() % end); }
  bool oneIn(unsigned int count) { return below(count) == 0; }
  unsigned short anyNumber() { return static_cast<unsigned short>(below(PDOS)); }
  unsigned short shortTime() { return static_cast<unsigned short>(oneIn(3) ? 0 : below(40)); }
  static unsigned short receiveIndex(unsigned short number) { return static_cast<unsigned short>(0x1400 + number); }
  static unsigned short transmitIndex(unsigned short number) { return static_cast<unsigned short>(0x1800 + number); }
  unsigned short anyIndex() { return oneIn(2) ? receiveIndex(anyNumber()) : transmitIndex(anyNumber()); }

  unsigned char transmissionType() {
    static const unsigned char TYPES[] = {0, 1, 2, 3, 240, 251, 252, 253, 254, 255, 255, 255};
    return TYPES[below(std::size(TYPES))];
  }

  unsigned int anyKey() {
    switch (below(10)) {
      case 0:
        return 0x10060000U + (below(2) << 16);
      case 1:
        return static_cast<unsigned int>(anyIndex()) << 16 | (oneIn(2) ? 5U : 2U);
      case 2:
        return oneIn(2) ? 0x00050000U : 0x21000001U;
      default:
        return 0x20010001U + (below(2) << 16) + below(6);
    }
  }

  test::Mapping randomMapping() {
    test::Mapping mapping;
    for (unsigned int count = below(6); count > 0; --count) {
      const unsigned int key = anyKey();
      mapping.push_back((key & 0xFFFF0000U) | (key & 0xFFU) << 8 | (1 + below(oneIn(10) ? 64 : 16)));
    }
    return mapping;
  }

  // ---- operations

  void changeVariable() {
    KQDEI::instance()->setVariableValue(static_cast<unsigned short>(0x2001 + below(2)),
                                        static_cast<unsigned short>(1 + below(6)), static_cast<int>(random()), true,
                                        false);
  }

  void changeObject() { write(static_cast<unsigned short>(0x1006 + below(2)), 0, below(3)); }

  void receiveRPDO() {
    KQCANMessage message;
    message.identifier = 0x201 + below(PDOS);
    message.length = below(9);
    for (unsigned char& byte : message.data) {
      byte = static_cast<unsigned char>(oneIn(2) ? below(256) : below(3));
    }
    node.port().inject(message);
    node.canopen().onEndPointReadable(&node.port(), nullptr);
  }

  void receiveSync() {
    node.port().inject("080#");
    node.canopen().onEndPointReadable(&node.port(), nullptr);
  }

  void writeParameter() {
    const unsigned short index = anyIndex();
    const unsigned int cobID = (index < 0x1800 ? 0x201U : 0x181U) + below(PDOS);
    switch (below(5)) {
      case 0:
        write(index, 1, cobID | INVALID);
        break;
      case 1:
        write(index, 1, cobID);
        break;
      case 2:
        write(index, 2, transmissionType());
        break;
      case 3:
        write(index, 3, shortTime());
        break;
      default:
        write(index, 5, shortTime());
        break;
    }
  }

  void remap() { map(static_cast<unsigned short>(anyIndex() + 0x200), randomMapping()); }

  void enable() { node.canopen().enableMessage(anyIndex(), oneIn(3) ? false : true); }

  void bindAction() {
    // Three of the TPDOs count; all six counting into what all six map would go on for a while.
    node.canopen().setPDOAction(static_cast<int>(below(3)), PDO_TYPE_TRANSMIT, oneIn(3) ? 0 : 2, anyKey());
  }

  void changeState() {
    static const char* const COMMANDS[] = {"000#01 05", "000#01 05", "000#02 05",
                                           "000#80 05", "000#81 05", "000#82 00"};
    if (oneIn(5)) {
      node.canopen().setPaused(oneIn(2));
    } else if (oneIn(5)) {
      node.canopen().setCANopenState(static_cast<int>(below(7)));
    } else {
      node.port().inject(COMMANDS[below(std::size(COMMANDS))]);
      node.canopen().onEndPointReadable(&node.port(), nullptr);
    }
  }

  void restart() {
    node.canopen().setPaused(false);
    node.canopen().setCANopenState(CANOPEN_STATE_INIT);
    node.canopen().process(0);
    node.canopen().setCANopenState(CANOPEN_STATE_OPERATIONAL);
  }

  void rebuild() {
    if (oneIn(10)) {
      handler().init();
    } else if (oneIn(10)) {
      node.dictionary().performReset(oneIn(2));
    } else {
      handler().signalPDOChange(anyIndex());
    }
  }

  void callSyncHandler() {
    if (oneIn(10)) {
      sync().reset();
    } else {
      sync().removeTxPDO(transmitIndex(anyNumber()));
    }
  }

  void stepClock() {
    if (oneIn(200)) {
      node.clock.set(0xFFFFFF00U + below(200));
    }
    node.clock.advance(oneIn(20) ? below(2000) : below(5));
  }

  void cycle() { node.canopen().process(node.clock.now() + 10); }

  void operate() {
    static constexpr struct {
      unsigned int weight;
      void (PDORandomOrder::*operation)();
    } OPERATIONS[] = {
        {25, &PDORandomOrder::changeVariable}, {5, &PDORandomOrder::changeObject},
        {20, &PDORandomOrder::receiveRPDO},    {12, &PDORandomOrder::receiveSync},
        {8, &PDORandomOrder::writeParameter},  {3, &PDORandomOrder::remap},
        {2, &PDORandomOrder::enable},          {1, &PDORandomOrder::bindAction},
        {1, &PDORandomOrder::changeState},     {1, &PDORandomOrder::restart},
        {2, &PDORandomOrder::rebuild},         {1, &PDORandomOrder::callSyncHandler},
        {10, &PDORandomOrder::stepClock},      {15, &PDORandomOrder::cycle},
    };
    unsigned int choice = below(106);
    for (const auto& row : OPERATIONS) {
      if (choice < row.weight) {
        (this->*row.operation)();
        return;
      }
      choice -= row.weight;
    }
  }

  // ---- what must hold

  // What an event of an RPDO sets off, in the middle of its handling.
  void react() {
    if (isCalm || !oneIn(20)) {
      return;
    }
    switch (below(4)) {
      case 0:
        handler().signalPDOChange(anyIndex());
        break;
      case 1:
        changeVariable();
        break;
      case 2:
        node.canopen().setCANopenState(oneIn(2) ? CANOPEN_STATE_STOPPED : CANOPEN_STATE_OPERATIONAL);
        break;
      default:
        handler().init();
        break;
    }
  }

  bool wasEverOperational(int stateBefore) {
    bool was = stateBefore == CANOPEN_STATE_OPERATIONAL;
    for (const KQSignal& signal : stateChanges.signals) {
      was = was || signal.getSecondValue() == CANOPEN_STATE_OPERATIONAL;
    }
    stateChanges.signals.clear();
    return was;
  }

  void check(bool mayHaveSent) {
    const Frames frames = sent();
    EXPECT_LE(frames.size(), MOST_FRAMES);
    for (const std::string& text : frames) {
      const unsigned int identifier = test::frame(text).identifier;
      const bool isPDO = identifier >= 0x181 && identifier < 0x181 + PDOS;
      EXPECT_TRUE(isPDO || identifier == 0x705) << text;
      EXPECT_TRUE(mayHaveSent || !isPDO) << text;
    }
    EXPECT_GE(node.canopen().getProtocolStatus(), 0);
    EXPECT_LE(node.canopen().getProtocolStatus(), 5);
  }

  // A PDO of each direction that nothing before has touched.
  void expectWorkingPDOs() {
    isCalm = true;
    node.port().refuse(0, 0);
    node.canopen().setPaused(false);
    while (node.port().waitingFrames() > 0) {  // since a pause; close to the wrap of the tick they are read one by one
      node.canopen().onEndPointReadable(&node.port(), nullptr);
    }
    addVariable(0x2010, 1, 8);
    addTransmitPDO(20, {0x1F1}, {0x20100108});
    addReceivePDO(20, {0x2F1}, {0x20100108});
    restart();
    EXPECT_EQ(CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
    cycle();
    sent();
    EXPECT_EQ(Frames{"1F1#2A"}, node.receive("2F1#2A"));
    EXPECT_EQ(42, stored(0x2010, 1));
  }

  std::mt19937 random;
  bool isCalm = false;  // events set nothing off
  test::SignalRecorder stateChanges;
  RandomAction action{[this] { react(); }};
};

TEST_F(PDORandomOrder, KeepsToTheRules) {
  const unsigned int operations = test::countFromEnvironment("TAVO_TEST_OPERATIONS", 100000);
  for (unsigned int i = 0; i < operations && !HasFailure(); ++i) {
    if (oneIn(50)) {
      node.port().refuse(below(60), 24);
    }
    const int stateBefore = node.canopen().getCANopenState();
    operate();
    check(wasEverOperational(stateBefore));
    node.output.takeOutput();
    node.output.takeErrors();
  }
  expectWorkingPDOs();
}

}  // namespace
