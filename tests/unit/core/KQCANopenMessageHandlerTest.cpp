// The base of the protocol handlers: the outgoing frame and sending it.
//
//  subject            | functional                       | robustness
//  -------------------+----------------------------------+------------------------------------------
//  sendCANMessage     | accepted at once, n-th attempt   | 26 refusals, changing codes, no port, bad frame
//  outgoing frame     | initial values, kept after send  | kept after every failure
//  copy, assignment   | what is taken                    | onto itself

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

/// The smallest handler; its members are open to the test.
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
  EXPECT_EQ(message.identifier, 0U);
  EXPECT_EQ(message.length, 8U);
  EXPECT_EQ(message.flags, 0U);
  for (const unsigned char byte : message.data) {
    EXPECT_EQ(byte, 0);
  }
}

TEST(MessageHandlerStart, FrameIsFreshAndNothingIsKnown) {
  const PlainHandler handler;
  expectFreshFrame(handler.outgoingMessage);
  EXPECT_EQ(handler.objectDictionary, nullptr);
  EXPECT_EQ(handler.emergencyHandler, nullptr);
  EXPECT_EQ(handler.instance, nullptr);
}

TEST_F(MessageHandler, AcceptedFrameIsSentOnce) {
  EXPECT_EQ(handler.sendCANMessage(), 0);
  EXPECT_EQ(node.port().takeSent(), Frames{"185#01 02 03"});
  EXPECT_EQ(node.port().writeAttempts(), 1U);
  EXPECT_EQ(node.output.takeErrors(), "");
}

TEST_F(MessageHandler, SentFrameMayBeSentAgain) {
  handler.sendCANMessage();
  EXPECT_EQ(test::toText(handler.outgoingMessage), "185#01 02 03");
  handler.sendCANMessage();
  EXPECT_EQ(node.port().takeSent(), (Frames{"185#01 02 03", "185#01 02 03"}));
}

class RefusedFrame : public MessageHandler, public testing::WithParamInterface<unsigned int> {};

TEST_P(RefusedFrame, IsTriedAgainUntilItIsAccepted) {
  node.port().refuse(GetParam(), KQ::KQ_DEFERRED);
  EXPECT_EQ(handler.sendCANMessage(), 0);
  EXPECT_EQ(node.port().writeAttempts(), GetParam() + 1);
  EXPECT_EQ(node.port().takeSent(), Frames{"185#01 02 03"});
  EXPECT_EQ(node.output.takeErrors(), "");
  EXPECT_EQ(node.output.takeOutput(), "");
}

INSTANTIATE_TEST_SUITE_P(Refusals, RefusedFrame, testing::Values(1U, 2U, 24U, 25U), test::ReadableName());

TEST_F(MessageHandler, GivesUpAfter26Attempts) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  EXPECT_EQ(handler.sendCANMessage(), KQ::KQ_DEFERRED);
  EXPECT_EQ(node.port().writeAttempts(), ATTEMPTS);
  EXPECT_EQ(node.port().takeSent(), Frames{});
}

TEST_F(MessageHandler, GivingUpIsReportedOnceOnStandardError) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  handler.sendCANMessage();
  EXPECT_EQ(node.output.takeErrors(), ERROR_TEXT);
  EXPECT_EQ(node.output.takeOutput(), "");
}

TEST_F(MessageHandler, EverySendHas26AttemptsOfItsOwn) {
  node.port().refuse(2 * ATTEMPTS, KQ::KQ_DEFERRED);
  handler.sendCANMessage();
  EXPECT_EQ(handler.sendCANMessage(), KQ::KQ_DEFERRED);
  EXPECT_EQ(node.port().writeAttempts(), 2 * ATTEMPTS);
  EXPECT_EQ(handler.sendCANMessage(), 0);
}

TEST_F(MessageHandler, FrameIsLeftAsItWasAfterAFailure) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  handler.sendCANMessage();
  EXPECT_EQ(test::toText(handler.outgoingMessage), "185#01 02 03");
}

TEST_F(MessageHandler, SendingDoesNotWait) {
  node.port().refuse(ATTEMPTS, KQ::KQ_DEFERRED);
  const unsigned int readings = node.clock.readings();
  handler.sendCANMessage();
  EXPECT_EQ(node.clock.readings(), readings);
}

TEST_F(MessageHandler, FrameThatIsNoCANFrameGivesTheCodeOfThePort) {
  handler.outgoingMessage.identifier = 0x800;
  EXPECT_EQ(handler.sendCANMessage(), KQ::KQ_INVALID_ARGUMENT);
  EXPECT_EQ(node.output.takeErrors(), ERROR_TEXT);
}

TEST(MessageHandlerWithoutPort, Gives10AndReportsItOnce) {
  test::CapturedOutput output;
  KQ::KQCANopen portless("portless");
  PlainHandler handler;
  handler.setCANopenInstance(&portless);
  handler.outgoingMessage = test::frame("185#01");
  EXPECT_EQ(handler.sendCANMessage(), KQ::KQ_NOT_AVAILABLE);
  EXPECT_EQ(output.takeErrors(), ERROR_TEXT);
  EXPECT_EQ(output.takeOutput(), "");
  EXPECT_EQ(test::toText(handler.outgoingMessage), "185#01");
}

/// Refuses every write with another code: 101, 102, ...
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
  ASSERT_EQ(node.create(KQ::KQDEI::instance(), nullptr, 79, nullptr), 0);
  PlainHandler handler;
  handler.setCANopenInstance(&node);
  EXPECT_EQ(handler.sendCANMessage(), 126);
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
    EXPECT_EQ(copy.objectDictionary, dictionary);
    EXPECT_EQ(copy.emergencyHandler, emergency);
    EXPECT_EQ(copy.instance, &instance);
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
  EXPECT_EQ(test::toText(target.outgoingMessage), "185#01 02 03");
}

TEST_F(CopiedHandler, AssignmentToItselfChangesNothing) {
  const PlainHandler& alias = source;
  source = alias;
  expectPointersIn(source);
  EXPECT_EQ(test::toText(source.outgoingMessage), "185#01 02 03");
}

}  // namespace
