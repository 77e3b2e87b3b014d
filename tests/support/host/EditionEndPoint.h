#pragma once

#include <optional>

#include "KQEndPoint.h"

namespace test {

/// A CAN port that a test makes: doRead() and doWrite() say what is behind it.
class EditionEndPoint : public KQ::KQEndPoint {
public:
  /// Whether a frame would pass the filter that the port was given last.
  bool lets(unsigned int identifier) const { return !filter || filter->contains(identifier); }
  /// How often it was given one.
  unsigned int filterChanges() const { return changes; }

protected:
  EditionEndPoint() : KQEndPoint("memory:test") {}

  void doSetFilter(const KQ::KQReceptionFilter* wanted) override {
    filter = wanted != nullptr ? std::optional<KQ::KQReceptionFilter>(*wanted) : std::nullopt;
    ++changes;
  }

private:
  std::optional<KQ::KQReceptionFilter> filter;
  unsigned int changes = 0;
};

}  // namespace test
