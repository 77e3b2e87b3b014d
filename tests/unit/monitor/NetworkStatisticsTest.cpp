// Covers: what is known of a network from its frames.
//
// | subject                                          | functional                                    | robustness |
// |--------------------------------------------------|-----------------------------------------------|------------|
// | nodes                                            | what makes one heard, states, boot-ups, EMCY, |            |
// |                                                  | gaps of heartbeats                            |            |
// | SDO transfers                                    | each kind, bytes, durations; aborts by code   |            |
// | SDO requests that nobody answers                 | by time, by the next one, late, abandoned     |            |
// | PDOs and SYNC                                    | counts and periods                            |            |
// | frames by service and direction, load of the bus | x                                             |            |
// | violations, clocks that go back, tables and      |                                               | x          |
// | lists that are full                              |                                               |            |

#include "NetworkStatistics.h"

#include <gmock/gmock.h>

#include <string>

#include "FrameDecoder.h"
#include "Frames.h"

namespace {

using monitor::NetworkStatistics;
using monitor::SDOTransferEnd;
using monitor::SDOTransferKind;
using monitor::Service;

class NetworkStatisticsTest : public testing::Test {
protected:
  // A frame at a time in milliseconds: the next one, when none is given.
  void see(long long milliseconds, const std::string& text, bool sent = false) {
    now = milliseconds;
    statistics.add(decoder.decode(milliseconds * 1000, test::frame(text)), sent);
  }
  void see(const std::string& text) { see(now + 1, text); }

  void uploadExpedited() {
    see("605#40 18 10 01 00 00 00 00");
    see("585#43 18 10 01 C7 03 00 00");
  }
  void refuseUpload(const std::string& code) {
    see("605#40 18 10 09 00 00 00 00");
    see("585#80 18 10 09 " + code);
  }

  monitor::FrameDecoder decoder;
  NetworkStatistics statistics{250000, 500000};
  long long now = 0;
};

// ---- nodes

struct Sign {
  const char* name;
  const char* frame;
  unsigned int node;
};

class NodeHeardBy : public NetworkStatisticsTest, public testing::WithParamInterface<Sign> {};

TEST_P(NodeHeardBy, ItsOwnFrame) {
  see(7, GetParam().frame);
  ASSERT_NE(nullptr, statistics.getNode(GetParam().node));
  EXPECT_EQ(1U, statistics.getNode(GetParam().node)->frames);
  EXPECT_EQ(7000, statistics.getNode(GetParam().node)->first);
}

INSTANTIATE_TEST_SUITE_P(Services, NodeHeardBy,
                         testing::Values(Sign{"BootUp", "705#00", 5}, Sign{"Heartbeat", "77F#05", 127},
                                         Sign{"SDOResponse", "581#60 00 20 01 00 00 00 00", 1},
                                         Sign{"EMCY", "085#30 81 11 00 00 00 00 00", 5}, Sign{"TPDO1", "185#01", 5},
                                         Sign{"TPDO4", "4FF#01", 127}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(NetworkStatisticsTest, DoesNotTakeARequestForASignOfTheServer) {
  see("605#40 18 10 01 00 00 00 00");
  see("205#01 02");
  see("000#01 05");
  EXPECT_EQ(nullptr, statistics.getNode(5));
}

TEST_F(NetworkStatisticsTest, KnowsTheStatesOfANodeInTheirOrder) {
  see(1, "705#00");
  see(10, "705#7F");
  see(20, "705#7F");
  see(30, "705#05");
  const monitor::NodeStatistics& node = *statistics.getNode(5);
  EXPECT_EQ(5, node.state);
  EXPECT_EQ(1U, node.bootUps);
  ASSERT_EQ(3U, node.states.size());
  EXPECT_EQ(0, node.states[0].state);
  EXPECT_EQ(127, node.states[1].state);
  EXPECT_EQ(10000, node.states[1].microseconds);
  EXPECT_EQ(5, node.states[2].state);
}

TEST_F(NetworkStatisticsTest, CountsEveryBootUp) {
  see("705#00");
  see("705#00");
  EXPECT_EQ(2U, statistics.getNode(5)->bootUps);
  EXPECT_EQ(2U, statistics.getNode(5)->states.size());
}

TEST_F(NetworkStatisticsTest, DoesNotKnowTheStateOfANodeThatOnlySendsPDOs) {
  see("185#01");
  EXPECT_EQ(monitor::NodeStatistics::UNKNOWN_STATE, statistics.getNode(5)->state);
}

TEST_F(NetworkStatisticsTest, ListsTheGapsInHeartbeats) {
  for (const long long milliseconds : {0, 100, 200, 300}) {
    see(milliseconds, "705#05");
  }
  see(1300, "705#00");
  ASSERT_EQ(1U, statistics.getHeartbeatGaps().size());
  EXPECT_EQ(5, statistics.getHeartbeatGaps()[0].node);
  EXPECT_EQ(300000, statistics.getHeartbeatGaps()[0].begin);
  EXPECT_EQ(1000000, statistics.getHeartbeatGaps()[0].duration);
  EXPECT_EQ(9U, statistics.getNode(5)->heartbeats.getMissed(1300000));
}

TEST_F(NetworkStatisticsTest, KeepsEmergenciesApartFromTheirEnd) {
  see("085#30 81 11 00 00 00 00 00");
  see("085#20 82 11 00 00 00 00 00");
  see("085#00 00 01 00 00 00 00 00");
  const monitor::NodeStatistics& node = *statistics.getNode(5);
  EXPECT_EQ(2U, node.emergencies);
  EXPECT_EQ(1U, node.emergenciesResolved);
  EXPECT_EQ(0, node.emergencyCode);
  EXPECT_EQ(1, node.errorRegister);
  EXPECT_EQ(0x8220, statistics.getEmergencies()[1].code);
}

TEST_F(NetworkStatisticsTest, ListsTheNMTCommands) {
  see(3, "000#01 05");
  see(4, "000#82 00");
  ASSERT_EQ(2U, statistics.getCommands().size());
  EXPECT_EQ(1, statistics.getCommands()[0].command);
  EXPECT_EQ(5, statistics.getCommands()[0].node);
  EXPECT_EQ(4000, statistics.getCommands()[1].microseconds);
}

// ---- SDO

TEST_F(NetworkStatisticsTest, CountsAnExpeditedUpload) {
  see(100, "605#40 18 10 01 00 00 00 00");
  see(103, "585#4B 18 10 01 C7 03 00 00");
  const monitor::SDOChannelStatistics& channel = *statistics.getSDOChannel(5);
  EXPECT_EQ(1U, channel.uploads.completed[0]);
  EXPECT_EQ(2U, channel.uploads.bytes);
  EXPECT_EQ(3000, channel.uploads.durations.getSum());
  EXPECT_EQ(0U, channel.downloads.getCompleted());
}

TEST_F(NetworkStatisticsTest, CountsASegmentedDownload) {
  see(100, "605#21 01 20 00 0A 00 00 00");
  see(101, "585#60 01 20 00 00 00 00 00");
  see(102, "605#00 41 42 43 44 45 46 47");
  see(103, "585#20 00 00 00 00 00 00 00");
  see(104, "605#19 48 49 4A 00 00 00 00");
  see(110, "585#30 00 00 00 00 00 00 00");
  const monitor::SDOChannelStatistics& channel = *statistics.getSDOChannel(5);
  EXPECT_EQ(1U, channel.downloads.completed[static_cast<std::size_t>(SDOTransferKind::SEGMENTED)]);
  EXPECT_EQ(10U, channel.downloads.bytes);
  EXPECT_EQ(10000, channel.downloads.durations.getLongest());
}

TEST_F(NetworkStatisticsTest, CountsABlockDownload) {
  see("605#C2 01 20 00 0A 00 00 00");
  see("585#A0 01 20 00 7F 00 00 00");
  see("605#01 41 42 43 44 45 46 47");
  see("605#82 48 49 4A 00 00 00 00");
  see("585#A2 02 7F 00 00 00 00 00");
  see("605#D1 00 00 00 00 00 00 00");
  see("585#A1 00 00 00 00 00 00 00");
  const monitor::SDOChannelStatistics& channel = *statistics.getSDOChannel(5);
  EXPECT_EQ(1U, channel.downloads.completed[static_cast<std::size_t>(SDOTransferKind::BLOCK)]);
  EXPECT_EQ(10U, channel.downloads.bytes);
}

TEST_F(NetworkStatisticsTest, ListsATransferWithItsObject) {
  see(100, "605#40 18 10 01 00 00 00 00");
  see(103, "585#43 18 10 01 C7 03 00 00");
  ASSERT_EQ(1U, statistics.getTransfers().size());
  const monitor::SDOTransfer& transfer = statistics.getTransfers()[0];
  EXPECT_EQ(100000, transfer.begin);
  EXPECT_EQ(3000, transfer.duration);
  EXPECT_EQ(5, transfer.node);
  EXPECT_EQ(0x1018, transfer.index);
  EXPECT_EQ(1, transfer.subIndex);
  EXPECT_TRUE(transfer.isUpload);
  EXPECT_EQ(SDOTransferEnd::COMPLETED, transfer.end);
  EXPECT_TRUE(statistics.getFailedTransfers().empty());
}

TEST_F(NetworkStatisticsTest, CountsAbortsByServerAndCode) {
  refuseUpload("11 00 09 06");
  refuseUpload("11 00 09 06");
  refuseUpload("00 00 02 06");
  see("606#40 18 10 09 00 00 00 00");
  see("586#80 18 10 09 11 00 09 06");
  const auto isCount = [](unsigned int node, unsigned int code, unsigned int count) {
    return testing::AllOf(testing::Field(&monitor::AbortCount::node, node),
                          testing::Field(&monitor::AbortCount::code, code),
                          testing::Field(&monitor::AbortCount::count, count));
  };
  EXPECT_THAT(statistics.getAborts(),
              testing::ElementsAre(isCount(5, 0x06090011, 2), isCount(5, 0x06020000, 1), isCount(6, 0x06090011, 1)));
  EXPECT_EQ(3U, statistics.getSDOChannel(5)->aborts);
}

TEST_F(NetworkStatisticsTest, ListsAnAbortedTransferAmongTheFailedOnes) {
  refuseUpload("11 00 09 06");
  ASSERT_EQ(1U, statistics.getFailedTransfers().size());
  EXPECT_EQ(SDOTransferEnd::ABORTED, statistics.getFailedTransfers()[0].end);
  EXPECT_EQ(0x06090011U, statistics.getFailedTransfers()[0].abortCode);
  EXPECT_TRUE(statistics.getFailedTransfers()[0].isAbortedByServer);
}

TEST_F(NetworkStatisticsTest, CountsARequestAsUnansweredOnceItsTimeIsOver) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  statistics.advance(1500000);
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->unanswered);
  statistics.advance(1500001);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  statistics.advance(9000000);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(SDOTransferEnd::UNANSWERED, statistics.getFailedTransfers()[0].end);
}

TEST_F(NetworkStatisticsTest, CountsARequestThatAnotherOneOvertookAsUnansweredOnceItsTimeIsOver) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  see(1100, "605#40 18 10 02 00 00 00 00");
  see(1101, "585#43 18 10 02 C7 03 00 00");
  statistics.advance(1500000);
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->unanswered);
  statistics.advance(1500001);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->uploads.getCompleted());
}

TEST_F(NetworkStatisticsTest, CountsWritesThatWereSentBeforeTheFirstAnswer) {
  see(1000, "605#2B 00 20 02 01 00 00 00");
  see(1001, "605#2F 00 20 05 01 00 00 00");
  see(1002, "605#40 00 20 03 00 00 00 00");
  see(1010, "585#60 00 20 02 00 00 00 00");
  see(1020, "585#60 00 20 05 00 00 00 00");
  see(1030, "585#43 00 20 03 01 02 03 04");
  statistics.advance(9000000);
  const monitor::SDOChannelStatistics& channel = *statistics.getSDOChannel(5);
  EXPECT_EQ(2U, channel.downloads.getCompleted());
  EXPECT_EQ(3U, channel.downloads.bytes);
  EXPECT_EQ(29000, channel.downloads.durations.getSum());
  EXPECT_EQ(1U, channel.uploads.getCompleted());
  EXPECT_EQ(0U, channel.unanswered);
  EXPECT_TRUE(statistics.getFailedTransfers().empty());
}

TEST_F(NetworkStatisticsTest, CountsReadsThatWereSentBeforeTheFirstAnswer) {
  see(1000, "605#40 00 20 02 00 00 00 00");
  see(1001, "605#40 00 20 05 00 00 00 00");
  see(1010, "585#4B 00 20 02 01 00 00 00");
  see(1020, "585#4F 00 20 05 01 00 00 00");
  EXPECT_EQ(2U, statistics.getSDOChannel(5)->uploads.getCompleted());
  EXPECT_EQ(3U, statistics.getSDOChannel(5)->uploads.bytes);
  EXPECT_EQ(2, statistics.getTransfers()[0].subIndex);
}

TEST_F(NetworkStatisticsTest, TellsARunningWriteFromARunningReadOfTheSameObject) {
  see(1000, "605#40 00 20 02 00 00 00 00");
  see(1001, "605#2B 00 20 02 01 00 00 00");
  see(1002, "605#2B 01 20 02 01 00 00 00");
  see(1010, "585#60 00 20 02 00 00 00 00");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->downloads.getCompleted());
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->uploads.getCompleted());
  EXPECT_EQ(0x2000, statistics.getTransfers()[0].index);
}

TEST_F(NetworkStatisticsTest, TellsARunningReadFromARunningWriteOfTheSameObject) {
  see(1000, "605#2B 00 20 02 01 00 00 00");
  see(1001, "605#40 00 20 02 00 00 00 00");
  see(1002, "605#40 01 20 02 00 00 00 00");
  see(1010, "585#4B 00 20 02 01 00 00 00");
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->downloads.getCompleted());
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->uploads.getCompleted());
}

TEST_F(NetworkStatisticsTest, DoesNotTakeTheBeginningOfSegmentsForTheWholeOfAnOvertakenRead) {
  see(1000, "605#40 08 10 00 00 00 00 00");
  see(1001, "605#40 00 20 05 00 00 00 00");
  see(1010, "585#41 08 10 00 0A 00 00 00");
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->uploads.getCompleted());
}

TEST_F(NetworkStatisticsTest, CountsTheLateResponseToARequestThatOvertookAnother) {
  see(1000, "605#40 00 20 02 00 00 00 00");
  see(1001, "605#40 00 20 05 00 00 00 00");
  see(1010, "585#4B 00 20 02 01 00 00 00");
  see(2000, "585#4F 00 20 05 01 00 00 00");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->lateResponses);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
}

TEST_F(NetworkStatisticsTest, DoesNotCountALateResponseBehindTheAbort) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  see(2000, "605#80 18 10 01 00 00 04 05");
  see(2001, "585#43 18 10 01 C7 03 00 00");
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->lateResponses);
}

TEST_F(NetworkStatisticsTest, GivesAnAbortToTheRequestWhoseObjectItNames) {
  see(1000, "605#2B 00 20 02 01 00 00 00");
  see(1001, "605#2F 00 20 05 01 00 00 00");
  see(1010, "585#80 00 20 02 30 00 09 06");
  ASSERT_EQ(1U, statistics.getFailedTransfers().size());
  EXPECT_EQ(2, statistics.getFailedTransfers()[0].subIndex);
  EXPECT_EQ(10000, statistics.getFailedTransfers()[0].duration);
  see(1020, "585#60 00 20 05 00 00 00 00");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->downloads.getCompleted());
}

TEST_F(NetworkStatisticsTest, CountsARequestAsUnansweredWhenTooManyOvertakeIt) {
  const std::size_t count = monitor::SDOChannelStatistics::MAXIMUM_OVERTAKEN + 2;
  for (std::size_t i = 0; i < count; ++i) {
    see("605#40 18 10 01 00 00 00 00");
  }
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
}

TEST_F(NetworkStatisticsTest, CountsASegmentWithoutAnAnswerAsUnansweredWhenTheClientBeginsAnew) {
  see("605#40 08 10 00 00 00 00 00");
  see("585#41 08 10 00 0A 00 00 00");
  see("605#60 00 00 00 00 00 00 00");
  uploadExpedited();
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->abandoned);
}

TEST_F(NetworkStatisticsTest, CountsAnOverdueRequestOnceWhenTheNextOneComes) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  see(9000, "605#40 18 10 02 00 00 00 00");
  see(9001, "585#43 18 10 02 C7 03 00 00");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
}

TEST_F(NetworkStatisticsTest, CountsAClientThatLostItsPatienceAsUnanswered) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  see(1100, "605#80 18 10 01 00 00 04 05");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->aborts);
  EXPECT_EQ(1U, statistics.getFailedTransfers().size());
}

TEST_F(NetworkStatisticsTest, CountsAndListsAnOverdueRequestOnceWhenItsClientAborts) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  see(2000, "605#80 18 10 01 00 00 04 05");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(1U, statistics.getFailedTransfers().size());
}

TEST_F(NetworkStatisticsTest, CountsALateResponse) {
  see(1000, "605#40 18 10 01 00 00 00 00");
  see(2000, "585#43 18 10 01 C7 03 00 00");
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->lateResponses);
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->uploads.getCompleted());
}

TEST_F(NetworkStatisticsTest, CountsATransferThatItsClientLeft) {
  see("605#40 08 10 00 00 00 00 00");
  see("585#41 08 10 00 0A 00 00 00");
  uploadExpedited();
  EXPECT_EQ(1U, statistics.getSDOChannel(5)->abandoned);
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->unanswered);
  EXPECT_EQ(SDOTransferEnd::ABANDONED, statistics.getFailedTransfers()[0].end);
}

TEST_F(NetworkStatisticsTest, WaitsForNobodyBetweenTransfers) {
  uploadExpedited();
  statistics.advance(999000000);
  EXPECT_EQ(0U, statistics.getSDOChannel(5)->unanswered);
}

// ---- PDO, SYNC and the rest

TEST_F(NetworkStatisticsTest, MeasuresPDOsByTheirIdentifier) {
  see(0, "185#01 02 03");
  see(10, "185#01 02 03");
  see(15, "205#01");
  see(22, "185#01 02 03 04");
  const monitor::PDOStatistics& pdo = *statistics.getPDO(0x185);
  EXPECT_EQ(Service::TPDO, pdo.service);
  EXPECT_EQ(5, pdo.node);
  EXPECT_EQ(1, pdo.number);
  EXPECT_EQ(4, pdo.length);
  EXPECT_EQ(10U, pdo.bytes);
  EXPECT_EQ(11000, pdo.series.getPeriods().getMean());
  EXPECT_EQ(2000, pdo.series.getJitter().getLongest());
  EXPECT_EQ(Service::RPDO, statistics.getPDO(0x205)->service);
  EXPECT_EQ(nullptr, statistics.getPDO(0x186));
}

TEST_F(NetworkStatisticsTest, MeasuresThePeriodOfSYNC) {
  see(0, "080#");
  see(10, "080#");
  see(30, "080#");
  EXPECT_EQ(3U, statistics.getSync().getFrames());
  EXPECT_EQ(15000, statistics.getSync().getPeriods().getMean());
}

TEST_F(NetworkStatisticsTest, CountsFramesByServiceAndDirection) {
  see(1, "705#05", true);
  see(2, "705#05", true);
  see(3, "706#05", false);
  EXPECT_EQ(2U, statistics.getFrames(Service::HEARTBEAT, true));
  EXPECT_EQ(1U, statistics.getFrames(Service::HEARTBEAT, false));
  EXPECT_EQ(3U, statistics.getFrames());
}

TEST_F(NetworkStatisticsTest, AddsUpTheBitsOnTheWire) {
  see(1, "2AA#55 55 55 55 55 55 55 55");
  see(2, "2AA#55 55 55 55 55 55 55 55");
  EXPECT_EQ(222U, statistics.getLoad().getBits());
  EXPECT_DOUBLE_EQ(222.0 / 250000, statistics.getLoad().getShareOfSecond(0));
}

TEST_F(NetworkStatisticsTest, CountsViolationsByNodeAndText) {
  see("605#E0 00 20 00 00 00 00 00");
  see("605#E0 00 20 00 00 00 00 00");
  ASSERT_EQ(1U, statistics.getViolations().size());
  EXPECT_EQ(5, statistics.getViolations()[0].node);
  EXPECT_EQ(2U, statistics.getViolations()[0].count);
  EXPECT_EQ(0x605U, statistics.getSeenViolations()[1].identifier);
}

TEST_F(NetworkStatisticsTest, CountsTheSameViolationOfTwoNodesApart) {
  see("605#E0 00 20 00 00 00 00 00");
  see("606#E0 00 20 00 00 00 00 00");
  EXPECT_EQ(2U, statistics.getViolations().size());
}

TEST_F(NetworkStatisticsTest, DoesNotTakeARemoteFrameForTheDataThatItAsksFor) {
  monitor::Frame frame;
  frame.kind = monitor::FrameKind::REMOTE;
  for (const unsigned int identifier : {0x080U, 0x185U, 0x705U}) {
    frame.identifier = identifier;
    statistics.add(decoder.decode(frame), false);
  }
  EXPECT_EQ(3U, statistics.getFrames());
  EXPECT_EQ(0U, statistics.getSync().getFrames());
  EXPECT_EQ(nullptr, statistics.getPDO(0x185));
  EXPECT_EQ(nullptr, statistics.getNode(5));
}

TEST_F(NetworkStatisticsTest, CountsStampsThatGoBack) {
  see(10, "705#05");
  see(10, "705#05");
  see(5, "705#05");
  see(6, "705#05");
  EXPECT_EQ(1U, statistics.getClockSteps());
  EXPECT_EQ(10000, statistics.getFirst());
  EXPECT_EQ(6000, statistics.getLast());
}

TEST_F(NetworkStatisticsTest, CountsInOneWhatFindsNoPlaceInTheTable) {
  const std::size_t count = NetworkStatistics::COUNTED_PAIRS + 3;
  for (std::size_t i = 0; i < count; ++i) {
    char code[12];
    std::snprintf(code, sizeof code, "%02X %02X 00 06", static_cast<unsigned int>(i & 0xFF),
                  static_cast<unsigned int>(i >> 8));
    refuseUpload(code);
  }
  EXPECT_EQ(NetworkStatistics::COUNTED_PAIRS, statistics.getAborts().size());
  EXPECT_EQ(3U, statistics.getOtherAborts());
}

TEST_F(NetworkStatisticsTest, VisitsNodesPDOsAndChannelsInTheirOrder) {
  for (const char* frame : {"706#05", "285#01", "186#01", "586#60 00 20 01 00 00 00 00"}) {
    see(frame);
  }
  uploadExpedited();
  std::string visited;
  statistics.forEachNode([&](unsigned int node, const auto&) { visited += std::to_string(node) + " "; });
  statistics.forEachPDO([&](unsigned int identifier, const auto&) { visited += std::to_string(identifier) + " "; });
  statistics.forEachSDOChannel([&](const auto& channel) { visited += std::to_string(channel.node) + " "; });
  EXPECT_EQ("5 6 390 645 5 6 ", visited);
}

}  // namespace
