#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Device.h"
#include "KQAction.h"
#include "KQCANopen.h"
#include "KQSignalListener.h"
#include "TestClock.h"

namespace model {

/// The real node, with node ID 5 and initialised, on a port in memory. The process has one variable store, so only one
/// lives at a time.
class ComparedNode : public Device {
public:
  ComparedNode();
  ~ComparedNode() override;

  void showValues() override;

  void setClock(unsigned int tick) override;
  void advance(unsigned int milliseconds) override;
  void receive(const Frame& frame) override;
  void cycle() override;
  void refuse(unsigned int count, int code) override;
  void watch(unsigned int key) override;
  void setOption(int option, bool value) override;
  void setState(int state) override;
  void setPaused(bool paused) override;
  void setProducerTime(int milliseconds) override;
  void setSDOTimeout(unsigned int milliseconds) override;
  void addConsumer(unsigned char nodeID, unsigned short milliseconds) override;
  void listenToState(unsigned int listener) override;
  void listenToHeartbeats(unsigned int listener) override;
  void listenToNode(unsigned int listener, int nodeID) override;
  void listenToSDO(unsigned int listener) override;
  void addChannel(bool server, unsigned int request, unsigned int response) override;
  void addVariable(const VariableDescription& description) override;
  void addObject(const ObjectDescription& description) override;
  void addPDO(const PDODescription& description) override;
  void addMapping(unsigned short number, bool transmit, unsigned int key, int bits) override;
  void countTransmissions(int number, unsigned int key) override;
  void writeObject(unsigned int key, int value, bool force) override;
  void change(unsigned int key, int value) override;
  void request(unsigned int key, int value) override;
  void request(unsigned int key, const std::string& text) override;
  void requestRead(unsigned int key) override;

private:
  class Port;
  class Lines;
  class Listener;
  class Action;

  KQ::KQSignalListener* listenerOf(unsigned int number);
  void noteEvents(unsigned short communicationIndex);
  void showValue(unsigned int key);

  test::TestClock clock;
  std::unique_ptr<Lines> output;
  std::unique_ptr<Lines> errors;
  std::vector<std::unique_ptr<Listener>> listeners;
  std::deque<std::unique_ptr<Action>> actions;
  std::vector<unsigned int> watched;
  Port* port = nullptr;  // owned by the node
  std::unique_ptr<KQ::KQCANopen> node;
};

}  // namespace model
