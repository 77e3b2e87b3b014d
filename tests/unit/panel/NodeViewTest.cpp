// | covered                                                                 | kind       |
// |-------------------------------------------------------------------------|------------|
// | objects with type, access and limits; reading and writing each kind       | functional |
// | PDOs as they are configured, also after a change by SDO; names of traffic | functional |
// | texts that are no number, too large, outside the limits, read only        | robustness |
#include "NodeView.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KQDEI.h"
#include "KQVariable.h"
#include "NodeNames.h"
#include "TestNode.h"

namespace {

using panel::NodeView;
using panel::ObjectInfo;
using testing::HasSubstr;

constexpr unsigned short SPEED = 0x2000;
constexpr unsigned short SWITCH = 0x2001;
constexpr unsigned short COUNTER = 0x2002;
constexpr unsigned short TEXT = 0x2003;
constexpr unsigned short READ_ONLY = 0x2004;
constexpr unsigned short WRITE_ONLY = 0x2005;
constexpr unsigned short NARROW = 0x2006;
constexpr unsigned short SHARED = 0x2007;
constexpr unsigned char NODE = 5;

class NodeViewTest : public testing::Test {
protected:
  NodeViewTest() {
    node.init();
    KQ::KQVariable speed(SPEED, 0, "Speed", KQ::STORAGE_TYPE_INTEGER, 16, true);
    speed.setMinimum(-100);
    speed.setMaximum(1200);
    speed.setInitialValue(-7);
    add(speed, 0);
    add({SWITCH, 0, "Switch", KQ::STORAGE_TYPE_INTEGER, 1, false}, 0);
    add({COUNTER, 0, "Counter", KQ::STORAGE_TYPE_INTEGER, 32, false}, 0);
    add({TEXT, 0, "Text", KQ::STORAGE_TYPE_STRING}, 0);
    add({READ_ONLY, 0, "Measured", KQ::STORAGE_TYPE_INTEGER, 16, false}, 2);
    add({WRITE_ONLY, 0, "Command", KQ::STORAGE_TYPE_INTEGER, 8, false}, 1);
    add({NARROW, 0, "Narrow", KQ::STORAGE_TYPE_INTEGER, 12, false}, 0);
    // One that is not the node's own.
    KQ::KQVariable shared(SHARED, 0, "Shared", KQ::STORAGE_TYPE_INTEGER, 12, false);
    KQ::KQDEI::instance()->addVariable(&shared);
    node.canopen().getApplicationVariables();
    node.canopen().addPDO(KQ::PDO_TYPE_TRANSMIT, 0, 0x185, 1000, 100, 254, true, nullptr);
    node.canopen().addPDOMapping(0, KQ::PDO_TYPE_TRANSMIT, SPEED, 0, 16);
    node.canopen().addPDO(KQ::PDO_TYPE_RECEIVE, 1, 0x305, 0, 0, 1, false, nullptr);
    view = std::make_unique<NodeView>(node.canopen());
  }

  void add(KQ::KQVariable variable, int accessMode) {
    variable.setAccessMode(accessMode);
    ASSERT_EQ(node.canopen().addVariable(&variable), 0);
  }

  const ObjectInfo& object(unsigned short index, unsigned char subIndex = 0) const {
    return *view->findObject(index, subIndex);
  }

  std::string write(unsigned short index, const std::string& text) { return view->write(object(index), text); }
  long long read(unsigned short index) { return view->read(object(index)).number.value_or(-999); }

  test::TestNode node{NODE};
  std::unique_ptr<NodeView> view;
};

TEST_F(NodeViewTest, ObjectIsDescribed) {
  const ObjectInfo& speed = object(SPEED);
  EXPECT_EQ(speed.name, "Speed");
  EXPECT_EQ(speed.typeName, "INTEGER16");
  EXPECT_EQ(speed.accessName, "rwr");
  EXPECT_TRUE(speed.isVariable);
  EXPECT_EQ(speed.lowest, -100);
  EXPECT_EQ(speed.highest, 1200);
}

TEST_F(NodeViewTest, TypeOfTheNodesOwnIsCalledByItsBits) {
  EXPECT_EQ(object(NARROW).typeName, "UNSIGNED12");
}

TEST_F(NodeViewTest, LimitsOfAVariableWithoutAnyAreThoseOfItsType) {
  EXPECT_EQ(object(NARROW).lowest, 0);
  EXPECT_EQ(object(NARROW).highest, 4095);
  EXPECT_EQ(object(SHARED).lowest, 0);
  EXPECT_EQ(object(SHARED).highest, 4095);
}

TEST_F(NodeViewTest, ObjectsAreInTheirOrder) {
  unsigned int before = 0;
  for (const ObjectInfo& one : view->getObjects()) {
    const unsigned int key = one.index * 256U + one.subIndex + 1U;
    EXPECT_LT(before, key);
    before = key;
  }
}

TEST_F(NodeViewTest, ObjectThatThereIsNotIsNotFound) {
  EXPECT_EQ(view->findObject(0x2FFF, 0), nullptr);
  EXPECT_EQ(view->findObject(SPEED, 1), nullptr);
}

TEST_F(NodeViewTest, NumbersAreReadWithTheirSign) {
  EXPECT_EQ(read(SPEED), -7);
}

TEST_F(NodeViewTest, UnsignedNumbersOf32BitsAreReadAsSuch) {
  EXPECT_EQ(write(COUNTER, "4294967295"), "");
  EXPECT_EQ(read(COUNTER), 4294967295LL);
}

TEST_F(NodeViewTest, TextIsReadAndWritten) {
  EXPECT_EQ(write(TEXT, "a \"text\""), "");
  EXPECT_EQ(view->read(object(TEXT)).text, "a \"text\"");
}

TEST_F(NodeViewTest, StandardObjectIsReadFromTheDictionary) {
  EXPECT_EQ(view->read(object(0x1018, 0)).number, 4);
}

TEST_F(NodeViewTest, WhatIsWriteOnlySaysSo) {
  EXPECT_EQ(view->read(object(WRITE_ONLY)).reason, "write only");
}

TEST_F(NodeViewTest, NumbersMayBeHexadecimalAndBooleansWords) {
  EXPECT_EQ(write(SPEED, "0x10"), "");
  EXPECT_EQ(read(SPEED), 16);
  EXPECT_EQ(write(SWITCH, "true"), "");
  EXPECT_EQ(read(SWITCH), 1);
}

TEST_F(NodeViewTest, LimitsAreTaken) {
  EXPECT_EQ(write(SPEED, "1200"), "");
  EXPECT_EQ(write(SPEED, "-100"), "");
}

TEST_F(NodeViewTest, OutsideTheLimitsIsRefusedWithTheReason) {
  EXPECT_THAT(write(SPEED, "1201"), HasSubstr("abort code 0x06090030"));
  EXPECT_THAT(write(SPEED, "-101"), HasSubstr("abort code 0x06090030"));
  EXPECT_EQ(read(SPEED), -7);
}

TEST_F(NodeViewTest, ReadOnlyIsRefusedWithTheReason) {
  EXPECT_THAT(write(READ_ONLY, "1"), HasSubstr("abort code 0x06010002"));
}

struct WrongText {
  const char* name;
  unsigned short index;
  const char* text;
  const char* reason;
};

class NodeViewWrongText : public NodeViewTest, public testing::WithParamInterface<WrongText> {};

TEST_P(NodeViewWrongText, IsRefusedWithTheReason) {
  EXPECT_THAT(write(GetParam().index, GetParam().text), HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, NodeViewWrongText,
    testing::Values(WrongText{"Empty", SPEED, "", "is no whole number"},
                    WrongText{"Word", SPEED, "fast", "is no whole number"},
                    WrongText{"Fraction", SPEED, "1.5", "is no whole number"},
                    WrongText{"Blank", SPEED, " 1", "is no whole number"},
                    WrongText{"Endless", SPEED, "99999999999999999999", "is no whole number"},
                    WrongText{"AboveTheType", SPEED, "32768", "does not fit into INTEGER16, -32768 to 32767"},
                    WrongText{"BelowTheType", SPEED, "-32769", "does not fit into INTEGER16, -32768 to 32767"},
                    WrongText{"NegativeUnsigned", COUNTER, "-1", "does not fit into UNSIGNED32, 0 to 4294967295"},
                    WrongText{"AboveUnsigned", COUNTER, "4294967296", "does not fit into UNSIGNED32"},
                    WrongText{"NeitherOnNorOff", SWITCH, "2", "does not fit into BOOLEAN, 0 to 1"},
                    WrongText{"AboveOwnType", NARROW, "4096", "does not fit into UNSIGNED12, 0 to 4095"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(NodeViewTest, TransmitPDOIsReadAsItIsConfigured) {
  EXPECT_THAT(view->getPDOs(), testing::ElementsAre(0x1401, 0x1800));
  const panel::PDOInfo pdo = view->readPDO(0x1800);
  EXPECT_TRUE(pdo.isTransmit);
  EXPECT_EQ(pdo.number, 1U);
  EXPECT_EQ(pdo.cobID, 0x185U);
  EXPECT_TRUE(pdo.isValid);
  EXPECT_EQ(pdo.transmissionType, 254U);
  EXPECT_EQ(pdo.inhibitTime, 100U);
  EXPECT_EQ(pdo.eventTimer, 1000U);
  ASSERT_EQ(pdo.mapping.size(), 1U);
  EXPECT_EQ(pdo.mapping[0].index, SPEED);
  EXPECT_EQ(pdo.mapping[0].bits, 16);
}

TEST_F(NodeViewTest, ReceivePDOThatIsSwitchedOffIsNotValid) {
  const panel::PDOInfo pdo = view->readPDO(0x1401);
  EXPECT_FALSE(pdo.isTransmit);
  EXPECT_EQ(pdo.number, 2U);
  EXPECT_FALSE(pdo.isValid);
}

TEST_F(NodeViewTest, ChangeOfAPDOShows) {
  const panel::PDOInfo before = view->readPDO(0x1800);
  EXPECT_EQ(view->write(object(0x1800, 5), "200"), "");
  const panel::PDOInfo after = view->readPDO(0x1800);
  EXPECT_EQ(after.eventTimer, 200U);
  EXPECT_FALSE(before == after);
}

// ---- names

class NodeNamesTest : public NodeViewTest {
protected:
  panel::NodeNames names{NODE, *view, {view->readPDO(0x1401), view->readPDO(0x1800)}};
};

TEST_F(NodeNamesTest, OwnObjectsHaveTheirNames) {
  EXPECT_EQ(names.describe(NODE, SPEED, 0).name, "Speed");
  EXPECT_EQ(names.describe(NODE, SPEED, 0).type.form, monitor::Form::SIGNED);
  EXPECT_EQ(names.describe(NODE, SPEED, 0).type.bits, 16);
}

TEST_F(NodeNamesTest, ObjectsOfAnotherNodeHaveOnlyTheNamesOfTheStandard) {
  EXPECT_EQ(names.describe(6, SPEED, 0).name, "");
  EXPECT_NE(names.describe(6, 0x1018, 1).name, "");
}

TEST_F(NodeNamesTest, ValidPDOIsKnownWithItsMapping) {
  const monitor::CommunicationObject* const pdo = names.findCommunicationObject(0x185);
  ASSERT_NE(pdo, nullptr);
  EXPECT_EQ(pdo->service, monitor::Service::TPDO);
  EXPECT_EQ(pdo->number, 1);
  ASSERT_EQ(pdo->mapping.size(), 1U);
  EXPECT_EQ(pdo->mapping[0].name, "Speed");
}

TEST_F(NodeNamesTest, PDOThatIsSwitchedOffIsNotKnown) {
  EXPECT_EQ(names.findCommunicationObject(0x305), nullptr);
}

}  // namespace
