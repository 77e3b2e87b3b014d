#include "PDOTimingModel.h"

#include <algorithm>

namespace model {

namespace {

constexpr unsigned int INVALID = 0x80000000U;
constexpr unsigned int FLAGS = 0xE0000000U;
constexpr int HELD_BACK = 17;
constexpr int TIMED_OUT = 1301;
constexpr int RESOLVED = 1302;
constexpr int RECEIVED = 1306;

bool isTransmit(unsigned int index) {
  return index >= 0x1800;
}

unsigned int communicationIndex(bool transmit, unsigned int number) {
  return (transmit ? 0x1800U : 0x1400U) + number;
}

unsigned long long maskOf(unsigned int bits) {
  return bits >= 64 ? ~0ULL : (1ULL << bits) - 1ULL;
}

}  // namespace

bool PDOTimingModel::PDO::maps(unsigned int key) const {
  return std::any_of(mapping.begin(), mapping.end(), [=](const Mapped& mapped) { return mapped.key == key; });
}

// ---- configuration

void PDOTimingModel::add(const PDODescription& description) {
  const unsigned int index = communicationIndex(description.transmit, description.number);
  const unsigned int key = index << 16U;
  const bool eventDriven = description.transmissionType >= 254;
  dictionary.add(index, true);
  dictionary.add(key, RO, UNSIGNED8, 0);
  dictionary.limit(key, 2, 5);
  dictionary.add(key | 1U, RW, UNSIGNED32,
                 static_cast<int>((description.cobID & ~0xC0000000U) | (description.transmit ? 0x40000000U : 0U)));
  dictionary.limit(key | 1U, 1, -1);
  dictionary.add(key | 2U, RW, UNSIGNED8, description.transmissionType);
  dictionary.limit(key | 2U, 0, 255);
  if (description.transmit) {
    dictionary.add(key | 3U, RW, UNSIGNED16, description.inhibitTime);
    dictionary.limit(key | 3U, 0, 65535);
    dictionary.write(key | 3U, eventDriven ? description.inhibitTime : 0, true);
  }
  dictionary.add(key | 5U, RW, UNSIGNED16, description.eventTimer);
  dictionary.limit(key | 5U, 0, 65535);
  dictionary.write(key | 5U, description.eventTimer, true);
  dictionary.add(index + 0x200, true);
  dictionary.add((index + 0x200) << 16U, RW, UNSIGNED8, 0);
  dictionary.limit((index + 0x200) << 16U, 0, 64);
}

int PDOTimingModel::map(unsigned int number, bool transmit, unsigned int key, int bits) {
  const unsigned int mappingIndex = communicationIndex(transmit, number) + 0x200;
  int result = 0;
  if (dictionary.find(key) == nullptr) {
    result = 20;
  } else {
    if (!dictionary.hasIndex(mappingIndex)) {
      dictionary.add(mappingIndex, true);
      dictionary.add(mappingIndex << 16U, RO, UNSIGNED8, 0);
      dictionary.limit(mappingIndex << 16U, 0, 64);
    }
    result = bits < 1 ? 29 : 0;
  }
  if (result != 0) {
    invalidMappings.insert(mappingIndex);
    surroundings.trace.line("WARNING: Marking PDO " + std::to_string(number) + " OD index " +
                            hexadecimal(mappingIndex) + " as forever invalid due to invalid mapping!");
    return result;
  }
  const unsigned int entry = mappingIndex << 16U | static_cast<unsigned int>(value(mappingIndex << 16U) + 1);
  dictionary.add(
      entry, RW, UNSIGNED32,
      static_cast<int>((key & 0xFFFF0000U) | (key & 0xFFU) << 8U | (static_cast<unsigned int>(bits) & 0xFFU)));
  return 0;
}

int PDOTimingModel::value(unsigned int key) {
  int number = 0;
  return dictionary.read(key, number) == 0 ? number : 0;
}

PDOTimingModel::Pointer PDOTimingModel::make(unsigned int index) {
  const unsigned int mappingIndex = index + 0x200;
  if (!dictionary.hasIndex(index) || !dictionary.hasIndex(mappingIndex)) {
    return nullptr;
  }
  if (invalidMappings.count(mappingIndex) != 0) {
    surroundings.trace.line("Not creating invalid PDO from OD index " + hexadecimal(index));
    return nullptr;
  }
  auto pdo = std::make_shared<PDO>();
  pdo->index = index;
  pdo->built = ++builds;
  pdo->type = static_cast<unsigned int>(value(index << 16U | 2U));
  pdo->eventTimer = static_cast<unsigned int>(value(index << 16U | 5U));
  pdo->inhibitTime = isTransmit(index) ? static_cast<unsigned int>(value(index << 16U | 3U)) : 0U;
  readMapping(*pdo, mappingIndex);
  const auto counter = counters.find(index);
  pdo->counter = counter != counters.end() ? counter->second : 0U;
  const unsigned int cobID = static_cast<unsigned int>(value(index << 16U | 1U));
  pdo->cobID = cobID & ~FLAGS;
  return (cobID & INVALID) != 0 ? nullptr : pdo;
}

void PDOTimingModel::readMapping(PDO& pdo, unsigned int mappingIndex) {
  unsigned int total = 0;
  for (int number = 1; number <= value(mappingIndex << 16U); ++number) {
    const unsigned int key = mappingIndex << 16U | static_cast<unsigned int>(number);
    if (dictionary.find(key) != nullptr) {
      const unsigned int entry = static_cast<unsigned int>(value(key));
      pdo.mapping.push_back({(entry & 0xFFFF0000U) | (entry >> 8U & 0xFFU), entry & 0xFFU, total});
      total += entry & 0xFFU;
    }
  }
  pdo.length = (total + 7) / 8;
  if (pdo.length > 8) {
    surroundings.trace.line("WARNING: PDO " + hexadecimal(pdo.index) + " exceeds 8 data bytes (" +
                            std::to_string(pdo.length) + ")");
    surroundings.trace.line(std::string("\tLength was reduced to 8 bytes but data ") +
                            (isTransmit(pdo.index) ? "transmission" : "reception") + " will be corrupted!");
    pdo.length = 8;
  }
}

void PDOTimingModel::build() {
  nextSync.clear();
  buffered.clear();
  cyclic.clear();
  buildReceive();
  buildTransmit();
}

void PDOTimingModel::buildReceive() {
  monitored.clear();
  receivers.clear();
  for (const unsigned int index : dictionary.indexes(0x1400, 0x15FF)) {
    const Pointer pdo = make(index);
    if (pdo == nullptr) {
      continue;
    }
    receivers[pdo->cobID] = pdo;
    if (pdo->eventTimer != 0 && pdo->isEventDriven()) {
      monitored[index] = pdo;
    }
  }
}

void PDOTimingModel::buildTransmit() {
  transmitters.clear();
  timers.clear();
  pending.clear();
  for (const unsigned int index : dictionary.indexes(0x1800, 0x19FF)) {
    const Pointer pdo = make(index);
    if (pdo == nullptr) {
      continue;
    }
    transmitters[index] = pdo;
    if (pdo->isEventDriven()) {
      schedule(*pdo);
      pending.insert(index);
    } else if (pdo->isSynchronous()) {
      queueForSync(*pdo);
    }
  }
}

void PDOTimingModel::schedule(const PDO& pdo) {
  if (pdo.eventTimer != 0) {
    timers.emplace_back(surroundings.tick + pdo.eventTimer, pdo.index);
  }
}

void PDOTimingModel::queueForSync(const PDO& pdo) {
  if (pdo.type >= 1 && pdo.type <= 251) {
    cyclic.insert(pdo.index);
  }
  nextSync.insert(pdo.index);
}

void PDOTimingModel::parameterWritten(unsigned int index) {
  if (index >= 0x1800 && index <= 0x19FF) {
    rebuildTransmit(index);
  } else if (index >= 0x1400 && index <= 0x15FF) {
    rebuildReceive(index);
  }
}

void PDOTimingModel::rebuildTransmit(unsigned int index) {
  const bool waited = nextSync.count(index) != 0;
  forget(index);
  const Pointer pdo = make(index);
  if (pdo == nullptr) {
    return;
  }
  transmitters[index] = pdo;
  if (pdo->isEventDriven()) {
    schedule(*pdo);
    pending.insert(index);
  } else if (pdo->isSynchronous() && (pdo->type != 0 || waited)) {
    queueForSync(*pdo);
  }
}

void PDOTimingModel::forget(unsigned int index) {
  transmitters.erase(index);
  pending.erase(index);
  cyclic.erase(index);
  nextSync.erase(index);
  timers.erase(std::remove_if(timers.begin(), timers.end(), [=](const auto& timer) { return timer.second == index; }),
               timers.end());
}

void PDOTimingModel::rebuildReceive(unsigned int index) {
  const auto old = std::find_if(receivers.begin(), receivers.end(),
                                [=](const auto& receiver) { return receiver.second->index == index; });
  if (old != receivers.end()) {
    receivers.erase(old);
  }
  monitored.erase(index);
  buffered.erase(index);
  const Pointer pdo = make(index);
  if (pdo == nullptr) {
    return;
  }
  receivers.emplace(static_cast<unsigned int>(value(index << 16U | 1U)), pdo);
  if (pdo->eventTimer != 0 && pdo->isEventDriven()) {
    monitored[index] = pdo;
  }
}

// ---- sending

bool PDOTimingModel::isHeldBack(const PDO& pdo) const {
  return pdo.inhibitTime != 0 && pdo.timeStamp != 0 && surroundings.tick - pdo.timeStamp < pdo.inhibitTime;
}

// @return 0, 10 outside OPERATIONAL, 17 when it is held back, or what the port says, which may be 17 as well
int PDOTimingModel::send(PDO& pdo) {
  if (!nmt.isOperational()) {
    return 10;
  }
  const int result = isHeldBack(pdo) ? HELD_BACK : surroundings.send(pack(pdo));
  if (result == 0) {
    pdo.timeStamp = surroundings.tick;
    count(pdo);
  }
  return result;
}

void PDOTimingModel::count(const PDO& pdo) {
  if (pdo.counter == 0 || dictionary.find(pdo.counter) == nullptr) {
    return;
  }
  int number = 0;
  dictionary.read(pdo.counter, number);
  dictionary.write(pdo.counter, number == 0x7FFFFFFF ? 1 : number + 1, false);
}

Frame PDOTimingModel::pack(const PDO& pdo) {
  unsigned long long data = 0;
  for (const Mapped& mapped : pdo.mapping) {
    int number = 0;
    if (mapped.key >= 0x10000000U) {
      dictionary.read(mapped.key, number);
    }
    const DictionaryModel::Object* const object = dictionary.find(mapped.key);
    const bool isSigned = object != nullptr && dictionary.isSigned(object->type);
    const unsigned long long wide =
        isSigned ? static_cast<unsigned long long>(static_cast<long long>(number)) : static_cast<unsigned int>(number);
    if (mapped.bits != 0 && mapped.position + mapped.bits <= 8 * pdo.length) {
      data |= (wide & maskOf(mapped.bits)) << mapped.position;
    }
  }
  Frame frame{pdo.cobID, pdo.length, {}};
  for (unsigned int i = 0; i < 8; ++i) {
    frame.data[i] = static_cast<unsigned char>(data >> (8 * i));
  }
  return frame;
}

// One that was built anew comes last.
std::vector<PDOTimingModel::Pointer> PDOTimingModel::transmittersOf(unsigned int key) const {
  std::vector<Pointer> found;
  for (const auto& [index, pdo] : transmitters) {
    if (pdo->maps(key)) {
      found.push_back(pdo);
    }
  }
  std::sort(found.begin(), found.end(),
            [](const Pointer& one, const Pointer& other) { return one->built < other->built; });
  return found;
}

void PDOTimingModel::valueChanged(unsigned int key) {
  if (!nmt.isOperational()) {
    return;
  }
  for (const Pointer& pdo : transmittersOf(key)) {
    if (pdo->type <= 1) {
      queueForSync(*pdo);
    } else if (pdo->isEventDriven()) {
      sendOrHold(*pdo);
    }
  }
}

void PDOTimingModel::sendOrHold(PDO& pdo) {
  if (send(pdo) == HELD_BACK) {
    pending.insert(pdo.index);
  }
}

void PDOTimingModel::sendDue(unsigned int& waitHint) {
  if (nmt.isOperational()) {
    sendPending();
    sendTimed(waitHint);
  }
}

void PDOTimingModel::sendPending() {
  for (const unsigned int index : std::set<unsigned int>(pending)) {
    if (send(*transmitters[index]) == 0) {
      pending.erase(index);
    }
    if (isPassOver()) {
      return;
    }
  }
}

void PDOTimingModel::sendTimed(unsigned int& waitHint) {
  while (!timers.empty()) {
    const auto remaining = [this](const auto& timer) { return static_cast<int>(timer.first - surroundings.tick); };
    const auto first = std::min_element(timers.begin(), timers.end(), [&](const auto& one, const auto& other) {
      return remaining(one) < remaining(other);
    });
    if (remaining(*first) > 0) {
      waitHint = std::min(waitHint, static_cast<unsigned int>(remaining(*first)));
      return;
    }
    PDO& pdo = *transmitters[first->second];
    timers.erase(first);
    sendOrHold(pdo);
    schedule(pdo);
    if (isPassOver()) {
      return;
    }
  }
}

// ---- reception

bool PDOTimingModel::handle(const Frame& frame) {
  const auto found = receivers.find(frame.identifier);
  if (!nmt.isOperational() || found == receivers.end()) {
    return false;
  }
  const Pointer pdo = found->second;
  if (frame.length > pdo->length) {
    return true;
  }
  pdo->timeStamp = std::max(surroundings.tick + pdo->eventTimer, 1U);  // 0 would say that none has come
  if (pdo->isEventDriven()) {
    takeOver(*pdo, frame);
  } else {
    buffered[pdo->index] = {pdo, frame};
  }
  return true;
}

void PDOTimingModel::takeOver(PDO& pdo, const Frame& frame) {
  unpack(pdo, frame);
  surroundings.trace.event(RECEIVED, pdo.index);
  if (pdo.timedOut) {
    pdo.timedOut = false;
    surroundings.trace.event(RESOLVED, pdo.index);
  }
}

void PDOTimingModel::unpack(const PDO& pdo, const Frame& frame) {
  unsigned long long data = 0;
  for (unsigned int i = 0; i < 8; ++i) {
    data |= static_cast<unsigned long long>(frame.data[i]) << (8 * i);
  }
  for (const Mapped& mapped : pdo.mapping) {
    const bool isInside = mapped.bits != 0 && mapped.position + mapped.bits <= 8 * frame.length;
    if (!isInside || mapped.key < 0x10000000U) {
      continue;
    }
    const DictionaryModel::Object* const object = dictionary.find(mapped.key);
    unsigned long long raw = data >> mapped.position & maskOf(mapped.bits);
    if (object != nullptr && dictionary.isSigned(object->type) && raw >> (mapped.bits - 1) != 0) {
      raw |= ~maskOf(mapped.bits);
    }
    dictionary.write(mapped.key, static_cast<int>(raw), false);
  }
}

void PDOTimingModel::checkReception() {
  for (const auto& [index, pdo] : monitored) {
    const bool isLate = pdo->timeStamp == 0 || static_cast<int>(surroundings.tick - pdo->timeStamp) > 0;
    if (pdo->timedOut || !isLate) {
      continue;
    }
    pdo->timedOut = true;
    for (const Mapped& mapped : pdo->mapping) {
      if (dictionary.isOwned(mapped.key)) {
        dictionary.invalidate(mapped.key);
      }
    }
    surroundings.trace.event(TIMED_OUT, index);
  }
}

// ---- SYNC

bool PDOTimingModel::handleSync(const Frame& frame) {
  if (!nmt.isOperational() || frame.identifier != static_cast<unsigned int>(dictionary.find(0x10050000)->value)) {
    return false;
  }
  const auto received = std::exchange(buffered, {});
  for (auto each = received.rbegin(); each != received.rend(); ++each) {
    takeOver(*each->second.first, each->second.second);
  }
  for (const unsigned int index : std::exchange(nextSync, {})) {
    send(*transmitters[index]);
  }
  for (const unsigned int index : std::set<unsigned int>(cyclic)) {
    if (syncCounter % transmitters[index]->type == 0) {
      send(*transmitters[index]);
    }
  }
  syncCounter = syncCounter == 251 ? 1 : syncCounter + 1;
  return true;
}

}  // namespace model
