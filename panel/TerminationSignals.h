#pragma once

namespace panel {

/// What SIGINT and SIGTERM do. While the panel is being prepared they end it at once, with status 0, whatever it waits
/// for: a server that does not answer, a pipe that nobody opens. From hold() on they are something that the loop waits
/// for like for a frame, so that a running panel always ends between two cycles. One at a time, and no thread is to be
/// started before hold().
class TerminationSignals {
public:
  /// SIGPIPE is ignored from now on: a reader of the output or of the trace may go.
  TerminationSignals();
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

  /// Holds the signals back from now on. @return a descriptor that is readable once one has arrived
  /// @throws PanelError when the process has no descriptor left
  int hold();

private:
  int descriptor = -1;
};

}  // namespace panel
