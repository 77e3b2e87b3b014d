// Covers: the requests that the SDO client queues and sends.
//
// | subject       | functional                                       | robustness                          |
// |---------------|--------------------------------------------------|-------------------------------------|
// | look-up       | variable, server, channel                        | each missing; channel disabled      |
// | queued writes | newest of a variable, order of keys, all at once | port refuses                        |
// | queued reads  | order of arrival, one at a time                  | port refuses; asked for again       |
// | remote key    | replaces the local one; object without variable  | 0                                   |
// | number        | 1 to 4 bytes, both limits                        | longer than its type                |
// | text          | 0 to 4 characters, 5 and more                    | bytes of an earlier text            |
// | data type     | that of the entry; more than four bytes          | unknown, without size               |
// | state         | PRE-OPERATIONAL, OPERATIONAL, STOPPED            | reset                               |
// | parts         |                                                  | no instance, no port, no dictionary |

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQVariable.h"
#include "NamedCase.h"
#include "SDOClientFixture.h"

namespace {

using test::Frames;

class SDOClientRequest : public test::SDOClientFixture {
protected:
  // A variable of node 6 whose channel is the object 0x1282 with these COB-IDs.
  void addNumberOnChannel(unsigned int request, unsigned int response) {
    node.canopen().addSDOChannel(request, response, 8, KQ::SDO_CHANNEL_CLIENT, "third");
    ASSERT_EQ(KQ::KQ_OK, client().init());
    addNumber(1, 16, false);
    ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, request));
  }

  // An object of that type which node 6 holds. No variable is bound to it.
  void addObject(unsigned char subIndex, KQ::KQCANopenDataType dataType) {
    node.dictionary().addEntry(INDEX, KQ::OBJECT_TYPE_RECORD, "object");
    node.dictionary().addSubentry(INDEX, subIndex, KQ::ACCESS_RW, dataType, "object", false, 0, std::string(), 0x606);
  }

  void refuseOneFrame() { node.port().refuse(26, KQ::KQ_DEFERRED); }
};

// ---- look-ups

TEST_F(SDOClientRequest, OfAVariableWithoutServerGives23) {
  KQ::KQVariable variable(INDEX, 1, "number");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, 5));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, "text"));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, read(1));
}

TEST_F(SDOClientRequest, OfAServerWithoutChannelGives23) {
  addNumber(1, 16, false);
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, 0x608));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, 5));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, "text"));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, read(1));
}

TEST_F(SDOClientRequest, ServerIsNotFoundOnAServerChannelOfThisNode) {
  addNumber(1, 16, false);
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, 0x605));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, 5));
}

TEST_F(SDOClientRequest, OfARefusedVariableSendsNothing) {
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, 5));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, read(1));
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, ChannelIsUnknownUntilTheHandlerReadsIt) {
  addNumber(1, 16, false);
  node.canopen().addSDOChannel(0x608, 0x588, 8, KQ::SDO_CHANNEL_CLIENT, "third");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, 0x608));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, 5));
  ASSERT_EQ(KQ::KQ_OK, client().init());
  EXPECT_EQ(KQ::KQ_OK, write(1, 5));
}

TEST_F(SDOClientRequest, OnAChannelWithDisabledResponsesGives7) {
  addNumberOnChannel(0x608, 0x80000588);
  EXPECT_EQ(KQ::KQ_DISABLED, write(1, 5));
  EXPECT_EQ(KQ::KQ_DISABLED, write(1, "text"));
  EXPECT_EQ(KQ::KQ_DISABLED, read(1));
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, OnAChannelWithDisabledRequestsGives7) {
  addNumberOnChannel(0x80000608, 0x588);
  EXPECT_EQ(KQ::KQ_DISABLED, write(1, 5));
  EXPECT_EQ(KQ::KQ_DISABLED, read(1));
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, LastClientObjectIsAChannel) {
  addNumber(1, 16, false);
  KQ::KQCANopenObjectDictionary& dictionary = node.dictionary();
  for (const unsigned short index : {static_cast<unsigned short>(0x12FF), static_cast<unsigned short>(0x1300)}) {
    const int request = index == 0x12FF ? 0x60A : 0x60B;
    dictionary.addEntry(index, KQ::OBJECT_TYPE_RECORD, "SDO parameter");
    dictionary.addSubentry(index, 1, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "", false, request, "", 0);
    dictionary.addSubentry(index, 2, KQ::ACCESS_RW, KQ::DATA_TYPE_UNSIGNED32, "", false, request - 0x80, "", 0);
  }
  client().init();
  node.canopen().setSDOServerID(INDEX, 1, 0x60A);
  EXPECT_EQ(KQ::KQ_OK, write(1, 5));
  node.canopen().setSDOServerID(INDEX, 1, 0x60B);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, write(1, 5));
}

TEST_F(SDOClientRequest, LaterServerOfAVariableWins) {
  addNumber(1, 16, false);
  moveToOtherServer(1);
  EXPECT_EQ(Frames{"607#2B 00 60 11 05 00 00 00"}, sendWrite(1, 5));
}

// ---- queued writes

TEST_F(SDOClientRequest, WriteSendsNothingByItself) {
  addNumber(1, 16, false);
  EXPECT_EQ(KQ::KQ_OK, write(1, 5));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientRequest, WriteLeavesTheLocalValue) {
  addNumber(1, 16, false, 3);
  sendWrite(1, 5);
  EXPECT_EQ(3, stored(1));
}

TEST_F(SDOClientRequest, WriteGoesOutOnce) {
  addNumber(1, 16, false);
  EXPECT_EQ(1U, sendWrite(1, 5).size());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, NewestQueuedWriteOfAVariableReplacesTheOlder) {
  addNumber(1, 16, false);
  write(1, 5);
  write(1, 6);
  EXPECT_EQ(Frames{"606#2B 00 60 11 06 00 00 00"}, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, NewestQueuedTextReplacesTheOlder) {
  addText(1);
  write(1, "abcd");
  write(1, "ef");
  EXPECT_EQ(Frames{"606#2B 00 60 11 65 66 00 00"}, node.cycle());
}

TEST_F(SDOClientRequest, WritesGoOutInTheOrderOfTheirKeysInOneCycle) {
  addNumber(3, 8, false);
  addNumber(1, 8, false);
  addNumber(2, 8, false);
  moveToOtherServer(2);
  write(3, 3);
  write(2, 2);
  write(1, 1);
  EXPECT_EQ((Frames{"606#2F 00 60 11 01 00 00 00", "607#2F 00 60 12 02 00 00 00", "606#2F 00 60 13 03 00 00 00"}),
            node.cycle());
}

TEST_F(SDOClientRequest, WriteDoesNotWaitForAnEarlierConfirmation) {
  addNumber(1, 8, false);
  sendWrite(1, 5);
  EXPECT_EQ(Frames{"606#2F 00 60 11 06 00 00 00"}, sendWrite(1, 6));
}

TEST_F(SDOClientRequest, RefusedWriteIsNotTriedAgain) {
  addNumber(1, 8, false);
  write(1, 5);
  refuseOneFrame();
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, RefusedWriteWaitsForNoConfirmation) {
  addNumber(1, 8, false);
  write(1, 5);
  refuseOneFrame();
  node.cycle();
  EXPECT_EQ(KQ::KQ_NOT_FOUND, answer("60 00 60 11 00 00 00 00"));
}

TEST_F(SDOClientRequest, RefusedWriteDoesNotHoldUpTheNext) {
  addNumber(1, 8, false);
  addNumber(2, 8, false);
  write(1, 5);
  write(2, 6);
  refuseOneFrame();
  EXPECT_EQ(Frames{"606#2F 00 60 12 06 00 00 00"}, node.cycle());
}

TEST_F(SDOClientRequest, RefusedWriteReturnsTheCodeOfThePort) {
  addNumber(1, 8, false);
  refuseOneFrame();
  EXPECT_EQ(KQ::KQ_DEFERRED, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED8));
}

// ---- queued reads

TEST_F(SDOClientRequest, ReadSendsNothingByItself) {
  addNumber(1, 16, false);
  EXPECT_EQ(KQ::KQ_OK, read(1));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientRequest, ReadAsksForTheRemoteKey) {
  addNumber(1, 16, false);
  EXPECT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, sendRead(1));
}

TEST_F(SDOClientRequest, ReadsGoOutInTheOrderOfTheirArrival) {
  addNumber(1, 8, false);
  addNumber(2, 8, false);
  read(2);
  read(1);
  EXPECT_EQ(Frames{"606#40 00 60 12 00 00 00 00"}, node.cycle());
  answer("4F 00 60 12 01 00 00 00");
  EXPECT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, node.cycle());
}

TEST_F(SDOClientRequest, ReadWaitsForThePendingOne) {
  addNumber(1, 8, false);
  addNumber(2, 8, false);
  moveToOtherServer(2);
  sendRead(1);
  read(2);
  EXPECT_EQ(Frames{}, node.run(100));
  answer("4F 00 60 11 01 00 00 00");
  EXPECT_EQ(Frames{"607#40 00 60 12 00 00 00 00"}, node.cycle());
}

TEST_F(SDOClientRequest, ReadThatWaitsIsNotQueuedAgain) {
  addNumber(1, 8, false);
  EXPECT_EQ(KQ::KQ_OK, read(1));
  EXPECT_EQ(KQ::KQ_OK, read(1));
  EXPECT_EQ(1U, node.cycle().size());
  answer("4F 00 60 11 01 00 00 00");
  EXPECT_EQ(Frames{}, node.cycle());
  EXPECT_EQ(1U, client().getJoinedReadCount());
}

TEST_F(SDOClientRequest, ReadOfAVariableWhoseReadIsUnderWayIsQueued) {
  addNumber(1, 8, false);
  sendRead(1);
  read(1);
  answer("4F 00 60 11 01 00 00 00");
  EXPECT_EQ(1U, node.cycle().size());
  EXPECT_EQ(0U, client().getJoinedReadCount());
}

TEST_F(SDOClientRequest, ReadsKeepTheirPlaceWhenOthersAreNotQueuedAgain) {
  addNumber(1, 8, false);
  addNumber(2, 8, false);
  read(1);
  read(2);
  read(1);
  EXPECT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, node.cycle());
  answer("4F 00 60 11 01 00 00 00");
  EXPECT_EQ(Frames{"606#40 00 60 12 00 00 00 00"}, node.cycle());
  answer("4F 00 60 12 01 00 00 00");
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, ReadFromAnotherServerIsQueuedBesideOneThatWaits) {
  addNumber(1, 8, false);
  read(1);
  moveToOtherServer(1);
  read(1);
  EXPECT_EQ(Frames{"606#40 00 60 11 00 00 00 00"}, node.cycle());
  answer("4F 00 60 11 01 00 00 00");
  EXPECT_EQ(Frames{"607#40 00 60 11 00 00 00 00"}, node.cycle());
}

TEST_F(SDOClientRequest, WritesGoOutBeforeTheRead) {
  addNumber(1, 8, false);
  read(1);
  write(1, 5);
  EXPECT_EQ((Frames{"606#2F 00 60 11 05 00 00 00", "606#40 00 60 11 00 00 00 00"}), node.cycle());
}

TEST_F(SDOClientRequest, WriteDoesNotWaitForAPendingRead) {
  addNumber(1, 8, false);
  sendRead(1);
  EXPECT_EQ(Frames{"606#2F 00 60 11 05 00 00 00"}, sendWrite(1, 5));
}

TEST_F(SDOClientRequest, ReadWithoutRemoteKeyAsksForTheLocalOne) {
  KQ::KQVariable variable(INDEX, 1, "number");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  ASSERT_EQ(KQ::KQ_OK, node.canopen().setSDOServerID(INDEX, 1, 0x606));
  EXPECT_EQ(Frames{"606#40 01 20 01 00 00 00 00"}, sendRead(1));
}

TEST_F(SDOClientRequest, RefusedReadReturnsTheCodeOfThePort) {
  addNumber(1, 8, false);
  refuseOneFrame();
  EXPECT_EQ(KQ::KQ_DEFERRED, client().sendSDOUploadRequest(keyOf(1), 0x586, 0x606));
}

// ---- remote key

TEST_F(SDOClientRequest, WriteToRemoteKey0Gives6) {
  KQ::KQVariable variable(INDEX, 1, "number");
  ASSERT_EQ(KQ::KQ_OK, node.canopen().addVariable(&variable));
  EXPECT_EQ(6, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED32));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientRequest, WriteOfAnObjectWithoutVariableUsesItsOwnKey) {
  addObject(1, KQ::DATA_TYPE_UNSIGNED16);
  EXPECT_EQ(Frames{"606#2B 01 20 01 34 12 00 00"}, sendWrite(1, 0x1234));
}

// ---- numbers

struct NumberRow : test::NamedCase {
  int bits;
  bool isSigned;
  int value;
  const char* frame;
};

class SDOClientNumber : public SDOClientRequest, public ::testing::WithParamInterface<NumberRow> {};

TEST_P(SDOClientNumber, GoesOutInTheBytesOfItsType) {
  addNumber(1, GetParam().bits, GetParam().isSigned);
  EXPECT_EQ(Frames{GetParam().frame}, sendWrite(1, GetParam().value));
}

const NumberRow NUMBER_ROWS[] = {
    {{"Boolean"}, 1, false, 1, "606#2F 00 60 11 01 00 00 00"},
    {{"OneBitSigned"}, 1, true, -1, "606#2F 00 60 11 FF 00 00 00"},
    {{"Unsigned8Highest"}, 8, false, 255, "606#2F 00 60 11 FF 00 00 00"},
    {{"Unsigned8LongerValue"}, 8, false, 0x12345678, "606#2F 00 60 11 78 00 00 00"},
    {{"Integer8Lowest"}, 8, true, -128, "606#2F 00 60 11 80 00 00 00"},
    {{"TwelveBits"}, 12, false, 4095, "606#2B 00 60 11 FF 0F 00 00"},
    {{"TwelveBitsSignedLowest"}, 12, true, -2048, "606#2B 00 60 11 00 F8 00 00"},
    {{"Unsigned16"}, 16, false, 0x1234, "606#2B 00 60 11 34 12 00 00"},
    {{"Integer16Lowest"}, 16, true, -32768, "606#2B 00 60 11 00 80 00 00"},
    {{"SeventeenBits"}, 17, false, 0x1FFFF, "606#27 00 60 11 FF FF 01 00"},
    {{"Unsigned24"}, 24, false, 0x123456, "606#27 00 60 11 56 34 12 00"},
    {{"Integer24Lowest"}, 24, true, -8388608, "606#27 00 60 11 00 00 80 00"},
    {{"TwentyFiveBits"}, 25, false, 0x1FFFFFF, "606#23 00 60 11 FF FF FF 01"},
    {{"Unsigned32Highest"}, 32, false, -1, "606#23 00 60 11 FF FF FF FF"},
    {{"Integer32Lowest"}, 32, true, -2147483647 - 1, "606#23 00 60 11 00 00 00 80"},
    {{"Zero"}, 32, true, 0, "606#23 00 60 11 00 00 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Sizes, SDOClientNumber, ::testing::ValuesIn(NUMBER_ROWS), test::caseName<NumberRow>);

// ---- texts

struct TextRow : test::NamedCase {
  const char* text;
  const char* frame;
};

class SDOClientText : public SDOClientRequest, public ::testing::WithParamInterface<TextRow> {};

TEST_P(SDOClientText, IsExpeditedUpToFourCharacters) {
  addText(1);
  EXPECT_EQ(Frames{GetParam().frame}, sendWrite(1, GetParam().text));
}

const TextRow TEXT_ROWS[] = {
    {{"None"}, "", "606#33 00 60 11 00 00 00 00"},
    {{"One"}, "a", "606#2F 00 60 11 61 00 00 00"},
    {{"Two"}, "ab", "606#2B 00 60 11 61 62 00 00"},
    {{"Three"}, "abc", "606#27 00 60 11 61 62 63 00"},
    {{"Four"}, "abcd", "606#23 00 60 11 61 62 63 64"},
    {{"Five"}, "abcde", "606#21 00 60 11 05 00 00 00"},
    {{"HighBytes"}, "\x80\xFF", "606#2B 00 60 11 80 FF 00 00"},
};

INSTANTIATE_TEST_SUITE_P(Sizes, SDOClientText, ::testing::ValuesIn(TEXT_ROWS), test::caseName<TextRow>);

TEST_F(SDOClientRequest, LongTextIndicatesItsSizeLittleEndian) {
  addText(1);
  EXPECT_EQ(Frames{"606#21 00 60 11 03 02 01 00"}, sendWrite(1, std::string(0x010203, 'x')));
}

TEST_F(SDOClientRequest, ShortTextDoesNotKeepTheBytesOfALongerOne) {
  addText(1);
  sendWrite(1, "abcd");
  EXPECT_EQ(Frames{"606#2F 00 60 11 65 00 00 00"}, sendWrite(1, "e"));
}

TEST_F(SDOClientRequest, EmptyTextLeavesTheDataBytesAsTheyWere) {
  addText(1);
  sendWrite(1, "abcd");
  EXPECT_EQ(Frames{"606#33 00 60 11 61 62 63 64"}, sendWrite(1, ""));
}

TEST_F(SDOClientRequest, TextForANumberSendsTheNumberZero) {
  addNumber(1, 16, false);
  EXPECT_EQ(Frames{"606#2B 00 60 11 00 00 00 00"}, sendWrite(1, "abc"));
}

TEST_F(SDOClientRequest, NumberForATextSendsTheEmptyText) {
  addText(1);
  EXPECT_EQ(Frames{"606#33 00 60 11 00 00 00 00"}, sendWrite(1, 0x1234));
}

// ---- data types

TEST_F(SDOClientRequest, UnknownDataTypeGives23) {
  EXPECT_EQ(KQ::KQ_NOT_FOUND, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "", KQ::DATA_TYPE_NONE));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientRequest, UnknownObjectGives23WhateverTypeIsNamed) {
  EXPECT_EQ(KQ::KQ_NOT_FOUND, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED8));
  EXPECT_EQ(KQ::KQ_NOT_FOUND,
            client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "abcde", KQ::DATA_TYPE_VISIBLE_STRING));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientRequest, ObjectWithoutTypeGives23WhateverTypeIsNamed) {
  addObject(1, KQ::DATA_TYPE_NONE);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED8));
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(SDOClientRequest, TypeOfTheEntryDecidesNotTheOneThatIsNamed) {
  addNumber(1, 16, false);
  for (const int named : {KQ::DATA_TYPE_NONE, KQ::DATA_TYPE_VISIBLE_STRING, KQ::DATA_TYPE_UNSIGNED64}) {
    EXPECT_EQ(KQ::KQ_OK, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 0x1234, "abcde", named));
    EXPECT_EQ(Frames{"606#2B 00 60 11 34 12 00 00"}, sent());
  }
}

TEST_F(SDOClientRequest, TypeWithoutSizeIsRefusedAndSendsNothing) {
  for (const KQ::KQCANopenDataType dataType : {KQ::DATA_TYPE_OCTET_STRING, KQ::DATA_TYPE_DOMAIN}) {
    addObject(1, dataType);
    EXPECT_EQ(0x06070010, client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 5, "abcde", dataType));
    EXPECT_EQ(Frames{}, sendWrite(1, 5));
  }
  EXPECT_EQ(Frames{}, node.run(200));
}

TEST_F(SDOClientRequest, WriteOfAnObjectThatDoesNotExistSendsNothing) {
  ASSERT_EQ(KQ::KQ_OK, client().addVariableSDOServerMapping(0x2002, 1, 0x606));
  EXPECT_EQ(KQ::KQ_OK, node.canopen().updateRequest(0x20020001U, 5));
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(SDOClientRequest, TypeOfMoreThanFourBytesIsSegmented) {
  addObject(1, KQ::DATA_TYPE_UNSIGNED64);
  EXPECT_EQ(Frames{"606#21 01 20 01 08 00 00 00"}, sendWrite(1, 5));
}

TEST_F(SDOClientRequest, SegmentedWriteGives10AlsoOnSuccess) {
  addText(1);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE,
            client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 0, "abcde", KQ::DATA_TYPE_VISIBLE_STRING));
  EXPECT_EQ(1U, sent().size());
}

TEST_F(SDOClientRequest, RefusedSegmentedWriteStartsNothing) {
  addText(1);
  refuseOneFrame();
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE,
            client().sendSDODownloadRequest(keyOf(1), 0x586, 0x606, 0, "abcde", KQ::DATA_TYPE_VISIBLE_STRING));
  EXPECT_EQ(Frames{}, node.receive("586#60 00 60 11 00 00 00 00"));
  EXPECT_EQ(Frames{}, node.run(200));
}

// ---- states

TEST_F(SDOClientRequest, GoesOutInOperational) {
  addNumber(1, 8, false);
  node.receive("000#01 05");
  EXPECT_EQ(1U, sendWrite(1, 5).size());
  EXPECT_EQ(1U, sendRead(1).size());
}

TEST_F(SDOClientRequest, GoesOutInStopped) {
  addNumber(1, 8, false);
  node.receive("000#02 05");
  EXPECT_EQ(1U, sendWrite(1, 5).size());
  EXPECT_EQ(1U, sendRead(1).size());
}

TEST_F(SDOClientRequest, AnswerInStoppedIsNotTaken) {
  addNumber(1, 8, false);
  node.receive("000#02 05");
  sendWrite(1, 5);
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, answer("60 00 60 11 00 00 00 00"));
  EXPECT_EQ(0, stored(1));
}

TEST_F(SDOClientRequest, WaitsForTheEndOfAReset) {
  addNumber(1, 8, false);
  node.receive("000#82 05");
  write(1, 5);
  Frames frames;
  for (int i = 0; i < 4; ++i) {
    for (const std::string& text : node.cycle()) {
      frames.push_back(text);
    }
  }
  EXPECT_EQ((Frames{"705#00", "606#2F 00 60 11 05 00 00 00"}), frames);
}

// ---- missing parts

TEST(SDOClientAlone, WithoutInstanceNothingIsSent) {
  KQ::KQSDOHandler handler;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE,
            handler.sendSDODownloadRequest(0x20010001, 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED8));
  EXPECT_EQ(KQ::KQ_MISSING_OBJECT, handler.sendSDOUploadRequest(0x20010001, 0x586, 0x606));
}

TEST(SDOClientAlone, WithoutDictionaryNothingIsSent) {
  test::TestNode node;
  KQ::KQSDOHandler handler;
  handler.setCANopenInstance(&node.canopen());
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE,
            handler.sendSDODownloadRequest(0x20010001, 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED8));
  EXPECT_EQ(KQ::KQ_MISSING_OBJECT, handler.sendSDOUploadRequest(0x20010001, 0x586, 0x606));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST(SDOClientAlone, WithoutPortNothingIsSent) {
  test::TestNode node;
  KQ::KQCANopen withoutPort("withoutPort");
  KQ::KQCANopenObjectDictionary dictionary;
  KQ::KQSDOHandler handler;
  handler.setCANopenInstance(&withoutPort);
  handler.setObjectDictionary(&dictionary);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE,
            handler.sendSDODownloadRequest(0x20010001, 0x586, 0x606, 5, "", KQ::DATA_TYPE_UNSIGNED8));
  EXPECT_EQ(KQ::KQ_MISSING_OBJECT, handler.sendSDOUploadRequest(0x20010001, 0x586, 0x606));
}

TEST(SDOClientAlone, MappingIsAccepted) {
  KQ::KQSDOHandler handler;
  EXPECT_EQ(KQ::KQ_OK, handler.addVariableSDOServerMapping(0x2001, 1, 0x606));
  EXPECT_EQ(KQ::KQ_NOT_FOUND, handler.handleUpdateRequest(0x20010001, 5));
}

}  // namespace
