#include "Metrics.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQEndPoint.h"
#include "KQErrorCodes.h"
#include "KQSDOHandler.h"
#include "KQStoredVariable.h"
#include "KQVariable.h"
#include "NetworkMetrics.h"
#include "NetworkStatistics.h"
#include "NodeCounts.h"

namespace panel {

namespace {

// By the names that monitoring systems know for every process.
constexpr MetricFamily START_TIME = {"process_start_time_seconds", MetricType::GAUGE, "seconds",
                                     "When the process began, in seconds since 1970."};
constexpr MetricFamily CPU_TIME = {"process_cpu_seconds", MetricType::COUNTER, "seconds",
                                   "Processor time that the process used."};
constexpr MetricFamily MEMORY = {"process_resident_memory_bytes", MetricType::GAUGE, "bytes",
                                 "Memory that the process has in use."};

constexpr MetricFamily PANEL = {"tavo_panel", MetricType::INFO, "", "Version of the program, node-ID and CAN port."};
constexpr MetricFamily PANEL_STATE = {"tavo_panel_state", MetricType::STATE_SET, "",
                                      "Communication state of the panel's own node."};
constexpr MetricFamily STATE_CHANGES = {"tavo_panel_state_changes", MetricType::COUNTER, "", "Changes of that state."};
constexpr MetricFamily SDO_REFUSED = {"tavo_panel_sdo_refused", MetricType::COUNTER, "",
                                      "SDO transfers with the panel that were ended for being too long."};
constexpr MetricFamily SDO_JOINED = {"tavo_panel_sdo_reads_joined", MetricType::COUNTER, "",
                                     "Reads of other nodes that found the same one waiting already."};
constexpr MetricFamily HEARTBEAT_TIMEOUTS = {"tavo_panel_heartbeat_timeouts", MetricType::COUNTER, "",
                                             "Heartbeats that the panel watches, and that did not come in time."};
constexpr MetricFamily HEARTBEAT_MISSING = {"tavo_panel_heartbeat_missing", MetricType::GAUGE, "",
                                            "1 while such a heartbeat is missing."};

constexpr MetricFamily PORT_UP = {"tavo_port_up", MetricType::GAUGE, "", "1 while the CAN port works."};
constexpr MetricFamily OBSERVED = {"tavo_observation_active", MetricType::GAUGE, "",
                                   "1 while all frames of the bus are observed, on which the following metrics rest."};
constexpr MetricFamily OBSERVATION_MISSED = {"tavo_observation_missed_frames", MetricType::COUNTER, "",
                                             "Frames that were not observed for want of time."};

constexpr MetricFamily VARIABLE = {"tavo_variable", MetricType::GAUGE, "",
                                   "Number in a variable of the application, by its object."};
constexpr MetricFamily VARIABLE_VALID = {"tavo_variable_valid", MetricType::GAUGE, "",
                                         "0 while the value of a variable is marked as invalid."};

struct PortCounter {
  MetricFamily family;
  unsigned int KQ::KQEndPointStatistics::*count;
};

using PortStatistics = KQ::KQEndPointStatistics;

constexpr PortCounter PORT_COUNTERS[] = {
    {{"tavo_port_frames_received", MetricType::COUNTER, "", "Frames that the node took from its port."},
     &PortStatistics::received},
    {{"tavo_port_frames_sent", MetricType::COUNTER, "", "Frames that the port took from the node."},
     &PortStatistics::sent},
    {{"tavo_port_frames_refused", MetricType::COUNTER, "", "Frames that the port did not take from the node."},
     &PortStatistics::refused},
    {{"tavo_port_frames_discarded", MetricType::COUNTER, "",
      "Frames taken from the node and thrown away, because the port went down before their turn."},
     &PortStatistics::discarded},
    {{"tavo_port_frames_unacknowledged", MetricType::COUNTER, "", "Frames sent while nobody else was on the bus."},
     &PortStatistics::unacknowledged},
    {{"tavo_port_frames_dropped", MetricType::COUNTER, "", "Frames that came in and are no CAN 2.0A data frames."},
     &PortStatistics::dropped},
    {{"tavo_port_overruns", MetricType::COUNTER, "", "Losses of received frames, because nobody took them in time."},
     &PortStatistics::overruns},
    {{"tavo_port_error_frames", MetricType::COUNTER, "", "CAN error frames."}, &PortStatistics::errorFrames},
    {{"tavo_port_error_passive", MetricType::COUNTER, "", "Times that the controller became error-passive."},
     &PortStatistics::errorPassive},
    {{"tavo_port_bus_off", MetricType::COUNTER, "", "Times that the controller went bus-off."},
     &PortStatistics::busOff},
    {{"tavo_port_disconnects", MetricType::COUNTER, "", "Times that the port went down."},
     &PortStatistics::disconnects},
    {{"tavo_port_reconnects", MetricType::COUNTER, "", "Times that it came back."}, &PortStatistics::reconnects}};

double getWallClock() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

double getProcessorTime() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

unsigned long long getResidentMemory() {
  std::ifstream file("/proc/self/statm");
  unsigned long long all = 0;
  unsigned long long resident = 0;
  file >> all >> resident;
  return resident * static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
}

unsigned long long toNumber(bool isSet) {
  return isSet ? 1 : 0;
}

std::string_view getStateLabel(int state) {
  switch (state) {
    case KQ::CANOPEN_STATE_PRE_OPERATIONAL:
      return "pre_operational";
    case KQ::CANOPEN_STATE_OPERATIONAL:
      return "operational";
    case KQ::CANOPEN_STATE_STOPPED:
      return "stopped";
    case KQ::CANOPEN_STATE_FATAL_ERROR:
      return "fatal_error";
    default:
      return "initialising";  // with the resets that lead there
  }
}

MetricLabels labelsOf(const KQ::KQVariable& variable) {
  char index[8];
  std::snprintf(index, sizeof index, "0x%04X", static_cast<unsigned int>(variable.getFirstAddress()));
  return MetricLabels()
      .add("object", index)
      .add("subindex", variable.getSecondAddress())
      .add("name", variable.getName());
}

}  // namespace

Metrics::Metrics(const Node& described) : node(described), startTime(getWallClock()) {
  findVariables();
}

std::string Metrics::getText(const Observation& observation) const {
  OpenMetricsText text;
  addProcess(text);
  addNode(text);
  addPort(text);
  addVariables(text);
  text.addFamily(OBSERVED, toNumber(observation.isActive));
  text.addFamily(OBSERVATION_MISSED, observation.missedFrames);
  addNetworkMetrics(text, observation.network, observation.now);
  return text.finish();
}

void Metrics::addProcess(OpenMetricsText& text) const {
  text.addFamily(START_TIME, startTime);
  text.addFamily(CPU_TIME, getProcessorTime());
  text.addFamily(MEMORY, getResidentMemory());
}

void Metrics::addNode(OpenMetricsText& text) const {
  text.begin(PANEL);
  text.add(MetricLabels().add("version", TAVO_VERSION).add("node", node.nodeID).add("port", node.port.getURI()), 1ULL);
  text.begin(PANEL_STATE);
  text.add(MetricLabels(), {"initialising", "pre_operational", "operational", "stopped", "fatal_error"},
           getStateLabel(node.counts.getState()));
  text.addFamily(STATE_CHANGES, static_cast<unsigned long long>(node.counts.getStateChanges()));
  text.addFamily(SDO_REFUSED, static_cast<unsigned long long>(node.sdo.getRefusedTransferCount()));
  text.addFamily(SDO_JOINED, static_cast<unsigned long long>(node.sdo.getJoinedReadCount()));
  addHeartbeatConsumers(text);
}

void Metrics::addHeartbeatConsumers(OpenMetricsText& text) const {
  const auto addForNodes = [this, &text](const MetricFamily& family, auto getValue) {
    text.begin(family);
    for (unsigned int watched = 1; watched <= NodeCounts::HIGHEST_NODE; ++watched) {
      if (node.counts.isHeartbeatWatched(watched)) {
        text.add(MetricLabels().add("node", watched), getValue(watched));
      }
    }
  };
  addForNodes(HEARTBEAT_TIMEOUTS,
              [this](unsigned int watched) -> unsigned long long { return node.counts.getHeartbeatTimeouts(watched); });
  addForNodes(HEARTBEAT_MISSING,
              [this](unsigned int watched) { return toNumber(node.counts.isHeartbeatMissing(watched)); });
}

void Metrics::addPort(OpenMetricsText& text) const {
  text.addFamily(PORT_UP, toNumber(node.port.isConnected()));
  const PortStatistics statistics = node.port.getStatistics();
  for (const PortCounter& counter : PORT_COUNTERS) {
    text.addFamily(counter.family, static_cast<unsigned long long>(statistics.*counter.count));
  }
}

// Texts are left out: each new one would be one more series that a monitoring system keeps for ever.
void Metrics::findVariables() {
  const auto found = node.store.getCopyOfVariableMap();
  if (!found) {
    return;
  }
  for (const auto& [key, variable] : *found) {
    if (variable.getStorageType() == KQ::STORAGE_TYPE_INTEGER) {
      variables.push_back({labelsOf(variable), variable.isSigned(),
                           node.store.findVariable(variable.getFirstAddress(), variable.getSecondAddress())});
    }
  }
}

void Metrics::addVariables(OpenMetricsText& text) const {
  text.begin(VARIABLE);
  for (const Variable& variable : variables) {
    int value = 0;
    variable.stored->getVariableValue(&value);
    text.add(variable.labels, variable.isSigned ? static_cast<double>(value) : static_cast<unsigned int>(value));
  }
  text.begin(VARIABLE_VALID);
  for (const Variable& variable : variables) {
    int value = 0;
    text.add(variable.labels, toNumber(variable.stored->getVariableValue(&value) == KQ::KQ_OK));
  }
}

}  // namespace panel
