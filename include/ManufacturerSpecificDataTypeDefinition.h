#pragma once

namespace KQ {

/// One of the eight manufacturer-specific data types (0x40 to 0x47) for bit lengths that CiA 301 has no type for.
struct ManufacturerSpecificDataTypeDefinition {
  static constexpr int FREE = -1;  ///< the bitCount of a slot that is not used

  int bitCount = FREE;       ///< length in bits; FREE while the slot is not used
  bool isSigned = false;     ///< two's complement
  unsigned short index = 0;  ///< index of the type's entry, 0x40 to 0x47
};

}  // namespace KQ
