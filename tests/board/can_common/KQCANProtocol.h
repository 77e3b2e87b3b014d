#pragma once

#include <memory>
#include <string>

#include "KQCANProtocolContext.h"
#include "KQEndPoint.h"
#include "KQEndPointListener.h"
#include "KQProtocolControl.h"
#include "KQSignalListener.h"
#include "KQVariableOwner.h"

namespace KQ {

class KQVariable;

class KQCANProtocol : public KQVariableOwner,
                      public KQSignalListener,
                      public KQEndPointListener,
                      public KQProtocolControl {
public:
  KQCANProtocol(const std::string& name, int protocolType);
  /// Takes itself out of the dispatcher.
  ~KQCANProtocol() override;

  int updateRequest(unsigned short group, unsigned short id, int value) override;
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override;
  int getValueRequest(unsigned short group, unsigned short id) override;
  int startProtocol() override;
  int stopProtocol() override;
  int resetProtocol() override;
  int runProtocol(unsigned int deadline) override;
  virtual int enableMessage(unsigned int index, bool enable);
  virtual int create(KQDEI* dei, KQVariableEventDispatcher* dispatcher, unsigned int portNumber,
                     KQCANProtocolStateMachine* stateMachine);
  virtual int init();
  virtual int release();
  virtual int reset();
  virtual int process(unsigned int deadline);
  virtual int createCANPort();
  virtual int addVariable(KQVariable* variable);
  virtual int updateRequest(unsigned int variableID, int value);
  virtual int updateRequest(unsigned int variableID, const std::string& value);
  virtual int getValueRequest(unsigned int variableID);
  void onEndPointReadable(KQEndPoint* endPoint, KQEndPointManager* manager) override;
  void onEndPointReconnected(KQEndPoint* endPoint) override;
  void onEndPointDisconnected(KQEndPoint* endPoint) override;
  int subscribeToEndpointManager(KQEndPointManager* manager) override;
  virtual int handleNewVariable(KQVariable* variable);
  int signalOccurred(KQSignal& signal) override;

  const KQCANProtocolContext* getContext() const;
  KQEndPoint* getEndPoint() const;
  int getProtocolStatus() const;
  void setProtocolStatus(int milliseconds);

private:
  std::unique_ptr<KQCANProtocolContext> context;
  std::unique_ptr<KQEndPoint> endPoint;
  int status;
};

}  // namespace KQ
