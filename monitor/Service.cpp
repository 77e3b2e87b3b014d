#include "Service.h"

namespace monitor {

std::string_view getName(Service service) {
  static constexpr std::string_view NAMES[SERVICES] = {
      "NMT",          "SYNC",      "TIME",    "EMCY",          "TPDO", "RPDO",   "SDO request",
      "SDO response", "heartbeat", "boot-up", "node guarding", "LSS",  "unknown"};
  return NAMES[static_cast<unsigned int>(service)];
}

}  // namespace monitor
