#include "Frame.h"
#include "KQCANopenSignal.h"
#include "KQCANopenState.h"
#include "KQSignal.h"
#include "ScenarioKinds.h"

namespace bench {

namespace {

constexpr unsigned int COB_ID_NMT = 0x000;
constexpr unsigned int COB_ID_HEARTBEAT = 0x700;
constexpr unsigned int RESET_COMMUNICATION = 0x82;
constexpr unsigned int BOOT_UP = 0x00;
constexpr unsigned int OPERATIONAL = 0x05;

}  // namespace

Heartbeat::Heartbeat(const Configuration& configuration) : RepeatedScenario(configuration) {
  for (unsigned int consumer = 0; consumer < configuration.consumers; ++consumer) {
    heartbeats.push_back(frame(COB_ID_HEARTBEAT + watchedNode(consumer), {OPERATIONAL}));
  }
  // From here on every watched node counts as missing until it is heard in the first round.
  node.canopen().addHeartbeatListener(this);
  node.canopen().addHeartbeatConsumer(static_cast<unsigned char>(watchedNode(0)), 1000);
}

int Heartbeat::signalOccurred(KQ::KQSignal& signal) {
  ++(signal.getCode() == KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED ? resolvedTimeouts : otherEvents);
  return 0;
}

bool Heartbeat::isDone(std::size_t /*operation*/) const {
  return resolvedTimeouts == heartbeats.size() && otherEvents == 0;
}

Rejection::Rejection(const Configuration& configuration) : RepeatedScenario(configuration) {
  // Below, between, and above what the node listens to, and in the midst of it.
  for (const unsigned int identifier : {0x07FU, 0x1FFU, 0x2C1U, 0x604U}) {
    strangers.push_back(frame(identifier, {1, 2, 3, 4, 5, 6, 7, 8}));
  }
}

bool Rejection::isDone(std::size_t /*operation*/) const {
  return node.canopen().getCANopenState() == KQ::CANOPEN_STATE_OPERATIONAL;
}

IdleCycle::IdleCycle(const Configuration& configuration) : RepeatedScenario(configuration) {
  for (unsigned int port = 2; port <= configuration.nodes; ++port) {
    otherNodes.push_back(std::make_unique<BenchNode>(configuration, port));
  }
}

Reset::Reset(const Configuration& configuration)
    : RepeatedScenario(configuration), command(frame(COB_ID_NMT, {RESET_COMMUNICATION, NODE_ID})) {}

Frames Reset::expectedFrames(std::size_t /*operation*/) const {
  return {frame(COB_ID_HEARTBEAT + NODE_ID, {BOOT_UP})};
}

}  // namespace bench
