#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "KQVariable.h"
#include "KQVariableStorageType.h"

namespace KQ {

class KQVariableOwner;

/// A map with one mutex, which is never held while somebody is called.
class KQDEI {
public:
  static KQDEI* instance();

  int addVariable(const KQVariable* variable);
  std::unique_ptr<std::map<unsigned int, KQVariable>> getCopyOfVariableMap() const;
  int getVariableLength(unsigned int variableID) const;
  bool isVariableSigned(unsigned int variableID) const;

  KQVariableOwner* getVariableOwnerPointer(unsigned short index, unsigned short subIndex) const;
  const std::string* getVariableOwner(unsigned short index, unsigned short subIndex) const;

  int getVariableValue(unsigned short index, unsigned short subIndex, int* value) const;
  int getVariableValue(unsigned short index, unsigned short subIndex, std::string* value) const;
  int setVariableValue(unsigned short index, unsigned short subIndex, int value, bool notify, bool forwardToOwner);
  int setVariableValue(unsigned short index, unsigned short subIndex, const std::string& value, bool notify,
                       bool forwardToOwner);
  int forceSetVariableValue(unsigned short index, unsigned short subIndex, int value, const std::string& ownerName,
                            bool notify, bool forwardToOwner);
  int forceSetVariableValue(unsigned short index, unsigned short subIndex, const std::string& value,
                            const std::string& ownerName, bool notify, bool forwardToOwner);
  int markValueAsInvalid(unsigned short index, unsigned short subIndex, bool invalid);

  // For the runtime itself.
  void withdraw(const KQVariableOwner* owner);
  void clear();

private:
  struct Variable {
    explicit Variable(const KQVariable& added);

    int& valueFor(int);
    std::string& valueFor(const std::string&);

    KQVariable description;
    const std::string* ownerName;
    int value;
    std::string text;
    bool isInvalid;
  };

  KQDEI();
  Variable* find(unsigned int key) const;
  const std::string* keptName(const KQVariableOwner* owner);
  template <typename Value>
  int read(unsigned int key, Value* value, KQVariableStorageType type) const;
  template <typename Value>
  int write(unsigned int key, const Value& value, const std::string* ownerName, bool notify, bool forwardToOwner);

  mutable std::mutex mutex;
  mutable std::map<unsigned int, Variable> variables;
  std::set<std::string> names;  ///< of owners past and present: getVariableOwner gives them out
};

}  // namespace KQ
