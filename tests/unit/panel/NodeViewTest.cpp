// Covers: the node as the page shows it.
//
// | subject                                                                   | functional | robustness |
// |---------------------------------------------------------------------------|------------|------------|
// | objects with type, access and limits; reading and writing each kind       | x          |            |
// | PDOs as they are configured, also after a change by SDO; names of traffic | x          |            |
// | texts that are no number, too large, outside the limits, read only        |            | x          |

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
    ASSERT_EQ(0, node.canopen().addVariable(&variable));
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
  EXPECT_EQ("Speed", speed.name);
  EXPECT_EQ("INTEGER16", speed.typeName);
  EXPECT_EQ("rwr", speed.accessName);
  EXPECT_TRUE(speed.isVariable);
  EXPECT_EQ(-100, speed.lowest);
  EXPECT_EQ(1200, speed.highest);
}

TEST_F(NodeViewTest, TypeOfTheNodesOwnIsCalledByItsBits) {
  EXPECT_EQ("UNSIGNED12", object(NARROW).typeName);
}

TEST_F(NodeViewTest, LimitsOfAVariableWithoutAnyAreThoseOfItsType) {
  EXPECT_EQ(0, object(NARROW).lowest);
  EXPECT_EQ(4095, object(NARROW).highest);
  EXPECT_EQ(0, object(SHARED).lowest);
  EXPECT_EQ(4095, object(SHARED).highest);
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
  EXPECT_EQ(nullptr, view->findObject(0x2FFF, 0));
  EXPECT_EQ(nullptr, view->findObject(SPEED, 1));
}

TEST_F(NodeViewTest, NumbersAreReadWithTheirSign) {
  EXPECT_EQ(-7, read(SPEED));
}

TEST_F(NodeViewTest, UnsignedNumbersOf32BitsAreReadAsSuch) {
  EXPECT_EQ("", write(COUNTER, "4294967295"));
  EXPECT_EQ(4294967295LL, read(COUNTER));
}

TEST_F(NodeViewTest, TextIsReadAndWritten) {
  EXPECT_EQ("", write(TEXT, "a \"text\""));
  EXPECT_EQ("a \"text\"", view->read(object(TEXT)).text);
}

TEST_F(NodeViewTest, StandardObjectIsReadFromTheDictionary) {
  EXPECT_EQ(4, view->read(object(0x1018, 0)).number);
}

TEST_F(NodeViewTest, WhatIsWriteOnlySaysSo) {
  EXPECT_EQ("write only", view->read(object(WRITE_ONLY)).reason);
}

TEST_F(NodeViewTest, NumbersMayBeHexadecimalAndBooleansWords) {
  EXPECT_EQ("", write(SPEED, "0x10"));
  EXPECT_EQ(16, read(SPEED));
  EXPECT_EQ("", write(SWITCH, "true"));
  EXPECT_EQ(1, read(SWITCH));
}

TEST_F(NodeViewTest, LimitsAreTaken) {
  EXPECT_EQ("", write(SPEED, "1200"));
  EXPECT_EQ("", write(SPEED, "-100"));
}

TEST_F(NodeViewTest, OutsideTheLimitsIsRefusedWithTheReason) {
  EXPECT_THAT(write(SPEED, "1201"), HasSubstr("abort code 0x06090030"));
  EXPECT_THAT(write(SPEED, "-101"), HasSubstr("abort code 0x06090030"));
  EXPECT_EQ(-7, read(SPEED));
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
  EXPECT_EQ(1U, pdo.number);
  EXPECT_EQ(0x185U, pdo.cobID);
  EXPECT_TRUE(pdo.isValid);
  EXPECT_EQ(254U, pdo.transmissionType);
  EXPECT_EQ(100U, pdo.inhibitTime);
  EXPECT_EQ(1000U, pdo.eventTimer);
  ASSERT_EQ(1U, pdo.mapping.size());
  EXPECT_EQ(SPEED, pdo.mapping[0].index);
  EXPECT_EQ(16, pdo.mapping[0].bits);
}

TEST_F(NodeViewTest, ReceivePDOThatIsSwitchedOffIsNotValid) {
  const panel::PDOInfo pdo = view->readPDO(0x1401);
  EXPECT_FALSE(pdo.isTransmit);
  EXPECT_EQ(2U, pdo.number);
  EXPECT_FALSE(pdo.isValid);
}

TEST_F(NodeViewTest, ChangeOfAPDOShows) {
  const panel::PDOInfo before = view->readPDO(0x1800);
  EXPECT_EQ("", view->write(object(0x1800, 5), "200"));
  const panel::PDOInfo after = view->readPDO(0x1800);
  EXPECT_EQ(200U, after.eventTimer);
  EXPECT_FALSE(before == after);
}

// ---- names

class NodeNamesTest : public NodeViewTest {
protected:
  panel::NodeNames names{NODE, *view, {view->readPDO(0x1401), view->readPDO(0x1800)}};
};

TEST_F(NodeNamesTest, OwnObjectsHaveTheirNames) {
  EXPECT_EQ("Speed", names.describe(NODE, SPEED, 0).name);
  EXPECT_EQ(monitor::Form::SIGNED, names.describe(NODE, SPEED, 0).type.form);
  EXPECT_EQ(16, names.describe(NODE, SPEED, 0).type.bits);
}

TEST_F(NodeNamesTest, ObjectsOfAnotherNodeHaveOnlyTheNamesOfTheStandard) {
  EXPECT_EQ("", names.describe(6, SPEED, 0).name);
  EXPECT_NE("", names.describe(6, 0x1018, 1).name);
}

TEST_F(NodeNamesTest, ValidPDOIsKnownWithItsMapping) {
  const monitor::CommunicationObject* const pdo = names.findCommunicationObject(0x185);
  ASSERT_NE(nullptr, pdo);
  EXPECT_EQ(monitor::Service::TPDO, pdo->service);
  EXPECT_EQ(1, pdo->number);
  ASSERT_EQ(1U, pdo->mapping.size());
  EXPECT_EQ("Speed", pdo->mapping[0].name);
}

TEST_F(NodeNamesTest, PDOThatIsSwitchedOffIsNotKnown) {
  EXPECT_EQ(nullptr, names.findCommunicationObject(0x305));
}

}  // namespace
