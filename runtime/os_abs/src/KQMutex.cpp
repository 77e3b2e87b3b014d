#include "KQMutex.h"

namespace KQ {

KQMutex::KQMutex() = default;

KQMutex::~KQMutex() = default;

KQMutex* KQMutex::create() {
  return new KQMutex;
}

}  // namespace KQ
