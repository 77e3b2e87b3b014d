#pragma once

#include <string>

namespace device_description {

/// Data types of CiA 301, by their index, of which more is to be known than the number.
enum DataTypeCode : unsigned int {
  TYPE_BOOLEAN = 0x01,
  TYPE_UNSIGNED8 = 0x05,
  TYPE_UNSIGNED16 = 0x06,
  TYPE_UNSIGNED32 = 0x07,
  TYPE_VISIBLE_STRING = 0x09,
  TYPE_DOMAIN = 0x0F
};

/// How many bits an integer has, and whether it has a sign.
struct IntegerType {
  unsigned int bits;
  bool isSigned;
};

/// A standard data type.
struct DataType {
  unsigned int code;
  const char* name;
  unsigned int bits;  ///< 0: no fixed length
  bool isInteger;     ///< BOOLEAN included
  bool isSigned;
};

/// The standard data type with an index, or null.
const DataType* findDataType(unsigned int code);

/// The numbers that an integer type holds, as people write them: "0 to 255".
std::string getRangeText(const IntegerType& type);

}  // namespace device_description
