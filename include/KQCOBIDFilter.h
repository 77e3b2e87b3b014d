#pragma once

#include <array>

namespace KQ {

/// Which handlers of a node may serve a frame, by its identifier of 11 bits. What is entered stays: a handler that is
/// asked for nothing only costs time.
class KQCOBIDFilter {
public:
  /// Sets of handlers, to be combined.
  static constexpr unsigned int NMT = 0x1;
  static constexpr unsigned int PDO = 0x2;
  static constexpr unsigned int SDO = 0x4;
  static constexpr unsigned int ALL = 0xFF;

  /// An identifier of more than 11 bits is never in a frame and not entered.
  void add(unsigned int cobID, unsigned int handlers) {
    if (cobID < servers.size()) {
      servers[cobID] = static_cast<unsigned char>(servers[cobID] | handlers);
    }
  }

  unsigned int handlersOf(unsigned int identifier) const {
    return identifier < servers.size() ? servers[identifier] : ALL;
  }

private:
  std::array<unsigned char, 0x800> servers{};
};

}  // namespace KQ
