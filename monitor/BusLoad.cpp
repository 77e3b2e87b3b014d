#include "BusLoad.h"

#include <algorithm>

namespace monitor {

namespace {

constexpr long long PER_SECOND = 1000000;

}  // namespace

void BusLoad::add(long long microseconds, unsigned int bits) {
  const long long number = microseconds / PER_SECOND;
  Second& second = seconds[getPlace(number)];
  if (second.number != number) {
    second = {number, 0};
  }
  second.bits += bits;
  highest = std::max(highest, second.bits);
  total += bits;
  first = hasFrames ? std::min(first, microseconds) : microseconds;
  last = hasFrames ? std::max(last, microseconds) : microseconds;
  hasFrames = true;
}

double BusLoad::getShareOfSecond(long long second) const {
  const Second& found = seconds[getPlace(second)];
  return found.number == second ? getShareOfBits(found.bits) : 0;
}

double BusLoad::getMeanShare() const {
  const double duration = static_cast<double>(last - first) / PER_SECOND;
  return last > first ? static_cast<double>(total) / bitRate / duration : 0;
}

}  // namespace monitor
