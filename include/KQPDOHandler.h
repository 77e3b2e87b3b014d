#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "KQCANopenMessageHandler.h"
#include "KQCANopenPDOType.h"
#include "KQCANopenState.h"
#include "KQPDO.h"
#include "PDOActionStruct.h"
#include "internal/KQPDOSet.h"
#include "internal/KQPublishedPDOs.h"

namespace KQ {

class KQCANopenStateMachine;
class KQDEI;
class KQMutex;
class KQSyncHandler;
class PDOTable;

/// Process data of the node (CiA 301 PDO): builds the PDOs from the dictionary, receives RPDOs, sends TPDOs on change,
/// by event timer and after their inhibit time, and watches the reception of RPDOs. Owns all PDOs.
///
/// Belongs to the protocol thread, except handleVariableChange() and sendPDODirectly(), which come from whichever
/// thread changed a mapped value.
///
/// PDOs are replaced, not changed: init() and signalPDOChange() publish a new table of PDOs, and whoever walks over
/// PDOs at that moment, on whatever thread, goes on with the table that he began with. The PDOs of that table exist
/// until the last walk over it ends, but those that were replaced are not sent any more.
///
/// The send mutex guards the one outgoing frame and what a transmission changes. It is held for one transmission at a
/// time, its counter included, never over several. The other locks are held for one look-up or change, in which
/// nothing is called.
class KQPDOHandler : public KQCANopenMessageHandler {
public:
  /// Without PDOs. @param canopen the node, not owned
  explicit KQPDOHandler(KQCANopen* canopen);
  ~KQPDOHandler() override;
  KQPDOHandler(const KQPDOHandler&) = delete;
  KQPDOHandler& operator=(const KQPDOHandler&) = delete;

  /// Whose state says whether PDOs are exchanged. Not owned; null: none are. Protocol thread.
  void setStateMachine(KQCANopenStateMachine* machine) {
    // Every INIT sets the same one again, while application threads read it.
    if (stateMachine != machine) {
      stateMachine = machine;
    }
  }
  /// Who is given the synchronous PDOs. Not owned; may be null. Protocol thread.
  void setSyncHandler(KQSyncHandler* handler) {
    if (syncHandler != handler) {
      syncHandler = handler;
    }
  }

  /// Builds all PDOs anew from the dictionary. @return 0; 10 without dictionary
  int init();

  /// Takes the frame of an RPDO: applies it, or keeps it for the next SYNC.
  /// @return 0; 11 when no RPDO has that COB-ID or the node is not OPERATIONAL;
  ///   0x8220 when the frame is longer than the RPDO; 10 without SYNC handler
  int handleMessage(KQCANMessage* message) override;

  /// One send pass: pending transmissions, then event timers.
  /// @param deadline tick (ms) at which to stop; at least one PDO is tried
  /// @param waitHint lowered to the ms until the next event timer; may be null
  /// @return 0; 10 outside OPERATIONAL; 17 when the deadline was reached
  int sendPDOs(unsigned int deadline, unsigned int* waitHint);

  /// Sends a TPDO now. Any thread. @return 0; 10 outside OPERATIONAL, for null, for a TPDO that was replaced and
  ///   without port; 17 within the inhibit time and for a TPDO whose counter is being written further up the call
  ///   stack; else the code of the transmission
  int sendPDODirectly(KQPDO* pdo);

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

  /// Marks a mapping parameter (0x1600 + n, 0x1A00 + n) as invalid for good.
  void addInvalidPDOIndex(unsigned short mappingIndex);

  /// Binds an action to a TPDO when it is next built.
  ///
  /// The counter of PDO_ACTION_COUNT_TRANSMISSIONS is written with the send mutex held, on the thread that sends. Who
  /// listens to it must not wait for a lock that another thread holds while it writes a mapped variable, and two nodes
  /// must not map each other's counters. Counters that TPDOs share, or map from each other, set each of them off once
  /// in one call. A TPDO that maps its own counter is not set off by it, unless it has an inhibit time,
  /// at whose pace it then goes on. Whatever else changes while counters are written, and is mapped into a TPDO that
  /// has been counted in the same call, goes out with the next pass. The counter is an application object: a
  /// communication parameter as counter is for nodes whose variables change on the protocol thread only.
  /// @param pdoNumber zero-based. @return 1; 11 for a receive PDO
  int setPDOAction(int pdoNumber, KQCANopenPDOType type, int action, unsigned int objectKey);

private:
  friend class KQCANopenStateMachine;
  friend class PDOInternals;  // what the stack's own classes do with PDOs

  /// Whether a cycle has something to do here: a transmission, or the reception time-out of an RPDO.
  /// @param state of the node, KQCANopenState
  /// @param waitHint lowered to the ms until the next event timer when there is nothing to do
  bool isWorkDue(unsigned int now, int state, unsigned int& waitHint) const {
    if (isReceptionOverdue(now)) {
      return true;
    }
    if (state != CANOPEN_STATE_OPERATIONAL) {
      return false;
    }
    return !pendingPDOs.empty() || isTransmissionDue(now, waitHint);
  }

  /// @param state of the node, KQCANopenState
  /// @return ms until isWorkDue() will be true, as it stands, or a pending transmission is worth another try;
  ///   0xFFFFFFFF: never
  unsigned int getTimeToNextWork(unsigned int now, int state) const;

  /// Ticks wrap: one is before another when it is less than half of the range behind it.
  struct TickOrder {
    bool operator()(unsigned int left, unsigned int right) const { return static_cast<int>(left - right) < 0; }
  };

  bool isOperational() const;

  // one PDO
  int readParameter(unsigned short index, unsigned char subIndex) const;
  std::unique_ptr<KQPDO> buildPDO(unsigned short commIndex, unsigned short mappingIndex) const;

  // which PDOs there are
  template <typename Range, typename Build>
  void forEachParameter(const Range& range, Build build);
  void addReceivePDO(PDOTable& pdos, unsigned short index, unsigned int now);
  void addTransmitPDO(PDOTable& pdos, unsigned short index, unsigned int now);
  void rebuildReceivePDO(unsigned short index);
  void rebuildTransmitPDO(unsigned short index);
  void startMonitoring(const KQPDO& pdo, unsigned int now);
  void listenToVariables(const KQPDO& pdo);
  void startTransmission(KQPDO& pdo, unsigned int now, bool hasTurnAtNextSync);
  bool retire(KQPDO& pdo);
  void retireAll();
  void publish(const std::shared_ptr<PDOTable>& pdos);
  void declareReceivePDOs();

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
  bool isReceptionOverdue(unsigned int now) const { return isRxDeadlineKnown && TickOrder()(earliestRxDeadline, now); }
  int receive(KQPDO& pdo, KQCANMessage& message);
  void noteRxDeadline(unsigned int deadline);
  void reportRxTimeout(KQPDO& pdo);
  int sendPendingPDOs(unsigned int deadline);
  int sendTimedPDOs(unsigned int deadline, unsigned int* waitHint);
  void sendTimedPDO(unsigned int now);
  void bringEventTimersUpToDate(unsigned int now);
  int queueForSync(KQPDO& pdo, unsigned int key);
  int sendWithMutexHeld(KQPDO* pdo);
  int transmit(KQPDO& pdo, unsigned int now);
  void countTransmission(KQPDO& pdo);
  int triggerTransmission(KQPDO& pdo, unsigned int key);
  void sendChangedPDO(KQPDO& pdo, unsigned int key);
  void makePending(KQPDO& pdo);
  unsigned int timeToPendingPDO(unsigned int now) const;
  void noteFailure(const KQPDO& pdo, unsigned int now);

  KQPublishedPDOs publishedPDOs;
  KQPDOSet pendingPDOs;                                        ///< TPDOs to be tried in the next send pass
  std::vector<KQPDO*> walkMemory;                              ///< of the walks over them
  std::multimap<unsigned int, KQPDO*, TickOrder> eventTimers;  ///< by due tick
  unsigned int eventTimersTick = 0;                            ///< when they were last looked at
  bool hasFailedTransmission = false;                          ///< in the last send pass, though nothing held it back
  unsigned int failedTick = 0;                                 ///< when
  bool isRxDeadlineKnown = false;                              ///< there is an RPDO whose reception may time out
  unsigned int earliestRxDeadline = 0;                         ///< none is overdue before; may lie too early
  std::map<unsigned short, PDOActionStruct> pdoActions;        ///< by communication parameter index
  std::set<unsigned short> invalidMappings;
  KQSyncHandler* syncHandler = nullptr;
  KQCANopenStateMachine* stateMachine = nullptr;
  KQDEI* dei;
  std::unique_ptr<KQMutex> sendMutex;
  unsigned int counterBeingWritten = 0;  ///< key of the innermost one, 0: none; only for the holder of the send mutex
  unsigned int countingCall = 0;         ///< number of the outermost transmission that has written a counter; likewise
};

}  // namespace KQ
