#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KernelBus.h"

namespace test {

/// Nanoseconds each.
using Times = std::vector<std::int64_t>;

constexpr int SHARE_SECONDS = 5;
/// A frame that no node here serves.
inline const std::string FOREIGN_FRAME = "2A5#00 01 02 03 04 05 06 07";

void pause(int milliseconds);

/// @return the time, in microseconds, below which that part of them is; 0.5 for the median
double quantile(Times times, double fraction);

/// What part of the processor a process uses for some seconds, in percent.
double measureShare(const Process& process);

/// How many frames can1 has sent so far.
unsigned long sentFrames();

/// Sends a frame on can1 again and again for as long as it lives.
class Traffic {
public:
  /// @param framesPerSecond 0: as many as can1 takes
  explicit Traffic(const std::string& frame, unsigned int framesPerSecond = 0);
  ~Traffic();
  Traffic(const Traffic&) = delete;
  Traffic& operator=(const Traffic&) = delete;

private:
  bool isPaced;
  Process sender;
};

}  // namespace test
