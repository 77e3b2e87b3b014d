#pragma once

namespace KQ {

constexpr int KQ_SIGNAL_TYPE_VARIABLE = 1;
constexpr int KQ_SIGNAL_VARIABLE_CHANGED = 1100;
constexpr int KQ_SIGNAL_VARIABLE_CHANGED_TEXT = 1101;

class KQSignal {
public:
  KQSignal(int type, int code, unsigned int firstValue = 0, unsigned int secondValue = 0, bool flag = false);

  int getType() const;
  int getCode() const;
  unsigned int getFirstValue() const;
  unsigned int getSecondValue() const;
  bool getFlag() const;

private:
  int type;
  int code;
  unsigned int firstValue;
  unsigned int secondValue;
  bool flag;
};

}  // namespace KQ
