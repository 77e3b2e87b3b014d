#include "KQDEI.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include "InsertOnlyTable.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQStoredVariable.h"
#include "KQVariableEventDispatcher.h"
#include "KQVariableOwner.h"
#include "VariableMapping.h"

namespace KQ {

// One variable: what it is beside its value.
struct KQDEI::Record : KQStoredVariable {
  Record(const KQVariable& variable, const KQVariableEventDispatcher::Mapping& eventMapping)
      : KQStoredVariable(eventMapping.listeners),
        key(keyOf(variable.getFirstAddress(), variable.getSecondAddress())),
        mapping(eventMapping),
        description(variable) {}

  const unsigned int key;
  const KQVariableEventDispatcher::Mapping& mapping;
  std::string text;        // guarded by Store::textMutex
  KQVariable description;  // guarded by Store::mutex
};

KQStoredVariable::Ownership::Ownership(KQVariableOwner* theOwner)
    : owner(theOwner), nameAddress(&theOwner->getOwnerName()), name(theOwner->getOwnerName()) {}

bool KQStoredVariable::isNamed(const Ownership& ownership, const std::string& ownerName) {
  return ownerName == ownership.name;
}

int KQStoredVariable::codeOfOther() const {
  return holds(FORGOTTEN) ? KQ_NOT_FOUND : KQ_INVALID_ARGUMENT;
}

int KQStoredVariable::codeOfStranger() const {
  return holds(FORGOTTEN) ? KQ_NOT_FOUND : KQ_NOT_PERMITTED;
}

void KQStoredVariable::tellListeners(int code, unsigned int number) const {
  const auto& record = static_cast<const KQDEI::Record&>(*this);
  KQSignal signal(KQ_SIGNAL_TYPE_VARIABLE, code, record.key, number);
  KQVariableEventDispatcher::instance()->dispatch(record.mapping, signal);
}

struct KQDEI::Store {
  using Table = InsertOnlyTable<Record>;

  // @return null when there is none, or it was forgotten
  Record* find(unsigned int key) const {
    Record* const record = table.find(key);
    return record != nullptr && !record->holds(KQStoredVariable::FORGOTTEN) ? record : nullptr;
  }
  Record* find(unsigned short index, unsigned short subIndex) const { return find(keyOf(index, subIndex)); }

  const KQStoredVariable::Ownership* ownershipOf(KQVariableOwner* owner);
  void describe(Record& record, const KQVariable& variable);
  void startAfresh(Record& record, const KQVariable& variable);
  int add(const KQVariable& variable);

  void assign(Record& record, const std::string& value, bool notify);
  template <typename Value>
  int write(Record* record, const Value& value, bool notify, bool forwardToOwner);
  template <typename Value>
  int forceWrite(Record* record, const Value& value, const std::string& ownerName, bool notify, bool forwardToOwner);

  mutable std::mutex mutex;      // guards changes of the table, the descriptions and the ownerships
  mutable std::mutex textMutex;  // guards the texts; may be taken while `mutex` is held
  Table table;
  std::map<std::pair<const KQVariableOwner*, std::string>, KQStoredVariable::Ownership> ownerships;
  KQVariableEventDispatcher* const dispatcher{KQVariableEventDispatcher::instance()};
};

const KQStoredVariable::Ownership* KQDEI::Store::ownershipOf(KQVariableOwner* owner) {
  if (owner == nullptr) {
    return nullptr;
  }
  return &ownerships.try_emplace({owner, owner->getOwnerName()}, owner).first->second;
}

void KQDEI::Store::describe(Record& record, const KQVariable& variable) {
  record.description = variable;
  record.description.setName(variable.getName());
  record.ownership.store(ownershipOf(variable.getOwner()), std::memory_order_release);
}

void KQDEI::Store::startAfresh(Record& record, const KQVariable& variable) {
  {
    const std::lock_guard<std::mutex> textLock(textMutex);
    record.text = variable.getInitialText();
  }
  record.integer.store(variable.getInitialValue(), std::memory_order_relaxed);
  record.markInvalid(!variable.isValid());
  record.storageType.store(variable.getStorageType(), std::memory_order_release);
}

int KQDEI::Store::add(const KQVariable& variable) {
  const unsigned int key = keyOf(variable.getFirstAddress(), variable.getSecondAddress());
  const KQVariableEventDispatcher::Mapping& mapping = *dispatcher->findOrAddMapping(key);
  const Table::WriterLock lock(mutex);
  Record* record = table.find(key);
  if (record == nullptr) {
    auto added = std::make_unique<Record>(variable, mapping);
    describe(*added, variable);
    startAfresh(*added, variable);
    table.insert(std::move(added), lock);
    return KQ_OK;
  }
  const KQVariableOwner* newOwner = variable.getOwner();
  const bool isOwned = record->getOwnership() != nullptr;
  if (isOwned && (newOwner == nullptr || !record->isOwnedBy(newOwner->getOwnerName()))) {
    return KQ_ALREADY_EXISTS;
  }
  describe(*record, variable);
  if (!record->holds(variable.getStorageType())) {
    startAfresh(*record, variable);
  }
  return KQ_OK;
}

void KQDEI::Store::assign(Record& record, const std::string& value, bool notify) {
  bool changed = false;
  {
    const std::lock_guard<std::mutex> textLock(textMutex);
    changed = record.text != value;
    if (changed) {
      record.text = value;
    }
    record.markInvalid(false);
  }
  if (notify && changed) {
    record.report(KQ_SIGNAL_VARIABLE_CHANGED_TEXT, 0);
  }
}

template <typename Value>
inline int KQDEI::Store::write(Record* record, const Value& value, bool notify, bool forwardToOwner) {
  constexpr bool IS_NUMBER = std::is_same_v<Value, int>;
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (!record->holds(IS_NUMBER ? STORAGE_TYPE_INTEGER : STORAGE_TYPE_STRING)) {
    return KQ_INVALID_ARGUMENT;
  }
  KQVariableOwner* const owner = forwardToOwner ? record->getVariableOwnerPointer() : nullptr;
  if (owner != nullptr) {
    return owner->updateRequest(static_cast<unsigned short>(record->key >> 16),
                                static_cast<unsigned short>(record->key & 0xFFFFU), value);
  }
  if constexpr (IS_NUMBER) {
    record->assign(value, notify);
  } else {
    assign(*record, value, notify);
  }
  return KQ_OK;
}

template <typename Value>
inline int KQDEI::Store::forceWrite(Record* record, const Value& value, const std::string& ownerName, bool notify,
                                    bool forwardToOwner) {
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  return record->isOwnedBy(ownerName) ? write(record, value, notify, forwardToOwner) : KQ_NOT_PERMITTED;
}

KQDEI* KQDEI::instance() {
  static KQDEI* const theInstance = new KQDEI;
  return theInstance;
}

KQDEI::KQDEI() : store(std::make_unique<Store>()) {}

KQDEI::~KQDEI() = default;

int KQDEI::addVariable(const KQVariable* variable) {
  if (variable == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const int result = store->add(*variable);
  if (result == KQ_OK) {
    // No registration for an owner that is no listener.
    store->dispatcher->addMapping(variable->getFirstAddress(), variable->getSecondAddress(),
                                  dynamic_cast<KQSignalListener*>(variable->getOwner()));
  }
  return result;
}

KQStoredVariable* KQDEI::findVariable(unsigned short index, unsigned short subIndex) const {
  return store->find(index, subIndex);
}

int KQDEI::getVariableValue(unsigned short index, unsigned short subIndex, int* value) const {
  if (value == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const Record* record = store->find(index, subIndex);
  return record != nullptr ? record->getVariableValue(value) : KQ_NOT_FOUND;
}

int KQDEI::getVariableValue(unsigned short index, unsigned short subIndex, std::string* value) const {
  if (value == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const Record* record = store->find(index, subIndex);
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (!record->holds(STORAGE_TYPE_STRING)) {
    return KQ_INVALID_ARGUMENT;
  }
  const std::lock_guard<std::mutex> textLock(store->textMutex);
  *value = record->text;
  return record->isMarkedInvalid() ? KQ_VALUE_INVALID : KQ_OK;
}

int KQDEI::setVariableValue(unsigned short index, unsigned short subIndex, int value, bool notify,
                            bool forwardToOwner) {
  return store->write(store->find(index, subIndex), value, notify, forwardToOwner);
}

int KQDEI::setVariableValue(unsigned short index, unsigned short subIndex, const std::string& value, bool notify,
                            bool forwardToOwner) {
  return store->write(store->find(index, subIndex), value, notify, forwardToOwner);
}

int KQDEI::forceSetVariableValue(unsigned short index, unsigned short subIndex, int value, const std::string& ownerName,
                                 bool notify, bool forwardToOwner) {
  return store->forceWrite(store->find(index, subIndex), value, ownerName, notify, forwardToOwner);
}

int KQDEI::forceSetVariableValue(unsigned short index, unsigned short subIndex, const std::string& value,
                                 const std::string& ownerName, bool notify, bool forwardToOwner) {
  return store->forceWrite(store->find(index, subIndex), value, ownerName, notify, forwardToOwner);
}

KQVariableOwner* KQDEI::getVariableOwnerPointer(unsigned short index, unsigned short subIndex) const {
  const Record* record = store->find(index, subIndex);
  return record != nullptr ? record->getVariableOwnerPointer() : nullptr;
}

const std::string* KQDEI::getVariableOwner(unsigned short index, unsigned short subIndex) const {
  const Record* record = store->find(index, subIndex);
  const KQStoredVariable::Ownership* ownership = record != nullptr ? record->getOwnership() : nullptr;
  return ownership != nullptr ? &ownership->name : nullptr;
}

int KQDEI::markValueAsInvalid(unsigned short index, unsigned short subIndex, bool invalid) {
  Record* record = store->find(index, subIndex);
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  record->markInvalid(invalid);
  return KQ_OK;
}

bool KQDEI::isValid(unsigned short index, unsigned short subIndex) const {
  const Record* record = store->find(index, subIndex);
  return record != nullptr && !record->isMarkedInvalid();
}

int KQDEI::getVariableLength(unsigned int variableID) const {
  const Store::Table::WriterLock lock(store->mutex);
  const Record* record = store->find(variableID);
  return record != nullptr ? record->description.getBitLength() : 0;
}

bool KQDEI::isVariableSigned(unsigned int variableID) const {
  const Store::Table::WriterLock lock(store->mutex);
  const Record* record = store->find(variableID);
  return record != nullptr && record->description.isSigned();
}

std::unique_ptr<KQDEI::KQVariableMap> KQDEI::getCopyOfVariableMap() const {
  const Store::Table::WriterLock lock(store->mutex);
  auto copy = std::make_unique<KQVariableMap>();
  for (const auto& record : store->table.nodes(lock)) {
    if (!record->holds(KQStoredVariable::FORGOTTEN)) {
      copy->emplace(record->key, record->description);
    }
  }
  return !copy->empty() ? std::move(copy) : nullptr;
}

void KQDEI::removeOwner(const KQVariableOwner* owner) {
  const Store::Table::WriterLock lock(store->mutex);
  for (const auto& record : store->table.nodes(lock)) {
    if (record->description.getOwner() == owner) {
      record->ownership.store(nullptr, std::memory_order_release);
      record->description.setOwner(nullptr);
    }
  }
}

void KQDEI::clear() {
  const Store::Table::WriterLock lock(store->mutex);
  for (const auto& record : store->table.nodes(lock)) {
    record->storageType.store(KQStoredVariable::FORGOTTEN, std::memory_order_release);
    record->ownership.store(nullptr, std::memory_order_release);
    record->description.setOwner(nullptr);
  }
  store->ownerships.clear();
}

}  // namespace KQ
