#include "Edition.h"

#include <string>
#include <utility>

#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQDebug.h"
#include "KQTick.h"
#include "KQTime.h"
#include "KQVariableEventDispatcher.h"

namespace test {

void edition::setClock(unsigned int (*clock)()) {
  KQ::KQTick::setSource(clock);
}

void edition::setWallClock(long (*clock)()) {
  KQ::KQTime::setSource(clock);
}

void edition::clearStore() {
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
}

void edition::printDebugLines(bool print) {
  KQ::KQDebug::setLevel(KQ::KQCANopen::debugSection, print ? KQ::KQDebug::DEFAULT_LEVEL : 0);
}

void edition::bindPort(unsigned int number, std::function<std::unique_ptr<KQ::KQEndPoint>()> open) {
  KQ::KQCANPortRegistry::instance()->bindPort(number,
                                              [opener = std::move(open)](std::string& /*error*/) { return opener(); });
}

void edition::bindBus(unsigned int number) {
  KQ::KQCANPortRegistry::instance()->bindPort(number, "virtual:test");
}

void edition::unbindPort(unsigned int number) {
  KQ::KQCANPortRegistry::instance()->unbindPort(number);
}

std::unique_ptr<KQ::KQEndPoint> edition::openPort(unsigned int number) {
  std::string error;
  return KQ::KQCANPortRegistry::instance()->openPort(number, error);
}

}  // namespace test
