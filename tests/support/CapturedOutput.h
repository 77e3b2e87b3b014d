#pragma once

#include <sstream>
#include <string>

namespace test {

/// While one lives, std::cout and std::cerr go into it.
class CapturedOutput {
public:
  CapturedOutput();
  ~CapturedOutput();
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  /// What was written since the last call.
  std::string takeOutput();
  std::string takeErrors();

private:
  std::ostringstream output;
  std::ostringstream errors;
  std::streambuf* standardOutput;
  std::streambuf* standardError;
};

}  // namespace test
