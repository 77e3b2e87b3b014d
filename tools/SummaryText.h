#pragma once

#include <string>

#include "Networks.h"
#include "ObjectNames.h"

namespace trace {

/// What there was on each network, as tables for a person. Any thread that owns what it is given.
class SummaryText {
public:
  explicit SummaryText(const monitor::ObjectNames& objectNames) : names(objectNames) {}

  void append(std::string& text, const Networks& networks) const;

private:
  void appendTransfers(std::string& text, const monitor::NetworkStatistics& statistics) const;

  const monitor::ObjectNames& names;
};

}  // namespace trace
