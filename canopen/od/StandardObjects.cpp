// The objects that every node carries: the data type area and the communication profile area.

#include <cstdlib>

#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQEeprom.h"
#include "KQErrorCodes.h"

namespace KQ {

namespace {

struct DataTypeRow {
  KQCANopenDataType type;
  const char* name;
  bool hasLimits;
  unsigned int high;
};

constexpr DataTypeRow DATA_TYPE_ROWS[] = {
    {DATA_TYPE_BOOLEAN, "Boolean", true, 1},
    {DATA_TYPE_INTEGER8, "INTEGER8", true, 255},
    {DATA_TYPE_INTEGER16, "INTEGER16", true, 65535},
    {DATA_TYPE_INTEGER32, "INTEGER32", true, 0xFFFFFFFF},
    {DATA_TYPE_UNSIGNED8, "UNSIGNED8", true, 255},
    {DATA_TYPE_UNSIGNED16, "UNSIGNED16", true, 65535},
    {DATA_TYPE_UNSIGNED32, "UNSIGNED32", true, 0xFFFFFFFF},
    {DATA_TYPE_REAL32, "REAL32", true, 0xFFFFFFFF},
    {DATA_TYPE_VISIBLE_STRING, "VISIBLE_STRING", false, 0},
    {DATA_TYPE_OCTET_STRING, "OCTET_STRING", false, 0},
    {DATA_TYPE_UNICODE_STRING, "UNICODE_STRING", false, 0},
    {DATA_TYPE_TIME_OF_DAY, "TIME_OF_DAY", false, 0},
    {DATA_TYPE_TIME_DIFFERENCE, "TIME_DIFFERENCE", false, 0},
    {DATA_TYPE_DOMAIN, "DOMAIN", false, 0},
    {DATA_TYPE_INTEGER24, "INTEGER24", true, 0xFFFFFF},
    {DATA_TYPE_REAL64, "REAL64", true, 0xFFFFFFFF},
    {DATA_TYPE_INTEGER40, "INTEGER40", true, 0xFFFFFFFF},
    {DATA_TYPE_INTEGER48, "INTEGER48", true, 0xFFFFFFFF},
    {DATA_TYPE_INTEGER56, "INTEGER56", true, 0xFFFFFFFF},
    {DATA_TYPE_INTEGER64, "INTEGER64", true, 0xFFFFFFFF},
    {DATA_TYPE_UNSIGNED24, "UNSIGNED24", true, 0xFFFFFF},
    {DATA_TYPE_UNSIGNED40, "UNSIGNED40", true, 0xFFFFFFFF},
    {DATA_TYPE_UNSIGNED48, "UNSIGNED48", true, 0xFFFFFFFF},
    {DATA_TYPE_UNSIGNED56, "UNSIGNED56", true, 0xFFFFFFFF},
    {DATA_TYPE_UNSIGNED64, "UNSIGNED64", true, 0xFFFFFFFF},
};

// Where the default of a standard object comes from.
enum class Source { FIXED, NODE_ID, SOFTWARE_VERSION, PRODUCT_CODE, REVISION_NUMBER, SERIAL_NUMBER };

struct ObjectRow {
  unsigned short index;
  KQCANopenObjectType objectType;
  const char* name;
};

struct SubEntryRow {
  unsigned short index;
  unsigned char subIndex;
  const char* name;
  KQCANopenAccessType access;
  KQCANopenDataType type;
  unsigned int defaultValue;  // for NODE_ID what is added to the node ID
  const char* defaultText;
  unsigned int low;
  unsigned int high;
  Source source = Source::FIXED;
};

constexpr unsigned int ALL = 0xFFFFFFFF;

constexpr KQCANopenDataType U8 = DATA_TYPE_UNSIGNED8;
constexpr KQCANopenDataType U16 = DATA_TYPE_UNSIGNED16;
constexpr KQCANopenDataType U32 = DATA_TYPE_UNSIGNED32;
constexpr KQCANopenDataType TEXT = DATA_TYPE_VISIBLE_STRING;

// The names are part of the interface, down to their spelling.
constexpr ObjectRow OBJECT_ROWS[] = {
    {0x1000, OBJECT_TYPE_VAR, "Device Type"},
    {0x1001, OBJECT_TYPE_VAR, "Error Register"},
    {0x1002, OBJECT_TYPE_VAR, "Manufacturer Status Register"},
    {0x1003, OBJECT_TYPE_ARRAY, "Pre-Defined Error Field"},
    {0x1005, OBJECT_TYPE_VAR, "COB-ID SYNC Message"},
    {0x1008, OBJECT_TYPE_VAR, "Manufacturer Device Name"},
    {0x1009, OBJECT_TYPE_VAR, "Manufacturer Hardware Version"},
    {0x100A, OBJECT_TYPE_VAR, "Manufacturer Software Version"},
    {0x1010, OBJECT_TYPE_ARRAY, "Store Parameters"},
    {0x1011, OBJECT_TYPE_ARRAY, "Restore Default Parameters"},
    {0x1012, OBJECT_TYPE_VAR, "COB-ID Time Stamp Object"},
    {0x1014, OBJECT_TYPE_VAR, "COB-ID Emergency Object"},
    {0x1015, OBJECT_TYPE_VAR, "Inhibit Time EMCY"},
    {0x1016, OBJECT_TYPE_ARRAY, "Consumer Heartbeat Time"},
    {0x1017, OBJECT_TYPE_VAR, "Producer Heartbeat Time"},
    {0x1018, OBJECT_TYPE_RECORD, "Identitiy Object"},
    {0x1200, OBJECT_TYPE_RECORD, "Server SDO Parameter"},
};

constexpr SubEntryRow SUB_ENTRY_ROWS[] = {
    {0x1000, 0, "", ACCESS_RO, U32, 0, "", 0, ALL},
    {0x1001, 0, "", ACCESS_RO, U8, 0, "", 0, 255},
    {0x1002, 0, "", ACCESS_RO, U32, 0, "", 0, ALL},
    {0x1003, 0, "Number of Errors", ACCESS_RW, U8, 0, "", 0, 254},
    {0x1003, 1, "Standard Error Field", ACCESS_RO, U32, 0, "", 0, ALL},
    {0x1005, 0, "", ACCESS_RW, U32, 0x80, "0x80", 1, ALL},
    {0x1008, 0, "", ACCESS_CONST, TEXT, 0, "TAVO", 0, 0},
    {0x1009, 0, "", ACCESS_CONST, TEXT, 0, "1.0", 0, 0},
    {0x100A, 0, "", ACCESS_CONST, TEXT, 0, "", 0, 0, Source::SOFTWARE_VERSION},
    {0x1010, 0, "Largest Subindex Supported", ACCESS_RO, U8, 0, "", 1, 127},
    {0x1010, 1, "Save All Parameters", ACCESS_RW, U32, 1, "", 0, ALL},
    {0x1010, 2, "Save Communication Parameters", ACCESS_RW, U32, 1, "", 0, ALL},
    {0x1010, 3, "Save Application Parameters", ACCESS_RW, U32, 0, "", 0, ALL},
    {0x1011, 0, "Largest subindex Supported", ACCESS_RO, U8, 0, "", 1, 127},
    {0x1011, 1, "Restore Default Parameters", ACCESS_RW, U32, 0, "", 0, ALL},
    {0x1011, 2, "Restore Communication Default Parameters", ACCESS_RW, U32, 0, "", 0, ALL},
    {0x1011, 3, "Restore Application Default Parameters", ACCESS_RW, U32, 0, "", 0, ALL},
    {0x1012, 0, "", ACCESS_RW, U32, 0x100, "0x100", 1, ALL},
    {0x1014, 0, "", ACCESS_RW, U32, 0x80, "$NODEID+0x80", 1, ALL, Source::NODE_ID},
    {0x1015, 0, "", ACCESS_RW, U16, 0, "", 0, 65535},
    {0x1016, 0, "Number of Entries", ACCESS_RO, U8, 0, "", 1, 127},
    {0x1016, 1, "Consumer Heartbeat Time", ACCESS_RW, U32, 0, "", 0, 0x7FFFFF},
    {0x1017, 0, "", ACCESS_RW, U16, 0, "", 0, 65535},
    {0x1018, 0, "Number of Entries", ACCESS_RO, U8, 0, "", 1, 4},
    {0x1018, 1, "Vendor ID", ACCESS_RO, U32, 0x3C7, "", 0, ALL},
    {0x1018, 2, "Product Code", ACCESS_RO, U32, 0, "", 0, ALL, Source::PRODUCT_CODE},
    {0x1018, 3, "Revision Number", ACCESS_RO, U32, 0, "", 0, ALL, Source::REVISION_NUMBER},
    {0x1018, 4, "Serial Number", ACCESS_RO, U32, 0, "", 0, ALL, Source::SERIAL_NUMBER},
    {0x1200, 0, "Number of Entries", ACCESS_RO, U8, 0, "", 2, 2},
    {0x1200, 1, "COB-ID Client->Server (rx)", ACCESS_RO, U32, 0x600, "$NODEID+0x600", 0, ALL, Source::NODE_ID},
    {0x1200, 2, "COB-ID Server->Client (tx)", ACCESS_RO, U32, 0x580, "$NODEID+0x580", 0, ALL, Source::NODE_ID},
};

constexpr std::size_t SERIAL_NUMBER_DIGITS = 7;
constexpr std::size_t REVISION_NUMBER_DIGITS = 2;

// A part of the device's serial number text as a number. Base 0: "0x" reads hexadecimal and a leading zero octal.
unsigned int numberInSerialText(std::size_t position, std::size_t digits) {
  const std::string text = KQEeprom::getSerialNumber();
  if (text.size() < SERIAL_NUMBER_DIGITS + REVISION_NUMBER_DIGITS) {
    return 0;
  }
  return static_cast<unsigned int>(std::strtol(text.substr(position, digits).c_str(), nullptr, 0));
}

unsigned int defaultValueOf(const SubEntryRow& row, const KQCANopen* instance) {
  switch (row.source) {
    case Source::NODE_ID:
      return row.defaultValue + (instance != nullptr ? instance->getNodeID() : 0U);
    case Source::PRODUCT_CODE:
      return KQEeprom::getProductType();
    case Source::SERIAL_NUMBER:
      return numberInSerialText(0, SERIAL_NUMBER_DIGITS);
    case Source::REVISION_NUMBER:
      return numberInSerialText(SERIAL_NUMBER_DIGITS, REVISION_NUMBER_DIGITS);
    case Source::FIXED:
    case Source::SOFTWARE_VERSION:
      break;
  }
  return row.defaultValue;
}

}  // namespace

int KQCANopenObjectDictionary::createDataTypeEntries() {
  for (const DataTypeRow& row : DATA_TYPE_ROWS) {
    const auto index = static_cast<unsigned short>(row.type);
    addEntry(index, OBJECT_TYPE_VAR, row.name);
    addSubentry(index, 0, ACCESS_RO, row.type, std::string(), true, 0, std::string(), 0);
    if (row.hasLimits) {
      setLimits(index, 0, 0, static_cast<int>(row.high));
    }
  }
  return KQ_OK;
}

int KQCANopenObjectDictionary::createPreDefinedConnectionSet() {
  createDataTypeEntries();
  for (const ObjectRow& row : OBJECT_ROWS) {
    addEntry(row.index, row.objectType, row.name);
  }
  for (const SubEntryRow& row : SUB_ENTRY_ROWS) {
    const std::string text = row.source == Source::SOFTWARE_VERSION ? getSoftwareVersion() : row.defaultText;
    addSubentry(row.index, row.subIndex, row.access, row.type, row.name, false,
                static_cast<int>(defaultValueOf(row, instance)), text, 0);
    setLimits(row.index, row.subIndex, static_cast<int>(row.low), static_cast<int>(row.high));
  }
  // The defaults of the node are on disk each time the stack starts; a directory that takes no file stops nothing.
  storeParameters("tavo_default.dcf");
  return KQ_OK;
}

std::string KQCANopenObjectDictionary::getSoftwareVersion() {
  std::string version;
  return getValue(0x2400, 0x0F, version) == KQ_OK ? version : "undefined";
}

}  // namespace KQ
