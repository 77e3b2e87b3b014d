#pragma once

#include <iosfwd>

#include "KQSignalListener.h"

namespace panel {

/// Prints each change of a node's communication state: "node 5: PRE-OPERATIONAL".
class StateReporter : public KQ::KQSignalListener {
public:
  /// @param stream must outlive the reporter
  explicit StateReporter(std::ostream& stream) : output(stream) {}

  /// Takes the stack's state signals (type 6, code 1700; node-ID, state). @return 0; 11 for any other signal
  int signalOccurred(KQ::KQSignal& signal) override;

  /// The CiA 301 name of a KQCANopenState; "UNKNOWN STATE" for a number that is none.
  static const char* getStateName(unsigned int state);

private:
  std::ostream& output;
};

}  // namespace panel
