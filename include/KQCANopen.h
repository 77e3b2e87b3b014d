#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "KQCANProtocol.h"
#include "KQCANopenDataType.h"
#include "KQCANopenPDOType.h"
#include "KQCANopenSDOChannelType.h"
#include "KQCANopenState.h"
#include "KQEventType.h"
#include "ManufacturerSpecificDataTypeDefinition.h"

namespace KQ {

class KQAction;
class KQCANopenObjectDictionary;
class KQCANopenStateMachine;
class KQEmergencyHandler;
class KQNMTHandler;
class KQPDOHandler;
class KQSDOHandler;
class KQSyncHandler;

/// One CANopen node (CiA 301) on one CAN port of the panel.
///
/// Calling order: construct; create(); setNodeID(), setOption(), setHeartbeatProducerTime(); init(); configuration
/// (addSDOChannel() to setPDOEventAction()) and variables (addVariable(), getApplicationVariables());
/// KQCANopenInstanceManager::addCANopenInstance(); then process() cyclically and onEndPointReadable() whenever the
/// port has frames.
///
/// Every operation belongs to the one protocol thread, except updateRequest(), getValueRequest() and signalOccurred(),
/// which the runtime may call from any thread; none of these may be under way during init() and destruction, and the
/// dictionary takes no new objects once they are. Operations that need the object dictionary return 10 before init(),
/// unless they say otherwise.
class KQCANopen : public KQCANProtocol {
public:
  /// Number of options of setOption().
  static constexpr int OPTION_COUNT = 5;
  /// Obey only NMT commands addressed to this node.
  static constexpr int OPTION_IGNORE_BROADCAST_COMMANDS = 3;
  /// Allow setCANopenState().
  static constexpr int OPTION_ALLOW_STATE_CHANGE = 4;

  /// The stack's section in the runtime's debug facility ("kq_can_open").
  static const int debugSection;

  /// @param name the owner name of the node's variables in the store
  explicit KQCANopen(const std::string& name);

  /// Deletes the parts of the node and the variables that it created, and takes it out of the instance manager.
  ~KQCANopen() override;

  // ---- the runtime's protocol interface

  /// Drives the node. @param deadline not used, as in process(). @return 0 without state machine; else 1 when the cycle
  ///   failed, 0 when it did not
  int runProtocol(unsigned int deadline) override;

  /// Validates or invalidates a PDO by bit 31 of its COB-ID.
  /// @param index communication parameter, 0x1400 to 0x15FF or 0x1800 to 0x19FF
  /// @return 1 before init(); the code of the failed read; else that of the write
  int enableMessage(unsigned int index, bool enable) override;

  /// Builds the node: object dictionary with the standard objects, state machine, handlers. Called again, it builds
  /// the node anew: variables, configuration and listeners, PDO actions included, have to be added again. What stays is
  /// what the calling order puts before it, and the work listener.
  ///
  /// A listener may call it again, on an NMT reset for instance. The parts of before then do nothing more, and exist
  /// until the cycle or the reception that called the listener returns. @return 0; 3 without a protocol context
  int init() override;

  /// One cycle of the node. @param deadline not used: what the cycle sends is given 50 ms from its start, whatever the
  ///   runtime asks for. @return 10 before init(); else the cycle's result
  int process(unsigned int deadline) override;

  /// Drains the port when @p readable is this node's own; any other is ignored. It reads as long as the port has frames
  /// (KQCANopenStateMachine::receiveCANMessages): the runtime bounds what a port hands out in one turn.
  void onEndPointReadable(KQEndPoint* readable, KQEndPointManager* manager) override;
  /// Nothing happens: the node goes on where it was.
  void onEndPointReconnected(KQEndPoint* reconnected) override;

  /// Variable changes (codes 1100, 1101: variable ID, new value) on their way to the PDOs. Any thread.
  /// @return the PDO handler's result; 11 for another code; 10 without dictionary or PDO handler
  int signalOccurred(KQSignal& signal) override;

  // ---- the node

  /// Creates and wires the state machine; part of init(). @return as KQCANopenStateMachine::initHandlers()
  int createStateMachine();

  /// @param option 0 to 4: 3 and 4 as named above, 0 to 2 are kept for the application. @return 0; 20
  int setOption(int option, bool value);
  /// @return the option; false for a number outside 0 to 4
  [[nodiscard]] bool getOption(int option) const;

  /// Enters a communication state, without a check of the transition.
  /// @param state KQCANopenState. @return 0; 30 without OPTION_ALLOW_STATE_CHANGE; 10 before init()
  int setCANopenState(int state);
  /// @return KQCANopenState; 6 (fatal error) before init()
  int getCANopenState() const;

  /// When the node next has something to do by itself: the beginning of a cycle any later than that is late, and one
  /// before has nothing to do. Counts heartbeats, heartbeat and reception time-outs, event timers, inhibit times, SDO
  /// time-outs and queued requests, and the states that pass by themselves. Frames, changes of variables and
  /// configuration make work, too: it is to be asked for again after each of these. Of what other threads queue, a work
  /// listener hears. The status word, of 5 ms at most, is for a runtime that knows nothing of this.
  /// @param now tick, for a caller that has read it already
  /// @return ms; 0: now; 0xFFFFFFFF: nothing is due at any time, which holds before init(), too. Protocol thread
  unsigned int getTimeToNextWork(unsigned int now) const;
  unsigned int getTimeToNextWork() const;

  /// Sets the single listener that is told (type 6, code 1701, no values) when a request or a transmission has been
  /// queued for the cycle, which may be asleep: on the thread that queued it, whichever that is, with no lock of a
  /// queue held. It should wake the protocol thread and not do more. Null removes it; not owned. Before other threads
  /// run
  void setWorkListener(KQSignalListener* listener) { workListener = listener; }

  /// Freezes and thaws the node: no cycle, no reception, no state change. Without effect before init().
  void setPaused(bool paused);
  /// @return true before init()
  bool isPaused() const;

  /// @param id 1 to 127; reaches the handlers in init()
  void setNodeID(unsigned char id) { nodeID = id; }
  unsigned char getNodeID() const { return nodeID; }

  /// @param ms silence after which an SDO transfer is aborted (CiA 301 SDO time-out), 100 unless set
  void setSDOTimeout(unsigned int ms) { sdoTimeout = ms; }
  [[nodiscard]] unsigned int getSDOTimeout() const { return sdoTimeout; }

  /// The limit of setSDOTransferLimit() unless set: 64 MiB.
  static constexpr unsigned int DEFAULT_SDO_TRANSFER_LIMIT = 64U * 1024U * 1024U;
  /// Bounds what a segmented SDO transfer into this node may carry, a master's download as well as a server's answer to
  /// the client: the segment that would exceed it is answered with abort 0x05040005 (out of memory), and
  /// KQSDOHandler::getRefusedTransferCount() counts. While a transfer grows, its memory takes up to twice the limit.
  /// Takes effect at once. @param bytes 0 refuses every byte
  void setSDOTransferLimit(unsigned int bytes) { sdoTransferLimit = bytes; }
  [[nodiscard]] unsigned int getSDOTransferLimit() const { return sdoTransferLimit; }

  /// The parts of the node, null before init(). They stay owned by the node.
  [[nodiscard]] KQCANopenObjectDictionary* getObjectDictionary() const { return objectDictionary; }
  [[nodiscard]] KQCANopenStateMachine* getStateMachine() const { return stateMachine; }
  [[nodiscard]] KQSDOHandler* getSDOHandler() const { return sdoHandler; }
  [[nodiscard]] KQPDOHandler* getPDOHandler() const { return pdoHandler; }
  [[nodiscard]] KQNMTHandler* getNMTHandler() const { return nmtHandler; }
  [[nodiscard]] KQSyncHandler* getSyncHandler() const { return syncHandler; }
  [[nodiscard]] KQEmergencyHandler* getEmergencyHandler() const { return emergencyHandler; }

  // ---- application variables

  /// Makes a variable an object: first address part = index, low byte of the second = sub-index. A copy is kept and a
  /// variable owned by this node enters the store, under all 16 bits of both parts.
  /// @return 0; 20 for null or a storage type without value; 25 when the variable ID is bound already; 6 when it could
  ///   not be kept; 10 before init()
  int addVariable(KQVariable* variable) override;

  /// Makes an object of every variable of the store that is not this node's, addressed as by addVariable().
  /// @return 1 when done; 10 before init()
  int getApplicationVariables();

  /// The node's copy of a variable that addVariable() bound, or null.
  KQVariable* getVariable(unsigned int variableID) const;

  /// The bound variable that a remote node knows as (index, subIndex) on the SDO channel with @p cobID (server to
  /// client), or null. All 16 bits of @p subIndex count: they are part of a variable ID.
  KQVariable* getVariableByExternalIdentifier(unsigned short index, unsigned short subIndex, unsigned int cobID) const;

  /// The CiA 301 data type of a bit length, or a manufacturer-specific one. @return data type index; 0: none left
  int calculateDataType(int bits, bool isSigned);

  /// Finds or defines a manufacturer-specific data type. @return 0x40 to 0x47; 0 when all eight are others, or
  ///   @p bits is negative
  int createDataTypeIfNotExisting(int bits, bool isSigned);

  /// @return the definition of 0x40 to 0x47, null for any other type and for one not defined
  const ManufacturerSpecificDataTypeDefinition* getManufacturerSpecificDataTypeDefinition(KQCANopenDataType type) const;

  /// The application's requests to write or read a variable of a remote node; queued for the SDO client. Any thread.
  /// @return the SDO handler's code; 10 before init()
  using KQCANProtocol::getValueRequest;
  using KQCANProtocol::updateRequest;
  int updateRequest(unsigned int variableID, int value) override;
  int updateRequest(unsigned int variableID, const std::string& value) override;
  int getValueRequest(unsigned int variableID) override;

  /// Forces the default value into an object. @param key object key. @return the dictionary's code; 0 before init()
  int resetValue(unsigned int key);

  // ---- communication (after init(), before the first cycle; the handlers read the objects in INIT)

  /// Creates an SDO parameter object (CiA 301 SDO server/client parameter) at the first free index.
  /// @param cobIDClientToServer,cobIDServerToClient COB-IDs; bit 31 disables the channel
  /// @param node node ID of the other side
  /// @param name of a client channel: ties it to the variables with that channel name
  /// @return 0; 6 when all 128 indexes are taken; 10 before init()
  int addSDOChannel(unsigned int cobIDClientToServer, unsigned int cobIDServerToClient, unsigned char node,
                    KQCANopenSDOChannelType type, const std::string& name);

  /// Binds an object to the remote SDO server with that request COB-ID.
  /// @param subIndex only the low byte counts
  /// @return 0; 10 before init() or without the object; 23 when the SDO handler refuses
  int setSDOServerID(unsigned short index, unsigned short subIndex, unsigned int serverID);

  /// Sets the listener for SDO events (type 6, code 1103), null removes it. @return 0; 10 before init()
  int setSDOEventListener(KQSignalListener* listener);

  /// Creates the communication and mapping parameter of a PDO.
  /// @param number zero-based, below 512
  /// @param cobID CAN identifier; bits 30 and 31 are set by the kind of PDO and by @p enabled
  /// @param eventTimer ms: period of an event-driven TPDO, reception time-out of an event-driven RPDO; 0 = off
  /// @param inhibitTime ms: shortest time between two transmissions of an event-driven TPDO
  /// @param transmissionType CiA 301 transmission type
  /// @param listener kept under the communication parameter's index, not owned
  /// @return 0; 10 before init()
  int addPDO(KQCANopenPDOType type, unsigned short number, unsigned int cobID, unsigned short eventTimer,
             unsigned short inhibitTime, unsigned char transmissionType, bool enabled, KQSignalListener* listener);

  /// Appends one object to a PDO's mapping. A failure invalidates the PDO for good, and is logged. The access right
  /// "rw" of the object becomes "rwr" (transmit) or "rww" (receive), and "rw" again for good when it is mapped in both.
  /// @param index,subIndex the mapped object; only the low byte of subIndex counts. An index below 0x48 is a data type
  ///   (dummy entry): that of the runtime variable index << 16 | subIndex (all 16 bits of it) when there is one, else
  ///   the index itself
  /// @param bits length in the frame, 1 to 64
  /// @return 0; 10 before init(); 20 when the object is missing or not mappable or the mapping is full; 29 for a length
  ///   below 1
  int addPDOMapping(unsigned short number, KQCANopenPDOType type, unsigned short index, unsigned short subIndex,
                    int bits);

  /// Binds an action to a transmit PDO when it is next built. @return as KQPDOHandler::setPDOAction(); 10
  int setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey);

  /// Sets the action that runs on a PDO event, replacing an earlier one; null is ignored. Not owned.
  /// @param key communication parameter index. @param eventType KQEventType
  void setPDOEventAction(unsigned short key, int eventType, KQAction* action);

  /// Runs the action of a PDO event. @return the action's result; without meaning when there is none
  int sendPDOEvent(KQEventType eventType, unsigned short key);

  /// Producer heartbeat time (0x1017). @param ms 0 switches the heartbeat off, up to 65535
  void setHeartbeatProducerTime(int ms);
  /// @return the value of 0x1017; 0 before init()
  int getHeartbeatTime();

  /// Adds or changes a consumer heartbeat time (0x1016); it counts at once.
  /// @param node 1 to 127; 0 finds a free place and only sets its time
  /// @return 0, also when all 127 places are taken; 10 before init()
  int addHeartbeatConsumer(unsigned char node, unsigned short timeMs);

  /// Sets the single listener for heartbeat events (codes 0x517, 0x518). @return 0; 10 before init()
  int addHeartbeatListener(KQSignalListener* listener);
  /// Sets the listener for the heartbeat events of one node.
  void addHeartbeatListener(KQSignalListener* listener, int node);

  /// Sets the single listener for state changes (type 6, code 1700). @return 0; 10 before init()
  int addStateListener(KQSignalListener* listener);

private:
  friend class NodeInternals;  // what the parts of the node ask of it

  void reportQueuedWork();
  void renewReceptionFilter();
  void deleteParts();
  void deleteStateMachine();
  template <typename Part>
  void deletePart(Part*& part);
  void deleteVariables();
  void forgetConfiguration();
  void deleteFormerParts();
  void bindRuntimeVariable(const KQVariable& variable);
  void addRuntimeEntry(const KQVariable& variable, unsigned short index, unsigned char subIndex);
  void addVariableToStore(const KQVariable& variable);
  int appendMapping(unsigned short mappingIndex, KQCANopenPDOType type, unsigned short index, unsigned char subIndex,
                    unsigned short variableSubIndex, int bits);
  unsigned short dataTypeOfVariable(unsigned short index, unsigned short subIndex);
  void placeHeartbeatConsumer(unsigned char node, unsigned short timeMs);
  void addDataTypeEntry(const ManufacturerSpecificDataTypeDefinition& definition);

  KQCANopenStateMachine* stateMachine = nullptr;
  KQCANopenObjectDictionary* objectDictionary = nullptr;
  KQSDOHandler* sdoHandler = nullptr;
  KQPDOHandler* pdoHandler = nullptr;
  KQNMTHandler* nmtHandler = nullptr;
  KQSyncHandler* syncHandler = nullptr;
  KQEmergencyHandler* emergencyHandler = nullptr;
  unsigned int uses = 0;                                 ///< calls under way in parts that call listeners
  std::vector<std::shared_ptr<const void>> formerParts;  ///< of an earlier init(), while such calls are under way
  unsigned char nodeID = 0;
  std::array<bool, OPTION_COUNT> options{};
  bool initialised = false;
  bool registered = false;
  int heartbeatProducerTime = 0;
  unsigned int sdoTimeout = 100;
  unsigned int sdoTransferLimit = DEFAULT_SDO_TRANSFER_LIMIT;
  KQSignalListener* workListener = nullptr;
  std::array<ManufacturerSpecificDataTypeDefinition, 8> dataTypeSlots;
  std::unordered_map<unsigned int, KQVariable*> applicationVariables;  ///< by variable ID, owned
  std::unordered_map<unsigned short, KQSignalListener*> pdoListeners;  ///< by PDO communication parameter index
  std::unordered_map<unsigned short, std::map<int, KQAction*>> pdoEventActions;
  std::map<unsigned int, std::string> sdoChannelNames;  ///< by COB-ID server -> client
};

}  // namespace KQ
