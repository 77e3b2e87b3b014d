// Watches the heartbeat of another node: a line when it falls silent, and when it is back.
//
//   heartbeat-watch NODE [URI]     NODE: node-ID of 1 to 127 that is watched; see smallest-node.cpp for URI
#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQCANopenSignal.h"
#include "KQDEI.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"

using namespace KQ;

namespace {

// Called on the thread that calls process(). A node counts as missing until its first heartbeat.
class Watch : public KQSignalListener {
public:
  int signalOccurred(KQSignal& signal) override {
    const bool isBack = signal.getCode() == SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED;
    if (!isBack && signal.getCode() != SIGNAL_HEARTBEAT_TIMEOUT) {
      return KQ_NOT_HANDLED;
    }
    std::cout << "node " << signal.getFirstValue() << (isBack ? " is there" : " is silent") << std::endl;
    return KQ_OK;
  }
};

}  // namespace

int main(int argumentCount, char** arguments) {
  const int watched = argumentCount > 1 ? std::atoi(arguments[1]) : 0;
  if (watched < 1 || watched > 127) {
    std::cerr << "usage: heartbeat-watch NODE [URI]\n";
    return 2;
  }
  KQCANPortRegistry::instance()->bindPort(0, argumentCount > 2 ? arguments[2] : "virtual:bus0");
  KQEndPointManager endPoints;
  Watch watch;
  KQCANopen node("heartbeat watch");
  if (node.create(KQDEI::instance(), KQVariableEventDispatcher::instance(), 0, nullptr) != KQ_OK) {
    std::cerr << node.getPortError() << '\n';
    return 2;
  }
  node.subscribeToEndpointManager(&endPoints);
  node.setNodeID(126);
  node.init();
  // Half as long again as the watched node's own period.
  node.addHeartbeatConsumer(static_cast<unsigned char>(watched), 1500);
  node.addHeartbeatListener(&watch);

  for (;;) {
    node.process(KQTick::getTickCount() + 50);
    endPoints.wait(static_cast<int>(std::clamp(node.getTimeToNextWork(KQTick::getTickCount()), 1U, 1000U)));
  }
}
