#pragma once

#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "DictionaryModel.h"
#include "NMTModel.h"
#include "Surroundings.h"

namespace model {

/// When PDOs are sent and taken over, and what stands in them. PDOs go by their communication index.
class PDOTimingModel {
public:
  PDOTimingModel(Surroundings& theSurroundings, DictionaryModel& theDictionary, const NMTModel& theNMT)
      : surroundings(theSurroundings), dictionary(theDictionary), nmt(theNMT) {}

  // ---- configuration
  void add(const PDODescription& description);
  int map(unsigned int number, bool transmit, unsigned int key, int bits);
  void countTransmissions(unsigned int index, unsigned int key) { counters[index] = key; }
  void build();
  void parameterWritten(unsigned int index);

  // ---- events
  bool handleSync(const Frame& frame);
  bool handle(const Frame& frame);
  void valueChanged(unsigned int key);

  // ---- the send pass
  void sendDue(unsigned int& waitHint);
  void checkReception();

private:
  struct Mapped {
    unsigned int key;
    unsigned int bits;
    unsigned int position;
  };
  struct PDO {
    unsigned int index = 0;
    unsigned int built = 0;  ///< the how many-th it is of all that were
    unsigned int cobID = 0;
    unsigned int type = 0;
    unsigned int inhibitTime = 0;
    unsigned int eventTimer = 0;
    unsigned int length = 0;
    unsigned int counter = 0;
    std::vector<Mapped> mapping;
    unsigned int timeStamp = 0;  ///< of the last frame sent, or until when the next one has to come; 0: there was none
    bool timedOut = false;

    bool isEventDriven() const { return type >= 254; }
    bool isSynchronous() const { return type <= 251; }
    bool maps(unsigned int key) const;
  };
  using Pointer = std::shared_ptr<PDO>;

  std::vector<Pointer> transmittersOf(unsigned int key) const;
  Pointer make(unsigned int index);
  void readMapping(PDO& pdo, unsigned int mappingIndex);
  int value(unsigned int key);
  void buildReceive();
  void buildTransmit();
  void rebuildReceive(unsigned int index);
  void rebuildTransmit(unsigned int index);
  void forget(unsigned int index);
  void schedule(const PDO& pdo);
  void queueForSync(const PDO& pdo);

  bool isHeldBack(const PDO& pdo) const;
  int send(PDO& pdo);
  void sendOrHold(PDO& pdo);
  void count(const PDO& pdo);
  Frame pack(const PDO& pdo);
  void unpack(const PDO& pdo, const Frame& frame);
  void takeOver(PDO& pdo, const Frame& frame);
  void sendPending();
  void sendTimed(unsigned int& waitHint);
  bool isPassOver() const { return surroundings.tick >= surroundings.tick + 50; }

  Surroundings& surroundings;
  DictionaryModel& dictionary;
  const NMTModel& nmt;
  std::map<unsigned int, Pointer> receivers;  ///< by COB-ID
  std::map<unsigned int, Pointer> monitored;
  std::map<unsigned int, Pointer> transmitters;
  std::set<unsigned int> pending;
  std::vector<std::pair<unsigned int, unsigned int>> timers;  ///< due tick and index, in the order of insertion
  std::set<unsigned int> cyclic;
  std::set<unsigned int> nextSync;
  std::map<unsigned int, std::pair<Pointer, Frame>> buffered;
  std::map<unsigned int, unsigned int> counters;
  std::set<unsigned int> invalidMappings;
  unsigned int syncCounter = 1;
  unsigned int builds = 0;
};

}  // namespace model
