// What the frames of an SDO transfer are called, with the object that they are of, and when the value is known.
//
// | parameters                                                   | kind       |
// |--------------------------------------------------------------|------------|
// | expedited up and down: one to four bytes, none, size open    | functional |
// | segmented up and down, both toggles, long values             | functional |
// | block up and down, several blocks, segments sent again       | functional |
// | aborts by either side, at rest and within a transfer         | functional |
// | toggle, size, object, order and command that are wrong       | robustness |
// | frames of a transfer that began before                       | robustness |

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "Decoding.h"

namespace {

using monitor::TransferOutcome;
using test::Decoding;

class SDOChannelTest : public ::testing::Test {
protected:
  void take(std::initializer_list<const char*> frames) {
    for (const char* frame : frames) {
      decoding.take(frame);
    }
  }
  std::string words(const std::string& frame) { return decoding.words(frame); }
  TransferOutcome outcome(const std::string& frame) { return decoding.take(frame).sdo.outcome; }
  std::string violation(const std::string& frame) { return std::string(decoding.take(frame).violation); }

  void startSegmentedUpload() { take({"605#4008100000000000", "585#4108100009000000"}); }
  void startSegmentedDownload() { take({"605#2101200008000000", "585#6001200000000000"}); }

  Decoding decoding;
};

using ExpeditedTransfer = SDOChannelTest;

TEST_F(ExpeditedTransfer, UploadHasTheValueInTheResponse) {
  take({"605#4018100100000000"});
  EXPECT_EQ(words("585#4318100154415643"), "SDO response|5|0x1018/1 Vendor-ID|initiate upload = 0x43564154");
}

TEST_F(ExpeditedTransfer, DownloadHasTheValueInTheRequest) {
  EXPECT_EQ(words("605#2B171000E8030000"), "SDO request|5|0x1017/0 Producer heartbeat time|initiate download = 1000");
}

TEST_F(ExpeditedTransfer, DownloadIsCompleteWithItsResponse) {
  take({"605#2B171000E8030000"});
  EXPECT_EQ(outcome("585#6017100000000000"), TransferOutcome::COMPLETED);
}

TEST_F(ExpeditedTransfer, TakesOneByte) {
  EXPECT_EQ(words("605#2F00200512FFFFFF"), "SDO request|5|0x2000/5|initiate download = 0x12");
}

TEST_F(ExpeditedTransfer, TakesThreeBytes) {
  EXPECT_EQ(words("605#27002005563412FF"), "SDO request|5|0x2000/5|initiate download = 0x123456");
}

TEST_F(ExpeditedTransfer, TakesTheSizeOfTheTypeWhereTheFrameHasNone) {
  EXPECT_EQ(words("605#22171000E803FFFF"), "SDO request|5|0x1017/0 Producer heartbeat time|initiate download = 1000");
}

TEST_F(ExpeditedTransfer, MayHaveNoByteAtAll) {
  take({"605#4009100000000000"});
  EXPECT_EQ(words("585#5309100031323334"),
            "SDO response|5|0x1009/0 Manufacturer hardware version|initiate upload = \"\"");
}

TEST_F(ExpeditedTransfer, SaysHowLongItTook) {
  take({"605#4018100100000000"});
  EXPECT_EQ(decoding.take("585#4318100154415643").sdo.microseconds, 1000);
}

TEST_F(ExpeditedTransfer, ResponseForAnotherObjectIsWrong) {
  take({"605#4018100100000000"});
  EXPECT_EQ(violation("585#4318100254415643"), "SDO response for another object");
}

TEST_F(ExpeditedTransfer, FrameOfLessThanEightBytesIsWrong) {
  EXPECT_EQ(violation("605#40181001000000"), "SDO frame that has not 8 bytes");
}

using SegmentedTransfer = SDOChannelTest;

TEST_F(SegmentedTransfer, UploadHasTheObjectInEachSegment) {
  startSegmentedUpload();
  EXPECT_EQ(words("605#6000000000000000"), "SDO request|5|0x1008/0 Manufacturer device name|upload segment");
}

TEST_F(SegmentedTransfer, UploadHasTheValueInTheLastSegment) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465", "605#7000000000000000"});
  EXPECT_EQ(words("585#1B6D6F0000000000"),
            "SDO response|5|0x1008/0 Manufacturer device name|upload segment = \"Tavo demo\"");
}

TEST_F(SegmentedTransfer, UploadIsCompleteWithTheLastSegment) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465", "605#7000000000000000"});
  const monitor::SDOStep step = decoding.take("585#1B6D6F0000000000").sdo;
  EXPECT_EQ(step.outcome, TransferOutcome::COMPLETED);
  EXPECT_EQ(step.bytes, 9U);
}

TEST_F(SegmentedTransfer, DownloadHasTheValueInTheLastRequest) {
  startSegmentedDownload();
  take({"605#0041424344454647", "585#2000000000000000"});
  EXPECT_EQ(words("605#1D48000000000000"), "SDO request|5|0x2001/0|download segment = 0x4847464544434241");
}

TEST_F(SegmentedTransfer, DownloadIsCompleteWithTheLastResponse) {
  startSegmentedDownload();
  take({"605#0041424344454647", "585#2000000000000000", "605#1D48000000000000"});
  EXPECT_EQ(outcome("585#3000000000000000"), TransferOutcome::COMPLETED);
}

TEST_F(SegmentedTransfer, DownloadIsFollowedWhenRequestsDoNotWait) {
  take({"605#2101200008000000", "605#0041424344454647", "605#1D48000000000000", "585#6001200000000000",
        "585#2000000000000000"});
  EXPECT_EQ(outcome("585#3000000000000000"), TransferOutcome::COMPLETED);
}

TEST_F(SegmentedTransfer, UploadRepeatingTheToggleBitIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465"});
  EXPECT_EQ(violation("605#6000000000000000"), "toggle bit did not alternate");
}

TEST_F(SegmentedTransfer, ResponseRepeatingTheToggleBitIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465", "605#7000000000000000"});
  EXPECT_EQ(violation("585#0B6D6F0000000000"), "toggle bit did not alternate");
}

TEST_F(SegmentedTransfer, OtherSizeThanIndicatedIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000"});
  EXPECT_EQ(violation("585#015461766F206465"), "size differs from the one that was indicated");
}

TEST_F(SegmentedTransfer, RequestBeforeTheResponseIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000"});
  EXPECT_EQ(violation("605#7000000000000000"), "SDO request before the answer to the one before");
}

TEST_F(SegmentedTransfer, KeepsTheBeginningOfALongValue) {
  take({"605#4001200000000000", "585#4001200000000000"});
  for (int i = 0; i < 1000; ++i) {
    take({i % 2 == 0 ? "605#6000000000000000" : "605#7000000000000000",
          i % 2 == 0 ? "585#0041414141414141" : "585#1041414141414141"});
  }
  take({"605#6000000000000000"});
  EXPECT_EQ(words("585#0142424242424242").substr(4000), std::string(138, 'A') + "\"... (7007 bytes)");
}

TEST_F(SegmentedTransfer, SegmentOfATransferFromBeforeHasNoObject) {
  EXPECT_EQ(words("605#7000000000000000"), "SDO request|5||upload segment");
}

TEST_F(SegmentedTransfer, SegmentWithoutATransferIsWrong) {
  take({"605#4018100100000000", "585#4318100154415643"});
  EXPECT_EQ(violation("605#7000000000000000"), "SDO frame that has no place in a transfer");
}

using BlockTransfer = SDOChannelTest;

TEST_F(BlockTransfer, DownloadHasTheValueInItsEnd) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637", "605#8238390000000000",
        "585#A202020000000000"});
  EXPECT_EQ(words("605#D500000000000000"), "SDO request|5|0x2008/0|end block download = \"123456789\"");
}

TEST_F(BlockTransfer, DownloadIsCompleteWithTheLastResponse) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637", "605#8238390000000000",
        "585#A202020000000000", "605#D500000000000000"});
  const monitor::SDOStep step = decoding.take("585#A100000000000000").sdo;
  EXPECT_EQ(step.outcome, TransferOutcome::COMPLETED);
  EXPECT_EQ(step.bytes, 9U);
}

TEST_F(BlockTransfer, SegmentsThatLookLikeCommandsAreSegments) {
  take({"605#C208200000000000", "585#A00820007F000000"});
  for (int number = 1; number < 0x40; ++number) {
    char frame[24];
    std::snprintf(frame, sizeof frame, "605#%02X00000000000000", static_cast<unsigned int>(number));
    take({frame});
  }
  EXPECT_EQ(words("605#4018100100000000"), "SDO request|5|0x2008/0|block download segment");
}

TEST_F(BlockTransfer, SegmentsThatWereNotAcknowledgedComeAgain) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637", "605#8258580000000000",
        "585#A201020000000000", "605#8138390000000000", "585#A201020000000000"});
  EXPECT_EQ(words("605#D500000000000000"), "SDO request|5|0x2008/0|end block download = \"123456789\"");
}

TEST_F(BlockTransfer, UploadGoesThroughSeveralBlocks) {
  take({"605#A008200001000000", "585#C208200009000000", "605#A300000000000000", "585#0131323334353637",
        "605#A201010000000000", "585#8138390000000000", "605#A201010000000000"});
  EXPECT_EQ(words("585#D500000000000000"), "SDO response|5|0x2008/0|end block upload = \"123456789\"");
}

TEST_F(BlockTransfer, UploadIsCompleteWhenTheClientSaysSo) {
  take({"605#A008200001000000", "585#C208200009000000", "605#A300000000000000", "585#0131323334353637",
        "605#A201010000000000", "585#8138390000000000", "605#A201010000000000", "585#D500000000000000"});
  EXPECT_EQ(outcome("605#A100000000000000"), TransferOutcome::COMPLETED);
}

TEST_F(BlockTransfer, UploadMayBeAnsweredByAnOrdinaryOne) {
  take({"605#A018100101000000"});
  EXPECT_EQ(outcome("585#4318100154415643"), TransferOutcome::COMPLETED);
}

TEST_F(BlockTransfer, IsAbortedAmongItsSegments) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637"});
  EXPECT_EQ(outcome("605#8008200000000008"), TransferOutcome::ABORTED);
}

TEST_F(BlockTransfer, SegmentOutOfOrderIsWrong) {
  take({"605#C208200009000000", "585#A008200003000000", "605#0131323334353637"});
  EXPECT_EQ(violation("605#0331323334353637"), "block segment out of order");
}

TEST_F(BlockTransfer, AcknowledgementOfTooMuchIsWrong) {
  take({"605#C208200009000000", "585#A008200001000000", "605#0131323334353637"});
  EXPECT_EQ(violation("585#A202010000000000"), "acknowledgement of a block segment that was not sent");
}

using AbortedTransfer = SDOChannelTest;

TEST_F(AbortedTransfer, HasTheCodeAndItsText) {
  take({"605#40FF5F0000000000"});
  EXPECT_EQ(words("585#80FF5F0000000206"),
            "SDO response|5|0x5FFF/0|abort 0x06020000: object does not exist in the object dictionary");
}

TEST_F(AbortedTransfer, KeepsTheObjectWhenTheAbortNamesNone) {
  startSegmentedUpload();
  EXPECT_EQ(words("605#8000000000000405"),
            "SDO request|5|0x1008/0 Manufacturer device name|abort 0x05040000: SDO protocol timed out");
}

TEST_F(AbortedTransfer, EndsTheTransfer) {
  startSegmentedUpload();
  EXPECT_EQ(outcome("605#8008100000000405"), TransferOutcome::ABORTED);
}

TEST_F(AbortedTransfer, EndsNothingAtRest) {
  EXPECT_EQ(outcome("605#8008100000000405"), TransferOutcome::NONE);
}

TEST_F(AbortedTransfer, LetsTheNextOneBeginInOrder) {
  startSegmentedUpload();
  take({"605#8008100000000405"});
  EXPECT_EQ(violation("605#4018100100000000"), "");
}

TEST_F(SDOChannelTest, RequestThatAbandonsATransferSaysSo) {
  startSegmentedUpload();
  const monitor::DecodedFrame& frame = decoding.take("605#4018100100000000");
  EXPECT_TRUE(frame.sdo.abandons);
  EXPECT_EQ(frame.violation, "SDO request while a transfer has no end");
}

TEST_F(SDOChannelTest, UnknownSpecifierIsWrong) {
  EXPECT_EQ(words("605#E000000000000000"), "SDO request|5||unknown command|unknown SDO command specifier");
}

TEST_F(SDOChannelTest, NodesDoNotDisturbEachOther) {
  startSegmentedUpload();
  take({"606#4018100100000000", "605#6000000000000000"});
  EXPECT_EQ(words("586#4318100154415643"), "SDO response|6|0x1018/1 Vendor-ID|initiate upload = 0x43564154");
}

}  // namespace
