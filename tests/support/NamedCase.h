#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace test {

/// The base of a row of a parameterised test: the row's name is the name of the test.
struct NamedCase {
  const char* name;
};

inline std::ostream& operator<<(std::ostream& stream, const NamedCase& row) {
  return stream << row.name;
}

/// Name generator for INSTANTIATE_TEST_SUITE_P.
template <class Row>
std::string caseName(const ::testing::TestParamInfo<Row>& info) {
  return info.param.name;
}

}  // namespace test
