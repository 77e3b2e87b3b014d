#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace model {

/// A source of random choices that costs nothing to make, since every sequence has one of its own. Any two seeds, also
/// neighbouring ones, give unlike choices.
class Random {
public:
  explicit Random(std::uint64_t seed) : state(seed) {}

  std::uint32_t number() {
    state += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = (state ^ (state >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return static_cast<std::uint32_t>(mixed >> 32U);
  }

  unsigned int below(unsigned int end) { return number() % end; }
  unsigned int between(unsigned int first, unsigned int last) { return first + below(last - first + 1); }
  bool oneIn(unsigned int count) { return below(count) == 0; }
  unsigned char byte() { return static_cast<unsigned char>(number()); }

  unsigned int pick(std::initializer_list<unsigned int> values) {
    return values.begin()[below(static_cast<unsigned int>(values.size()))];
  }
  template <typename Value>
  const Value& pick(const std::vector<Value>& values) {
    return values[below(static_cast<unsigned int>(values.size()))];
  }

private:
  std::uint64_t state;
};

}  // namespace model
