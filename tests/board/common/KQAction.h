#pragma once

namespace KQ {

class KQAction {
public:
  KQAction();
  virtual ~KQAction();
  virtual int execute() = 0;

  void setEventType(int type);
  int getEventType() const;

private:
  int eventType;
};

}  // namespace KQ
