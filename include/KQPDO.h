#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "KQCANMappingObject.h"
#include "KQCANopenPDOTransmissionMode.h"

namespace KQ {

class KQCANopenObjectDictionary;
struct ObjectDictionarySubEntry;

/// One process data object (CiA 301 PDO), receive or transmit: its communication parameters and, in its base, the
/// mapping of dictionary objects to the bits of the frame. Built and owned by the PDO handler. A transmit PDO belongs
/// to whoever holds the PDO handler's send mutex, a receive PDO to the protocol thread.
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

  /// Unpacks a received frame: each value goes where handleExtractedValue() puts it.
  /// @return as KQCANMappingObject::extractMappedValues() of the base, without owner and checks
  int applyMessage(KQCANMessage& message, KQDEI* dei);

  /// Takes a value out of a received frame into the dictionary; dummy entries (index below 0x1000) are dropped.
  /// @return 0 for a dummy entry; 10 without dictionary; else the result of KQCANopenObjectDictionary::setValue()
  int handleExtractedValue(unsigned int key, int value, KQDEI* dei, KQVariableOwner* owner, int tag) const override;
  int handleExtractedValue(unsigned int key, const std::string& value, KQDEI* dei, KQVariableOwner* owner,
                           int tag) const override;

  /// The keys of the mapped objects, index << 16 | sub-index.
  std::set<unsigned int> getAllMappedVariableKeys() const { return {getMappedKeys().begin(), getMappedKeys().end()}; }

  KQCANopenPDOTransmissionMode getTransmissionType() const { return transmissionType; }
  unsigned short getCommunicationIndex() const { return communicationIndex; }
  void setCommunicationIndex(unsigned short index) { communicationIndex = index; }
  /// Number of data bytes of the frame.
  unsigned char getFrameLength() const { return frameLength; }
  void setFrameLength(unsigned char length) {
    frameLength = length;
    preparedRecords = 0;
  }
  /// RPDO: the identifier under which the PDO handler takes frames for it.
  unsigned int getReceptionKey() const { return receptionKey; }
  void setReceptionKey(unsigned int id) { receptionKey = id; }
  /// The frame's identifier; bits 29 to 31 are never sent.
  unsigned int getCOBID() const { return cobID; }
  void setCOBID(unsigned int id) { cobID = id; }
  /// ms.
  unsigned int getEventTimer() const { return getCycleTime(); }

  /// TPDO: tick of the last successful transmission, 0 = never. RPDO: tick by which the next frame must have arrived.
  unsigned int getTimeStamp() const { return timeStamp; }
  void setTimeStamp(unsigned int tick) { timeStamp = tick; }
  /// RPDO: whether the next frame should have arrived by now, or none has arrived yet.
  bool isOverdue(unsigned int now) const { return timeStamp == 0 || static_cast<int>(now - timeStamp) > 0; }
  /// Whether a transmission now would come within the inhibit time of the last one.
  bool isInhibited(unsigned int now) const {
    return inhibitTime != 0 && timeStamp != 0 && now - timeStamp < inhibitTime;
  }

  void setAction(int code, unsigned int key) {
    action = code;
    actionKey = key;
  }
  int getAction() const { return action; }
  unsigned int getActionKey() const { return actionKey; }

  /// RPDO: whether its reception time-out has passed without a frame since.
  bool isTimedOut() const { return timedOut; }
  void setTimedOut(bool isOver) { timedOut = isOver; }

  /// The PDO handler numbers the PDOs that it builds, so that a walk can tell those that came up meanwhile; 0: built by
  /// somebody else.
  unsigned int getBuildNumber() const { return buildNumber; }
  void setBuildNumber(unsigned int number) { buildNumber = number; }

  /// TPDO: whether its transmission is under way further up the call stack.
  bool isBeingSent() const { return beingSent; }
  void setBeingSent(bool isSending) { beingSent = isSending; }

private:
  /// A mapped object whose value is packed by shift and mask: an integer that lies in the frame.
  struct PackedObject {
    unsigned int key;
    unsigned int shift;
    std::uint64_t mask;
    ObjectDictionarySubEntry* subEntry;  ///< null: not there when it was last asked for
  };
  /// The same in a received frame, which may be shorter.
  struct ReceivedObject {
    const KQCANMappingData* record;
    ObjectDictionarySubEntry* subEntry;
  };

  bool isPacked(const KQCANMappingData& record) const;
  void preparePacking();
  void packNothing();
  void packOthers(KQCANMessage& message) const;
  void prepareUnpacking();
  ObjectDictionarySubEntry* findSubEntry(unsigned int key) const;

  KQCANopenObjectDictionary* objectDictionary;
  // Prepared by the first transmission after a change of the mapping or the frame's length.
  std::size_t preparedRecords = 0;
  std::vector<PackedObject> packedObjects;
  std::uint64_t packedBits = 0;  ///< of the frame: those of packed objects, and of dummy entries among them
  bool hasOthers = false;        ///< there are records that are not packed this way
  bool areOverlapping = false;
  // Prepared by the first reception after a change of the mapping.
  std::size_t receivedRecords = 0;
  std::vector<ReceivedObject> receivedObjects;
  bool isUnpackedByBase = false;  ///< there are records that are not unpacked this way
  KQCANopenPDOTransmissionMode transmissionType;
  unsigned short communicationIndex = 0;
  unsigned char frameLength = 0;
  unsigned int cobID = 0;
  unsigned int receptionKey = 0;
  unsigned short inhibitTime;
  unsigned int timeStamp = 0;
  int action = 0;
  unsigned int actionKey = 0;
  bool timedOut = false;
  bool beingSent = false;
  unsigned int buildNumber = 0;
};

}  // namespace KQ
