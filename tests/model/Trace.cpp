#include "Trace.h"

#include <cstdio>

namespace model {

namespace {

template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
  char text[120];
  std::snprintf(text, sizeof text, pattern, arguments...);
  return text;
}

}  // namespace

std::string toText(const Frame& frame) {
  std::string text = format("%03X#", frame.identifier);
  for (std::size_t i = 0; i < frame.data.size(); ++i) {
    if (i == frame.length) {
      text += " |";  // bytes that are not on the wire; a handler may read them all the same
    }
    text += format(i == 0 ? "%02X" : " %02X", static_cast<unsigned int>(frame.data[i]));
  }
  return text;
}

std::string toText(const Observation& observation) {
  const std::array<unsigned int, 6>& n = observation.numbers;
  switch (observation.kind) {
    case Observation::FRAME:
      return "sends " + toText(Frame{n[0], n[1], observation.data});
    case Observation::SIGNAL:
      return format("tells listener %u: type %u code %u, 0x%x, 0x%x, flag %u", n[0], n[1], n[2], n[3], n[4], n[5]);
    case Observation::EVENT:
      return format("event %u of 0x%x", n[0], n[1]);
    case Observation::LINE:
      return "prints \"" + observation.text + "\"";
    case Observation::ERROR_LINE:
      return "prints on standard error \"" + observation.text + "\"";
    case Observation::RESULT:
      return format("returns %d (0x%x)", static_cast<int>(n[0]), n[0]);
    case Observation::VALUE:
      break;
  }
  const std::string text = observation.text.empty() ? std::string() : " \"" + observation.text + "\"";
  return format("%08x is 0x%x, code %u", n[0], n[2], n[1]) + text;
}

}  // namespace model
