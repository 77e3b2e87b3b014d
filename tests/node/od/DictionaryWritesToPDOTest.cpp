// Covers: what a write to the dictionary sets off in the PDOs of the node.
//
// | subject                                          | functional                                    | robustness |
// |--------------------------------------------------|-----------------------------------------------|------------|
// | PDO parameters                                   | a written PDO is built, an invalidated one is |            |
// |                                                  | gone                                          |            |
// | a written object leaves in the PDO that maps it, | x                                             |            |
// | before the SDO answer                            |                                               |            |
// | refused writes, objects that no PDO maps         | x                                             |            |

#include <gtest/gtest.h>

#include <vector>

#include "KQCANopenObjectDictionary.h"
#include "KQErrorCodes.h"
#include "TestNode.h"

using namespace KQ;
using test::Frames;

namespace {

// A node in OPERATIONAL with one PDO of each direction, not valid yet, that maps the EMCY inhibit time (0x1015).
class DictionaryWritesToPDO : public testing::Test {
protected:
  void SetUp() override {
    node.start();
    addPDO(0x1400, 0x205);
    addPDO(0x1800, 0x185);
  }

  void addPDO(unsigned short index, unsigned int cobID) {
    const auto mapping = static_cast<unsigned short>(index + 0x200);
    addEntry(index, {0, static_cast<int>(0x80000000U | cobID), 0xFF});
    addEntry(mapping, {1, 0x10150010});
  }

  void addEntry(unsigned short index, const std::vector<int>& values) {
    node.dictionary().addEntry(index, OBJECT_TYPE_RECORD, "PDO Parameter");
    for (std::size_t i = 0; i < values.size(); ++i) {
      const auto subIndex = static_cast<unsigned char>(i);
      node.dictionary().addSubentry(index, subIndex, ACCESS_RW, DATA_TYPE_UNSIGNED32, "", false, values[i], "", 0);
      node.dictionary().setLimits(index, subIndex, 0, -1);
    }
  }

  // Makes the transmit PDO valid and lets its first frame go.
  void startTransmitPDO() {
    ASSERT_EQ(KQ_OK, node.dictionary().setValue(0x1800, 1, 0x185, false));
    ASSERT_EQ(Frames{"185#00 00"}, node.cycle());
  }

  int inhibitTime() {
    int value = 0;
    EXPECT_EQ(KQ_OK, node.dictionary().getValue(0x1015, 0, value));
    return value;
  }

  test::TestNode node;
};

TEST_F(DictionaryWritesToPDO, AddedTransmitPDOIsSilentUntilItIsWritten) {
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(DictionaryWritesToPDO, WrittenTransmitPDOIsBuilt) {
  startTransmitPDO();
}

TEST_F(DictionaryWritesToPDO, InvalidatedTransmitPDOIsGone) {
  startTransmitPDO();
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1800, 1, static_cast<int>(0x80000185), false));
  node.dictionary().setValue(0x1015, 0, 0x1234, false);
  EXPECT_EQ(Frames{}, node.cycle());
}

TEST_F(DictionaryWritesToPDO, WrittenReceivePDOIsBuilt) {
  node.receive("205#78 56");
  EXPECT_EQ(0, inhibitTime());
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1400, 1, 0x205, false));
  node.receive("205#78 56");
  EXPECT_EQ(0x5678, inhibitTime());
}

TEST_F(DictionaryWritesToPDO, WrittenObjectLeavesAtOnce) {
  startTransmitPDO();
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1015, 0, 0x1234, false));
  EXPECT_EQ(Frames{"185#34 12"}, node.port().takeSent());
}

TEST_F(DictionaryWritesToPDO, WrittenObjectLeavesBeforeTheMasterIsAnswered) {
  startTransmitPDO();
  EXPECT_EQ((Frames{"185#34 12", "585#60 15 10 00 00 00 00 00"}), node.receive("605#2B 15 10 00 34 12 00 00"));
}

TEST_F(DictionaryWritesToPDO, RefusedObjectDoesNotLeave) {
  startTransmitPDO();
  EXPECT_EQ(KQ_INVALID_ARGUMENT, node.dictionary().setValue(0x1015, 0, 0x10000, false));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(DictionaryWritesToPDO, ObjectThatNoPDOMapsDoesNotLeave) {
  startTransmitPDO();
  EXPECT_EQ(KQ_OK, node.dictionary().setValue(0x1014, 0, 0x86, false));
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(DictionaryWritesToPDO, ResetObjectLeaves) {
  startTransmitPDO();
  node.dictionary().setValue(0x1015, 0, 0x1234, false);
  node.port().takeSent();
  EXPECT_EQ(KQ_OK, node.canopen().resetValue(0x10150000));
  EXPECT_EQ(Frames{"185#00 00"}, node.port().takeSent());
}

}  // namespace
