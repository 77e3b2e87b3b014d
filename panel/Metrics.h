#pragma once

#include <string>
#include <vector>

#include "OpenMetricsText.h"

namespace KQ {
class KQDEI;
class KQEndPoint;
class KQSDOHandler;
class KQStoredVariable;
}  // namespace KQ

namespace monitor {
class NetworkStatistics;
}

namespace panel {

class NodeCounts;

/// What monitoring systems collect from a panel: the node with its port, the values of its application, and what is
/// known of the network while frames are observed. Made on any thread: it touches nothing of the node that belongs to
/// the protocol thread, and waits for nobody.
class Metrics {
public:
  static constexpr const char* CONTENT_TYPE = OpenMetricsText::CONTENT_TYPE;

  /// Whose metrics they are. All of it must outlive the metrics.
  struct Node {
    unsigned char nodeID;
    const KQ::KQEndPoint& port;
    const KQ::KQSDOHandler& sdo;
    const NodeCounts& counts;
    const KQ::KQDEI& store;
  };

  /// What is seen of the network; belongs to the calling thread.
  struct Observation {
    const monitor::NetworkStatistics& network;
    long long now;                    ///< microseconds of the clock of its frames
    bool isActive;                    ///< frames are observed at present
    unsigned long long missedFrames;  ///< that were not observed in time
  };

  /// Takes down which numbers the store has: those that are added later are not told. Any thread.
  explicit Metrics(const Node& described);

  /// The metrics at this moment, in the text form of OpenMetrics: to be answered as CONTENT_TYPE.
  std::string getText(const Observation& observation) const;

private:
  struct Variable {
    MetricLabels labels;
    bool isSigned;
    const KQ::KQStoredVariable* stored;
  };

  void findVariables();
  void addProcess(OpenMetricsText& text) const;
  void addNode(OpenMetricsText& text) const;
  void addHeartbeatConsumers(OpenMetricsText& text) const;
  void addPort(OpenMetricsText& text) const;
  void addVariables(OpenMetricsText& text) const;

  const Node node;
  const double startTime;
  std::vector<Variable> variables;
};

}  // namespace panel
