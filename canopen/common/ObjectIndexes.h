#pragma once

namespace KQ {

/// Where the objects of the communication profile (CiA 301) stand in the object dictionary.
namespace object {

struct IndexRange {
  unsigned short first;
  unsigned short last;

  constexpr bool contains(unsigned int index) const { return index >= first && index <= last; }
};

inline constexpr unsigned short ERROR_REGISTER = 0x1001;
inline constexpr unsigned short COB_ID_SYNC = 0x1005;
inline constexpr unsigned short COB_ID_EMCY = 0x1014;
inline constexpr unsigned short CONSUMER_HEARTBEAT_TIME = 0x1016;
inline constexpr unsigned short PRODUCER_HEARTBEAT_TIME = 0x1017;
inline constexpr unsigned short IDENTITY = 0x1018;

/// Below, there are data types: mapped, they are dummy entries that only fill up a frame.
inline constexpr unsigned short FIRST_COMMUNICATION_OBJECT = 0x1000;
/// From here on, an object is a window on a variable of the store.
inline constexpr unsigned short FIRST_APPLICATION_OBJECT = 0x2000;

inline constexpr IndexRange SERVER_SDO_PARAMETERS{0x1200, 0x127F};
inline constexpr IndexRange CLIENT_SDO_PARAMETERS{0x1280, 0x12FF};
inline constexpr IndexRange RECEIVE_PDO_COMMUNICATION{0x1400, 0x15FF};
inline constexpr IndexRange RECEIVE_PDO_MAPPING{0x1600, 0x17FF};
inline constexpr IndexRange TRANSMIT_PDO_COMMUNICATION{0x1800, 0x19FF};
inline constexpr IndexRange TRANSMIT_PDO_MAPPING{0x1A00, 0x1BFF};
/// From a PDO's communication parameter to its mapping parameter.
inline constexpr unsigned short PDO_MAPPING_OFFSET = 0x200;

/// Sub-indexes of a PDO's communication parameter.
inline constexpr unsigned char PDO_COB_ID = 1;
inline constexpr unsigned char PDO_TRANSMISSION_TYPE = 2;
inline constexpr unsigned char PDO_INHIBIT_TIME = 3;
inline constexpr unsigned char PDO_EVENT_TIMER = 5;

/// The consumers of heartbeats stand in sub-index 1 to this one.
inline constexpr unsigned char LAST_CONSUMER_SUB_INDEX = 127;
inline constexpr int HIGHEST_SUB_INDEX = 255;

}  // namespace object

}  // namespace KQ
