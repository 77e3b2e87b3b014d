#pragma once

#include <cstddef>
#include <memory>

#include "KQPDO.h"
#include "KQPDOHandler.h"
#include "KQSyncHandler.h"

namespace KQ {

/// What the stack's own classes do with PDOs and their two handlers, and nobody else: the one friend of these three.
class PDOInternals {
public:
  // ---- while a PDO is built

  /// Makes the object of the last added record known, so that it is not looked up for each frame: the dictionary never
  /// takes one out. For all records or for none. @param subEntry null when it is to be looked up all the same
  static void keepObject(KQPDO& pdo, unsigned int key, ObjectDictionarySubEntry* subEntry) {
    pdo.objects.push_back({key, subEntry});
  }
  /// Takes the memory for so many records at once.
  static void reserveObjects(KQPDO& pdo, std::size_t count) { pdo.objects.reserve(count); }
  /// What happens with a transmission. @param code PDO_ACTION_COUNT_TRANSMISSIONS; other codes have no effect
  /// @param key the counter object, index << 16 | sub-index
  static void setAction(KQPDO& pdo, int code, unsigned int key) {
    pdo.action = code;
    pdo.actionKey = key;
  }

  // ---- while it is in use

  /// RPDO: the identifier under which the PDO handler takes frames for it.
  static unsigned int receptionKeyOf(const KQPDO& pdo) { return pdo.receptionKey; }
  static void setReceptionKey(KQPDO& pdo, unsigned int identifier) { pdo.receptionKey = identifier; }
  /// See KQPDO::getTimeStamp().
  static void setTimeStamp(KQPDO& pdo, unsigned int tick) { pdo.timeStamp.store(tick, std::memory_order_relaxed); }
  /// RPDO: whether its reception is watched.
  static bool isMonitored(const KQPDO& pdo) { return pdo.getEventTimer() != 0 && isEventDriven(pdo.transmissionType); }
  /// RPDO: whether the next frame should have arrived by now, or none has arrived yet.
  static bool isOverdue(const KQPDO& pdo, unsigned int now) {
    return pdo.getTimeStamp() == 0 || static_cast<int>(now - pdo.getTimeStamp()) > 0;
  }
  /// See KQPDO::isTimedOut().
  static void setTimedOut(KQPDO& pdo, bool isOver) { pdo.timedOut = isOver; }

  /// The PDO handler has put another one in its place: it is not sent and enters no set any more. Any thread.
  static void retire(KQPDO& pdo) { pdo.retired = true; }
  static bool isRetired(const KQPDO& pdo) { return pdo.retired; }

  /// TPDO: whether its counter is being written, further up the call stack. Only for the holder of the send mutex.
  static bool isCounting(const KQPDO& pdo) { return pdo.counting; }
  static void setCounting(KQPDO& pdo, bool isWriting) { pdo.counting = isWriting; }
  /// TPDO: in which of the PDO handler's calls its counter was written last, 0 = never. Likewise.
  static unsigned int countingCallOf(const KQPDO& pdo) { return pdo.countingCall; }
  static void setCountingCall(KQPDO& pdo, unsigned int call) { pdo.countingCall = call; }

  // ---- of the handlers

  /// Guards one transmission; recursive. Whoever holds it knows that no PDO goes out meanwhile from another thread.
  static KQMutex& sendMutexOf(KQPDOHandler& handler) { return *handler.sendMutex; }
  /// The PDOs of the node at this moment, which exist at least as long as the result does. Any thread.
  static std::shared_ptr<const PDOTable> pdosOf(const KQPDOHandler& handler) { return handler.publishedPDOs.get(); }
  /// The same for the time of a walk over them, on the way of a frame. Any thread.
  static KQPublishedPDOs::Walk walkOver(KQPDOHandler& handler) { return KQPublishedPDOs::Walk(handler.publishedPDOs); }
  /// See KQSyncHandler::forgetPDO().
  static bool forget(KQSyncHandler& handler, const KQPDO& pdo) { return handler.forgetPDO(&pdo); }
};

}  // namespace KQ
