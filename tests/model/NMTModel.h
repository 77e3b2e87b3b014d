#pragma once

#include "DictionaryModel.h"
#include "Surroundings.h"

namespace model {

enum State { INIT, RESET_APPLICATION, RESET_COMMUNICATION, PRE_OPERATIONAL, OPERATIONAL, STOPPED, FATAL_ERROR };

/// The communication state, the commands of a master that change it, and the node's own heartbeat.
class NMTModel {
public:
  NMTModel(Surroundings& theSurroundings, DictionaryModel& theDictionary, unsigned int id)
      : surroundings(theSurroundings), dictionary(theDictionary), nodeID(id) {}

  void setState(int newState);
  int getState() const { return state; }
  bool isOperational() const { return state == OPERATIONAL; }

  /// @return whether the frame is a command
  bool handle(const Frame& frame);
  void sendBootUp();
  void sendHeartbeat();

  unsigned int listener = 0;
  bool ignoreBroadcasts = false;

private:
  void send(unsigned char stateByte);

  Surroundings& surroundings;
  DictionaryModel& dictionary;
  unsigned int nodeID;
  int state = INIT;
  unsigned int lastHeartbeat = 0;
};

}  // namespace model
