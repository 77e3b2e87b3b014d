// Covers: the base of the protocol handlers: the outgoing frame and sending it.
//
// | subject          | functional                      | robustness                                      |
// |------------------|---------------------------------|-------------------------------------------------|
// | sendCANMessage   | accepted at once, n-th attempt  | 26 refusals, changing codes, no port, bad frame |
// | outgoing frame   | initial values, kept after send | kept after every failure                        |
// | copy, assignment | what is taken                   | onto itself                                     |

#include <vector>

#include "KQCANPortRegistry.h"
#include "KQCANopenMessageHandler.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "ReadableName.h"
#include "TestNode.h"

namespace {

using test::Frames;

constexpr unsigned int ATTEMPTS = 26;
const char* const ERROR_TEXT = "CANopen: Error sending CAN message\n";

// The smallest handler; its members are open to the test.
class PlainHandler : public KQ::KQCANopenMessageHandler {
public:
  int handleMessage(KQ::KQCANMessage* /*message*/) override { return KQ::KQ_NOT_HANDLED; }

  using KQCANopenMessageHandler::emergencyHandler;
  using KQCANopenMessageHandler::instance;
  using KQCANopenMessageHandler::objectDictionary;
  using KQCANopenMessageHandler::outgoingMessage;
};

class MessageHandler : public testing::Test {
protected:
  MessageHandler() {
    handler.setCANopenInstance(&node.canopen());
    handler.outgoingMessage = test::frame("185#01 02 03");
  }

  test::TestNode node;
  PlainHandler handler;
};

void expectFreshFrame(const KQ::KQCANMessage& message) {
  EXPECT_EQ(0U, message.identifier);
  EXPECT_EQ(8U, message.length);
  EXPECT_EQ(0U, message.flags);
  for (const unsigned char byte : message.data) {
    EXPECT_EQ(0, byte);
  }
}

TEST(MessageHandlerStart, FrameIsFreshAndNothingIsKnown) {
  const PlainHandler handler;
  expectFreshFrame(handler.outgoingMessage);
  EXPECT_EQ(nullptr, handler.objectDictionary);
  EXPECT_EQ(nullptr, handler.emergencyHandler);
  EXPECT_EQ(nullptr, handler.instance);
}

TEST_F(MessageHandler, AcceptedFrameIsSentOnce) {
  EXPECT_EQ(0, handler.sendCANMessage());
  EXPECT_EQ(Frames{"185#01 02 03"}, node.port().takeSent());
  EXPECT_EQ(1U, node.port().writeAttempts());
  EXPECT_EQ("", node.output.takeErrors());
}

TEST_F(MessageHandler, SentFrameMayBeSentAgain) {
  handler.sendCANMessage();
  EXPECT_EQ("185#01 02 03", test::toText(handler.outgoingMessage));
  handler.sendCANMessage();
  EXPECT_EQ((Frames{"185#01 02 03", "185#01 02 03"}), node.port().takeSent());
}

class RefusedFrame : public MessageHandler, public testing::WithParamInterface<unsigned int> {};

TEST_P(RefusedFrame, IsTriedAgainUntilItIsAccepted) {
  node.port().refuse(GetParam(), KQ::KQ_DEFERRED);
  EXPECT_EQ(0, handler.sendCANMessage());
  EXPECT_EQ(GetParam() + 1, node.port().writeAttempts());
  EXPECT_EQ(Frames{"185#01 02 03"}, node.port().takeSent());
  EXPECT_EQ("", node.output.takeErrors());
  EXPECT_EQ("", node.output.takeOutput());
}

INSTANTIATE_TEST_SUITE_P(Refusals, RefusedFrame, testing::Values(1U, 2U, 24U, 25U), test::ReadableName());

TEST_F(MessageHandler, GivesUpAfter26Attempts) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  EXPECT_EQ(KQ::KQ_DEFERRED, handler.sendCANMessage());
  EXPECT_EQ(ATTEMPTS, node.port().writeAttempts());
  EXPECT_EQ(Frames{}, node.port().takeSent());
}

TEST_F(MessageHandler, GivingUpIsReportedOnceOnStandardError) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  handler.sendCANMessage();
  EXPECT_EQ(ERROR_TEXT, node.output.takeErrors());
  EXPECT_EQ("", node.output.takeOutput());
}

TEST_F(MessageHandler, EverySendHas26AttemptsOfItsOwn) {
  node.port().refuse(2 * ATTEMPTS, KQ::KQ_DEFERRED);
  handler.sendCANMessage();
  EXPECT_EQ(KQ::KQ_DEFERRED, handler.sendCANMessage());
  EXPECT_EQ(2 * ATTEMPTS, node.port().writeAttempts());
  EXPECT_EQ(0, handler.sendCANMessage());
}

TEST_F(MessageHandler, FrameIsLeftAsItWasAfterAFailure) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  handler.sendCANMessage();
  EXPECT_EQ("185#01 02 03", test::toText(handler.outgoingMessage));
}

TEST_F(MessageHandler, SendingDoesNotWait) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  const unsigned int readings = node.clock.readings();
  handler.sendCANMessage();
  EXPECT_EQ(readings, node.clock.readings());
}

TEST_F(MessageHandler, FrameThatIsNoCANFrameGivesTheCodeOfThePort) {
  handler.outgoingMessage.identifier = 0x800;
  EXPECT_EQ(KQ::KQ_INVALID_ARGUMENT, handler.sendCANMessage());
  EXPECT_EQ(ERROR_TEXT, node.output.takeErrors());
}

TEST(MessageHandlerWithoutPort, Gives10AndReportsItOnce) {
  test::CapturedOutput output;
  KQ::KQCANopen portless("portless");
  PlainHandler handler;
  handler.setCANopenInstance(&portless);
  handler.outgoingMessage = test::frame("185#01");
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, handler.sendCANMessage());
  EXPECT_EQ(ERROR_TEXT, output.takeErrors());
  EXPECT_EQ("", output.takeOutput());
  EXPECT_EQ("185#01", test::toText(handler.outgoingMessage));
}

// Refuses every write with another code: 101, 102, ...
class CountingEndPoint : public test::MemoryEndPoint {
protected:
  int doWrite(const KQ::KQCANMessage& /*message*/) override { return 100 + static_cast<int>(++writes); }

private:
  unsigned int writes = 0;
};

TEST(MessageHandlerResult, IsTheCodeOfTheLastAttempt) {
  const test::CapturedOutput output;
  auto* const ports = KQ::KQCANPortRegistry::instance();
  ports->bindPort(79, [](std::string& /*error*/) { return std::make_unique<CountingEndPoint>(); });
  KQ::KQCANopen node("node");
  ASSERT_EQ(0, node.create(KQ::KQDEI::instance(), nullptr, 79, nullptr));
  PlainHandler handler;
  handler.setCANopenInstance(&node);
  EXPECT_EQ(126, handler.sendCANMessage());
  ports->unbindPort(79);
}

// ---- copy and assignment: the pointers are never followed, so that any address will do

class CopiedHandler : public testing::Test {
protected:
  CopiedHandler() {
    source.setObjectDictionary(dictionary);
    source.setEmergency(emergency);
    source.setCANopenInstance(&instance);
    source.outgoingMessage = test::frame("185#01 02 03");
  }

  void expectPointersIn(const PlainHandler& copy) {
    EXPECT_EQ(dictionary, copy.objectDictionary);
    EXPECT_EQ(emergency, copy.emergencyHandler);
    EXPECT_EQ(&instance, copy.instance);
  }

  KQ::KQCANopen instance{"node"};
  int places[2] = {};
  KQ::KQCANopenObjectDictionary* dictionary = reinterpret_cast<KQ::KQCANopenObjectDictionary*>(&places[0]);
  KQ::KQEmergencyHandler* emergency = reinterpret_cast<KQ::KQEmergencyHandler*>(&places[1]);
  PlainHandler source;
};

TEST_F(CopiedHandler, ConstructionTakesThePointersAndAFreshFrame) {
  const PlainHandler copy(source);
  expectPointersIn(copy);
  expectFreshFrame(copy.outgoingMessage);
}

TEST_F(CopiedHandler, AssignmentTakesTheFrameToo) {
  PlainHandler target;
  target.outgoingMessage = test::frame("7FF#AA BB CC DD EE FF 00 11");
  target = source;
  expectPointersIn(target);
  EXPECT_EQ("185#01 02 03", test::toText(target.outgoingMessage));
}

TEST_F(CopiedHandler, AssignmentToItselfChangesNothing) {
  const PlainHandler& alias = source;
  source = alias;
  expectPointersIn(source);
  EXPECT_EQ("185#01 02 03", test::toText(source.outgoingMessage));
}

}  // namespace
