#pragma once

#include <array>
#include <atomic>
#include <initializer_list>
#include <vector>

#include "KQSignalListener.h"

namespace panel {

/// Counts what a node tells its listeners, for other threads to read, and hands it on to those who want to hear it,
/// too.
class NodeCounts : public KQ::KQSignalListener {
public:
  static constexpr unsigned int HIGHEST_NODE = 127;

  /// @param others in the order in which they are asked, until one takes the signal; must outlive this
  explicit NodeCounts(std::initializer_list<KQ::KQSignalListener*> others = {}) : listeners(others) {}

  /// Takes state signals and heartbeat signals of the stack. @return that of the listener who took it, else 11
  int signalOccurred(KQ::KQSignal& signal) override;

  /// KQCANopenState; INIT before the first change. Any thread, as all that follow.
  int getState() const { return state.load(std::memory_order_relaxed); }
  unsigned int getStateChanges() const { return stateChanges.load(std::memory_order_relaxed); }

  /// Whether anything was told of that node's heartbeat, how often it did not come in time, and whether it is missing
  /// now. @param node 1 to 127
  bool isHeartbeatWatched(unsigned int node) const { return watched[node].load(std::memory_order_relaxed); }
  unsigned int getHeartbeatTimeouts(unsigned int node) const { return timeouts[node].load(std::memory_order_relaxed); }
  bool isHeartbeatMissing(unsigned int node) const { return missing[node].load(std::memory_order_relaxed); }

private:
  void count(KQ::KQSignal& signal);
  void countHeartbeat(unsigned int node, bool isMissing);

  const std::vector<KQ::KQSignalListener*> listeners;
  std::atomic<int> state{0};
  std::atomic<unsigned int> stateChanges{0};
  std::array<std::atomic<bool>, HIGHEST_NODE + 1> watched{};
  std::array<std::atomic<unsigned int>, HIGHEST_NODE + 1> timeouts{};
  std::array<std::atomic<bool>, HIGHEST_NODE + 1> missing{};
};

}  // namespace panel
