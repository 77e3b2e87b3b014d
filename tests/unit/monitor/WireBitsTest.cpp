// Covers: how many bits a frame has on the wire.
//
// | subject                                                                              | functional | robustness |
// |--------------------------------------------------------------------------------------|------------|------------|
// | random frames of every length and kind, against bits that are written out one by one | x          |            |
// | frames with no stuff bit and with the most of them                                   | x          |            |
// | error and FD frames, more than 8 bytes                                               |            | x          |

#include "WireBits.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "TestSeed.h"

namespace {

using monitor::Frame;
using monitor::FrameKind;
using monitor::getWireBits;

constexpr unsigned int UNSTUFFED_TAIL = 13;

void append(std::string& bits, unsigned long long value, int count) {
  for (int i = count - 1; i >= 0; --i) {
    bits += (value >> i & 1) != 0 ? '1' : '0';
  }
}

unsigned int checksumOf(const std::string& bits) {
  unsigned int checksum = 0;
  for (const char bit : bits) {
    const bool differs = (bit == '1') != ((checksum & 0x4000U) != 0);
    checksum = (checksum << 1 & 0x7FFF) ^ (differs ? 0x4599U : 0U);
  }
  return checksum;
}

std::string stuff(const std::string& bits) {
  std::string stuffed;
  int equal = 0;
  for (const char bit : bits) {
    equal = !stuffed.empty() && stuffed.back() == bit ? equal + 1 : 1;
    stuffed += bit;
    if (equal == 5) {
      stuffed += bit == '1' ? '0' : '1';
      equal = 1;
    }
  }
  return stuffed;
}

// A frame as its bits stand on the wire, up to the checksum.
std::string writeOut(const Frame& frame) {
  std::string bits = "0";
  if (frame.kind == FrameKind::EXTENDED) {
    append(bits, frame.identifier >> 18, 11);
    bits += "11";
    append(bits, frame.identifier & 0x3FFFF, 18);
    bits += "000";
  } else {
    append(bits, frame.identifier, 11);
    bits += frame.kind == FrameKind::REMOTE ? "100" : "000";
  }
  append(bits, frame.length, 4);
  for (unsigned int i = 0; frame.kind != FrameKind::REMOTE && i < frame.length; ++i) {
    append(bits, frame.data[i], 8);
  }
  append(bits, checksumOf(bits), 15);
  return bits;
}

Frame makeFrame(unsigned int identifier, unsigned int length, unsigned char byte, FrameKind kind = FrameKind::DATA) {
  Frame frame;
  frame.identifier = identifier;
  frame.kind = kind;
  frame.length = static_cast<unsigned char>(length);
  for (unsigned int i = 0; i < length && i < sizeof frame.data; ++i) {
    frame.data[i] = byte;
  }
  return frame;
}

// What the comparison below rests on: the checksum that is published for these digits.
TEST(WireBits, AreComparedWithAChecksumThatIsRight) {
  std::string bits;
  for (const char digit : std::string("123456789")) {
    append(bits, static_cast<unsigned char>(digit), 8);
  }
  EXPECT_EQ(0x059EU, checksumOf(bits));
}

class WireBitsOf : public testing::TestWithParam<FrameKind> {};

TEST_P(WireBitsOf, AreThoseOfTheFrameWrittenOut) {
  const unsigned int seed = test::chooseSeed();
  SCOPED_TRACE(seed);
  std::mt19937 generator(seed);
  const auto random = [&generator] { return static_cast<unsigned int>(generator()); };
  for (int i = 0; i < 5000; ++i) {
    Frame frame =
        makeFrame(random() & (GetParam() == FrameKind::EXTENDED ? 0x1FFFFFFF : 0x7FF), random() % 9, 0, GetParam());
    for (unsigned int k = 0; k < frame.length; ++k) {
      // Long runs are what matters, and rare in mere noise.
      frame.data[k] = static_cast<unsigned char>(random() % 3 == 0 ? random() : random() % 2 * 0xFF);
    }
    ASSERT_EQ(stuff(writeOut(frame)).size() + UNSTUFFED_TAIL, getWireBits(frame)) << writeOut(frame);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, WireBitsOf, testing::Values(FrameKind::DATA, FrameKind::REMOTE, FrameKind::EXTENDED));

TEST(WireBits, LieBetweenAFrameWithoutStuffBitsAndTheWorstOne) {
  EXPECT_EQ(111U, getWireBits(makeFrame(0x2AA, 8, 0x55)));
  EXPECT_EQ(true, getWireBits(makeFrame(0x078, 8, 0x3C)) <= 135U);
}

TEST(WireBits, AreNotKnownOfErrorFramesAndFD) {
  EXPECT_EQ(0U, getWireBits(makeFrame(0x20000004, 8, 0, FrameKind::ERROR)));
  EXPECT_EQ(0U, getWireBits(makeFrame(0x123, 64, 0, FrameKind::FD)));
}

}  // namespace
