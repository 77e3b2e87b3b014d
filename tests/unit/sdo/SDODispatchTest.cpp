// Covers: which frames the SDO server takes, and what each command specifier does when no transfer is running.
//
// | subject               | functional                                      | robustness                           |
// |-----------------------|-------------------------------------------------|--------------------------------------|
// | frame                 |                                                 | null                                 |
// | state                 | PRE-OPERATIONAL, OPERATIONAL; STOPPED is silent | no state machine; foreign in STOPPED |
// | COB-ID                | own, other, bits above bit 28                   | bit 28, neighbours                   |
// | channel objects       | 0x1200 to 0x127F, several, added at run time    | disabled, half an object, moved      |
// | command specifier     | 0 to 7                                          | every low bit set                    |
// | received data length  |                                                 | 0 to 8, not looked at                |
// | abort from the master | event signal                                    | no listener; transfers are kept      |

#include <utility>

#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQErrorCodes.h"
#include "NamedCase.h"
#include "SDOServerFixture.h"
#include "SignalRecorder.h"

namespace {

using test::Frames;

const char* const READ_VENDOR_ID = "40 18 10 01 00 00 00 00";
const char* const VENDOR_ID = "585#43 18 10 01 C7 03 00 00";

class SDODispatch : public test::SDOServerFixture {
protected:
  // Offers a frame to the handler alone.
  int offer(unsigned int identifier, const std::string& bytes) {
    KQ::KQCANMessage message = test::frame("0#" + bytes);
    message.identifier = identifier;
    return server().handleMessage(&message);
  }
  int offer(const std::string& bytes) { return offer(0x605, bytes); }
  Frames sent() { return node.port().takeSent(); }
};

TEST_F(SDODispatch, NullFrameIsRefused) {
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, server().handleMessage(nullptr));
}

TEST(SDODispatchAlone, WithoutStateMachineNothingIsServed) {
  KQ::KQSDOHandler handler;
  KQ::KQCANMessage message = test::frame("605#40 18 10 01 00 00 00 00");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, handler.handleMessage(&message));
}

TEST(SDODispatchAlone, InitNeedsADictionary) {
  KQ::KQSDOHandler handler;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.init());
}

TEST(SDODispatchAlone, WithoutDictionaryAnUploadIsNotAnswered) {
  KQ::KQSDOHandler handler;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.sendUploadResponse(0x1018, 1, 0x585, 0x605));
}

TEST(SDODispatchAlone, WithoutDictionaryASegmentedDownloadIsNotOpened) {
  KQ::KQSDOHandler handler;
  EXPECT_EQ(0x08000000, handler.handleSegmentedSDODownloadRequest(0x2001, 1, true, 0, 0x585, 0x605, 10, 0, 0, 0));
}

TEST_F(SDODispatch, PreOperationalIsServed) {
  EXPECT_EQ(KQ::KQ_OK, offer(READ_VENDOR_ID));
  EXPECT_EQ(Frames{VENDOR_ID}, sent());
}

TEST_F(SDODispatch, OperationalIsServed) {
  node.receive("000#01 05");
  EXPECT_EQ(KQ::KQ_OK, offer(READ_VENDOR_ID));
  EXPECT_EQ(Frames{VENDOR_ID}, sent());
}

TEST_F(SDODispatch, StoppedIsSilent) {
  node.receive("000#02 05");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, offer(READ_VENDOR_ID));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDODispatch, StoppedRefusesFramesOfNoChannelToo) {
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x123, READ_VENDOR_ID));
  node.receive("000#02 05");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, offer(0x123, READ_VENDOR_ID));
}

TEST_F(SDODispatch, StoppedDoesNotWrite) {
  addOwnNumber(0x2001, 1, 16, false);
  node.receive("000#02 05");
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, offer("2B 01 20 01 34 12 00 00"));
  EXPECT_EQ(0, stored(0x2001, 1));
}

TEST_F(SDODispatch, ServedAgainAfterStopped) {
  node.receive("000#02 05");
  node.receive("000#80 05");
  EXPECT_EQ(Frames{VENDOR_ID}, request(READ_VENDOR_ID));
}

struct CobIDRow : test::NamedCase {
  unsigned int identifier;
  bool served;
};

class SDOCobID : public SDODispatch, public ::testing::WithParamInterface<CobIDRow> {};

TEST_P(SDOCobID, IsLookedUpInItsLowTwentyNineBits) {
  EXPECT_EQ(GetParam().served ? KQ::KQ_OK : KQ::KQ_NOT_HANDLED, offer(GetParam().identifier, READ_VENDOR_ID));
  EXPECT_EQ(GetParam().served ? Frames{VENDOR_ID} : Frames{}, sent());
}

const CobIDRow COB_ID_ROWS[] = {
    {{"Own"}, 0x605, true},          {{"NodeBelow"}, 0x604, false},  {{"NodeAbove"}, 0x606, false},
    {{"OwnResponse"}, 0x585, false}, {{"Zero"}, 0x000, false},       {{"Bit31"}, 0x80000605, true},
    {{"Bit30"}, 0x40000605, true},   {{"Bit29"}, 0x20000605, true},  {{"Bits29To31"}, 0xE0000605, true},
    {{"Bit28"}, 0x10000605, false},  {{"Bit11"}, 0x00000E05, false}, {{"AllOnes"}, 0xFFFFFFFF, false},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOCobID, ::testing::ValuesIn(COB_ID_ROWS), test::caseName<CobIDRow>);

TEST_F(SDODispatch, FirstToLastServerObjectIsAChannel) {
  addChannel(0x1201, 0x612, 0x592);
  addChannel(0x127F, 0x613, 0x593);
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, node.receive("612#40 18 10 01 00 00 00 00"));
  EXPECT_EQ(Frames{"593#43 18 10 01 C7 03 00 00"}, node.receive("613#40 18 10 01 00 00 00 00"));
  EXPECT_EQ(Frames{VENDOR_ID}, request(READ_VENDOR_ID));
}

TEST_F(SDODispatch, FirstClientObjectIsNoServerChannel) {
  addChannel(0x1280, 0x612, 0x592);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x612, READ_VENDOR_ID));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDODispatch, ObjectBelowTheServerObjectsIsNoChannel) {
  addChannel(0x11FF, 0x612, 0x592);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x612, READ_VENDOR_ID));
}

TEST_F(SDODispatch, NegativeResponseCobIDDisablesTheChannel) {
  addChannel(0x1201, 0x612, static_cast<int>(0x80000592));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x612, READ_VENDOR_ID));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDODispatch, DisabledChannelAbortsNoInvalidSpecifier) {
  addChannel(0x1201, 0x612, static_cast<int>(0x80000592));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x612, "E0 18 10 01 00 00 00 00"));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDODispatch, DictionaryWriteDisablesTheDefaultChannelAtOnce) {
  EXPECT_EQ(KQ::KQ_OK, node.dictionary().setValue(0x1200, 2, static_cast<int>(0x80000585), true));
  EXPECT_EQ(Frames{}, request(READ_VENDOR_ID));
}

TEST_F(SDODispatch, MovedResponseCobIDIsUsedAtOnce) {
  EXPECT_EQ(KQ::KQ_OK, node.dictionary().setValue(0x1200, 2, 0x599, true));
  EXPECT_EQ(Frames{"599#43 18 10 01 C7 03 00 00"}, request(READ_VENDOR_ID));
}

TEST_F(SDODispatch, ChannelOnceReadStaysUnderItsOldRequestCobID) {
  EXPECT_EQ(KQ::KQ_OK, node.dictionary().setValue(0x1200, 1, 0x619, true));
  EXPECT_EQ(Frames{VENDOR_ID}, node.receive("619#40 18 10 01 00 00 00 00"));
  EXPECT_EQ(Frames{VENDOR_ID}, request(READ_VENDOR_ID));
}

TEST_F(SDODispatch, InvalidatedRequestCobIDLeavesTheChannelOnceRead) {
  EXPECT_EQ(KQ::KQ_OK, node.dictionary().setValue(0x1200, 1, static_cast<int>(0x80000605), true));
  EXPECT_EQ(Frames{VENDOR_ID}, request(READ_VENDOR_ID));
}

TEST_F(SDODispatch, ChannelsAreReadAgainAtTheBoot) {
  node.dictionary().addEntry(0x1201, KQ::OBJECT_TYPE_RECORD, "channel");
  for (const auto& [subIndex, cobID] : {std::pair<int, int>{1, 0x612}, {2, 0x592}}) {
    node.dictionary().addSubentry(0x1201, static_cast<unsigned char>(subIndex), KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32,
                                  "COB-ID", false, cobID, std::string(), 0);
  }
  EXPECT_EQ(Frames{}, node.receive("612#40 18 10 01 00 00 00 00"));
  node.receive("000#82 05");
  node.cycle();
  node.cycle();
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, node.receive("612#40 18 10 01 00 00 00 00"));
}

TEST_F(SDODispatch, ObjectWithoutResponseCobIDIsNoChannel) {
  node.dictionary().addEntry(0x1201, KQ::OBJECT_TYPE_RECORD, "half a channel");
  node.dictionary().addSubentry(0x1201, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "request", false, 0x612,
                                std::string(), 0);
  EXPECT_EQ(KQ::KQ_OK, server().init());
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x612, READ_VENDOR_ID));
}

TEST_F(SDODispatch, LaterObjectWithTheSameRequestCobIDWins) {
  addChannel(0x1201, 0x605, 0x592);
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, request(READ_VENDOR_ID));
}

TEST_F(SDODispatch, FrameOfServerAndClientChannelIsAnsweredAndGivesTheResultOfTheClient) {
  addChannel(0x1201, 0x612, 0x592);
  addChannel(0x1280, 0x60A, 0x612);
  EXPECT_EQ(KQ::KQ_UNEXPECTED, offer(0x612, READ_VENDOR_ID));
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, sent());
}

TEST_F(SDODispatch, FrameOfAClientChannelReachesTheClient) {
  addChannel(0x1280, 0x60A, 0x612);
  EXPECT_EQ(Frames{"60A#80 18 10 01 01 00 04 05"}, node.receive("612#E0 18 10 01 00 00 00 00"));
}

TEST_F(SDODispatch, FrameOfServerAndClientChannelReachesTheServerThenTheClient) {
  addChannel(0x1201, 0x612, 0x592);
  addChannel(0x1280, 0x60A, 0x612);
  const Frames expected = {"592#80 18 10 01 01 00 04 05", "60A#80 18 10 01 01 00 04 05"};
  EXPECT_EQ(expected, node.receive("612#E0 18 10 01 00 00 00 00"));
}

TEST_F(SDODispatch, FrameOfAnEnabledServerAndADisabledClientChannelGivesTheResultOfTheServer) {
  addChannel(0x1201, 0x612, 0x592);
  addChannel(0x1280, static_cast<int>(0x8000060A), 0x612);
  EXPECT_EQ(KQ::KQ_OK, offer(0x612, READ_VENDOR_ID));
  EXPECT_EQ(Frames{"592#43 18 10 01 C7 03 00 00"}, sent());
}

struct SpecifierRow : test::NamedCase {
  const char* request;
  Frames answer;
};

class SDOSpecifier : public SDODispatch, public ::testing::WithParamInterface<SpecifierRow> {};

TEST_P(SDOSpecifier, IsConsumed) {
  addOwnNumber(0x2001, 1, 16, false);
  EXPECT_EQ(KQ::KQ_OK, offer(GetParam().request));
  EXPECT_EQ(GetParam().answer, sent());
}

const SpecifierRow SPECIFIER_ROWS[] = {
    {{"DownloadSegmentWithoutDownloadIsSilent"}, "00 01 20 01 00 00 00 00", {}},
    {{"LastDownloadSegmentWithoutDownloadIsSilent"}, "1F 01 20 01 00 00 00 00", {}},
    {{"InitiateDownload"}, "2B 01 20 01 34 12 00 00", {"585#60 01 20 01 00 00 00 00"}},
    {{"InitiateDownloadIgnoresBit4"}, "3B 01 20 01 34 12 00 00", {"585#60 01 20 01 00 00 00 00"}},
    {{"InitiateUpload"}, "40 01 20 01 00 00 00 00", {"585#4B 01 20 01 00 00 00 00"}},
    {{"InitiateUploadIgnoresTheLowBits"}, "5F 01 20 01 FF FF FF FF", {"585#4B 01 20 01 00 00 00 00"}},
    {{"UploadSegmentWithoutUploadIsSilent"}, "60 01 20 01 00 00 00 00", {}},
    {{"UploadSegmentWithToggleWithoutUploadIsSilent"}, "70 01 20 01 00 00 00 00", {}},
    {{"Abort"}, "80 01 20 01 00 00 00 08", {}},
    {{"AbortWithLowBits"}, "9F 01 20 01 00 00 00 08", {}},
    {{"Specifier5"}, "A0 01 20 01 00 00 00 00", {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier5WithLowBits"}, "BF 01 20 01 FF FF FF FF", {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier6"}, "C0 01 20 01 00 00 00 00", {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier6WithLowBits"}, "DF 01 20 01 FF FF FF FF", {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier7"}, "E0 01 20 01 00 00 00 00", {"585#80 01 20 01 01 00 04 05"}},
    {{"Specifier7WithLowBits"}, "FF 01 20 01 FF FF FF FF", {"585#80 01 20 01 01 00 04 05"}},
    {{"InvalidSpecifierForUnknownObject"}, "E0 DC FE BA 00 00 00 00", {"585#80 DC FE BA 01 00 04 05"}},
};

INSTANTIATE_TEST_SUITE_P(Table, SDOSpecifier, ::testing::ValuesIn(SPECIFIER_ROWS), test::caseName<SpecifierRow>);

class SDOReceivedLength : public SDODispatch, public ::testing::WithParamInterface<unsigned int> {};

TEST_P(SDOReceivedLength, IsNotLookedAt) {
  addOwnNumber(0x2001, 1, 16, false);
  KQ::KQCANMessage message = test::frame("605#2B 01 20 01 34 12 00 00");
  message.length = GetParam();
  EXPECT_EQ(KQ::KQ_OK, server().handleMessage(&message));
  EXPECT_EQ(Frames{"585#60 01 20 01 00 00 00 00"}, sent());
  EXPECT_EQ(0x1234, stored(0x2001, 1));
}

INSTANTIATE_TEST_SUITE_P(Table, SDOReceivedLength, ::testing::Values(0u, 1u, 3u, 4u, 6u, 7u, 8u));

class SDOMasterAbort : public SDODispatch {
protected:
  SDOMasterAbort() {
    addOwnText(0x2001, 1, "fourteen chars");
    addOwnText(0x2001, 2, "old");
  }
  test::SignalRecorder events;
};

TEST_F(SDOMasterAbort, IsSignalledWithTheObjectOfTheFrame) {
  server().setSDOEventListener(&events);
  EXPECT_EQ(KQ::KQ_OK, offer("80 01 20 03 00 00 04 05"));
  ASSERT_EQ(1u, events.signals.size());
  EXPECT_EQ(6, events.signals[0].getType());
  EXPECT_EQ(1103, events.signals[0].getCode());
  EXPECT_EQ(0x20010003u, events.signals[0].getFirstValue());
  EXPECT_EQ(0u, events.signals[0].getSecondValue());
  EXPECT_FALSE(events.signals[0].getFlag());
}

TEST_F(SDOMasterAbort, ResultOfTheListenerDoesNotShow) {
  events.result = 99;
  server().setSDOEventListener(&events);
  EXPECT_EQ(KQ::KQ_OK, offer("80 01 20 03 00 00 04 05"));
}

TEST_F(SDOMasterAbort, GoesToNobodyAfterTheListenerIsRemoved) {
  server().setSDOEventListener(&events);
  server().setSDOEventListener(nullptr);
  EXPECT_EQ(KQ::KQ_OK, offer("80 01 20 03 00 00 04 05"));
  EXPECT_TRUE(events.signals.empty());
}

TEST_F(SDOMasterAbort, OfAForeignChannelIsNotSignalled) {
  server().setSDOEventListener(&events);
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, offer(0x606, "80 01 20 03 00 00 04 05"));
  EXPECT_TRUE(events.signals.empty());
}

TEST_F(SDOMasterAbort, DoesNotEndAnUpload) {
  request("40 01 20 01 00 00 00 00");
  EXPECT_EQ(Frames{}, request("80 01 20 01 00 00 04 05"));
  EXPECT_EQ(Frames{"585#00 66 6F 75 72 74 65 65"}, request("60 00 00 00 00 00 00 00"));
}

TEST_F(SDOMasterAbort, DoesNotEndADownload) {
  request("21 01 20 02 07 00 00 00");
  EXPECT_EQ(Frames{}, request("80 01 20 02 00 00 04 05"));
  EXPECT_EQ(Frames{"585#20 00 00 00 00 00 00 00"}, request("01 61 62 63 64 65 66 67"));
  EXPECT_EQ("abcdefg", storedText(0x2001, 2));
}

TEST_F(SDOMasterAbort, LeavesTheTransferToItsTimeOut) {
  request("21 01 20 02 07 00 00 00");
  request("80 01 20 02 00 00 04 05");
  EXPECT_EQ(Frames{}, node.run(100));
  EXPECT_EQ(Frames{"585#80 01 20 02 00 00 04 05"}, node.run(1));
}

}  // namespace
