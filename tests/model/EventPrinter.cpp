#include "EventPrinter.h"

#include <cstdio>

namespace model {

namespace {

template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
  char text[160];
  std::snprintf(text, sizeof text, pattern, arguments...);
  return text;
}

const char* kindOf(bool transmit) {
  return transmit ? "TPDO" : "RPDO";
}

}  // namespace

std::string EventPrinter::toText(const Event& event) {
  EventPrinter printer;
  event(printer);
  return printer.calls == 1 ? printer.last : std::to_string(printer.calls) + " calls, the last: " + printer.last;
}

void EventPrinter::say(const std::string& line) {
  ++calls;
  last = line;
}

void EventPrinter::setClock(unsigned int tick) {
  say(format("clock = 0x%x", tick));
}

void EventPrinter::advance(unsigned int milliseconds) {
  say(format("clock + %u ms", milliseconds));
}

void EventPrinter::receive(const Frame& frame) {
  say("receive " + model::toText(frame));
}

void EventPrinter::cycle() {
  say("cycle");
}

void EventPrinter::refuse(unsigned int count, int code) {
  say(format("port refuses %u writes with %d", count, code));
}

void EventPrinter::watch(unsigned int key) {
  say(format("watch %08x", key));
}

void EventPrinter::setOption(int option, bool value) {
  say(format("set option %d to %d", option, value ? 1 : 0));
}

void EventPrinter::setState(int state) {
  say(format("set state %d", state));
}

void EventPrinter::setPaused(bool paused) {
  say(paused ? "pause" : "go on");
}

void EventPrinter::setProducerTime(int milliseconds) {
  say(format("set heartbeat producer time %d", milliseconds));
}

void EventPrinter::setSDOTimeout(unsigned int milliseconds) {
  say(format("set SDO time-out %u", milliseconds));
}

void EventPrinter::addConsumer(unsigned char nodeID, unsigned short milliseconds) {
  say(format("add heartbeat consumer of node 0x%x, %u ms", static_cast<unsigned int>(nodeID), milliseconds));
}

void EventPrinter::listenToState(unsigned int listener) {
  say(format("listener %u hears of states", listener));
}

void EventPrinter::listenToHeartbeats(unsigned int listener) {
  say(format("listener %u hears of heartbeats", listener));
}

void EventPrinter::listenToNode(unsigned int listener, int nodeID) {
  say(format("listener %u hears of node 0x%x", listener, static_cast<unsigned int>(nodeID)));
}

void EventPrinter::listenToSDO(unsigned int listener) {
  say(format("listener %u hears of SDO", listener));
}

void EventPrinter::addChannel(bool server, unsigned int request, unsigned int response) {
  say(format("add SDO %s channel, requests %x, answers %x", server ? "server" : "client", request, response));
}

void EventPrinter::addVariable(const VariableDescription& description) {
  std::string line = format("add variable %x/%x, %s of %d bits, %s, access mode %d, ", description.index,
                            static_cast<unsigned int>(description.subIndex), description.isText ? "text" : "number",
                            description.bits, description.isSigned ? "signed" : "unsigned", description.accessMode);
  line += format("initially 0x%x \"%s\", %s", static_cast<unsigned int>(description.initial),
                 description.initialText.c_str(), description.owned ? "owned" : "nobody's");
  if (description.hasLimits) {
    line += format(", %d to %d", description.minimum, description.maximum);
  }
  if (description.requestCOBID != 0) {
    line += format(", %08x of the node behind %x", description.remoteKey, description.requestCOBID);
  }
  say(line);
}

void EventPrinter::addObject(const ObjectDescription& description) {
  say(format("add object %x/%x, type 0x%x, access %d, value 0x%x", description.index,
             static_cast<unsigned int>(description.subIndex), static_cast<unsigned int>(description.dataType),
             description.accessType, static_cast<unsigned int>(description.value)));
}

void EventPrinter::addPDO(const PDODescription& description) {
  say(format("add %s %u on %x, type %u, event timer %u, inhibit time %u", kindOf(description.transmit),
             description.number, description.cobID, static_cast<unsigned int>(description.transmissionType),
             description.eventTimer, description.inhibitTime));
}

void EventPrinter::addMapping(unsigned short number, bool transmit, unsigned int key, int bits) {
  say(format("map %08x, %d bits, into %s %u", key, bits, kindOf(transmit), number));
}

void EventPrinter::countTransmissions(int number, unsigned int key) {
  say(format("count transmissions of TPDO %d in %08x", number, key));
}

void EventPrinter::writeObject(unsigned int key, int value, bool force) {
  say(format("write %08x = 0x%x%s", key, static_cast<unsigned int>(value), force ? " by force" : ""));
}

void EventPrinter::change(unsigned int key, int value) {
  say(format("application changes %08x to 0x%x", key, static_cast<unsigned int>(value)));
}

void EventPrinter::request(unsigned int key, int value) {
  say(format("request write of %08x = 0x%x", key, static_cast<unsigned int>(value)));
}

void EventPrinter::request(unsigned int key, const std::string& text) {
  say(format("request write of %08x = \"%s\"", key, text.c_str()));
}

void EventPrinter::requestRead(unsigned int key) {
  say(format("request read of %08x", key));
}

}  // namespace model
