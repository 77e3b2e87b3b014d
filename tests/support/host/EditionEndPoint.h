#pragma once

#include "KQEndPoint.h"

namespace test {

/// A CAN port that a test makes: doRead() and doWrite() say what is behind it.
class EditionEndPoint : public KQ::KQEndPoint {
protected:
  EditionEndPoint() : KQEndPoint("memory:test") {}
};

}  // namespace test
