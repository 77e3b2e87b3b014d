#pragma once

#include <cstdint>

#include <nlohmann/json.hpp>

#include "Networks.h"

namespace trace {

/// What there was on each network, for programs; docs/trace.md describes its members. Times are seconds.
/// @param refused lines that were no frames
nlohmann::ordered_json toObject(const Networks& networks, std::uint64_t refused);

}  // namespace trace
