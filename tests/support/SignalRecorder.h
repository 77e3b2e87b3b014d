#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "KQSignalListener.h"

namespace test {

/// A listener that keeps every signal it is given, and then does what the test wants it to do.
class SignalRecorder : public KQ::KQSignalListener {
public:
  SignalRecorder() = default;
  explicit SignalRecorder(std::function<void()> whatToDo) : reaction(std::move(whatToDo)) {}

  int signalOccurred(KQ::KQSignal& signal) override {
    signals.push_back(signal);
    if (reaction) {
      reaction();
    }
    return result;
  }

  std::vector<KQ::KQSignal> signals;
  std::function<void()> reaction;
  int result = KQ::KQ_OK;
};

}  // namespace test
