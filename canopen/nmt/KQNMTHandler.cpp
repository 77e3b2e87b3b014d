#include "KQNMTHandler.h"

#include <algorithm>

#include "COBID.h"
#include "DiagnosticLine.h"
#include "KQCANopen.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQCANopenStateMachine.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"
#include "KQTick.h"
#include "ObjectIndexes.h"

namespace KQ {

namespace {

constexpr unsigned int NMT_COMMAND_LENGTH = 2;
constexpr unsigned char ALL_NODES = 0;
constexpr unsigned int HEARTBEAT_LENGTH = 1;

// ms between two heartbeats that are due all the time.
constexpr unsigned int SHORTEST_PAUSE = 5;

// Second value of a time-out signal.
constexpr unsigned int REASON_TIMED_OUT = 17;

// NMT command specifiers (CiA 301 NMT module control).
enum CommandSpecifier : unsigned char {
  START_REMOTE_NODE = 0x01,
  STOP_REMOTE_NODE = 0x02,
  ENTER_PRE_OPERATIONAL = 0x80,
  RESET_NODE = 0x81,
  RESET_COMMUNICATION = 0x82
};

// State byte of heartbeat and boot-up messages.
enum StateByte : unsigned char { BOOT_UP = 0x00, STOPPED = 0x04, OPERATIONAL = 0x05, PRE_OPERATIONAL = 0x7F };

}  // namespace

void KQNMTHandler::setHeartbeatProducerTime(KQCANopenObjectDictionary* dictionary) {
  if (dictionary != nullptr) {
    heartbeatProducerTime = dictionary->getPointerToValue(object::PRODUCER_HEARTBEAT_TIME, 0);
  }
}

int KQNMTHandler::handleMessage(KQCANMessage* message) {
  if (message == nullptr) {
    return KQ_INVALID_ARGUMENT;
  }
  if (message->identifier != cobid::NMT || message->length != NMT_COMMAND_LENGTH) {
    return message->length == HEARTBEAT_LENGTH ? handleHeartbeat(*message) : KQ_NOT_HANDLED;
  }
  if (!isCommandForThisNode(message->data[1])) {
    return KQ_OK;
  }
  return stateMachine != nullptr ? executeCommand(message->data[0]) : KQ_NOT_HANDLED;
}

bool KQNMTHandler::isCommandForThisNode(unsigned char addressedNode) const {
  return addressedNode == nodeID || (addressedNode == ALL_NODES && !ignoreBroadcastCommands);
}

int KQNMTHandler::executeCommand(unsigned char commandSpecifier) {
  const int current = stateMachine->getState();
  switch (commandSpecifier) {
    case START_REMOTE_NODE:
      if (current != CANOPEN_STATE_PRE_OPERATIONAL && current != CANOPEN_STATE_STOPPED) {
        return KQ_UNKNOWN_COMMAND;
      }
      stateMachine->setState(CANOPEN_STATE_OPERATIONAL);
      return KQ_OK;
    case STOP_REMOTE_NODE:
      stateMachine->setState(CANOPEN_STATE_STOPPED);
      return KQ_OK;
    case ENTER_PRE_OPERATIONAL:
      stateMachine->setState(CANOPEN_STATE_PRE_OPERATIONAL);
      return KQ_OK;
    case RESET_NODE:
      stateMachine->setState(CANOPEN_STATE_RESET_APPLICATION);
      return KQ_OK;
    case RESET_COMMUNICATION:
      stateMachine->setState(CANOPEN_STATE_RESET_COMMUNICATION);
      return KQ_OK;
    default:
      return KQ_UNKNOWN_COMMAND;
  }
}

int KQNMTHandler::sendHeartbeatMessage(int state) {
  const unsigned int now = KQTick::getTickCount();
  if (state == CANOPEN_STATE_INIT) {
    return sendStateByte(BOOT_UP, now);
  }
  if (!isHeartbeatDue(now) || instance == nullptr || instance->getEndPoint() == nullptr) {
    return KQ_OK;
  }
  switch (state) {
    case CANOPEN_STATE_OPERATIONAL:
      return sendStateByte(OPERATIONAL, now);
    case CANOPEN_STATE_STOPPED:
      return sendStateByte(STOPPED, now);
    case CANOPEN_STATE_PRE_OPERATIONAL:
      return sendStateByte(PRE_OPERATIONAL, now);
    default:
      return KQ_OK;
  }
}

unsigned int KQNMTHandler::getTimeToNextWork(unsigned int now) const {
  unsigned int time = KQCANopenStateMachine::NO_WORK;
  const bool hasPort = instance != nullptr && instance->getEndPoint() != nullptr;
  if (hasPort && heartbeatProducerTime != nullptr && *heartbeatProducerTime > 0) {
    const auto period = static_cast<unsigned int>(*heartbeatProducerTime);
    const unsigned int passed = now - lastHeartbeatTick;
    // Before the wrap of the tick one is due in every cycle: at the usual pace then, not without a pause.
    const unsigned int shortest = std::min(period, SHORTEST_PAUSE);
    time = !isHeartbeatDue(now) ? lastHeartbeatTick + period - now : passed < shortest ? shortest - passed : 0;
  }
  if (earliestDeadline != ~0U) {
    time = std::min(time, isTimeoutDue(now) ? 0 : earliestDeadline - now + 1);
  }
  return time;
}

int KQNMTHandler::sendStateByte(unsigned char stateByte, unsigned int now) {
  outgoingMessage.identifier = cobid::HEARTBEAT + nodeID;
  outgoingMessage.length = HEARTBEAT_LENGTH;
  outgoingMessage.data[0] = stateByte;
  const int result = sendCANMessage();
  // A failed transmission counts as sent: the next heartbeat is due one period later.
  lastHeartbeatTick = now;
  return result;
}

void KQNMTHandler::addHeartbeatListner(KQSignalListener* listener, int node) {
  heartbeatListeners[static_cast<unsigned char>(node & 0xFF)] = listener;
}

KQNMTHandler::Consumer* KQNMTHandler::findConsumer(unsigned int node) {
  const unsigned int number = consumerNumbers[node];
  return number != 0 ? &consumers[number - 1] : nullptr;
}

KQNMTHandler::Consumer& KQNMTHandler::addConsumer(unsigned char node) {
  consumers.push_back({});
  consumers.back().node = node;
  consumerNumbers[node] = static_cast<unsigned short>(consumers.size());
  return consumers.back();
}

void KQNMTHandler::updateHeartbeatConsumerSettings() {
  if (objectDictionary == nullptr) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  const bool isOperational = stateMachine != nullptr && stateMachine->getState() == CANOPEN_STATE_OPERATIONAL;
  // Mostly a few of the 127 are there: the search ends with the last of them.
  const ObjectDictionaryEntry* const entry = objectDictionary->getEntry(object::CONSUMER_HEARTBEAT_TIME);
  std::size_t left = entry != nullptr ? entry->subEntries.size() - entry->subEntries.count(0) : 0;
  for (unsigned char subIndex = 1; left > 0 && subIndex <= object::LAST_CONSUMER_SUB_INDEX; ++subIndex) {
    const ObjectDictionarySubEntry* const subEntry =
        objectDictionary->getSubentry(object::CONSUMER_HEARTBEAT_TIME, subIndex);
    if (subEntry == nullptr) {
      continue;
    }
    --left;
    const auto setting = static_cast<unsigned int>(subEntry->value);
    const auto node = static_cast<unsigned char>(setting >> 16 & 0xFF);
    Consumer* const known = findConsumer(node);
    Consumer& consumer = known != nullptr ? *known : addConsumer(node);
    consumer.time = setting & 0xFFFF;
    if (isOperational) {
      consumer.deadline = now + consumer.time;
    }
    // A node counts as missing until it is heard; its first heartbeat is reported as a resolved time-out. Until then
    // there is nothing to report when its deadline passes.
    consumer.isTimedOut = true;
  }
  declareWatchedNodes();
}

void KQNMTHandler::declareWatchedNodes() {
  KQServedCOBIDs& served = declareServedCOBIDs(typeid(KQNMTHandler));
  served.add(cobid::NMT);
  for (const Consumer& consumer : consumers) {
    served.add(cobid::HEARTBEAT + consumer.node);
  }
}

void KQNMTHandler::checkHeartbeatTimeouts() {
  if (consumers.empty()) {
    return;
  }
  const unsigned int now = KQTick::getTickCount();
  if (!isTimeoutDue(now)) {
    return;
  }
  // By node, since a listener may change what is watched.
  earliestDeadline = ~0U;
  for (unsigned int node = 0; node < consumerNumbers.size(); ++node) {
    const Consumer* const consumer = findConsumer(node);
    if (consumer == nullptr || consumer->isTimedOut) {
      continue;
    }
    if (now <= consumer->deadline) {
      earliestDeadline = std::min(earliestDeadline, consumer->deadline);
    } else {
      reportHeartbeatEvent(SIGNAL_HEARTBEAT_TIMEOUT, static_cast<unsigned char>(node), REASON_TIMED_OUT,
                           "Sending heartbeat timeout to ECU with node ID 0x");
      findConsumer(node)->isTimedOut = true;  // a listener may have added another one
    }
  }
}

int KQNMTHandler::handleHeartbeat(const KQCANMessage& message) {
  const unsigned int node = message.identifier - cobid::HEARTBEAT;
  if (node >= consumerNumbers.size()) {
    return KQ_NOT_HANDLED;
  }
  Consumer* const consumer = findConsumer(node);
  if (consumer == nullptr) {
    return KQ_NOT_HANDLED;
  }
  consumer->deadline = KQTick::getTickCount() + consumer->time;
  if (consumer->isTimedOut) {
    reportHeartbeatEvent(SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED, static_cast<unsigned char>(node), 0,
                         "Sending heartbeat resolved timeout to ECU with node ID 0x");
  }
  // A listener may have added another one, or changed this one's time.
  Consumer& present = *findConsumer(node);
  present.isTimedOut = false;
  earliestDeadline = std::min(earliestDeadline, present.deadline);
  return KQ_NOT_HANDLED;
}

void KQNMTHandler::reportHeartbeatEvent(int code, unsigned char node, unsigned int reason, const char* logText) {
  KQSignal signal(STACK_SIGNAL_TYPE, code, node, reason);
  if (heartbeatListener != nullptr) {
    heartbeatListener->signalOccurred(signal);
  }
  const auto listener = heartbeatListeners.find(node);
  if (listener == heartbeatListeners.end() || listener->second == nullptr) {
    return;
  }
  printLine(logText + hexadecimal(node));
  listener->second->signalOccurred(signal);
}

}  // namespace KQ
