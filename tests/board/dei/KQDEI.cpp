#include "KQDEI.h"

#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQVariableEventDispatcher.h"
#include "KQVariableOwner.h"

namespace KQ {

namespace {

using Lock = std::unique_lock<std::mutex>;

unsigned int keyOf(unsigned short index, unsigned short subIndex) {
  return static_cast<unsigned int>(index) << 16 | subIndex;
}

KQVariableStorageType typeOf(int) {
  return STORAGE_TYPE_INTEGER;
}

KQVariableStorageType typeOf(const std::string&) {
  return STORAGE_TYPE_STRING;
}

KQSignal signalOf(unsigned int key, int value) {
  return KQSignal(KQ_SIGNAL_TYPE_VARIABLE, KQ_SIGNAL_VARIABLE_CHANGED, key, static_cast<unsigned int>(value));
}

KQSignal signalOf(unsigned int key, const std::string&) {
  return KQSignal(KQ_SIGNAL_TYPE_VARIABLE, KQ_SIGNAL_VARIABLE_CHANGED_TEXT, key);
}

}  // namespace

KQDEI::Variable::Variable(const KQVariable& added)
    : description(added),
      ownerName(nullptr),
      value(added.getInitialValue()),
      text(added.getInitialText()),
      isInvalid(!added.isValid()) {}

int& KQDEI::Variable::valueFor(int) {
  return value;
}

std::string& KQDEI::Variable::valueFor(const std::string&) {
  return text;
}

KQDEI* KQDEI::instance() {
  static auto* const theInstance = new KQDEI;
  return theInstance;
}

KQDEI::KQDEI() {}

KQDEI::Variable* KQDEI::find(unsigned int key) const {
  const auto found = variables.find(key);
  return found != variables.end() ? &found->second : nullptr;
}

const std::string* KQDEI::keptName(const KQVariableOwner* owner) {
  return owner != nullptr ? &*names.insert(owner->getOwnerName()).first : nullptr;
}

int KQDEI::addVariable(const KQVariable* variable) {
  if (variable == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const unsigned short index = variable->getFirstAddress();
  const unsigned short subIndex = variable->getSecondAddress();
  {
    const Lock lock(mutex);
    const std::string* const ownerName = keptName(variable->getOwner());
    Variable* present = find(keyOf(index, subIndex));
    if (present != nullptr && present->ownerName != nullptr && present->ownerName != ownerName) {
      return KQ_ALREADY_EXISTS;
    }
    if (present == nullptr) {
      present = &variables.emplace(keyOf(index, subIndex), Variable(*variable)).first->second;
    } else if (present->description.getStorageType() != variable->getStorageType()) {
      *present = Variable(*variable);
    }
    present->description = *variable;
    present->ownerName = ownerName;
  }
  // An owner hears of every change of its variable.
  auto* const listener = dynamic_cast<KQSignalListener*>(variable->getOwner());
  KQVariableEventDispatcher::instance()->addMapping(index, subIndex, listener);
  return KQ_OK;
}

std::unique_ptr<std::map<unsigned int, KQVariable>> KQDEI::getCopyOfVariableMap() const {
  const Lock lock(mutex);
  auto copy = std::make_unique<std::map<unsigned int, KQVariable>>();
  for (const auto& item : variables) {
    copy->emplace(item.first, item.second.description);
  }
  return copy;
}

int KQDEI::getVariableLength(unsigned int variableID) const {
  const Lock lock(mutex);
  const Variable* const variable = find(variableID);
  return variable != nullptr ? variable->description.getBitLength() : 0;
}

bool KQDEI::isVariableSigned(unsigned int variableID) const {
  const Lock lock(mutex);
  const Variable* const variable = find(variableID);
  return variable != nullptr && variable->description.isSigned();
}

KQVariableOwner* KQDEI::getVariableOwnerPointer(unsigned short index, unsigned short subIndex) const {
  const Lock lock(mutex);
  const Variable* const variable = find(keyOf(index, subIndex));
  return variable != nullptr ? variable->description.getOwner() : nullptr;
}

const std::string* KQDEI::getVariableOwner(unsigned short index, unsigned short subIndex) const {
  const Lock lock(mutex);
  const Variable* const variable = find(keyOf(index, subIndex));
  return variable != nullptr ? variable->ownerName : nullptr;
}

template <typename Value>
int KQDEI::read(unsigned int key, Value* value, KQVariableStorageType type) const {
  const Lock lock(mutex);
  Variable* const variable = find(key);
  if (variable == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (value == nullptr || variable->description.getStorageType() != type) {
    return KQ_INVALID_ARGUMENT;
  }
  *value = variable->valueFor(*value);
  return variable->isInvalid ? KQ_VALUE_INVALID : KQ_OK;
}

int KQDEI::getVariableValue(unsigned short index, unsigned short subIndex, int* value) const {
  return read(keyOf(index, subIndex), value, STORAGE_TYPE_INTEGER);
}

int KQDEI::getVariableValue(unsigned short index, unsigned short subIndex, std::string* value) const {
  return read(keyOf(index, subIndex), value, STORAGE_TYPE_STRING);
}

template <typename Value>
int KQDEI::write(unsigned int key, const Value& value, const std::string* ownerName, bool notify, bool forwardToOwner) {
  Lock lock(mutex);
  Variable* const variable = find(key);
  if (variable == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (ownerName != nullptr && (variable->ownerName == nullptr || *variable->ownerName != *ownerName)) {
    return KQ_NOT_PERMITTED;
  }
  if (variable->description.getStorageType() != typeOf(value)) {
    return KQ_INVALID_ARGUMENT;
  }
  KQVariableOwner* const owner = variable->description.getOwner();
  if (forwardToOwner && owner != nullptr) {
    lock.unlock();
    return owner->updateRequest(static_cast<unsigned short>(key >> 16), static_cast<unsigned short>(key), value);
  }
  auto& stored = variable->valueFor(value);
  const bool isChanged = stored != value;
  stored = value;
  variable->isInvalid = false;
  lock.unlock();
  if (isChanged && notify) {
    KQSignal signal = signalOf(key, value);
    KQVariableEventDispatcher::instance()->report(key, signal);
  }
  return KQ_OK;
}

int KQDEI::setVariableValue(unsigned short index, unsigned short subIndex, int value, bool notify,
                            bool forwardToOwner) {
  return write(keyOf(index, subIndex), value, nullptr, notify, forwardToOwner);
}

int KQDEI::setVariableValue(unsigned short index, unsigned short subIndex, const std::string& value, bool notify,
                            bool forwardToOwner) {
  return write(keyOf(index, subIndex), value, nullptr, notify, forwardToOwner);
}

int KQDEI::forceSetVariableValue(unsigned short index, unsigned short subIndex, int value, const std::string& ownerName,
                                 bool notify, bool forwardToOwner) {
  return write(keyOf(index, subIndex), value, &ownerName, notify, forwardToOwner);
}

int KQDEI::forceSetVariableValue(unsigned short index, unsigned short subIndex, const std::string& value,
                                 const std::string& ownerName, bool notify, bool forwardToOwner) {
  return write(keyOf(index, subIndex), value, &ownerName, notify, forwardToOwner);
}

int KQDEI::markValueAsInvalid(unsigned short index, unsigned short subIndex, bool invalid) {
  const Lock lock(mutex);
  Variable* const variable = find(keyOf(index, subIndex));
  if (variable == nullptr) {
    return KQ_NOT_FOUND;
  }
  variable->isInvalid = invalid;
  return KQ_OK;
}

void KQDEI::withdraw(const KQVariableOwner* owner) {
  const Lock lock(mutex);
  for (auto& item : variables) {
    if (item.second.description.getOwner() == owner) {
      item.second.description.setOwner(nullptr);
      item.second.ownerName = nullptr;
    }
  }
}

void KQDEI::clear() {
  const Lock lock(mutex);
  variables.clear();
}

}  // namespace KQ
