#include "KQCANopenInstanceManager.h"

#include <set>

#include "KQCANopen.h"
#include "KQTick.h"

namespace KQ {

namespace {

unsigned short portKeyOf(unsigned int portNumber) {
  return static_cast<unsigned short>(portNumber & 0xFFFF);
}

}  // namespace

KQCANopenInstanceManager* KQCANopenInstanceManager::instance() {
  static KQCANopenInstanceManager* const manager = new KQCANopenInstanceManager;
  return manager;
}

KQCANopenInstanceManager::~KQCANopenInstanceManager() {
  instances.clear();
}

void KQCANopenInstanceManager::addCANopenInstance(KQCANopen* canopen) {
  if (canopen == nullptr) {
    return;
  }
  const KQCANProtocolContext* const context = canopen->getContext();
  instances.emplace(portKeyOf(context != nullptr ? context->portNumber : 0), canopen);
  ++count;
}

KQCANopen* KQCANopenInstanceManager::getCANopenInstance(unsigned int port, unsigned char nodeID) {
  const auto range = instances.equal_range(portKeyOf(port));
  for (auto it = range.first; it != range.second; ++it) {
    if (nodeID == 0 || it->second->getNodeID() == nodeID) {
      return it->second;
    }
  }
  return nullptr;
}

void KQCANopenInstanceManager::updateAllData(unsigned int deadline) {
  if (count == 0) {
    return;
  }
  const unsigned int slice = (deadline - KQTick::getTickCount()) / count;
  for (const auto& item : instances) {
    item.second->process(KQTick::getTickCount() + slice);
  }
}

void KQCANopenInstanceManager::deleteAllInstances() {
  std::set<KQCANopen*> deleted;
  for (const auto& item : instances) {
    if (deleted.insert(item.second).second) {
      delete item.second;
    }
  }
  instances.clear();
  count = 0;
}

}  // namespace KQ
