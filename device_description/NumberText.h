#pragma once

#include <optional>
#include <string>

#include "DataType.h"
#include "DeviceDescription.h"

namespace device_description {

/// A number as it is written in a file: decimal, hexadecimal (0x) or octal (0), joined to "$NODEID" by a plus sign, in
/// either order; blanks and the case of letters do not matter, nor does what follows a semicolon.
class NumberText {
public:
  /// @return nothing for any other text. @param nodeID stands for $NODEID
  static std::optional<NumberText> parse(const std::string& text, unsigned char nodeID);

  /// What the number is in a type; nothing when the type does not hold it. A hexadecimal number without minus sign may
  /// be the two's complement of a negative one.
  std::optional<Value> as(const IntegerType& type) const;

  /// The number where it is in a range; nothing where it is not.
  std::optional<unsigned int> within(unsigned int lowest, unsigned int highest) const;

private:
  unsigned long long magnitude = 0;
  bool isNegative = false;
  bool isHexadecimal = false;
  bool dependsOnNodeID = false;
};

}  // namespace device_description
