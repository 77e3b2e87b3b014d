// What this file covers:
//   addMapping      | null, told, order, the same pair twice, before the variable exists             | functional,
//   robustness removeMapping   | told no more, others still told, no such registration                         |
//   functional, robustness removeListener  | every registration goes, unknown listener | functional dispatch        |
//   nobody listens, listeners that add and remove, even themselves, while told    | functional, robustness
#include "KQVariableEventDispatcher.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "KQSignal.h"
#include "KQSignalListener.h"

namespace KQ {
namespace {

constexpr unsigned short index = 0x2001;

class Dispatcher : public testing::Test {
protected:
  /// Notes its letter and then does what the test wants.
  class Listener : public KQSignalListener {
  public:
    Listener(char letter, std::string& told) : letter_(letter), told_(told) {}
    int signalOccurred(KQSignal&) override {
      told_ += letter_;
      if (whenTold_) {
        whenTold_();
      }
      return 11;
    }
    void whenTold(std::function<void()> action) { whenTold_ = std::move(action); }

  private:
    const char letter_;
    std::string& told_;
    std::function<void()> whenTold_;
  };

  Dispatcher() { dispatcher_->clear(); }
  ~Dispatcher() override { dispatcher_->clear(); }

  /// The letters of the listeners that are told of a change, in order.
  std::string toldOf(unsigned int sub) {
    told_.clear();
    KQSignal signal;
    dispatcher_->dispatch(static_cast<unsigned int>(index) << 16 | sub, signal);
    return told_;
  }

  KQVariableEventDispatcher* const dispatcher_{KQVariableEventDispatcher::instance()};
  std::string told_;
  Listener a_{'a', told_};
  Listener b_{'b', told_};
  Listener c_{'c', told_};
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
  for (Listener* listener : {&a_, &b_, &c_}) {
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
  a_.whenTold([&] { dispatcher_->removeListener(&a_); });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, &b_);
  EXPECT_EQ("ab", toldOf(1));
  EXPECT_EQ("b", toldOf(1));
}

TEST_F(Dispatcher, ListenerAddedWhileToldIsToldNextTime) {
  a_.whenTold([&] { dispatcher_->addMapping(index, 1, &b_); });
  dispatcher_->addMapping(index, 1, &a_);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("ab", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayRemoveAndDeleteALaterOneWhileTold) {
  auto later = std::make_unique<Listener>('l', told_);
  a_.whenTold([&] {
    dispatcher_->removeListener(later.get());
    later.reset();
  });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, later.get());
  dispatcher_->addMapping(index, 1, &b_);
  EXPECT_EQ("ab", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayTakeAllRegistrationsBackWhileTold) {
  a_.whenTold([&] { dispatcher_->clear(); });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, &b_);
  EXPECT_EQ("a", toldOf(1));
  EXPECT_EQ("", toldOf(1));
}

TEST_F(Dispatcher, ListenerMayCauseAnotherReport) {
  a_.whenTold([&] {
    KQSignal signal;
    dispatcher_->dispatch(static_cast<unsigned int>(index) << 16 | 2U, signal);
  });
  dispatcher_->addMapping(index, 1, &a_);
  dispatcher_->addMapping(index, 1, &b_);
  dispatcher_->addMapping(index, 2, &c_);
  EXPECT_EQ("acb", toldOf(1));
}

TEST_F(Dispatcher, HandsTheSignalOver) {
  class ReadingListener : public KQSignalListener {
  public:
    int signalOccurred(KQSignal& signal) override {
      seen = signal.getSecondValue();
      return 0;
    }
    unsigned int seen{0};
  };
  ReadingListener reading;
  dispatcher_->addMapping(index, 1, &reading);
  KQSignal signal(KQ_SIGNAL_TYPE_VARIABLE, KQ_SIGNAL_VARIABLE_CHANGED, 0x20010001U, 0xFFFFFFFEU);
  dispatcher_->dispatch(0x20010001U, signal);
  EXPECT_EQ(0xFFFFFFFEU, reading.seen);
}

}  // namespace
}  // namespace KQ
