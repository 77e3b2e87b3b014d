#include "StandardNames.h"

#include <iterator>

namespace monitor {

namespace {

constexpr unsigned char U8 = 0x05;
constexpr unsigned char U16 = 0x06;
constexpr unsigned char U32 = 0x07;
constexpr unsigned char TEXT = 0x09;
constexpr unsigned char BYTES = 0x0A;
constexpr unsigned char DOMAIN = 0x0F;

struct Entry {
  unsigned short first;
  unsigned short last;
  unsigned char firstSubIndex;
  unsigned char lastSubIndex;
  unsigned char type;
  std::string_view name;
};

// In rising order of the index.
constexpr Entry ENTRIES[] = {
    {0x1000, 0x1000, 0, 0, U32, "Device type"},
    {0x1001, 0x1001, 0, 0, U8, "Error register"},
    {0x1002, 0x1002, 0, 0, U32, "Manufacturer status register"},
    {0x1003, 0x1003, 0, 0, U8, "Number of errors"},
    {0x1003, 0x1003, 1, 254, U32, "Pre-defined error field"},
    {0x1005, 0x1005, 0, 0, U32, "COB-ID SYNC message"},
    {0x1006, 0x1006, 0, 0, U32, "Communication cycle period"},
    {0x1007, 0x1007, 0, 0, U32, "Synchronous window length"},
    {0x1008, 0x1008, 0, 0, TEXT, "Manufacturer device name"},
    {0x1009, 0x1009, 0, 0, TEXT, "Manufacturer hardware version"},
    {0x100A, 0x100A, 0, 0, TEXT, "Manufacturer software version"},
    {0x100C, 0x100C, 0, 0, U16, "Guard time"},
    {0x100D, 0x100D, 0, 0, U8, "Life time factor"},
    {0x1010, 0x1010, 0, 0, U8, "Store parameters: highest sub-index"},
    {0x1010, 0x1010, 1, 127, U32, "Store parameters"},
    {0x1011, 0x1011, 0, 0, U8, "Restore default parameters: highest sub-index"},
    {0x1011, 0x1011, 1, 127, U32, "Restore default parameters"},
    {0x1012, 0x1012, 0, 0, U32, "COB-ID time stamp object"},
    {0x1013, 0x1013, 0, 0, U32, "High resolution time stamp"},
    {0x1014, 0x1014, 0, 0, U32, "COB-ID EMCY"},
    {0x1015, 0x1015, 0, 0, U16, "Inhibit time EMCY"},
    {0x1016, 0x1016, 0, 0, U8, "Consumer heartbeat time: highest sub-index"},
    {0x1016, 0x1016, 1, 127, U32, "Consumer heartbeat time"},
    {0x1017, 0x1017, 0, 0, U16, "Producer heartbeat time"},
    {0x1018, 0x1018, 0, 0, U8, "Identity object: highest sub-index"},
    {0x1018, 0x1018, 1, 1, U32, "Vendor-ID"},
    {0x1018, 0x1018, 2, 2, U32, "Product code"},
    {0x1018, 0x1018, 3, 3, U32, "Revision number"},
    {0x1018, 0x1018, 4, 4, U32, "Serial number"},
    {0x1019, 0x1019, 0, 0, U8, "Synchronous counter overflow value"},
    {0x1020, 0x1020, 0, 0, U8, "Verify configuration: highest sub-index"},
    {0x1020, 0x1020, 1, 1, U32, "Configuration date"},
    {0x1020, 0x1020, 2, 2, U32, "Configuration time"},
    {0x1021, 0x1021, 0, 0, DOMAIN, "Store EDS"},
    {0x1022, 0x1022, 0, 0, U8, "Store format"},
    {0x1023, 0x1023, 0, 0, U8, "OS command: highest sub-index"},
    {0x1023, 0x1023, 1, 1, BYTES, "OS command: command"},
    {0x1023, 0x1023, 2, 2, U8, "OS command: status"},
    {0x1023, 0x1023, 3, 3, BYTES, "OS command: reply"},
    {0x1024, 0x1024, 0, 0, U8, "OS command mode"},
    {0x1026, 0x1026, 0, 0, U8, "OS prompt: highest sub-index"},
    {0x1026, 0x1026, 1, 1, U8, "OS prompt: StdIn"},
    {0x1026, 0x1026, 2, 2, U8, "OS prompt: StdOut"},
    {0x1026, 0x1026, 3, 3, U8, "OS prompt: StdErr"},
    {0x1027, 0x1027, 0, 0, U8, "Module list: number of modules"},
    {0x1027, 0x1027, 1, 254, U16, "Module list"},
    {0x1028, 0x1028, 0, 0, U8, "Emergency consumer object: highest sub-index"},
    {0x1028, 0x1028, 1, 127, U32, "Emergency consumer object"},
    {0x1029, 0x1029, 0, 0, U8, "Error behaviour: highest sub-index"},
    {0x1029, 0x1029, 1, 1, U8, "Error behaviour: communication error"},
    {0x1029, 0x1029, 2, 254, U8, "Error behaviour"},
    {0x1200, 0x127F, 0, 0, U8, "SDO server parameter: highest sub-index"},
    {0x1200, 0x127F, 1, 1, U32, "SDO server parameter: COB-ID client to server"},
    {0x1200, 0x127F, 2, 2, U32, "SDO server parameter: COB-ID server to client"},
    {0x1200, 0x127F, 3, 3, U8, "SDO server parameter: node-ID of the client"},
    {0x1280, 0x12FF, 0, 0, U8, "SDO client parameter: highest sub-index"},
    {0x1280, 0x12FF, 1, 1, U32, "SDO client parameter: COB-ID client to server"},
    {0x1280, 0x12FF, 2, 2, U32, "SDO client parameter: COB-ID server to client"},
    {0x1280, 0x12FF, 3, 3, U8, "SDO client parameter: node-ID of the server"},
    {0x1400, 0x15FF, 0, 0, U8, "RPDO communication parameter: highest sub-index"},
    {0x1400, 0x15FF, 1, 1, U32, "RPDO communication parameter: COB-ID"},
    {0x1400, 0x15FF, 2, 2, U8, "RPDO communication parameter: transmission type"},
    {0x1400, 0x15FF, 3, 3, U16, "RPDO communication parameter: inhibit time"},
    {0x1400, 0x15FF, 5, 5, U16, "RPDO communication parameter: event timer"},
    {0x1400, 0x15FF, 6, 6, U8, "RPDO communication parameter: SYNC start value"},
    {0x1600, 0x17FF, 0, 0, U8, "RPDO mapping parameter: number of objects"},
    {0x1600, 0x17FF, 1, 64, U32, "RPDO mapping parameter: object"},
    {0x1800, 0x19FF, 0, 0, U8, "TPDO communication parameter: highest sub-index"},
    {0x1800, 0x19FF, 1, 1, U32, "TPDO communication parameter: COB-ID"},
    {0x1800, 0x19FF, 2, 2, U8, "TPDO communication parameter: transmission type"},
    {0x1800, 0x19FF, 3, 3, U16, "TPDO communication parameter: inhibit time"},
    {0x1800, 0x19FF, 5, 5, U16, "TPDO communication parameter: event timer"},
    {0x1800, 0x19FF, 6, 6, U8, "TPDO communication parameter: SYNC start value"},
    {0x1A00, 0x1BFF, 0, 0, U8, "TPDO mapping parameter: number of objects"},
    {0x1A00, 0x1BFF, 1, 64, U32, "TPDO mapping parameter: object"},
};

// Numbers that are COB-IDs, mappings and the like are read in hexadecimal by everybody.
ValueType typeOf(unsigned char code) {
  const ValueType type = ValueType::fromCode(code);
  return code == U32 ? ValueType{Form::PATTERN, type.bits} : type;
}

}  // namespace

const StandardNames& StandardNames::instance() {
  static const StandardNames NAMES;
  return NAMES;
}

ObjectDescription StandardNames::describe(unsigned char /*node*/, unsigned short index, unsigned char subIndex) const {
  for (const Entry* entry = std::begin(ENTRIES); entry != std::end(ENTRIES) && entry->first <= index; ++entry) {
    if (index <= entry->last && entry->firstSubIndex <= subIndex && subIndex <= entry->lastSubIndex) {
      return {entry->name, typeOf(entry->type)};
    }
  }
  return {};
}

const CommunicationObject* StandardNames::findCommunicationObject(unsigned int /*cobID*/) const {
  return nullptr;
}

}  // namespace monitor
