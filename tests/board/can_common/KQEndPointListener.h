#pragma once

namespace KQ {

class KQEndPoint;
class KQEndPointManager;

class KQEndPointListener {
public:
  virtual ~KQEndPointListener();
  virtual void onEndPointReadable(KQEndPoint* endPoint, KQEndPointManager* manager) = 0;
  virtual void onEndPointReconnected(KQEndPoint* endPoint) = 0;
  virtual void onEndPointDisconnected(KQEndPoint* endPoint) = 0;
};

}  // namespace KQ
