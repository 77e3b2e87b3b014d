// Several nodes in one process, on one bus: the instance manager drives them, and gives each its share of the time.
//
//   several-nodes [URI]     see smallest-node.cpp
#include <algorithm>
#include <iostream>
#include <memory>

#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQCANopenInstanceManager.h"
#include "KQDEI.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"

using namespace KQ;

namespace {

constexpr unsigned int PORT = 0;

// All nodes share the variable store: what one of them makes an object of another one's variable, both show.
bool addNode(unsigned char nodeID, KQEndPointManager& endPoints) {
  auto node = std::make_unique<KQCANopen>("node " + std::to_string(nodeID));
  if (node->create(KQDEI::instance(), KQVariableEventDispatcher::instance(), PORT, nullptr) != KQ_OK) {
    std::cerr << node->getPortError() << '\n';
    return false;
  }
  node->subscribeToEndpointManager(&endPoints);
  node->setNodeID(nodeID);
  node->setHeartbeatProducerTime(1000);
  node->init();
  KQCANopenInstanceManager::instance()->addCANopenInstance(node.release());
  return true;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  KQCANPortRegistry::instance()->bindPort(PORT, argumentCount > 1 ? arguments[1] : "virtual:bus0");
  KQCANopenInstanceManager& nodes = *KQCANopenInstanceManager::instance();
  KQEndPointManager endPoints;
  if (!addNode(5, endPoints) || !addNode(6, endPoints) || !addNode(7, endPoints)) {
    nodes.deleteAllInstances();
    return 2;
  }

  for (;;) {
    nodes.updateAllData(KQTick::getTickCount() + 50);
    const unsigned int now = KQTick::getTickCount();
    unsigned int wait = 1000;
    for (unsigned char nodeID = 5; nodeID <= 7; ++nodeID) {
      wait = std::min(wait, nodes.getCANopenInstance(PORT, nodeID)->getTimeToNextWork(now));
    }
    endPoints.wait(static_cast<int>(std::max(wait, 1U)));
  }
}
