#pragma once

namespace KQ {

class KQEndPointManager;

/// How the runtime starts, stops and drives a protocol. Called from the runtime's protocol thread.
class KQProtocolControl {
public:
  virtual ~KQProtocolControl() = default;

  /// Starts, stops, resets the protocol. The result is the protocol's own completion code.
  virtual int startProtocol() = 0;
  virtual int stopProtocol() = 0;
  virtual int resetProtocol() = 0;

  /// Gives the protocol a share of the cycle. @param deadline tick (ms) by which it should return.
  virtual int runProtocol(unsigned int deadline) = 0;

  /// Hands the protocol's end points to @p manager, which is not owned and must outlive the subscription.
  virtual int subscribeToEndpointManager(KQEndPointManager* manager) = 0;
};

}  // namespace KQ
