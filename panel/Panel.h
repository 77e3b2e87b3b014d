#pragma once

#include <memory>
#include <thread>

#include "Application.h"
#include "DeviceDescription.h"
#include "FrameFanOut.h"
#include "FrameTrace.h"
#include "HeartbeatReporter.h"
#include "HttpServer.h"
#include "KQCANopen.h"
#include "KQEndPointManager.h"
#include "KQSignalListener.h"
#include "KQSocketcandServer.h"
#include "LastTick.h"
#include "LoopTasks.h"
#include "Metrics.h"
#include "NodeCounts.h"
#include "Page.h"
#include "PanelOptions.h"
#include "PanelSignals.h"
#include "ServiceManager.h"
#include "StateReporter.h"
#include "TrafficWatch.h"

namespace panel {

/// One CANopen node with its application and its CAN port, and the loop that drives them on one thread.
/// The steps are called in the order in which they stand here; each throws PanelError when it cannot be done.
class Panel : private KQ::KQSignalListener {
public:
  explicit Panel(const PanelOptions& wanted);

  /// Deletes the node, and with it closes its port.
  ~Panel() override;
  Panel(const Panel&) = delete;
  Panel& operator=(const Panel&) = delete;

  /// Prepares what the node will use: the application and the number of the CAN port.
  void prepare();

  /// Builds the node on the port and hands it over to the instance manager.
  void startNode();

  /// Drives the node until a signal asks it to end.
  void run();

  /// How long to wait for frames before the next cycle.
  /// @param nextWork ms until somebody has something to do
  /// @param longest in ms, at least 1
  /// @return at least 1, so that the loop never spins
  static int getWaitTime(unsigned int nextWork, int longest);

private:
  void readApplication();
  void connect(KQ::KQCANopen& created);
  void initialise(KQ::KQCANopen& created);
  void bind(KQ::KQCANopen& created);
  void serveBus();
  void serveHttp(KQ::KQCANopen& created);
  void serveMetrics(KQ::KQCANopen& created);
  unsigned int wakeUp();
  void exportDescription();
  void cycle(unsigned int now);
  void heedSignals();
  unsigned int getTimeToNextWork(unsigned int now) const;
  void sendHeartbeatOfLastTick();
  int signalOccurred(KQ::KQSignal& signal) override;

  PanelOptions options;  ///< and what the application's description says where the command line says nothing
  PanelSignals signals;
  ServiceManager serviceManager;
  KQ::KQEndPointManager endPoints;
  StateReporter stateReporter;
  HeartbeatReporter heartbeatReporter;
  NodeCounts counts{&stateReporter, &heartbeatReporter};
  std::unique_ptr<Application> application;
  device_description::FileInfo descriptionMade;  ///< when the application was described; empty without a description
  std::unique_ptr<FrameTrace> trace;
  std::unique_ptr<FrameFanOut> observers;
  KQ::KQSocketcandServer server;
  LoopTasks tasks{[this] { endPoints.wake(); }};
  std::unique_ptr<HttpServer> http;
  std::unique_ptr<TrafficWatch> traffic;
  std::unique_ptr<Page> page;
  std::unique_ptr<Metrics> metrics;
  KQ::KQCANopen* node = nullptr;  ///< the instance manager's
  const std::thread::id protocolThread = std::this_thread::get_id();
  LastTick lastTick;
  unsigned int lastTurn = 0;  ///< tick at which the loop's last turn began
  bool running = true;
};

}  // namespace panel
