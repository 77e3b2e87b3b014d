#include "KQVariable.h"

namespace KQ {

namespace {

// The largest number of so many bits, of which the store keeps 32.
int largest(int bits) {
  return bits >= 32 ? -1 : static_cast<int>((1U << bits) - 1U);
}

}  // namespace

KQVariable::KQVariable(unsigned short firstAddress, unsigned short secondAddress, const std::string& variableName,
                       KQVariableStorageType storageType, int bitLength, bool hasSign)
    : variableID(static_cast<unsigned int>(firstAddress) << 16 | secondAddress),
      first(firstAddress),
      second(secondAddress),
      name(variableName),
      storage(storageType),
      bits(bitLength),
      signedFlag(hasSign),
      accessMode(0),
      initialValue(0),
      owner(nullptr),
      externalIdentifier(0),
      valid(true),
      forceWriting(false),
      bindingMode(0),
      minimum(0),
      maximum(largest(bitLength)) {
  if (signedFlag) {
    maximum = static_cast<int>(static_cast<unsigned int>(largest(bits)) >> 1U);
    minimum = -maximum - 1;
  }
}

KQVariable::KQVariable(const KQVariable& other) = default;

KQVariable& KQVariable::operator=(const KQVariable& other) = default;

KQVariable::~KQVariable() {}

std::string KQVariable::getName() const {
  return name;
}

unsigned int KQVariable::getVariableID() const {
  return variableID;
}

unsigned short KQVariable::getFirstAddress() const {
  return first;
}

unsigned short KQVariable::getSecondAddress() const {
  return second;
}

int KQVariable::getAccessMode() const {
  return accessMode;
}

int KQVariable::getInitialValue() const {
  return initialValue;
}

const std::string& KQVariable::getInitialText() const {
  return initialText;
}

bool KQVariable::isSigned() const {
  return signedFlag;
}

int KQVariable::getBitLength() const {
  return bits;
}

KQVariableStorageType KQVariable::getStorageType() const {
  return storage;
}

KQVariableOwner* KQVariable::getOwner() const {
  return owner;
}

const std::string& KQVariable::getChannelName() const {
  return channelName;
}

unsigned int KQVariable::getExternalIdentifier() const {
  return externalIdentifier;
}

bool KQVariable::isValid() const {
  return valid;
}

const std::map<int, KQAction*>& KQVariable::getEventActions() const {
  return eventActions;
}

const std::string& KQVariable::getGroupName() const {
  return groupName;
}

bool KQVariable::isForceWriting() const {
  return forceWriting;
}

int KQVariable::getBindingMode() const {
  return bindingMode;
}

int KQVariable::getMinimum() const {
  return minimum;
}

int KQVariable::getMaximum() const {
  return maximum;
}

void KQVariable::setName(const std::string& text) {
  name = text;
}

void KQVariable::setVariableID(unsigned int number) {
  variableID = number;
}

void KQVariable::setAccessMode(int mode) {
  accessMode = mode;
}

void KQVariable::setInitialValue(int value) {
  initialValue = value;
}

void KQVariable::setInitialText(const std::string& text) {
  initialText = text;
}

void KQVariable::setOwner(KQVariableOwner* theOwner) {
  owner = theOwner;
}

void KQVariable::setChannelName(const std::string& text) {
  channelName = text;
}

void KQVariable::setExternalIdentifier(unsigned int identifier) {
  externalIdentifier = identifier;
}

void KQVariable::setValid(bool value) {
  valid = value;
}

void KQVariable::setEventActions(const std::map<int, KQAction*>& actions) {
  eventActions = actions;
}

void KQVariable::setGroupName(const std::string& text) {
  groupName = text;
}

void KQVariable::setForceWriting(bool value) {
  forceWriting = value;
}

void KQVariable::setBindingMode(int mode) {
  bindingMode = mode;
}

void KQVariable::setMinimum(int value) {
  minimum = value;
}

void KQVariable::setMaximum(int value) {
  maximum = value;
}

}  // namespace KQ
