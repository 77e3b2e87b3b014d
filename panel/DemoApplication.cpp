#include "DemoApplication.h"

#include <algorithm>
#include <array>

#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQTick.h"
#include "KQVariable.h"

namespace panel {

namespace {

constexpr int ACCESS_READ_WRITE = 0;
constexpr int ACCESS_READ_ONLY = 2;

struct MeasuredValue {
  unsigned char subIndex;
  const char* name;
  int bitLength;
  bool isSigned;
  int initialValue;
};

// "INDEX_" in the name of a variable at sub-index 0 tells the node that the index is a RECORD, which is given this
// name.
constexpr MeasuredValue MEASURED_VALUES[] = {
    {DemoApplication::SUB_COUNT, "INDEX_MACHINE", 8, false, DemoApplication::SUB_HIGHEST},
    {DemoApplication::SUB_TEMPERATURE, "Temperature", 16, true, DemoApplication::AMBIENT},
    {DemoApplication::SUB_PIECES, "Pieces", 32, false, 0},
    {DemoApplication::SUB_ANALOGUE_INPUT, "Analogue Input", 12, false, 0},
    {DemoApplication::SUB_ALARMS, "Alarms", 16, false, 0},
};

struct PDO {
  KQ::KQCANopenPDOType type;
  unsigned short number;
  unsigned int cobID;  // without the node-ID: those of the predefined connection set
  unsigned short eventTimer;
  unsigned short inhibitTime;
  unsigned char transmissionType;
};

constexpr unsigned char ON_EVERY_SYNC = 1;
constexpr unsigned char EVENT_DRIVEN = 254;

constexpr PDO PDOS[] = {
    {KQ::PDO_TYPE_TRANSMIT, 0, 0x180, DemoApplication::EVENT_TIMER_MS, DemoApplication::INHIBIT_TIME_MS, EVENT_DRIVEN},
    {KQ::PDO_TYPE_TRANSMIT, 1, 0x280, 0, 0, ON_EVERY_SYNC},
    {KQ::PDO_TYPE_RECEIVE, 0, 0x200, DemoApplication::RECEPTION_TIME_MS, 0, EVENT_DRIVEN},
    {KQ::PDO_TYPE_RECEIVE, 1, 0x300, 0, 0, ON_EVERY_SYNC},
};

struct Mapping {
  KQ::KQCANopenPDOType type;
  unsigned short number;
  unsigned char subIndex;
  int bits;
};

// In the order in which the values stand in the frame.
constexpr Mapping MAPPINGS[] = {
    {KQ::PDO_TYPE_TRANSMIT, 0, DemoApplication::SUB_TEMPERATURE, 16},
    {KQ::PDO_TYPE_TRANSMIT, 0, DemoApplication::SUB_ALARMS, 16},
    {KQ::PDO_TYPE_TRANSMIT, 0, DemoApplication::SUB_ANALOGUE_INPUT, 12},
    {KQ::PDO_TYPE_TRANSMIT, 0, DemoApplication::SUB_RUN, 1},
    {KQ::PDO_TYPE_TRANSMIT, 1, DemoApplication::SUB_PIECES, 32},
    {KQ::PDO_TYPE_TRANSMIT, 1, DemoApplication::SUB_TEMPERATURE, 16},
    {KQ::PDO_TYPE_RECEIVE, 0, DemoApplication::SUB_SET_POINT, 16},
    {KQ::PDO_TYPE_RECEIVE, 1, DemoApplication::SUB_RUN, 1},
};

constexpr unsigned int NEVER = 0xFFFFFFFFU;

// The regulator's swing about the set point, one entry a step, in 0.1 degC.
constexpr std::array<int, 8> SWING = {0, 2, DemoApplication::RIPPLE, 2, 0, -2, -DemoApplication::RIPPLE, -2};

KQ::KQVariable makeSetting(unsigned char subIndex, const char* name, int bitLength, bool isSigned) {
  KQ::KQVariable setting(DemoApplication::MACHINE, subIndex, name, KQ::STORAGE_TYPE_INTEGER, bitLength, isSigned);
  setting.setAccessMode(ACCESS_READ_WRITE);
  return setting;
}

}  // namespace

DemoApplication::DemoApplication(KQ::KQDEI& store, std::ostream& console, std::optional<unsigned char> peerNode)
    : KQ::KQVariableOwner("demo application"),
      dei(store),
      setPointReception(console, 0),
      runReception(console, 1),
      lastStep(KQ::KQTick::getTickCount()) {
  addMeasuredValues();
  KQ::KQVariable text(DEVICE_TEXT, 0, "Device Text", KQ::STORAGE_TYPE_STRING);
  text.setAccessMode(ACCESS_READ_WRITE);
  text.setInitialText("TAVO demo machine");
  text.setOwner(this);
  dei.addVariable(&text);
  if (peerNode) {
    peer = std::make_unique<Peer>(dei, console, *peerNode);
  }
}

void DemoApplication::addMeasuredValues() {
  for (const MeasuredValue& value : MEASURED_VALUES) {
    KQ::KQVariable variable(MACHINE, value.subIndex, value.name, KQ::STORAGE_TYPE_INTEGER, value.bitLength,
                            value.isSigned);
    variable.setAccessMode(ACCESS_READ_ONLY);
    variable.setInitialValue(value.initialValue);
    variable.setOwner(this);
    dei.addVariable(&variable);
  }
}

void DemoApplication::bind(KQ::KQCANopen& node) {
  node.getApplicationVariables();

  KQ::KQVariable setPoint = makeSetting(SUB_SET_POINT, "Set Point", 16, true);
  setPoint.setInitialValue(DEFAULT_SET_POINT);
  setPoint.setMinimum(LOWEST_SET_POINT);
  setPoint.setMaximum(HIGHEST_SET_POINT);
  node.addVariable(&setPoint);

  KQ::KQVariable run = makeSetting(SUB_RUN, "Run", 1, false);
  run.setInitialValue(1);
  node.addVariable(&run);

  addPDOs(node);
  if (peer) {
    peer->bind(node);
  }
}

// After the variables, which must be objects to be mapped.
void DemoApplication::addPDOs(KQ::KQCANopen& node) {
  for (const PDO& pdo : PDOS) {
    node.addPDO(pdo.type, pdo.number, pdo.cobID + node.getNodeID(), pdo.eventTimer, pdo.inhibitTime,
                pdo.transmissionType, true, nullptr);
  }
  for (const Mapping& mapping : MAPPINGS) {
    node.addPDOMapping(mapping.number, mapping.type, MACHINE, mapping.subIndex, mapping.bits);
  }
  setPointReception.watch(node);
  runReception.watch(node);
}

void DemoApplication::update(unsigned int now) {
  if (isAtRest()) {
    lastStep = now;
  }
  while (now - lastStep >= STEP_MS) {
    lastStep += STEP_MS;
    step();
  }
  if (peer) {
    peer->update();
  }
}

unsigned int DemoApplication::getTimeToNextUpdate(unsigned int now) const {
  const unsigned int passed = now - lastStep;
  const unsigned int step = isAtRest() ? NEVER : passed < STEP_MS ? STEP_MS - passed : 0;
  return peer ? std::min(step, peer->getTimeToNextUpdate()) : step;
}

// What a master writes wakes the panel anyway.
bool DemoApplication::isAtRest() const {
  return read(SUB_RUN) == 0 && warmth == AMBIENT && read(SUB_ALARMS) == ALARM_STOPPED;
}

void DemoApplication::step() {
  const bool running = read(SUB_RUN) != 0;
  const int setPoint = read(SUB_SET_POINT);
  ++steps;
  heat(running, setPoint);
  count(running);
  moveAnalogueInput();
  write(SUB_TEMPERATURE, temperature);
  write(SUB_PIECES, static_cast<int>(pieces));
  write(SUB_ANALOGUE_INPUT, analogueInput);
  write(SUB_ALARMS, getAlarms(running, setPoint));
}

void DemoApplication::heat(bool running, int setPoint) {
  const int target = running ? setPoint : AMBIENT;
  warmth += std::clamp(target - warmth, -HEATING_RATE, HEATING_RATE);
  temperature = running ? warmth + SWING[steps % SWING.size()] : warmth;
}

void DemoApplication::count(bool running) {
  if (running && ++stepsOfPiece == STEPS_PER_PIECE) {
    stepsOfPiece = 0;
    ++pieces;
  }
}

void DemoApplication::moveAnalogueInput() {
  analogueInput += analogueStep;
  if (analogueInput == 0 || analogueInput == ANALOGUE_HIGHEST) {
    analogueStep = -analogueStep;
  }
}

int DemoApplication::getAlarms(bool running, int setPoint) const {
  if (!running) {
    return ALARM_STOPPED;
  }
  if (temperature > setPoint + ALARM_DISTANCE) {
    return ALARM_OVER_TEMPERATURE;
  }
  return temperature < setPoint - ALARM_DISTANCE ? ALARM_UNDER_TEMPERATURE : 0;
}

int DemoApplication::read(unsigned char subIndex) const {
  int value = 0;
  dei.getVariableValue(MACHINE, subIndex, &value);
  return value;
}

void DemoApplication::write(unsigned char subIndex, int value) {
  dei.forceSetVariableValue(MACHINE, subIndex, value, getOwnerName(), true, false);
}

int DemoApplication::updateRequest(unsigned short group, unsigned short /*id*/, int /*value*/) {
  return group == MACHINE ? KQ::KQ_NOT_PERMITTED : KQ::KQ_NOT_FOUND;
}

int DemoApplication::updateRequest(unsigned short group, unsigned short id, const std::string& value) {
  if (group != DEVICE_TEXT || id != 0) {
    return KQ::KQ_NOT_FOUND;
  }
  return dei.forceSetVariableValue(group, id, value, getOwnerName(), true, false);
}

int DemoApplication::getValueRequest(unsigned short /*group*/, unsigned short /*id*/) {
  return KQ::KQ_OK;
}

}  // namespace panel
