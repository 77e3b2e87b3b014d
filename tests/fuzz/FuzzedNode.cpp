#include "FuzzedNode.h"

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <array>

#include "Check.h"
#include "KQCANPortRegistry.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenSignal.h"
#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"
#include "SDOPartner.h"
#include "Sequence.h"
#include "Surroundings.h"

namespace fuzz {

namespace {

constexpr unsigned int PORT = 88;
constexpr const char* CHANNEL = "remote";
constexpr unsigned short MISSING_OBJECT = 0x2300;
constexpr unsigned int HIGHEST_IDENTIFIER = 0x7FF;
constexpr unsigned int COB_ID_HEARTBEAT = 0x700;
constexpr unsigned int SDO_REQUESTS = 0x600;
constexpr unsigned int SDO_RESPONSES = 0x580;
constexpr unsigned short SDO_CHANNELS = 128;  // of each kind: an input may add all of them

// Frames that one operation may let out: all TPDOs over and over, as their counters set them off, but with an end.
constexpr std::size_t MOST_FRAMES = 20000;

// What a node may keep, beside what each operation may make it keep: a text segment, a queued request.
constexpr std::size_t BYTES_OF_A_NODE = std::size_t{4} << 20U;
constexpr std::size_t BYTES_OF_AN_OPERATION = 4096;

// This long before its wrap the tick is in the past of no deadline, and heartbeats are due in every cycle.
constexpr unsigned int WRAP_RANGE = 0x20000;

constexpr unsigned char TRANSMISSION_TYPES[PDOS] = {0, 1, 2, 240, 252, 253, 254, 255, 255, 254};
constexpr int BIT_LENGTHS[NUMBERS] = {8, 16, 24, 32, 1, 12, 8, 32};

KQ::KQVariable makeNumber(unsigned short index, unsigned char subIndex) {
  return {
      index, subIndex, "number", KQ::STORAGE_TYPE_INTEGER, BIT_LENGTHS[(subIndex - 1) % NUMBERS], subIndex % 2 == 0};
}

// A segment that ends a download is confirmed, and the abort that says why the write failed may follow. Everything
// else has one answer at most.
std::size_t mostAnswersTo(const KQ::KQCANMessage& message) {
  const bool isLastSegment = message.data[0] >> 5 == 0 && (message.data[0] & 1U) != 0;
  return isLastSegment ? 2 : 1;
}

int limitOf(const KQ::KQVariable& variable, bool isHighest) {
  const int bits = std::min(variable.getBitLength(), 30);
  const int highest = (1 << (variable.isSigned() ? bits - 1 : bits)) - 1;
  return isHighest ? highest : variable.isSigned() ? -highest / 2 : 0;
}

}  // namespace

// ---- The application

int Application::updateRequest(unsigned short group, unsigned short id, int value) {
  return KQ::KQDEI::instance()->forceSetVariableValue(group, id, value, getOwnerName(), true, false);
}

int Application::updateRequest(unsigned short group, unsigned short id, const std::string& value) {
  return KQ::KQDEI::instance()->forceSetVariableValue(group, id, value, getOwnerName(), true, false);
}

int Application::signalOccurred(KQ::KQSignal& signal) {
  const int code = signal.getCode();
  const bool isKnown = signal.getType() != KQ::STACK_SIGNAL_TYPE || code == KQ::SIGNAL_STATE_CHANGED ||
                       code == KQ::SIGNAL_HEARTBEAT_TIMEOUT || code == KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED ||
                       code == KQ::SIGNAL_WORK_QUEUED || code == KQ::SIGNAL_SDO_EVENT;
  require(isKnown, "an unknown signal", static_cast<unsigned int>(code));
  return 0;
}

// ---- Building

FuzzedNode::FuzzedNode(Input& input) : bytesBefore(__sanitizer_get_current_allocated_bytes()) {
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
  addApplicationVariables();
  KQ::KQCANPortRegistry::instance()->bindPort(PORT, [this](std::string& /*error*/) {
    auto created = std::make_unique<MemoryPort>(*node);
    port = created.get();
    return created;
  });
  node = std::make_unique<KQ::KQCANopen>("node");
  node->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr);
  node->setNodeID(NODE_ID);
  lastOfClient.identifier = SDO_REQUESTS + REMOTE_NODE;
  lastOfServer.identifier = SDO_RESPONSES + NODE_ID;
  const unsigned char options = input.byte();
  for (int option = 0; option < KQ::KQCANopen::OPTION_COUNT; ++option) {
    node->setOption(option, (options >> option & 1) != 0);
  }
  node->setHeartbeatProducerTime(input.byte() * 8);
  build(input.byte());
}

// The first time, or anew.
void FuzzedNode::build(unsigned char seed) {
  parameters.clear();
  require(node->init() == KQ::KQ_OK, "the node cannot be built");
  require(port != nullptr, "the node has opened no port");
  node->getApplicationVariables();
  addOwnVariables();
  addChannels();
  addPDOs(seed);
  node->addHeartbeatConsumer(REMOTE_NODE, 200);
  node->addHeartbeatConsumer(REMOTE_NODE + 1, 50);
  node->addHeartbeatListener(&application);
  node->addHeartbeatListener(&application, REMOTE_NODE);
  node->addStateListener(&application);
  node->setSDOEventListener(&application);
  node->setWorkListener(&application);
  learnIdentifiers();
}

FuzzedNode::~FuzzedNode() {
  node.reset();
  KQ::KQCANPortRegistry::instance()->unbindPort(PORT);
  KQ::KQDEI::instance()->clear();
  KQ::KQVariableEventDispatcher::instance()->clear();
}

void FuzzedNode::addApplicationVariables() {
  for (unsigned char subIndex = 1; subIndex <= NUMBERS; ++subIndex) {
    KQ::KQVariable number = makeNumber(APPLICATION_NUMBERS, subIndex);
    number.setOwner(subIndex < NUMBERS ? &application : nullptr);
    number.setAccessMode(subIndex == 4 ? 2 : 0);
    KQ::KQDEI::instance()->addVariable(&number);
  }
  KQ::KQVariable text(APPLICATION_TEXT, 0, "text", KQ::STORAGE_TYPE_STRING);
  text.setOwner(&application);
  KQ::KQDEI::instance()->addVariable(&text);
}

void FuzzedNode::addOwnVariables() {
  for (unsigned char subIndex = 1; subIndex <= NUMBERS; ++subIndex) {
    KQ::KQVariable number = makeNumber(OWN_NUMBERS, subIndex);
    number.setMinimum(limitOf(number, false));
    number.setMaximum(limitOf(number, true));
    number.setAccessMode(subIndex == 3 ? 1 : 0);
    node->addVariable(&number);

    KQ::KQVariable remote = makeNumber(REMOTE_NUMBERS, subIndex);
    remote.setChannelName(CHANNEL);
    remote.setExternalIdentifier(static_cast<unsigned int>(APPLICATION_NUMBERS) << 16 | subIndex);
    node->addVariable(&remote);
    node->setSDOServerID(REMOTE_NUMBERS, subIndex, SDO_REQUESTS + REMOTE_NODE + (subIndex == 7 ? 1U : 0U));
  }
  KQ::KQVariable text(OWN_TEXT, 0, "text", KQ::STORAGE_TYPE_STRING);
  node->addVariable(&text);
  KQ::KQVariable remoteText(REMOTE_TEXT, 1, "remote text", KQ::STORAGE_TYPE_STRING);
  remoteText.setChannelName(CHANNEL);
  remoteText.setExternalIdentifier(static_cast<unsigned int>(APPLICATION_TEXT) << 16);
  node->addVariable(&remoteText);
  node->setSDOServerID(REMOTE_TEXT, 1, SDO_REQUESTS + REMOTE_NODE);
}

void FuzzedNode::addChannels() {
  for (unsigned int i = 0; i < 2; ++i) {
    const unsigned int remote = REMOTE_NODE + i;
    node->addSDOChannel(SDO_REQUESTS + remote, SDO_RESPONSES + remote, static_cast<unsigned char>(remote),
                        KQ::SDO_CHANNEL_CLIENT, CHANNEL);
  }
  node->addSDOChannel(SDO_REQUESTS + 0x20, SDO_RESPONSES + 0x20, 1, KQ::SDO_CHANNEL_SERVER, "");
}

// A seed stands for all of it: what the input holds are the steps, among them those that change the configuration.
void FuzzedNode::addPDOs(unsigned char seed) {
  std::array<std::uint8_t, 256> choices;
  Sequence sequence(seed);
  std::generate(choices.begin(), choices.end(), [&sequence] { return sequence.byte(); });
  Input input(choices.data(), choices.size());
  for (unsigned short number = 0; number < PDOS; ++number) {
    const unsigned char times = input.byte();
    const auto eventTimer = static_cast<unsigned short>((times & 0xF) * 7);
    const auto inhibitTime = static_cast<unsigned short>((times >> 4) * 3);
    node->addPDO(KQ::PDO_TYPE_TRANSMIT, number, 0x181U + number * 0x10U, eventTimer, inhibitTime,
                 TRANSMISSION_TYPES[number], true, &application);
    node->addPDO(KQ::PDO_TYPE_RECEIVE, number, 0x201U + number * 0x10U, eventTimer, 0, TRANSMISSION_TYPES[number], true,
                 &application);
    const unsigned char entries = input.byte();
    for (unsigned int i = 0; i <= (entries & 3U); ++i) {
      addMapping(input, number, KQ::PDO_TYPE_TRANSMIT);
    }
    for (unsigned int i = 0; i <= (entries >> 2 & 3U); ++i) {
      addMapping(input, number, KQ::PDO_TYPE_RECEIVE);
    }
  }
  const auto counted = static_cast<unsigned char>(input.below(NUMBERS) + 1);
  node->setPDOAction(static_cast<int>(input.below(PDOS)), KQ::PDO_TYPE_TRANSMIT, 2,
                     unsigned{OWN_NUMBERS} << 16 | counted);
}

void FuzzedNode::addMapping(Input& input, unsigned short number, KQ::KQCANopenPDOType type) {
  constexpr unsigned short OBJECTS[] = {APPLICATION_NUMBERS, OWN_NUMBERS, REMOTE_NUMBERS, APPLICATION_NUMBERS,
                                        OWN_NUMBERS,         OWN_TEXT,    0x0005,         APPLICATION_TEXT};
  const unsigned char choice = input.byte();
  const unsigned short index = OBJECTS[choice & 7U];
  const bool isRecord = index == APPLICATION_NUMBERS || index == OWN_NUMBERS || index == REMOTE_NUMBERS;
  const auto subIndex = static_cast<unsigned short>(isRecord ? (choice >> 3 & 7U) + 1U : 0U);
  // Two in four as long as the object, the others of any length.
  const int bits = choice < 0x80 ? BIT_LENGTHS[choice >> 3 & 7U] : input.byte() % 65;
  if (bits > 0) {
    node->addPDOMapping(number, type, index, subIndex, bits);
  }
}

void FuzzedNode::learnIdentifiers() {
  const KQ::KQCANopenObjectDictionary& dictionary = *node->getObjectDictionary();
  const auto watch = [&](unsigned short index, unsigned char subIndex, std::bitset<0x800>& identifiers) {
    const int* const value = dictionary.getPointerToValue(index, subIndex);
    if (value != nullptr) {
      parameters.push_back({value, *value + 1, &identifiers});
    }
  };
  parameters.clear();
  for (unsigned short i = 0; i < PDOS; ++i) {
    watch(static_cast<unsigned short>(0x1800 + i), 1, pdos);
  }
  for (unsigned short i = 0; i < SDO_CHANNELS; ++i) {
    watch(static_cast<unsigned short>(0x1200 + i), 1, sdoReceived);
    watch(static_cast<unsigned short>(0x1200 + i), 2, sdoSent);
    watch(static_cast<unsigned short>(0x1280 + i), 1, sdoSent);
    watch(static_cast<unsigned short>(0x1280 + i), 2, sdoReceived);
  }
}

// ---- Operations

void FuzzedNode::receive(const KQ::KQCANMessage& message) {
  countFrame();
  trace(message, "received", Surroundings::now());
  const bool isForChannel = sdoReceived[message.identifier & HIGHEST_IDENTIFIER];
  const bool isStopped = node->getCANopenState() == KQ::CANOPEN_STATE_STOPPED;
  port->inject(message);
  node->onEndPointReadable(port, nullptr);
  if (!node->isPaused()) {
    KQ::KQCANMessage rest;
    require(port->readMessage(rest) == KQ::KQ_NO_DATA, "a frame was left at the port");
  }
  checkSent(isForChannel && !isStopped ? mostAnswersTo(message) : 0);
}

void FuzzedNode::continueTransfer(Input& input) {
  if ((input.byte() & 1U) == 0) {
    receive(SDOPartner::answer(lastOfClient, input));
  } else {
    receive(SDOPartner::goOn(lastOfServer, input));
  }
}

void FuzzedNode::noteTransfer(const KQ::KQCANMessage& message) {
  if (message.identifier == SDO_REQUESTS + REMOTE_NODE || message.identifier == SDO_REQUESTS + REMOTE_NODE + 1) {
    lastOfClient = message;
  } else if (message.identifier == SDO_RESPONSES + NODE_ID || message.identifier == SDO_RESPONSES + 0x20) {
    lastOfServer = message;
  }
}

void FuzzedNode::advance(unsigned int milliseconds) {
  Surroundings::advance(milliseconds);
}

void FuzzedNode::cycle() {
  const unsigned int time = node->getTimeToNextWork();
  // What the port has refused is tried again in every cycle, although there is no hurry.
  const bool mayHaveNoWork = !port->hasRefused() && Surroundings::now() + WRAP_RANGE >= 2 * WRAP_RANGE;
  node->process(Surroundings::now() + 10);
  require(time == 0 || port->sent.empty() || !mayHaveNoWork, "a cycle without work sent a frame; ms to the next work",
          time);
  checkSent(MOST_FRAMES);
}

void FuzzedNode::configure(Input& input) {
  const unsigned char choice = input.byte();
  const auto number = static_cast<unsigned short>(input.below(PDOS));
  const auto type = static_cast<KQ::KQCANopenPDOType>(choice >> 7);
  const auto index = static_cast<unsigned short>((type == KQ::PDO_TYPE_RECEIVE ? 0x1400 : 0x1800) + number);
  switch (choice % 11) {
    case 0:
      node->addPDO(type, number, 0x181U + input.word() % 0x380U, input.byte(), input.byte(), input.byte(),
                   (choice & 0x40) != 0, &application);
      break;
    case 1:
      addMapping(input, number, type);
      break;
    case 9:
      node->addPDOMapping(number, type, MISSING_OBJECT, 1, 8);
      break;
    case 2:
      node->setPDOAction(number, type, static_cast<int>(input.below(4)),
                         unsigned{OWN_NUMBERS} << 16 | (input.below(NUMBERS) + 1U));
      break;
    case 3:
      node->enableMessage(index, (choice & 0x40) != 0);
      break;
    case 4:
      node->addHeartbeatConsumer(static_cast<unsigned char>(input.below(128)), input.word());
      break;
    case 5:
      node->setHeartbeatProducerTime(input.word());
      break;
    case 6:
      node->addSDOChannel(SDO_REQUESTS + input.below(0x80), SDO_RESPONSES + input.below(0x80), NODE_ID,
                          static_cast<KQ::KQCANopenSDOChannelType>(choice >> 7), CHANNEL);
      break;
    case 7:
      node->setSDOTimeout(1U + input.byte());
      break;
    case 8:
      node->setPDOEventAction(index, static_cast<int>(input.below(10)) + 1300, &application);
      break;
    default:
      node->resetValue(static_cast<unsigned int>(index) << 16 | input.below(6));
      break;
  }
  learnIdentifiers();
  checkSent(0);
}

void FuzzedNode::requestRemote(Input& input) {
  const unsigned char choice = input.byte();
  const unsigned int number = static_cast<unsigned int>(REMOTE_NUMBERS) << 16 | (choice % NUMBERS + 1U);
  const unsigned int text = static_cast<unsigned int>(REMOTE_TEXT) << 16 | 1U;
  switch (choice >> 6) {
    case 0:
      node->updateRequest(number, static_cast<int>(input.number()));
      break;
    case 1:
      node->updateRequest(text, std::string(input.byte(), static_cast<char>('a' + choice % 16)));
      break;
    case 2:
      node->getValueRequest(text);
      break;
    default:
      node->getValueRequest(number);
      break;
  }
  checkSent(0);
}

void FuzzedNode::writeVariable(Input& input) {
  constexpr unsigned short OBJECTS[] = {APPLICATION_NUMBERS, APPLICATION_NUMBERS, REMOTE_NUMBERS, APPLICATION_NUMBERS};
  const unsigned char choice = input.byte();
  const auto subIndex = static_cast<unsigned short>((choice >> 2) % NUMBERS + 1U);
  KQ::KQDEI& store = *KQ::KQDEI::instance();
  if (choice < 0xE0) {
    store.setVariableValue(OBJECTS[choice & 3U], subIndex, static_cast<int>(input.number()), true, choice >= 0xC0);
  } else {
    const unsigned char length = input.byte();
    store.setVariableValue((choice & 1U) != 0 ? OWN_TEXT : APPLICATION_TEXT, 0, input.text(length), true, false);
  }
  checkSent(0);
}

void FuzzedNode::control(Input& input) {
  const unsigned char choice = input.byte();
  switch (choice % 7) {
    case 0:
      node->setPaused((choice & 0x40) != 0);
      break;
    case 1:
      if (node->setCANopenState(choice >> 4 & 7) == KQ::KQ_OK) {
        stateOfApplication = choice >> 4 & 7;
      }
      break;
    case 2:
      node->setOption(choice >> 4 & 7, (choice & 0x80) != 0);
      break;
    case 3:
      node->getObjectDictionary()->performReset((choice & 0x40) != 0);
      break;
    case 4:
      node->getApplicationVariables();
      break;
    case 5:
      build(input.byte());
      break;
    default:
      node->setPaused(false);
      break;
  }
  learnIdentifiers();
  checkSent(0);
}

// ---- Checks

void FuzzedNode::checkSent(std::size_t mostSDOFrames) {
  ++operations;
  for (Parameter& parameter : parameters) {
    if (*parameter.value != parameter.known) {
      parameter.known = *parameter.value;
      const unsigned int identifier = static_cast<unsigned int>(parameter.known) & 0x1FFFFFFFU;
      if (identifier <= HIGHEST_IDENTIFIER) {
        parameter.identifiers->set(identifier);
      }
    }
  }
  require(port->sent.size() <= MOST_FRAMES, "frames of one operation", static_cast<unsigned int>(port->sent.size()));
  std::size_t sdoFrames = 0;
  for (const SentFrame& sent : port->sent) {
    checkFrame(sent, sdoFrames);
    noteTransfer(sent.message);
  }
  require(sdoFrames <= mostSDOFrames, "SDO frames that nobody asked for", static_cast<unsigned int>(sdoFrames));
  port->sent.clear();
}

void FuzzedNode::checkFrame(const SentFrame& sent, std::size_t& sdoFrames) const {
  const KQ::KQCANMessage& message = sent.message;
  trace(message, "sent", Surroundings::now());
  require(message.identifier <= HIGHEST_IDENTIFIER, "a frame on an impossible identifier", message.identifier);
  require(message.length <= 8, "a frame of an impossible length", message.length);
  require(message.flags == 0, "a frame with flags", message.flags);
  if (isOwnHeartbeat(sent)) {
    return;
  }
  if (pdos[message.identifier]) {
    const bool maySendPDOs = sent.state == KQ::CANOPEN_STATE_OPERATIONAL;
    require(maySendPDOs || isForSDO(message), "a PDO in state", static_cast<unsigned int>(sent.state));
    return;
  }
  require(isForSDO(message), "a frame on an identifier that the node does not send on", message.identifier);
  ++sdoFrames;
}

bool FuzzedNode::isForSDO(const KQ::KQCANMessage& message) const {
  if (message.length != 8) {
    return false;
  }
  // The client aborts a transfer that has timed out on the identifier on which the server answers.
  const unsigned char* const data = message.data;
  const bool isTimeout = data[0] == 0x80 && data[4] == 0 && data[5] == 0 && data[6] == 0x04 && data[7] == 0x05;
  return sdoSent[message.identifier] || (isTimeout && sdoReceived[message.identifier]);
}

bool FuzzedNode::isOwnHeartbeat(const SentFrame& sent) const {
  if (sent.message.identifier != COB_ID_HEARTBEAT + NODE_ID || sent.message.length != 1) {
    return false;
  }
  switch (sent.message.data[0]) {
    case 0x00:
      return sent.state == KQ::CANOPEN_STATE_INIT;
    case 0x04:
      return sent.state == KQ::CANOPEN_STATE_STOPPED;
    case 0x05:
      return sent.state == KQ::CANOPEN_STATE_OPERATIONAL;
    case 0x7F:
      return sent.state == KQ::CANOPEN_STATE_PRE_OPERATIONAL;
    default:
      return false;
  }
}

void FuzzedNode::check() {
  const int state = node->getCANopenState();
  const bool isKnown = state >= KQ::CANOPEN_STATE_INIT && state <= KQ::CANOPEN_STATE_FATAL_ERROR;
  require(isKnown || state == stateOfApplication, "an unknown state", static_cast<unsigned int>(state));
  KQ::KQCANopenObjectDictionary& dictionary = *node->getObjectDictionary();
  int value = 0;
  require(dictionary.getValue(0x1001, 0, value) == KQ::KQ_OK, "the error register cannot be read");
  require(value >= 0 && value <= 0xFF, "an error register of more than a byte", static_cast<unsigned int>(value));
  require(dictionary.getValue(0x1017, 0, value) == KQ::KQ_OK, "the heartbeat time cannot be read");
  require(value >= 0 && value <= 0xFFFF, "a heartbeat time out of range", static_cast<unsigned int>(value));
  for (unsigned short subIndex = 1; subIndex <= NUMBERS; ++subIndex) {
    const KQ::KQVariable* const variable = node->getVariable(unsigned{OWN_NUMBERS} << 16 | subIndex);
    int number = 0;
    KQ::KQDEI::instance()->getVariableValue(OWN_NUMBERS, subIndex, &number);
    require(number >= variable->getMinimum() && number <= variable->getMaximum(), "a value outside of its limits",
            static_cast<unsigned int>(number));
  }
  const std::size_t kept = __sanitizer_get_current_allocated_bytes() - bytesBefore;
  require(kept <= BYTES_OF_A_NODE + operations * BYTES_OF_AN_OPERATION, "bytes kept", static_cast<unsigned int>(kept));
}

}  // namespace fuzz
