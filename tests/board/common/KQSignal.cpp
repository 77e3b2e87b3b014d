#include "KQSignal.h"

namespace KQ {

KQSignal::KQSignal(int signalType, int signalCode, unsigned int first, unsigned int second, bool signalFlag)
    : type(signalType), code(signalCode), firstValue(first), secondValue(second), flag(signalFlag) {}

int KQSignal::getType() const {
  return type;
}

int KQSignal::getCode() const {
  return code;
}

unsigned int KQSignal::getFirstValue() const {
  return firstValue;
}

unsigned int KQSignal::getSecondValue() const {
  return secondValue;
}

bool KQSignal::getFlag() const {
  return flag;
}

}  // namespace KQ
