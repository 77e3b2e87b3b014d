#include "Check.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {

namespace {

/// Reports at the end of the program, as libFuzzer reports its own figures.
struct FrameCounter {
  ~FrameCounter() { std::fprintf(stderr, "stat::number_of_frames: %llu\n", count); }
  unsigned long long count = 0;
};

FrameCounter frames;

}  // namespace

void require(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "FUZZ: %s\n", what);
    std::abort();
  }
}

void require(bool condition, const char* what, unsigned int number) {
  if (!condition) {
    std::fprintf(stderr, "FUZZ: %s: %u (0x%x)\n", what, number, number);
    std::abort();
  }
}

void trace(const KQ::KQCANMessage& message, const char* what, unsigned int tick) {
  static const bool isWanted = std::getenv("TAVO_FUZZ_TRACE") != nullptr;
  if (!isWanted) {
    return;
  }
  std::fprintf(stderr, "%u %s %03X#", tick, what, message.identifier);
  for (unsigned int i = 0; i < message.length && i < sizeof message.data; ++i) {
    std::fprintf(stderr, " %02X", static_cast<unsigned int>(message.data[i]));
  }
  std::fprintf(stderr, "\n");
}

void countFrame() {
  ++frames.count;
}

}  // namespace fuzz
