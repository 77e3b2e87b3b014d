#include "Measuring.h"

#include <poll.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace test {

namespace {

void requireCanlink(const std::string& request) {
  if (std::system(("canlink " + request).c_str()) != 0) {
    throw std::runtime_error("canlink " + request);
  }
}

bool pace(unsigned int framesPerSecond) {
  if (framesPerSecond > 0) {
    requireCanlink("pace can1 " + std::to_string(framesPerSecond) + " 1000");
  }
  return framesPerSecond > 0;
}

}  // namespace

void pause(int milliseconds) {
  poll(nullptr, 0, milliseconds);
}

double quantile(Times times, double fraction) {
  const auto place =
      times.begin() + static_cast<Times::difference_type>(fraction * static_cast<double>(times.size() - 1));
  std::nth_element(times.begin(), place, times.end());
  return static_cast<double>(*place) / 1e3;
}

double measureShare(const Process& process) {
  const std::int64_t begin = monotonicTime();
  const std::int64_t used = process.processorTime();
  pause(SHARE_SECONDS * 1000);
  return 100.0 * static_cast<double>(process.processorTime() - used) / static_cast<double>(monotonicTime() - begin);
}

unsigned long sentFrames() {
  return std::strtoul(outputOf("cat /sys/class/net/can1/statistics/tx_packets").c_str(), nullptr, 10);
}

Traffic::Traffic(const std::string& frame, unsigned int framesPerSecond)
    : isPaced(pace(framesPerSecond)), sender([&frame] {
        RawSocket bus("can1");
        bus.listenOnlyTo(0x7FF, 0x7FF);
        for (;;) {
          bus.send(frame);
        }
      }) {}

Traffic::~Traffic() {
  if (isPaced) {
    std::system("canlink unpace can1");
  }
}

}  // namespace test
