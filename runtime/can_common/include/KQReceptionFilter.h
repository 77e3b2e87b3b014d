#pragma once

#include <bitset>
#include <cstddef>

namespace KQ {

/// The identifiers (11 bits) of the frames that somebody wants from a CAN port.
class KQReceptionFilter {
public:
  /// Number of identifiers that there are.
  static constexpr std::size_t COUNT = 0x800;

  /// One of more than 11 bits is never in a frame and not added.
  void add(unsigned int identifier) {
    if (identifier < COUNT) {
      identifiers.set(identifier);
    }
  }

  /// Whether an identifier was added.
  [[nodiscard]] bool contains(unsigned int identifier) const { return identifier < COUNT && identifiers[identifier]; }

  /// Whether two filters want the same frames.
  friend bool operator==(const KQReceptionFilter& left, const KQReceptionFilter& right) {
    return left.identifiers == right.identifiers;
  }

private:
  std::bitset<COUNT> identifiers;
};

}  // namespace KQ
