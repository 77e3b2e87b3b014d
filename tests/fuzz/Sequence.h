#pragma once

namespace fuzz {

/// Numbers that follow from a seed, so that a few bytes of input stand for many.
class Sequence {
public:
  explicit Sequence(unsigned int seed) : state(seed * 2U + 1U) {}

  unsigned char byte() {
    state = state * 1664525U + 1013904223U;
    return static_cast<unsigned char>(state >> 24);
  }

private:
  unsigned int state;
};

}  // namespace fuzz
