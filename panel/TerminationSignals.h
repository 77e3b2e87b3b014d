#pragma once

namespace panel {

/// Turns SIGINT and SIGTERM into something that the loop waits for like for a frame, so that the panel always ends
/// between two cycles. To be constructed before any thread is started.
class TerminationSignals {
public:
  /// Holds the signals back from now on. SIGPIPE is ignored: a reader of the output or of the trace may go.
  /// @throws PanelError when the process has no descriptor left
  TerminationSignals();
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

  /// Readable once a signal arrived.
  int getDescriptor() const { return descriptor; }

private:
  const int descriptor;
};

}  // namespace panel
