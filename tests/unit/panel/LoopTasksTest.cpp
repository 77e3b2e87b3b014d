// Covers: what other threads give the loop to do.
//
// | subject                                                 | functional | robustness |
// |---------------------------------------------------------|------------|------------|
// | tasks are done in their order, a few in a turn          | x          |            |
// | the loop is woken for them, and for those that are left | x          |            |
// | more than are kept                                      |            | x          |

#include "LoopTasks.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

using panel::LoopTasks;

class LoopTasksTest : public testing::Test {
protected:
  void post(int number) {
    ASSERT_TRUE(tasks.post([this, number] { done.push_back(number); }));
  }

  int wakes = 0;
  LoopTasks tasks{[this] { ++wakes; }};
  std::vector<int> done;
};

TEST_F(LoopTasksTest, EachWakesTheLoop) {
  post(1);
  post(2);
  EXPECT_EQ(2, wakes);
}

TEST_F(LoopTasksTest, NothingIsDoneBeforeTheLoopServesThem) {
  post(1);
  EXPECT_TRUE(done.empty());
}

TEST_F(LoopTasksTest, TheyAreDoneOnceInTheirOrder) {
  post(1);
  post(2);
  tasks.serve();
  tasks.serve();
  EXPECT_EQ((std::vector<int>{1, 2}), done);
}

TEST_F(LoopTasksTest, TurnDoesAFewAndWakesTheLoopForTheRest) {
  for (std::size_t i = 0; i <= LoopTasks::TASKS_PER_TURN; ++i) {
    post(static_cast<int>(i));
  }
  wakes = 0;
  tasks.serve();
  EXPECT_EQ(LoopTasks::TASKS_PER_TURN, done.size());
  EXPECT_EQ(1, wakes);
}

TEST_F(LoopTasksTest, TurnThatLeavesNothingWakesNobody) {
  post(1);
  wakes = 0;
  tasks.serve();
  EXPECT_EQ(0, wakes);
}

TEST_F(LoopTasksTest, TaskThatPostsTheNextSliceIsNotDoneForEver) {
  int slices = 0;
  std::function<void()> slice = [&] {
    ++slices;
    tasks.post(slice);
  };
  tasks.post(slice);
  tasks.serve();
  EXPECT_EQ(static_cast<int>(LoopTasks::TASKS_PER_TURN), slices);
}

TEST_F(LoopTasksTest, MoreThanAreKeptAreRefused) {
  for (std::size_t i = 0; i < LoopTasks::CAPACITY; ++i) {
    post(static_cast<int>(i));
  }
  EXPECT_FALSE(tasks.post([] {}));
}

}  // namespace
