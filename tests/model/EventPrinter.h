#pragma once

#include "Device.h"

namespace model {

/// Writes an event as a line that says what is done to the device.
class EventPrinter : public Device {
public:
  static std::string toText(const Event& event);

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
  void say(const std::string& line);

  std::string last;
  unsigned int calls = 0;
};

}  // namespace model
