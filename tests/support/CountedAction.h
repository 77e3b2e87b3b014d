#pragma once

#include "KQAction.h"

namespace test {

/// An action that counts how often it ran.
class CountedAction : public KQ::KQAction {
public:
  explicit CountedAction(int executionResult = 0) : result(executionResult) {}

  int execute() override {
    ++runs;
    return result;
  }

  unsigned int runs = 0;

private:
  int result;
};

}  // namespace test
