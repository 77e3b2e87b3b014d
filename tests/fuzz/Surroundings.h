#pragma once

namespace fuzz {

/// What surrounds a node while one input is tried: a clock that stands until it is moved, a directory in memory for the
/// files that it writes, and a look at each line that it prints. One at a time.
class Surroundings {
public:
  /// @param tick where the clock begins
  explicit Surroundings(unsigned int tick);
  ~Surroundings();
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  static unsigned int now();
  static void advance(unsigned int milliseconds);
};

}  // namespace fuzz
