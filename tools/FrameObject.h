#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

#include "DecodedFrame.h"

namespace trace {

/// A frame as an object for programs; docs/trace.md describes its members. Members without a meaning for the frame are
/// left out. Any thread.
nlohmann::ordered_json toObject(const monitor::DecodedFrame& frame, std::string_view interface);

/// Microseconds as the seconds of the log.
double toSeconds(long long microseconds);

}  // namespace trace
