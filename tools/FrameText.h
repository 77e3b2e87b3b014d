#pragma once

#include <string>
#include <string_view>

#include "DecodedFrame.h"
#include "TraceOptions.h"

namespace trace {

/// A frame as a line for a person:
///
///     1700000000.123456 can0 585 SDO response node 5   0x2000/2 Set Point: initiate upload = 600
///
/// What breaks the protocol stands behind " !! ". One thread.
class FrameText {
public:
  FrameText(TimeForm form, bool showsData) : timeForm(form), data(showsData) {}

  /// Adds the line with its end. @param first microseconds of the log's first frame
  void append(std::string& text, const monitor::DecodedFrame& frame, std::string_view interface, long long first);

private:
  void appendTime(std::string& text, long long microseconds, long long first);

  const TimeForm timeForm;
  const bool data;
  long long last{0};  ///< time of the line before
  bool isFirst{true};
};

}  // namespace trace
