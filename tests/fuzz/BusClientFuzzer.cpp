// An end point on a bus that is served elsewhere is sent any text in any segments. It reads the frames that the text
// holds, in their order; it sends nothing but its part of the handshake and the frames that were written; and it comes
// back when the connection was lost.
//
// The input is that text. Bytes from 0xF8 on are no part of it: they say where a segment ends and what happens then.
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Check.h"
#include "Input.h"
#include "KQEndPointListener.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQSocketcandEndPoint.h"
#include "KQTick.h"
#include "LineReference.h"
#include "LoopbackSocket.h"

namespace {

using fuzz::LineFrame;
using fuzz::LineReference;

constexpr const char* CHANNEL = "bus";
constexpr unsigned char FIRST_CONTROL = 0xF8;
constexpr unsigned int SETTLING_TURNS = 4;
// On a machine that has other things to do.
constexpr unsigned int LONGEST_OPENING_MS = 60000;

unsigned int tick = 1000;

unsigned int readTick() {
  return tick;
}

// The end point and the port that it connects to. It exists once, and finds a new server for every input.
class Port : public KQ::KQEndPointListener {
public:
  Port() {
    KQ::KQTick::setSource(readTick);
    fuzz::LoopbackSocket first;
    std::thread server([this, &first] { serve(first); });
    std::string error;
    endPoint = KQ::KQSocketcandEndPoint::open("127.0.0.1", listener.getPort(), CHANNEL, error, LONGEST_OPENING_MS);
    server.join();
    fuzz::require(endPoint != nullptr, error.c_str());
    manager.addEndPoint(endPoint.get(), this);
    first.close();
    while (endPoint->isConnected()) {
      manager.wait(0);
    }
  }

  void onEndPointReadable(KQ::KQEndPoint* /*endPoint*/, KQ::KQEndPointManager* /*manager*/) override {
    KQ::KQCANMessage message;
    while (endPoint->readMessage(message) == KQ::KQ_OK) {
      fuzz::countFrame();
      frames.push_back(LineFrame::of(message));
    }
  }
  void onEndPointReconnected(KQ::KQEndPoint* /*endPoint*/) override {}
  void onEndPointDisconnected(KQ::KQEndPoint* /*endPoint*/) override {}

  fuzz::LoopbackListener listener;
  KQ::KQEndPointManager manager;
  std::unique_ptr<KQ::KQSocketcandEndPoint> endPoint;
  std::vector<LineFrame> frames;  // that were read

private:
  // The handshake in advance: the end point takes it line by line.
  void serve(fuzz::LoopbackSocket& socket) const {
    int descriptor = -1;
    while (descriptor < 0) {
      descriptor = listener.accept();
    }
    socket.take(descriptor);
    socket.send("< hi >< ok >< ok >");
  }
};

// What an end point makes of the text of a server.
struct Expected {
  bool isRunning = false;  // the handshake is over
  bool isRefused = false;  // the text ends the connection
  std::vector<LineFrame> frames;
};

Expected expect(const std::string& text) {
  Expected expected;
  std::vector<std::vector<std::string>> lines;
  const bool isEndless = LineReference::split(text, lines);
  unsigned int answers = 0;  // "< hi >" and two "< ok >"
  for (const std::vector<std::string>& words : lines) {
    const std::string command = words.empty() ? "" : words[0];
    LineFrame frame;
    if (answers < 3 && command == "error") {
      expected.isRefused = true;
      return expected;
    }
    if (answers < 3) {
      answers += command == (answers == 0 ? "hi" : "ok") ? 1U : 0U;
    } else if (LineReference::parseFrame(words, frame) && !frame.isExtended) {
      expected.frames.push_back(frame);
    }
  }
  expected.isRunning = answers == 3 && !isEndless;
  expected.isRefused = isEndless;
  return expected;
}

class Session {
public:
  explicit Session(Port& used) : port(used) {
    port.frames.clear();
    tick += KQ::KQSocketcandEndPoint::RETRY_MS;
    int descriptor = -1;
    for (unsigned int tries = 0; descriptor < 0 && tries < 100; ++tries) {
      port.manager.wait(0);
      descriptor = port.listener.accept();
    }
    fuzz::require(descriptor >= 0, "the end point does not connect again");
    server.take(descriptor);
  }

  void run(fuzz::Input& input) {
    while (!input.isEmpty()) {
      const unsigned char byte = input.byte();
      if (byte < FIRST_CONTROL) {
        segment += static_cast<char>(byte);
        continue;
      }
      sendSegment();
      if (byte == 0xFC) {
        writeFrame(input);
      } else if (byte == 0xFB) {
        break;
      }
    }
    sendSegment();
    settle();
    check();
    end();
  }

private:
  void sendSegment() {
    if (!segment.empty() && server.isOpen()) {
      sent += segment;
      server.send(segment);
      settle();
    }
    segment.clear();
  }

  void writeFrame(fuzz::Input& input) {
    KQ::KQCANMessage message;
    message.identifier = input.word() & 0xFFFU;
    message.length = input.below(10);
    for (unsigned int i = 0; i < message.length && i < sizeof message.data; ++i) {
      message.data[i] = input.byte();
    }
    fuzz::countFrame();
    const bool isFrame = message.identifier <= 0x7FF && message.length <= 8;
    const bool isRunning = expect(sent).isRunning;
    const int expected = !isFrame ? KQ::KQ_INVALID_ARGUMENT : isRunning ? KQ::KQ_OK : KQ::KQ_NOT_AVAILABLE;
    const int result = port.endPoint->writeMessage(message);
    fuzz::require(result == expected, "result of a write", static_cast<unsigned int>(result));
    if (result == KQ::KQ_OK) {
      written.push_back(LineFrame::of(message));
    }
  }

  void settle() {
    for (unsigned int i = 0; i < SETTLING_TURNS; ++i) {
      port.manager.wait(0);
      if (server.isOpen() && !server.receive(received)) {
        server.close();
      }
    }
  }

  void check() {
    const Expected expected = expect(sent);
    fuzz::require(port.frames == expected.frames, "read other frames than were sent");
    fuzz::require(server.isOpen() != expected.isRefused, "the connection is over, or should be");
    fuzz::require(port.endPoint->isConnected() == expected.isRunning, "a wrong notion of being connected");
    std::vector<std::vector<std::string>> lines;
    LineReference::split(received, lines);
    std::vector<LineFrame> frames;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      LineFrame frame;
      if (LineReference::parseSend(lines[i], frame)) {
        frames.push_back(frame);
      } else {
        checkHandshake(i, lines[i]);
      }
    }
    fuzz::require(frames == written, "sent other frames than were written");
  }

  static void checkHandshake(std::size_t number, const std::vector<std::string>& words) {
    using Words = std::vector<std::string>;
    const bool isRight = (number == 0 && words == Words{"open", CHANNEL}) || (number == 1 && words == Words{"rawmode"});
    fuzz::require(isRight, "a line that is not of the handshake; number", static_cast<unsigned int>(number));
  }

  void end() {
    server.close();
    settle();
    fuzz::require(!port.endPoint->isConnected(), "a connection that is lost is not missed");
  }

  Port& port;
  fuzz::LoopbackSocket server;
  std::string segment;  // to be sent next
  std::string sent;
  std::string received;
  std::vector<LineFrame> written;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Port& port = *new Port;
  fuzz::Input input(data, size);
  Session(port).run(input);
  return 0;
}
