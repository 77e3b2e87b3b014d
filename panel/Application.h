#pragma once

namespace KQ {
class KQCANopen;
}

namespace panel {

/// What runs on the panel: it brings the process variables that the node shows as objects from index 0x2000 on.
/// Every operation belongs to the protocol thread.
class Application {
public:
  virtual ~Application() = default;

  /// Makes the application's variables objects of @p node, once, after its init() and before its first cycle.
  virtual void bind(KQ::KQCANopen& node) = 0;

  /// Lets the application catch up with the time that passed. Called once before every cycle. @param now tick
  virtual void update(unsigned int now) = 0;

  /// @param now tick
  /// @return ms until update() has something to do by itself; 0xFFFFFFFF: never, as it stands
  virtual unsigned int getTimeToNextUpdate(unsigned int /*now*/) const { return 0xFFFFFFFFU; }
};

}  // namespace panel
