#include "Check.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

namespace {

// A standard error of its own: libFuzzer may be told to close the one of the target, which prints at its will.
const int report = dup(STDERR_FILENO);

// Reports at the end of the program, as libFuzzer reports its own figures.
struct FrameCounter {
  ~FrameCounter() { dprintf(report, "stat::number_of_frames: %llu\n", count); }
  unsigned long long count = 0;
};

FrameCounter frames;

}  // namespace

void require(bool condition, const char* what) {
  if (!condition) {
    dprintf(report, "FUZZ: %s\n", what);
    std::abort();
  }
}

void require(bool condition, const char* what, unsigned int number) {
  if (!condition) {
    dprintf(report, "FUZZ: %s: %u (0x%x)\n", what, number, number);
    std::abort();
  }
}

void trace(const KQ::KQCANMessage& message, const char* what, unsigned int tick) {
  static const bool isWanted = std::getenv("TAVO_FUZZ_TRACE") != nullptr;
  if (!isWanted) {
    return;
  }
  dprintf(report, "%u %s %03X#", tick, what, message.identifier);
  for (unsigned int i = 0; i < message.length && i < sizeof message.data; ++i) {
    dprintf(report, " %02X", static_cast<unsigned int>(message.data[i]));
  }
  dprintf(report, "\n");
}

void countFrame() {
  ++frames.count;
}

}  // namespace fuzz
