#pragma once

namespace KQ {

class KQSignal;

/// Somebody who is told what happened.
class KQSignalListener {
public:
  virtual ~KQSignalListener() = default;

  /// Called synchronously on the thread of the one who signals, with none of the signalling
  /// facility's locks held: the listener may call back into it.
  /// @param signal  belongs to the caller and is gone after the return.
  /// @return 0 when handled, 11 when the signal is not for this listener, or an error code of the listener.
  virtual int signalOccurred(KQSignal& signal) = 0;

protected:
  /// There is nothing to copy.
  KQSignalListener() = default;
  KQSignalListener(const KQSignalListener&) = default;
  KQSignalListener& operator=(const KQSignalListener&) = default;
};

}  // namespace KQ
