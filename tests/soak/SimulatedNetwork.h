#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "CapturedOutput.h"
#include "EditionEndPoint.h"
#include "KQCANMessage.h"
#include "KQCANopen.h"
#include "TemporaryDirectory.h"
#include "TestClock.h"

namespace soak {

class SimulatedNetwork;

/// A node's port on the simulated bus. What its node does not serve does not come in, as with a controller's filter.
class SimulatedPort : public test::EditionEndPoint {
public:
  SimulatedPort(SimulatedNetwork& network, std::size_t node) : bus(network), owner(node) {}

  void take(const KQ::KQCANMessage& message) { incoming.push_back(message); }
  bool hasFrames() const { return !incoming.empty(); }

protected:
  int doRead(KQ::KQCANMessage& message) override;
  int doWrite(const KQ::KQCANMessage& message) override;

private:
  SimulatedNetwork& bus;
  const std::size_t owner;
  std::deque<KQ::KQCANMessage> incoming;
};

/// Nodes on one bus that has no wire time, a master that sees every frame, and a clock that jumps to whatever is due
/// next: a day of a network takes as long as its frames do.
class SimulatedNetwork {
public:
  static constexpr unsigned int FIRST_PORT = 300;

  SimulatedNetwork();
  ~SimulatedNetwork();
  SimulatedNetwork(const SimulatedNetwork&) = delete;
  SimulatedNetwork& operator=(const SimulatedNetwork&) = delete;

  /// One more node, initialised, not started yet; its node-ID is its number from 1 on.
  KQ::KQCANopen& add(int heartbeatMs);

  std::size_t size() const { return nodes.size(); }
  KQ::KQCANopen& node(std::size_t number) { return *nodes.at(number); }

  /// A frame of the master.
  void send(const KQ::KQCANMessage& message);

  /// Lets time pass until nothing is due at @p end any more, without a cycle of a node that has nothing to do.
  void runUntil(unsigned int end);

  /// A cycle of each node, and all that comes of it at this moment.
  void settle();

  /// The frames of all nodes since the beginning, or since forget().
  std::size_t framesSent() const { return sent; }
  /// The last frame with each identifier is counted here, too.
  std::size_t framesWith(unsigned int identifier) const { return byIdentifier.at(identifier); }
  const KQ::KQCANMessage& lastFrame() const { return last; }

  void transmit(const KQ::KQCANMessage& message, std::size_t sender);

  test::TemporaryDirectory directory;
  test::TestClock clock;
  test::CapturedOutput output;

private:
  static constexpr std::size_t MASTER = ~std::size_t{0};

  void cycle(std::size_t number);
  bool drain();

  std::vector<std::unique_ptr<KQ::KQCANopen>> nodes;
  std::vector<SimulatedPort*> ports;  ///< owned by the nodes
  std::vector<unsigned int> dueTicks;
  std::vector<std::size_t> byIdentifier = std::vector<std::size_t>(0x800, 0);
  std::size_t sent = 0;
  KQ::KQCANMessage last;
};

/// Bytes that the process has from the heap.
std::size_t heapInUse();

/// An amount for a run that is to be longer than usual. @return the number in the environment, or @p usual
double amount(const char* variable, double usual);

}  // namespace soak
