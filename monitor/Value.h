#pragma once

#include <cstdint>
#include <string>

#include "ValueType.h"

namespace monitor {

/// A value as it was seen on the wire. Filled anew for every frame, so that its memory is used again.
class Value {
public:
  /// Takes the bytes of a value, the first byte the least significant.
  /// @param count as many as there were; with a type of fewer bits the rest is left out, with one of more bits, or when
  ///   a PATTERN has more than eight bytes, the value is one of BYTES (of TEXT, when all of it can be read)
  void setBytes(ValueType type, const unsigned char* source, std::size_t count);

  /// Takes a value of up to 64 bits out of a PDO. @param source its bits from bit 0 on; those above are left out
  void setBits(ValueType type, std::uint64_t source, unsigned int count);

  Form getForm() const { return form; }
  std::uint64_t getPattern() const { return pattern; }  ///< the bits of a number, BOOLEAN, TIME or PATTERN
  long long getSigned() const;                          ///< of SIGNED
  double getReal() const;                               ///< of REAL
  unsigned int getBits() const { return bits; }
  const std::string& getBytes() const { return bytes; }  ///< of TEXT, WIDE_TEXT and BYTES, as they came

  /// Adds it as a person reads it: "-12", "true", "3.14", "0x01FF" (PATTERN), "\"TAVO\"" with what is not printable
  /// escaped, "00 1A FF" (BYTES), "2026-11-22 07:30:00.000" (TIME). The text is UTF-8.
  void appendTo(std::string& text) const;

private:
  Form form{Form::PATTERN};
  unsigned short bits{0};
  std::uint64_t pattern{0};
  std::string bytes;
};

}  // namespace monitor
