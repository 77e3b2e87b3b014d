#include "NetworkMetrics.h"

#include <cstdio>
#include <string>

#include "NetworkStatistics.h"

namespace panel {

namespace {

using monitor::NetworkStatistics;
using monitor::NodeStatistics;
using monitor::PDOStatistics;
using monitor::SDOChannelStatistics;
using monitor::Service;

constexpr double MICROSECONDS_PER_SECOND = 1000000;

constexpr MetricFamily BUS_BIT_RATE = {"tavo_bus_bit_rate", MetricType::GAUGE, "",
                                       "Bit rate in bit/s that the load of the bus is related to."};
constexpr MetricFamily BUS_LOAD = {"tavo_bus_load_ratio", MetricType::GAUGE, "ratio",
                                   "Share of the last whole second that frames took on the wire."};
constexpr MetricFamily BUS_BITS = {"tavo_bus_bits", MetricType::COUNTER, "bits",
                                   "Bits on the wire, with exactly the stuff bits of each frame."};
constexpr MetricFamily BUS_FRAMES = {"tavo_bus_frames", MetricType::COUNTER, "",
                                     "Frames seen, by service; sent are those of the panel itself."};
constexpr MetricFamily VIOLATIONS = {"tavo_protocol_violations", MetricType::COUNTER, "",
                                     "Frames that break a rule of the protocol; node 0 is none in particular."};

constexpr MetricFamily NODE_STATE = {"tavo_node_state", MetricType::STATE_SET, "",
                                     "NMT state that a node reported last."};
constexpr MetricFamily NODE_FRAMES = {"tavo_node_frames", MetricType::COUNTER, "", "Frames that a node sent."};
constexpr MetricFamily NODE_SILENCE = {"tavo_node_silence_seconds", MetricType::GAUGE, "seconds",
                                       "Time since the last frame of a node."};
constexpr MetricFamily NODE_BOOT_UPS = {"tavo_node_boot_ups", MetricType::COUNTER, "", "Boot-up messages of a node."};
constexpr MetricFamily NODE_HEARTBEATS = {"tavo_node_heartbeats", MetricType::COUNTER, "", "Heartbeats of a node."};
constexpr MetricFamily NODE_HEARTBEATS_MISSED = {
    "tavo_node_heartbeats_missed", MetricType::COUNTER, "",
    "Heartbeats of a node that did not come at its usual period, up to now."};
constexpr MetricFamily NODE_HEARTBEAT_PERIOD = {"tavo_node_heartbeat_period_seconds", MetricType::GAUGE, "seconds",
                                                "Usual period of a node's heartbeat, the middle one of the last five."};
constexpr MetricFamily NODE_EMERGENCIES = {"tavo_node_emergencies", MetricType::COUNTER, "",
                                           "EMCY messages of a node that report an error."};
constexpr MetricFamily NODE_ERROR_REGISTER = {"tavo_node_error_register", MetricType::GAUGE, "",
                                              "Error register in the last EMCY message of a node."};

constexpr MetricFamily SDO_TRANSFERS = {"tavo_sdo_transfers", MetricType::COUNTER, "",
                                        "SDO transfers that were completed, by server."};
constexpr MetricFamily SDO_BYTES = {"tavo_sdo_bytes", MetricType::COUNTER, "bytes",
                                    "Bytes of the objects in completed SDO transfers."};
constexpr MetricFamily SDO_DURATION = {"tavo_sdo_duration_seconds", MetricType::HISTOGRAM, "seconds",
                                       "Time from the first to the last frame of completed SDO transfers."};
constexpr MetricFamily SDO_ABORTS = {"tavo_sdo_aborts", MetricType::COUNTER, "",
                                     "SDO aborts by server and code; code other is all for which there was no place."};
constexpr MetricFamily SDO_TIMEOUTS = {"tavo_sdo_timeouts", MetricType::COUNTER, "",
                                       "SDO requests that a server did not answer in time."};
constexpr MetricFamily SDO_LATE = {"tavo_sdo_late_responses", MetricType::COUNTER, "",
                                   "SDO responses that came after the time-out."};
constexpr MetricFamily SDO_ABANDONED = {"tavo_sdo_abandoned", MetricType::COUNTER, "",
                                        "SDO transfers that their client left for another one."};

constexpr MetricFamily PDO_FRAMES = {"tavo_pdo_frames", MetricType::COUNTER, "", "Frames of a PDO."};
constexpr MetricFamily PDO_BYTES = {"tavo_pdo_bytes", MetricType::COUNTER, "bytes", "Data bytes of a PDO."};
constexpr MetricFamily PDO_PERIOD = {"tavo_pdo_period_seconds", MetricType::SUMMARY, "seconds",
                                     "Time from one frame of a PDO to the next."};
constexpr MetricFamily PDO_JITTER = {"tavo_pdo_jitter_seconds", MetricType::HISTOGRAM, "seconds",
                                     "Difference between two successive periods of a PDO."};
constexpr MetricFamily SYNC_PERIOD = {"tavo_sync_period_seconds", MetricType::SUMMARY, "seconds",
                                      "Time from one SYNC to the next."};
constexpr MetricFamily SYNC_JITTER = {"tavo_sync_jitter_seconds", MetricType::HISTOGRAM, "seconds",
                                      "Difference between two successive periods of SYNC."};

std::string hexadecimal(unsigned int number, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, number);
  return text;
}

std::string_view getStateLabel(unsigned char state) {
  switch (state) {
    case 0:
      return "initialising";
    case 4:
      return "stopped";
    case 5:
      return "operational";
    case 127:
      return "pre_operational";
    default:
      return "unknown";
  }
}

MetricLabels labelsOf(unsigned int node) {
  return MetricLabels().add("node", node);
}

MetricLabels labelsOf(const SDOChannelStatistics& channel) {
  return labelsOf(channel.node).add("channel", channel.channel);
}

MetricLabels labelsOf(unsigned int identifier, const PDOStatistics& pdo) {
  const char* const kind = pdo.service == Service::TPDO ? "TPDO " : "RPDO ";
  return labelsOf(pdo.node).add("pdo", kind + std::to_string(pdo.number)).add("cob_id", hexadecimal(identifier, 3));
}

// One family of the nodes, channels or PDOs after the other: a value is what getValue() makes of each.
class NetworkText {
public:
  NetworkText(OpenMetricsText& output, const NetworkStatistics& statistics) : text(output), network(statistics) {}

  template <typename GetValue>
  void addForNodes(const MetricFamily& family, GetValue getValue) {
    text.begin(family);
    network.forEachNode(
        [&](unsigned int node, const NodeStatistics& seen) { text.add(labelsOf(node), getValue(seen)); });
  }

  template <typename GetValue>
  void addForChannels(const MetricFamily& family, GetValue getValue) {
    text.begin(family);
    network.forEachSDOChannel(
        [&](const SDOChannelStatistics& channel) { text.add(labelsOf(channel), getValue(channel)); });
  }

  // @param addValue takes the labels of a channel with a direction, and what is known of that direction
  template <typename AddValue>
  void addForDirections(const MetricFamily& family, AddValue addValue) {
    text.begin(family);
    network.forEachSDOChannel([&](const SDOChannelStatistics& channel) {
      addValue(labelsOf(channel).add("direction", "upload"), channel.uploads);
      addValue(labelsOf(channel).add("direction", "download"), channel.downloads);
    });
  }

  template <typename GetValue>
  void addForPDOs(const MetricFamily& family, GetValue getValue) {
    text.begin(family);
    network.forEachPDO(
        [&](unsigned int identifier, const PDOStatistics& pdo) { text.add(labelsOf(identifier, pdo), getValue(pdo)); });
  }

  void addBus(long long now);
  void addFrames();
  void addViolations();
  void addNodes(long long now);
  void addHeartbeats(long long now);
  void addStates();
  void addTransfers();
  void addFailures();
  void addAborts();
  void addPDOs();

private:
  OpenMetricsText& text;
  const NetworkStatistics& network;
};

void NetworkText::addBus(long long now) {
  text.addFamily(BUS_BIT_RATE, static_cast<unsigned long long>(network.getLoad().getBitRate()));
  text.addFamily(BUS_LOAD, network.getLoad().getShare(now));
  text.addFamily(BUS_BITS, network.getLoad().getBits());
  addFrames();
  addViolations();
  text.addFamily(SYNC_PERIOD, network.getSync().getPeriods());
  text.addFamily(SYNC_JITTER, network.getSync().getJitter());
}

void NetworkText::addFrames() {
  text.begin(BUS_FRAMES);
  for (unsigned int i = 0; i < monitor::SERVICES; ++i) {
    const auto service = static_cast<Service>(i);
    const MetricLabels labels = MetricLabels().add("service", getName(service));
    text.add(MetricLabels(labels).add("direction", "received"), network.getFrames(service, false));
    text.add(MetricLabels(labels).add("direction", "sent"), network.getFrames(service, true));
  }
}

void NetworkText::addViolations() {
  text.begin(VIOLATIONS);
  for (const monitor::ViolationCount& violation : network.getViolations()) {
    text.add(labelsOf(violation.node).add("violation", violation.text), violation.count);
  }
  if (network.getOtherViolations() > 0) {
    text.add(labelsOf(0).add("violation", "other"), network.getOtherViolations());
  }
}

void NetworkText::addNodes(long long now) {
  addStates();
  addForNodes(NODE_FRAMES, [](const NodeStatistics& node) { return node.frames; });
  addForNodes(NODE_SILENCE, [now](const NodeStatistics& node) {
    return static_cast<double>(now - node.last) / MICROSECONDS_PER_SECOND;
  });
  addForNodes(NODE_BOOT_UPS, [](const NodeStatistics& node) { return node.bootUps; });
  addHeartbeats(now);
  addForNodes(NODE_EMERGENCIES, [](const NodeStatistics& node) { return node.emergencies; });
  addForNodes(NODE_ERROR_REGISTER, [](const NodeStatistics& node) -> unsigned long long { return node.errorRegister; });
}

void NetworkText::addHeartbeats(long long now) {
  addForNodes(NODE_HEARTBEATS, [](const NodeStatistics& node) { return node.heartbeats.getSeries().getFrames(); });
  addForNodes(NODE_HEARTBEATS_MISSED, [now](const NodeStatistics& node) { return node.heartbeats.getMissed(now); });
  addForNodes(NODE_HEARTBEAT_PERIOD, [](const NodeStatistics& node) {
    return static_cast<double>(node.heartbeats.getExpectedPeriod()) / MICROSECONDS_PER_SECOND;
  });
}

void NetworkText::addStates() {
  text.begin(NODE_STATE);
  network.forEachNode([this](unsigned int node, const NodeStatistics& seen) {
    text.add(labelsOf(node), {"initialising", "pre_operational", "operational", "stopped", "unknown"},
             getStateLabel(seen.state));
  });
}

void NetworkText::addTransfers() {
  addForDirections(SDO_TRANSFERS, [this](const MetricLabels& labels, const monitor::SDODirectionStatistics& direction) {
    for (std::size_t i = 0; i < monitor::SDO_TRANSFER_KINDS; ++i) {
      const auto kind = static_cast<monitor::SDOTransferKind>(i);
      text.add(MetricLabels(labels).add("kind", getName(kind)), direction.completed[i]);
    }
  });
  addForDirections(SDO_BYTES, [this](const MetricLabels& labels, const monitor::SDODirectionStatistics& direction) {
    text.add(labels, direction.bytes);
  });
  addForDirections(SDO_DURATION, [this](const MetricLabels& labels, const monitor::SDODirectionStatistics& direction) {
    text.add(labels, direction.durations);
  });
}

void NetworkText::addFailures() {
  addAborts();
  addForChannels(SDO_TIMEOUTS, [](const SDOChannelStatistics& channel) { return channel.unanswered; });
  addForChannels(SDO_LATE, [](const SDOChannelStatistics& channel) { return channel.lateResponses; });
  addForChannels(SDO_ABANDONED, [](const SDOChannelStatistics& channel) { return channel.abandoned; });
}

void NetworkText::addAborts() {
  text.begin(SDO_ABORTS);
  for (const monitor::AbortCount& abort : network.getAborts()) {
    text.add(labelsOf(abort.node).add("code", hexadecimal(abort.code, 8)), abort.count);
  }
  if (network.getOtherAborts() > 0) {
    text.add(labelsOf(0).add("code", "other"), network.getOtherAborts());
  }
}

void NetworkText::addPDOs() {
  addForPDOs(PDO_FRAMES, [](const PDOStatistics& pdo) { return pdo.series.getFrames(); });
  addForPDOs(PDO_BYTES, [](const PDOStatistics& pdo) { return pdo.bytes; });
  addForPDOs(PDO_PERIOD, [](const PDOStatistics& pdo) { return pdo.series.getPeriods(); });
  addForPDOs(PDO_JITTER, [](const PDOStatistics& pdo) { return pdo.series.getJitter(); });
}

}  // namespace

void addNetworkMetrics(OpenMetricsText& text, const NetworkStatistics& network, long long now) {
  NetworkText networkText(text, network);
  networkText.addBus(now);
  networkText.addNodes(now);
  networkText.addTransfers();
  networkText.addFailures();
  networkText.addPDOs();
}

}  // namespace panel
