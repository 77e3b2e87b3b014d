#pragma once

#include <string>

namespace KQ {

/// The data that the device carries from its making. A host has no such memory; each value is taken
/// from the first of these that gives it:
///  1. the environment variable KQ_PRODUCT_TYPE or KQ_SERIAL_NUMBER;
///  2. the file that the environment variable KQ_EEPROM_FILE names, with lines "product_type=VALUE" and
///     "serial_number=VALUE" (other lines are ignored, the first line of a kind counts);
///  3. the defaults below.
/// A product type is a number of 32 bits, decimal, hexadecimal after "0x" or octal after "0"; anything
/// else there counts as not given, as does an empty serial number.
/// May be called from any thread while nobody changes the environment; each call reads anew.
class KQEeprom {
public:
  static constexpr unsigned int DEFAULT_PRODUCT_TYPE = 0x54;  ///< when neither variable nor file has one
  /// Seven characters of serial number, then two of revision.
  static constexpr const char* DEFAULT_SERIAL_NUMBER = "100000101";

  /// The number of the device type (object 1018h, product code).
  static unsigned int getProductType();

  /// The serial number text: seven characters of serial number, then two of revision number.
  static std::string getSerialNumber();
};

}  // namespace KQ
