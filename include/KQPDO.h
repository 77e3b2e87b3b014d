#pragma once

#include <atomic>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "KQCANMappingObject.h"
#include "KQCANopenPDOTransmissionMode.h"

namespace KQ {

class KQCANopenObjectDictionary;
struct ObjectDictionarySubEntry;

/// One process data object (CiA 301 PDO), receive or transmit: its communication parameters and, in its base, the
/// mapping of dictionary objects to the bits of the frame. Built and owned by the PDO handler. Once it is in use, its
/// parameters and its mapping stay as they are; what else changes belongs to whoever holds the PDO handler's send mutex
/// (transmit PDO), or to the protocol thread (receive PDO).
class KQPDO : public KQCANMappingObject {
public:
  /// @param dataLength number of data bytes, 0 to 8
  /// @param inhibit inhibit time, ms
  /// @param eventTimer ms: period of a TPDO, reception time-out of an RPDO
  /// @param od the dictionary that holds the mapped objects, not owned; it must outlive the PDO's use
  /// @param mode transmission type
  KQPDO(unsigned int dataLength, KQTransmitType transmitType, unsigned short inhibit, unsigned int eventTimer,
        KQCANopenObjectDictionary* od, KQCANopenPDOTransmissionMode mode);
  ~KQPDO() override;
  KQPDO(const KQPDO&) = delete;
  KQPDO& operator=(const KQPDO&) = delete;

  /// Makes the object of the last added record known, so that it is not looked up for each frame: the dictionary never
  /// takes one out. For all records or for none. @param subEntry null when it is to be looked up all the same
  void keepObject(unsigned int key, ObjectDictionarySubEntry* subEntry) { objects.push_back({key, subEntry}); }
  /// Takes the memory for so many records at once.
  void reserveObjects(std::size_t count) { objects.reserve(count); }

  /// Packs the current values into a frame, whose data bytes must be zero: bits that no object covers stay as they are.
  /// @return 0; 20 for null
  int fillMessage(KQCANMessage* message);

  /// Takes a value that extractMappedValues() has unpacked into the dictionary; dummy entries (index below 0x1000) are
  /// dropped.
  /// @return 0 for a dummy entry; 10 without dictionary; else the result of KQCANopenObjectDictionary::setValue()
  int handleExtractedValue(unsigned int key, int value, KQDEI* dei, KQVariableOwner* owner, int tag) const override;
  int handleExtractedValue(unsigned int key, const std::string& value, KQDEI* dei, KQVariableOwner* owner,
                           int tag) const override;

  /// The keys of the mapped objects, index << 16 | sub-index.
  std::set<unsigned int> getAllMappedVariableKeys() const { return {getMappedKeys().begin(), getMappedKeys().end()}; }

  /// The transmission type that the constructor was given, 0 to 255.
  KQCANopenPDOTransmissionMode getTransmissionType() const { return transmissionType; }
  /// The index of the communication parameter, which names the PDO: 0x1400 + n or 0x1800 + n; 0 until it is set.
  unsigned short getCommunicationIndex() const { return communicationIndex; }
  void setCommunicationIndex(unsigned short index) { communicationIndex = index; }
  /// Number of data bytes of the frame.
  unsigned char getFrameLength() const { return frameLength; }
  void setFrameLength(unsigned char length) { frameLength = length; }
  /// RPDO: the identifier under which the PDO handler takes frames for it.
  unsigned int getReceptionKey() const { return receptionKey; }
  void setReceptionKey(unsigned int id) { receptionKey = id; }
  /// The frame's identifier; bits 29 to 31 are never sent.
  unsigned int getCOBID() const { return cobID; }
  void setCOBID(unsigned int id) { cobID = id; }
  /// ms.
  unsigned int getEventTimer() const { return getCycleTime(); }

  /// TPDO: tick of the last successful transmission, 0 = never. RPDO: tick by which the next frame must have arrived.
  unsigned int getTimeStamp() const { return timeStamp.load(std::memory_order_relaxed); }
  void setTimeStamp(unsigned int tick) { timeStamp.store(tick, std::memory_order_relaxed); }
  /// RPDO: whether the next frame should have arrived by now, or none has arrived yet.
  bool isOverdue(unsigned int now) const { return getTimeStamp() == 0 || static_cast<int>(now - getTimeStamp()) > 0; }
  bool hasInhibitTime() const { return inhibitTime != 0; }
  /// Whether a transmission now would come within the inhibit time of the last one.
  bool isInhibited(unsigned int now) const { return getInhibitRest(now) != 0; }
  /// ms until it would not any more.
  unsigned int getInhibitRest(unsigned int now) const {
    const unsigned int passed = now - getTimeStamp();
    return getTimeStamp() != 0 && passed < inhibitTime ? inhibitTime - passed : 0;
  }

  /// What happens with a transmission. @param code PDO_ACTION_COUNT_TRANSMISSIONS; other codes have no effect
  /// @param key the counter object, index << 16 | sub-index
  void setAction(int code, unsigned int key) {
    action = code;
    actionKey = key;
  }
  /// What setAction() was given; 0 before.
  int getAction() const { return action; }
  unsigned int getActionKey() const { return actionKey; }

  /// RPDO: whether its reception time-out has passed without a frame since.
  bool isTimedOut() const { return timedOut; }
  void setTimedOut(bool isOver) { timedOut = isOver; }

  /// RPDO: whether its reception is watched.
  bool isMonitored() const { return getEventTimer() != 0 && isEventDriven(transmissionType); }

  /// The PDO handler has put another one in its place: it is not sent and enters no set any more. Any thread.
  void retire() { retired = true; }
  bool isRetired() const { return retired; }

  /// TPDO: whether its counter is being written, further up the call stack. Only for the holder of the send mutex.
  bool isCounting() const { return counting; }
  void setCounting(bool isWriting) { counting = isWriting; }
  /// TPDO: in which of the PDO handler's calls its counter was written last, 0 = never. Likewise.
  unsigned int getCountingCall() const { return countingCall; }
  void setCountingCall(unsigned int call) { countingCall = call; }

private:
  struct MappedObject {
    unsigned int key;
    ObjectDictionarySubEntry* subEntry;
  };

  ObjectDictionarySubEntry* findObject(unsigned int key) const;
  int currentValue(unsigned int key, ObjectDictionarySubEntry* object) const;
  int lookUpValue(unsigned int key) const;
  template <typename Value>
  int lookUpAndStore(unsigned int key, Value value) const;

  KQCANopenObjectDictionary* objectDictionary;
  std::vector<MappedObject> objects;  ///< those of the records, in their order
  KQCANopenPDOTransmissionMode transmissionType;
  unsigned short communicationIndex = 0;
  unsigned char frameLength = 0;
  unsigned int cobID = 0;
  unsigned int receptionKey = 0;
  unsigned short inhibitTime;
  std::atomic<unsigned int> timeStamp{0};  ///< of a TPDO, also read by the cycle while another thread sends
  int action = 0;
  unsigned int actionKey = 0;
  bool timedOut = false;
  bool counting = false;
  unsigned int countingCall = 0;
  std::atomic<bool> retired{false};
};

}  // namespace KQ
