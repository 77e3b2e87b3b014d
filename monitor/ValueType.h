#pragma once

namespace monitor {

/// How the bits of a value are to be read.
enum class Form : unsigned char {
  PATTERN,    ///< nobody knows: shown as the hexadecimal number of its bytes, the first byte the least significant
  BOOLEAN,    ///<
  SIGNED,     ///< two's complement
  UNSIGNED,   ///<
  REAL,       ///< IEEE 754, of 32 or 64 bits
  TEXT,       ///< ISO 8859-1
  WIDE_TEXT,  ///< UTF-16, the low byte of each unit first
  TIME,       ///< milliseconds of the day in the low 28 bits, days since 1984 from bit 32 on
  BYTES       ///< octets, a file, or whatever else has no other form
};

/// The data type of an object, as far as its values are to be shown.
struct ValueType {
  Form form = Form::PATTERN;
  unsigned short bits = 0;  ///< 1 to 64; 0 when the type does not say: texts, octets, and what is not known

  /// The type that the standard gives a code in 0x0001 to 0x001B; PATTERN of no bits for any other code.
  static ValueType fromCode(unsigned int code);
};

}  // namespace monitor
