// The smallest node: it boots, sends heartbeats, obeys a master's NMT commands and answers SDO requests.
//
//   smallest-node [URI]     URI: socketcan:can0, socketcand:HOST:PORT/CHANNEL, virtual:bus0 when left out
#include <algorithm>
#include <iostream>

#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"

using namespace KQ;

int main(int argumentCount, char** arguments) {
  constexpr unsigned int PORT = 0;  // by this number the node knows its CAN port
  const char* const uri = argumentCount > 1 ? arguments[1] : "virtual:bus0";
  if (KQCANPortRegistry::instance()->bindPort(PORT, uri) != KQ_OK) {
    std::cerr << uri << " is no CAN port\n";
    return 2;
  }

  KQEndPointManager endPoints;  // where the program sleeps until frames arrive
  KQCANopen node("smallest node");
  if (node.create(KQDEI::instance(), KQVariableEventDispatcher::instance(), PORT, nullptr) != KQ_OK) {
    std::cerr << node.getPortError() << '\n';
    return 2;
  }
  node.subscribeToEndpointManager(&endPoints);
  node.setNodeID(5);
  node.setHeartbeatProducerTime(1000);
  if (node.init() != KQ_OK) {
    return 2;
  }

  for (;;) {
    node.process(KQTick::getTickCount() + 50);
    endPoints.wait(static_cast<int>(std::clamp(node.getTimeToNextWork(KQTick::getTickCount()), 1U, 1000U)));
  }
}
