#include "ComparedNode.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <utility>

#include "Edition.h"
#include "EditionEndPoint.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"

namespace model {

namespace {

constexpr unsigned int PORT = 77;
constexpr unsigned char NODE_ID = 5;
constexpr unsigned int LISTENERS = 4;

unsigned short indexOf(unsigned int key) {
  return static_cast<unsigned short>(key >> 16U);
}

unsigned char subIndexOf(unsigned int key) {
  return static_cast<unsigned char>(key & 0xFFU);
}

void require(int code, const char* what) {
  if (code != KQ::KQ_OK) {
    throw std::logic_error(std::string("node: ") + what);
  }
}

KQ::KQVariable toVariable(const VariableDescription& description) {
  KQ::KQVariable variable(description.index, description.subIndex, "variable",
                          description.isText ? KQ::STORAGE_TYPE_STRING : KQ::STORAGE_TYPE_INTEGER, description.bits,
                          description.isSigned);
  variable.setAccessMode(description.accessMode);
  variable.setInitialValue(description.initial);
  variable.setInitialText(description.initialText);
  variable.setExternalIdentifier(description.remoteKey);
  variable.setChannelName(description.requestCOBID != 0 ? std::to_string(description.requestCOBID) : std::string());
  if (description.hasLimits) {
    variable.setMinimum(description.minimum);
    variable.setMaximum(description.maximum);
  }
  return variable;
}

}  // namespace

class ComparedNode::Port : public test::EditionEndPoint {
public:
  explicit Port(Trace& seen) : trace(seen) {}

  std::deque<KQ::KQCANMessage> incoming;
  unsigned int refusals = 0;
  int refusalCode = KQ::KQ_OK;

protected:
  int doRead(KQ::KQCANMessage& message) override {
    if (incoming.empty()) {
      return KQ::KQ_NO_DATA;
    }
    message = incoming.front();
    incoming.pop_front();
    return KQ::KQ_OK;
  }

  int doWrite(const KQ::KQCANMessage& message) override {
    if (refusals > 0) {
      --refusals;
      return refusalCode;
    }
    Frame frame{message.identifier, message.length, {}};
    std::copy_n(message.data, 8, frame.data.begin());
    trace.frame(frame);
    return KQ::KQ_OK;
  }

private:
  Trace& trace;
};

// While one lives, the lines of a stream go into the trace.
class ComparedNode::Lines : public std::streambuf {
public:
  Lines(std::ostream& replaced, std::function<void(std::string)> report)
      : stream(replaced), previous(replaced.rdbuf(this)), take(std::move(report)) {}
  ~Lines() override { stream.rdbuf(previous); }

protected:
  int overflow(int character) override {
    if (character == '\n') {
      take(std::exchange(line, std::string()));
    } else {
      line += static_cast<char>(character);
    }
    return character;
  }

  std::streamsize xsputn(const char* text, std::streamsize count) override {
    std::for_each(text, text + count, [this](char character) { overflow(static_cast<unsigned char>(character)); });
    return count;
  }

private:
  std::ostream& stream;
  std::streambuf* previous;
  std::function<void(std::string)> take;
  std::string line;
};

class ComparedNode::Listener : public KQ::KQSignalListener {
public:
  Listener(unsigned int ownNumber, Trace& heard) : number(ownNumber), trace(heard) {}

  int signalOccurred(KQ::KQSignal& signal) override {
    trace.signal(number, static_cast<unsigned int>(signal.getType()), static_cast<unsigned int>(signal.getCode()),
                 signal.getFirstValue(), signal.getSecondValue(), signal.getFlag());
    return KQ::KQ_OK;
  }

private:
  unsigned int number;
  Trace& trace;
};

class ComparedNode::Action : public KQ::KQAction {
public:
  Action(unsigned short ownKey, Trace& run) : key(ownKey), trace(run) {}

  int execute() override {
    trace.event(getEventType(), key);
    return KQ::KQ_OK;
  }

private:
  unsigned short key;
  Trace& trace;
};

ComparedNode::ComparedNode()
    : output(std::make_unique<Lines>(std::cout, [this](std::string line) { trace.line(std::move(line)); })),
      errors(std::make_unique<Lines>(std::cerr, [this](std::string line) { trace.errorLine(std::move(line)); })),
      node(std::make_unique<KQ::KQCANopen>("node")) {
  test::edition::clearStore();
  test::edition::bindPort(PORT, [this] {
    auto created = std::make_unique<Port>(trace);
    port = created.get();
    return created;
  });
  require(node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr), "create");
  node->setNodeID(NODE_ID);
  require(node->init(), "init");
  for (unsigned int number = 1; number <= LISTENERS; ++number) {
    listeners.push_back(std::make_unique<Listener>(number, trace));
  }
}

ComparedNode::~ComparedNode() {
  node.reset();
  test::edition::unbindPort(PORT);
  test::edition::clearStore();
}

KQ::KQSignalListener* ComparedNode::listenerOf(unsigned int number) {
  return number == 0 ? nullptr : listeners[(number - 1) % LISTENERS].get();
}

void ComparedNode::showValues() {
  trace.value(0, 0, node->getCANopenState());
  trace.value(1, 0, node->getProtocolStatus());
  for (const unsigned int key : watched) {
    showValue(key);
  }
}

void ComparedNode::showValue(unsigned int key) {
  if (indexOf(key) < 0x2000) {
    const KQ::ObjectDictionarySubEntry* const entry =
        node->getObjectDictionary()->getSubentry(indexOf(key), subIndexOf(key));
    trace.value(key, entry != nullptr ? KQ::KQ_OK : KQ::KQ_NOT_FOUND, entry != nullptr ? entry->value : 0);
    return;
  }
  int number = 0;
  std::string text;
  int code = KQ::KQDEI::instance()->getVariableValue(indexOf(key), subIndexOf(key), &number);
  if (code == KQ::KQ_INVALID_ARGUMENT) {
    code = KQ::KQDEI::instance()->getVariableValue(indexOf(key), subIndexOf(key), &text);
  }
  trace.value(key, code, number, text);
}

void ComparedNode::setClock(unsigned int tick) {
  clock.set(tick);
}

void ComparedNode::advance(unsigned int milliseconds) {
  clock.advance(milliseconds);
}

void ComparedNode::receive(const Frame& frame) {
  KQ::KQCANMessage message;
  message.identifier = frame.identifier;
  message.length = frame.length;
  std::copy(frame.data.begin(), frame.data.end(), message.data);
  port->incoming.push_back(message);
  node->onEndPointReadable(port, nullptr);
}

void ComparedNode::cycle() {
  trace.result(node->process(clock.now() + 10));
}

void ComparedNode::refuse(unsigned int count, int code) {
  port->refusals = count;
  port->refusalCode = code;
}

void ComparedNode::watch(unsigned int key) {
  watched.push_back(key);
}

void ComparedNode::setOption(int option, bool value) {
  trace.result(node->setOption(option, value));
}

void ComparedNode::setState(int state) {
  trace.result(node->setCANopenState(state));
}

void ComparedNode::setPaused(bool paused) {
  node->setPaused(paused);
}

void ComparedNode::setProducerTime(int milliseconds) {
  node->setHeartbeatProducerTime(milliseconds);
  trace.result(node->getHeartbeatTime());
}

void ComparedNode::setSDOTimeout(unsigned int milliseconds) {
  node->setSDOTimeout(milliseconds);
}

void ComparedNode::addConsumer(unsigned char nodeID, unsigned short milliseconds) {
  trace.result(node->addHeartbeatConsumer(nodeID, milliseconds));
}

void ComparedNode::listenToState(unsigned int listener) {
  trace.result(node->addStateListener(listenerOf(listener)));
}

void ComparedNode::listenToHeartbeats(unsigned int listener) {
  trace.result(node->addHeartbeatListener(listenerOf(listener)));
}

void ComparedNode::listenToNode(unsigned int listener, int nodeID) {
  node->addHeartbeatListener(listenerOf(listener), nodeID);
}

void ComparedNode::listenToSDO(unsigned int listener) {
  trace.result(node->setSDOEventListener(listenerOf(listener)));
}

void ComparedNode::addChannel(bool server, unsigned int request, unsigned int response) {
  trace.result(node->addSDOChannel(request, response, 6, server ? KQ::SDO_CHANNEL_SERVER : KQ::SDO_CHANNEL_CLIENT,
                                   std::to_string(request)));
}

void ComparedNode::addVariable(const VariableDescription& description) {
  KQ::KQVariable variable = toVariable(description);
  if (description.owned) {
    trace.result(node->addVariable(&variable));
  } else {
    trace.result(KQ::KQDEI::instance()->addVariable(&variable));
    node->getApplicationVariables();
  }
  if (description.requestCOBID != 0) {
    trace.result(node->setSDOServerID(description.index, description.subIndex, description.requestCOBID));
  }
}

void ComparedNode::addObject(const ObjectDescription& description) {
  KQ::KQCANopenObjectDictionary& dictionary = *node->getObjectDictionary();
  dictionary.addEntry(description.index, description.subIndex == 0 ? KQ::OBJECT_TYPE_VAR : KQ::OBJECT_TYPE_RECORD,
                      "object");
  trace.result(dictionary.addSubentry(
      description.index, description.subIndex, static_cast<KQ::KQCANopenAccessType>(description.accessType),
      static_cast<KQ::KQCANopenDataType>(description.dataType), "object", true, description.value, std::string(), 0));
  dictionary.setLimits(description.index, description.subIndex, 0, -1);
}

void ComparedNode::addPDO(const PDODescription& description) {
  trace.result(node->addPDO(description.transmit ? KQ::PDO_TYPE_TRANSMIT : KQ::PDO_TYPE_RECEIVE, description.number,
                            description.cobID, description.eventTimer, description.inhibitTime,
                            description.transmissionType, true, nullptr));
  if (!description.transmit) {
    noteEvents(static_cast<unsigned short>(0x1400 + description.number));
  }
}

void ComparedNode::noteEvents(unsigned short communicationIndex) {
  for (const int type : {KQ::PDO_EVENT_RX_TIMEOUT, KQ::PDO_EVENT_RX_TIMEOUT_RESOLVED, KQ::PDO_EVENT_RX_RECEIVED}) {
    actions.push_back(std::make_unique<Action>(communicationIndex, trace));
    node->setPDOEventAction(communicationIndex, type, actions.back().get());
  }
}

void ComparedNode::addMapping(unsigned short number, bool transmit, unsigned int key, int bits) {
  trace.result(node->addPDOMapping(number, transmit ? KQ::PDO_TYPE_TRANSMIT : KQ::PDO_TYPE_RECEIVE, indexOf(key),
                                   subIndexOf(key), bits));
}

void ComparedNode::countTransmissions(int number, unsigned int key) {
  trace.result(node->setPDOAction(number, KQ::PDO_TYPE_TRANSMIT, 2, key));
}

void ComparedNode::writeObject(unsigned int key, int value, bool force) {
  trace.result(node->getObjectDictionary()->setValue(key, value, force));
}

void ComparedNode::change(unsigned int key, int value) {
  trace.result(KQ::KQDEI::instance()->setVariableValue(indexOf(key), subIndexOf(key), value, true, false));
}

void ComparedNode::request(unsigned int key, int value) {
  trace.result(node->updateRequest(key, value));
}

void ComparedNode::request(unsigned int key, const std::string& text) {
  trace.result(node->updateRequest(key, text));
}

void ComparedNode::requestRead(unsigned int key) {
  trace.result(node->getValueRequest(key));
}

}  // namespace model
