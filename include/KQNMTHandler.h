#pragma once

#include <array>
#include <map>
#include <vector>

#include "KQCANopenMessageHandler.h"
#include "KQCANopenState.h"

namespace KQ {

class KQCANopenStateMachine;
class KQSignalListener;

/// NMT slave (CiA 301 module control), boot-up and heartbeat producer, and heartbeat consumer of the nodes listed in
/// object 0x1016. Every operation belongs to the protocol thread. Nothing it points to is owned.
class KQNMTHandler : public KQCANopenMessageHandler {
public:
  KQNMTHandler() = default;
  KQNMTHandler(const KQNMTHandler&) = delete;
  KQNMTHandler& operator=(const KQNMTHandler&) = delete;

  /// @param id node ID of this node, 1 to 127; 255 until it is set
  void setNodeID(unsigned int id) { nodeID = id; }
  /// Whose state NMT commands change. Not owned; null: there are no commands.
  void setStateMachine(KQCANopenStateMachine* machine) { stateMachine = machine; }

  /// Obey only commands addressed to this node, not those to all nodes (node ID 0).
  void setIgnoreBroadcastCommands(bool ignore) { ignoreBroadcastCommands = ignore; }

  /// Takes the live value of the producer heartbeat time (0x1017, ms) from @p dictionary; null changes nothing.
  void setHeartbeatProducerTime(KQCANopenObjectDictionary* dictionary);

  /// Sends the boot-up message (@p state 0) at once, or the heartbeat of @p state when it is due. Ticks are compared as
  /// they stand: from when the due tick lies beyond their wrap until they have wrapped, every call sends one.
  /// @param state KQCANopenState; only 3, 4 and 5 have a heartbeat
  /// @return 0 when nothing was due; else the code of the transmission
  int sendHeartbeatMessage(int state);

  /// Executes an NMT command (COB-ID 0, two bytes) or notes the heartbeat of a watched node.
  /// @return 20 for null; 0 when the command was executed or is not for this node; 35 for an unknown or refused
  ///   command; 11 for a command without state machine and for every other frame, heartbeats included
  int handleMessage(KQCANMessage* message) override;

  /// Sets the single listener for the heartbeat events of all nodes; null removes it.
  void addHeartbeatListener(KQSignalListener* listener) { heartbeatListener = listener; }

  /// Sets the listener for the heartbeat events of one node, replacing an earlier one.
  /// @param node only its low 8 bits count
  void addHeartbeatListner(KQSignalListener* listener, int node);

  /// Re-reads the consumer heartbeat times (0x1016). Every listed node counts as missing until it is heard. A node
  /// that is no longer listed stays watched.
  void updateHeartbeatConsumerSettings();

  /// Reports every watched node that was heard and has since been silent for longer than its time (signal 0x517), once.
  /// Ticks are compared as they stand: a node whose time runs out beyond their wrap is reported at once.
  void checkHeartbeatTimeouts();

private:
  friend class KQCANopenStateMachine;

  /// Whether a cycle has something to do here: a heartbeat, the time-out of a watched node or, in INIT, the boot-up
  /// message.
  /// @param state of the node, KQCANopenState
  bool isWorkDue(unsigned int now, int state) const {
    return state == CANOPEN_STATE_INIT || isHeartbeatDue(now) || isTimeoutDue(now);
  }

  /// @return ms until isWorkDue() will be true in a communicating state; 0xFFFFFFFF: never, as it stands
  unsigned int getTimeToNextWork(unsigned int now) const;

  /// A watched node. It is never taken out again.
  struct Consumer {
    unsigned char node = 0;
    unsigned int time = 0;      ///< ms
    unsigned int deadline = 0;  ///< tick after which the node counts as silent; counts while it is not timed out
    bool isTimedOut = true;     ///< missing: not heard yet, or silent for too long
  };

  Consumer* findConsumer(unsigned int node);
  Consumer& addConsumer(unsigned char node);
  void declareWatchedNodes();
  bool isCommandForThisNode(unsigned char addressedNode) const;
  int executeCommand(unsigned char commandSpecifier);
  bool isHeartbeatDue(unsigned int now) const {
    return heartbeatProducerTime != nullptr && *heartbeatProducerTime > 0 &&
           now >= lastHeartbeatTick + static_cast<unsigned int>(*heartbeatProducerTime);
  }
  bool isTimeoutDue(unsigned int now) const { return now > earliestDeadline; }
  int sendStateByte(unsigned char stateByte, unsigned int now);
  int handleHeartbeat(const KQCANMessage& message);
  void reportHeartbeatEvent(int code, unsigned char node, unsigned int reason, const char* logText);

  KQCANopenStateMachine* stateMachine = nullptr;
  unsigned int nodeID = 255;
  bool ignoreBroadcastCommands = false;
  unsigned int lastHeartbeatTick = 0;
  const int* heartbeatProducerTime = nullptr;  ///< live value of 0x1017 inside the dictionary
  std::vector<Consumer> consumers;
  std::array<unsigned short, 256> consumerNumbers{};  ///< by node: position among the consumers + 1; 0: not watched
  /// Of the nodes that are not timed out: no deadline lies before; may lie too early itself.
  unsigned int earliestDeadline = ~0U;
  std::map<unsigned char, KQSignalListener*> heartbeatListeners;
  KQSignalListener* heartbeatListener = nullptr;
};

}  // namespace KQ
