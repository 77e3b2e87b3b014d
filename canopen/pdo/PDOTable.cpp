#include "PDOTable.h"

#include <algorithm>

namespace KQ {

namespace {

std::shared_ptr<KQPDO> removeFrom(PDOTable::PDOs& pdos, unsigned short communicationIndex) {
  const auto place = std::find_if(pdos.begin(), pdos.end(), [communicationIndex](const std::shared_ptr<KQPDO>& pdo) {
    return pdo->getCommunicationIndex() == communicationIndex;
  });
  if (place == pdos.end()) {
    return nullptr;
  }
  std::shared_ptr<KQPDO> removed = *place;
  pdos.erase(place);
  return removed;
}

}  // namespace

PDOTable::Mappings PDOTable::findMappings(unsigned int key) const {
  const MappedVariable* const first = firstMappings.find(key);
  if (first == nullptr) {
    return {nullptr, nullptr};
  }
  const MappedVariable* const end = mappedVariables.data() + mappedVariables.size();
  const MappedVariable* last = first;
  while (last != end && last->key == key) {
    ++last;
  }
  return {first, last};
}

void PDOTable::addReceivePDO(const std::shared_ptr<KQPDO>& pdo) {
  const auto place = std::upper_bound(receivePDOs.begin(), receivePDOs.end(), pdo,
                                      [](const std::shared_ptr<KQPDO>& left, const std::shared_ptr<KQPDO>& right) {
                                        return left->getCommunicationIndex() < right->getCommunicationIndex();
                                      });
  receivePDOs.insert(place, pdo);
}

std::shared_ptr<KQPDO> PDOTable::removeReceivePDO(unsigned short communicationIndex) {
  std::shared_ptr<KQPDO> removed = removeFrom(receivePDOs, communicationIndex);
  if (removed != nullptr) {
    frameTakers.erase(removed.get());
  }
  return removed;
}

std::shared_ptr<KQPDO> PDOTable::removeTransmitPDO(unsigned short communicationIndex) {
  return removeFrom(transmitPDOs, communicationIndex);
}

void PDOTable::indexMappedVariables() {
  std::size_t count = 0;
  for (const auto& pdo : transmitPDOs) {
    count += pdo->getMappedKeys().size();
  }
  mappedVariables.reserve(count);
  for (const auto& pdo : transmitPDOs) {
    for (const unsigned int key : pdo->getMappedKeys()) {
      mappedVariables.push_back({key, pdo.get()});
    }
  }
  std::stable_sort(mappedVariables.begin(), mappedVariables.end(),
                   [](const MappedVariable& left, const MappedVariable& right) { return left.key < right.key; });
  for (const MappedVariable& mapped : mappedVariables) {
    if (firstMappings.find(mapped.key) == nullptr) {
      firstMappings.insert(&mapped);
    }
  }
}

}  // namespace KQ
