#include "Peer.h"

#include <algorithm>
#include <ostream>

#include "DemoApplication.h"
#include "KQCANopen.h"
#include "KQCANopenSignal.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQTick.h"
#include "KQVariable.h"

namespace panel {

namespace {

constexpr int ACCESS_READ_WRITE = 0;
constexpr int ACCESS_READ_ONLY = 2;

// The predefined connection set: where every node takes SDO requests and answers them.
constexpr unsigned int COB_ID_SDO_REQUEST = 0x600;
constexpr unsigned int COB_ID_SDO_RESPONSE = 0x580;

// After which a reading that the node did not take is asked for again.
constexpr unsigned int RETRY_MS = 5;

// The name that ties the remote variables to the SDO channel.
constexpr const char* CHANNEL = "peer";

// The objects of the demo machine, as the peer knows them.
constexpr unsigned int REMOTE_SET_POINT =
    static_cast<unsigned int>(DemoApplication::MACHINE) << 16 | DemoApplication::SUB_SET_POINT;
constexpr unsigned int REMOTE_TEXT = static_cast<unsigned int>(DemoApplication::DEVICE_TEXT) << 16;

KQ::KQVariable makeNumber(unsigned short index, unsigned char subIndex, const char* name, int bits, bool isSigned,
                          int initialValue) {
  KQ::KQVariable variable(index, subIndex, name, KQ::STORAGE_TYPE_INTEGER, bits, isSigned);
  variable.setInitialValue(initialValue);
  return variable;
}

KQ::KQVariable makeReadOnlyNumber(unsigned short index, unsigned char subIndex, const char* name, int bits,
                                  int initialValue) {
  KQ::KQVariable variable = makeNumber(index, subIndex, name, bits, false, initialValue);
  variable.setAccessMode(ACCESS_READ_ONLY);
  return variable;
}

}  // namespace

Peer::Peer(KQ::KQDEI& store, std::ostream& stream, unsigned char id)
    : KQ::KQVariableOwner("peer"), dei(store), output(stream), nodeID(id) {
  addVariables();
}

// "INDEX_" in the name of a variable at sub-index 0 tells the node that the index is a RECORD.
void Peer::addVariables() {
  addVariable(makeReadOnlyNumber(PEER, SUB_COUNT, "INDEX_PEER", 8, SUB_HIGHEST));
  addVariable(makeReadOnlyNumber(PEER, SUB_PRESENT, "Peer Present", 1, 0));
  addVariable(makeReadOnlyNumber(COMMAND, SUB_COUNT, "INDEX_PEER_COMMAND", 8, COMMAND_SUB_HIGHEST));
  addVariable(makeNumber(COMMAND, SUB_SET_POINT, "Set Point to Send", 16, true, IDLE));
  addVariable(KQ::KQVariable(COMMAND, SUB_TEXT, "Text to Send", KQ::STORAGE_TYPE_STRING));
}

void Peer::addVariable(KQ::KQVariable variable) {
  variable.setOwner(this);
  dei.addVariable(&variable);
}

void Peer::bind(KQ::KQCANopen& node) {
  ownNodeID = node.getNodeID();
  sdoTimeout = node.getSDOTimeout();
  node.addHeartbeatConsumer(nodeID, HEARTBEAT_TIME_MS);
  node.addHeartbeatListener(this, nodeID);
  node.addSDOChannel(COB_ID_SDO_REQUEST + nodeID, COB_ID_SDO_RESPONSE + nodeID, nodeID, KQ::SDO_CHANNEL_CLIENT,
                     CHANNEL);
  bindRemoteVariable(node, makeNumber(PEER, SUB_SET_POINT, "Peer Set Point", 16, true, 0), REMOTE_SET_POINT);
  bindRemoteVariable(node, KQ::KQVariable(PEER, SUB_TEXT, "Peer Device Text", KQ::STORAGE_TYPE_STRING), REMOTE_TEXT);
}

// Readable and writable: what was read from the peer is stored with the rights of a master.
void Peer::bindRemoteVariable(KQ::KQCANopen& node, KQ::KQVariable variable, unsigned int remoteKey) const {
  variable.setAccessMode(ACCESS_READ_WRITE);
  variable.setChannelName(CHANNEL);
  variable.setExternalIdentifier(remoteKey);
  node.addVariable(&variable);
  node.setSDOServerID(variable.getFirstAddress(), variable.getSecondAddress(), COB_ID_SDO_REQUEST + nodeID);
}

void Peer::update() {
  sendSetPoint();
  sendText();
  for (Reading& reading : readings) {
    reportReadability(reading);
    readWhenDue(reading);
  }
}

// Forwarded to the owner, which is the node: the value becomes an SDO download to the peer.
void Peer::sendSetPoint() {
  int setPoint = IDLE;
  dei.getVariableValue(COMMAND, SUB_SET_POINT, &setPoint);
  if (setPoint == IDLE) {
    return;
  }
  dei.setVariableValue(PEER, SUB_SET_POINT, setPoint, true, true);
  dei.forceSetVariableValue(COMMAND, SUB_SET_POINT, IDLE, getOwnerName(), true, false);
}

void Peer::sendText() {
  std::string text;
  dei.getVariableValue(COMMAND, SUB_TEXT, &text);
  if (text.empty()) {
    return;
  }
  dei.setVariableValue(PEER, SUB_TEXT, text, true, true);
  dei.forceSetVariableValue(COMMAND, SUB_TEXT, std::string(), getOwnerName(), true, false);
}

// A read that times out marks the variable invalid, and one that succeeds marks it valid.
void Peer::reportReadability(Reading& reading) {
  const bool isReadable = dei.isValid(PEER, reading.subIndex);
  if (isReadable == reading.isReadable) {
    return;
  }
  reading.isReadable = isReadable;
  output << "peer: " << reading.name << (isReadable ? " readable again" : " not readable") << std::endl;
}

unsigned int Peer::getTimeToNextUpdate() const {
  const unsigned int now = KQ::KQTick::getTickCount();
  unsigned int time = RETRY_MS;
  for (const Reading& reading : readings) {
    const unsigned int passed = now - reading.tick;
    const unsigned int rest = passed < reading.interval ? reading.interval - passed : RETRY_MS;
    time = &reading == &readings.front() ? rest : std::min(time, rest);
  }
  return time;
}

void Peer::readWhenDue(Reading& reading) {
  const unsigned int now = KQ::KQTick::getTickCount();
  if (now - reading.tick < reading.interval) {
    return;
  }
  KQ::KQVariableOwner* const owner = dei.getVariableOwnerPointer(PEER, reading.subIndex);
  // Before its first cycle the node does not know the channel yet; then the next call tries again.
  if (owner != nullptr && owner->getValueRequest(PEER, reading.subIndex) == KQ::KQ_OK) {
    reading.tick = now;
    reading.interval = getInterval(reading);
  }
}

// The node keeps requests in a queue without a limit, so that there must not be more than it gets done: each of the
// two may need a whole time-out to fail. The node-ID lets two panels that read each other at the same moment part.
unsigned int Peer::getInterval(const Reading& reading) const {
  unsigned int interval = READ_PERIOD_MS + ownNodeID;
  if (reading.subIndex == SUB_TEXT) {
    std::string text;
    dei.getVariableValue(PEER, SUB_TEXT, &text);
    interval += PERIOD_PER_CHARACTER_MS * static_cast<unsigned int>(text.size());
  }
  const bool allReadable = std::all_of(readings.begin(), readings.end(), [](const Reading& r) { return r.isReadable; });
  return allReadable ? interval : interval + 2 * sdoTimeout;
}

int Peer::refusalOf(unsigned short group) const {
  return group == PEER ? KQ::KQ_NOT_PERMITTED : KQ::KQ_NOT_FOUND;
}

int Peer::updateRequest(unsigned short group, unsigned short id, int value) {
  if (group != COMMAND || id != SUB_SET_POINT) {
    return refusalOf(group);
  }
  return dei.forceSetVariableValue(group, id, value, getOwnerName(), true, false);
}

int Peer::updateRequest(unsigned short group, unsigned short id, const std::string& value) {
  if (group != COMMAND || id != SUB_TEXT) {
    return refusalOf(group);
  }
  return dei.forceSetVariableValue(group, id, value, getOwnerName(), true, false);
}

int Peer::getValueRequest(unsigned short /*group*/, unsigned short /*id*/) {
  return KQ::KQ_OK;
}

int Peer::signalOccurred(KQ::KQSignal& signal) {
  const bool isPresent = signal.getCode() == KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED;
  const bool isHeartbeat = isPresent || signal.getCode() == KQ::SIGNAL_HEARTBEAT_TIMEOUT;
  if (signal.getType() != KQ::STACK_SIGNAL_TYPE || !isHeartbeat || signal.getFirstValue() != nodeID) {
    return KQ::KQ_NOT_HANDLED;
  }
  return dei.forceSetVariableValue(PEER, SUB_PRESENT, isPresent ? 1 : 0, getOwnerName(), true, false);
}

}  // namespace panel
