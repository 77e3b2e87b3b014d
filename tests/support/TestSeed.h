#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace test {

/// The seed of a randomised test, printed and recorded: the one of the environment variable TAVO_TEST_SEED, else always
/// the same one, so that a run can be repeated. "make soak" gives fresh ones.
inline unsigned int chooseSeed() {
  constexpr unsigned int USUAL = 20261122;
  const char* const given = std::getenv("TAVO_TEST_SEED");
  const unsigned int seed = given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 0)) : USUAL;
  std::printf("seed %u\n", seed);  // standard output of C is not captured
  testing::Test::RecordProperty("seed", std::to_string(seed));
  return seed;
}

/// The value of an environment variable, or @p otherwise.
inline unsigned int countFromEnvironment(const char* name, unsigned int otherwise) {
  const char* const given = std::getenv(name);
  return given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 0)) : otherwise;
}

}  // namespace test
