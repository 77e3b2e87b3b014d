#include "Edition.h"

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

#include "BoardClock.h"
#include "BoardDebug.h"
#include "BoardPorts.h"
#include "BoardStore.h"
#include "BoardTime.h"
#include "KQCANMessage.h"
#include "KQErrorCodes.h"

namespace test {

namespace {

class BusEndPoint;
using Bus = std::vector<BusEndPoint*>;

class BusEndPoint : public KQ::KQEndPoint {
public:
  explicit BusEndPoint(std::shared_ptr<Bus> itsBus) : bus(std::move(itsBus)) { bus->push_back(this); }
  ~BusEndPoint() override { bus->erase(std::find(bus->begin(), bus->end(), this)); }

protected:
  int doRead(KQ::KQCANMessage& message) override {
    if (received.empty()) {
      return KQ::KQ_NO_DATA;
    }
    message = received.front();
    received.pop_front();
    return KQ::KQ_OK;
  }

  int doWrite(const KQ::KQCANMessage& message) override {
    for (BusEndPoint* const other : *bus) {
      if (other != this) {
        other->received.push_back(message);
      }
    }
    return KQ::KQ_OK;
  }

private:
  std::shared_ptr<Bus> bus;
  std::deque<KQ::KQCANMessage> received;
};

}  // namespace

void edition::setClock(unsigned int (*clock)()) {
  board::setClock(clock);
}

void edition::setWallClock(long (*clock)()) {
  board::setWallClock(clock);
}

void edition::clearStore() {
  board::clearStore();
}

void edition::printDebugLines(bool print) {
  board::printDebugLines(print);
}

void edition::bindPort(unsigned int number, std::function<std::unique_ptr<KQ::KQEndPoint>()> open) {
  board::setPort(number, std::move(open));
}

void edition::bindBus(unsigned int number) {
  board::setPort(number, [bus = std::make_shared<Bus>()] { return std::make_unique<BusEndPoint>(bus); });
}

void edition::unbindPort(unsigned int number) {
  board::setPort(number, nullptr);
}

std::unique_ptr<KQ::KQEndPoint> edition::openPort(unsigned int number) {
  return board::openPort(number);
}

}  // namespace test
