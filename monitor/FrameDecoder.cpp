#include "FrameDecoder.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "SDOChannel.h"
#include "StandardNames.h"

namespace monitor {

namespace {

constexpr unsigned int NODES = 128;
constexpr unsigned int IDENTIFIERS = 0x800;
constexpr unsigned int LSS_SLAVE = 0x7E4;
constexpr unsigned int LSS_MASTER = 0x7E5;
constexpr unsigned short FIRST_OBJECT = 0x20;  // below are data types: a mapped one is a gap

// The predefined connection set: what the four high bits of a COB-ID stand for, the others being a node-ID.
struct Function {
  Service service;
  unsigned short number;
};

constexpr Function FUNCTIONS[16] = {
    {Service::UNKNOWN, 0},     {Service::EMERGENCY, 0}, {Service::UNKNOWN, 0},   {Service::TPDO, 1},
    {Service::RPDO, 1},        {Service::TPDO, 2},      {Service::RPDO, 2},      {Service::TPDO, 3},
    {Service::RPDO, 3},        {Service::TPDO, 4},      {Service::RPDO, 4},      {Service::SDO_RESPONSE, 1},
    {Service::SDO_REQUEST, 1}, {Service::UNKNOWN, 0},   {Service::HEARTBEAT, 0}, {Service::UNKNOWN, 0}};

// What is sent to nobody in particular.
Service serviceOfNoNode(unsigned int cobID) {
  switch (cobID) {
    case 0x000:
      return Service::NMT_COMMAND;
    case 0x080:
      return Service::SYNC;
    case 0x100:
      return Service::TIME;
    case LSS_SLAVE:
    case LSS_MASTER:
      return Service::LSS;
    default:
      return Service::UNKNOWN;
  }
}

bool isPDO(Service service) {
  return service == Service::TPDO || service == Service::RPDO;
}

std::uint64_t numberOf(const Frame& frame) {
  std::uint64_t number = 0;
  for (unsigned int i = 8; i-- > 0;) {
    number = number << 8 | frame.data[i];
  }
  return number;
}

}  // namespace

// The SDO channels of the network: the default one of each node, and those that the names know of.
class FrameDecoder::Channels {
public:
  SDOChannel& get(unsigned char node, unsigned short number) {
    return number == 1 ? predefined[node % NODES] : further[std::make_pair(node, number)];
  }

private:
  std::array<SDOChannel, NODES> predefined;
  std::map<std::pair<unsigned char, unsigned short>, SDOChannel> further;
};

FrameDecoder::FrameDecoder(const ObjectNames* given)
    : names(given != nullptr ? *given : StandardNames::instance()), channels(std::make_unique<Channels>()) {}

FrameDecoder::~FrameDecoder() = default;

const DecodedFrame& FrameDecoder::decode(const Frame& frame) {
  clear(frame);
  const bool isCANopen = frame.kind == FrameKind::DATA || frame.kind == FrameKind::REMOTE;
  if (!isCANopen || frame.identifier >= IDENTIFIERS) {
    return decoded;
  }
  const CommunicationObject* const object = identify();
  if (frame.kind == FrameKind::REMOTE) {
    decodeRemote();
  } else {
    decodeData(object);
  }
  return decoded;
}

void FrameDecoder::clear(const Frame& frame) {
  decoded.frame = frame;
  decoded.service = Service::UNKNOWN;
  decoded.node = 0;
  decoded.number = 0;
  decoded.state = 0;
  decoded.command = 0;
  decoded.emergencyCode = 0;
  decoded.errorRegister = 0;
  decoded.sdo = SDOStep();
  decoded.objectName = {};
  decoded.valueCount = 0;
  decoded.violation = {};
}

// Service, node and number. @return what the names say of the COB-ID, or null
const CommunicationObject* FrameDecoder::identify() {
  const unsigned int cobID = decoded.frame.identifier;
  const CommunicationObject* const object = names.findCommunicationObject(cobID);
  if (object != nullptr) {
    decoded.service = object->service;
    decoded.node = object->node;
    decoded.number = object->number;
    return object;
  }
  decoded.service = serviceOfNoNode(cobID);
  const Function& function = FUNCTIONS[cobID / NODES];
  const auto node = static_cast<unsigned char>(cobID % NODES);
  if (node != 0 && function.service != Service::UNKNOWN) {
    decoded.service = function.service;
    decoded.number = function.number;
    decoded.node = node;
  }
  return nullptr;
}

// A node may be asked for a TPDO, or for its state; nothing else can be asked for.
void FrameDecoder::decodeRemote() {
  if (decoded.service == Service::HEARTBEAT) {
    decoded.service = Service::NODE_GUARDING;
  } else if (!isPDO(decoded.service)) {
    decoded.service = Service::UNKNOWN;
    decoded.node = 0;
    decoded.number = 0;
  }
}

void FrameDecoder::decodeData(const CommunicationObject* object) {
  switch (decoded.service) {
    case Service::NMT_COMMAND:
      return decodeNMT();
    case Service::SYNC:
      if (decoded.frame.length > 1) {
        decoded.complain("SYNC of more than 1 byte");
      }
      return;
    case Service::TIME:
      return decodeTime();
    case Service::EMERGENCY:
      return decodeEmergency();
    case Service::TPDO:
    case Service::RPDO:
      return decodePDO(object);
    case Service::SDO_REQUEST:
    case Service::SDO_RESPONSE:
      return decodeSDO();
    case Service::HEARTBEAT:
      return decodeHeartbeat();
    case Service::LSS:
      decoded.command = decoded.frame.data[0];
      return;
    default:
      return;
  }
}

void FrameDecoder::decodeNMT() {
  decoded.command = decoded.frame.data[0];
  decoded.node = decoded.frame.data[1];
  if (decoded.frame.length != 2) {
    decoded.complain("NMT command that has not 2 bytes");
  } else if (decoded.node >= NODES) {
    decoded.complain("NMT command for a node-ID above 127");
  } else if (getNMTCommandName(decoded.command) == UNKNOWN_COMMAND) {
    decoded.complain("unknown NMT command");
  }
}

void FrameDecoder::decodeTime() {
  constexpr unsigned int LENGTH = 6;
  if (decoded.frame.length != LENGTH) {
    return decoded.complain("TIME that has not 6 bytes");
  }
  constexpr unsigned int TIME_OF_DAY = 0x0C;
  addValue(0, 0, {}).value.setBytes(ValueType::fromCode(TIME_OF_DAY), decoded.frame.data, LENGTH);
}

void FrameDecoder::decodeEmergency() {
  decoded.emergencyCode = static_cast<unsigned short>(decoded.frame.data[0] | decoded.frame.data[1] << 8);
  decoded.errorRegister = decoded.frame.data[2];
  if (decoded.frame.length != 8) {
    decoded.complain("EMCY that has not 8 bytes");
  }
}

void FrameDecoder::decodePDO(const CommunicationObject* object) {
  if (object == nullptr || !object->mappingKnown) {
    return;
  }
  const std::uint64_t bits = numberOf(decoded.frame);
  const unsigned int carried = 8 * std::min<unsigned int>(decoded.frame.length, sizeof bits);
  unsigned int position = 0;
  for (const MappedObject& mapped : object->mapping) {
    if (position + mapped.bits > carried) {
      return decoded.complain("PDO shorter than its mapping");
    }
    if (mapped.index >= FIRST_OBJECT && mapped.bits > 0) {
      addValue(mapped.index, mapped.subIndex, mapped.name).value.setBits(mapped.type, bits >> position, mapped.bits);
    }
    position += mapped.bits;
  }
}

void FrameDecoder::decodeSDO() {
  if (decoded.frame.length != 8) {
    decoded.complain("SDO frame that has not 8 bytes");
  }
  SDOChannel& transfer = channels->get(decoded.node, decoded.number);
  if (decoded.service == Service::SDO_REQUEST) {
    transfer.takeRequest(decoded);
  } else {
    transfer.takeResponse(decoded);
  }
  SDOStep& step = decoded.sdo;
  step.channel = static_cast<unsigned char>(decoded.number);
  if (!step.objectKnown) {
    return;
  }
  const ObjectDescription description = names.describe(decoded.node, step.index, step.subIndex);
  decoded.objectName = description.name;
  if (!transfer.isValueComplete()) {
    return;
  }
  const std::string& bytes = transfer.getBytes();
  const std::size_t size = description.type.bits > 0 ? (description.type.bits + 7U) / 8U : bytes.size();
  const std::size_t count = transfer.isSizeOpen() ? std::min(size, bytes.size()) : bytes.size();
  addValue(step.index, step.subIndex, description.name)
      .value.setBytes(description.type, reinterpret_cast<const unsigned char*>(bytes.data()), count);
}

// The answer to node guarding has a toggle bit above the state.
void FrameDecoder::decodeHeartbeat() {
  constexpr unsigned char STATE = 0x7F;
  decoded.state = decoded.frame.data[0] & STATE;
  if (decoded.frame.length != 1) {
    decoded.complain("heartbeat that has not 1 byte");
  } else if (decoded.frame.data[0] == 0) {
    decoded.service = Service::BOOT_UP;
  } else if (getStateName(decoded.state) == UNKNOWN_STATE) {
    decoded.complain("heartbeat with an unknown state");
  }
}

ObjectValue& FrameDecoder::addValue(unsigned short index, unsigned char subIndex, std::string_view name) {
  if (decoded.valueCount == decoded.values.size()) {
    decoded.values.emplace_back();
  }
  ObjectValue& value = decoded.values[decoded.valueCount++];
  value.index = index;
  value.subIndex = subIndex;
  value.name = name;
  return value;
}

}  // namespace monitor
