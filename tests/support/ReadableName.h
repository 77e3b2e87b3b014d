#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>

namespace test {

/// Name generator for parameters that can be printed: "705#05 00" becomes "705_05_00", -1 becomes "minus1".
struct ReadableName {
  template <typename Parameter>
  std::string operator()(const testing::TestParamInfo<Parameter>& testInfo) const {
    std::ostringstream text;
    text << testInfo.param;
    std::string name;
    for (const char c : text.str()) {
      if (c == '-') {
        name += "minus";
      } else {
        name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
      }
    }
    return name;
  }
};

}  // namespace test
