// Covers: the metrics of the network that the panel sees.
//
// | subject                                                                           | functional | robustness |
// |-----------------------------------------------------------------------------------|------------|------------|
// | load, frames by service, nodes, heartbeats, SDO, PDOs, SYNC: each with its labels | x          |            |
// | a network of which nothing was seen                                               | x          |            |
// | what found no place in a table                                                    |            | x          |

#include "NetworkMetrics.h"

#include <gmock/gmock.h>

#include "FrameDecoder.h"
#include "Frames.h"
#include "NetworkStatistics.h"

namespace {

using testing::HasSubstr;

class NetworkMetrics : public testing::Test {
protected:
  void see(long long milliseconds, const std::string& frame, bool sent = false) {
    statistics.add(decoder.decode(milliseconds * 1000, test::frame(frame)), sent);
  }

  std::string getText(long long milliseconds) const {
    panel::OpenMetricsText text;
    panel::addNetworkMetrics(text, statistics, milliseconds * 1000);
    return text.finish();
  }

  monitor::FrameDecoder decoder;
  monitor::NetworkStatistics statistics{1000};
};

TEST_F(NetworkMetrics, HaveNoSeriesOfNodesAtFirst) {
  EXPECT_THAT(getText(0), testing::Not(HasSubstr("node=")));
}

TEST_F(NetworkMetrics, TellTheLoadOfTheLastWholeSecond) {
  see(1500, "2AA#55 55 55 55 55 55 55 55");
  const std::string text = getText(2000);
  EXPECT_THAT(text, HasSubstr("\ntavo_bus_load_ratio 0.111\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_bus_bits_total 111\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_bus_bit_rate 1000\n"));
}

TEST_F(NetworkMetrics, CountFramesByServiceAndDirection) {
  see(0, "080#", true);
  const std::string text = getText(1);
  EXPECT_THAT(text, HasSubstr("\ntavo_bus_frames_total{service=\"SYNC\",direction=\"sent\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_bus_frames_total{service=\"SYNC\",direction=\"received\"} 0\n"));
}

struct StateCase {
  const char* frame;
  const char* state;
};

class NodeStateMetric : public NetworkMetrics, public testing::WithParamInterface<StateCase> {};

TEST_P(NodeStateMetric, IsTheStateReportedLast) {
  see(0, GetParam().frame);
  EXPECT_THAT(getText(1),
              HasSubstr(std::string("\ntavo_node_state{node=\"5\",tavo_node_state=\"") + GetParam().state + "\"} 1\n"));
}

INSTANTIATE_TEST_SUITE_P(States, NodeStateMetric,
                         testing::Values(StateCase{"705#00", "initialising"}, StateCase{"705#04", "stopped"},
                                         StateCase{"705#05", "operational"}, StateCase{"705#7F", "pre_operational"},
                                         StateCase{"185#01", "unknown"}),
                         [](const auto& tested) { return std::string(tested.param.state); });

TEST_F(NetworkMetrics, CountHeartbeatsThatAreMissing) {
  for (const long long milliseconds : {0, 100, 200, 300}) {
    see(milliseconds, "705#05");
  }
  const std::string text = getText(800);
  EXPECT_THAT(text, HasSubstr("\ntavo_node_heartbeats_total{node=\"5\"} 4\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_node_heartbeats_missed_total{node=\"5\"} 4\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_node_heartbeat_period_seconds{node=\"5\"} 0.1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_node_silence_seconds{node=\"5\"} 0.5\n"));
}

TEST_F(NetworkMetrics, CountBootUpsAndEmergencies) {
  see(0, "705#00");
  see(1, "085#30 81 11 00 00 00 00 00");
  const std::string text = getText(2);
  EXPECT_THAT(text, HasSubstr("\ntavo_node_boot_ups_total{node=\"5\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_node_emergencies_total{node=\"5\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_node_error_register{node=\"5\"} 17\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_node_frames_total{node=\"5\"} 2\n"));
}

TEST_F(NetworkMetrics, CountTransfersByDirectionAndKind) {
  see(0, "605#40 18 10 01 00 00 00 00");
  see(3, "585#43 18 10 01 C7 03 00 00");
  const std::string text = getText(4);
  const std::string labels = "{node=\"5\",channel=\"1\",direction=\"upload\"";
  EXPECT_THAT(text, HasSubstr("\ntavo_sdo_transfers_total" + labels + ",kind=\"expedited\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_sdo_transfers_total" + labels + ",kind=\"segmented\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_sdo_bytes_total" + labels + "} 4\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_sdo_duration_seconds_bucket" + labels + ",le=\"0.002\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_sdo_duration_seconds_bucket" + labels + ",le=\"0.005\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_sdo_duration_seconds_sum" + labels + "} 0.003\n"));
}

TEST_F(NetworkMetrics, CountAbortsByCode) {
  see(0, "605#40 18 10 09 00 00 00 00");
  see(3, "585#80 18 10 09 11 00 09 06");
  EXPECT_THAT(getText(4), HasSubstr("\ntavo_sdo_aborts_total{node=\"5\",code=\"0x06090011\"} 1\n"));
}

TEST_F(NetworkMetrics, CountAbortsWithoutAPlaceUnderOther) {
  for (std::size_t i = 0; i <= monitor::NetworkStatistics::COUNTED_PAIRS; ++i) {
    char code[8];
    std::snprintf(code, sizeof code, "%02X %02X", static_cast<unsigned int>(i & 0xFF),
                  static_cast<unsigned int>(i >> 8));
    see(0, std::string("585#80 18 10 09 ") + code + " 00 06");
  }
  EXPECT_THAT(getText(1), HasSubstr("\ntavo_sdo_aborts_total{node=\"0\",code=\"other\"} 1\n"));
}

TEST_F(NetworkMetrics, CountTimeouts) {
  see(0, "605#40 18 10 01 00 00 00 00");
  statistics.advance(2000000);
  EXPECT_THAT(getText(2000), HasSubstr("\ntavo_sdo_timeouts_total{node=\"5\",channel=\"1\"} 1\n"));
}

TEST_F(NetworkMetrics, MeasurePDOs) {
  see(0, "285#01 02");
  see(10, "285#01 02");
  see(21, "285#01 02");
  const std::string text = getText(30);
  const std::string labels = "{node=\"5\",pdo=\"TPDO 2\",cob_id=\"0x285\"";
  EXPECT_THAT(text, HasSubstr("\ntavo_pdo_frames_total" + labels + "} 3\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_pdo_bytes_total" + labels + "} 6\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_pdo_period_seconds_count" + labels + "} 2\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_pdo_period_seconds_sum" + labels + "} 0.021\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_pdo_jitter_seconds_bucket" + labels + ",le=\"0.0005\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_pdo_jitter_seconds_bucket" + labels + ",le=\"0.001\"} 1\n"));
}

TEST_F(NetworkMetrics, NameAnRPDO) {
  see(0, "205#01 02");
  EXPECT_THAT(getText(1), HasSubstr("{node=\"5\",pdo=\"RPDO 1\",cob_id=\"0x205\"}"));
}

TEST_F(NetworkMetrics, MeasureSYNC) {
  see(0, "080#");
  see(10, "080#");
  see(22, "080#");
  const std::string text = getText(30);
  EXPECT_THAT(text, HasSubstr("\ntavo_sync_period_seconds_sum 0.022\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_sync_jitter_seconds_count 1\n"));
}

TEST_F(NetworkMetrics, CountViolationsWithoutAPlaceUnderOther) {
  constexpr unsigned int KINDS = 3;
  for (unsigned int node = 1; node <= 127; ++node) {
    char frame[40];
    std::snprintf(frame, sizeof frame, "%03X#42", 0x700 + node);  // no such state
    see(0, frame);
    std::snprintf(frame, sizeof frame, "%03X#05 05", 0x700 + node);  // too long
    see(0, frame);
    std::snprintf(frame, sizeof frame, "%03X#E0 00 20 00 00 00 00 00", 0x600 + node);  // no such command
    see(0, frame);
  }
  const std::size_t others = KINDS * 127 - monitor::NetworkStatistics::COUNTED_PAIRS;
  EXPECT_THAT(getText(1), HasSubstr("\ntavo_protocol_violations_total{node=\"0\",violation=\"other\"} " +
                                    std::to_string(others) + "\n"));
}

TEST_F(NetworkMetrics, CountViolations) {
  see(0, "605#E0 00 20 00 00 00 00 00");
  EXPECT_THAT(getText(1),
              testing::ContainsRegex("tavo_protocol_violations_total[{]node=\"5\",violation=\"[^\"]+\"[}] 1\n"));
}

}  // namespace
