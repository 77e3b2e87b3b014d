#include "DataType.h"

#include <algorithm>
#include <iterator>

namespace device_description {

namespace {

constexpr DataType DATA_TYPES[] = {
    {0x01, "BOOLEAN", 1, true, false},           {0x02, "INTEGER8", 8, true, true},
    {0x03, "INTEGER16", 16, true, true},         {0x04, "INTEGER32", 32, true, true},
    {0x05, "UNSIGNED8", 8, true, false},         {0x06, "UNSIGNED16", 16, true, false},
    {0x07, "UNSIGNED32", 32, true, false},       {0x08, "REAL32", 32, false, true},
    {0x09, "VISIBLE_STRING", 0, false, false},   {0x0A, "OCTET_STRING", 0, false, false},
    {0x0B, "UNICODE_STRING", 0, false, false},   {0x0C, "TIME_OF_DAY", 48, false, false},
    {0x0D, "TIME_DIFFERENCE", 48, false, false}, {0x0F, "DOMAIN", 0, false, false},
    {0x10, "INTEGER24", 24, true, true},         {0x11, "REAL64", 64, false, true},
    {0x12, "INTEGER40", 40, true, true},         {0x13, "INTEGER48", 48, true, true},
    {0x14, "INTEGER56", 56, true, true},         {0x15, "INTEGER64", 64, true, true},
    {0x16, "UNSIGNED24", 24, true, false},       {0x18, "UNSIGNED40", 40, true, false},
    {0x19, "UNSIGNED48", 48, true, false},       {0x1A, "UNSIGNED56", 56, true, false},
    {0x1B, "UNSIGNED64", 64, true, false},
};

}  // namespace

const DataType* findDataType(unsigned int code) {
  const auto* const found = std::find_if(std::begin(DATA_TYPES), std::end(DATA_TYPES),
                                         [code](const DataType& type) { return type.code == code; });
  return found == std::end(DATA_TYPES) ? nullptr : found;
}

std::string getRangeText(const IntegerType& type) {
  const unsigned long long half = 1ULL << (type.bits - 1);
  return type.isSigned ? "-" + std::to_string(half) + " to " + std::to_string(half - 1)
                       : "0 to " + std::to_string(half - 1 + half);
}

}  // namespace device_description
