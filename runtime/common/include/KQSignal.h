#pragma once

namespace KQ {

/// Type of the signals with which the variable store reports that a variable changed.
inline constexpr int KQ_SIGNAL_TYPE_VARIABLE = 1;
/// Code of an integer change: first value = variable ID, second value = new value.
inline constexpr int KQ_SIGNAL_VARIABLE_CHANGED = 1100;
/// Code of a text change: first value = variable ID, second value 0 (the text is read from the store).
inline constexpr int KQ_SIGNAL_VARIABLE_CHANGED_TEXT = 1101;

/// What a listener is told: a type (who speaks), a code (what happened), two 32-bit values and a flag
/// whose meaning the code gives. A plain value: it is copied freely and owns nothing, and it has no
/// lock; a signal belongs to the thread that delivers it.
class KQSignal {
public:
  /// An empty signal: everything 0 and false.
  KQSignal() = default;

  /// @param signalType  the kind of source that speaks.
  /// @param signalCode  what happened.
  /// @param first       first value of the code.
  /// @param second      second value of the code; a signed value travels in two's complement.
  /// @param isSet       flag of the code.
  KQSignal(int signalType, int signalCode, unsigned int first = 0, unsigned int second = 0, bool isSet = false)
      : type(signalType), code(signalCode), firstValue(first), secondValue(second), flag(isSet) {}

  /// The parts, as the constructor or a setter was given them.
  [[nodiscard]] int getType() const { return type; }
  [[nodiscard]] int getCode() const { return code; }
  [[nodiscard]] unsigned int getFirstValue() const { return firstValue; }
  [[nodiscard]] unsigned int getSecondValue() const { return secondValue; }
  [[nodiscard]] bool getFlag() const { return flag; }

  /// Change one part each.
  void setType(int signalType) { type = signalType; }
  void setCode(int signalCode) { code = signalCode; }
  void setFirstValue(unsigned int value) { firstValue = value; }
  void setSecondValue(unsigned int value) { secondValue = value; }
  void setFlag(bool isSet) { flag = isSet; }

private:
  int type{0};
  int code{0};
  unsigned int firstValue{0};
  unsigned int secondValue{0};
  bool flag{false};
};

}  // namespace KQ
