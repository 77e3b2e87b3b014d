#include "BoardPorts.h"

#include <map>
#include <utility>

namespace {

std::map<unsigned int, board::OpenPort>& ports() {
  static std::map<unsigned int, board::OpenPort> thePorts;
  return thePorts;
}

}  // namespace

void board::setPort(unsigned int number, OpenPort open) {
  ports()[number] = std::move(open);
}

std::unique_ptr<KQ::KQEndPoint> board::openPort(unsigned int number) {
  const OpenPort& open = ports()[number];
  return open ? open() : nullptr;
}
