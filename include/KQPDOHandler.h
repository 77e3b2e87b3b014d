#pragma once

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "KQCANopenMessageHandler.h"
#include "KQCANopenPDOType.h"
#include "KQCANopenState.h"
#include "KQKeyTable.h"
#include "KQPDO.h"
#include "KQPDOSet.h"
#include "PDOActionStruct.h"

namespace KQ {

class KQCANopenStateMachine;
class KQDEI;
class KQMutex;
class KQSyncHandler;

/// Process data of the node (CiA 301 PDO): builds the PDOs from the dictionary, receives RPDOs, sends TPDOs on change,
/// by event timer and after their inhibit time, and watches the reception of RPDOs. Owns all PDOs.
///
/// Belongs to the protocol thread, except handleVariableChange() and sendPDODirectly(), which come from whichever
/// thread changed a mapped value. The one outgoing frame, the set of pending transmissions and the index of mapped
/// variables are touched only by the holder of the send mutex.
class KQPDOHandler : public KQCANopenMessageHandler {
public:
  explicit KQPDOHandler(KQCANopen* canopen);
  ~KQPDOHandler() override;
  KQPDOHandler(const KQPDOHandler&) = delete;
  KQPDOHandler& operator=(const KQPDOHandler&) = delete;

  /// While one lives, the call that made it may hold on to PDOs: one that is deleted meanwhile is only retired.
  class Activity;

  void setStateMachine(KQCANopenStateMachine* machine) {
    // Every INIT sets the same one again, while application threads read it.
    if (stateMachine != machine) {
      stateMachine = machine;
    }
  }
  void setSyncHandler(KQSyncHandler* handler) { syncHandler = handler; }

  /// Guards transmission; recursive. Whoever holds it knows that no PDO goes out meanwhile from another thread.
  KQMutex& getSendMutex() { return *sendMutex; }

  /// Builds all PDOs anew from the dictionary. @return 0; 10 without dictionary
  int init();

  /// Takes the frame of an RPDO: applies it, or keeps it for the next SYNC.
  /// @return 0; 11 when no RPDO has that COB-ID or the node is not OPERATIONAL;
  ///   0x8220 when the frame is longer than the RPDO; 10 without SYNC handler
  int handleMessage(KQCANMessage* message) override;

  /// Whether a cycle has something to do here: a transmission, or the reception time-out of an RPDO.
  /// @param state of the node, KQCANopenState
  /// @param waitHint lowered to the ms until the next event timer when there is nothing to do
  bool isWorkDue(unsigned int now, int state, unsigned int& waitHint) const {
    if (isRxCheckNeeded || isRxDeadlineKnown) {
      return true;
    }
    if (state != CANOPEN_STATE_OPERATIONAL) {
      return false;
    }
    return hasPendingPDOs || isTransmissionDue(now, waitHint);
  }

  /// One send pass: pending transmissions, then event timers.
  /// @param deadline tick (ms) at which to stop; at least one PDO is tried
  /// @param waitHint lowered to the ms until the next event timer; may be null
  /// @return 0; 10 outside OPERATIONAL; 17 when the deadline was reached
  int sendPDOs(unsigned int deadline, unsigned int* waitHint);

  /// Sends a TPDO now. Any thread. @return 0; 10 outside OPERATIONAL, for null, without port and for a TPDO whose
  ///   transmission is under way on this thread; 17 within the inhibit time; else the code of the transmission
  int sendPDODirectly(KQPDO* pdo);
  /// The same for a caller who holds the send mutex already.
  int sendPDOWithMutexHeld(KQPDO* pdo);

  /// A mapped value changed: event-driven TPDOs go out, synchronous ones are queued for the next SYNC. Any thread.
  /// @param key object key; @param value not used: the frame takes it from the dictionary
  /// @return 0; 10 outside OPERATIONAL or without SYNC handler; 23 when no TPDO goes out for it
  int handleVariableChange(unsigned int key, int value);

  /// Reports every monitored RPDO whose frame is overdue, once, and marks the values that it feeds as invalid.
  void checkRxTimeouts();

  /// A PDO parameter object was written: rebuilds the PDO when it is a communication parameter.
  void signalPDOChange(unsigned short index);

  /// Builds one PDO. @param commIndex 0x1400 to 0x15FF or 0x1800 to 0x19FF.
  /// @return a new PDO, owned by the caller; null when an object is missing, the COB-ID has bit 31 set or the mapping
  ///   is marked invalid
  KQPDO* getPDODataFromObjectDictionary(unsigned short commIndex);

  /// How many PDOs were built so far; the newest has this build number.
  unsigned int getBuildCount() const { return buildCount; }

  /// Marks a mapping parameter (0x1600 + n, 0x1A00 + n) as invalid for good.
  void addInvalidPDOIndex(unsigned short mappingIndex);

  /// Binds an action to a TPDO when it is next built.
  ///
  /// The counter of PDO_ACTION_COUNT_TRANSMISSIONS is written with the send mutex held, on the thread that sends. Who
  /// listens to it must not wait for a lock that another thread holds while it writes a mapped variable, and two nodes
  /// must not map each other's counters. A counter that several TPDOs share and map makes each of them send for each
  /// transmission of the others. It is an application object: a communication parameter as counter is for nodes whose
  /// variables change on the protocol thread only.
  /// @param pdoNumber zero-based. @return 1; 11 for a receive PDO
  int setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey);

private:
  /// Ticks wrap: one is before another when it is less than half of the range behind it.
  struct TickOrder {
    bool operator()(unsigned int left, unsigned int right) const { return static_cast<int>(left - right) < 0; }
  };
  struct MappedVariable {
    unsigned int key;
    KQPDO* pdo;
  };
  static unsigned int keyOfMapping(const MappedVariable& mapped) { return mapped.key; }

  static unsigned int receptionKeyOf(const KQPDO& pdo) { return pdo.getReceptionKey(); }

  bool isOperational() const;

  // building
  int readParameter(unsigned short index, unsigned char subIndex) const;
  struct Mapping;
  void readMapping(unsigned short mappingIndex, int count, Mapping& mapping) const;
  static unsigned int mappedBits(const Mapping& mapping);
  void addMapping(KQPDO& pdo, const Mapping& mapping) const;
  template <typename Build>
  void forEachParameter(unsigned short first, unsigned short last, Build build);
  void buildTransmitPDO(unsigned short index, unsigned int now);
  void buildReceivePDOs();
  void buildTransmitPDOs();
  void rebuildReceivePDO(unsigned short index);
  void rebuildTransmitPDO(unsigned short index);
  void declareReceivePDOs();
  void enterReceivePDO(KQPDO* pdo);
  void monitorReception(KQPDO* pdo);
  void forgetReceivePDOs(unsigned short index);
  void registerTransmitPDO(KQPDO* pdo);
  void scheduleTransmission(KQPDO* pdo, unsigned int now);
  void listenToVariable(unsigned int key);
  void deletePDO(KQPDO* pdo);
  void deleteAll(KQPDOSet& pdos);
  void forgetTransmissions(const KQPDO* pdo);

  // transmission and reception
  /// Whether the earliest event timer is over. @param waitHint lowered when it is not
  bool isTransmissionDue(unsigned int now, unsigned int& waitHint) const {
    if (eventTimers.empty()) {
      return false;
    }
    const auto& [due, pdo] = *eventTimers.begin();
    // An entry is never further ahead than its period; one that seems to be was due before the tick wrapped.
    const unsigned int remaining = due - now;
    if (remaining == 0 || remaining > pdo->getEventTimer()) {
      return true;
    }
    waitHint = std::min(waitHint, remaining);
    return false;
  }
  int receive(KQPDO& pdo, KQCANMessage& message);
  void addPending(KQPDO* pdo);
  void removePending(const KQPDO* pdo);
  int sendPendingPDOs(unsigned int deadline);
  int sendTimedPDOs(unsigned int deadline, unsigned int* waitHint);
  void sendTimedPDO(unsigned int now);
  int transmit(KQPDO& pdo, unsigned int now);
  void countTransmission(KQPDO& pdo);
  int triggerTransmission(KQPDO* pdo);
  void deleteRetiredPDOs();
  void changeVariableIndex();
  std::size_t firstMapping(unsigned int key);
  bool isMapping(std::size_t position, unsigned int key) const;
  void noteRxDeadline(unsigned int deadline);
  void reportRxTimeout(KQPDO& pdo);

  KQPDOSet receivePDOs;                               ///< every RPDO that was built, owned
  KQKeyTable<KQPDO, receptionKeyOf> receivePDOTable;  ///< by COB-ID: those that take frames
  KQPDOSet transmitPDOs;                              ///< owned
  KQPDOSet pendingPDOs;                               ///< TPDOs to be tried in the next send pass
  std::atomic<bool> hasPendingPDOs{false};
  std::vector<MappedVariable> variableIndex;                     ///< TPDOs by the objects that they map, ordered by key
  KQKeyTable<const MappedVariable, keyOfMapping> firstMappings;  ///< the first of the index of each key
  bool areFirstMappingsKnown = false;
  std::multimap<unsigned int, KQPDO*, TickOrder> eventTimers;  ///< by due tick
  KQPDOSet monitoredPDOs;                                      ///< RPDOs whose reception is timed
  bool isRxCheckNeeded = false;                                ///< an RPDO was added to the monitored ones
  bool isRxDeadlineKnown = false;                              ///< one of them waits for a frame
  unsigned int earliestRxDeadline = 0;                   ///< no monitored RPDO is overdue before; may lie too early
  std::map<unsigned short, PDOActionStruct> pdoActions;  ///< by communication parameter index
  std::set<unsigned short> invalidMappings;
  KQSyncHandler* syncHandler = nullptr;
  KQCANopenStateMachine* stateMachine = nullptr;
  KQDEI* dei;
  std::unique_ptr<KQMutex> sendMutex;
  std::atomic<unsigned int> activities{0};  ///< calls under way, on any thread, that hold on to a PDO
  std::atomic<bool> hasRetiredPDOs{false};
  std::vector<std::unique_ptr<KQPDO>> retiredPDOs;  ///< to be deleted when no call holds on to a PDO any more
  unsigned int buildCount = 0;
  unsigned int rebuilds = 0;  ///< changes whenever the index of variables does
};

}  // namespace KQ
