#pragma once

#include <csignal>
#include <cstdint>
#include <string>

#include "DescriptionNames.h"
#include "FrameText.h"
#include "Networks.h"
#include "Output.h"
#include "Progress.h"
#include "TraceOptions.h"

namespace monitor {
class CandumpReader;
struct LoggedFrame;
}  // namespace monitor

namespace trace {

/// Reads the logs and prints what was asked for. One thread.
class TraceRun {
public:
  /// Reads the descriptions.
  /// @param isInterrupted set by a signal handler: what was read until then is all
  /// @throws TraceError for one that cannot be used
  TraceRun(const TraceOptions& given, const volatile std::sig_atomic_t& isInterrupted);

  /// @return whether all lines were frames. @throws TraceError, OutputClosed
  bool run();

private:
  void readFile(const std::string& name);
  void readLines(monitor::CandumpReader& reader, const std::string& name);
  void take(const monitor::LoggedFrame& logged);
  void print(const monitor::DecodedFrame& frame, std::string_view interface);
  void refuse(const monitor::CandumpReader& reader, const std::string& name);
  void finish();
  void complain(const std::string& text);

  const TraceOptions& options;
  const volatile std::sig_atomic_t& interrupted;
  DescriptionNames names;
  Networks networks;
  FrameText frameText;
  Output output;
  Progress progress;
  long long first{0};  ///< microseconds of the log's first frame
  bool isFirst{true};
  std::uint64_t frames{0};
  std::uint64_t refused{0};
  std::uint64_t bytesBefore{0};  ///< of the files that have been read
  std::uint64_t bytesInAll{0};   ///< 0: not known
};

}  // namespace trace
