#include "StandardObjectsTable.h"

namespace test {

namespace {

constexpr int VAR = 7;
constexpr int ARRAY = 8;
constexpr int RECORD = 9;

constexpr int U8 = 0x05;
constexpr int U16 = 0x06;
constexpr int U32 = 0x07;
constexpr int TEXT = 0x09;

constexpr unsigned int FULL = 0xFFFFFFFF;
constexpr unsigned int CREATION_LIMIT = 0x7FFFFFFF;

struct DataTypeRow {
  unsigned short index;
  const char* name;
  unsigned int highLimit;
};

const DataTypeRow DATA_TYPES[] = {
    {0x0001, "Boolean", 1},
    {0x0002, "INTEGER8", 255},
    {0x0003, "INTEGER16", 65535},
    {0x0004, "INTEGER32", FULL},
    {0x0005, "UNSIGNED8", 255},
    {0x0006, "UNSIGNED16", 65535},
    {0x0007, "UNSIGNED32", FULL},
    {0x0008, "REAL32", FULL},
    {0x0009, "VISIBLE_STRING", CREATION_LIMIT},
    {0x000A, "OCTET_STRING", CREATION_LIMIT},
    {0x000B, "UNICODE_STRING", CREATION_LIMIT},
    {0x000C, "TIME_OF_DAY", CREATION_LIMIT},
    {0x000D, "TIME_DIFFERENCE", CREATION_LIMIT},
    {0x000F, "DOMAIN", CREATION_LIMIT},
    {0x0010, "INTEGER24", 0xFFFFFF},
    {0x0011, "REAL64", FULL},
    {0x0012, "INTEGER40", FULL},
    {0x0013, "INTEGER48", FULL},
    {0x0014, "INTEGER56", FULL},
    {0x0015, "INTEGER64", FULL},
    {0x0016, "UNSIGNED24", 0xFFFFFF},
    {0x0018, "UNSIGNED40", FULL},
    {0x0019, "UNSIGNED48", FULL},
    {0x001A, "UNSIGNED56", FULL},
    {0x001B, "UNSIGNED64", FULL},
};

const std::string NO_NAME;
const std::string NO_TEXT;

}  // namespace

std::vector<ExpectedObject> dataTypeObjects() {
  std::vector<ExpectedObject> objects;
  for (const DataTypeRow& row : DATA_TYPES) {
    objects.push_back({row.index, VAR, row.name, 0, NO_NAME, "ro", row.index, 0, NO_TEXT, 0, row.highLimit, true});
  }
  return objects;
}

std::vector<ExpectedObject> profileObjects(const ExpectedNodeData& data) {
  const unsigned int id = data.nodeID;
  const char* const errorField = "Pre-Defined Error Field";
  const char* const store = "Store Parameters";
  const char* const restore = "Restore Default Parameters";
  const char* const consumer = "Consumer Heartbeat Time";
  const char* const identity = "Identitiy Object";
  const char* const server = "Server SDO Parameter";
  return {
      {0x1000, VAR, "Device Type", 0, NO_NAME, "ro", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1001, VAR, "Error Register", 0, NO_NAME, "ro", U8, 0, NO_TEXT, 0, 255, false},
      {0x1002, VAR, "Manufacturer Status Register", 0, NO_NAME, "ro", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1003, ARRAY, errorField, 0, "Number of Errors", "rw", U8, 1, NO_TEXT, 0, 254, false},
      {0x1003, ARRAY, errorField, 1, "Standard Error Field", "ro", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1005, VAR, "COB-ID SYNC Message", 0, NO_NAME, "rw", U32, 0x80, "0x80", 1, FULL, false},
      {0x1008, VAR, "Manufacturer Device Name", 0, NO_NAME, "const", TEXT, 0, "TAVO", 0, 0, false},
      {0x1009, VAR, "Manufacturer Hardware Version", 0, NO_NAME, "const", TEXT, 0, "1.0", 0, 0, false},
      {0x100A, VAR, "Manufacturer Software Version", 0, NO_NAME, "const", TEXT, 0, data.softwareVersion, 0, 0, false},
      {0x1010, ARRAY, store, 0, "Largest Subindex Supported", "ro", U8, 3, NO_TEXT, 1, 127, false},
      {0x1010, ARRAY, store, 1, "Save All Parameters", "rw", U32, 1, NO_TEXT, 0, FULL, false},
      {0x1010, ARRAY, store, 2, "Save Communication Parameters", "rw", U32, 1, NO_TEXT, 0, FULL, false},
      {0x1010, ARRAY, store, 3, "Save Application Parameters", "rw", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1011, ARRAY, restore, 0, "Largest subindex Supported", "ro", U8, 3, NO_TEXT, 1, 127, false},
      {0x1011, ARRAY, restore, 1, "Restore Default Parameters", "rw", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1011, ARRAY, restore, 2, "Restore Communication Default Parameters", "rw", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1011, ARRAY, restore, 3, "Restore Application Default Parameters", "rw", U32, 0, NO_TEXT, 0, FULL, false},
      {0x1012, VAR, "COB-ID Time Stamp Object", 0, NO_NAME, "rw", U32, 0x100, "0x100", 1, FULL, false},
      {0x1014, VAR, "COB-ID Emergency Object", 0, NO_NAME, "rw", U32, id + 0x80, "$NODEID+0x80", 1, FULL, false},
      {0x1015, VAR, "Inhibit Time EMCY", 0, NO_NAME, "rw", U16, 0, NO_TEXT, 0, 65535, false},
      {0x1016, ARRAY, consumer, 0, "Number of Entries", "ro", U8, 1, NO_TEXT, 1, 127, false},
      {0x1016, ARRAY, consumer, 1, "Consumer Heartbeat Time", "rw", U32, 0, NO_TEXT, 0, 0x7FFFFF, false},
      {0x1017, VAR, "Producer Heartbeat Time", 0, NO_NAME, "rw", U16, 0, NO_TEXT, 0, 65535, false},
      {0x1018, RECORD, identity, 0, "Number of Entries", "ro", U8, 4, NO_TEXT, 1, 4, false},
      {0x1018, RECORD, identity, 1, "Vendor ID", "ro", U32, 0x3C7, NO_TEXT, 0, FULL, false},
      {0x1018, RECORD, identity, 2, "Product Code", "ro", U32, data.productCode, NO_TEXT, 0, FULL, false},
      {0x1018, RECORD, identity, 3, "Revision Number", "ro", U32, data.revisionNumber, NO_TEXT, 0, FULL, false},
      {0x1018, RECORD, identity, 4, "Serial Number", "ro", U32, data.serialNumber, NO_TEXT, 0, FULL, false},
      {0x1200, RECORD, server, 0, "Number of Entries", "ro", U8, 2, NO_TEXT, 2, 2, false},
      {0x1200, RECORD, server, 1, "COB-ID Client->Server (rx)", "ro", U32, id + 0x600, "$NODEID+0x600", 0, FULL, false},
      {0x1200, RECORD, server, 2, "COB-ID Server->Client (tx)", "ro", U32, id + 0x580, "$NODEID+0x580", 0, FULL, false},
  };
}

std::vector<ExpectedObject> standardObjects(const ExpectedNodeData& data) {
  std::vector<ExpectedObject> objects = dataTypeObjects();
  for (ExpectedObject& object : profileObjects(data)) {
    objects.push_back(std::move(object));
  }
  return objects;
}

}  // namespace test
