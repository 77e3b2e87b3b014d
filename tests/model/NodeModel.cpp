#include "NodeModel.h"

namespace model {

namespace {

constexpr unsigned int NODE_ID = 5;
constexpr unsigned int LONGEST_WAIT = 5;

}  // namespace

NodeModel::NodeModel()
    : dictionary(surroundings, NODE_ID),
      nmt(surroundings, dictionary, NODE_ID),
      consumer(surroundings, dictionary, nmt),
      pdos(surroundings, dictionary, nmt),
      transfers(surroundings, dictionary),
      server(transfers, dictionary, surroundings),
      client(transfers, dictionary, surroundings) {
  dictionary.objectWritten = [this](unsigned int key) { objectWritten(key); };
  dictionary.variableChanged = [this](unsigned int key) { pdos.valueChanged(key); };
  wire();
}

// What INIT does: every part reads its objects.
void NodeModel::wire() {
  consumer.readSettings();
  server.readChannels();
  client.readChannels();
  pdos.build();
}

void NodeModel::objectWritten(unsigned int key) {
  const unsigned int index = key >> 16U;
  if (index < 0x2000) {
    pdos.valueChanged(key);
  }
  pdos.parameterWritten(index);
  if (index >= 0x1200 && index < 0x1300) {
    server.readChannels();
    client.readChannels();
  } else if (index == 0x1016) {
    consumer.readSettings();
  }
}

// ---- the cycle

void NodeModel::cycle() {
  if (paused) {
    trace.result(0);
    return;
  }
  switch (nmt.getState()) {
    case INIT:
      wire();
      nmt.sendBootUp();
      nmt.setState(PRE_OPERATIONAL);
      break;
    case RESET_APPLICATION:
    case RESET_COMMUNICATION:
      nmt.setState(INIT);
      break;
    case PRE_OPERATIONAL:
    case OPERATIONAL:
    case STOPPED:
      sendPass();
      break;
    case FATAL_ERROR:
      trace.line("KQCANopenStateMachine: CANOPEN_STATE_FATAL_ERROR!");
      trace.line("Trying to do a reset...!");
      nmt.setState(RESET_COMMUNICATION);
      break;
    default:
      trace.line("KQCANopenStateMachine: UNKNOWN STATE!!!!!");
      break;
  }
  trace.result(0);
}

void NodeModel::sendPass() {
  nmt.sendHeartbeat();
  consumer.check();
  waitHint = LONGEST_WAIT;
  pdos.sendDue(waitHint);
  pdos.checkReception();
  client.checkConfirmations(waitHint);
  transfers.checkTimeouts();
  client.sendWrites();
  client.sendNextRead();
}

// ---- reception

void NodeModel::receive(const Frame& frame) {
  port.push_back(frame);
  if (paused) {
    return;
  }
  const unsigned int end = surroundings.tick + (surroundings.tick + 10);
  do {
    offer(port.front());
    port.pop_front();
  } while (!port.empty() && end > surroundings.tick);
}

void NodeModel::offer(const Frame& frame) {
  if (nmt.handle(frame)) {
    return;
  }
  consumer.handle(frame);
  if (pdos.handleSync(frame) || pdos.handle(frame)) {
    return;
  }
  if (nmt.getState() == STOPPED) {
    return;
  }
  server.handle(frame);
  client.handle(frame);
}

// ---- surroundings

void NodeModel::showValues() {
  trace.value(0, 0, nmt.getState());
  trace.value(1, 0, static_cast<int>(waitHint));
  for (const unsigned int key : watched) {
    showValue(key);
  }
}

void NodeModel::showValue(unsigned int key) {
  if (key < 0x20000000U) {
    const DictionaryModel::Object* const object = dictionary.find(key);
    trace.value(key, object != nullptr ? 0 : 23, object != nullptr ? object->value : 0);
    return;
  }
  const DictionaryModel::Variable* const variable = dictionary.findVariable(key);
  if (variable == nullptr) {
    trace.value(key, 23, 0);
  } else {
    trace.value(key, variable->valid ? 0 : 12, variable->isText ? 0 : variable->value,
                variable->isText ? variable->text : std::string());
  }
}

void NodeModel::setClock(unsigned int tick) {
  surroundings.tick = tick;
}

void NodeModel::advance(unsigned int milliseconds) {
  surroundings.tick += milliseconds;
}

void NodeModel::refuse(unsigned int count, int code) {
  surroundings.refusals = count;
  surroundings.refusalCode = code;
}

void NodeModel::watch(unsigned int key) {
  watched.push_back(key);
}

// ---- configuration

void NodeModel::setOption(int option, bool value) {
  if (option == 3) {
    nmt.ignoreBroadcasts = value;
  } else if (option == 4) {
    stateChangesAllowed = value;
  }
  trace.result(option >= 0 && option <= 4 ? 0 : 20);
}

void NodeModel::setState(int state) {
  if (stateChangesAllowed) {
    nmt.setState(state);
  }
  trace.result(stateChangesAllowed ? 0 : 30);
}

void NodeModel::setPaused(bool pause) {
  paused = pause;
}

void NodeModel::setProducerTime(int milliseconds) {
  dictionary.write(0x10170000, milliseconds, true);
  trace.result(dictionary.find(0x10170000)->value);
}

void NodeModel::setSDOTimeout(unsigned int milliseconds) {
  transfers.timeout = milliseconds;
}

void NodeModel::addConsumer(unsigned char nodeID, unsigned short milliseconds) {
  consumer.add(nodeID, milliseconds);
  trace.result(0);
}

void NodeModel::listenToState(unsigned int listener) {
  nmt.listener = listener;
  trace.line("Adding state listener");
  trace.result(0);
}

void NodeModel::listenToHeartbeats(unsigned int listener) {
  consumer.listener = listener;
  trace.line("Adding heartbeat listener");
  trace.result(0);
}

void NodeModel::listenToNode(unsigned int listener, int nodeID) {
  consumer.listenToNode(listener, static_cast<unsigned int>(nodeID) & 0xFFU);
}

void NodeModel::listenToSDO(unsigned int listener) {
  transfers.listener = listener;
  trace.result(0);
}

void NodeModel::addChannel(bool isServer, unsigned int request, unsigned int response) {
  unsigned int index = isServer ? 0x1200 : 0x1280;
  while (dictionary.hasIndex(index)) {
    ++index;
  }
  dictionary.add(index, true);
  dictionary.add(index << 16U, RO, UNSIGNED8, 0);
  dictionary.add(index << 16U | 1U, RW, UNSIGNED32, static_cast<int>(request));
  dictionary.add(index << 16U | 2U, RW, UNSIGNED32, static_cast<int>(response));
  dictionary.add(index << 16U | 3U, RW, UNSIGNED8, 6);
  if (!isServer) {
    client.nameChannel(response, std::to_string(request));
  }
  trace.result(0);
}

void NodeModel::addVariable(const VariableDescription& description) {
  trace.result(dictionary.addVariable(description));
  if (description.requestCOBID != 0) {
    const unsigned int key = static_cast<unsigned int>(description.index) << 16U | description.subIndex;
    trace.result(client.placeVariable(key, description.requestCOBID));
  }
}

void NodeModel::addObject(const ObjectDescription& description) {
  const unsigned int key = static_cast<unsigned int>(description.index) << 16U | description.subIndex;
  dictionary.add(description.index, description.subIndex != 0);
  dictionary.add(key, description.accessType, description.dataType, description.value);
  dictionary.limit(key, 0, -1);
  trace.result(0);
}

void NodeModel::addPDO(const PDODescription& description) {
  pdos.add(description);
  trace.result(0);
}

void NodeModel::addMapping(unsigned short number, bool transmit, unsigned int key, int bits) {
  trace.result(pdos.map(number, transmit, key, bits));
}

void NodeModel::countTransmissions(int number, unsigned int key) {
  pdos.countTransmissions(0x1800U + static_cast<unsigned int>(number), key);
  trace.result(1);
}

// ---- the application

void NodeModel::writeObject(unsigned int key, int value, bool force) {
  trace.result(dictionary.write(key, value, force));
}

void NodeModel::change(unsigned int key, int value) {
  trace.result(dictionary.store(key, value));
}

void NodeModel::request(unsigned int key, int value) {
  trace.result(client.requestWrite(key, value, std::string()));
}

void NodeModel::request(unsigned int key, const std::string& text) {
  trace.result(client.requestWrite(key, 0, text));
}

void NodeModel::requestRead(unsigned int key) {
  trace.result(client.requestRead(key));
}

}  // namespace model
