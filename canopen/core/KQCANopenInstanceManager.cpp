#include "KQCANopenInstanceManager.h"

#include "KQCANopen.h"
#include "KQTick.h"
#include "NodeInternals.h"

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
  NodeInternals::setRegistered(*canopen);
}

void KQCANopenInstanceManager::removeCANopenInstance(const KQCANopen* canopen) {
  for (auto it = instances.begin(); it != instances.end();) {
    if (it->second != canopen) {
      ++it;
      continue;
    }
    const bool isNext = it == nextTurn;
    it = instances.erase(it);
    nextTurn = isNext ? it : nextTurn;
    --count;
  }
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
  // What a node sets off in its turn may take nodes out.
  for (nextTurn = instances.begin(); nextTurn != instances.end();) {
    KQCANopen* const node = nextTurn->second;
    ++nextTurn;
    node->process(KQTick::getTickCount() + slice);
  }
}

void KQCANopenInstanceManager::deleteAllInstances() {
  while (!instances.empty()) {
    KQCANopen* const node = instances.begin()->second;
    removeCANopenInstance(node);  // as often as it was added
    delete node;
  }
}

}  // namespace KQ
