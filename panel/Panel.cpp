#include "Panel.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>

#include "DemoApplication.h"
#include "EdsApplication.h"
#include "KQCANPortRegistry.h"
#include "KQCANopenInstanceManager.h"
#include "KQCANopenSignal.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQSignal.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"
#include "NodeDescription.h"
#include "PanelError.h"

namespace panel {

namespace {

// The number by which the node knows its CAN port; what is behind it is up to the command line.
constexpr unsigned int PORT = 0;

// The time that all nodes of the process together may use in one cycle.
constexpr unsigned int CYCLE_BUDGET_MS = 50;

// A turn of the loop that lasts longer may have been held up. With a flood, it takes less than ten.
constexpr unsigned int LONG_TURN_MS = 20;

// How long frames that wait at the port may then keep the node from its time-outs.
constexpr unsigned int CATCH_UP_MS = 50;

constexpr std::size_t BYTES_A_MIB = 1048576;

// The node describes itself in this file whenever it is initialised, and does not say when it could not.
constexpr const char* DESCRIPTION_FILE = "tavo_default.dcf";

void requireWritableWorkingDirectory() {
  const int descriptor = open(DESCRIPTION_FILE, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (descriptor < 0) {
    throw PanelError(std::string("cannot write ") + DESCRIPTION_FILE +
                     " in the working directory: " + std::strerror(errno));
  }
  close(descriptor);
}

void require(int result, const std::string& what) {
  if (result != KQ::KQ_OK) {
    throw PanelError(what + ": " + KQ::kqGetErrorString(result));
  }
}

// One line tells of the first; the others are a matter of a check.
void requireNoErrors(const device_description::Findings& findings) {
  const std::size_t errors = findings.count(device_description::Severity::ERROR);
  if (errors != 0) {
    const std::string more = errors == 1 ? "" : " (and " + std::to_string(errors - 1) + " more, --check lists them)";
    throw PanelError(findings.getFirst(device_description::Severity::ERROR) + more);
  }
}

std::string getBusName(const std::string& uri) {
  return uri.substr(uri.find(':') + 1);
}

}  // namespace

Panel::Panel(const PanelOptions& wanted) : options(wanted), stateReporter(std::cout), heartbeatReporter(std::cout) {}

Panel::~Panel() {
  if (http) {
    http->stop();  // its thread asks for the node
  }
  // The node before everything that it uses.
  KQ::KQCANopenInstanceManager::instance()->deleteAllInstances();
}

void Panel::prepare() {
  if (options.app) {
    readApplication();
  } else {
    application = std::make_unique<DemoApplication>(*KQ::KQDEI::instance(), std::cout, options.peer);
  }
  require(KQ::KQCANPortRegistry::instance()->bindPort(PORT, options.can), options.can);
}

void Panel::readApplication() {
  device_description::Findings findings;
  const std::optional<unsigned char> nodeID = options.isNodeIDGiven ? std::optional(options.nodeID) : std::nullopt;
  auto described = std::make_unique<EdsApplication>(*options.app, nodeID, findings, options.nodeID);
  requireNoErrors(findings);
  for (const device_description::Finding& finding : findings.getAll()) {
    if (finding.severity == device_description::Severity::WARNING) {
      std::cout << finding.text << '\n';
    }
  }
  options.nodeID = described->getDescription().nodeID;
  if (!options.isHeartbeatGiven) {
    options.heartbeat = described->getConfiguration().getHeartbeatTime().value_or(options.heartbeat);
  }
  descriptionMade = described->getDescription().fileInfo;
  application = std::move(described);
}

void Panel::startNode() {
  auto created = std::make_unique<KQ::KQCANopen>("tavo-panel");
  connect(*created);
  initialise(*created);
  bind(*created);
  if (options.http) {
    serveHttp(*created);
  }
  // From here on the manager drives the node, and deletes it in the end.
  node = created.release();
  KQ::KQCANopenInstanceManager::instance()->addCANopenInstance(node);
  if (options.exported) {
    exportDescription();
  }
}

void Panel::exportDescription() {
  const std::string& path = *options.exported;
  const std::string text = describeNode(*node, descriptionMade).write(path.substr(path.rfind('/') + 1));
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) {
    throw PanelError("--export: cannot write '" + path + "': " + std::strerror(errno));
  }
}

// create(): the node is given the variable store, who reports its changes, and its CAN port. Nothing is sent yet.
void Panel::connect(KQ::KQCANopen& created) {
  const int result = created.create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr);
  if (result != KQ::KQ_OK) {
    throw PanelError(created.getPortError());
  }
  require(created.subscribeToEndpointManager(&endPoints), options.can);
  if (options.listen) {
    serveBus();
  }
  observers = std::make_unique<FrameFanOut>(*created.getEndPoint());
  if (options.trace) {
    const TraceRotation rotation{std::size_t{options.traceSize} * BYTES_A_MIB, options.traceFiles};
    trace = std::make_unique<FrameTrace>(*options.trace, FrameTrace::getInterfaceName(options.can), rotation);
    observers->add(*trace);
  }
}

// What the standard objects depend on comes before init(), which builds them.
void Panel::initialise(KQ::KQCANopen& created) {
  created.setNodeID(options.nodeID);
  created.setOption(KQ::KQCANopen::OPTION_ALLOW_STATE_CHANGE, options.autostart);
  created.setHeartbeatProducerTime(options.heartbeat);
  created.setSDOTimeout(static_cast<unsigned int>(options.sdoTimeout));
  requireWritableWorkingDirectory();
  require(created.init(), "the node cannot be initialised");
}

// Listeners, communication and variables need the object dictionary, and are to be there before the first cycle.
void Panel::bind(KQ::KQCANopen& created) {
  created.setWorkListener(this);
  created.addStateListener(&counts);
  created.addHeartbeatListener(&counts);
  application->bind(created);
}

void Panel::serveBus() {
  std::string error;
  if (server.listen(options.listen->host, options.listen->port, getBusName(options.can), endPoints, error) !=
      KQ::KQ_OK) {
    throw PanelError(error);
  }
  std::cout << "serving " << options.can << " on port " << server.getPort() << std::endl;
}

// The address is taken here; nobody is answered before the loop runs.
void Panel::serveHttp(KQ::KQCANopen& created) {
  http = std::make_unique<HttpServer>(*options.http);
  traffic = std::make_unique<TrafficWatch>(*http, tasks, *observers, static_cast<unsigned int>(options.bitRate));
  page = std::make_unique<Page>(*http, tasks, *traffic, created, *KQ::KQDEI::instance());
  serveMetrics(created);
  std::cout << "showing the node on " << http->getURL() << std::endl;
}

// Who collects them comes again, within a few minutes: frames are watched until then.
void Panel::serveMetrics(KQ::KQCANopen& created) {
  constexpr unsigned int WATCH_MS = 300000;
  metrics = std::make_unique<Metrics>(
      Metrics::Node{options.nodeID, *created.getEndPoint(), *created.getSDOHandler(), counts, *KQ::KQDEI::instance()});
  http->serveText("/metrics", Metrics::CONTENT_TYPE, [this] {
    traffic->keep(WATCH_MS);
    traffic->drain();
    return metrics->getText({traffic->getStatistics(), traffic->getNow(), traffic->isWatching(), traffic->getLost()});
  });
}

void Panel::run() {
  const int signalDescriptor = signals.hold();
  if (http) {
    http->start();  // a thread, from which the signals are held back by now, too
  }
  endPoints.addDescriptor(signalDescriptor, EPOLLIN, [this](unsigned int) { heedSignals(); });
  lastTurn = KQ::KQTick::getTickCount();
  while (running) {
    const unsigned int now = wakeUp();
    application->update(now);
    tasks.serve();
    cycle(now);
    serviceManager.update(now);
    if (trace) {
      trace->flush();
    }
    std::cout.flush();  // what was dropped while nobody read is told as soon as somebody does
    std::cerr.flush();
    // Frames are handed to the node in here, by its onEndPointReadable().
    endPoints.wait(getWaitTime(getTimeToNextWork(KQ::KQTick::getTickCount()), options.cycle));
  }
  serviceManager.stopping();
  endPoints.removeDescriptor(signalDescriptor);
}

// SIGHUP is for the trace, which somebody has moved away. Without one it ends the panel as the others do: its terminal
// is gone.
void Panel::heedSignals() {
  for (int signal = signals.take(); signal != 0; signal = signals.take()) {
    if (signal == SIGHUP && trace) {
      trace->reopen();
    } else {
      running = false;
    }
  }
}

// When the program was held up, frames that came in time wait at its port: they count before the time-outs that are
// over by now. A turn may last long because it slept, and then there is nothing to read; a flood makes for short ones.
// A bus that never ends sending has to let the node go on.
unsigned int Panel::wakeUp() {
  unsigned int now = KQ::KQTick::getTickCount();
  if (now - lastTurn > LONG_TURN_MS && node->getTimeToNextWork(now) == 0) {
    const unsigned int begin = now;
    while (endPoints.wait(0) > 0 && now - begin < CATCH_UP_MS) {
      now = KQ::KQTick::getTickCount();
    }
  }
  lastTurn = now;
  return now;
}

void Panel::cycle(unsigned int now) {
  if (lastTick.hasPassed(now)) {
    sendHeartbeatOfLastTick();
  }
  const bool isBooting = node->getCANopenState() == KQ::CANOPEN_STATE_INIT;
  KQ::KQCANopenInstanceManager::instance()->updateAllData(now + CYCLE_BUDGET_MS);
  const bool hasBooted = isBooting && node->getCANopenState() == KQ::CANOPEN_STATE_PRE_OPERATIONAL;
  if (hasBooted) {
    serviceManager.ready();
  }
  if (options.autostart && hasBooted) {
    node->setCANopenState(KQ::CANOPEN_STATE_OPERATIONAL);
  }
}

void Panel::sendHeartbeatOfLastTick() {
  const int state = node->getCANopenState();
  if (state != KQ::CANOPEN_STATE_INIT) {  // which would send a boot-up
    const LastTick::Hold hold;
    node->getNMTHandler()->sendHeartbeatMessage(state);
  }
}

unsigned int Panel::getTimeToNextWork(unsigned int now) const {
  return std::min(
      {node->getTimeToNextWork(now), application->getTimeToNextUpdate(now), serviceManager.getTimeToNextUpdate(now)});
}

int Panel::getWaitTime(unsigned int nextWork, int longest) {
  return static_cast<int>(std::clamp(nextWork, 1U, static_cast<unsigned int>(longest)));
}

// What another thread has queued ends the sleep; what this one has queued, the loop comes to by itself.
int Panel::signalOccurred(KQ::KQSignal& signal) {
  if (signal.getCode() != KQ::SIGNAL_WORK_QUEUED) {
    return KQ::KQ_NOT_HANDLED;
  }
  if (std::this_thread::get_id() != protocolThread) {
    endPoints.wake();
  }
  return KQ::KQ_OK;
}

}  // namespace panel
