#pragma once

namespace KQ {

/// Something with work to do at a time of its own, done by KQEndPointManager::wait. Times are those of KQTick.
class KQTimedService {
public:
  virtual ~KQTimedService() = default;

  /// Milliseconds until service() is wanted: 0 now, -1 not before something else happens. Manager's thread.
  [[nodiscard]] virtual int getServiceDelay() const = 0;

  /// Does what is due now. May be called early, then it does nothing. Manager's thread.
  virtual void service() = 0;
};

}  // namespace KQ
