#pragma once

#include <array>
#include <cstddef>

namespace monitor {

/// How busy the bus was: bits on the wire, in all and second by second. Times are microseconds of the clock that the
/// frames' stamps are of; a second is one of that clock.
class BusLoad {
public:
  /// How many seconds are remembered, the running one included.
  static constexpr std::size_t SECONDS = 128;

  /// @param bitsPerSecond bit rate of the bus, above 0
  explicit BusLoad(unsigned int bitsPerSecond) : bitRate(bitsPerSecond) {}

  /// Takes the bits of a frame.
  void add(long long microseconds, unsigned int bits);

  unsigned int getBitRate() const { return bitRate; }
  unsigned long long getBits() const { return total; }

  /// The share of a second, 0 to 1, that frames took; more for frames of a bus with a higher bit rate.
  /// @param second microseconds / 1000000; one that is not remembered counts as silent
  double getShareOfSecond(long long second) const;
  /// That of the last whole second before @p now.
  double getShare(long long now) const { return getShareOfSecond(now / 1000000 - 1); }
  /// The highest of a whole second.
  double getHighestShare() const { return getShareOfBits(highest); }
  /// That of the time from the first frame to the last one; 0 when that is no time.
  double getMeanShare() const;

private:
  struct Second {
    long long number = -1;
    unsigned int bits = 0;
  };

  double getShareOfBits(unsigned int bits) const { return static_cast<double>(bits) / bitRate; }
  static std::size_t getPlace(long long second) { return static_cast<std::size_t>(second) % SECONDS; }

  unsigned int bitRate;
  unsigned long long total = 0;
  unsigned int highest = 0;
  bool hasFrames = false;
  long long first = 0;
  long long last = 0;
  std::array<Second, SECONDS> seconds;
};

}  // namespace monitor
