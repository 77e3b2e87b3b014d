#pragma once

#include <vector>

#include "KQCANopenMessageHandler.h"
#include "internal/KQPDOSet.h"

namespace KQ {

class KQCANopenStateMachine;
class KQPDOHandler;

/// Consumer of the SYNC message (CiA 301 SYNC): on each one the data of synchronous RPDOs is applied and the
/// synchronous TPDOs whose turn has come are sent. The node never produces SYNC. Owns no PDO.
///
/// Belongs to the protocol thread, except addTxPDO(), which comes from whichever thread changed a mapped value.
class KQSyncHandler : public KQCANopenMessageHandler {
public:
  /// Without PDOs, the counter at 1. @param canopen the node, not owned
  explicit KQSyncHandler(KQCANopen* canopen);
  KQSyncHandler(const KQSyncHandler&) = delete;
  KQSyncHandler& operator=(const KQSyncHandler&) = delete;

  /// Whose state says whether SYNC counts, and who sends the PDOs. Not owned; without one of them, nothing happens.
  void setStateMachine(KQCANopenStateMachine* machine) { stateMachine = machine; }
  void setPDOHandler(KQPDOHandler* handler) { pdoHandler = handler; }

  /// Takes the live value of the COB-ID SYNC (0x1005). @return 0; 3 without dictionary or 0x1005
  int init();

  /// Carries out a SYNC. @return 0; 11 for null, for any other frame and outside OPERATIONAL
  int handleMessage(KQCANMessage* message) override;

  /// Keeps the frame of a synchronous RPDO until the next SYNC; only the last one before it counts.
  /// @return 0; 20 when either is null
  int addReceivePDO(KQPDO* pdo, KQCANMessage* message);

  /// Applies the kept frames and empties the buffer.
  void passPDOValuesToApplication();

  /// Queues a TPDO for the next SYNC; one of type 1 to 251 is also sent cyclically from then on.
  /// One that the PDO handler has replaced meanwhile is not queued. Any thread.
  /// @return 0; 20 for null
  int addTxPDO(KQPDO* pdo);

  /// Ends the cyclic transmission of every TPDO with that communication index. A transmission queued for the next SYNC
  /// stays.
  void removeTxPDO(unsigned short communicationIndex);

  /// Forgets everything that waits for the next SYNC and all cyclic transmissions. The SYNC counter goes on.
  void reset();

private:
  friend class PDOInternals;  // what the stack's own classes do with PDOs

  /// A PDO was retired: nothing here refers to it any more. @return whether it was queued for the next SYNC
  bool forgetPDO(const KQPDO* pdo);
  /// Whether a frame has the identifier of the SYNC message as it stands in 0x1005 now.
  bool isSync(const KQCANMessage& message) const {
    return cobIDSync != nullptr && static_cast<unsigned int>(*cobIDSync) == message.identifier;
  }

  struct ReceivedFrame {
    KQPDO* pdo;
    KQCANMessage message;
  };

  void sendQueuedPDOs();
  void sendCyclicPDOs();
  void advanceCounter();

  std::vector<ReceivedFrame> receivedFrames;  ///< by the order of PDOs
  KQPDOSet cyclicPDOs;                        ///< types 1 to 251
  KQPDOSet nextSyncPDOs;
  std::vector<KQPDO*> walkMemory;  ///< of the walks over the two
  KQPDOHandler* pdoHandler = nullptr;
  KQCANopenStateMachine* stateMachine = nullptr;
  const int* cobIDSync = nullptr;  ///< live value of 0x1005 sub-index 0 inside the dictionary
  unsigned char syncCounter = 1;   ///< 1 to 251
};

}  // namespace KQ
