#pragma once

#include <map>
#include <set>

#include "DictionaryModel.h"
#include "NMTModel.h"
#include "Surroundings.h"

namespace model {

/// Watches the heartbeats of the nodes in 0x1016.
class HeartbeatConsumerModel {
public:
  HeartbeatConsumerModel(Surroundings& theSurroundings, DictionaryModel& theDictionary, const NMTModel& theNMT)
      : surroundings(theSurroundings), dictionary(theDictionary), nmt(theNMT) {}

  /// What the application adds.
  void add(unsigned int node, unsigned int time);
  void readSettings();
  void handle(const Frame& frame);
  void check();
  void listenToNode(unsigned int theListener, unsigned int node) { nodeListeners[node] = theListener; }

  unsigned int listener = 0;

private:
  void tell(unsigned int code, unsigned int node, unsigned int second, const char* what);

  Surroundings& surroundings;
  DictionaryModel& dictionary;
  const NMTModel& nmt;
  std::map<unsigned int, unsigned int> times;
  std::map<unsigned int, unsigned int> deadlines;
  std::map<unsigned int, bool> missing;
  std::map<unsigned int, unsigned int> nodeListeners;
};

}  // namespace model
