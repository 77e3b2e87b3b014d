#pragma once

namespace KQ {

/// The key under which the whole stack names a sub-index of the object dictionary: index << 16 | sub-index. Bits 8 to
/// 15 of a key have no meaning.
constexpr unsigned int keyOf(unsigned short index, unsigned char subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

constexpr unsigned short indexOf(unsigned int key) {
  return static_cast<unsigned short>(key >> 16);
}

constexpr unsigned char subIndexOf(unsigned int key) {
  return static_cast<unsigned char>(key & 0xFF);
}

}  // namespace KQ
