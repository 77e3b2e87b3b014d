#include "Frame.h"
#include "KQDEI.h"
#include "ScenarioKinds.h"

namespace bench {

namespace {

constexpr unsigned int COB_ID_REQUEST = 0x600 + NODE_ID;
constexpr unsigned int COB_ID_RESPONSE = 0x580 + NODE_ID;
constexpr unsigned int OBJECT_LOW = SDO_OBJECT & 0xFF;
constexpr unsigned int OBJECT_HIGH = SDO_OBJECT >> 8;
constexpr std::size_t SEGMENT_BYTES = 7;
// No text is a multiple of seven long, so that a last segment with less is among them.
constexpr std::size_t SEGMENTS = (TEXT_LENGTH + SEGMENT_BYTES - 1) / SEGMENT_BYTES;

int valueOf(unsigned int number) {
  return static_cast<int>(0x87654321U * (number + 1));
}

// A text of 1 KiB. @param start lets texts differ in every character
std::string textFrom(char start) {
  std::string text(TEXT_LENGTH, start);
  for (std::size_t i = 0; i < TEXT_LENGTH; ++i) {
    text[i] = static_cast<char>(start + static_cast<int>(i % 13));
  }
  return text;
}

// n and c of the segment that begins at offset.
unsigned int segmentCommand(std::size_t offset) {
  const std::size_t remaining = TEXT_LENGTH - offset;
  return remaining > SEGMENT_BYTES ? 0U : static_cast<unsigned int>((SEGMENT_BYTES - remaining) << 1 | 1U);
}

unsigned int toggleOf(std::size_t segment) {
  return segment % 2 != 0 ? 0x10U : 0U;
}

// A segment of text as either side sends it.
KQ::KQCANMessage segmentFrame(unsigned int cobID, const std::string& text, std::size_t segment) {
  const std::size_t offset = segment * SEGMENT_BYTES;
  KQ::KQCANMessage message = frame(cobID, {segmentCommand(offset) | toggleOf(segment), 0, 0, 0, 0, 0, 0, 0});
  for (std::size_t i = 0; i < SEGMENT_BYTES && offset + i < TEXT_LENGTH; ++i) {
    message.data[1 + i] = static_cast<unsigned char>(text[offset + i]);
  }
  return message;
}

// A frame that carries nothing but its command and the size of the text.
KQ::KQCANMessage initiateFrame(unsigned int cobID, unsigned int command, std::size_t size) {
  return frame(cobID, {command, OBJECT_LOW, OBJECT_HIGH, SDO_TEXT, static_cast<unsigned int>(size & 0xFF),
                       static_cast<unsigned int>(size >> 8), 0, 0});
}

}  // namespace

ExpeditedUpload::ExpeditedUpload(const Configuration& configuration) : RepeatedScenario(configuration) {
  for (unsigned int number = 0; number < configuration.variables; ++number) {
    const unsigned int index = indexOfUnsigned32(number);
    const unsigned char subIndex = subIndexOfUnsigned32(number);
    KQ::KQDEI::instance()->setVariableValue(indexOfUnsigned32(number), subIndex, valueOf(number), true, false);
    requests.push_back(frame(COB_ID_REQUEST, {0x40, index & 0xFF, index >> 8, subIndex, 0, 0, 0, 0}));
  }
}

Frames ExpeditedUpload::expectedFrames(std::size_t operation) const {
  const auto number = static_cast<unsigned int>(operation % requests.size());
  const auto value = static_cast<unsigned int>(valueOf(number));
  const unsigned int index = indexOfUnsigned32(number);
  return {frame(COB_ID_RESPONSE, {0x43, index & 0xFF, index >> 8, subIndexOfUnsigned32(number), value & 0xFF,
                                  value >> 8 & 0xFF, value >> 16 & 0xFF, value >> 24})};
}

ExpeditedDownload::ExpeditedDownload(const Configuration& configuration)
    : RepeatedScenario(configuration),
      request(frame(COB_ID_REQUEST, {0x2B, OBJECT_LOW, OBJECT_HIGH, SDO_UNSIGNED16, 0, 0, 0, 0})) {}

Frames ExpeditedDownload::expectedFrames(std::size_t /*operation*/) const {
  return {frame(COB_ID_RESPONSE, {0x60, OBJECT_LOW, OBJECT_HIGH, SDO_UNSIGNED16, 0, 0, 0, 0})};
}

bool ExpeditedDownload::isDone(std::size_t operation) const {
  int value = 0;
  KQ::KQDEI::instance()->getVariableValue(SDO_OBJECT, SDO_UNSIGNED16, &value);
  return value == static_cast<int>(operation & 0xFFFF);
}

SegmentedUpload::SegmentedUpload(const Configuration& configuration) : SegmentedTransfer(configuration) {
  KQ::KQDEI::instance()->setVariableValue(SDO_OBJECT, SDO_TEXT, textFrom('A'), true, false);
  Frames frames{initiateFrame(COB_ID_REQUEST, 0x40, 0)};
  for (std::size_t segment = 0; segment < SEGMENTS; ++segment) {
    frames.push_back(frame(COB_ID_REQUEST, {0x60 | toggleOf(segment), 0, 0, 0, 0, 0, 0, 0}));
  }
  requests = {frames};
}

Frames SegmentedUpload::expectedFrames(std::size_t /*operation*/) const {
  Frames frames{initiateFrame(COB_ID_RESPONSE, 0x41, TEXT_LENGTH)};
  for (std::size_t segment = 0; segment < SEGMENTS; ++segment) {
    frames.push_back(segmentFrame(COB_ID_RESPONSE, textFrom('A'), segment));
  }
  return frames;
}

SegmentedDownload::SegmentedDownload(const Configuration& configuration) : SegmentedTransfer(configuration) {
  for (const char start : {'a', 'A'}) {
    Frames frames{initiateFrame(COB_ID_REQUEST, 0x21, TEXT_LENGTH)};
    for (std::size_t segment = 0; segment < SEGMENTS; ++segment) {
      frames.push_back(segmentFrame(COB_ID_REQUEST, textFrom(start), segment));
    }
    requests.push_back(frames);
  }
}

Frames SegmentedDownload::expectedFrames(std::size_t /*operation*/) const {
  Frames frames{initiateFrame(COB_ID_RESPONSE, 0x60, 0)};
  for (std::size_t segment = 0; segment < SEGMENTS; ++segment) {
    frames.push_back(frame(COB_ID_RESPONSE, {0x20 | toggleOf(segment), 0, 0, 0, 0, 0, 0, 0}));
  }
  return frames;
}

bool SegmentedDownload::isDone(std::size_t operation) const {
  std::string text;
  KQ::KQDEI::instance()->getVariableValue(SDO_OBJECT, SDO_TEXT, &text);
  return text == textFrom(operation % 2 == 0 ? 'a' : 'A');
}

}  // namespace bench
