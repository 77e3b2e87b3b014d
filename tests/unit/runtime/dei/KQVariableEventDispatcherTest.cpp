// Covers: KQVariableEventDispatcher: who is told of a change.
//
// | subject        | functional                                                                 | robustness |
// |----------------|----------------------------------------------------------------------------|------------|
// | addMapping     | null, told, order, the same pair twice, before the variable exists         | x          |
// | removeMapping  | told no more, others still told, no such registration                      | x          |
// | removeListener | every registration goes, unknown listener                                  |            |
// | dispatch       | nobody listens, listeners that add and remove, even themselves, while told | x          |

#include "KQVariableEventDispatcher.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "KQErrorCodes.h"
#include "KQSignal.h"
#include "SignalRecorder.h"

namespace KQ {
namespace {

constexpr unsigned short index = 0x2001;

class Dispatcher : public testing::Test {
protected:
  Dispatcher() {
    dispatcher_->clear();
    b_.result = KQ_NOT_HANDLED;
  }
  ~Dispatcher() override { dispatcher_->clear(); }

  /// What a listener does that notes its letter first.
  std::function<void()> note(
      char letter, std::function<void()> next = [] {}) {
    return [this, letter, next] {
      told_ += letter;
      next();
    };
  }

  /// The letters of the listeners that are told of a change, in order.
  std::string toldOf(unsigned int sub) {
    told_.clear();
    KQSignal signal;
    dispatcher_->dispatch(static_cast<unsigned int>(index) << 16 | sub, signal);
    return told_;
  }

  KQVariableEventDispatcher* const dispatcher_{KQVariableEventDispatcher::instance()};
  std::string told_;
  test::SignalRecorder a_{note('a')};
  test::SignalRecorder b_{note('b')};
  test::SignalRecorder c_{note('c')};
};

TEST_F(Dispatcher, RefusesNull) {
  EXPECT_EQ(20, dispatcher_->addMapping(index, 1, nullptr));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, TellsNobodyWhenNobodyListens) {
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, TellsInOrderOfRegistration) {
  EXPECT_EQ(0, dispatcher_->addMapping(index, 1, &b_));
  EXPECT_EQ(0, dispatcher_->addMapping(index, 1, &a_));
  EXPECT_EQ("ba", toldOf(1));
}

TEST_F(Dispatcher, TellsOnlyTheListenersOfTheVariable) {
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 2, &b_);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("b", toldOf(2));
  EXPECT_EQ("", toldOf(3));
}

TEST_F(Dispatcher, SamePairTwiceIsOneRegistration) {
  EXPECT_EQ(0, dispatcher_->addMapping(index, 1, &a_));
  EXPECT_EQ(0, dispatcher_->addMapping(index, 1, &a_));
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ(0, dispatcher_->removeMapping(index, 1, &a_));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, RemovedListenerIsToldNoMore) {
  for (test::SignalRecorder* listener : {&a_, &b_, &c_}) {
    dispatcher_->addMapping(index, 1, listener);
  }
  EXPECT_EQ(0, dispatcher_->removeMapping(index, 1, &b_));
  EXPECT_EQ("ac", toldOf(1));
}

TEST_F(Dispatcher, RemovingWhatIsNotThereIsNotFound) {
  EXPECT_EQ(23, dispatcher_->removeMapping(index, 77, &a_));
  dispatcher_->addMapping(index, 1, &a_);
  EXPECT_EQ(23, dispatcher_->removeMapping(index, 1, &b_));
  EXPECT_EQ(23, dispatcher_->removeMapping(index, 1, nullptr));
  EXPECT_EQ("a", toldOf(1));
}

TEST_F(Dispatcher, RemovingAListenerTakesAllItsRegistrations) {
  for (unsigned short sub = 1; sub <= 3; ++sub) {
    dispatcher_->addMapping(index, sub, &a_);
  }
  dispatcher_->addMapping(index, 2, &b_);
  dispatcher_->removeListener(&a_);
  EXPECT_EQ("", toldOf(1));
  EXPECT_EQ("b", toldOf(2));
  EXPECT_EQ("", toldOf(3));
  dispatcher_->removeListener(&c_);
  EXPECT_EQ("b", toldOf(2));
}

TEST_F(Dispatcher, ListenerMayRegisterAgainAfterItWasRemoved) {
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->removeListener(&a_);
  dispatcher_->addMapping(index, 1, &a_);
  EXPECT_EQ("a", toldOf(1));
}

TEST_F(Dispatcher, FindsEachOfManyVariables) {
  constexpr unsigned short variables = 5000;
  for (unsigned short sub = 0; sub < variables; ++sub) {
    dispatcher_->addMapping(index, sub, sub % 2 == 0 ? &a_ : &b_);
  }
  for (unsigned short sub = 0; sub < variables; ++sub) {
    ASSERT_EQ(sub % 2 == 0 ? "a" : "b", toldOf(sub));
  }
}

TEST_F(Dispatcher, ListenerMayRemoveItselfWhileTold) {
  a_.reaction = note('a', [&] { dispatcher_->removeListener(&a_); });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, &b_);
  EXPECT_EQ("ab", toldOf(1));
  EXPECT_EQ("b", toldOf(1));
}

TEST_F(Dispatcher, ListenerAddedWhileToldIsToldNextTime) {
  a_.reaction = note('a', [&] { dispatcher_->addMapping(index, 1, &b_); });
  dispatcher_->addMapping(index, 1, &a_);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("ab", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayRemoveAndDeleteALaterOneWhileTold) {
  auto later = std::make_unique<test::SignalRecorder>(note('l'));
  a_.reaction = note('a', [&] {
    dispatcher_->removeListener(later.get());
    later.reset();
  });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, later.get());
  dispatcher_->addMapping(index, 1, &b_);
  EXPECT_EQ("ab", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayTakeAllRegistrationsBackWhileTold) {
  a_.reaction = note('a', [&] { dispatcher_->clear(); });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, &b_);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayCauseAnotherReport) {
  a_.reaction = note('a', [&] {
    KQSignal signal;
    dispatcher_->dispatch(static_cast<unsigned int>(index) << 16 | 2U, signal);
  });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, &b_);
  dispatcher_->addMapping(index, 2, &c_);
  EXPECT_EQ("acb", toldOf(1));
}

TEST_F(Dispatcher, HandsTheSignalOver) {
  dispatcher_->addMapping(index, 1, &a_);
  KQSignal signal(KQ_SIGNAL_TYPE_VARIABLE, KQ_SIGNAL_VARIABLE_CHANGED, 0x20010001U, 0xFFFFFFFEU);
  dispatcher_->dispatch(0x20010001U, signal);
  EXPECT_EQ(0xFFFFFFFEU, a_.signals.at(0).getSecondValue());
}

}  // namespace
}  // namespace KQ
