#pragma once

#include <map>

namespace KQ {

class KQCANopen;

/// The process-wide registry of stack instances: several nodes, on one or more CAN ports and, on one port, under
/// different node IDs. Every operation belongs to the protocol thread.
class KQCANopenInstanceManager {
public:
  /// The one manager, created on first use and never destroyed.
  static KQCANopenInstanceManager* instance();

  virtual ~KQCANopenInstanceManager();
  KQCANopenInstanceManager(const KQCANopenInstanceManager&) = delete;
  KQCANopenInstanceManager& operator=(const KQCANopenInstanceManager&) = delete;

  /// Registers @p canopen under its port key, the low 16 bits of the port number given to create(); without a
  /// context that is 0. Null is ignored. The same instance added twice is registered twice. It is not owned until
  /// deleteAllInstances(); an instance that its owner deletes before is taken out by its destructor.
  void addCANopenInstance(KQCANopen* canopen);

  /// Takes @p canopen out, however often it was registered. Null and one that is not registered are ignored. Allowed in
  /// the cycle of any node.
  void removeCANopenInstance(const KQCANopen* canopen);

  /// @param port only its low 16 bits count
  /// @param nodeID 1 to 127, or 0 for the first instance registered on the port
  /// @return the first such instance in the order of registration, or null
  KQCANopen* getCANopenInstance(unsigned int port, unsigned char nodeID);

  /// One cycle of every node, each with an equal slice of the time until @p deadline (tick, ms).
  void updateAllData(unsigned int deadline);

  /// Deletes every registered instance once and empties the registry.
  void deleteAllInstances();

private:
  KQCANopenInstanceManager() = default;

  std::multimap<unsigned short, KQCANopen*> instances;
  std::multimap<unsigned short, KQCANopen*>::iterator nextTurn = instances.end();  ///< of the cycle under way
  unsigned int count = 0;
};

}  // namespace KQ
