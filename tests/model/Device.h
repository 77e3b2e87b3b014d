#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Trace.h"

namespace model {

/// A variable to bind, a number or a text.
struct VariableDescription {
  unsigned short index = 0x2001;
  unsigned char subIndex = 1;
  int bits = 32;
  bool isSigned = false;
  bool isText = false;
  int accessMode = 0;  ///< 0 read and write, 1 write only, 2 read only, any other constant
  bool hasLimits = false;
  int minimum = 0;
  int maximum = 0;
  int initial = 0;
  std::string initialText;
  bool owned = true;              ///< the node is its owner; else nobody
  unsigned int remoteKey = 0;     ///< how another node names it
  unsigned int requestCOBID = 0;  ///< SDO channel to that node; 0: none
};

/// An object that is put into the dictionary as it stands.
struct ObjectDescription {
  unsigned short index;
  unsigned char subIndex;
  int dataType;
  int accessType;
  int value;
};

struct PDODescription {
  bool transmit;
  unsigned short number;
  unsigned int cobID;
  unsigned short eventTimer;
  unsigned short inhibitTime;
  unsigned char transmissionType;
};

/// What can be done to a node: all that a sequence of events is made of. The node, its model and the printer of events
/// take the same calls. What they show of themselves goes into the trace.
///
/// Listeners go by numbers from 1 on; 0 takes one out.
class Device {
public:
  Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  virtual ~Device() = default;

  /// Adds the values and states that nobody was told of to the trace.
  virtual void showValues() {}

  // ---- surroundings
  virtual void setClock(unsigned int /*tick*/) {}
  virtual void advance(unsigned int /*milliseconds*/) {}
  virtual void receive(const Frame& /*frame*/) {}
  virtual void cycle() {}
  /// The port refuses the next @p count writes with @p code.
  virtual void refuse(unsigned int /*count*/, int /*code*/) {}
  /// The value under a key is shown from now on.
  virtual void watch(unsigned int /*key*/) {}

  // ---- configuration
  virtual void setOption(int /*option*/, bool /*value*/) {}
  virtual void setState(int /*state*/) {}
  virtual void setPaused(bool /*paused*/) {}
  virtual void setProducerTime(int /*milliseconds*/) {}
  virtual void setSDOTimeout(unsigned int /*milliseconds*/) {}
  virtual void addConsumer(unsigned char /*nodeID*/, unsigned short /*milliseconds*/) {}
  virtual void listenToState(unsigned int /*listener*/) {}
  virtual void listenToHeartbeats(unsigned int /*listener*/) {}
  virtual void listenToNode(unsigned int /*listener*/, int /*nodeID*/) {}
  virtual void listenToSDO(unsigned int /*listener*/) {}
  virtual void addChannel(bool /*server*/, unsigned int /*request*/, unsigned int /*response*/) {}
  virtual void addVariable(const VariableDescription& /*description*/) {}
  virtual void addObject(const ObjectDescription& /*description*/) {}
  virtual void addPDO(const PDODescription& /*description*/) {}
  virtual void addMapping(unsigned short /*number*/, bool /*transmit*/, unsigned int /*key*/, int /*bits*/) {}
  virtual void countTransmissions(int /*number*/, unsigned int /*key*/) {}

  // ---- the application and the stack itself
  /// A forced write is one of the stack's own, any other one comes from the bus.
  virtual void writeObject(unsigned int /*key*/, int /*value*/, bool /*force*/) {}
  /// The application changes a variable in the store.
  virtual void change(unsigned int /*key*/, int /*value*/) {}
  /// Requests to the node that a variable lives in.
  virtual void request(unsigned int /*key*/, int /*value*/) {}
  virtual void request(unsigned int /*key*/, const std::string& /*text*/) {}
  virtual void requestRead(unsigned int /*key*/) {}

  Trace trace;
};

using Event = std::function<void(Device&)>;
using Sequence = std::vector<Event>;

}  // namespace model
