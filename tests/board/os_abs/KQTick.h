#pragma once

namespace KQ {

class KQTick {
public:
  static unsigned int getTickCount();
};

}  // namespace KQ
