// Variables of the application as objects, and PDOs that carry them: a counter that goes out with each change, and a
// limit that a master sets by PDO or by SDO.
//
//   variables-and-pdos [URI]     see smallest-node.cpp; a master has to start the node: 000#01 05
#include <algorithm>
#include <iostream>

#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"

using namespace KQ;

namespace {

constexpr unsigned short INDEX = 0x2000;
constexpr unsigned char EVENT_DRIVEN = 254;

// The counter is the application's: it enters the store, from which the node takes it.
void addCounter(KQCANopen& node) {
  KQVariable counter(INDEX, 1, "Counter", STORAGE_TYPE_INTEGER, 16, false);
  counter.setAccessMode(2);  // read only, for a master
  KQDEI::instance()->addVariable(&counter);
  node.getApplicationVariables();
}

// The limit is the node's: a master's value outside of 1 to 1000 is refused with an abort code.
void addLimit(KQCANopen& node) {
  KQVariable limit(INDEX, 2, "Limit", STORAGE_TYPE_INTEGER, 16, false);
  limit.setInitialValue(10);
  limit.setMinimum(1);
  limit.setMaximum(1000);
  node.addVariable(&limit);
}

void addPDOs(KQCANopen& node) {
  node.addPDO(PDO_TYPE_TRANSMIT, 0, 0x180U + node.getNodeID(), 0, 0, EVENT_DRIVEN, true, nullptr);
  node.addPDOMapping(0, PDO_TYPE_TRANSMIT, INDEX, 1, 16);
  node.addPDO(PDO_TYPE_RECEIVE, 0, 0x200U + node.getNodeID(), 0, 0, EVENT_DRIVEN, true, nullptr);
  node.addPDOMapping(0, PDO_TYPE_RECEIVE, INDEX, 2, 16);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  KQCANPortRegistry::instance()->bindPort(0, argumentCount > 1 ? arguments[1] : "virtual:bus0");
  KQEndPointManager endPoints;
  KQCANopen node("variables and PDOs");
  if (node.create(KQDEI::instance(), KQVariableEventDispatcher::instance(), 0, nullptr) != KQ_OK) {
    std::cerr << node.getPortError() << '\n';
    return 2;
  }
  node.subscribeToEndpointManager(&endPoints);
  node.setNodeID(5);
  node.init();  // builds the object dictionary: variables and PDOs come after it
  addCounter(node);
  addLimit(node);
  addPDOs(node);

  for (unsigned int last = KQTick::getTickCount(), count = 0;;) {
    const unsigned int now = KQTick::getTickCount();
    if (now - last >= 100) {
      last = now;
      int limit = 0;
      KQDEI::instance()->getVariableValue(INDEX, 2, &limit);
      count = count < static_cast<unsigned int>(limit) ? count + 1 : 0;
      KQDEI::instance()->setVariableValue(INDEX, 1, static_cast<int>(count), true, false);
    }
    node.process(now + 50);
    endPoints.wait(static_cast<int>(std::clamp(node.getTimeToNextWork(KQTick::getTickCount()), 1U, 100U)));
  }
}
