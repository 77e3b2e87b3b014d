// Covers: the error register and the emergency producer.
//
// | subject              | functional                              | robustness                                       |
// |----------------------|-----------------------------------------|--------------------------------------------------|
// | updateErrorRegister  | bit of every error class, set and clear | no dictionary, no object 0x1001                  |
// | init                 | live COB-ID                             | no dictionary, no object 0x1014                  |
// | sendEmergencyMessage | frame, both forms, live COB-ID          | every refusal, refused write, COB-ID with flags, |
// |                      |                                         | frame that was used before                       |
// | as built             | refused, nothing changes                |                                                  |
// | handleMessage        | 11                                      | null                                             |

#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "StandardDictionary.h"
#include "TestNode.h"

namespace {

using test::Frames;

class SwitchableHandler : public KQ::KQEmergencyHandler {
public:
  using KQEmergencyHandler::enabled;
  using KQEmergencyHandler::outgoingMessage;
};

class Emergency : public testing::Test {
protected:
  Emergency() {
    handler.setCANopenInstance(&node.canopen());
    handler.setObjectDictionary(&dictionary);
    EXPECT_EQ(0, handler.init());
    handler.enabled = true;
  }

  int errorRegister() { return dictionary.read(0x1001, 0); }
  void setErrorRegister(int value) { dictionary.setValue(0x1001, 0, value, true); }

  void expectRefused(int code) {
    EXPECT_EQ(code, handler.sendEmergencyMessage(0x8130));
    EXPECT_EQ(Frames{}, node.port().takeSent());
    EXPECT_EQ("", node.output.takeErrors());
  }

  test::TestNode node;
  test::StandardDictionary dictionary{&node.canopen()};
  SwitchableHandler handler;
};

// ---- error register

struct ErrorClass {
  unsigned char errorClass;
  int bit;
};

class ErrorRegister : public Emergency, public testing::WithParamInterface<ErrorClass> {};

TEST_P(ErrorRegister, BitOfTheClassIsSet) {
  EXPECT_EQ(0, handler.updateErrorRegister(GetParam().errorClass, true));
  EXPECT_EQ(GetParam().bit, errorRegister());
}

TEST_P(ErrorRegister, SettingKeepsTheOtherBits) {
  setErrorRegister(0xFF & ~GetParam().bit);
  EXPECT_EQ(0, handler.updateErrorRegister(GetParam().errorClass, true));
  EXPECT_EQ(0xFF, errorRegister());
}

TEST_P(ErrorRegister, ClearingKeepsTheOtherBits) {
  setErrorRegister(0xFF);
  EXPECT_EQ(0, handler.updateErrorRegister(GetParam().errorClass, false));
  EXPECT_EQ(0xFF & ~GetParam().bit, errorRegister());
}

TEST_P(ErrorRegister, ClearingAClearBitChangesNothing) {
  EXPECT_EQ(0, handler.updateErrorRegister(GetParam().errorClass, false));
  EXPECT_EQ(0, errorRegister());
}

INSTANTIATE_TEST_SUITE_P(Classes, ErrorRegister,
                         testing::Values(ErrorClass{0x10, 0x01}, ErrorClass{0x20, 0x02}, ErrorClass{0x30, 0x04},
                                         ErrorClass{0x40, 0x08}, ErrorClass{0x81, 0x10}, ErrorClass{0xFF, 0x20},
                                         ErrorClass{0x00, 0x80}, ErrorClass{0x0F, 0x80}, ErrorClass{0x11, 0x80},
                                         ErrorClass{0x21, 0x80}, ErrorClass{0x31, 0x80}, ErrorClass{0x41, 0x80},
                                         ErrorClass{0x50, 0x80}, ErrorClass{0x80, 0x80}, ErrorClass{0x82, 0x80},
                                         ErrorClass{0xFE, 0x80}),
                         [](const testing::TestParamInfo<ErrorClass>& testInfo) {
                           return "Class" + std::to_string(testInfo.param.errorClass);
                         });

TEST_F(Emergency, RegisterWithoutDictionaryGives10) {
  handler.setObjectDictionary(nullptr);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.updateErrorRegister(0x81, true));
  EXPECT_EQ(0, errorRegister());
}

TEST_F(Emergency, RegisterThatIsMissingGivesTheCodeOfTheDictionary) {
  KQ::KQCANopenObjectDictionary empty;
  handler.setObjectDictionary(&empty);
  EXPECT_EQ(KQ::KQ_NOT_FOUND, handler.updateErrorRegister(0x81, true));
}

// ---- init

TEST(EmergencyInit, WithoutDictionaryGives10) {
  KQ::KQEmergencyHandler handler;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.init());
}

TEST(EmergencyInit, WithoutCOBIDGives3) {
  KQ::KQCANopenObjectDictionary empty;
  KQ::KQEmergencyHandler handler;
  handler.setObjectDictionary(&empty);
  EXPECT_EQ(KQ::KQ_MISSING_OBJECT, handler.init());
}

TEST_F(Emergency, InitMayBeCalledAgain) {
  EXPECT_EQ(0, handler.init());
}

// ---- frame

TEST_F(Emergency, FrameCarriesCodeAndRegister) {
  EXPECT_EQ(0, handler.sendEmergencyMessage(0x8130));
  EXPECT_EQ(Frames{"085#30 81 10 00 00 00 00 00"}, node.port().takeSent());
  EXPECT_EQ(0x10, errorRegister());
}

TEST_F(Emergency, FormWithClassAndLowByteIsTheSame) {
  EXPECT_EQ(0, handler.sendEmergencyMessage(static_cast<unsigned char>(0x81), static_cast<unsigned char>(0x30)));
  EXPECT_EQ(Frames{"085#30 81 10 00 00 00 00 00"}, node.port().takeSent());
}

TEST_F(Emergency, FrameCarriesTheRegisterAfterTheUpdate) {
  setErrorRegister(0x04);
  EXPECT_EQ(0, handler.sendEmergencyMessage(0x1000));
  EXPECT_EQ(Frames{"085#00 10 05 00 00 00 00 00"}, node.port().takeSent());
}

TEST_F(Emergency, HighestCode) {
  EXPECT_EQ(0, handler.sendEmergencyMessage(0xFFFF));
  EXPECT_EQ(Frames{"085#FF FF 20 00 00 00 00 00"}, node.port().takeSent());
}

TEST_F(Emergency, CodeWithoutErrorIsAnUnknownClass) {
  EXPECT_EQ(0, handler.sendEmergencyMessage(0x0000));
  EXPECT_EQ(Frames{"085#00 00 80 00 00 00 00 00"}, node.port().takeSent());
}

TEST_F(Emergency, LaterCOBIDTakesEffectAtOnce) {
  EXPECT_EQ(0, dictionary.setValue(0x1014, 0, 0x99, false));
  EXPECT_EQ(0, handler.sendEmergencyMessage(0x8130));
  EXPECT_EQ(Frames{"099#30 81 10 00 00 00 00 00"}, node.port().takeSent());
}

TEST_F(Emergency, FrameThatWasUsedBeforeLeavesNothingInTheNext) {
  handler.outgoingMessage = test::frame("7FF#AA BB CC DD EE FF 11 22");
  handler.outgoingMessage.length = 3;
  handler.outgoingMessage.flags = 1;
  EXPECT_EQ(0, handler.sendEmergencyMessage(0x8130));
  EXPECT_EQ(Frames{"085#30 81 10 00 00 00 00 00"}, node.port().takeSent());
  EXPECT_EQ(0U, handler.outgoingMessage.flags);
}

TEST_F(Emergency, InhibitTimeIsNotApplied) {
  dictionary.setValue(0x1015, 0, 65535, true);
  handler.sendEmergencyMessage(0x8130);
  handler.sendEmergencyMessage(0x8130);
  EXPECT_EQ(2U, node.port().takeSent().size());
}

TEST_F(Emergency, FlagsOfTheCOBIDAreNotMasked) {
  *dictionary.getPointerToValue(0x1014, 0) = static_cast<int>(0x80000085U);
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, handler.sendEmergencyMessage(0x8130));  // the port takes 11-bit identifiers only
  EXPECT_EQ(0x80000085U, handler.outgoingMessage.identifier);
  EXPECT_EQ("CANopen: Error sending CAN message\n", node.output.takeErrors());
}

TEST_F(Emergency, RefusedFrameGivesTheCodeOfThePort) {
  node.port().refuse(26, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DEFERRED, handler.sendEmergencyMessage(0x8130));
  EXPECT_EQ(0x10, errorRegister());
}

// ---- refusals

TEST_F(Emergency, DisabledProducerRefuses) {
  handler.enabled = false;
  expectRefused(KQ::KQ_NOT_AVAILABLE);
  EXPECT_EQ(0, errorRegister());
}

TEST_F(Emergency, WithoutPortRefuses) {
  KQ::KQCANopen portless("portless");
  handler.setCANopenInstance(&portless);
  expectRefused(KQ::KQ_NOT_AVAILABLE);
  EXPECT_EQ(0, errorRegister());
}

TEST_F(Emergency, WithoutDictionaryRefuses) {
  handler.setObjectDictionary(nullptr);
  expectRefused(KQ::KQ_NOT_AVAILABLE);
  EXPECT_EQ(0, errorRegister());
}

TEST_F(Emergency, WithoutCOBIDRefuses) {
  SwitchableHandler uninitialised;
  uninitialised.setCANopenInstance(&node.canopen());
  uninitialised.setObjectDictionary(&dictionary);
  uninitialised.enabled = true;
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, uninitialised.sendEmergencyMessage(0x8130));
  EXPECT_EQ(Frames{}, node.port().takeSent());
  EXPECT_EQ(0, errorRegister());
}

TEST_F(Emergency, RegisterThatCannotBeWrittenRefuses) {
  KQ::KQCANopenObjectDictionary withoutRegister;
  handler.setObjectDictionary(&withoutRegister);
  expectRefused(KQ::KQ_NOT_WRITTEN);
}

// ---- as built

TEST(EmergencyAsBuilt, IsNeverEnabled) {
  test::TestNode node;
  node.start();
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, node.canopen().getEmergencyHandler()->sendEmergencyMessage(0x8220));
  EXPECT_EQ(Frames{}, node.port().takeSent());
  int errorRegister = -1;
  EXPECT_EQ(0, node.dictionary().getValue(0x1001, 0, errorRegister));
  EXPECT_EQ(0, errorRegister);
}

TEST_F(Emergency, TakesNoFrame) {
  KQ::KQCANMessage message = test::frame("085#30 81 10 00 00 00 00 00");
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, handler.handleMessage(&message));
  EXPECT_EQ(KQ::KQ_NOT_HANDLED, handler.handleMessage(nullptr));
}

}  // namespace
