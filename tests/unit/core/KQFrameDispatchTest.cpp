// Covers: the choice of the handlers that are offered a frame.
//
// | subject                 | functional                              | robustness                         |
// |-------------------------|-----------------------------------------|------------------------------------|
// | declaration             | none, empty, some, two handlers alike   | handler of a derived class, copies |
// | change of a declaration | more, fewer                             | of another node                    |
// | followed identifier     | moved through the value, besides others | more than 11 bits, two handlers    |
// | identifier              | each of 11 bits                         | more than 11 bits                  |
// | handlers                | replaced                                | none, missing                      |

#include "internal/KQFrameDispatch.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "KQCANopenMessageHandler.h"
#include "KQErrorCodes.h"
#include "ReadableName.h"

namespace {

using KQ::KQFrameDispatch;

class Handler : public KQ::KQCANopenMessageHandler {
public:
  int handleMessage(KQ::KQCANMessage* /*message*/) override { return KQ::KQ_NOT_HANDLED; }

  KQ::KQServedCOBIDs& serve(std::initializer_list<unsigned int> cobIDs) {
    KQ::KQServedCOBIDs& served = declareServedCOBIDs(typeid(Handler));
    for (const unsigned int cobID : cobIDs) {
      served.add(cobID);
    }
    return served;
  }
};

// What an application makes of a handler of the stack.
class DerivedHandler : public Handler {
public:
  void serveMore(unsigned int cobID) { declareServedCOBIDs(typeid(DerivedHandler)).add(cobID); }
};

constexpr int FIRST = 0x01;
constexpr int SECOND = 0x02;
constexpr int LAST = 0x10;

class FrameDispatch : public testing::Test {
protected:
  FrameDispatch() { dispatch.setHandlers({&first, &second, nullptr, nullptr, nullptr}); }

  int of(unsigned int identifier) { return dispatch.handlersOf(identifier); }

  Handler first;
  Handler second;
  KQFrameDispatch dispatch;
};

TEST(FrameDispatchWithoutHandlers, OffersNothing) {
  KQFrameDispatch dispatch;
  EXPECT_EQ(0, dispatch.handlersOf(0));
  EXPECT_EQ(0, dispatch.handlersOf(0x7FF));
  EXPECT_EQ(0, dispatch.handlersOf(0x800));
}

TEST_F(FrameDispatch, HandlerThatDeclaresNothingIsOfferedEveryFrame) {
  second.serve({});
  for (unsigned int identifier = 0; identifier <= 0x7FF; ++identifier) {
    EXPECT_EQ(FIRST, of(identifier)) << identifier;
  }
}

TEST_F(FrameDispatch, HandlerIsOfferedWhatItDeclaresAndNoOther) {
  first.serve({0x000, 0x705, 0x7FF});
  second.serve({});
  for (unsigned int identifier = 0; identifier <= 0x7FF; ++identifier) {
    const bool isServed = identifier == 0x000 || identifier == 0x705 || identifier == 0x7FF;
    EXPECT_EQ(isServed ? FIRST : 0, of(identifier)) << identifier;
  }
}

TEST_F(FrameDispatch, IdentifierOfTwoHandlersIsOfferedToBoth) {
  first.serve({0x205, 0x206});
  second.serve({0x206, 0x207});
  EXPECT_EQ(FIRST, of(0x205));
  EXPECT_EQ(FIRST | SECOND, of(0x206));
  EXPECT_EQ(SECOND, of(0x207));
}

TEST_F(FrameDispatch, EveryPositionHasItsBit) {
  first.serve({});
  Handler last;
  dispatch.setHandlers({&first, nullptr, nullptr, nullptr, &last});
  EXPECT_EQ(LAST, of(0x123));
}

// ---- changes

TEST_F(FrameDispatch, DeclarationThatChangesCountsForTheNextFrame) {
  first.serve({0x205});
  second.serve({});
  EXPECT_EQ(0, of(0x206));
  first.serve({0x206});
  EXPECT_EQ(FIRST, of(0x206));
  EXPECT_EQ(0, of(0x205));
}

TEST_F(FrameDispatch, IdentifierAddedLaterCountsForTheNextFrame) {
  KQ::KQServedCOBIDs& served = first.serve({0x205});
  second.serve({});
  EXPECT_EQ(0, of(0x206));
  served.add(0x206);
  EXPECT_EQ(FIRST, of(0x206));
  EXPECT_EQ(FIRST, of(0x205));
}

TEST_F(FrameDispatch, HandlersOfOtherNodesChangeNothing) {
  first.serve({0x205});
  second.serve({});
  Handler foreign;
  KQFrameDispatch ofOtherNode;
  ofOtherNode.setHandlers({&foreign, nullptr, nullptr, nullptr, nullptr});
  foreign.serve({0x206});
  EXPECT_EQ(FIRST, of(0x205));
  EXPECT_EQ(0, of(0x206));
  EXPECT_EQ(0, ofOtherNode.handlersOf(0x205));
  EXPECT_EQ(FIRST, ofOtherNode.handlersOf(0x206));
}

TEST_F(FrameDispatch, ReplacedHandlersAreForgotten) {
  first.serve({0x205});
  second.serve({0x206});
  dispatch.setHandlers({nullptr, &second, nullptr, nullptr, nullptr});
  EXPECT_EQ(0, of(0x205));
  EXPECT_EQ(SECOND, of(0x206));
}

// ---- classes

TEST_F(FrameDispatch, DerivedClassIsOfferedEveryFrameUntilItDeclaresItself) {
  second.serve({});
  DerivedHandler derived;
  dispatch.setHandlers({&derived, &second, nullptr, nullptr, nullptr});
  derived.serve({0x205});
  EXPECT_EQ(FIRST, of(0x206));
  derived.serveMore(0x207);
  EXPECT_EQ(0, of(0x206));
  EXPECT_EQ(FIRST, of(0x207));
}

TEST_F(FrameDispatch, DerivedClassIsOfferedEveryFrameAgainWhenItsBaseDeclares) {
  second.serve({});
  DerivedHandler derived;
  dispatch.setHandlers({&derived, &second, nullptr, nullptr, nullptr});
  derived.serveMore(0x207);
  derived.serve({0x205});
  EXPECT_EQ(FIRST, of(0x206));
}

TEST_F(FrameDispatch, CopyIsOfferedEveryFrame) {
  first.serve({});
  second.serve({0x205});
  Handler copy(second);
  dispatch.setHandlers({&first, &copy, nullptr, nullptr, nullptr});
  EXPECT_EQ(SECOND, of(0x206));
}

TEST_F(FrameDispatch, AssignedHandlerIsOfferedEveryFrame) {
  first.serve({});
  second.serve({0x205});
  EXPECT_EQ(0, of(0x206));
  second = first;
  EXPECT_EQ(SECOND, of(0x206));
}

TEST_F(FrameDispatch, AssignmentToItselfKeepsTheDeclaration) {
  first.serve({});
  second.serve({0x205});
  const Handler& alias = second;
  second = alias;
  EXPECT_EQ(SECOND, of(0x205));
  EXPECT_EQ(0, of(0x206));
}

// ---- the followed identifier

TEST_F(FrameDispatch, FollowedIdentifierIsThatOfTheValueNow) {
  int cobID = 0x80;
  first.serve({}).follow(&cobID);
  second.serve({});
  EXPECT_EQ(FIRST, of(0x80));
  EXPECT_EQ(0, of(0x81));
  cobID = 0x81;
  EXPECT_EQ(FIRST, of(0x81));
  EXPECT_EQ(0, of(0x80));
}

TEST_F(FrameDispatch, FollowedIdentifierStandsBesideTheOthers) {
  int cobID = 0x80;
  first.serve({0x205}).follow(&cobID);
  second.serve({0x81});
  EXPECT_EQ(FIRST, of(0x205));
  cobID = 0x81;
  EXPECT_EQ(FIRST, of(0x205));
  EXPECT_EQ(FIRST | SECOND, of(0x81));
}

TEST_F(FrameDispatch, TwoHandlersMayFollow) {
  int ofFirst = 0x80;
  int ofSecond = 0x100;
  first.serve({}).follow(&ofFirst);
  second.serve({}).follow(&ofSecond);
  ofSecond = 0x101;
  EXPECT_EQ(FIRST, of(0x80));
  EXPECT_EQ(SECOND, of(0x101));
  ofFirst = 0x101;
  EXPECT_EQ(FIRST | SECOND, of(0x101));
}

TEST_F(FrameDispatch, ClearedDeclarationIsFollowedNoMore) {
  int cobID = 0x80;
  first.serve({}).follow(&cobID);
  second.serve({});
  EXPECT_EQ(FIRST, of(0x80));
  first.serve({0x205});
  EXPECT_EQ(0, of(0x80));
}

class FollowedFlags : public FrameDispatch, public testing::WithParamInterface<unsigned int> {};

TEST_P(FollowedFlags, AreOfNoFrameOf11Bits) {
  const auto cobID = static_cast<int>(GetParam());
  first.serve({}).follow(&cobID);
  second.serve({});
  for (unsigned int identifier = 0; identifier <= 0x7FF; ++identifier) {
    EXPECT_EQ(0, of(identifier)) << identifier;
  }
}

INSTANTIATE_TEST_SUITE_P(Values, FollowedFlags, testing::Values(0x800U, 0x40000080U, 0x80000080U),
                         test::ReadableName());

// ---- identifiers of more than 11 bits

class WideIdentifier : public FrameDispatch, public testing::WithParamInterface<unsigned int> {};

TEST_P(WideIdentifier, IsOfferedToEveryHandlerThereIs) {
  first.serve({0x205});
  second.serve({});
  EXPECT_EQ(FIRST | SECOND, of(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Identifiers, WideIdentifier, testing::Values(0x800U, 0x1FFFFFFFU, 0xFFFFFFFFU),
                         test::ReadableName());

}  // namespace
