#include <cstdint>

#include "Frame.h"
#include "KQDEI.h"
#include "ScenarioKinds.h"

namespace bench {

namespace {

constexpr unsigned int COB_ID_SYNC = 0x080;

// The data of an RPDO: four values, each of which differs from those of the operations before and after.
std::uint64_t receivedData(std::size_t operation) {
  return 0x9000500030001000U + 0x0001000100010001U * operation;
}

int sentValue(std::size_t operation) {
  return static_cast<int>((0x1234 + operation) & 0xFFFF);
}

int valueInStore(unsigned short index, unsigned short subIndex) {
  int value = -1;
  KQ::KQDEI::instance()->getVariableValue(index, subIndex, &value);
  return value;
}

// The frame of a TPDO with the values that are in the store.
KQ::KQCANMessage sentFrame(unsigned int pdo) {
  KQ::KQCANMessage message = frame(FIRST_TPDO_COB_ID + pdo, {0, 0, 0, 0, 0, 0, 0, 0});
  for (unsigned short subIndex = 1; subIndex <= VALUES_PER_PDO; ++subIndex) {
    const int value = valueInStore(static_cast<unsigned short>(FIRST_SENT_OBJECT + pdo), subIndex);
    message.data[2 * subIndex - 2] = static_cast<unsigned char>(value & 0xFF);
    message.data[2 * subIndex - 1] = static_cast<unsigned char>(value >> 8 & 0xFF);
  }
  return message;
}

}  // namespace

ReceivedPDO::ReceivedPDO(const Configuration& configuration) : RepeatedScenario(configuration) {
  for (unsigned int pdo = 0; pdo < configuration.pdos; ++pdo) {
    frames.push_back(frame(FIRST_RPDO_COB_ID + pdo, {0, 0, 0, 0, 0, 0, 0, 0}));
  }
}

void ReceivedPDO::perform(std::size_t operation) {
  KQ::KQCANMessage& message = frames[operation % frames.size()];
  const std::uint64_t data = receivedData(operation);
  // Spelt out, which compilers turn into one access; a loop of byte stores would weigh on the figure.
  unsigned char* const bytes = message.data;
  bytes[0] = static_cast<unsigned char>(data);
  bytes[1] = static_cast<unsigned char>(data >> 8);
  bytes[2] = static_cast<unsigned char>(data >> 16);
  bytes[3] = static_cast<unsigned char>(data >> 24);
  bytes[4] = static_cast<unsigned char>(data >> 32);
  bytes[5] = static_cast<unsigned char>(data >> 40);
  bytes[6] = static_cast<unsigned char>(data >> 48);
  bytes[7] = static_cast<unsigned char>(data >> 56);
  node.receive(message);
}

bool ReceivedPDO::isDone(std::size_t operation) const {
  const auto index = static_cast<unsigned short>(FIRST_RECEIVED_OBJECT + operation % frames.size());
  bool isSame = true;
  for (unsigned short subIndex = 1; subIndex <= VALUES_PER_PDO; ++subIndex) {
    const auto expected = static_cast<int>(receivedData(operation) >> 16 * (subIndex - 1) & 0xFFFF);
    isSame = isSame && valueInStore(index, subIndex) == expected;
  }
  return isSame;
}

ChangedPDO::ChangedPDO(const Configuration& configuration) : RepeatedScenario(configuration) {
  for (unsigned short subIndex = 1; subIndex <= VALUES_PER_PDO; ++subIndex) {
    for (unsigned int pdo = 0; pdo < configuration.pdos; ++pdo) {
      variables.push_back({static_cast<unsigned short>(FIRST_SENT_OBJECT + pdo), subIndex});
    }
  }
}

void ChangedPDO::perform(std::size_t operation) {
  const Variable& variable = variables[operation % variables.size()];
  KQ::KQDEI::instance()->setVariableValue(variable.index, variable.subIndex, sentValue(operation), true, false);
}

Frames ChangedPDO::expectedFrames(std::size_t operation) const {
  return {sentFrame(variables[operation % variables.size()].index - FIRST_SENT_OBJECT)};
}

bool ChangedPDO::isDone(std::size_t operation) const {
  const Variable& variable = variables[operation % variables.size()];
  return valueInStore(variable.index, variable.subIndex) == sentValue(operation);
}

SynchronousPDOs::SynchronousPDOs(const Configuration& configuration)
    : RepeatedScenario(configuration), sync(frame(COB_ID_SYNC, {})) {
  for (unsigned int pdo = 0; pdo < configuration.pdos; ++pdo) {
    for (unsigned short subIndex = 1; subIndex <= VALUES_PER_PDO; ++subIndex) {
      KQ::KQDEI::instance()->setVariableValue(static_cast<unsigned short>(FIRST_SENT_OBJECT + pdo), subIndex,
                                              static_cast<int>(0x1111U * subIndex + pdo), true, false);
    }
  }
}

Frames SynchronousPDOs::expectedFrames(std::size_t /*operation*/) const {
  Frames frames;
  for (unsigned int pdo = 0; pdo < SYNCHRONOUS_PDOS; ++pdo) {
    frames.push_back(sentFrame(pdo));
  }
  return frames;
}

}  // namespace bench
