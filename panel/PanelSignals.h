#pragma once

namespace panel {

/// What SIGINT, SIGTERM and SIGHUP do. While the panel is being prepared they end it at once, with status 0, whatever
/// it waits for: a server that does not answer, a pipe that nobody opens. From hold() on they are something that the
/// loop waits for like for a frame, so that a running panel does what they ask between two cycles. One at a time, and
/// no thread is to be started before hold().
class PanelSignals {
public:
  /// SIGPIPE is ignored from now on: a reader of the output or of the trace may go.
  PanelSignals();
  ~PanelSignals();
  PanelSignals(const PanelSignals&) = delete;
  PanelSignals& operator=(const PanelSignals&) = delete;

  /// Holds the signals back from now on. @return a descriptor that is readable while one waits to be taken
  /// @throws PanelError when the process has no descriptor left
  int hold();

  /// @return the number of a signal that has arrived, 0 when there is none (any more)
  int take() const;

private:
  int descriptor = -1;
};

}  // namespace panel
