// Covers: how the SDO client takes a text that a server sends in segments.
//
// | subject             | functional                            | robustness                                |
// |---------------------|---------------------------------------|-------------------------------------------|
// | segments            | 0 to 15, 889 characters, both toggles | wrong toggle, other channel, port refuses |
// | initiate response   | starts the segments                   | again in their middle                     |
// | end                 | stored only now, log line             | into a number, more segments              |
// | abort by the server | ends it                               | before the first segment, other channel   |
// | one upload slot     | waits for the upload of a master      | a master takes it over                    |
// | limit               | reached                               | exceeded, by an expedited answer, too     |

#include "KQErrorCodes.h"
#include "KQSDOAbortCode.h"
#include "SDOClientFixture.h"
#include "SDOServerFixture.h"

namespace {

using test::Frames;

class SDOClientSegmentedUpload : public test::SDOClientFixture {};

TEST_F(SDOClientSegmentedUpload, SizedAnswerAsksForTheFirstSegmentWithToggle0) {
  addText(1);
  ask();
  EXPECT_EQ(Frames{"606#60 00 00 00 00 00 00 00"}, server("41 00 60 11 14 00 00 00"));
}

TEST_F(SDOClientSegmentedUpload, RequestsAlternateTheToggle) {
  addText(1);
  ask();
  server("41 00 60 11 1C 00 00 00");
  EXPECT_EQ(Frames{"606#70 00 00 00 00 00 00 00"}, server("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(Frames{"606#60 00 00 00 00 00 00 00"}, server("10 68 69 6A 6B 6C 6D 6E"));
  EXPECT_EQ(Frames{"606#70 00 00 00 00 00 00 00"}, server("00 6F 70 71 72 73 74 75"));
}

class SDOClientUploadedLength : public SDOClientSegmentedUpload, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(SDOClientUploadedLength, ArrivesWhole) {
  const std::string text = test::pattern(GetParam());
  addText(1, "old");
  ask();
  server("41 00 60 11 00 00 00 00");
  std::size_t offset = 0;
  unsigned int toggle = 0;
  for (; text.size() - offset > 7; offset += 7, toggle ^= 0x10U) {
    ASSERT_EQ(KQ::KQ_OK, answer(test::segment(toggle, text.substr(offset, 7))));
  }
  const std::string rest = text.substr(offset);
  const auto unused = static_cast<unsigned int>(7 - rest.size());
  EXPECT_EQ(KQ::KQ_OK, answer(test::segment(toggle | unused << 1 | 1U, rest)));
  EXPECT_EQ(text, storedText(1));
}

INSTANTIATE_TEST_SUITE_P(Lengths, SDOClientUploadedLength,
                         ::testing::Values(0U, 1U, 4U, 5U, 6U, 7U, 8U, 9U, 13U, 14U, 15U, 889U),
                         ::testing::PrintToStringParamName());

TEST_F(SDOClientSegmentedUpload, LastSegmentIsLoggedWithTheResult) {
  addText(1);
  ask();
  server("41 00 60 11 05 00 00 00");
  EXPECT_EQ(Frames{}, server("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ(std::string("Error_Code: ") + KQ::kqGetErrorString(KQ::KQ_OK) + "\n", node.output.takeOutput());
}

TEST_F(SDOClientSegmentedUpload, SegmentsOfANumberAreLoggedWithTheFailure) {
  addNumber(1, 32, false, 3);
  ask();
  server("41 00 60 11 05 00 00 00");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ(3, stored(1));
  EXPECT_EQ(std::string("Error_Code: ") + KQ::kqGetErrorString(KQ::KQ_INVALID_ARGUMENT) + "\n",
            node.output.takeOutput());
  expectOver();
}

TEST_F(SDOClientSegmentedUpload, LastSegmentEndsTheUpload) {
  addText(1);
  ask();
  server("41 00 60 11 05 00 00 00");
  server("05 68 65 6C 6C 6F 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("15 78 78 78 78 78 00 00"));
  EXPECT_EQ("hello", storedText(1));
  expectOver();
}

TEST_F(SDOClientSegmentedUpload, TextChangesOnlyWithTheLastSegment) {
  addText(1, "old");
  ask();
  server("41 00 60 11 09 00 00 00");
  server("00 61 62 63 64 65 66 67");
  EXPECT_EQ("old", storedText(1));
  server("1B 68 69 00 00 00 00 00");
  EXPECT_EQ("abcdefghi", storedText(1));
}

TEST_F(SDOClientSegmentedUpload, SecondSegmentedTextStartsAfresh) {
  addText(1);
  for (const char* const segment : {"05 68 65 6C 6C 6F 00 00", "05 77 6F 72 6C 64 00 00"}) {
    ask();
    server("41 00 60 11 05 00 00 00");
    server(segment);
  }
  EXPECT_EQ("world", storedText(1));
}

TEST_F(SDOClientSegmentedUpload, SegmentWithTheWrongToggleGives8) {
  addText(1);
  ask();
  server("41 00 60 11 14 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("10 78 78 78 78 78 78 78"));
  EXPECT_EQ(Frames{}, sent());
  EXPECT_EQ(KQ::KQ_OK, answer("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("00 61 62 63 64 65 66 67"));
  EXPECT_EQ(KQ::KQ_OK, answer("1D 68 00 00 00 00 00 00"));
  EXPECT_EQ("abcdefgh", storedText(1));
}

TEST_F(SDOClientSegmentedUpload, SegmentOnAnotherChannelGives8) {
  addText(1);
  ask();
  server("41 00 60 11 05 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, offer("587#05 78 78 78 78 78 00 00"));
  EXPECT_EQ(KQ::KQ_OK, answer("05 68 65 6C 6C 6F 00 00"));
  EXPECT_EQ("hello", storedText(1));
}

TEST_F(SDOClientSegmentedUpload, SegmentNeedsBothCobIDsOfTheUpload) {
  addText(1, "old");
  ask();
  server("41 00 60 11 05 00 00 00");
  const KQ::KQCANMessage segment = test::frame("586#05 68 65 6C 6C 6F 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSegmentedSDOUploadSegment(segment, 0x586, 0x607));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSegmentedSDOUploadSegment(segment, 0x587, 0x606));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(KQ::KQ_OK, client().handleSegmentedSDOUploadSegment(segment, 0x586, 0x606));
}

TEST_F(SDOClientSegmentedUpload, InitiateResponseNeedsBothCobIDsOfTheUpload) {
  addText(1, "old");
  ask();
  const KQ::KQCANMessage response = test::frame("586#41 00 60 11 05 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSDOUploadResponse(response, 0x586, 0x607));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSDOUploadResponse(response, 0x587, 0x606));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientSegmentedUpload, InitiateResponseOfCobID0IsNotTakenForOneThatIsPending) {
  const KQ::KQCANMessage response = test::frame("000#41 00 00 00 05 00 00 00");
  EXPECT_EQ(KQ::KQ_UNEXPECTED, client().handleSDOUploadResponse(response, 0, 0));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientSegmentedUpload, InitiateResponseInTheMiddleIsIgnored) {
  addText(1, "old");
  ask();
  server("41 00 60 11 08 00 00 00");
  server("00 61 62 63 64 65 66 67");
  for (const char* const response : {"41 00 60 11 05 00 00 00", "43 00 60 11 78 78 78 78"}) {
    EXPECT_EQ(KQ::KQ_UNEXPECTED, answer(response));
    EXPECT_EQ(Frames{}, sent());
  }
  EXPECT_EQ(KQ::KQ_OK, answer("1D 68 00 00 00 00 00 00"));
  EXPECT_EQ("abcdefgh", storedText(1));
}

TEST_F(SDOClientSegmentedUpload, EndsWith7WhenTheNextSegmentCannotBeAskedFor) {
  addText(1, "old");
  ask();
  server("41 00 60 11 14 00 00 00");
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DISABLED, answer("00 61 62 63 64 65 66 67"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, sendRead(1));
}

// ---- aborts of the server

TEST_F(SDOClientSegmentedUpload, AbortedSegmentsEnd) {
  addText(1, "old");
  ask();
  server("41 00 60 11 14 00 00 00");
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 11 00 00 00 08"));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("00 61 62 63 64 65 66 67"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_TRUE(takeEvents().empty());
  expectOver();
}

TEST_F(SDOClientSegmentedUpload, AbortOnAnotherChannelLeavesTheSegmentsRunning) {
  addText(1);
  ask();
  server("41 00 60 11 05 00 00 00");
  offer("587#80 00 60 11 00 00 00 08");
  EXPECT_EQ(KQ::KQ_OK, answer("05 68 65 6C 6C 6F 00 00"));
}

TEST_F(SDOClientSegmentedUpload, AbortBeforeTheFirstSegmentLeavesItsTimeOut) {
  addNumber(1, 8, false);
  ask();
  EXPECT_EQ(KQ::KQ_OK, answer("80 00 60 11 00 00 02 06"));
  EXPECT_TRUE(isValid(1));
  expectPending();
  EXPECT_FALSE(isValid(1));
}

// ---- one slot for both roles

TEST_F(SDOClientSegmentedUpload, WaitsForTheUploadOfAMaster) {
  addText(1, "text of a master");
  node.receive("605#40 01 20 01 00 00 00 00");
  read(1);
  EXPECT_EQ(Frames{}, node.cycle());
  node.receive("605#60 00 00 00 00 00 00 00");
  node.receive("605#70 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{}, node.cycle());
  node.receive("605#60 00 00 00 00 00 00 00");
  EXPECT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, node.cycle());
}

TEST_F(SDOClientSegmentedUpload, OfAMasterTakesTheSlotOver) {
  addText(1, "text of a master");
  addNumber(2, 8, false);
  sendRead(2);
  EXPECT_EQ(Frames{"585#41 01 20 01 10 00 00 00"}, node.receive("605#40 01 20 01 00 00 00 00"));
  EXPECT_EQ(KQ::KQ_UNEXPECTED, answer("4F 00 60 12 05 00 00 00"));
  EXPECT_EQ(0, stored(2));
}

// ---- limit

class SDOClientUploadLimit : public SDOClientSegmentedUpload {
protected:
  SDOClientUploadLimit() {
    node.canopen().setSDOTransferLimit(10);
    addText(1, "old");
    ask();
  }

  const Frames outOfMemory = {"606#80 00 60 11 05 00 04 05"};
};

TEST_F(SDOClientUploadLimit, ReachedIsTaken) {
  server("41 00 60 11 0A 00 00 00");
  server("00 61 62 63 64 65 66 67");
  EXPECT_EQ(Frames{}, server("19 68 69 6A 00 00 00 00"));
  EXPECT_EQ("abcdefghij", storedText(1));
  EXPECT_EQ(0U, client().getRefusedTransferCount());
}

TEST_F(SDOClientUploadLimit, ExceededAbortsTheServer) {
  server("41 00 60 11 0A 00 00 00");
  server("00 61 62 63 64 65 66 67");
  EXPECT_EQ(outOfMemory, server("10 68 69 6A 6B 00 00 00"));
  EXPECT_EQ("old", storedText(1));
  EXPECT_EQ(1U, client().getRefusedTransferCount());
}

TEST_F(SDOClientUploadLimit, ExceededEndsTheUpload) {
  server("41 00 60 11 0A 00 00 00");
  server("00 61 62 63 64 65 66 67");
  EXPECT_EQ(KQ::SDO_ABORT_OUT_OF_MEMORY, answer("10 68 69 6A 6B 00 00 00"));
  sent();
  expectOver();
}

TEST_F(SDOClientUploadLimit, ExceededLetsTheNextReadGoOut) {
  addText(2);
  read(2);
  server("41 00 60 11 0A 00 00 00");
  server("00 61 62 63 64 65 66 67");
  server("10 68 69 6A 6B 00 00 00");
  EXPECT_EQ(Frames{"606#40 00 60 12 00 00 00 00"}, node.cycle());
}

TEST_F(SDOClientUploadLimit, HoldsForAnExpeditedAnswer) {
  node.canopen().setSDOTransferLimit(3);
  EXPECT_EQ(outOfMemory, server("43 00 60 11 61 62 63 64"));
  EXPECT_EQ("old", storedText(1));
  expectOver();
}

TEST_F(SDOClientUploadLimit, IsReachedByAnExpeditedAnswerOfItsLength) {
  node.canopen().setSDOTransferLimit(3);
  EXPECT_EQ(Frames{}, server("47 00 60 11 61 62 63 00"));
  EXPECT_EQ("abc", storedText(1));
}

}  // namespace
