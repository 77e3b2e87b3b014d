#pragma once

#include "Trace.h"

namespace model {

/// The clock, the port and the output of a node that is modelled.
struct Surroundings {
  Trace& trace;
  unsigned int tick = 10000;
  unsigned int refusals = 0;
  int refusalCode = 0;

  /// A frame that the port refuses is offered 26 times in all. @return the code of the last time
  int send(const Frame& frame) {
    constexpr unsigned int ATTEMPTS = 26;
    const bool isClassic = frame.identifier <= 0x7FF;
    if (!isClassic || refusals >= ATTEMPTS) {
      refusals -= isClassic ? ATTEMPTS : 0;
      trace.errorLine("CANopen: Error sending CAN message");
      return isClassic ? refusalCode : 20;
    }
    refusals = 0;
    trace.frame(frame);
    return 0;
  }
};

/// "0x1a"
std::string hexadecimal(unsigned int number);

}  // namespace model
