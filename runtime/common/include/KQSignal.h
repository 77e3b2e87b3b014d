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

  /// @param type         the kind of source that speaks.
  /// @param code         what happened.
  /// @param firstValue   first value of the code.
  /// @param secondValue  second value of the code; a signed value travels in two's complement.
  /// @param flag         flag of the code.
  KQSignal(int type, int code, unsigned int firstValue = 0, unsigned int secondValue = 0, bool flag = false)
      : type_(type), code_(code), firstValue_(firstValue), secondValue_(secondValue), flag_(flag) {}

  /// The parts, as the constructor or a setter was given them.
  [[nodiscard]] int getType() const { return type_; }
  [[nodiscard]] int getCode() const { return code_; }
  [[nodiscard]] unsigned int getFirstValue() const { return firstValue_; }
  [[nodiscard]] unsigned int getSecondValue() const { return secondValue_; }
  [[nodiscard]] bool getFlag() const { return flag_; }

  /// Change one part each.
  void setType(int type) { type_ = type; }
  void setCode(int code) { code_ = code; }
  void setFirstValue(unsigned int value) { firstValue_ = value; }
  void setSecondValue(unsigned int value) { secondValue_ = value; }
  void setFlag(bool flag) { flag_ = flag; }

private:
  int type_{0};
  int code_{0};
  unsigned int firstValue_{0};
  unsigned int secondValue_{0};
  bool flag_{false};
};

}  // namespace KQ
