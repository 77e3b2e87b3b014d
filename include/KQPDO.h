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
  [[nodiscard]] KQCANopenPDOTransmissionMode getTransmissionType() const { return transmissionType; }
  /// The index of the communication parameter, which names the PDO: 0x1400 + n or 0x1800 + n; 0 until it is set.
  [[nodiscard]] unsigned short getCommunicationIndex() const { return communicationIndex; }
  void setCommunicationIndex(unsigned short index) { communicationIndex = index; }
  /// Number of data bytes of the frame.
  [[nodiscard]] unsigned char getFrameLength() const { return frameLength; }
  void setFrameLength(unsigned char length) { frameLength = length; }
  /// The frame's identifier; bits 29 to 31 are never sent.
  [[nodiscard]] unsigned int getCOBID() const { return cobID; }
  void setCOBID(unsigned int id) { cobID = id; }
  /// ms.
  [[nodiscard]] unsigned int getEventTimer() const { return getCycleTime(); }

  /// TPDO: tick of the last successful transmission, 0 = never. RPDO: tick by which the next frame must have arrived.
  [[nodiscard]] unsigned int getTimeStamp() const { return timeStamp.load(std::memory_order_relaxed); }
  [[nodiscard]] bool hasInhibitTime() const { return inhibitTime != 0; }
  /// Whether a transmission now would come within the inhibit time of the last one.
  [[nodiscard]] bool isInhibited(unsigned int now) const { return getInhibitRest(now) != 0; }
  /// ms until it would not any more.
  [[nodiscard]] unsigned int getInhibitRest(unsigned int now) const {
    const unsigned int passed = now - getTimeStamp();
    return getTimeStamp() != 0 && passed < inhibitTime ? inhibitTime - passed : 0;
  }

  /// TPDO: what happens with a transmission, as KQPDOHandler::setPDOAction() was told; 0: nothing.
  [[nodiscard]] int getAction() const { return action; }
  [[nodiscard]] unsigned int getActionKey() const { return actionKey; }

  /// RPDO: whether its reception time-out has passed without a frame since.
  [[nodiscard]] bool isTimedOut() const { return timedOut; }

private:
  friend class PDOInternals;  // what the stack's own classes do with PDOs

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
