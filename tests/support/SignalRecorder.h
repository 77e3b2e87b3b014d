#pragma once

#include <string>
#include <vector>

#include "KQSignal.h"
#include "KQSignalListener.h"

namespace test {

/// A listener that keeps every signal it is given.
class SignalRecorder : public KQ::KQSignalListener {
public:
  int signalOccurred(KQ::KQSignal& signal) override {
    signals.push_back(signal);
    return result;
  }

  std::vector<KQ::KQSignal> signals;
  int result = 0;
};

}  // namespace test
