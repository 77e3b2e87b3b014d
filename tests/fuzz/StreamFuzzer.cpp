// A stream of frames, clock steps, writes of the application and configuration calls into a configured node. What holds
// after every step stands in FuzzedNode.
#include <cstdint>
#include <string>

#include "Check.h"
#include "FuzzedNode.h"
#include "Input.h"
#include "Sequence.h"
#include "Surroundings.h"

namespace {

using fuzz::FuzzedNode;
using fuzz::Input;
using fuzz::NODE_ID;
using fuzz::REMOTE_NODE;

constexpr std::size_t MOST_STEPS = 2000;
// Frames that one input may let arrive: what a long series of them keeps the fuzzer from trying the next input.
constexpr std::size_t MOST_FRAMES = 20000;

// Where a node listens as it is configured.
constexpr unsigned short SERVED[] = {0x000, 0x080, 0x605, 0x620, 0x58A, 0x58B, 0x70A, 0x70B,
                                     0x201, 0x211, 0x221, 0x231, 0x241, 0x251, 0x271, 0x281};
constexpr unsigned int SERVED_COUNT = sizeof SERVED / sizeof SERVED[0];

// What a master reads and writes.
constexpr unsigned short OBJECTS[] = {0x2000, 0x2001, 0x2100, 0x2101, 0x2200, 0x2201, 0x1001, 0x1003,
                                      0x1005, 0x1010, 0x1014, 0x1016, 0x1017, 0x1018, 0x1200, 0x1201,
                                      0x1280, 0x1281, 0x1400, 0x1401, 0x1407, 0x1600, 0x1800, 0x1801,
                                      0x1806, 0x1807, 0x1A00, 0x1A07, 0x1008, 0x100A, 0x0005, 0x1006};
constexpr unsigned int OBJECT_COUNT = sizeof OBJECTS / sizeof OBJECTS[0];

KQ::KQCANMessage makeFrame(unsigned int identifier, unsigned int length) {
  KQ::KQCANMessage message;
  message.identifier = identifier;
  message.length = length;
  return message;
}

// The steps of one input.
class Stream {
public:
  explicit Stream(Input& source) : input(source), node(source) {}

  void run() {
    node.cycle();
    for (std::size_t step = 0; step < MOST_STEPS && frames < MOST_FRAMES && !input.isEmpty(); ++step) {
      takeStep(input.byte());
      node.check();
    }
  }

private:
  void takeStep(unsigned char step) {
    switch (step % 16) {
      case 0:
        receiveAnyFrame();
        break;
      case 1:
        receiveServedFrame();
        break;
      case 3:
      case 4:
        receiveSDORequest();
        break;
      case 5:
        receiveSDOAnswer();
        break;
      case 6:
        sendText();
        break;
      case 2:
        node.continueTransfer(input);
        break;
      case 7:
        receiveNMTCommand();
        break;
      case 8:
        receiveBurst();
        break;
      case 9:
        node.advance(input.byte());
        node.cycle();
        break;
      case 10:
        takeTime();
        break;
      case 11:
        node.writeVariable(input);
        break;
      case 12:
        node.requestRemote(input);
        node.cycle();
        break;
      case 13:
        node.configure(input);
        break;
      case 14:
        node.control(input);
        break;
      default:
        refuseWrites();
        break;
    }
  }

  void receive(const KQ::KQCANMessage& message) {
    ++frames;
    node.receive(message);
  }

  void receiveData(KQ::KQCANMessage message) {
    for (unsigned int i = 0; i < message.length; ++i) {
      message.data[i] = input.byte();
    }
    receive(message);
  }

  void receiveAnyFrame() {
    const unsigned short identifier = input.word();
    receiveData(makeFrame(identifier & 0x7FFU, (identifier >> 11) % 9U));
  }

  void receiveServedFrame() {
    const unsigned char choice = input.byte();
    receiveData(makeFrame(SERVED[choice % SERVED_COUNT], (choice / SERVED_COUNT) % 9U));
  }

  // A frame of the form of an SDO: command, object, four bytes.
  void receiveSDO(unsigned int identifier, unsigned char command) {
    KQ::KQCANMessage message = makeFrame(identifier, 8);
    const unsigned short object = OBJECTS[input.below(OBJECT_COUNT)];
    message.data[0] = command;
    message.data[1] = static_cast<unsigned char>(object & 0xFF);
    message.data[2] = static_cast<unsigned char>(object >> 8);
    message.data[3] = static_cast<unsigned char>(input.below(10));
    for (unsigned int i = 4; i < 8; ++i) {
      message.data[i] = input.byte();
    }
    receive(message);
  }

  void receiveSDORequest() {
    const unsigned char command = input.byte();
    receiveSDO((command & 0x10) != 0 ? 0x620 : 0x600 + NODE_ID, command);
  }

  void receiveSDOAnswer() {
    const unsigned char command = input.byte();
    receiveSDO(0x580U + REMOTE_NODE + ((command & 0x04) != 0 ? 1U : 0U), command);
  }

  // A segmented download from its beginning to its end, into an object that takes it or not.
  void sendText() {
    const unsigned char length = input.byte();
    receiveSDO(0x600 + NODE_ID, 0x21);
    for (unsigned int sent = 0, toggle = 0; sent < length; sent += 7, toggle ^= 0x10U) {
      KQ::KQCANMessage segment = makeFrame(0x600 + NODE_ID, 8);
      const unsigned int left = length - sent;
      segment.data[0] = static_cast<unsigned char>(left > 7 ? toggle : toggle | (7U - left) << 1 | 1U);
      for (unsigned int i = 1; i < 8; ++i) {
        segment.data[i] = static_cast<unsigned char>('a' + i);
      }
      receive(segment);
    }
  }

  void receiveNMTCommand() {
    constexpr unsigned char COMMANDS[] = {0x01, 0x01, 0x02, 0x80, 0x81, 0x82, 0x01, 0x7F};
    const unsigned char choice = input.byte();
    KQ::KQCANMessage message = makeFrame(0, 2);
    message.data[0] = COMMANDS[choice & 7U];
    message.data[1] = (choice & 8U) != 0 ? static_cast<unsigned char>(0) : NODE_ID;
    receive(message);
    node.cycle();
  }

  // Many frames of one kind, whose bytes follow from two of the input.
  void receiveBurst() {
    const unsigned char kind = input.byte();
    fuzz::Sequence sequence(input.word());
    for (unsigned int count = 16U * input.byte(); count > 0 && frames < MOST_FRAMES; --count) {
      const unsigned int any = sequence.byte() | static_cast<unsigned int>(sequence.byte()) << 8;
      const unsigned int identifier = kind % 4 == 0 ? any & 0x7FFU : SERVED[(kind / 4U + any % (kind % 4U)) % 16U];
      KQ::KQCANMessage message = makeFrame(identifier, (any >> 11) % 9U);
      for (unsigned int i = 0; i < message.length; ++i) {
        message.data[i] = sequence.byte();
      }
      receive(message);
      if (count % 16 == 0) {
        node.advance(sequence.byte() & 15U);
        node.cycle();
      }
    }
  }

  // One long step, or many short ones.
  void takeTime() {
    const unsigned short time = input.word();
    if (time >= 0x8000) {
      node.advance(static_cast<unsigned int>(time & 0x7FFFU) << 12);
      node.cycle();
      return;
    }
    for (unsigned int i = time & 0x3FU; i > 0; --i) {
      node.advance(1U + (time >> 6 & 0x7U));
      node.cycle();
    }
  }

  void refuseWrites() {
    constexpr int CODES[] = {KQ::KQ_NOT_AVAILABLE, KQ::KQ_DEFERRED, KQ::KQ_INVALID_ARGUMENT, -1};
    const unsigned char choice = input.byte();
    node.refuseWrites(choice >> 2, CODES[choice & 3U]);
  }

  Input& input;
  FuzzedNode node;
  std::size_t frames = 0;
};

// Beginnings of the clock: somewhere, and just before each place where a comparison may change its mind.
unsigned int firstTick(unsigned char choice) {
  constexpr unsigned int TICKS[] = {10000, 0, 0x7FFFFF00U, 0xFFFFFF00U};
  return TICKS[choice & 3U] + (choice >> 2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const fuzz::Surroundings surroundings(firstTick(input.byte()));
  Stream(input).run();
  return 0;
}
