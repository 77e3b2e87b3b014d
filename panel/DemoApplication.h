#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "Application.h"
#include "KQVariableOwner.h"
#include "PDOReporter.h"
#include "Peer.h"

namespace KQ {
class KQDEI;
}

namespace panel {

/// A small machine that heats and counts pieces: something for a master to look at and to operate.
///
/// Its measured values are variables of the application, which the node shows as they stand in the store; set point
/// and run switch are variables of the node, so that it refuses values outside their limits. The machine makes one
/// step every STEP_MS and looks at what a master wrote then; once it is stopped and has cooled down, it rests. Its
/// values are mapped into two TPDOs, its settings into two RPDOs.
class DemoApplication : public Application, public KQ::KQVariableOwner {
public:
  /// The machine's RECORD and its sub-indexes.
  static constexpr unsigned short MACHINE = 0x2000;
  static constexpr unsigned char SUB_COUNT = 0;           ///< highest sub-index
  static constexpr unsigned char SUB_TEMPERATURE = 1;     ///< INTEGER16, 0.1 degC
  static constexpr unsigned char SUB_SET_POINT = 2;       ///< INTEGER16, 0.1 degC
  static constexpr unsigned char SUB_PIECES = 3;          ///< UNSIGNED32
  static constexpr unsigned char SUB_ANALOGUE_INPUT = 4;  ///< 12 bit, unsigned
  static constexpr unsigned char SUB_RUN = 5;             ///< BOOLEAN
  static constexpr unsigned char SUB_ALARMS = 6;          ///< UNSIGNED16, bits below
  static constexpr unsigned char SUB_HIGHEST = SUB_ALARMS;

  /// The text object beside it, a VAR.
  static constexpr unsigned short DEVICE_TEXT = 0x2001;

  /// Bits of the alarm word.
  static constexpr int ALARM_OVER_TEMPERATURE = 0x1;   ///< running, and more than ALARM_DISTANCE above the set point
  static constexpr int ALARM_UNDER_TEMPERATURE = 0x2;  ///< running, and more than ALARM_DISTANCE below the set point
  static constexpr int ALARM_STOPPED = 0x4;            ///< not running

  static constexpr unsigned int STEP_MS = 100;
  static constexpr int AMBIENT = 215;            ///< 21.5 degC
  static constexpr int DEFAULT_SET_POINT = 600;  ///< 60.0 degC
  static constexpr int LOWEST_SET_POINT = 0;
  static constexpr int HIGHEST_SET_POINT = 1200;
  static constexpr int HEATING_RATE = 5;                    ///< 0.5 degC a step
  static constexpr int RIPPLE = 3;                          ///< 0.3 degC to both sides while running
  static constexpr int ALARM_DISTANCE = 50;                 ///< 5.0 degC
  static constexpr unsigned short EVENT_TIMER_MS = 1000;    ///< TPDO 1 goes out at least that often
  static constexpr unsigned short INHIBIT_TIME_MS = 100;    ///< and at most that often
  static constexpr unsigned short RECEPTION_TIME_MS = 500;  ///< RPDO 1 is expected at least that often
  static constexpr unsigned int STEPS_PER_PIECE = 5;
  static constexpr int ANALOGUE_STEP = 65;
  static constexpr int ANALOGUE_HIGHEST = 4095;

  /// Brings the measured values and the text into the store.
  /// @param store,console must outlive the application
  /// @param peerNode node-ID of another panel, which this one then watches, reads and writes
  DemoApplication(KQ::KQDEI& store, std::ostream& console, std::optional<unsigned char> peerNode);

  void bind(KQ::KQCANopen& node) override;
  void update(unsigned int now) override;
  unsigned int getTimeToNextUpdate(unsigned int now) const override;

  /// Writes of the runtime's other users: the device text is theirs to change, the measured values are not.
  /// @return 0; 30 for a measured value; 23 for any other address
  int updateRequest(unsigned short group, unsigned short id, int value) override;
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override;

  /// Nothing is to be fetched: the store always holds the present values. @return 0
  int getValueRequest(unsigned short group, unsigned short id) override;

private:
  void addMeasuredValues();
  void addPDOs(KQ::KQCANopen& node);
  bool isAtRest() const;
  void step();
  void heat(bool running, int setPoint);
  void count(bool running);
  void moveAnalogueInput();
  int getAlarms(bool running, int setPoint) const;
  int read(unsigned char subIndex) const;
  void write(unsigned char subIndex, int value);

  KQ::KQDEI& dei;
  PDOReporter setPointReception;
  PDOReporter runReception;
  std::unique_ptr<Peer> peer;
  unsigned int lastStep;
  unsigned int steps = 0;
  int warmth = AMBIENT;  ///< the temperature without its ripple
  int temperature = AMBIENT;
  unsigned int pieces = 0;
  unsigned int stepsOfPiece = 0;
  int analogueInput = 0;
  int analogueStep = ANALOGUE_STEP;
};

}  // namespace panel
