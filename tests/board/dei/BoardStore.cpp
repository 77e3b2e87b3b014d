#include "BoardStore.h"

#include "KQDEI.h"
#include "KQVariableEventDispatcher.h"

void board::clearStore() {
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
}
