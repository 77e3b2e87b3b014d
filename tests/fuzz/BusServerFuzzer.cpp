// Two clients of the served bus send any text in any segments, beside an end point of this process. Whatever they send,
// the frames that their text holds reach the bus, in their order; they are sent nothing but whole lines of the
// protocol; and nothing is left of them when they are gone.
//
// The input is that text. Bytes from 0xF8 on are no part of it: they say where a segment ends and what happens then.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Check.h"
#include "Input.h"
#include "KQEndPoint.h"
#include "KQEndPointFactory.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQSocketcandServer.h"
#include "KQTick.h"
#include "LineReference.h"
#include "LoopbackSocket.h"

namespace {

using fuzz::LineFrame;
using fuzz::LineReference;

constexpr const char* BUS = "bus";
constexpr unsigned char FIRST_CONTROL = 0xF8;
// When nothing happened for so long, nothing will: longer than a client's frames wait behind an "< ok >".
constexpr unsigned int QUIET_MS = 40;
// After which a client that was told goodbye is dropped.
constexpr unsigned int GOODBYE_MS = 1100;
// Before raw mode, what a client has sent too early waits so long line by line, also when it is gone.
constexpr unsigned int HOLD_MS = KQ::KQSocketcandServer::SETTLING_MS + 4;

unsigned int tick = 1000;

unsigned int readTick() {
  return tick;
}

// What one client has sent, and what it was sent.
struct Client {
  fuzz::LoopbackSocket socket;
  std::string segment;  // to be sent next
  std::string sent;
  std::string received;
  bool isWhole = true;  // all that it sent has reached the server
};

// Exists once: to open it for every input would cost more than the input.
class Bus {
public:
  Bus() {
    KQ::KQTick::setSource(readTick);
    std::string error;
    fuzz::require(server.listen("127.0.0.1", 0, BUS, manager, error) == KQ::KQ_OK, "the bus cannot be served");
  }

  KQ::KQEndPointManager manager;
  KQ::KQSocketcandServer server;
};

class Session {
public:
  explicit Session(Bus& served) : bus(served) {
    std::string error;
    endPoint = KQ::KQEndPointFactory::openEndPoint(std::string("virtual:") + BUS, error);
    for (Client& client : clients) {
      client.socket.connect(bus.server.getPort());
    }
    settle();
  }

  void run(fuzz::Input& input) {
    while (!input.isEmpty()) {
      const unsigned char byte = input.byte();
      if (byte < FIRST_CONTROL) {
        clients[present].segment += static_cast<char>(byte);
      } else {
        sendSegment();
        control(byte, input);
      }
    }
    sendSegment();
    settle();
    check();
    end();
  }

private:
  void control(unsigned char byte, fuzz::Input& input) {
    switch (byte) {
      case 0xFE:
        present = 1 - present;
        break;
      case 0xFD:
        tick += input.byte();
        break;
      case 0xFC:
        writeFrame(input);
        break;
      case 0xFB:
        clients[present].isWhole = false;  // what it has just sent may be lost with the connection
        clients[present].socket.close();
        break;
      case 0xFA:
        settle();
        break;
      default:
        return;
    }
    turn();
  }

  void sendSegment() {
    Client& client = clients[present];
    if (!client.segment.empty() && client.socket.isOpen()) {
      client.isWhole = client.socket.send(client.segment) && client.isWhole;
      client.sent += client.segment;
      turn();
    }
    client.segment.clear();
  }

  void writeFrame(fuzz::Input& input) {
    KQ::KQCANMessage message;
    message.identifier = input.word() & 0x7FFU;
    message.length = input.below(9);
    for (unsigned int i = 0; i < message.length; ++i) {
      message.data[i] = input.byte();
    }
    fuzz::countFrame();
    fuzz::require(endPoint->writeMessage(message) == KQ::KQ_OK, "the bus has refused a frame");
    written.push_back(LineFrame::of(message));
  }

  // One turn of the loop. @return whether anything happened
  bool turn() {
    bool isBusy = bus.manager.wait(0) > 0;
    KQ::KQCANMessage message;
    while (endPoint->readMessage(message) == KQ::KQ_OK) {
      fuzz::countFrame();
      isBusy = true;
      delivered.push_back(LineFrame::of(message));
    }
    for (Client& client : clients) {
      const std::size_t before = client.received.size();
      if (client.socket.isOpen() && !client.socket.receive(client.received)) {
        client.socket.close();
      }
      isBusy = isBusy || client.received.size() != before;
    }
    return isBusy;
  }

  // Lets time pass until nothing happens any more.
  void settle() {
    for (unsigned int quiet = 0; quiet < QUIET_MS; quiet += 4) {
      tick += 4;
      if (turn()) {
        quiet = 0;
      }
    }
  }

  void check() {
    const std::vector<LineFrame> sent[2] = {framesOf(clients[0].sent), framesOf(clients[1].sent)};
    const std::vector<LineFrame> expected[2] = {withoutExtended(sent[0]), withoutExtended(sent[1])};
    checkReceived(clients[0].received, sent[1]);
    checkReceived(clients[1].received, sent[0]);
    const bool isWhole = clients[0].isWhole && clients[1].isWhole;
    fuzz::require(isMerged(delivered, expected[0], expected[1], isWhole),
                  "the bus carried other frames than were sent");
  }

  // The frames that a client's text puts on the bus.
  static std::vector<LineFrame> framesOf(const std::string& text) {
    std::vector<std::vector<std::string>> lines;
    LineReference::split(text, lines);
    std::vector<LineFrame> frames;
    enum { GREETED, OPENED, RAW } stage = GREETED;
    for (const std::vector<std::string>& words : lines) {
      const std::string command = words.empty() ? "" : words[0];
      LineFrame frame;
      if (stage == GREETED && command == "open") {
        if (words.size() < 2 || words[1] != BUS) {
          break;
        }
        stage = OPENED;
      } else if (stage == OPENED && command == "rawmode") {
        stage = RAW;
      } else if (stage == RAW && LineReference::parseSend(words, frame)) {
        frames.push_back(frame);
      }
    }
    return frames;
  }

  // What of it reaches an end point.
  static std::vector<LineFrame> withoutExtended(std::vector<LineFrame> frames) {
    const auto isExtended = [](const LineFrame& frame) { return frame.isExtended; };
    frames.erase(std::remove_if(frames.begin(), frames.end(), isExtended), frames.end());
    return frames;
  }

  // Whether a sequence is made of two others, each in its order. @param isWhole false: their ends may be missing
  static bool isMerged(const std::vector<LineFrame>& whole, const std::vector<LineFrame>& left,
                       const std::vector<LineFrame>& right, bool isWhole) {
    // reached[i]: the part of the whole so far is the first i of the left, and the rest of the right.
    std::vector<bool> reached(left.size() + 1);
    reached[0] = true;
    for (std::size_t position = 0; position < whole.size(); ++position) {
      std::vector<bool> next(left.size() + 1);
      for (std::size_t i = 0; i <= left.size() && i <= position; ++i) {
        const std::size_t j = position - i;
        if (reached[i] && i < left.size() && left[i] == whole[position]) {
          next[i + 1] = true;
        }
        if (reached[i] && j < right.size() && right[j] == whole[position]) {
          next[i] = true;
        }
      }
      reached.swap(next);
    }
    for (std::size_t i = 0; i <= left.size(); ++i) {
      if (reached[i] && (!isWhole || (i == left.size() && whole.size() == left.size() + right.size()))) {
        return true;
      }
    }
    return false;
  }

  // What a client is sent are whole lines, the greeting first, and frames that others have sent.
  void checkReceived(const std::string& text, const std::vector<LineFrame>& sentByOther) const {
    fuzz::require(text.rfind("< hi >", 0) == 0, "a client was not greeted");
    std::size_t begin = 0;
    while (begin < text.size()) {
      const std::size_t end = text.find('>', begin);
      fuzz::require(text.compare(begin, 2, "< ") == 0, "something that is no line, or stands between two lines");
      fuzz::require(end != std::string::npos, "a line without an end");
      checkLine(text.substr(begin, end + 1 - begin), sentByOther);
      begin = end + 1;
    }
  }

  void checkLine(const std::string& line, const std::vector<LineFrame>& sentByOther) const {
    if (line == "< hi >" || line == "< ok >" || line == "< echo >" || line.rfind("< error ", 0) == 0) {
      return;
    }
    std::vector<std::vector<std::string>> lines;
    LineFrame frame;
    LineReference::split(line, lines);
    fuzz::require(LineReference::parseFrame(lines.at(0), frame), ("no line of the protocol: " + line).c_str());
    const auto isIn = [&frame](const std::vector<LineFrame>& frames) {
      return std::find(frames.begin(), frames.end(), frame) != frames.end();
    };
    fuzz::require(isIn(written) || isIn(sentByOther), ("a frame that nobody else has sent: " + line).c_str());
  }

  void end() {
    unsigned int patience = GOODBYE_MS;
    for (Client& client : clients) {
      client.socket.close();
      const auto lines = std::count(client.sent.begin(), client.sent.end(), '>');
      patience += static_cast<unsigned int>(lines) * HOLD_MS;
    }
    for (unsigned int passed = 0; passed < patience && bus.server.getClientCount() > 0; passed += 4) {
      tick += 4;
      turn();
    }
    fuzz::require(bus.server.getClientCount() == 0, "clients that are gone are kept");
  }

  Bus& bus;
  std::unique_ptr<KQ::KQEndPoint> endPoint;  // of this session: the bus keeps a frame of one that is alone
  Client clients[2];
  std::size_t present = 0;
  std::vector<LineFrame> written;
  std::vector<LineFrame> delivered;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Bus& bus = *new Bus;
  fuzz::Input input(data, size);
  Session(bus).run(input);
  return 0;
}
