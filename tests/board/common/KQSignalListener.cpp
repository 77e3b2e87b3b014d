#include "KQSignalListener.h"

namespace KQ {

KQSignalListener::KQSignalListener() {}

KQSignalListener::~KQSignalListener() {}

}  // namespace KQ
