#pragma once

#include <functional>
#include <memory>

#include "KQEndPoint.h"

namespace board {

using OpenPort = std::function<std::unique_ptr<KQ::KQEndPoint>()>;

/// Says how a CAN port is opened; an empty function: there is no such port.
void setPort(unsigned int number, OpenPort open);

/// @return null when there is no such port
std::unique_ptr<KQ::KQEndPoint> openPort(unsigned int number);

}  // namespace board
