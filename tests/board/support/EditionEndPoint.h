#pragma once

#include "KQEndPoint.h"

namespace test {

using EditionEndPoint = KQ::KQEndPoint;

}  // namespace test
