#pragma once

namespace KQ {

class KQSignal;

class KQSignalListener {
public:
  KQSignalListener();
  virtual ~KQSignalListener();
  virtual int signalOccurred(KQSignal& signal) = 0;
};

}  // namespace KQ
