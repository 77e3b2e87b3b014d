#pragma once

#include <string>
#include <vector>

#include "FrameFilter.h"

namespace trace {

/// How the time of a line is written.
enum class TimeForm {
  AS_LOGGED,  ///< seconds since 1970
  DATE,       ///< date and time of the day, UTC
  RELATIVE,   ///< seconds since the first frame of the log
  DELTA       ///< seconds since the line before
};

/// What the command line asks for.
struct TraceOptions {
  std::vector<std::string> files;         ///< one after the other; "-": standard input
  std::vector<std::string> descriptions;  ///< "FILE" or "FILE:NODE"
  FrameFilter filter;
  TimeForm time = TimeForm::AS_LOGGED;
  bool data = false;     ///< show the bytes of every frame
  bool summary = false;  ///< what there was in all, instead of each frame
  bool json = false;
  unsigned int bitRate = 250000;  ///< for the bus load, bit/s
  std::string information;        ///< the answer to --help or --version: to be printed instead of running

  /// Reads a command line. @throws TraceError for one that is wrong
  static TraceOptions parse(int argumentCount, const char* const* arguments);
};

}  // namespace trace
