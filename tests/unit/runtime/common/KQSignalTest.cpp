// Covers: KQSignal, KQAction and the numbers of the events.
//
// | subject     | functional                                             | robustness |
// |-------------|--------------------------------------------------------|------------|
// | KQSignal    | what a new one carries, each value set and read back   |            |
// | KQAction    | second virtual operation runs it, event type attribute |            |
// | KQEventType | numbers                                                |            |

#include "KQSignal.h"

#include <gtest/gtest.h>

#include "KQAction.h"
#include "KQEventType.h"

namespace KQ {
namespace {

TEST(Signal, IsEmptyByDefault) {
  const KQSignal signal;
  EXPECT_EQ(0, signal.getType());
  EXPECT_EQ(0, signal.getCode());
  EXPECT_EQ(0U, signal.getFirstValue());
  EXPECT_EQ(0U, signal.getSecondValue());
  EXPECT_FALSE(signal.getFlag());
}

TEST(Signal, CarriesWhatItWasMadeWith) {
  const KQSignal signal(6, 1700, 5, 0xFFFFFFFFU, true);
  EXPECT_EQ(6, signal.getType());
  EXPECT_EQ(1700, signal.getCode());
  EXPECT_EQ(5U, signal.getFirstValue());
  EXPECT_EQ(0xFFFFFFFFU, signal.getSecondValue());
  EXPECT_TRUE(signal.getFlag());
}

TEST(Signal, CarriesWhatWasSet) {
  KQSignal signal;
  signal.setType(KQ_SIGNAL_TYPE_VARIABLE);
  signal.setCode(KQ_SIGNAL_VARIABLE_CHANGED_TEXT);
  signal.setFirstValue(0x20010003U);
  signal.setSecondValue(7);
  signal.setFlag(true);
  EXPECT_EQ(1, signal.getType());
  EXPECT_EQ(1101, signal.getCode());
  EXPECT_EQ(0x20010003U, signal.getFirstValue());
  EXPECT_EQ(7U, signal.getSecondValue());
  EXPECT_TRUE(signal.getFlag());
}

TEST(Signal, ChangeOfAnIntegerHasCode1100) {
  EXPECT_EQ(1100, KQ_SIGNAL_VARIABLE_CHANGED);
}

TEST(EventType, HasItsNumber) {
  EXPECT_EQ(1301, PDO_EVENT_RX_TIMEOUT);
  EXPECT_EQ(1302, PDO_EVENT_RX_TIMEOUT_RESOLVED);
  EXPECT_EQ(1306, PDO_EVENT_RX_RECEIVED);
}

class CountingAction : public KQAction {
public:
  int execute() override { return ++runs; }

private:
  int runs{0};
};

TEST(Action, RunsThroughItsInterface) {
  CountingAction counting;
  KQAction& action = counting;
  EXPECT_EQ(1, action.execute());
  EXPECT_EQ(2, action.execute());
}

TEST(Action, RemembersTheEventItWasBoundTo) {
  CountingAction action;
  EXPECT_EQ(0, action.getEventType());
  action.setEventType(PDO_EVENT_RX_TIMEOUT);
  EXPECT_EQ(1301, action.getEventType());
}

}  // namespace
}  // namespace KQ
