#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

/// Takes an input apart from its beginning, so that a byte that is changed changes one decision. Behind the end
/// everything is 0.
class Input {
public:
  Input(const std::uint8_t* bytes, std::size_t size) : next(bytes), end(bytes + size) {}

  bool isEmpty() const { return next == end; }
  std::size_t size() const { return static_cast<std::size_t>(end - next); }

  unsigned char byte() { return isEmpty() ? static_cast<unsigned char>(0) : *next++; }

  unsigned short word() {
    const unsigned int low = byte();
    return static_cast<unsigned short>(low | static_cast<unsigned int>(byte()) << 8);
  }

  unsigned int number() {
    const unsigned int low = word();
    return low | static_cast<unsigned int>(word()) << 16;
  }

  /// A number below the bound. @param bound 1 to 256
  unsigned int below(unsigned int bound) { return byte() % bound; }

  /// At most that many of the bytes that are left.
  std::string text(std::size_t length) {
    const std::size_t count = length < size() ? length : size();
    std::string result(reinterpret_cast<const char*>(next), count);
    next += count;
    return result;
  }

private:
  const std::uint8_t* next;
  const std::uint8_t* const end;
};

}  // namespace fuzz
