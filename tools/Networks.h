#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "FrameDecoder.h"
#include "NetworkStatistics.h"

namespace trace {

/// The frames of one interface: a network of its own, whose nodes have nothing to do with those of another.
struct Network {
  Network(std::string_view interface, const monitor::ObjectNames& names, unsigned int bitRate)
      : name(interface), decoder(&names), statistics(bitRate) {}

  const std::string name;
  monitor::FrameDecoder decoder;
  monitor::NetworkStatistics statistics;
};

/// The interfaces of a log. Their number is bounded, since a log may hold any names: those that come up when all places
/// are taken share one. One thread.
class Networks {
public:
  static constexpr std::size_t PLACES = 16;

  /// @param objectNames lives longer
  Networks(const monitor::ObjectNames& objectNames, unsigned int bitsPerSecond)
      : names(objectNames), bitRate(bitsPerSecond) {}

  /// The network of an interface, as a rule the same as the last time.
  Network& get(std::string_view interface) {
    return last != nullptr && last->name == interface ? *last : find(interface);
  }

  const std::vector<std::unique_ptr<Network>>& getAll() const { return networks; }

private:
  Network& find(std::string_view interface);

  const monitor::ObjectNames& names;
  const unsigned int bitRate;
  std::vector<std::unique_ptr<Network>> networks;
  Network* last{nullptr};
};

}  // namespace trace
