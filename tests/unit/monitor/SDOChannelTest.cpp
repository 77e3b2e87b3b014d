// Covers: what the frames of an SDO transfer are called, with the object that they are of, and when the value is known.
//
// | subject                                                | functional                         | robustness |
// |--------------------------------------------------------|------------------------------------|------------|
// | expedited up and down                                  | one to four bytes, none, size open |            |
// | segmented up and down, both toggles, long values       | x                                  |            |
// | block up and down, several blocks, segments sent again | x                                  |            |
// | aborts by either side, at rest and within a transfer   | x                                  |            |
// | toggle, size, object, order and command that are wrong |                                    | x          |
// | frames of a transfer that began before                 |                                    | x          |

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
  EXPECT_EQ("SDO response|5|0x1018/1 Vendor-ID|initiate upload = 0x43564154", words("585#4318100154415643"));
}

TEST_F(ExpeditedTransfer, DownloadHasTheValueInTheRequest) {
  EXPECT_EQ("SDO request|5|0x1017/0 Producer heartbeat time|initiate download = 1000", words("605#2B171000E8030000"));
}

TEST_F(ExpeditedTransfer, DownloadIsCompleteWithItsResponse) {
  take({"605#2B171000E8030000"});
  EXPECT_EQ(TransferOutcome::COMPLETED, outcome("585#6017100000000000"));
}

TEST_F(ExpeditedTransfer, TakesOneByte) {
  EXPECT_EQ("SDO request|5|0x2000/5|initiate download = 0x12", words("605#2F00200512FFFFFF"));
}

TEST_F(ExpeditedTransfer, TakesThreeBytes) {
  EXPECT_EQ("SDO request|5|0x2000/5|initiate download = 0x123456", words("605#27002005563412FF"));
}

TEST_F(ExpeditedTransfer, TakesTheSizeOfTheTypeWhereTheFrameHasNone) {
  EXPECT_EQ("SDO request|5|0x1017/0 Producer heartbeat time|initiate download = 1000", words("605#22171000E803FFFF"));
}

TEST_F(ExpeditedTransfer, MayHaveNoByteAtAll) {
  take({"605#4009100000000000"});
  EXPECT_EQ("SDO response|5|0x1009/0 Manufacturer hardware version|initiate upload = \"\"",
            words("585#5309100031323334"));
}

TEST_F(ExpeditedTransfer, SaysHowLongItTook) {
  take({"605#4018100100000000"});
  EXPECT_EQ(1000, decoding.take("585#4318100154415643").sdo.microseconds);
}

TEST_F(ExpeditedTransfer, ResponseForAnotherObjectIsWrong) {
  take({"605#4018100100000000"});
  EXPECT_EQ("SDO response for another object", violation("585#4318100254415643"));
}

TEST_F(ExpeditedTransfer, FrameOfLessThanEightBytesIsWrong) {
  EXPECT_EQ("SDO frame that has not 8 bytes", violation("605#40181001000000"));
}

using SegmentedTransfer = SDOChannelTest;

TEST_F(SegmentedTransfer, UploadHasTheObjectInEachSegment) {
  startSegmentedUpload();
  EXPECT_EQ("SDO request|5|0x1008/0 Manufacturer device name|upload segment", words("605#6000000000000000"));
}

TEST_F(SegmentedTransfer, UploadHasTheValueInTheLastSegment) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465", "605#7000000000000000"});
  EXPECT_EQ("SDO response|5|0x1008/0 Manufacturer device name|upload segment = \"Tavo demo\"",
            words("585#1B6D6F0000000000"));
}

TEST_F(SegmentedTransfer, UploadIsCompleteWithTheLastSegment) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465", "605#7000000000000000"});
  const monitor::SDOStep step = decoding.take("585#1B6D6F0000000000").sdo;
  EXPECT_EQ(TransferOutcome::COMPLETED, step.outcome);
  EXPECT_EQ(9U, step.bytes);
}

TEST_F(SegmentedTransfer, DownloadHasTheValueInTheLastRequest) {
  startSegmentedDownload();
  take({"605#0041424344454647", "585#2000000000000000"});
  EXPECT_EQ("SDO request|5|0x2001/0|download segment = 0x4847464544434241", words("605#1D48000000000000"));
}

TEST_F(SegmentedTransfer, DownloadIsCompleteWithTheLastResponse) {
  startSegmentedDownload();
  take({"605#0041424344454647", "585#2000000000000000", "605#1D48000000000000"});
  EXPECT_EQ(TransferOutcome::COMPLETED, outcome("585#3000000000000000"));
}

TEST_F(SegmentedTransfer, DownloadIsFollowedWhenRequestsDoNotWait) {
  take({"605#2101200008000000", "605#0041424344454647", "605#1D48000000000000", "585#6001200000000000",
        "585#2000000000000000"});
  EXPECT_EQ(TransferOutcome::COMPLETED, outcome("585#3000000000000000"));
}

TEST_F(SegmentedTransfer, UploadRepeatingTheToggleBitIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465"});
  EXPECT_EQ("toggle bit did not alternate", violation("605#6000000000000000"));
}

TEST_F(SegmentedTransfer, ResponseRepeatingTheToggleBitIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000", "585#005461766F206465", "605#7000000000000000"});
  EXPECT_EQ("toggle bit did not alternate", violation("585#0B6D6F0000000000"));
}

TEST_F(SegmentedTransfer, OtherSizeThanIndicatedIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000"});
  EXPECT_EQ("size differs from the one that was indicated", violation("585#015461766F206465"));
}

TEST_F(SegmentedTransfer, RequestBeforeTheResponseIsWrong) {
  startSegmentedUpload();
  take({"605#6000000000000000"});
  EXPECT_EQ("SDO request before the answer to the one before", violation("605#7000000000000000"));
}

TEST_F(SegmentedTransfer, KeepsTheBeginningOfALongValue) {
  take({"605#4001200000000000", "585#4001200000000000"});
  for (int i = 0; i < 1000; ++i) {
    take({i % 2 == 0 ? "605#6000000000000000" : "605#7000000000000000",
          i % 2 == 0 ? "585#0041414141414141" : "585#1041414141414141"});
  }
  take({"605#6000000000000000"});
  EXPECT_EQ(std::string(138, 'A') + "\"... (7007 bytes)", words("585#0142424242424242").substr(4000));
}

TEST_F(SegmentedTransfer, SegmentOfATransferFromBeforeHasNoObject) {
  EXPECT_EQ("SDO request|5||upload segment", words("605#7000000000000000"));
}

TEST_F(SegmentedTransfer, SegmentWithoutATransferIsWrong) {
  take({"605#4018100100000000", "585#4318100154415643"});
  EXPECT_EQ("SDO frame that has no place in a transfer", violation("605#7000000000000000"));
}

using BlockTransfer = SDOChannelTest;

TEST_F(BlockTransfer, DownloadHasTheValueInItsEnd) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637", "605#8238390000000000",
        "585#A202020000000000"});
  EXPECT_EQ("SDO request|5|0x2008/0|end block download = \"123456789\"", words("605#D500000000000000"));
}

TEST_F(BlockTransfer, DownloadIsCompleteWithTheLastResponse) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637", "605#8238390000000000",
        "585#A202020000000000", "605#D500000000000000"});
  const monitor::SDOStep step = decoding.take("585#A100000000000000").sdo;
  EXPECT_EQ(TransferOutcome::COMPLETED, step.outcome);
  EXPECT_EQ(9U, step.bytes);
}

TEST_F(BlockTransfer, SegmentsThatLookLikeCommandsAreSegments) {
  take({"605#C208200000000000", "585#A00820007F000000"});
  for (int number = 1; number < 0x40; ++number) {
    char frame[24];
    std::snprintf(frame, sizeof frame, "605#%02X00000000000000", static_cast<unsigned int>(number));
    take({frame});
  }
  EXPECT_EQ("SDO request|5|0x2008/0|block download segment", words("605#4018100100000000"));
}

TEST_F(BlockTransfer, SegmentsThatWereNotAcknowledgedComeAgain) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637", "605#8258580000000000",
        "585#A201020000000000", "605#8138390000000000", "585#A201020000000000"});
  EXPECT_EQ("SDO request|5|0x2008/0|end block download = \"123456789\"", words("605#D500000000000000"));
}

TEST_F(BlockTransfer, UploadGoesThroughSeveralBlocks) {
  take({"605#A008200001000000", "585#C208200009000000", "605#A300000000000000", "585#0131323334353637",
        "605#A201010000000000", "585#8138390000000000", "605#A201010000000000"});
  EXPECT_EQ("SDO response|5|0x2008/0|end block upload = \"123456789\"", words("585#D500000000000000"));
}

TEST_F(BlockTransfer, UploadIsCompleteWhenTheClientSaysSo) {
  take({"605#A008200001000000", "585#C208200009000000", "605#A300000000000000", "585#0131323334353637",
        "605#A201010000000000", "585#8138390000000000", "605#A201010000000000", "585#D500000000000000"});
  EXPECT_EQ(TransferOutcome::COMPLETED, outcome("605#A100000000000000"));
}

TEST_F(BlockTransfer, UploadMayBeAnsweredByAnOrdinaryOne) {
  take({"605#A018100101000000"});
  EXPECT_EQ(TransferOutcome::COMPLETED, outcome("585#4318100154415643"));
}

TEST_F(BlockTransfer, IsAbortedAmongItsSegments) {
  take({"605#C208200009000000", "585#A008200002000000", "605#0131323334353637"});
  EXPECT_EQ(TransferOutcome::ABORTED, outcome("605#8008200000000008"));
}

TEST_F(BlockTransfer, SegmentOutOfOrderIsWrong) {
  take({"605#C208200009000000", "585#A008200003000000", "605#0131323334353637"});
  EXPECT_EQ("block segment out of order", violation("605#0331323334353637"));
}

TEST_F(BlockTransfer, AcknowledgementOfTooMuchIsWrong) {
  take({"605#C208200009000000", "585#A008200001000000", "605#0131323334353637"});
  EXPECT_EQ("acknowledgement of a block segment that was not sent", violation("585#A202010000000000"));
}

using AbortedTransfer = SDOChannelTest;

TEST_F(AbortedTransfer, HasTheCodeAndItsText) {
  take({"605#40FF5F0000000000"});
  EXPECT_EQ("SDO response|5|0x5FFF/0|abort 0x06020000: object does not exist in the object dictionary",
            words("585#80FF5F0000000206"));
}

TEST_F(AbortedTransfer, KeepsTheObjectWhenTheAbortNamesNone) {
  startSegmentedUpload();
  EXPECT_EQ("SDO request|5|0x1008/0 Manufacturer device name|abort 0x05040000: SDO protocol timed out",
            words("605#8000000000000405"));
}

TEST_F(AbortedTransfer, EndsTheTransfer) {
  startSegmentedUpload();
  EXPECT_EQ(TransferOutcome::ABORTED, outcome("605#8008100000000405"));
}

TEST_F(AbortedTransfer, EndsNothingAtRest) {
  EXPECT_EQ(TransferOutcome::NONE, outcome("605#8008100000000405"));
}

TEST_F(AbortedTransfer, LetsTheNextOneBeginInOrder) {
  startSegmentedUpload();
  take({"605#8008100000000405"});
  EXPECT_EQ("", violation("605#4018100100000000"));
}

TEST_F(SDOChannelTest, RequestThatAbandonsATransferSaysSo) {
  startSegmentedUpload();
  const monitor::DecodedFrame& frame = decoding.take("605#4018100100000000");
  EXPECT_TRUE(frame.sdo.abandons);
  EXPECT_EQ("SDO request while a transfer has no end", frame.violation);
}

TEST_F(SDOChannelTest, UnknownSpecifierIsWrong) {
  EXPECT_EQ("SDO request|5||unknown command|unknown SDO command specifier", words("605#E000000000000000"));
}

TEST_F(SDOChannelTest, NodesDoNotDisturbEachOther) {
  startSegmentedUpload();
  take({"606#4018100100000000", "605#6000000000000000"});
  EXPECT_EQ("SDO response|6|0x1018/1 Vendor-ID|initiate upload = 0x43564154", words("586#4318100154415643"));
}

}  // namespace
