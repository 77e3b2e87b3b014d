#pragma once

#include <memory>

#include "Application.h"
#include "FrameTrace.h"
#include "HeartbeatReporter.h"
#include "KQCANopen.h"
#include "KQEndPointManager.h"
#include "KQSocketcandServer.h"
#include "PanelOptions.h"
#include "StateReporter.h"
#include "TerminationSignals.h"

namespace panel {

/// One CANopen node with its application and its CAN port, and the loop that drives them on one thread.
/// The steps are called in the order in which they stand here; each throws PanelError when it cannot be done.
class Panel {
public:
  explicit Panel(const PanelOptions& wanted);

  /// Deletes the node, and with it closes its port.
  ~Panel();
  Panel(const Panel&) = delete;
  Panel& operator=(const Panel&) = delete;

  /// Prepares what the node will use: the application and the number of the CAN port.
  void prepare();

  /// Builds the node on the port and hands it over to the instance manager.
  void startNode();

  /// Drives the node until a termination signal arrives.
  void run();

  /// How long to wait for frames before the next cycle.
  /// @param status the node's protocol status word: milliseconds after which it wants a cycle
  /// @param longest in ms, at least 1
  /// @return at least 1, so that the loop never spins
  static int getWaitTime(int status, int longest);

private:
  void connect(KQ::KQCANopen& created);
  void initialise(KQ::KQCANopen& created);
  void bind(KQ::KQCANopen& created);
  void serveBus();
  void cycle();

  const PanelOptions options;
  TerminationSignals signals;
  KQ::KQEndPointManager endPoints;
  StateReporter stateReporter;
  HeartbeatReporter heartbeatReporter;
  std::unique_ptr<Application> application;
  std::unique_ptr<FrameTrace> trace;
  KQ::KQSocketcandServer server;
  KQ::KQCANopen* node = nullptr;  ///< the instance manager's
  bool running = true;
};

}  // namespace panel
