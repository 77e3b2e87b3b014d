#pragma once

#include <memory>
#include <string>
#include <vector>

#include "KQSignalListener.h"
#include "Scenario.h"

namespace bench {

inline constexpr std::size_t TEXT_LENGTH = 1024;
inline constexpr std::size_t SYNCHRONOUS_PDOS = 4;

// ---- SDO server

/// The variables take turns.
class ExpeditedUpload : public RepeatedScenario<ExpeditedUpload> {
public:
  explicit ExpeditedUpload(const Configuration& configuration);
  void perform(std::size_t operation) { node.receive(requests[operation % requests.size()]); }
  std::size_t framesPerOperation() const override { return 1; }

protected:
  Frames expectedFrames(std::size_t operation) const override;
  std::size_t round() const override { return requests.size(); }

private:
  Frames requests;
};

class ExpeditedDownload : public RepeatedScenario<ExpeditedDownload> {
public:
  explicit ExpeditedDownload(const Configuration& configuration);
  void perform(std::size_t operation) {
    request.data[4] = static_cast<unsigned char>(operation);
    request.data[5] = static_cast<unsigned char>(operation >> 8);
    node.receive(request);
  }
  std::size_t framesPerOperation() const override { return 1; }

protected:
  Frames expectedFrames(std::size_t operation) const override;
  bool isDone(std::size_t operation) const override;

private:
  KQ::KQCANMessage request;
};

/// All frames of a transfer, one after the other.
class SegmentedTransfer : public RepeatedScenario<SegmentedTransfer> {
public:
  void perform(std::size_t operation) {
    for (const KQ::KQCANMessage& request : requests[operation % requests.size()]) {
      node.receive(request);
    }
  }
  std::size_t framesPerOperation() const override { return requests.front().size(); }

protected:
  using RepeatedScenario::RepeatedScenario;
  std::vector<Frames> requests;  ///< operations take turns with these
};

class SegmentedUpload : public SegmentedTransfer {
public:
  explicit SegmentedUpload(const Configuration& configuration);

protected:
  Frames expectedFrames(std::size_t operation) const override;
};

class SegmentedDownload : public SegmentedTransfer {
public:
  explicit SegmentedDownload(const Configuration& configuration);

protected:
  Frames expectedFrames(std::size_t operation) const override;
  bool isDone(std::size_t operation) const override;
};

// ---- PDO

/// The RPDOs take turns; all four values change each time.
class ReceivedPDO : public RepeatedScenario<ReceivedPDO> {
public:
  explicit ReceivedPDO(const Configuration& configuration);
  void perform(std::size_t operation);
  std::size_t framesPerOperation() const override { return 0; }

protected:
  Frames expectedFrames(std::size_t /*operation*/) const override { return {}; }
  bool isDone(std::size_t operation) const override;
  std::size_t round() const override { return frames.size(); }

private:
  Frames frames;
};

/// The TPDOs take turns, and the values of each.
class ChangedPDO : public RepeatedScenario<ChangedPDO> {
public:
  explicit ChangedPDO(const Configuration& configuration);
  void perform(std::size_t operation);
  std::size_t framesPerOperation() const override { return 1; }

protected:
  Frames expectedFrames(std::size_t operation) const override;
  bool isDone(std::size_t operation) const override;
  std::size_t round() const override { return variables.size(); }

private:
  struct Variable {
    unsigned short index;
    unsigned short subIndex;
  };
  std::vector<Variable> variables;
};

class SynchronousPDOs : public RepeatedScenario<SynchronousPDOs> {
public:
  explicit SynchronousPDOs(const Configuration& configuration);
  void perform(std::size_t /*operation*/) { node.receive(sync); }
  std::size_t framesPerOperation() const override { return SYNCHRONOUS_PDOS; }

protected:
  Frames expectedFrames(std::size_t operation) const override;

private:
  KQ::KQCANMessage sync;
};

// ---- NMT

/// The watched nodes take turns.
class Heartbeat : public RepeatedScenario<Heartbeat>, private KQ::KQSignalListener {
public:
  explicit Heartbeat(const Configuration& configuration);
  void perform(std::size_t operation) { node.receive(heartbeats[operation % heartbeats.size()]); }
  std::size_t framesPerOperation() const override { return 0; }

protected:
  Frames expectedFrames(std::size_t /*operation*/) const override { return {}; }
  bool isDone(std::size_t operation) const override;
  std::size_t round() const override { return heartbeats.size(); }

private:
  int signalOccurred(KQ::KQSignal& signal) override;

  Frames heartbeats;
  std::size_t resolvedTimeouts = 0;
  std::size_t otherEvents = 0;
};

class Rejection : public RepeatedScenario<Rejection> {
public:
  explicit Rejection(const Configuration& configuration);
  void perform(std::size_t operation) { node.receive(strangers[operation % strangers.size()]); }
  std::size_t framesPerOperation() const override { return 0; }

protected:
  Frames expectedFrames(std::size_t /*operation*/) const override { return {}; }
  bool isDone(std::size_t operation) const override;

private:
  Frames strangers;
};

/// A cycle of each node.
class IdleCycle : public RepeatedScenario<IdleCycle> {
public:
  explicit IdleCycle(const Configuration& configuration);
  void perform(std::size_t /*operation*/) {
    failures += node.cycle() != 0 ? 1U : 0U;
    for (const auto& other : otherNodes) {
      failures += other->cycle() != 0 ? 1U : 0U;
    }
  }
  std::size_t framesPerOperation() const override { return 0; }

protected:
  Frames expectedFrames(std::size_t /*operation*/) const override { return {}; }
  bool isDone(std::size_t /*operation*/) const override { return failures == 0; }

private:
  std::vector<std::unique_ptr<BenchNode>> otherNodes;
  std::size_t failures = 0;
};

/// From the command to the boot-up message, which takes two cycles.
class Reset : public RepeatedScenario<Reset> {
public:
  explicit Reset(const Configuration& configuration);
  void perform(std::size_t /*operation*/) {
    node.receive(command);
    node.cycle();
    node.cycle();
  }
  std::size_t framesPerOperation() const override { return 1; }

protected:
  Frames expectedFrames(std::size_t operation) const override;

private:
  KQ::KQCANMessage command;
};

}  // namespace bench
