#include "HeartbeatConsumerModel.h"

namespace model {

namespace {

constexpr unsigned int CONSUMERS = 0x10160000;
constexpr unsigned int MOST_CONSUMERS = 127;

}  // namespace

void HeartbeatConsumerModel::add(unsigned int node, unsigned int time) {
  for (unsigned int key = CONSUMERS + 1; key <= CONSUMERS + MOST_CONSUMERS; ++key) {
    const DictionaryModel::Object* const entry = dictionary.find(key);
    const unsigned int value = entry != nullptr ? static_cast<unsigned int>(entry->value) : 0;
    const unsigned int entryNode = value >> 16U & 0xFFU;
    if (entry != nullptr && entryNode == node) {
      dictionary.write(key, static_cast<int>((value & 0xFFFF0000U) | time), true);
      break;
    }
    if (entryNode == 0) {
      dictionary.add(key, RW, UNSIGNED32, static_cast<int>(node << 16U | time));
      break;
    }
  }
  readSettings();
}

void HeartbeatConsumerModel::readSettings() {
  for (unsigned int key = CONSUMERS + 1; key <= CONSUMERS + MOST_CONSUMERS; ++key) {
    const DictionaryModel::Object* const entry = dictionary.find(key);
    if (entry == nullptr) {
      continue;
    }
    const unsigned int value = static_cast<unsigned int>(entry->value);
    const unsigned int node = value >> 16U & 0xFFU;
    times[node] = value & 0xFFFFU;
    missing[node] = true;
    if (nmt.isOperational()) {
      deadlines[node] = surroundings.tick + times[node];
    }
  }
}

void HeartbeatConsumerModel::handle(const Frame& frame) {
  const unsigned int node = frame.identifier - 0x700U;
  if (frame.length != 1 || times.count(node) == 0) {
    return;
  }
  deadlines[node] = surroundings.tick + times[node];
  if (missing[node]) {
    tell(0x518, node, 0, "resolved timeout");
  }
  missing[node] = false;
}

void HeartbeatConsumerModel::check() {
  if (deadlines.empty()) {
    for (const auto& [node, time] : times) {
      deadlines[node] = surroundings.tick + time;
    }
  }
  for (auto& [node, deadline] : deadlines) {
    // Ticks are compared as they stand, also where the deadline has wrapped.
    if (surroundings.tick <= deadline) {
      continue;
    }
    if (!missing[node]) {
      tell(0x517, node, 17, "timeout");
    }
    missing[node] = true;
    deadline = surroundings.tick + times[node];
  }
}

void HeartbeatConsumerModel::tell(unsigned int code, unsigned int node, unsigned int second, const char* what) {
  if (listener != 0) {
    surroundings.trace.signal(listener, 6, code, node, second);
  }
  const unsigned int nodeListener = nodeListeners[node];
  if (nodeListener != 0) {
    surroundings.trace.line(std::string("Sending heartbeat ") + what + " to ECU with node ID " + hexadecimal(node));
    surroundings.trace.signal(nodeListener, 6, code, node, second);
  }
}

}  // namespace model
