#include "Panel.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

/// One line tells of the first; the others are a matter of a check.
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
  // The node first: it uses everything else.
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
  if (options.trace) {
    trace = std::make_unique<FrameTrace>(*options.trace, FrameTrace::getInterfaceName(options.can));
    created.getEndPoint()->setFrameObserver(trace.get());
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
  created.addStateListener(&stateReporter);
  created.addHeartbeatListener(&heartbeatReporter);
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

void Panel::run() {
  const int signalDescriptor = signals.hold();
  endPoints.addDescriptor(signalDescriptor, EPOLLIN, [this](unsigned int) { running = false; });
  while (running) {
    const unsigned int now = KQ::KQTick::getTickCount();
    application->update(now);
    cycle(now);
    if (trace) {
      trace->flush();
    }
    std::cout.flush();  // what was dropped while nobody read is told as soon as somebody does
    std::cerr.flush();
    // Frames are handed to the node in here, by its onEndPointReadable().
    endPoints.wait(getWaitTime(getTimeToNextWork(KQ::KQTick::getTickCount()), options.cycle));
  }
  endPoints.removeDescriptor(signalDescriptor);
}

void Panel::cycle(unsigned int now) {
  if (lastTick.hasPassed(now)) {
    sendHeartbeatOfLastTick();
  }
  const bool isBooting = node->getCANopenState() == KQ::CANOPEN_STATE_INIT;
  KQ::KQCANopenInstanceManager::instance()->updateAllData(now + CYCLE_BUDGET_MS);
  const bool hasBooted = isBooting && node->getCANopenState() == KQ::CANOPEN_STATE_PRE_OPERATIONAL;
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
  return std::min(node->getTimeToNextWork(now), application->getTimeToNextUpdate(now));
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
