#pragma once

#include "Frame.h"

namespace monitor {

/// How many bits a frame takes on the wire: from the start of frame to the end of the interframe space, with exactly
/// the stuff bits that its content makes. Without errors and repetitions, which nobody behind a CAN controller sees.
/// Any thread.
/// @return 0 for an error frame and a frame of CAN FD; a frame with a 29-bit identifier counts as a data frame
unsigned int getWireBits(const Frame& frame);

}  // namespace monitor
