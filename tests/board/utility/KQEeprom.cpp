#include "KQEeprom.h"

namespace KQ {

unsigned int KQEeprom::getProductType() {
  return 0x54;
}

std::string KQEeprom::getSerialNumber() {
  return "100000101";
}

}  // namespace KQ
