#include "WireBits.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace monitor {

namespace {

// Behind the checksum, where no bits are stuffed: its delimiter, the acknowledgement with its own, the end of frame,
// the interframe space.
constexpr unsigned int UNSTUFFED_BITS = 1 + 2 + 7 + 3;

constexpr unsigned int CHECKSUM_BITS = 15;
constexpr unsigned int CHECKSUM_MASK = 0x7FFF;
constexpr unsigned int CHECKSUM_POLYNOMIAL = 0x4599;

// The bits so far, as far as stuffing goes: five equal ones are followed by one of the other kind, which counts.
struct Run {
  unsigned char last = 1;    // recessive, as the idle bus
  unsigned char length = 0;  // of equal bits at the end, 0 to 4: the fifth makes a stuff bit, a run of one
  unsigned char stuffed = 0;
};

constexpr unsigned char LONGEST_RUN = 5;

constexpr void append(Run& run, unsigned int bit) {
  run.length = static_cast<unsigned char>(bit == run.last ? run.length + 1 : 1);
  run.last = static_cast<unsigned char>(bit);
  if (run.length == LONGEST_RUN) {
    ++run.stuffed;
    run.last = static_cast<unsigned char>(1 - bit);
    run.length = 1;
  }
}

constexpr void appendBits(Run& run, std::uint64_t bits, unsigned int count) {
  for (unsigned int i = count; i > 0; --i) {
    append(run, static_cast<unsigned int>(bits >> (i - 1) & 1U));
  }
}

constexpr unsigned int RUNS = 2 * LONGEST_RUN;

constexpr unsigned int getNumber(const Run& run) {
  return run.last * LONGEST_RUN + run.length;
}

// What a byte makes of each run, so that a frame costs a look-up a byte.
using StuffingTable = std::array<std::array<Run, 256>, RUNS>;

constexpr StuffingTable makeStuffingTable() {
  StuffingTable table{};
  for (unsigned int number = 0; number < RUNS; ++number) {
    for (unsigned int byte = 0; byte < 256; ++byte) {
      Run run{static_cast<unsigned char>(number / LONGEST_RUN), static_cast<unsigned char>(number % LONGEST_RUN), 0};
      appendBits(run, byte, 8);
      table[number][byte] = run;
    }
  }
  return table;
}

constexpr std::array<unsigned short, 256> makeChecksumTable() {
  std::array<unsigned short, 256> table{};
  for (unsigned int byte = 0; byte < 256; ++byte) {
    unsigned int checksum = byte << (CHECKSUM_BITS - 8);
    for (int bit = 0; bit < 8; ++bit) {
      const bool isSet = (checksum & 0x4000U) != 0;
      checksum = (checksum << 1 ^ (isSet ? CHECKSUM_POLYNOMIAL : 0U)) & CHECKSUM_MASK;
    }
    table[byte] = static_cast<unsigned short>(checksum);
  }
  return table;
}

constexpr StuffingTable STUFFING = makeStuffingTable();
constexpr std::array<unsigned short, 256> CHECKSUM = makeChecksumTable();

// What stands before the data, from the start of frame to the data length code.
struct Header {
  std::uint64_t bits;
  unsigned int count;
};

Header makeHeader(const Frame& frame) {
  constexpr unsigned int SUBSTITUTE_REMOTE_AND_EXTENSION = 3;
  const std::uint64_t identifier = frame.identifier;
  if (frame.kind == FrameKind::EXTENDED) {
    const std::uint64_t bits = (identifier >> 18 & 0x7FF) << 27 | std::uint64_t{SUBSTITUTE_REMOTE_AND_EXTENSION} << 25 |
                               (identifier & 0x3FFFF) << 7 | frame.length;
    return {bits, 39};
  }
  const std::uint64_t remote = frame.kind == FrameKind::REMOTE ? 1 : 0;
  return {(identifier & 0x7FF) << 7 | remote << 6 | frame.length, 19};
}

// Takes the bits of a frame one byte after the other: their stuff bits, and their checksum.
class BitStream {
public:
  // The bits that a whole byte lacks stand in front: as zeros they leave the checksum as it is.
  explicit BitStream(const Header& header) {
    const unsigned int whole = header.count / 8 * 8;
    appendBits(run, header.bits >> whole, header.count - whole);
    addToChecksum(static_cast<unsigned int>(header.bits >> whole));
    for (unsigned int shift = whole; shift > 0; shift -= 8) {
      appendByte(static_cast<unsigned int>(header.bits >> (shift - 8) & 0xFF));
    }
  }

  void appendByte(unsigned int byte) {
    addToChecksum(byte);
    stuff(byte);
  }

  unsigned int finish() {
    const unsigned int sum = checksum;
    stuff(sum >> 7);
    appendBits(run, sum & 0x7F, CHECKSUM_BITS - 8);
    return stuffed + run.stuffed;
  }

private:
  void addToChecksum(unsigned int byte) {
    checksum = (checksum << 8 ^ CHECKSUM[(checksum >> (CHECKSUM_BITS - 8) ^ byte) & 0xFF]) & CHECKSUM_MASK;
  }

  void stuff(unsigned int byte) {
    stuffed += run.stuffed;
    run = STUFFING[getNumber(run)][byte];
  }

  Run run;
  unsigned int stuffed = 0;
  unsigned int checksum = 0;
};

}  // namespace

unsigned int getWireBits(const Frame& frame) {
  if (frame.kind == FrameKind::FD || frame.kind == FrameKind::ERROR) {
    return 0;
  }
  const Header header = makeHeader(frame);
  const unsigned int length = frame.kind == FrameKind::REMOTE ? 0 : std::min<unsigned int>(frame.length, 8);
  BitStream stream(header);
  for (unsigned int i = 0; i < length; ++i) {
    stream.appendByte(frame.data[i]);
  }
  return header.count + 8 * length + CHECKSUM_BITS + stream.finish() + UNSTUFFED_BITS;
}

}  // namespace monitor
