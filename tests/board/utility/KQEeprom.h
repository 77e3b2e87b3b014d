#pragma once

#include <string>

namespace KQ {

class KQEeprom {
public:
  static unsigned int getProductType();
  static std::string getSerialNumber();
};

}  // namespace KQ
