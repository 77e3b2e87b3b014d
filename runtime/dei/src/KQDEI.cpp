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
#include "KQVariableEventDispatcher.h"
#include "KQVariableOwner.h"
#include "VariableMapping.h"

namespace KQ {

namespace {

/// An owner as the store knows it. It never changes and is kept until clear(), so that it can be read
/// without asking whether the owner still lives.
struct Ownership {
  explicit Ownership(KQVariableOwner* theOwner)
      : owner(theOwner), nameAddress(&theOwner->getOwnerName()), name(theOwner->getOwnerName()) {}

  bool isNamed(const std::string& ownerName) const { return &ownerName == nameAddress || ownerName == name; }

  KQVariableOwner* const owner;
  const std::string* const nameAddress;  ///< where the owner keeps its name; compared, never read
  const std::string name;
};

}  // namespace

/// One variable. What the hot path needs stands first and is atomic; the rest says who guards it.
struct KQDEI::Record {
  Record(const KQVariable& variable, const KQVariableEventDispatcher::Mapping& eventMapping)
      : key(keyOf(variable.getFirstAddress(), variable.getSecondAddress())),
        mapping(eventMapping),
        description(variable) {}

  bool holds(KQVariableStorageType type) const { return storageType.load(std::memory_order_relaxed) == type; }

  /// A writer stores the value first and the validity after it, a reader goes the other way round: who sees that a
  /// value became valid sees that value or a later one.
  bool isMarkedInvalid() const { return invalid.load(std::memory_order_acquire); }
  void markInvalid(bool isInvalid) { invalid.store(isInvalid, std::memory_order_release); }

  /// Tells the listeners of the variable, if there are any.
  void report(int code, unsigned int number) const {
    if (mapping.hasListeners()) {
      tellListeners(code, number);
    }
  }

  /// Apart, so that a write that nobody listens to has no signal on its stack.
  [[gnu::noinline]] void tellListeners(int code, unsigned int number) const {
    KQSignal signal(KQ_SIGNAL_TYPE_VARIABLE, code, key, number);
    KQVariableEventDispatcher::instance()->dispatch(mapping, signal);
  }

  const unsigned int key;
  std::atomic<int> value{0};
  std::atomic<bool> invalid{false};
  std::atomic<KQVariableStorageType> storageType{STORAGE_TYPE_UNDEFINED};
  std::atomic<const Ownership*> ownership{nullptr};
  const KQVariableEventDispatcher::Mapping& mapping;
  std::string text;        ///< guarded by Store::textMutex
  KQVariable description;  ///< guarded by Store::mutex
};

struct KQDEI::Store {
  using Table = InsertOnlyTable<Record>;

  Record* find(unsigned short index, unsigned short subIndex) const { return table.find(keyOf(index, subIndex)); }

  const Ownership* ownershipOf(KQVariableOwner* owner);
  void describe(Record& record, const KQVariable& variable);
  void startAfresh(Record& record, const KQVariable& variable);
  int add(const KQVariable& variable);

  void assign(Record& record, int value, bool notify);
  void assign(Record& record, const std::string& value, bool notify);
  // Argument is int or const std::string&; an integer stays in a register that way.
  template <typename Argument>
  int write(Record* record, Argument value, bool notify, bool forwardToOwner);
  template <typename Argument>
  int forceWrite(Record* record, Argument value, const std::string& ownerName, bool notify, bool forwardToOwner);
  template <typename Argument>
  int forceWriteByText(Record* record, Argument value, const std::string& ownerName, bool notify, bool forwardToOwner);

  mutable std::mutex mutex;      ///< guards changes of the table, the descriptions and the ownerships
  mutable std::mutex textMutex;  ///< guards the texts; may be taken while `mutex` is held
  Table table;
  std::map<std::pair<const KQVariableOwner*, std::string>, Ownership> ownerships;
  KQVariableEventDispatcher* const dispatcher{KQVariableEventDispatcher::instance()};
};

const Ownership* KQDEI::Store::ownershipOf(KQVariableOwner* owner) {
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
  record.value.store(variable.getInitialValue(), std::memory_order_relaxed);
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
  const Ownership* present = record->ownership.load(std::memory_order_acquire);
  const KQVariableOwner* newOwner = variable.getOwner();
  if (present != nullptr && (newOwner == nullptr || !present->isNamed(newOwner->getOwnerName()))) {
    return KQ_ALREADY_EXISTS;
  }
  describe(*record, variable);
  if (!record->holds(variable.getStorageType())) {
    startAfresh(*record, variable);
  }
  return KQ_OK;
}

inline void KQDEI::Store::assign(Record& record, int value, bool notify) {
  const int previous = record.value.exchange(value, std::memory_order_acq_rel);
  record.markInvalid(false);
  if (notify && previous != value) {
    record.report(KQ_SIGNAL_VARIABLE_CHANGED, static_cast<unsigned int>(value));
  }
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

template <typename Argument>
inline int KQDEI::Store::write(Record* record, Argument value, bool notify, bool forwardToOwner) {
  constexpr auto type = std::is_same_v<Argument, int> ? STORAGE_TYPE_INTEGER : STORAGE_TYPE_STRING;
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (!record->holds(type)) {
    return KQ_INVALID_ARGUMENT;
  }
  if (forwardToOwner) {
    if (const Ownership* ownership = record->ownership.load(std::memory_order_acquire)) {
      return ownership->owner->updateRequest(static_cast<unsigned short>(record->key >> 16),
                                             static_cast<unsigned short>(record->key & 0xFFFFU), value);
    }
  }
  assign(*record, value, notify);
  return KQ_OK;
}

template <typename Argument>
inline int KQDEI::Store::forceWrite(Record* record, Argument value, const std::string& ownerName, bool notify,
                                    bool forwardToOwner) {
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  const Ownership* ownership = record->ownership.load(std::memory_order_acquire);
  if (ownership == nullptr) {
    return KQ_NOT_PERMITTED;
  }
  if (&ownerName != ownership->nameAddress) {
    return forceWriteByText<Argument>(record, value, ownerName, notify, forwardToOwner);
  }
  return write<Argument>(record, value, notify, forwardToOwner);
}

/// Apart, so that the comparison of texts does not weigh on an owner that passes its own string.
template <typename Argument>
[[gnu::noinline]] int KQDEI::Store::forceWriteByText(Record* record, Argument value, const std::string& ownerName,
                                                     bool notify, bool forwardToOwner) {
  const Ownership* ownership = record->ownership.load(std::memory_order_acquire);
  if (ownership == nullptr || !ownership->isNamed(ownerName)) {
    return KQ_NOT_PERMITTED;
  }
  return write<Argument>(record, value, notify, forwardToOwner);
}

KQDEI* KQDEI::instance() {
  static KQDEI* const theInstance = new KQDEI;
  return theInstance;
}

KQDEI::KQDEI() : store_(std::make_unique<Store>()) {}

KQDEI::~KQDEI() = default;

int KQDEI::addVariable(const KQVariable* variable) {
  if (variable == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const int result = store_->add(*variable);
  if (result == KQ_OK) {
    // No registration for an owner that is no listener.
    store_->dispatcher->addMapping(variable->getFirstAddress(), variable->getSecondAddress(),
                                   dynamic_cast<KQSignalListener*>(variable->getOwner()));
  }
  return result;
}

int KQDEI::getVariableValue(unsigned short index, unsigned short subIndex, int* value) const {
  if (value == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const Record* record = store_->find(index, subIndex);
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (!record->holds(STORAGE_TYPE_INTEGER)) {
    return KQ_INVALID_ARGUMENT;
  }
  const bool isInvalid = record->isMarkedInvalid();
  *value = record->value.load(std::memory_order_relaxed);
  return isInvalid ? KQ_VALUE_INVALID : KQ_OK;
}

int KQDEI::getVariableValue(unsigned short index, unsigned short subIndex, std::string* value) const {
  if (value == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  const Record* record = store_->find(index, subIndex);
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  if (!record->holds(STORAGE_TYPE_STRING)) {
    return KQ_INVALID_ARGUMENT;
  }
  const std::lock_guard<std::mutex> textLock(store_->textMutex);
  *value = record->text;
  return record->isMarkedInvalid() ? KQ_VALUE_INVALID : KQ_OK;
}

int KQDEI::setVariableValue(unsigned short index, unsigned short subIndex, int value, bool notify,
                            bool forwardToOwner) {
  return store_->write<int>(store_->find(index, subIndex), value, notify, forwardToOwner);
}

int KQDEI::setVariableValue(unsigned short index, unsigned short subIndex, const std::string& value, bool notify,
                            bool forwardToOwner) {
  return store_->write<const std::string&>(store_->find(index, subIndex), value, notify, forwardToOwner);
}

int KQDEI::forceSetVariableValue(unsigned short index, unsigned short subIndex, int value, const std::string& ownerName,
                                 bool notify, bool forwardToOwner) {
  return store_->forceWrite<int>(store_->find(index, subIndex), value, ownerName, notify, forwardToOwner);
}

int KQDEI::forceSetVariableValue(unsigned short index, unsigned short subIndex, const std::string& value,
                                 const std::string& ownerName, bool notify, bool forwardToOwner) {
  return store_->forceWrite<const std::string&>(store_->find(index, subIndex), value, ownerName, notify,
                                                forwardToOwner);
}

KQVariableOwner* KQDEI::getVariableOwnerPointer(unsigned short index, unsigned short subIndex) const {
  const Record* record = store_->find(index, subIndex);
  const Ownership* ownership = record != nullptr ? record->ownership.load(std::memory_order_acquire) : nullptr;
  return ownership != nullptr ? ownership->owner : nullptr;
}

const std::string* KQDEI::getVariableOwner(unsigned short index, unsigned short subIndex) const {
  const Record* record = store_->find(index, subIndex);
  const Ownership* ownership = record != nullptr ? record->ownership.load(std::memory_order_acquire) : nullptr;
  return ownership != nullptr ? &ownership->name : nullptr;
}

int KQDEI::markValueAsInvalid(unsigned short index, unsigned short subIndex, bool invalid) {
  Record* record = store_->find(index, subIndex);
  if (record == nullptr) {
    return KQ_NOT_FOUND;
  }
  record->markInvalid(invalid);
  return KQ_OK;
}

bool KQDEI::isValid(unsigned short index, unsigned short subIndex) const {
  const Record* record = store_->find(index, subIndex);
  return record != nullptr && !record->isMarkedInvalid();
}

int KQDEI::getVariableLength(unsigned int variableID) const {
  const Store::Table::WriterLock lock(store_->mutex);
  const Record* record = store_->table.find(variableID);
  return record != nullptr ? record->description.getBitLength() : 0;
}

bool KQDEI::isVariableSigned(unsigned int variableID) const {
  const Store::Table::WriterLock lock(store_->mutex);
  const Record* record = store_->table.find(variableID);
  return record != nullptr && record->description.isSigned();
}

std::unique_ptr<KQDEI::KQVariableMap> KQDEI::getCopyOfVariableMap() const {
  const Store::Table::WriterLock lock(store_->mutex);
  const auto& records = store_->table.nodes(lock);
  if (records.empty()) {
    return nullptr;
  }
  auto copy = std::make_unique<KQVariableMap>();
  for (const auto& record : records) {
    copy->emplace(record->key, record->description);
  }
  return copy;
}

void KQDEI::removeOwner(const KQVariableOwner* owner) {
  if (owner == nullptr) {
    return;
  }
  const Store::Table::WriterLock lock(store_->mutex);
  for (const auto& record : store_->table.nodes(lock)) {
    if (record->description.getOwner() == owner) {
      record->ownership.store(nullptr, std::memory_order_release);
      record->description.setOwner(nullptr);
    }
  }
}

void KQDEI::clear() {
  const Store::Table::WriterLock lock(store_->mutex);
  store_->table.clear(lock);
  store_->ownerships.clear();
}

}  // namespace KQ
