// Covers: what a write to the dictionary sets off in the node.
//
// | subject                                      | functional                                        | robustness |
// |----------------------------------------------|---------------------------------------------------|------------|
// | SDO parameters                               | channels follow a write, first and last index     |            |
// | consumer heartbeat time                      | watched nodes follow a write                      |            |
// | a reset sets off what a write does           | x                                                 |            |
// | refused writes set nothing off               | x                                                 |            |
// | save                                         | file and answer, wrong signature, sub-index 3, no |            |
// |                                              | file possible                                     |            |
// | answers to refused writes of profile objects | x                                                 |            |

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQSDOHandler.h"
#include "SignalRecorder.h"
#include "TestNode.h"

using namespace KQ;
using test::Frames;

namespace {

class DictionaryWrites : public testing::Test {
protected:
  void SetUp() override { node.boot(); }

  void addSDOParameter(unsigned short index, int sub1, int sub2) {
    KQCANopenObjectDictionary& dictionary = node.dictionary();
    dictionary.addEntry(index, OBJECT_TYPE_RECORD, "SDO Parameter");
    dictionary.addSubentry(index, 1, ACCESS_RW, DATA_TYPE_UNSIGNED32, "First", false, sub1, "", 0);
    dictionary.addSubentry(index, 2, ACCESS_RW, DATA_TYPE_UNSIGNED32, "Second", false, sub2, "", 0);
    dictionary.setLimits(index, 1, 0, -1);
    dictionary.setLimits(index, 2, 0, -1);
  }

  // The answer to the upload of the device type on the channel with that request COB-ID.
  Frames uploadOn(const std::string& requestCOBID) { return node.receive(requestCOBID + "#40 00 10 00 00 00 00 00"); }

  test::TestNode node;
};

TEST_F(DictionaryWrites, AddedSDOChannelIsUnknownUntilItIsWritten) {
  addSDOParameter(0x1201, 0x620, 0x5A0);
  EXPECT_EQ(Frames{}, uploadOn("620"));
}

TEST_F(DictionaryWrites, WrittenSDOChannelAnswers) {
  addSDOParameter(0x1201, 0x620, 0x5B0);
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1201, 2, 0x5A0, true));
  EXPECT_EQ(Frames{"5A0#43 00 10 00 00 00 00 00"}, uploadOn("620"));
}

TEST_F(DictionaryWrites, LastServerChannelAnswersWhenWritten) {
  addSDOParameter(0x127F, 0x620, 0x5B0);
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x127F, 2, 0x5A0, true));
  EXPECT_EQ(Frames{"5A0#43 00 10 00 00 00 00 00"}, uploadOn("620"));
}

TEST_F(DictionaryWrites, AnySubIndexOfAnSDOParameterCounts) {
  addSDOParameter(0x1201, 0x620, 0x5A0);
  node.dictionary().addSubentry(0x1201, 3, ACCESS_RW, DATA_TYPE_UNSIGNED8, "Node ID", false, 0, "", 0);
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1201, 3, 7, false));
  EXPECT_EQ(Frames{"5A0#43 00 10 00 00 00 00 00"}, uploadOn("620"));
}

TEST_F(DictionaryWrites, SDOChannelWrittenByAMasterAnswers) {
  addSDOParameter(0x1201, 0x620, 0x5B0);
  EXPECT_EQ(Frames{"585#60 01 12 02 00 00 00 00"}, node.receive("605#23 01 12 02 A0 05 00 00"));
  EXPECT_EQ(Frames{"5A0#43 00 10 00 00 00 00 00"}, uploadOn("620"));
}

TEST_F(DictionaryWrites, RefusedWriteLeavesTheSDOChannelsAlone) {
  addSDOParameter(0x1201, 0x620, 0x5A0);
  node.dictionary().addSubentry(0x1201, 0, ACCESS_RO, DATA_TYPE_UNSIGNED8, "Number", false, 2, "", 0);
  EXPECT_EQ(KQ_NOT_PERMITTED, node.dictionary().setValue(0x1201, 0, 2, false));
  EXPECT_EQ(Frames{}, uploadOn("620"));
}

TEST_F(DictionaryWrites, DefaultChannelMadeInvalidIsSilent) {
  ASSERT_EQ(Frames{"585#43 00 10 00 00 00 00 00"}, uploadOn("605"));
  const int invalid = static_cast<int>(0x80000585);
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1200, 2, invalid, true));
  EXPECT_EQ("Set SDO COB-ID invalid, new value: 0x80000585\n", node.output.takeOutput());
  EXPECT_EQ(Frames{}, uploadOn("605"));
}

TEST_F(DictionaryWrites, ResetObjectCountsAsWritten) {
  addSDOParameter(0x1201, 0x620, 0x5A0);
  node.dictionary().performReset(false);
  EXPECT_EQ(Frames{"5A0#43 00 10 00 00 00 00 00"}, uploadOn("620"));
}

TEST_F(DictionaryWrites, ResetOfOneValueCountsAsWritten) {
  addSDOParameter(0x1201, 0x620, 0x5A0);
  EXPECT_EQ(KQ_OK, node.canopen().resetValue(0x12010002));
  EXPECT_EQ(Frames{"5A0#43 00 10 00 00 00 00 00"}, uploadOn("620"));
}

TEST_F(DictionaryWrites, LastClientChannelIsKnownWhenWritten) {
  addSDOParameter(0x12FF, 0x607, 0x500);
  constexpr unsigned int KEY = 0x20010001;
  node.canopen().getSDOHandler()->addVariableSDOServerMapping(0x2001, 1, 0x607);
  EXPECT_EQ(KQ_NOT_FOUND, node.canopen().getSDOHandler()->handleUpdateRequest(KEY, 1));
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x12FF, 2, 0x587, false));
  EXPECT_EQ(KQ_OK, node.canopen().getSDOHandler()->handleUpdateRequest(KEY, 1));
}

// ---- consumer heartbeat time

class ConsumerHeartbeatWrites : public DictionaryWrites {
protected:
  static constexpr int RESOLVED = 0x518;

  void SetUp() override {
    node.boot();
    node.canopen().getNMTHandler()->addHeartbeatListener(&recorder);
  }

  test::SignalRecorder recorder;
};

TEST_F(ConsumerHeartbeatWrites, NodeIsNotWatchedBefore) {
  node.receive("707#05");
  EXPECT_TRUE(recorder.signals.empty());
}

TEST_F(ConsumerHeartbeatWrites, WrittenNodeIsWatched) {
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1016, 1, 0x00070064, true));
  node.receive("707#05");
  ASSERT_EQ(1U, recorder.signals.size());
  EXPECT_EQ(RESOLVED, recorder.signals[0].getCode());
  EXPECT_EQ(7U, recorder.signals[0].getFirstValue());
}

TEST_F(ConsumerHeartbeatWrites, NodeWrittenByAMasterIsWatched) {
  EXPECT_EQ(Frames{"585#60 16 10 01 00 00 00 00"}, node.receive("605#23 16 10 01 64 00 07 00"));
  node.receive("707#05");
  ASSERT_EQ(1U, recorder.signals.size());
  EXPECT_EQ(7U, recorder.signals[0].getFirstValue());
}

TEST_F(ConsumerHeartbeatWrites, ResetReadsTheWatchedNodesAgain) {
  node.dictionary().setValue(0x1016, 1, 0x00070064, true);
  node.receive("707#05");
  node.dictionary().performReset(false);
  node.receive("700#05");
  ASSERT_EQ(2U, recorder.signals.size());
  EXPECT_EQ(0U, recorder.signals[1].getFirstValue());
}

TEST_F(ConsumerHeartbeatWrites, RefusedEntryIsNotWatched) {
  EXPECT_EQ(KQ_INVALID_ARGUMENT, node.dictionary().setValue(0x1016, 1, 0x00800064, true));
  node.receive("780#05");
  EXPECT_TRUE(recorder.signals.empty());
}

// ---- save

TEST_F(DictionaryWrites, SaveWritesTheFile) {
  EXPECT_EQ(Frames{"585#60 10 10 01 00 00 00 00"}, node.receive("605#23 10 10 01 73 61 76 65"));
  EXPECT_EQ("[FileInfo]", node.directory.read("tavo.dcf").substr(0, 10));
}

TEST_F(DictionaryWrites, SavedSubIndexReadsAsTheSignature) {
  node.receive("605#23 10 10 02 73 61 76 65");
  EXPECT_EQ(Frames{"585#43 10 10 02 73 61 76 65"}, node.receive("605#40 10 10 02 00 00 00 00"));
}

TEST_F(DictionaryWrites, WrongSignatureIsAborted) {
  EXPECT_EQ(Frames{"585#80 10 10 01 23 00 00 08"}, node.receive("605#23 10 10 01 01 00 00 00"));
  EXPECT_FALSE(std::filesystem::exists("tavo.dcf"));
}

TEST_F(DictionaryWrites, SaveOfApplicationParametersIsAborted) {
  EXPECT_EQ(Frames{"585#80 10 10 03 00 00 00 08"}, node.receive("605#23 10 10 03 73 61 76 65"));
  EXPECT_FALSE(std::filesystem::exists("tavo.dcf"));
}

TEST_F(DictionaryWrites, SaveWithoutAPossibleFileIsAborted) {
  std::filesystem::create_directory("tavo.dcf");
  EXPECT_EQ(Frames{"585#80 10 10 01 00 00 06 06"}, node.receive("605#23 10 10 01 73 61 76 65"));
}

TEST_F(DictionaryWrites, DeviceNameIsReadInOnePiece) {
  EXPECT_EQ(Frames{"585#43 08 10 00 54 41 56 4F"}, node.receive("605#40 08 10 00 00 00 00 00"));
}

struct RefusalRow {
  const char* name;
  const char* request;
  const char* answer;
};

class RefusedMasterWrite : public testing::TestWithParam<RefusalRow> {};

TEST_P(RefusedMasterWrite, IsAborted) {
  test::TestNode node;
  node.boot();
  EXPECT_EQ(Frames{GetParam().answer}, node.receive(GetParam().request));
}

// A common code of the dictionary leaves as the general error 0x08000000.
const RefusalRow REFUSALS[] = {
    {"DeviceType", "605#23 00 10 00 01 00 00 00", "585#80 00 10 00 00 00 00 08"},
    {"DeviceName", "605#23 08 10 00 41 42 43 44", "585#80 08 10 00 00 00 00 08"},
    {"NumberOfErrors", "605#2F 03 10 00 00 00 00 00", "585#80 03 10 00 00 00 00 08"},
    {"SyncCOBIDBelowItsLimit", "605#23 05 10 00 00 00 00 00", "585#80 05 10 00 00 00 00 08"},
    {"TimeStampCOBID", "605#23 12 10 00 00 01 00 20", "585#80 12 10 00 30 00 09 06"},
    {"RestoreDefaults", "605#23 11 10 01 6C 6F 61 64", "585#80 11 10 01 00 00 00 08"},
    {"VendorID", "605#23 18 10 01 01 00 00 00", "585#80 18 10 01 00 00 00 08"},
    {"DefaultSDOChannel", "605#23 00 12 01 05 06 00 80", "585#80 00 12 01 00 00 00 08"},
};

INSTANTIATE_TEST_SUITE_P(Objects, RefusedMasterWrite, testing::ValuesIn(REFUSALS),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
