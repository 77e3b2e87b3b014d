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

constexpr unsigned short INDEX = 0x2001;

class Dispatcher : public testing::Test {
protected:
  Dispatcher() {
    dispatcher->clear();
    b.result = KQ_NOT_HANDLED;
  }
  ~Dispatcher() override { dispatcher->clear(); }

  // What a listener does that notes its letter first.
  std::function<void()> note(
      char letter, std::function<void()> next = [] {}) {
    return [this, letter, next] {
      told += letter;
      next();
    };
  }

  // The letters of the listeners that are told of a change, in order.
  std::string toldOf(unsigned int sub) {
    told.clear();
    KQSignal signal;
    dispatcher->dispatch(static_cast<unsigned int>(INDEX) << 16 | sub, signal);
    return told;
  }

  KQVariableEventDispatcher* const dispatcher{KQVariableEventDispatcher::instance()};
  std::string told;
  test::SignalRecorder a{note('a')};
  test::SignalRecorder b{note('b')};
  test::SignalRecorder c{note('c')};
};

TEST_F(Dispatcher, RefusesNull) {
  EXPECT_EQ(20, dispatcher->addMapping(INDEX, 1, nullptr));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, TellsNobodyWhenNobodyListens) {
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, TellsInOrderOfRegistration) {
  EXPECT_EQ(0, dispatcher->addMapping(INDEX, 1, &b));
  EXPECT_EQ(0, dispatcher->addMapping(INDEX, 1, &a));
  EXPECT_EQ("ba", toldOf(1));
}

TEST_F(Dispatcher, TellsOnlyTheListenersOfTheVariable) {
  dispatcher->addMapping(INDEX, 1, &a);
  dispatcher->addMapping(INDEX, 2, &b);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("b", toldOf(2));
  EXPECT_EQ("", toldOf(3));
}

TEST_F(Dispatcher, SamePairTwiceIsOneRegistration) {
  EXPECT_EQ(0, dispatcher->addMapping(INDEX, 1, &a));
  EXPECT_EQ(0, dispatcher->addMapping(INDEX, 1, &a));
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ(0, dispatcher->removeMapping(INDEX, 1, &a));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, RemovedListenerIsToldNoMore) {
  for (test::SignalRecorder* listener : {&a, &b, &c}) {
    dispatcher->addMapping(INDEX, 1, listener);
  }
  EXPECT_EQ(0, dispatcher->removeMapping(INDEX, 1, &b));
  EXPECT_EQ("ac", toldOf(1));
}

TEST_F(Dispatcher, RemovingWhatIsNotThereIsNotFound) {
  EXPECT_EQ(23, dispatcher->removeMapping(INDEX, 77, &a));
  dispatcher->addMapping(INDEX, 1, &a);
  EXPECT_EQ(23, dispatcher->removeMapping(INDEX, 1, &b));
  EXPECT_EQ(23, dispatcher->removeMapping(INDEX, 1, nullptr));
  EXPECT_EQ("a", toldOf(1));
}

TEST_F(Dispatcher, RemovingAListenerTakesAllItsRegistrations) {
  for (unsigned short sub = 1; sub <= 3; ++sub) {
    dispatcher->addMapping(INDEX, sub, &a);
  }
  dispatcher->addMapping(INDEX, 2, &b);
  dispatcher->removeListener(&a);
  EXPECT_EQ("", toldOf(1));
  EXPECT_EQ("b", toldOf(2));
  EXPECT_EQ("", toldOf(3));
  dispatcher->removeListener(&c);
  EXPECT_EQ("b", toldOf(2));
}

TEST_F(Dispatcher, ListenerMayRegisterAgainAfterItWasRemoved) {
  dispatcher->addMapping(INDEX, 1, &a);
  dispatcher->removeListener(&a);
  dispatcher->addMapping(INDEX, 1, &a);
  EXPECT_EQ("a", toldOf(1));
}

TEST_F(Dispatcher, FindsEachOfManyVariables) {
  constexpr unsigned short VARIABLES = 5000;
  for (unsigned short sub = 0; sub < VARIABLES; ++sub) {
    dispatcher->addMapping(INDEX, sub, sub % 2 == 0 ? &a : &b);
  }
  for (unsigned short sub = 0; sub < VARIABLES; ++sub) {
    ASSERT_EQ(sub % 2 == 0 ? "a" : "b", toldOf(sub));
  }
}

TEST_F(Dispatcher, ListenerMayRemoveItselfWhileTold) {
  a.reaction = note('a', [&] { dispatcher->removeListener(&a); });
  dispatcher->addMapping(INDEX, 1, &a);
  dispatcher->addMapping(INDEX, 1, &b);
  EXPECT_EQ("ab", toldOf(1));
  EXPECT_EQ("b", toldOf(1));
}

TEST_F(Dispatcher, ListenerAddedWhileToldIsToldNextTime) {
  a.reaction = note('a', [&] { dispatcher->addMapping(INDEX, 1, &b); });
  dispatcher->addMapping(INDEX, 1, &a);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("ab", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayRemoveAndDeleteALaterOneWhileTold) {
  auto later = std::make_unique<test::SignalRecorder>(note('l'));
  a.reaction = note('a', [&] {
    dispatcher->removeListener(later.get());
    later.reset();
  });
  dispatcher->addMapping(INDEX, 1, &a);
  dispatcher->addMapping(INDEX, 1, later.get());
  dispatcher->addMapping(INDEX, 1, &b);
  EXPECT_EQ("ab", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayTakeAllRegistrationsBackWhileTold) {
  a.reaction = note('a', [&] { dispatcher->clear(); });
  dispatcher->addMapping(INDEX, 1, &a);
  dispatcher->addMapping(INDEX, 1, &b);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayCauseAnotherReport) {
  a.reaction = note('a', [&] {
    KQSignal signal;
    dispatcher->dispatch(static_cast<unsigned int>(INDEX) << 16 | 2U, signal);
  });
  dispatcher->addMapping(INDEX, 1, &a);
  dispatcher->addMapping(INDEX, 1, &b);
  dispatcher->addMapping(INDEX, 2, &c);
  EXPECT_EQ("acb", toldOf(1));
}

TEST_F(Dispatcher, HandsTheSignalOver) {
  dispatcher->addMapping(INDEX, 1, &a);
  KQSignal signal(KQ_SIGNAL_TYPE_VARIABLE, KQ_SIGNAL_VARIABLE_CHANGED, 0x20010001U, 0xFFFFFFFEU);
  dispatcher->dispatch(0x20010001U, signal);
  EXPECT_EQ(0xFFFFFFFEU, a.signals.at(0).getSecondValue());
}

}  // namespace
}  // namespace KQ
