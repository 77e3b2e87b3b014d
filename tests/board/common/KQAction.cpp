#include "KQAction.h"

namespace KQ {

KQAction::KQAction() : eventType(0) {}

KQAction::~KQAction() {}

void KQAction::setEventType(int type) {
  eventType = type;
}

int KQAction::getEventType() const {
  return eventType;
}

}  // namespace KQ
