#pragma once

#include <atomic>

#include "KQCANMessage.h"
#include "KQCANopenState.h"
#include "internal/KQFrameDispatch.h"

namespace KQ {

class KQCANopen;
class KQCANopenMessageHandler;
class KQCANopenObjectDictionary;
class KQDEI;
class KQEmergencyHandler;
class KQNMTHandler;
class KQPDOHandler;
class KQSDOHandler;
class KQSignalListener;
class KQSyncHandler;

/// The node's communication state (CiA 301 NMT state machine) and the one place where its work is scheduled: each
/// cycle runs the state's action, each readable port is drained and every frame offered to the handlers in a fixed
/// order. Every operation belongs to the protocol thread, except getState(), which any thread may call. Nothing it
/// points to is owned.
class KQCANopenStateMachine {
public:
  /// In INIT, without handlers. @param canopen the node, not owned; null: there is no port and no node-ID
  explicit KQCANopenStateMachine(KQCANopen* canopen);

  /// A copy takes only the instance from @p other; everything else gets its initial value.
  KQCANopenStateMachine(const KQCANopenStateMachine& other);
  /// Assignment takes only the instance and resets everything else, except for the receive buffer.
  KQCANopenStateMachine& operator=(const KQCANopenStateMachine& other);

  virtual ~KQCANopenStateMachine() = default;

  /// What initHandlers() wires and each frame is offered to; each may be null. Not owned.
  void setMessageHandlers(KQSDOHandler* sdo, KQPDOHandler* pdo, KQSyncHandler* sync, KQNMTHandler* nmt,
                          KQEmergencyHandler* emergency);
  void setObjectDictionary(KQCANopenObjectDictionary* dictionary) { objectDictionary = dictionary; }
  void setDEI(KQDEI* store) { dei = store; }

  /// Wires the handlers to each other and to the dictionary and lets them read their settings.
  /// @return 0; 10 when a handler or the dictionary is missing (then nothing is wired)
  int initHandlers();

  /// First step of the INIT state. @param deadline not used. @return as initHandlers()
  int handleInitState(unsigned int deadline);

  /// Enters a state, without a check of the transition, signals it to the state listener (type 6, code 1700,
  /// node ID, state) and logs it. When it returns, no PDO of the previous state is on its way any more.
  void setState(int newState);
  [[nodiscard]] int getState() const { return state.load(std::memory_order_acquire); }

  /// One cycle: the action of the current state. In the communicating states that is one send pass, to end 50 ms from
  /// now. @param deadline not used. @return 0; the code of a failed initialisation
  int run(unsigned int deadline);

  /// Drains the port and offers each frame to NMT, SYNC, PDO, SDO and emergency handler, in this order, as long as the
  /// answer is 11. Who has declared identifiers is asked for those alone (KQFrameDispatch).
  /// @param budget added to the tick at the start of the call, in 32 bits: at least one frame is read, and the last one
  ///   is that after which the tick is at the sum or beyond. KQCANopen passes its tick + 10, so that the tick counts
  ///   twice: the port is drained as long as it has frames, and only where the sum wraps, which is from tick 0x7FFFFFFB
  ///   to nearly the end of the range, is it one frame a call
  /// @return 5 when the port is empty; 0 when paused; 10 without port or handler; else, with the sum reached, the
  /// result
  ///   of the last handler asked
  int receiveCANMessages(unsigned int budget);

  /// One send pass: heartbeat and heartbeat time-outs, PDOs and their time-outs, SDO time-outs and requests. Called in
  /// INIT, where run() makes none, it sends the boot-up message each time. @param deadline tick (ms) by which the PDO
  ///   pass should end. @return 0
  int sendCANMessages(unsigned int deadline);

  /// What KQCANopen::getTimeToNextWork() answers when nothing is due at any time.
  static constexpr unsigned int NO_WORK = 0xFFFFFFFFU;

  /// A paused machine neither runs, receives nor sends; frames stay in the port.
  void pauseMachine(bool pause) { paused = pause; }
  bool isPaused() const { return paused; }

  /// Sets the single state listener, replacing an earlier one; null removes it. Not owned.
  void addStateListener(KQSignalListener* listener) { stateListener = listener; }

private:
  friend class KQCANopen;

  /// As receiveCANMessages(), with the sum. @param end tick at which to stop
  int drainPort(unsigned int end);
  /// Lets the port hold back the frames that nobody here serves, as far as it can, when that has changed or the port
  /// was opened anew. Every cycle does it by itself; who confirms a change on the bus does it before.
  void renewReceptionFilter();
  /// See KQCANopen::getTimeToNextWork().
  unsigned int getTimeToNextWork(unsigned int now) const;
  /// Another one has taken its place, in a call of one of its listeners perhaps: it reads no further frame, and a cycle
  /// that is under way ends with the handler that called.
  void retire() { retired = true; }

  bool isComplete() const;
  void storeState(int newState);
  int runPassingState(int current, unsigned int deadline);
  int runInitState(unsigned int deadline);
  void recoverFromFatalError();
  void keepReceptionFilter();
  int offerMessage();
  int sendDue(unsigned int now, unsigned int deadline);
  bool serveNMT();
  bool servePDOs(unsigned int deadline, unsigned int& waitHint);
  bool serveSDOs(unsigned int& waitHint);

  KQSyncHandler* syncHandler = nullptr;
  KQNMTHandler* nmtHandler = nullptr;
  KQSDOHandler* sdoHandler = nullptr;
  KQPDOHandler* pdoHandler = nullptr;
  KQEmergencyHandler* emergencyHandler = nullptr;
  KQCANopenObjectDictionary* objectDictionary = nullptr;
  KQCANopen* instance;
  KQDEI* dei = nullptr;
  KQCANMessage receivedMessage;
  KQSignalListener* stateListener = nullptr;
  int sendStatus;  ///< ms until the stack next has work; every send pass starts from the initial value
  std::atomic<int> state{CANOPEN_STATE_INIT};       ///< application threads read it before they send a PDO
  int resetKind = CANOPEN_STATE_RESET_APPLICATION;  ///< record of the last reset request
  bool paused = false;
  bool retired = false;
  bool canReceive = false;  ///< the handlers are there that are asked for every frame
  KQFrameDispatch dispatch;
  unsigned int filterRevision = 0;  ///< of the dispatch, when the port was told which frames are wanted
};

}  // namespace KQ
