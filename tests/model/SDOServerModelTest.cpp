// Covers: a master's reads and writes of the dictionary.
//
// | subject  | functional                                     | robustness                                        |
// |----------|------------------------------------------------|---------------------------------------------------|
// | objects  | numbers of all sizes, texts, the node's and    | missing, without type or variable, too long       |
// |          | others'                                        |                                                   |
// | requests | expedited, in segments, aborts                 | any command byte, wrong sizes, toggles, lengths   |
// | channels | the predefined one, further ones, written ones | disabled, wide identifiers, mixed in one transfer |
// | time-out | on both sides of it, changed                   | the wrap of the clock                             |
// | states   | all                                            | stopped, reset in a transfer, pause               |
// | port     |                                                | refuses some or all attempts                      |

#include <gtest/gtest.h>

#include <algorithm>

#include "DictionaryModel.h"
#include "Events.h"
#include "Generators.h"
#include "SequenceRun.h"

using namespace model;

namespace {

VariableDescription number(unsigned char subIndex, int bits, bool isSigned, int accessMode = 0) {
  VariableDescription description;
  description.subIndex = subIndex;
  description.bits = bits;
  description.isSigned = isSigned;
  description.accessMode = accessMode;
  description.initial = 3;
  return description;
}

VariableDescription text(unsigned char subIndex, const char* initial, int accessMode = 0) {
  VariableDescription description;
  description.subIndex = subIndex;
  description.isText = true;
  description.initialText = initial;
  description.accessMode = accessMode;
  return description;
}

VariableDescription limited(VariableDescription description, int minimum, int maximum) {
  description.hasLimits = true;
  description.minimum = minimum;
  description.maximum = maximum;
  return description;
}

VariableDescription nobodys(VariableDescription description) {
  description.index = 0x2002;
  description.owned = false;
  return description;
}

const std::vector<VariableDescription>& variables() {
  static const std::vector<VariableDescription> all{
      number(1, 1, false),
      number(2, 8, false),
      number(3, 8, true),
      number(4, 16, false),
      limited(number(5, 16, true), -100, 100),
      number(6, 24, false),
      number(7, 24, true),
      number(8, 32, false),
      number(9, 32, true),
      number(10, 12, false),
      number(11, 12, true),
      number(12, 40, false),
      number(13, 16, false, 2),
      number(14, 16, false, 1),
      number(15, 40, false, 1),
      number(16, 8, false, 3),
      text(17, ""),
      text(18, "abc"),
      text(19, "abcdefg"),
      text(20, "The quick brown fox jumps over the lazy dog", 2),
      text(21, "abcdefghijklmn", 1),
      nobodys(number(1, 8, false)),
      nobodys(number(2, 16, true, 2)),
      nobodys(number(3, 32, false, 1)),
      nobodys(text(4, "nobody's text")),
  };
  return all;
}

// Objects that have no variable in the store behind them.
const std::vector<ObjectDescription>& objects() {
  static const std::vector<ObjectDescription> all{
      {0x2003, 1, UNSIGNED16, RW, 1},
      {0x2003, 2, 0, RW, 2},
      {0x2003, 3, 17, RW, 3},
      {0x2003, 4, 10, RW, 4},
      {0x2003, 5, VISIBLE_STRING, RW, 5},
      {0x2003, 6, 0, WO, 6},
      {0x2003, 7, 17, WO, 7},
      {0x1006, 0, UNSIGNED32, RW, 8},
      {0x1007, 0, 8, RW, 9},
  };
  return all;
}

const std::vector<unsigned int>& standardKeys() {
  static const std::vector<unsigned int> all{
      0x00050000, 0x00090000, 0x10000000, 0x10010000, 0x10030000, 0x10030001, 0x10050000, 0x10080000,
      0x10090000, 0x100A0000, 0x10100000, 0x10100001, 0x10100003, 0x10110001, 0x10120000, 0x10140000,
      0x10150000, 0x10180000, 0x10180001, 0x12000000, 0x12000001, 0x12000002, 0x12010000, 0x12010001,
      0x12010002, 0x12010003, 0x12020001, 0x12020002, 0x10180005, 0x20010030, 0x30000000, 0x10040000};
  return all;
}

unsigned int anyKey(Random& random) {
  if (random.oneIn(4)) {
    return random.pick(standardKeys());
  }
  if (random.oneIn(5)) {
    const ObjectDescription& object = random.pick(objects());
    return static_cast<unsigned int>(object.index) << 16U | object.subIndex;
  }
  const VariableDescription& variable = random.pick(variables());
  return static_cast<unsigned int>(variable.index) << 16U | variable.subIndex;
}

unsigned int anyText(Random& random) {
  return variables()[16 + random.below(5)].subIndex | 0x20010000U;
}

unsigned int anyRequestCOBID(Random& random) {
  return random.oneIn(8) ? random.pick({0x615U, 0x616U, 0x625U, 0x10615U, 0x20000605U, 0x606U}) : 0x605U;
}

Frame request(Random& random, unsigned int command, unsigned int key) {
  Frame frame = frameOf(anyRequestCOBID(random),
                        {static_cast<unsigned char>(command), static_cast<unsigned char>(key >> 16U),
                         static_cast<unsigned char>(key >> 24U), static_cast<unsigned char>(key), 0, 0, 0, 0});
  if (random.oneIn(30)) {
    frame.length = random.between(2, 8);
  }
  return frame;
}

void setNumber(Frame& frame, unsigned int value) {
  for (unsigned int i = 0; i < 4; ++i) {
    frame.data[4 + i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

Event anyExpeditedWrite(Random& random) {
  const unsigned int command = random.pick({0x23U, 0x27U, 0x2BU, 0x2BU, 0x2FU, 0x2FU, 0x22U, 0x2EU, 0x33U});
  Frame frame = request(random, command, anyKey(random));
  setNumber(frame, random.oneIn(2)
                       ? random.pick({0U, 1U, 2U, 0x7FU, 0x80U, 0xFFU, 0x7FFFU, 0x8000U, 0xFFFFU, 0x800U, 0xFFFU,
                                      0x1000U, 0x7FFFFFU, 0x800000U, 0x80000615U, 0x616U, 0x20000615U, 0xFFFFFFFFU})
                       : random.number());
  return receive(frame);
}

Event startDownload(Random& random) {
  Frame frame = request(random, random.pick({0x21U, 0x21U, 0x20U}), random.oneIn(3) ? anyKey(random) : anyText(random));
  setNumber(frame, random.pick({0U, 3U, 4U, 5U, 7U, 8U, 14U, 100U}));
  return receive(frame);
}

Event anySegment(Random& random, unsigned int toggle) {
  Frame frame = request(random, toggle << 4U | random.below(8) << 1U | (random.oneIn(3) ? 1U : 0U), 0);
  for (unsigned int i = 1; i < 8; ++i) {
    frame.data[i] = static_cast<unsigned char>(random.oneIn(20) ? random.byte() : 'a' + random.below(26));
  }
  return receive(frame);
}

// A transfer as it should be, but for a disturbance here and there.
void appendTransfer(Sequence& sequence, Random& random) {
  const bool download = random.oneIn(2);
  sequence.push_back(download ? startDownload(random) : receive(request(random, 0x40, anyText(random))));
  unsigned int toggle = 0;
  for (unsigned int count = random.between(1, 8); count > 0; --count) {
    sequence.push_back(download ? anySegment(random, toggle) : receive(request(random, 0x60U | toggle << 4U, 0)));
    toggle ^= random.oneIn(15) ? 0U : 1U;
    if (random.oneIn(6)) {
      sequence.push_back(anyStep(random, 100));
      sequence.push_back(cycle());
    }
  }
}

Event anyRareEvent(Random& random) {
  switch (random.below(8)) {
    case 0: {
      const unsigned int time = random.pick({0U, 1U, 10U, 100U, 100U, 0x10000000U});
      return [=](Device& device) { device.setSDOTimeout(time); };
    }
    case 1: {
      const unsigned int listener = random.below(3);
      return [=](Device& device) { device.listenToSDO(listener); };
    }
    case 2:
      return anyRefusal(random);
    case 3: {
      const bool pause = random.oneIn(3);
      return [=](Device& device) { device.setPaused(pause); };
    }
    case 4: {
      const unsigned int key = anyKey(random);
      const int value = static_cast<int>(random.number());
      return [=](Device& device) { device.writeObject(key, value, true); };
    }
    case 5: {
      const VariableDescription& variable = random.pick(variables());
      const unsigned int key = static_cast<unsigned int>(variable.index) << 16U | variable.subIndex;
      const int value = static_cast<int>(random.number());
      return [=](Device& device) { device.change(key, value); };
    }
    default:
      return anyCommand(random);
  }
}

}  // namespace

void model::appendSDOServerEvents(Sequence& sequence, Random& random) {
  switch (random.below(12)) {
    case 0:
    case 1:
      appendTransfer(sequence, random);
      break;
    case 2:
    case 3:
    case 4:
      sequence.push_back(anyExpeditedWrite(random));
      break;
    case 5:
    case 6:
      sequence.push_back(receive(request(random, 0x40, anyKey(random))));
      break;
    case 7:
      sequence.push_back(receive(request(random, random.byte(), anyKey(random))));
      break;
    case 8:
      sequence.push_back(anyRareEvent(random));
      break;
    case 9:
      sequence.push_back(anyStep(random, 100));
      break;
    default:
      sequence.push_back(cycle());
      break;
  }
}

void model::appendSDOServerSetup(Sequence& sequence, Random& random) {
  sequence.push_back(anyStart(random));
  for (const VariableDescription& variable : variables()) {
    if (random.oneIn(3)) {
      sequence.push_back([&variable](Device& device) { device.addVariable(variable); });
      sequence.push_back(watch(static_cast<unsigned int>(variable.index) << 16U | variable.subIndex));
    }
  }
  for (const ObjectDescription& object : objects()) {
    if (random.oneIn(4)) {
      sequence.push_back([&object](Device& device) { device.addObject(object); });
    }
  }
  for (const unsigned int cobID : {0x615U, 0x10615U, 0x625U}) {
    if (random.oneIn(3)) {
      const unsigned int response = random.pick({0x595U, 0x595U, 0x585U, 0x80000595U, 0x1595U});
      sequence.push_back([=](Device& device) { device.addChannel(true, cobID, response); });
    }
  }
  sequence.push_back(watch(0x12010001));
  sequence.push_back(cycle());
}

namespace {

Sequence anySequence(Random& random) {
  Sequence sequence;
  appendSDOServerSetup(sequence, random);
  const std::size_t length = sequence.size() + random.between(10, 60);
  while (sequence.size() < length) {
    appendSDOServerEvents(sequence, random);
  }
  return sequence;
}

}  // namespace

TEST(SDOServerModel, NodeAndModelAreAlike) {
  expectAlike(anySequence);
}
