#include "Networks.h"

#include <algorithm>

namespace trace {

Network& Networks::find(std::string_view interface) {
  const auto found = std::find_if(networks.begin(), networks.end(),
                                  [interface](const auto& network) { return network->name == interface; });
  if (found != networks.end()) {
    last = found->get();
  } else if (networks.size() < PLACES) {
    const bool isLastPlace = networks.size() == PLACES - 1;
    networks.push_back(std::make_unique<Network>(isLastPlace ? "(others)" : interface, names, bitRate));
    last = networks.back().get();
  } else {
    last = networks.back().get();
  }
  return *last;
}

}  // namespace trace
