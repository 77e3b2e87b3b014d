#pragma once

namespace KQ {

class KQEndPoint;
class KQEndPointManager;

/// What the owner of an end point is told about it. Every call comes from KQEndPointManager::wait,
/// on the thread that is in it, and may add and remove end points and descriptors of that manager.
class KQEndPointListener {
public:
  virtual ~KQEndPointListener() = default;

  /// Frames wait on the end point. Told again by every wait for as long as frames wait, so a listener
  /// may read as many of them as it likes. One that reads none at all is asked again about
  /// ten milliseconds later, unless the manager is polled with a wait of 0.
  /// @param endPoint the end point that has frames; not null, stays its owner's
  /// @param manager the manager that is waiting; not null
  virtual void onEndPointReadable(KQEndPoint* endPoint, KQEndPointManager* manager) = 0;

  /// The end point can transfer frames again after onEndPointDisconnected. Once for each return.
  virtual void onEndPointReconnected(KQEndPoint* endPoint) = 0;

  /// The end point cannot transfer frames any more (interface down, bus-off, connection lost); it tries to return by
  /// itself.
  virtual void onEndPointDisconnected(KQEndPoint* endPoint) = 0;
};

}  // namespace KQ
