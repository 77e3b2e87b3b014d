#pragma once

#include <ctime>

namespace KQ {

class KQTime {
public:
  explicit KQTime(long secondsSinceEpoch);

  int getHours() const;
  int getMinutes() const;
  int getDays() const;
  int getMonth() const;
  int getYear() const;

private:
  std::tm parts;
};

}  // namespace KQ
