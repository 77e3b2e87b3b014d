#include "Events.h"

#include <algorithm>

namespace model {

namespace {

constexpr unsigned char NODE_ID = 5;

}  // namespace

Event setClock(unsigned int tick) {
  return [=](Device& device) { device.setClock(tick); };
}

Event advance(unsigned int milliseconds) {
  return [=](Device& device) { device.advance(milliseconds); };
}

Event receive(const Frame& frame) {
  return [=](Device& device) { device.receive(frame); };
}

Event cycle() {
  return [](Device& device) { device.cycle(); };
}

Event watch(unsigned int key) {
  return [=](Device& device) { device.watch(key); };
}

Frame frameOf(unsigned int identifier, const std::vector<unsigned char>& bytes) {
  Frame frame;
  frame.identifier = identifier;
  frame.length = static_cast<unsigned int>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), frame.data.begin());
  return frame;
}

Event anyStart(Random& random) {
  const unsigned int base = random.pick({0U, 10000U, 0x7FFFFF00U, 0xFFFFFF00U, 0xFFFFFFF0U});
  return setClock(base + random.below(300));
}

Event anyStep(Random& random, unsigned int time) {
  switch (random.below(6)) {
    case 0:
      return advance(time - 1);
    case 1:
      return advance(time);
    case 2:
      return advance(time + 1);
    case 3:
      return advance(time / 2);
    case 4:
      return advance(random.below(2 * time + 2));
    default:
      return advance(random.below(5));
  }
}

Event anyCommand(Random& random) {
  const unsigned int specifier = random.pick({0x01U, 0x01U, 0x01U, 0x02U, 0x80U, 0x81U, 0x82U, 0x00U, 0x83U});
  const unsigned int node = random.pick({0U, 0U, NODE_ID, NODE_ID, 6U, 0x7FU});
  Frame frame = frameOf(0, {static_cast<unsigned char>(specifier), static_cast<unsigned char>(node)});
  if (random.oneIn(20)) {
    frame.length = random.below(9);
  }
  return receive(frame);
}

Event anyHeartbeat(Random& random, unsigned int node) {
  Frame frame = frameOf(0x700 + node, {static_cast<unsigned char>(random.pick({0x00U, 0x04U, 0x05U, 0x7FU, 0x85U}))});
  if (random.oneIn(20)) {
    frame.length = random.below(9);
  }
  if (random.oneIn(40)) {
    frame.identifier += random.pick({0x800U, 0x20000000U, 0x100U});
  }
  return receive(frame);
}

Event anyRefusal(Random& random) {
  const unsigned int count = random.pick({1U, 25U, 26U, 27U, 60U});
  const int code = random.oneIn(2) ? 17 : 10;  // its queue is full, or it is down
  return [=](Device& device) { device.refuse(count, code); };
}

}  // namespace model
