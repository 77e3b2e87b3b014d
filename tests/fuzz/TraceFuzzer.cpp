// Any bytes as a log, and any frames one after the other: a line is a frame or it is refused, none is lost, and what is
// said of a frame is one line of letters and one JSON object, with what it keeps bounded.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "CandumpReader.h"
#include "Check.h"
#include "FrameDecoder.h"
#include "FrameObject.h"
#include "FrameText.h"
#include "Input.h"
#include "Networks.h"
#include "SummaryObject.h"
#include "SummaryText.h"
#include "TextFile.h"

namespace {

using monitor::FrameKind;
using monitor::Service;

constexpr unsigned int MAPPED_COB_ID = 0x185;
constexpr std::size_t LONGEST_KEPT = 4096;

// A PDO of odd lengths, and an object of each form.
class Names : public monitor::ObjectNames {
public:
  monitor::ObjectDescription describe(unsigned char /*node*/, unsigned short index,
                                      unsigned char subIndex) const override {
    return {"Object", monitor::ValueType::fromCode((index + subIndex) & 0x1FU)};
  }
  const monitor::CommunicationObject* findCommunicationObject(unsigned int cobID) const override {
    return cobID == MAPPED_COB_ID ? &pdo : cobID == 0x6E1 ? &request : cobID == 0x6E2 ? &response : nullptr;
  }

private:
  const monitor::CommunicationObject pdo = {Service::TPDO,
                                            5,
                                            1,
                                            true,
                                            {{0x2000, 1, 3, monitor::ValueType::fromCode(2), "A"},
                                             {0x0005, 0, 5, {}, "gap"},
                                             {0x2000, 2, 12, monitor::ValueType::fromCode(6), "B"},
                                             {0x2000, 3, 44, monitor::ValueType::fromCode(0x1B), "C"}}};
  const monitor::CommunicationObject request = {Service::SDO_REQUEST, 5, 2, false, {}};
  const monitor::CommunicationObject response = {Service::SDO_RESPONSE, 5, 2, false, {}};
};

bool isLine(const std::string& text) {
  const bool endsOnce = text.find('\n') == text.size() - 1;
  return endsOnce && std::none_of(text.begin(), text.end() - 1,
                                  [](unsigned char letter) { return letter < ' ' || letter == 0x7F; });
}

void check(const monitor::DecodedFrame& frame, const std::string& interface) {
  const bool isCANopen = frame.frame.kind == FrameKind::DATA || frame.frame.kind == FrameKind::REMOTE;
  fuzz::require(isCANopen || frame.service == Service::UNKNOWN, "a service of a frame that is none of CANopen's");
  fuzz::require(frame.node < 128 || frame.service == Service::NMT_COMMAND, "a node that cannot be", frame.node);
  fuzz::require(frame.valueCount <= frame.values.size() && frame.valueCount <= 64, "too many values");
  for (std::size_t i = 0; i < frame.valueCount; ++i) {
    fuzz::require(frame.values[i].value.getBytes().size() <= LONGEST_KEPT, "a value that grows without bounds");
    fuzz::require(frame.values[i].value.getBits() <= 64, "a number of more bits than there are");
  }
  std::string text;
  trace::FrameText(trace::TimeForm::DATE, true).append(text, frame, interface, 0);
  fuzz::require(isLine(text), "what is said of a frame is no line of letters");
  trace::toObject(frame, interface).dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
}

// Takes each frame, and says in the end what there was.
class Watcher {
public:
  void take(const monitor::Frame& frame) {
    const monitor::DecodedFrame& decoded = network.decoder.decode(frame);
    check(decoded, "can0");
    network.statistics.add(decoded, false);
    fuzz::countFrame();
  }

  void finish() {
    networks.get("can0").statistics.advance(network.statistics.getLast());
    std::string text;
    trace::SummaryText(names).append(text, networks);
    fuzz::require(!text.empty() && text.back() == '\n', "a summary without an end");
    trace::toObject(networks, 0).dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
  }

private:
  Names names;
  trace::Networks networks{names, 250000};
  trace::Network& network = networks.get("can0");
};

void readLog(const std::string& log, Watcher& watcher) {
  static fuzz::TextFile file;
  file.write(log);
  FILE* const opened = std::fopen(file.getName().c_str(), "rb");
  fuzz::require(opened != nullptr, "the log cannot be opened");
  monitor::CandumpReader reader(fileno(opened));
  monitor::LoggedFrame logged;
  for (;;) {
    const monitor::CandumpReader::Item item = reader.next(logged);
    if (item == monitor::CandumpReader::Item::END) {
      break;
    }
    if (item == monitor::CandumpReader::Item::FRAME) {
      fuzz::require(!logged.interface.empty(), "a frame of no interface");
      watcher.take(logged.frame);
    }
  }
  const auto lineEnds = static_cast<std::uint64_t>(std::count(log.begin(), log.end(), '\n'));
  const bool isOpen = !log.empty() && log.back() != '\n';
  fuzz::require(reader.getLineNumber() == lineEnds + (isOpen ? 1 : 0), "a line was lost");
  fuzz::require(reader.getBytesRead() == log.size(), "bytes were lost");
  std::fclose(opened);
}

// Frames mostly of one server, so that transfers come about.
void takeFrames(fuzz::Input& input, Watcher& watcher) {
  static constexpr unsigned int IDENTIFIERS[] = {0x605, 0x585, 0x605, 0x585, 0x6E1, 0x6E2, MAPPED_COB_ID, 0x705};
  long long now = 1700000000000000;
  while (!input.isEmpty()) {
    monitor::Frame frame;
    const unsigned int choice = input.byte();
    frame.identifier = (choice & 0x80) == 0 ? IDENTIFIERS[choice & 7] : input.word() & 0x7FFU;
    frame.kind = (choice & 0x70) == 0x70 ? FrameKind::REMOTE : FrameKind::DATA;
    frame.length = static_cast<unsigned char>((choice & 0x08) == 0 ? 8 : input.below(9));
    for (unsigned int i = 0; i < frame.length; ++i) {
      frame.data[i] = input.byte();
    }
    frame.microseconds = now += 1000;
    watcher.take(frame);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Watcher watcher;
  if ((input.byte() & 1) == 0) {
    takeFrames(input, watcher);
  } else {
    readLog(input.text(size), watcher);
  }
  watcher.finish();
  return 0;
}
