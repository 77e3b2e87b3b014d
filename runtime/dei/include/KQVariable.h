#pragma once

#include <map>
#include <optional>
#include <string>

#include "KQVariableStorageType.h"

namespace KQ {

class KQAction;
class KQVariableOwner;

/// The description of one process variable: where it is addressed, what it holds and to whom it
/// belongs. A plain value that is copied freely; owner and actions are referred to, never owned. The
/// current value is not here but in the variable store. Not locked: one thread at a time.
class KQVariable {
public:
  /// @param firstAddress   first address part (in CANopen: the object's index).
  /// @param secondAddress  second address part (in CANopen: the sub-index).
  /// @param name           name for people.
  /// @param storageType    integer or text.
  /// @param bitLength      bits of the value, 1 to 64; the store keeps 32 of them.
  /// @param isSigned       true for two's complement.
  /// The variable ID is firstAddress << 16 | secondAddress. The variable starts valid, readable and
  /// writable, without owner, with the initial value 0 and the whole range of its bits.
  KQVariable(unsigned short firstAddress, unsigned short secondAddress, const std::string& name,
             KQVariableStorageType storageType = STORAGE_TYPE_INTEGER, int bitLength = 32, bool isSigned = false);
  virtual ~KQVariable() = default;
  KQVariable(const KQVariable&) = default;
  KQVariable& operator=(const KQVariable&) = default;

  /// The name for people. Virtual, so that a program can make it up when it is asked for.
  virtual std::string getName() const;

  /// The number by which the application knows the variable, unique in the process.
  [[nodiscard]] unsigned int getVariableID() const { return variableID_; }
  [[nodiscard]] unsigned short getFirstAddress() const { return firstAddress_; }
  [[nodiscard]] unsigned short getSecondAddress() const { return secondAddress_; }
  /// 0 read and write, 1 write only, 2 read only, any other value constant.
  [[nodiscard]] int getAccessMode() const { return accessMode_; }
  [[nodiscard]] int getInitialValue() const { return initialValue_; }
  [[nodiscard]] const std::string& getInitialText() const { return initialText_; }
  bool isSigned() const { return isSigned_; }
  [[nodiscard]] int getBitLength() const { return bitLength_; }
  [[nodiscard]] KQVariableStorageType getStorageType() const { return storageType_; }
  /// The owner, or null. Not owned.
  [[nodiscard]] KQVariableOwner* getOwner() const { return owner_; }
  /// Name of the channel (the remote node) to which the variable belongs; empty when none.
  [[nodiscard]] const std::string& getChannelName() const { return channelName_; }
  /// The address of the value in the remote node, index << 16 | sub-index; 0 when none.
  [[nodiscard]] unsigned int getExternalIdentifier() const { return externalIdentifier_; }
  [[nodiscard]] bool isValid() const { return valid_; }
  /// Actions by event type. Not owned.
  [[nodiscard]] const std::map<int, KQAction*>& getEventActions() const { return eventActions_; }
  [[nodiscard]] const std::string& getGroupName() const { return groupName_; }
  [[nodiscard]] bool isForceWriting() const { return forceWriting_; }
  /// How a protocol has bound the variable; 0 when none has.
  [[nodiscard]] int getBindingMode() const { return bindingMode_; }
  /// Lower limit; as long as none is set the smallest number of the variable's bits and sign.
  [[nodiscard]] int getMinimum() const;
  /// Upper limit; as long as none is set the largest number of the variable's bits and sign. That of an
  /// unsigned variable of 32 bits is 0xFFFFFFFF, which reads -1 here.
  [[nodiscard]] int getMaximum() const;

  /// Change one attribute each; what they mean stands with those who read them.
  void setName(const std::string& name) { name_ = name; }
  void setVariableID(unsigned int variableID) { variableID_ = variableID; }
  /// Leaves the variable ID as it is, as does setSecondAddress.
  void setFirstAddress(unsigned short firstAddress) { firstAddress_ = firstAddress; }
  void setSecondAddress(unsigned short secondAddress) { secondAddress_ = secondAddress; }
  void setAccessMode(int accessMode) { accessMode_ = accessMode; }
  void setInitialValue(int value) { initialValue_ = value; }
  void setInitialText(const std::string& text) { initialText_ = text; }
  void setSigned(bool isSigned) { isSigned_ = isSigned; }
  void setBitLength(int bitLength) { bitLength_ = bitLength; }
  void setStorageType(KQVariableStorageType storageType) { storageType_ = storageType; }
  void setOwner(KQVariableOwner* owner) { owner_ = owner; }
  void setChannelName(const std::string& name) { channelName_ = name; }
  void setExternalIdentifier(unsigned int identifier) { externalIdentifier_ = identifier; }
  void setValid(bool valid) { valid_ = valid; }
  void setEventActions(const std::map<int, KQAction*>& actions) { eventActions_ = actions; }
  void setGroupName(const std::string& name) { groupName_ = name; }
  void setForceWriting(bool forceWriting) { forceWriting_ = forceWriting; }
  void setBindingMode(int bindingMode) { bindingMode_ = bindingMode; }
  void setMinimum(int minimum) { minimum_ = minimum; }
  void setMaximum(int maximum) { maximum_ = maximum; }

private:
  // The underscore leaves the plain names to the classes that are made of this.
  // NOLINTBEGIN(readability-identifier-naming)
  unsigned int variableID_;
  unsigned short firstAddress_;
  unsigned short secondAddress_;
  std::string name_;
  KQVariableStorageType storageType_;
  int bitLength_;
  bool isSigned_;
  int accessMode_{0};
  int initialValue_{0};
  std::string initialText_;
  KQVariableOwner* owner_{nullptr};
  std::string channelName_;
  unsigned int externalIdentifier_{0};
  bool valid_{true};
  std::map<int, KQAction*> eventActions_;
  std::string groupName_;
  bool forceWriting_{false};
  int bindingMode_{0};
  std::optional<int> minimum_;
  std::optional<int> maximum_;
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace KQ
