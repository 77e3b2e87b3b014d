#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "KQPDO.h"
#include "KeyTable.h"
#include "PDOInternals.h"

namespace KQ {

/// The PDOs that a node has at one time. It is put together by one thread and not changed any more once others see it:
/// who changes a PDO publishes a changed copy, and who walks over the PDOs keeps the table that he began with, and with
/// it all of its PDOs.
class PDOTable {
public:
  using PDOs = std::vector<std::shared_ptr<KQPDO>>;

  struct MappedVariable {
    unsigned int key;
    KQPDO* pdo;
  };

  /// The TPDOs that map one object, in the order in which they were built.
  struct Mappings {
    const MappedVariable* first;
    const MappedVariable* last;
    const MappedVariable* begin() const { return first; }
    const MappedVariable* end() const { return last; }
  };

  PDOTable() = default;
  /// A copy to be changed: indexMappedVariables() makes it complete.
  PDOTable(const PDOTable& other)
      : receivePDOs(other.receivePDOs), frameTakers(other.frameTakers), transmitPDOs(other.transmitPDOs) {}
  PDOTable& operator=(const PDOTable&) = delete;

  /// In the order of their communication indexes.
  const PDOs& getReceivePDOs() const { return receivePDOs; }
  /// In the order in which they were built.
  const PDOs& getTransmitPDOs() const { return transmitPDOs; }

  /// @return the RPDO that takes frames with that identifier, or null
  KQPDO* findFrameTaker(unsigned int cobID) const { return frameTakers.find(cobID); }

  Mappings findMappings(unsigned int key) const;

  // ---- while it is put together

  void addReceivePDO(const std::shared_ptr<KQPDO>& pdo);
  /// From now on the RPDO takes the frames with its reception key, in place of the one that did.
  void setFrameTaker(KQPDO& pdo) { frameTakers.insert(&pdo); }
  void addTransmitPDO(const std::shared_ptr<KQPDO>& pdo) { transmitPDOs.push_back(pdo); }

  /// Take out the PDO with that communication index. @return it; null when there is none
  std::shared_ptr<KQPDO> removeReceivePDO(unsigned short communicationIndex);
  std::shared_ptr<KQPDO> removeTransmitPDO(unsigned short communicationIndex);

  /// The last step: what findMappings() looks up.
  void indexMappedVariables();

private:
  static unsigned int keyOfMapping(const MappedVariable& mapped) { return mapped.key; }

  PDOs receivePDOs;
  KeyTable<KQPDO, PDOInternals::receptionKeyOf> frameTakers;
  PDOs transmitPDOs;
  std::vector<MappedVariable> mappedVariables;                 ///< ordered by key
  KeyTable<const MappedVariable, keyOfMapping> firstMappings;  ///< the first one of each key
};

}  // namespace KQ
