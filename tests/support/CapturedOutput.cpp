#include "CapturedOutput.h"

#include <iostream>

namespace test {

namespace {

std::string take(std::ostringstream& stream) {
  std::string text = stream.str();
  stream.str(std::string());
  return text;
}

}  // namespace

CapturedOutput::CapturedOutput()
    : standardOutput(std::cout.rdbuf(output.rdbuf())), standardError(std::cerr.rdbuf(errors.rdbuf())) {}

CapturedOutput::~CapturedOutput() {
  std::cout.rdbuf(standardOutput);
  std::cerr.rdbuf(standardError);
}

std::string CapturedOutput::takeOutput() {
  return take(output);
}

std::string CapturedOutput::takeErrors() {
  return take(errors);
}

}  // namespace test
