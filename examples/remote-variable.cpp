// A variable of another node as if it were one's own: read by SDO about once a second, and written when the application
// writes it. The other node is a tavo-panel with its demo machine, whose set point is at 0x2000 sub-index 2.
//
//   tavo-panel                                                  node 5, serves the bus
//   remote-variable socketcand:127.0.0.1:29536/bus0             node 6
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
constexpr unsigned char SERVER = 5;
constexpr unsigned int SET_POINT = 0x20000002;  // as the server knows it: index and sub-index

// The channel names the server, the variable names the channel: a request goes from the one to the other.
void addRemoteVariable(KQCANopen& node) {
  node.addSDOChannel(0x600U + SERVER, 0x580U + SERVER, SERVER, SDO_CHANNEL_CLIENT, "machine");
  KQVariable setPoint(INDEX, 1, "Set Point", STORAGE_TYPE_INTEGER, 16, true);
  setPoint.setChannelName("machine");
  setPoint.setExternalIdentifier(SET_POINT);
  node.addVariable(&setPoint);
  node.setSDOServerID(INDEX, 1, 0x600U + SERVER);
}

// A value that could not be read in time is marked invalid; it is valid again with the next one that was.
void print(KQDEI& store) {
  int value = 0;
  const int result = store.getVariableValue(INDEX, 1, &value);
  std::cout << "set point: " << value << (result == KQ_OK ? "" : " (not readable)") << std::endl;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  KQCANPortRegistry::instance()->bindPort(0, argumentCount > 1 ? arguments[1] : "virtual:bus0");
  KQDEI& store = *KQDEI::instance();
  KQEndPointManager endPoints;
  KQCANopen node("remote variable");
  if (node.create(&store, KQVariableEventDispatcher::instance(), 0, nullptr) != KQ_OK) {
    std::cerr << node.getPortError() << '\n';
    return 2;
  }
  node.subscribeToEndpointManager(&endPoints);
  node.setNodeID(6);
  node.init();
  addRemoteVariable(node);
  node.process(KQTick::getTickCount() + 50);

  store.setVariableValue(INDEX, 1, 300, true, true);  // handed to its owner, the node, which writes it to the server
  for (unsigned int last = KQTick::getTickCount();;) {
    const unsigned int now = KQTick::getTickCount();
    if (now - last >= 1000) {
      last = now;
      print(store);
      node.getValueRequest(static_cast<unsigned int>(INDEX) << 16 | 1U);
    }
    node.process(now + 50);
    endPoints.wait(static_cast<int>(std::clamp(node.getTimeToNextWork(KQTick::getTickCount()), 1U, 100U)));
  }
}
