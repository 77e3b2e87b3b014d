#pragma once

#include <string>
#include <vector>

#include "KQCANMessage.h"

namespace test {

/// Frames as a test reads them: identifier and data bytes in hexadecimal, "585#43 18 10 01 C7 03 00 00".
using Frames = std::vector<std::string>;

/// Builds a message from "605#40 18 10 00 00 00 00 00"; blanks between the bytes may be left out.
KQ::KQCANMessage frame(const std::string& text);

/// The text form of a message, with upper-case digits and the bytes set apart.
std::string toText(const KQ::KQCANMessage& message);

}  // namespace test
