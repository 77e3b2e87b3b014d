// Covers: what a node expects of the runtime beneath it (docs/porting.md), seen on the wire; runs on each edition.
//
// | subject         | functional                                    | robustness                                   |
// |-----------------|-----------------------------------------------|----------------------------------------------|
// | reports         | own variables, written by the application and | same value again, PDO built again, node that |
// |                 | a master                                      | is gone                                      |
// | bits of a frame | sign of few bits and of more than 32, not     | frame shorter than the mapping               |
// |                 | aligned                                       |                                              |

#include "PDOFixture.h"

using test::Frames;

namespace {

class Runtime : public test::PDOFixture {
protected:
  // An event-driven TPDO that maps these objects, in operation.
  void send(const test::Mapping& mapping) {
    addTransmitPDO(0, {0x181}, mapping);
    startAndSettle();
  }

  void receive(const test::Mapping& mapping) {
    addReceivePDO(0, {0x201}, mapping);
    startAndSettle();
  }
};

TEST_F(Runtime, TellsTheNodeOfItsOwnVariablesThatTheApplicationWrites) {
  addOwnVariable(0x2001, 1, 8);
  send({0x20010108});
  change(0x2001, 1, 7);
  EXPECT_EQ(Frames{"181#07"}, sent());
}

TEST_F(Runtime, TellsTheNodeOfAMastersWriteBeforeItIsAnswered) {
  addOwnVariable(0x2001, 1, 8);
  send({0x20010108});
  EXPECT_EQ((Frames{"181#07", "585#60 01 20 01 00 00 00 00"}), node.receive("605#2F 01 20 01 07 00 00 00"));
}

TEST_F(Runtime, DoesNotReportAValueThatIsTheSameAgain) {
  addVariable(0x2001, 1, 8);
  send({0x20010108});
  change(0x2001, 1, 0);
  EXPECT_EQ(Frames{}, sent());
}

TEST_F(Runtime, TellsAListenerOnceThatIsRegisteredTwice) {
  addVariable(0x2001, 1, 8);
  send({0x20010108});
  ASSERT_EQ(KQ::KQ_OK, write(0x1800, 1, 0xC0000181));
  ASSERT_EQ(KQ::KQ_OK, write(0x1800, 1, 0x40000181));
  node.cycle();
  change(0x2001, 1, 7);
  EXPECT_EQ(Frames{"181#07"}, sent());
}

TEST_F(Runtime, ForgetsANodeThatIsGone) {
  addOwnVariable(0x2001, 1, 8);
  addVariable(0x2002, 1, 8);
  send({0x20010108, 0x20020108});
  node.destroy();
  change(0x2001, 1, 7);
  change(0x2002, 1, 7);
  EXPECT_EQ(nullptr, KQ::KQDEI::instance()->getVariableOwnerPointer(0x2001, 1));
}

TEST_F(Runtime, ExtendsAReceivedNumberByItsSign) {
  addVariable(0x2001, 1, 4);
  addVariable(0x2001, 2, 12, true);
  receive({0x20010104, 0x2001020C});
  node.receive("201#E5 FF");
  EXPECT_EQ(5, stored(0x2001, 1));
  EXPECT_EQ(-2, stored(0x2001, 2));
}

TEST_F(Runtime, AppliesAShortFrameAsFarAsItReaches) {
  addVariable(0x2001, 1, 8);
  addVariable(0x2001, 2, 16);
  receive({0x20010108, 0x20010210});
  node.receive("201#05 06");
  EXPECT_EQ(5, stored(0x2001, 1));
  EXPECT_EQ(0, stored(0x2001, 2));
}

TEST_F(Runtime, FillsMoreThan32BitsWithTheSign) {
  addVariable(0x2001, 1, 40, true);
  send({0x20010128});
  change(0x2001, 1, -2);
  EXPECT_EQ(Frames{"181#FE FF FF FF FF"}, sent());
}

TEST_F(Runtime, FillsMoreThan32BitsWithoutASignWithZeros) {
  addVariable(0x2001, 1, 40);
  send({0x20010128});
  change(0x2001, 1, -2);
  EXPECT_EQ(Frames{"181#FE FF FF FF 00"}, sent());
}

}  // namespace
