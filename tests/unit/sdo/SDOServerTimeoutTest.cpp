// Covers: the time-outs of the SDO server.
//
// | subject              | functional                                   | robustness                       |
// |----------------------|----------------------------------------------|----------------------------------|
// | SDO timeout          | 100 ms by default, setSDOTimeout()           | 0; changed while a transfer runs |
// | time                 | at T nothing, at T + 1 abort                 | tick wraps; cycle comes late     |
// | step of the transfer | initiation, segment                          | after the last one               |
// | direction            | download, upload, both at once               |                                  |
// | state                | PRE-OPERATIONAL, OPERATIONAL, STOPPED        | port refuses the abort           |
// | effects              | event signal, value invalid, slot free again | no listener; object below 0x2000 |

#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"
#include "SignalRecorder.h"

namespace {

using test::Frames;

const char* const OPEN_DOWNLOAD = "21 01 20 01 14 00 00 00";
const char* const OPEN_UPLOAD = "40 02 20 02 00 00 00 00";
const Frames DOWNLOAD_ABORT = {"585#80 01 20 01 00 00 04 05"};
const Frames UPLOAD_ABORT = {"585#80 02 20 02 00 00 04 05"};

class SDOServerTimeout : public test::SDOServerFixture {
protected:
  SDOServerTimeout() {
    addOwnText(0x2001, 1, "before");
    addOwnText(0x2002, 2, "abcdefghijklmnopqrst");
    server().setSDOEventListener(&events);
  }

  bool isUploadedTextValid() const { return KQ::KQDEI::instance()->isValid(0x2002, 2); }

  test::SignalRecorder events;
};

// ---- both directions alike

struct TimeoutRow : test::NamedCase {
  Frames requests;    // the last step starts the time
  Frames abort;       // empty: the transfer is over and nothing times out
  int timeout = 100;  // ms
};

class SDOTransferTimeout : public SDOServerTimeout, public ::testing::WithParamInterface<TimeoutRow> {
protected:
  void doRequests() {
    for (const std::string& frame : GetParam().requests) {
      ASSERT_FALSE(node.receive(frame).empty()) << frame;
    }
  }
};

TEST_P(SDOTransferTimeout, ComesAfterMoreThanTheTimeout) {
  if (GetParam().timeout != 100) {
    node.canopen().setSDOTimeout(static_cast<unsigned int>(GetParam().timeout));
  }
  doRequests();
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(static_cast<unsigned int>(GetParam().timeout)));
  EXPECT_EQ(GetParam().abort, node.run(1));
  EXPECT_EQ(Frames{}, node.run(2 * static_cast<unsigned int>(GetParam().timeout)));
}

TEST_P(SDOTransferTimeout, ComesInTheFirstCycleAfterIt) {
  node.canopen().setSDOTimeout(static_cast<unsigned int>(GetParam().timeout));
  doRequests();
  node.clock.advance(100000);
  EXPECT_EQ(GetParam().abort, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_P(SDOTransferTimeout, HoldsInStopped) {
  node.canopen().setSDOTimeout(static_cast<unsigned int>(GetParam().timeout));
  doRequests();
  node.receive("000#02 05");
  EXPECT_EQ(Frames{}, node.run(static_cast<unsigned int>(GetParam().timeout)));
  EXPECT_EQ(GetParam().abort, node.run(1));
}

TEST_P(SDOTransferTimeout, HoldsInOperational) {
  node.canopen().setSDOTimeout(static_cast<unsigned int>(GetParam().timeout));
  node.receive("000#01 05");
  doRequests();
  EXPECT_EQ(Frames{}, node.run(static_cast<unsigned int>(GetParam().timeout)));
  EXPECT_EQ(GetParam().abort, node.run(1));
}

// Transfers that do time out.
class SDOTransferTimeoutAcrossTheWrap : public SDOTransferTimeout {};

TEST_P(SDOTransferTimeoutAcrossTheWrap, IsNoEarlierAndNoLater) {
  const auto timeout = static_cast<unsigned int>(GetParam().timeout);
  node.canopen().setSDOTimeout(timeout);
  node.clock.set(0xFFFFFFFF - timeout);  // in time up to the last tick, too late in tick 0
  doRequests();
  EXPECT_EQ(Frames{}, node.run(timeout));
  EXPECT_EQ(GetParam().abort, node.run(1));
}

TEST_P(SDOTransferTimeoutAcrossTheWrap, CountsOnFromTheLastTick) {
  const auto timeout = static_cast<unsigned int>(GetParam().timeout);
  node.canopen().setSDOTimeout(timeout);
  node.clock.set(0xFFFFFFFF);
  doRequests();
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{}, node.run(timeout));
  EXPECT_EQ(GetParam().abort, node.run(1));
}

const Frames INITIATED_DOWNLOAD = {"605#21 01 20 01 14 00 00 00"};
const Frames RUNNING_DOWNLOAD = {"605#21 01 20 01 14 00 00 00", "605#00 61 62 63 64 65 66 67"};
const Frames ENDED_DOWNLOAD = {"605#21 01 20 01 14 00 00 00", "605#01 61 62 63 64 65 66 67"};
const Frames INITIATED_UPLOAD = {"605#40 02 20 02 00 00 00 00"};
const Frames RUNNING_UPLOAD = {"605#40 02 20 02 00 00 00 00", "605#60 00 00 00 00 00 00 00"};
const Frames ENDED_UPLOAD = {"605#40 02 20 02 00 00 00 00", "605#60 00 00 00 00 00 00 00",
                             "605#70 00 00 00 00 00 00 00", "605#60 00 00 00 00 00 00 00"};

const TimeoutRow TIMEOUT_ROWS[] = {
    {{"InitiatedDownload"}, INITIATED_DOWNLOAD, DOWNLOAD_ABORT, 100},
    {{"RunningDownload"}, RUNNING_DOWNLOAD, DOWNLOAD_ABORT, 100},
    {{"DownloadIn0"}, INITIATED_DOWNLOAD, DOWNLOAD_ABORT, 0},
    {{"DownloadIn1"}, INITIATED_DOWNLOAD, DOWNLOAD_ABORT, 1},
    {{"DownloadIn5000"}, INITIATED_DOWNLOAD, DOWNLOAD_ABORT, 5000},
    {{"InitiatedUpload"}, INITIATED_UPLOAD, UPLOAD_ABORT, 100},
    {{"RunningUpload"}, RUNNING_UPLOAD, UPLOAD_ABORT, 100},
    {{"UploadIn0"}, INITIATED_UPLOAD, UPLOAD_ABORT, 0},
    {{"UploadIn1"}, INITIATED_UPLOAD, UPLOAD_ABORT, 1},
    {{"UploadIn5000"}, INITIATED_UPLOAD, UPLOAD_ABORT, 5000},
};

const TimeoutRow ENDED_ROWS[] = {
    {{"EndedDownload"}, ENDED_DOWNLOAD, {}, 100},
    {{"EndedUpload"}, ENDED_UPLOAD, {}, 100},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOTransferTimeout, ::testing::ValuesIn(TIMEOUT_ROWS), test::caseName<TimeoutRow>);
INSTANTIATE_TEST_SUITE_P(Ended, SDOTransferTimeout, ::testing::ValuesIn(ENDED_ROWS), test::caseName<TimeoutRow>);
INSTANTIATE_TEST_SUITE_P(Table, SDOTransferTimeoutAcrossTheWrap, ::testing::ValuesIn(TIMEOUT_ROWS),
                         test::caseName<TimeoutRow>);

TEST_F(SDOServerTimeout, IsReadWhenItIsChecked) {
  request(OPEN_DOWNLOAD);
  node.canopen().setSDOTimeout(20);
  EXPECT_EQ(Frames{}, node.run(20));
  EXPECT_EQ(DOWNLOAD_ABORT, node.run(1));
}

TEST_F(SDOServerTimeout, BothDirectionsTimeOutTheDownloadFirst) {
  request(OPEN_UPLOAD);
  request(OPEN_DOWNLOAD);
  const Frames expected = {DOWNLOAD_ABORT[0], UPLOAD_ABORT[0]};
  EXPECT_EQ(expected, node.run(101));
}

TEST_F(SDOServerTimeout, DirectionsAreTimedApart) {
  request(OPEN_UPLOAD);
  node.run(50);
  request(OPEN_DOWNLOAD);
  EXPECT_EQ(UPLOAD_ABORT, node.run(51));
  EXPECT_EQ(DOWNLOAD_ABORT, node.run(50));
}

TEST_F(SDOServerTimeout, SlowTransfersGoOnForeverWhenEachStepIsInTime) {
  request(OPEN_DOWNLOAD);
  for (unsigned int i = 0; i < 20; ++i) {
    EXPECT_EQ(Frames{}, node.run(100));
    EXPECT_EQ(1u, request(i % 2 == 0 ? "00 61 62 63 64 65 66 67" : "10 61 62 63 64 65 66 67").size());
  }
  EXPECT_EQ(DOWNLOAD_ABORT, node.run(101));
}

TEST_F(SDOServerTimeout, AbortGoesToTheChannelOfTheTransfer) {
  addChannel(0x1201, 0x612, 0x592);
  node.receive("612#21 01 20 01 14 00 00 00");
  node.receive("612#40 02 20 02 00 00 00 00");
  const Frames expected = {"592#80 01 20 01 00 00 04 05", "592#80 02 20 02 00 00 04 05"};
  EXPECT_EQ(expected, node.run(101));
}

TEST_F(SDOServerTimeout, IgnoredSegmentOfAForeignChannelDoesNotProlong) {
  addChannel(0x1201, 0x612, 0x592);
  request(OPEN_DOWNLOAD);
  node.run(60);
  node.receive("612#00 61 62 63 64 65 66 67");
  EXPECT_EQ(DOWNLOAD_ABORT, node.run(41));
}

TEST_F(SDOServerTimeout, RefusedAbortIsNotRepeated) {
  request(OPEN_DOWNLOAD);
  EXPECT_EQ(Frames{}, node.run(100));
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOServerTimeout, CheckWithoutNextDueTimeWorks) {
  request(OPEN_DOWNLOAD);
  node.clock.advance(101);
  server().checkSDOTimeouts(nullptr);
  EXPECT_EQ(DOWNLOAD_ABORT, node.port().takeSent());
}

TEST_F(SDOServerTimeout, ServerTransfersDoNotLowerTheNextDueTime) {
  request(OPEN_DOWNLOAD);
  request(OPEN_UPLOAD);
  unsigned int nextDue = 1000;
  server().checkSDOTimeouts(&nextDue);
  EXPECT_EQ(1000u, nextDue);
}

// ---- download

TEST_F(SDOServerTimeout, OfADownloadIsSignalledWithItsObject) {
  request(OPEN_DOWNLOAD);
  node.run(100);
  EXPECT_TRUE(events.signals.empty());
  node.run(1);
  ASSERT_EQ(1u, events.signals.size());
  EXPECT_EQ(6, events.signals[0].getType());
  EXPECT_EQ(1103, events.signals[0].getCode());
  EXPECT_EQ(0x20010001u, events.signals[0].getFirstValue());
}

TEST_F(SDOServerTimeout, OfADownloadWithoutListenerIsAbortedAllTheSame) {
  server().setSDOEventListener(nullptr);
  request(OPEN_DOWNLOAD);
  EXPECT_EQ(DOWNLOAD_ABORT, node.run(101));
  EXPECT_TRUE(events.signals.empty());
}

TEST_F(SDOServerTimeout, OfADownloadWritesNothing) {
  request(OPEN_DOWNLOAD);
  request("00 61 62 63 64 65 66 67");
  node.run(101);
  EXPECT_EQ(Frames{}, request("11 68 69 6A 6B 6C 6D 6E"));
  EXPECT_EQ("before", storedText(0x2001, 1));
}

TEST_F(SDOServerTimeout, OfADownloadLeavesTheValueValid) {
  request(OPEN_DOWNLOAD);
  node.run(101);
  EXPECT_TRUE(KQ::KQDEI::instance()->isValid(0x2001, 1));
}

TEST_F(SDOServerTimeout, NextDownloadAfterItWorks) {
  request(OPEN_DOWNLOAD);
  request("00 61 62 63 64 65 66 67");
  node.run(101);
  EXPECT_EQ(Frames{"585#60 01 20 01 00 00 00 00"}, request(OPEN_DOWNLOAD));
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, request("01 78 79 7A 78 79 7A 78"));
  EXPECT_EQ("xyzxyzx", storedText(0x2001, 1));
}

// ---- upload

TEST_F(SDOServerTimeout, OfAnUploadMarksTheValueInvalid) {
  request(OPEN_UPLOAD);
  node.run(100);
  EXPECT_TRUE(isUploadedTextValid());
  node.run(1);
  EXPECT_FALSE(isUploadedTextValid());
}

TEST_F(SDOServerTimeout, OfAnUploadIsNotSignalled) {
  request(OPEN_UPLOAD);
  node.run(101);
  EXPECT_TRUE(events.signals.empty());
}

TEST_F(SDOServerTimeout, OfAnUploadBelowTheApplicationAreaIsAborted) {
  request("40 0A 10 00 00 00 00 00");
  EXPECT_EQ(Frames{"585#80 0A 10 00 00 00 04 05"}, node.run(101));
}

TEST_F(SDOServerTimeout, EndedUploadStaysValid) {
  request(OPEN_UPLOAD);
  request("60 00 00 00 00 00 00 00");
  request("70 00 00 00 00 00 00 00");
  request("60 00 00 00 00 00 00 00");
  node.run(101);
  EXPECT_TRUE(isUploadedTextValid());
}

TEST_F(SDOServerTimeout, SegmentRequestAfterItIsSilent) {
  request(OPEN_UPLOAD);
  node.run(101);
  EXPECT_EQ(Frames{}, request("60 00 00 00 00 00 00 00"));
}

TEST_F(SDOServerTimeout, NextUploadAfterItWorks) {
  request(OPEN_UPLOAD);
  request("60 00 00 00 00 00 00 00");
  node.run(101);
  EXPECT_EQ(Frames{"585#41 02 20 02 14 00 00 00"}, request(OPEN_UPLOAD));
  EXPECT_EQ(Frames{"585#00 61 62 63 64 65 66 67"}, request("60 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#10 68 69 6A 6B 6C 6D 6E"}, request("70 00 00 00 00 00 00 00"));
  EXPECT_EQ(Frames{"585#03 6F 70 71 72 73 74 00"}, request("60 00 00 00 00 00 00 00"));
}

TEST_F(SDOServerTimeout, AbortNamesTheObjectThatTheMasterNamedAlsoWhenItsVariableHasARemoteKey) {
  KQ::KQVariable variable(0x2003, 3, "remote", KQ::STORAGE_TYPE_STRING);
  variable.setInitialText("abcdefghij");
  variable.setExternalIdentifier(0x6000000Cu);
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  request("40 03 20 03 00 00 00 00");
  EXPECT_EQ(Frames{"585#80 03 20 03 00 00 04 05"}, node.run(101));
}

}  // namespace
