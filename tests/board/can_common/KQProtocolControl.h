#pragma once

namespace KQ {

class KQEndPointManager;

class KQProtocolControl {
public:
  virtual ~KQProtocolControl();
  virtual int startProtocol() = 0;
  virtual int stopProtocol() = 0;
  virtual int resetProtocol() = 0;
  virtual int runProtocol(unsigned int deadline) = 0;
  virtual int subscribeToEndpointManager(KQEndPointManager* manager) = 0;
};

}  // namespace KQ
