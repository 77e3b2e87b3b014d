#pragma once

#include <map>
#include <memory>
#include <string>

#include "KQStoredVariable.h"
#include "KQVariable.h"
#include "KQVariableStorageType.h"

namespace KQ {

class KQVariableOwner;

/// The variable store (data exchange interface): the one place of the process where the values of
/// process variables live.
///
/// A variable is named by its two address parts, index and sub-index; together, index << 16 |
/// subIndex, they are its key. An integer value is read and written without a lock, without an
/// allocation and never torn; a text is guarded by a lock. Unless it says otherwise, every operation
/// may be called from any thread, and none holds a lock of the store while it calls out, so that
/// listeners and owners may call back into the store.
///
/// A successful write marks the value valid. When it changed the value, it is reported through
/// KQVariableEventDispatcher on the writing thread: a signal of type KQ_SIGNAL_TYPE_VARIABLE with the
/// key as first value; code 1100 with the new value as second value for an integer, code 1101 for a text.
class KQDEI {
public:
  /// Descriptions of variables by key, index << 16 | sub-index.
  using KQVariableMap = std::map<unsigned int, KQVariable>;

  /// The store of the process. Created on first use and never destroyed, so that objects which live
  /// until the process ends may still refer to it.
  static KQDEI* instance();

  KQDEI(const KQDEI&) = delete;
  KQDEI& operator=(const KQDEI&) = delete;

  /// Brings a variable into the store with its initial value and its valid flag.
  /// When the key exists already, and the variable there has no owner or one of the same name, the new
  /// variable takes it over: owner and attributes are replaced, value and validity are kept (unless the
  /// storage type is another one; then the variable starts afresh).
  /// @param variable  copied; the caller keeps it. Its owner is referred to until it removes itself. An owner that
  /// is a KQSignalListener is registered with KQVariableEventDispatcher: it hears of every change of its variable.
  /// @return 0; 20 for null; 25 when the variable there belongs to somebody else (nothing changes).
  int addVariable(const KQVariable* variable);

  /// Reads an integer.
  /// @param value  receives the value with the results 0 and 12; untouched otherwise.
  /// @return 0; 12 when the value is marked invalid (it is delivered all the same); 20 for null or when
  /// the variable holds no integer; 23 when there is no such variable.
  int getVariableValue(unsigned short index, unsigned short subIndex, int* value) const;
  /// The same for a text.
  int getVariableValue(unsigned short index, unsigned short subIndex, std::string* value) const;

  /// Writes an integer.
  /// @param notify          false: a change is not reported.
  /// @param forwardToOwner  true: the owner's updateRequest is called instead, with index as group and
  ///                        sub-index as id, and nothing is stored; its result is the result. A variable
  ///                        without an owner is stored as usual, since nobody else keeps its value.
  /// @return 0; 20 when the variable holds no integer; 23 when there is no such variable; or the owner's result.
  int setVariableValue(unsigned short index, unsigned short subIndex, int value, bool notify, bool forwardToOwner);
  /// The same for a text.
  int setVariableValue(unsigned short index, unsigned short subIndex, const std::string& value, bool notify,
                       bool forwardToOwner);

  /// Writes an integer on behalf of its owner; the parameters are those of setVariableValue.
  /// @param ownerName  the name of the one who writes. The very string that the owner's getOwnerName
  ///                   returns is recognised by its address, any other one by its text.
  /// @return as setVariableValue; also 30 when the variable has no owner or one of another name.
  int forceSetVariableValue(unsigned short index, unsigned short subIndex, int value, const std::string& ownerName,
                            bool notify, bool forwardToOwner);
  /// The same for a text.
  int forceSetVariableValue(unsigned short index, unsigned short subIndex, const std::string& value,
                            const std::string& ownerName, bool notify, bool forwardToOwner);

  /// @return the owner of a variable, not to be deleted; null when it has none or does not exist.
  KQVariableOwner* getVariableOwnerPointer(unsigned short index, unsigned short subIndex) const;
  /// @return the name of the owner of a variable; null when it has none or does not exist. The text
  /// belongs to the store and stays until clear(), also when the owner goes.
  const std::string* getVariableOwner(unsigned short index, unsigned short subIndex) const;

  /// Marks a value as invalid (its source is gone) or as valid again. The value stays; nothing is reported.
  /// @return 0; 23 when there is no such variable.
  int markValueAsInvalid(unsigned short index, unsigned short subIndex, bool invalid);
  /// @return true when the variable exists and its value is not marked invalid.
  [[nodiscard]] bool isValid(unsigned short index, unsigned short subIndex) const;

  /// @param variableID  key of the variable.
  /// @return its length in bits; 0 when there is no such variable.
  int getVariableLength(unsigned int variableID) const;
  /// @param variableID  key of the variable.
  /// @return true when it exists and is signed.
  bool isVariableSigned(unsigned int variableID) const;

  /// @return a copy of the descriptions of all variables by key, as they were added (owners as they are
  /// now), which the caller releases; null when there is no variable.
  [[nodiscard]] std::unique_ptr<KQVariableMap> getCopyOfVariableMap() const;

  /// The variable itself, for who uses it often: with it, values are read and written without a look-up.
  /// @return null when there is no such variable; else it exists as long as the process.
  [[nodiscard]] KQStoredVariable* findVariable(unsigned short index, unsigned short subIndex) const;

  /// Forgets all variables, for tests and for the end of the application. No other thread may be inside
  /// the store. What the store gave out may not be used afterwards, except for the results of findVariable(): each
  /// stands for a variable that does not exist, until one of the same key is added.
  void clear();

private:
  friend class KQStoredVariable;
  friend class KQVariableOwner;
  struct Store;
  struct Record;

  KQDEI();
  ~KQDEI();

  /// Takes an owner out of the store: its variables stay with their values and have no owner any more.
  void removeOwner(const KQVariableOwner* owner);

  const std::unique_ptr<Store> store;
};

}  // namespace KQ
