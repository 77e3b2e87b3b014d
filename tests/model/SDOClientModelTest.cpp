// Covers: the node's own reads and writes of variables that live in other nodes.
//
// | subject   | functional                                        | robustness                                  |
// |-----------|---------------------------------------------------|---------------------------------------------|
// | variables | numbers of 1 to 8 bytes, texts, read-only,        | without remote key, nobody's, on no channel |
// |           | limited                                           |                                             |
// | requests  | writes and reads, several at once, the same again | a text into a number, a number into a text  |
// | answers   | confirmations, values, segments, aborts           | of other objects, on other channels, wrong  |
// |           |                                                   | toggles                                     |
// | channels  | two servers                                       | one that is disabled                        |
// | a master  |                                                   | takes the one slot of each direction        |
// | time-out  | on both sides of it                               | the wrap of the clock                       |
// | port      |                                                   | refuses some or all attempts                |

#include <gtest/gtest.h>

#include "DictionaryModel.h"
#include "Events.h"
#include "SequenceRun.h"

using namespace model;

namespace {

constexpr unsigned int FIRST_REMOTE_KEY = 0x60000010;

VariableDescription remote(unsigned char subIndex, int bits, bool isSigned, unsigned int requestCOBID = 0x606) {
  VariableDescription description;
  description.subIndex = subIndex;
  description.bits = bits;
  description.isSigned = isSigned;
  description.isText = bits == 0;
  description.remoteKey = FIRST_REMOTE_KEY + subIndex;
  description.requestCOBID = requestCOBID;
  return description;
}

VariableDescription with(VariableDescription description, int accessMode) {
  description.accessMode = accessMode;
  return description;
}

VariableDescription limited(VariableDescription description, int minimum, int maximum) {
  description.hasLimits = true;
  description.minimum = minimum;
  description.maximum = maximum;
  return description;
}

VariableDescription withoutRemoteKey(VariableDescription description) {
  description.remoteKey = 0;
  return description;
}

VariableDescription nobodys(VariableDescription description) {
  description.owned = false;
  return description;
}

const std::vector<VariableDescription>& variables() {
  static const std::vector<VariableDescription> all{
      remote(1, 8, false),
      remote(2, 8, true),
      remote(3, 16, false),
      remote(4, 16, true, 0x607),
      remote(5, 24, true),
      remote(6, 32, false),
      remote(7, 12, true),
      remote(8, 40, true),
      remote(9, 64, false),
      remote(11, 0, false),
      remote(12, 0, false, 0x607),
      with(remote(13, 16, false), 2),
      with(remote(14, 16, false), 1),
      limited(remote(15, 16, true), -10, 10),
      withoutRemoteKey(remote(16, 16, false)),
      nobodys(remote(17, 16, false)),
      nobodys(remote(18, 0, false)),
      remote(19, 16, false, 0x608),
      remote(20, 16, false, 0x609),
  };
  return all;
}

unsigned int keyOf(const VariableDescription& variable) {
  return static_cast<unsigned int>(variable.index) << 16U | variable.subIndex;
}

// Most of what happens concerns few variables, so that it meets.
class Choice {
public:
  explicit Choice(Random& theRandom) : random(theRandom) {
    for (int count = 0; count < 4; ++count) {
      chosen.push_back(random.pick(variables()));
    }
  }

  const std::vector<VariableDescription>& all() const { return chosen; }
  const VariableDescription& any() { return random.oneIn(30) ? random.pick(variables()) : random.pick(chosen); }

  Random& random;

private:
  std::vector<VariableDescription> chosen;
};

std::string anyText(Random& random) {
  static const std::string alphabet = "abcdefghijklmnopqrstuvwxyz";
  return alphabet.substr(0, random.pick({0U, 1U, 3U, 4U, 5U, 7U, 8U, 14U, 26U}));
}

Event anyRequest(Choice& choice) {
  const VariableDescription& variable = choice.any();
  const unsigned int key = keyOf(variable);
  if (choice.random.oneIn(3)) {
    return [=](Device& device) { device.requestRead(key); };
  }
  if (variable.isText != choice.random.oneIn(20)) {
    return [key, text = anyText(choice.random)](Device& device) { device.request(key, text); };
  }
  const int value = static_cast<int>(choice.random.oneIn(3) ? choice.random.number() : choice.random.below(12));
  return [=](Device& device) { device.request(key, value); };
}

unsigned int responseOf(Choice& choice, const VariableDescription& variable) {
  return choice.random.oneIn(12) ? choice.random.pick({0x586U, 0x587U, 0x588U, 0x20000586U})
                                 : variable.requestCOBID - 0x80U;
}

Frame answer(Choice& choice, unsigned int command) {
  const VariableDescription& variable = choice.any();
  const unsigned int key =
      choice.random.oneIn(15) ? 0U : (variable.remoteKey != 0 ? variable.remoteKey : keyOf(variable));
  Frame frame = frameOf(responseOf(choice, variable),
                        {static_cast<unsigned char>(command), static_cast<unsigned char>(key >> 16U),
                         static_cast<unsigned char>(key >> 24U), static_cast<unsigned char>(key), 0, 0, 0, 0});
  for (unsigned int i = 4; i < 8; ++i) {
    frame.data[i] = choice.random.oneIn(2) ? 0 : choice.random.byte();
  }
  return frame;
}

Event anySegment(Choice& choice, unsigned int toggle) {
  Random& random = choice.random;
  Frame frame = answer(choice, toggle << 4U | random.below(8) << 1U | (random.oneIn(3) ? 1U : 0U));
  for (unsigned int i = 1; i < 8; ++i) {
    frame.data[i] = static_cast<unsigned char>('a' + random.below(26));
  }
  return receive(frame);
}

Event anyAnswer(Choice& choice) {
  Random& random = choice.random;
  switch (random.below(9)) {
    case 0:
    case 1:
      return receive(answer(choice, 0x60));
    case 2:
      return receive(answer(choice, 0x20U | random.below(2) << 4U));
    case 3:
    case 4:
      return receive(answer(choice, random.pick({0x43U, 0x47U, 0x4BU, 0x4FU, 0x42U, 0x4EU})));
    case 5:
      return receive(answer(choice, random.pick({0x41U, 0x41U, 0x40U})));
    case 6:
      return anySegment(choice, random.below(2));
    case 7:
      return receive(answer(choice, 0x80));
    default:
      return receive(answer(choice, random.byte()));
  }
}

// Segments in order, of which one may be disturbed.
void appendSegments(Sequence& sequence, Choice& choice) {
  const bool read = choice.random.oneIn(2);
  sequence.push_back(receive(answer(choice, read ? 0x41 : 0x60)));
  unsigned int toggle = 0;
  for (unsigned int count = choice.random.between(1, 5); count > 0; --count) {
    sequence.push_back(read ? anySegment(choice, toggle) : receive(answer(choice, 0x20U | toggle << 4U)));
    toggle ^= choice.random.oneIn(15) ? 0U : 1U;
  }
}

// What a master does meanwhile to take the slots of the transfers.
Event anyMasterRequest(Choice& choice) {
  const unsigned int command = choice.random.pick({0x40U, 0x21U, 0x60U, 0x70U, 0x00U, 0x11U});
  const unsigned int key = choice.random.oneIn(3) ? 0x100A0000U : keyOf(choice.any());
  return receive(frameOf(0x605, {static_cast<unsigned char>(command), static_cast<unsigned char>(key >> 16U),
                                 static_cast<unsigned char>(key >> 24U), static_cast<unsigned char>(key), 9, 0, 0, 0}));
}

Event anyRareEvent(Choice& choice) {
  Random& random = choice.random;
  switch (random.below(6)) {
    case 0: {
      const unsigned int time = random.pick({0U, 1U, 3U, 100U, 100U, 0x10000000U});
      return [=](Device& device) { device.setSDOTimeout(time); };
    }
    case 1: {
      const unsigned int listener = random.below(3);
      return [=](Device& device) { device.listenToSDO(listener); };
    }
    case 2:
      return anyRefusal(random);
    case 3:
      return anyCommand(random);
    case 4: {
      const unsigned int key = keyOf(choice.any());
      const int value = static_cast<int>(random.number());
      return [=](Device& device) { device.writeObject(key, value, true); };
    }
    default:
      return anyMasterRequest(choice);
  }
}

void appendEvents(Sequence& sequence, Choice& choice) {
  switch (choice.random.below(12)) {
    case 0:
    case 1:
    case 2:
      sequence.push_back(anyRequest(choice));
      break;
    case 3:
    case 4:
    case 5:
      sequence.push_back(anyAnswer(choice));
      break;
    case 6:
      appendSegments(sequence, choice);
      break;
    case 7:
      sequence.push_back(anyRareEvent(choice));
      break;
    case 8:
      sequence.push_back(anyStep(choice.random, 100));
      break;
    default:
      sequence.push_back(cycle());
      break;
  }
}

void appendSetup(Sequence& sequence, Choice& choice) {
  sequence.push_back(anyStart(choice.random));
  sequence.push_back([](Device& device) { device.addChannel(false, 0x606, 0x586); });
  sequence.push_back([](Device& device) { device.addChannel(false, 0x607, 0x587); });
  sequence.push_back([](Device& device) { device.addChannel(false, 0x608, 0x80000588); });
  for (const VariableDescription& variable : choice.all()) {
    sequence.push_back([variable](Device& device) { device.addVariable(variable); });
    sequence.push_back(watch(keyOf(variable)));
  }
  sequence.push_back([](Device& device) { device.listenToSDO(1); });
  sequence.push_back(cycle());
}

Sequence anySequence(Random& random) {
  Choice choice(random);
  Sequence sequence;
  appendSetup(sequence, choice);
  const std::size_t length = sequence.size() + random.between(10, 60);
  while (sequence.size() < length) {
    appendEvents(sequence, choice);
  }
  return sequence;
}

}  // namespace

TEST(SDOClientModel, NodeAndModelAreAlike) {
  expectAlike(anySequence);
}
