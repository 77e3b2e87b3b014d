// Covers: when PDOs are sent and taken over.
//
// | subject           | functional                                        | robustness                              |
// |-------------------|---------------------------------------------------|-----------------------------------------|
// | transmission type | 0, 1, a few SYNCs, 250, 251, 254, 255             | 252, 253, reserved ones                 |
// | times             | event timers, inhibit times, reception time-outs  | the wrap of the clock, 0                |
// | mapping           | bits, bytes, signed and unsigned, dummies         | more than 8 bytes, missing objects      |
// | values            | of the application, the node, the dictionary, the | unchanged ones, ones out of limits      |
// |                   | bus                                               |                                         |
// | frames            | SYNC, PDOs                                        | too short, too long, shared identifiers |
// | parameters        | written while the node operates                   | invalid, made valid again, refused      |
// | states            | all                                               | resets, pause                           |
// | port              |                                                   | refuses some or all attempts            |

#include <gtest/gtest.h>

#include "DictionaryModel.h"
#include "Events.h"
#include "Generators.h"
#include "SequenceRun.h"

using namespace model;

namespace {

constexpr unsigned int PDOS = 3;

struct Mappable {
  unsigned int key;
  int bits;
  bool isSigned;
  bool owned;
};

constexpr Mappable VARIABLES[] = {
    {0x20110001, 8, false, true},  {0x20110002, 16, true, true},  {0x20110003, 32, false, true},
    {0x20110004, 1, false, true},  {0x20110005, 12, true, true},  {0x20120001, 8, false, false},
    {0x20120002, 16, true, false}, {0x20120003, 32, true, false},
};
constexpr unsigned int OBJECT = 0x10060000;
constexpr unsigned int COUNTERS[] = {0x10070000, 0x20130001};

Event addVariable(const Mappable& mappable) {
  VariableDescription description;
  description.index = static_cast<unsigned short>(mappable.key >> 16U);
  description.subIndex = static_cast<unsigned char>(mappable.key);
  description.bits = mappable.bits;
  description.isSigned = mappable.isSigned;
  description.owned = mappable.owned;
  return [=](Device& device) { device.addVariable(description); };
}

Event addObject(unsigned int key) {
  const ObjectDescription description{static_cast<unsigned short>(key >> 16U), static_cast<unsigned char>(key),
                                      UNSIGNED32, RW, 0};
  return [=](Device& device) { device.addObject(description); };
}

unsigned int anyTime(Random& random) {
  return random.oneIn(3) ? 0 : random.pick({1U, 2U, 10U, 20U, 100U});
}

unsigned int anyType(Random& random) {
  return random.pick({0U, 0U, 1U, 1U, 2U, 3U, 250U, 251U, 252U, 253U, 254U, 255U, 255U, 255U, 255U});
}

unsigned int anyTransmitCOBID(Random& random, unsigned int number) {
  return 0x181 + (random.oneIn(10) ? random.below(PDOS) : number);
}

unsigned int anyReceiveCOBID(Random& random, unsigned int number) {
  return 0x201 + (random.oneIn(10) ? random.below(PDOS) : number);
}

Event addPDO(Random& random, bool transmit, unsigned int number) {
  const unsigned int cobID = transmit ? anyTransmitCOBID(random, number) : anyReceiveCOBID(random, number);
  const PDODescription description{transmit,
                                   static_cast<unsigned short>(number),
                                   cobID,
                                   static_cast<unsigned short>(anyTime(random)),
                                   static_cast<unsigned short>(anyTime(random)),
                                   static_cast<unsigned char>(anyType(random))};
  return [=](Device& device) { device.addPDO(description); };
}

Event addMapping(Random& random, bool transmit, unsigned int number) {
  const Mappable& mappable = VARIABLES[random.below(std::size(VARIABLES))];
  unsigned int key = mappable.key;
  int bits = mappable.bits;
  switch (random.below(30)) {
    case 0:
      key = 0x20150001;  // does not exist
      break;
    case 1:
      key = 0x00050000;  // a dummy
      bits = 8;
      break;
    case 2:
      bits = static_cast<int>(random.below(41));
      break;
    case 3:
    case 4:
    case 5:
      key = OBJECT;
      bits = 32;
      break;
    default:
      break;
  }
  const auto pdo = static_cast<unsigned short>(number);
  return [=](Device& device) { device.addMapping(pdo, transmit, key, bits); };
}

void appendPDO(Sequence& sequence, Random& random, bool transmit, unsigned int number) {
  sequence.push_back(addPDO(random, transmit, number));
  for (unsigned int count = random.between(0, 3); count > 0; --count) {
    sequence.push_back(addMapping(random, transmit, number));
  }
  if (transmit && random.oneIn(5)) {
    const unsigned int counter = COUNTERS[random.below(std::size(COUNTERS))];
    sequence.push_back([=](Device& device) { device.countTransmissions(static_cast<int>(number), counter); });
  }
}

Event anyChange(Random& random) {
  const unsigned int key =
      random.oneIn(6) ? OBJECT : VARIABLES[random.below(random.oneIn(3) ? std::size(VARIABLES) : 2)].key;
  const int value = static_cast<int>(random.oneIn(8) ? random.number() : random.below(3));
  if (key != OBJECT && random.oneIn(2)) {
    return [=](Device& device) { device.change(key, value); };
  }
  const bool force = random.oneIn(2);
  return [=](Device& device) { device.writeObject(key, value, force); };
}

Event anySync(Random& random) {
  return receive({random.oneIn(15) ? 0x81U : 0x80U, random.below(3), {}});
}

Event anyReceivePDO(Random& random) {
  Frame frame{0x201 + random.below(PDOS), random.oneIn(2) ? random.below(9) : random.pick({1U, 2U, 4U}), {}};
  for (unsigned char& each : frame.data) {
    each = random.oneIn(2) ? static_cast<unsigned char>(random.below(3)) : random.byte();
  }
  return receive(frame);
}

// A parameter of a PDO is written, by the stack itself or as from the bus.
Event anyParameter(Random& random) {
  const bool transmit = random.oneIn(2);
  const unsigned int number = random.below(PDOS);
  const unsigned int index = (transmit ? 0x1800U : 0x1400U) + number;
  const unsigned int subIndex = random.pick({1U, 1U, 1U, 2U, 3U, 5U});
  const unsigned int cobID = transmit ? anyTransmitCOBID(random, number) : anyReceiveCOBID(random, number);
  unsigned int value = anyTime(random);
  if (subIndex == 1) {
    value = cobID | (random.oneIn(2) ? 0x80000000U : 0U) | (random.oneIn(15) ? 0x20000000U : 0U);
  } else if (subIndex == 2) {
    value = anyType(random);
  }
  const bool force = random.oneIn(2);
  return [=](Device& device) { device.writeObject(index << 16U | subIndex, static_cast<int>(value), force); };
}

Event anyRareEvent(Random& random) {
  switch (random.below(8)) {
    case 0:
      return anyRefusal(random);
    case 1: {
      const bool pause = random.oneIn(3);
      return [=](Device& device) { device.setPaused(pause); };
    }
    case 2: {
      const int cobID = static_cast<int>(random.pick({0x80U, 0x80U, 0x81U, 0x201U, 0x20000080U}));
      return [=](Device& device) { device.writeObject(0x10050000, cobID, false); };
    }
    case 3:
      return addMapping(random, random.oneIn(2), random.below(PDOS));
    case 4: {
      const unsigned int counter = COUNTERS[random.below(std::size(COUNTERS))];
      const int value = static_cast<int>(random.pick({0x7FFFFFFEU, 0x7FFFFFFFU, 0xFFFFFFFFU}));
      return [=](Device& device) { device.writeObject(counter, value, true); };
    }
    case 5:
      return addPDO(random, random.oneIn(2), random.below(PDOS));
    default:
      return anyCommand(random);
  }
}

}  // namespace

Event model::anyPDOEvent(Random& random) {
  switch (random.below(20)) {
    case 0:
    case 1:
    case 2:
      return anyChange(random);
    case 3:
    case 4:
    case 5:
      return anySync(random);
    case 6:
    case 7:
      return anyReceivePDO(random);
    case 8:
      return anyParameter(random);
    case 9:
      return random.oneIn(2) ? anyRareEvent(random) : cycle();
    case 10:
    case 11:
    case 12:
    case 13:
      return anyStep(random, random.pick({1U, 2U, 10U, 20U, 100U}));
    default:
      return cycle();
  }
}

namespace {

// Many SYNCs at once, so that the counter of SYNCs begins anew.
Event manySyncs(Random& random) {
  const unsigned int count = random.between(240, 260);
  return [=](Device& device) {
    for (unsigned int each = 0; each < count; ++each) {
      device.receive({0x80, 0, {}});
    }
  };
}

}  // namespace

void model::appendPDOSetup(Sequence& sequence, Random& random) {
  sequence.push_back(anyStart(random));
  for (const Mappable& mappable : VARIABLES) {
    sequence.push_back(addVariable(mappable));
    sequence.push_back(watch(mappable.key));
  }
  for (const unsigned int key : {OBJECT, COUNTERS[0]}) {
    sequence.push_back(addObject(key));
    sequence.push_back(watch(key));
  }
  sequence.push_back(addVariable({COUNTERS[1], 32, true, true}));
  sequence.push_back(watch(COUNTERS[1]));
  for (unsigned int number = 0; number < PDOS; ++number) {
    appendPDO(sequence, random, true, number);
    appendPDO(sequence, random, false, number);
  }
  sequence.push_back(cycle());
  sequence.push_back(receive(frameOf(0, {1, 0})));
}

namespace {

Sequence anySequence(Random& random) {
  Sequence sequence;
  appendPDOSetup(sequence, random);
  for (unsigned int count = random.between(10, 60); count > 0; --count) {
    sequence.push_back(random.oneIn(500) ? manySyncs(random) : anyPDOEvent(random));
  }
  return sequence;
}

}  // namespace

TEST(PDOTimingModel, NodeAndModelAreAlike) {
  expectAlike(anySequence);
}
