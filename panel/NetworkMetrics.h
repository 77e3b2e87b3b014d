#pragma once

#include "OpenMetricsText.h"

namespace monitor {
class NetworkStatistics;
}

namespace panel {

/// Adds what is known of the network by its frames: load, nodes, SDO transfers, PDOs, SYNC and violations.
/// @param now microseconds of the frames' clock
void addNetworkMetrics(OpenMetricsText& text, const monitor::NetworkStatistics& network, long long now);

}  // namespace panel
