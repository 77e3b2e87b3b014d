#pragma once

#include <map>
#include <string>

#include "KQVariableStorageType.h"

namespace KQ {

class KQAction;
class KQVariableOwner;

class KQVariable {
public:
  KQVariable(unsigned short firstAddress, unsigned short secondAddress, const std::string& variableName,
             KQVariableStorageType storageType = STORAGE_TYPE_INTEGER, int bitLength = 32, bool hasSign = false);
  KQVariable(const KQVariable& other);
  KQVariable& operator=(const KQVariable& other);
  virtual ~KQVariable();

  virtual std::string getName() const;

  unsigned int getVariableID() const;
  unsigned short getFirstAddress() const;
  unsigned short getSecondAddress() const;
  int getAccessMode() const;
  int getInitialValue() const;
  const std::string& getInitialText() const;
  bool isSigned() const;
  int getBitLength() const;
  KQVariableStorageType getStorageType() const;
  KQVariableOwner* getOwner() const;
  const std::string& getChannelName() const;
  unsigned int getExternalIdentifier() const;
  bool isValid() const;
  const std::map<int, KQAction*>& getEventActions() const;
  const std::string& getGroupName() const;
  bool isForceWriting() const;
  int getBindingMode() const;
  int getMinimum() const;
  int getMaximum() const;

  void setName(const std::string& text);
  void setVariableID(unsigned int number);
  void setAccessMode(int mode);
  void setInitialValue(int value);
  void setInitialText(const std::string& text);
  void setOwner(KQVariableOwner* theOwner);
  void setChannelName(const std::string& text);
  void setExternalIdentifier(unsigned int identifier);
  void setValid(bool value);
  void setEventActions(const std::map<int, KQAction*>& actions);
  void setGroupName(const std::string& text);
  void setForceWriting(bool value);
  void setBindingMode(int mode);
  void setMinimum(int value);
  void setMaximum(int value);

private:
  unsigned int variableID;
  unsigned short first;
  unsigned short second;
  std::string name;
  KQVariableStorageType storage;
  int bits;
  bool signedFlag;
  int accessMode;
  int initialValue;
  std::string initialText;
  KQVariableOwner* owner;
  std::string channelName;
  unsigned int externalIdentifier;
  bool valid;
  std::map<int, KQAction*> eventActions;
  std::string groupName;
  bool forceWriting;
  int bindingMode;
  int minimum;
  int maximum;
};

}  // namespace KQ
