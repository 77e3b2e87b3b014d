#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CandumpReader.h"
#include "FrameDecoder.h"

namespace test {

/// The words of a decoded frame, one part after the other with "|" between: service, node, object, details, violation.
inline std::string toWords(const monitor::DecodedFrame& frame) {
  std::string text;
  frame.appendService(text);
  text += "|" + std::to_string(frame.node) + "|";
  frame.appendObject(text);
  text += "|";
  frame.appendDetails(text);
  text += frame.violation.empty() ? "" : "|" + std::string(frame.violation);
  return text;
}

/// A frame as it stands in a log: "705#00", "705#R".
inline monitor::Frame loggedFrame(const std::string& text, long long microseconds = 0) {
  monitor::LoggedFrame logged;
  EXPECT_TRUE(monitor::CandumpReader::parseLine("(0.0) can0 " + text, logged)) << text;
  logged.frame.microseconds = microseconds;
  return logged.frame;
}

/// Decodes one frame after the other, a millisecond apart.
class Decoding {
public:
  explicit Decoding(const monitor::ObjectNames* names = nullptr) : decoder(names) {}

  const monitor::DecodedFrame& take(const std::string& text) { return decoder.decode(loggedFrame(text, now += 1000)); }
  std::string words(const std::string& text) { return toWords(take(text)); }

private:
  monitor::FrameDecoder decoder;
  long long now{0};
};

}  // namespace test
