#include "FrameText.h"

#include "TextParts.h"

namespace trace {

namespace {

constexpr std::size_t SERVICE_WIDTH = 14;
constexpr std::size_t NODE_WIDTH = 9;
constexpr std::size_t DATA_WIDTH = 24;

// Blanks up to the end of a column that began at start, one at least.
void fillColumn(std::string& text, std::size_t start, std::size_t width) {
  const std::size_t used = text.size() - start;
  text.append(used < width ? width - used : 1, ' ');
}

void appendIdentifier(std::string& text, const monitor::Frame& frame) {
  const bool isStandard = frame.kind != monitor::FrameKind::EXTENDED && frame.kind != monitor::FrameKind::ERROR;
  monitor::appendHex(text, frame.identifier, isStandard ? 3 : 8);
}

void appendNode(std::string& text, const monitor::DecodedFrame& frame) {
  if (frame.node != 0) {
    text += "node ";
    monitor::appendNumber(text, static_cast<std::uint64_t>(frame.node));
  } else if (frame.service == monitor::Service::NMT_COMMAND) {
    text += "all nodes";
  }
}

void appendContent(std::string& text, const monitor::DecodedFrame& frame) {
  const std::size_t start = text.size();
  frame.appendObject(text);
  if (text.size() > start) {
    text += ": ";
  }
  frame.appendDetails(text);
  if (!frame.violation.empty()) {
    text += " !! ";
    text += frame.violation;
  }
}

}  // namespace

void FrameText::append(std::string& text, const monitor::DecodedFrame& frame, std::string_view interface,
                       long long first) {
  appendTime(text, frame.frame.microseconds, first);
  text += ' ';
  text += interface;
  text += ' ';
  appendIdentifier(text, frame.frame);
  text += ' ';
  if (data) {
    const std::size_t start = text.size();
    monitor::appendBytes(text, frame.frame.data, frame.frame.length);
    fillColumn(text, start, DATA_WIDTH);
  }
  std::size_t start = text.size();
  frame.appendService(text);
  fillColumn(text, start, SERVICE_WIDTH);
  start = text.size();
  appendNode(text, frame);
  fillColumn(text, start, NODE_WIDTH);
  appendContent(text, frame);
  text.erase(text.find_last_not_of(' ') + 1);
  text += '\n';
}

void FrameText::appendTime(std::string& text, long long microseconds, long long first) {
  switch (timeForm) {
    case TimeForm::AS_LOGGED:
      monitor::appendSeconds(text, microseconds);
      break;
    case TimeForm::DATE:
      monitor::appendDate(text, microseconds);
      break;
    case TimeForm::RELATIVE:
      monitor::appendSeconds(text, microseconds - first);
      break;
    case TimeForm::DELTA:
      monitor::appendSeconds(text, isFirst ? 0 : microseconds - last);
      break;
  }
  last = microseconds;
  isFirst = false;
}

}  // namespace trace
