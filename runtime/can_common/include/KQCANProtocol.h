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

class KQEndPointManager;
class KQVariable;

/// One protocol on one CAN port of the panel: the base of every protocol that the runtime loads.
///
/// It keeps what the runtime hands over (the protocol context), owns the CAN port end point and holds the status
/// word by which a protocol says when it next has work. All operations are called from the runtime's protocol
/// thread, except the value requests (updateRequest, getValueRequest) and signalOccurred, which may come from any
/// thread. While the port is closed or reopened, or the protocol destroyed, no other thread may be inside one of these.
///
/// The order of the virtual operations is the binary interface to the runtime: new ones go to the end.
class KQCANProtocol : public KQVariableOwner,
                      public KQSignalListener,
                      public KQEndPointListener,
                      public KQProtocolControl {
public:
  /// @param name the owner name under which the protocol's variables stand in the store
  /// @param protocolType the runtime's number for the kind of protocol (3 = CANopen)
  KQCANProtocol(const std::string& name, int protocolType);

  /// Unsubscribes, closes the port and withdraws the protocol as listener and owner of variables.
  ~KQCANProtocol() override;

  KQCANProtocol(const KQCANProtocol&) = delete;
  KQCANProtocol& operator=(const KQCANProtocol&) = delete;

  /// The owner's side of the variable store: a request to write or read the variable (group, id), handed on to
  /// the operation that takes the variable ID group << 16 | id.
  int updateRequest(unsigned short group, unsigned short id, int value) override;
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override;
  int getValueRequest(unsigned short group, unsigned short id) override;

  /// Nothing to start, stop or reset by default. @return 1
  int startProtocol() override;
  int stopProtocol() override;
  int resetProtocol() override;

  /// By default process(). @return 0, or 1 when process() failed
  int runProtocol(unsigned int deadline) override;

  /// Switches one message of the protocol on or off. @return 11: this protocol has no such message
  virtual int enableMessage(unsigned int index, bool enable);

  /// Takes over the context and opens the CAN port.
  /// @param dei the variable store, not owned
  /// @param dispatcher reports variable changes, not owned
  /// @param portNumber a port bound in KQCANPortRegistry; its low 16 bits are the port key
  /// @param stateMachine the runtime's supervision, may be null, not owned
  /// @return 0; 20 when @p dei is null (nothing is kept); 10 when the port could not be opened: the context is
  ///   kept all the same and getPortError() says why
  virtual int create(KQDEI* dei, KQVariableEventDispatcher* dispatcher, unsigned int portNumber,
                     KQCANProtocolStateMachine* stateMachine);

  /// Builds the protocol. @return 0, or 3 without a context
  virtual int init();

  /// Unsubscribes and closes the CAN port; the context stays. @return 0
  virtual int release();

  /// Closes and reopens the CAN port; a subscription stays, also over a time without a port. @return as createCANPort()
  virtual int reset();

  /// One cycle of the protocol. @param deadline tick (ms) by which it should return. @return 0
  virtual int process(unsigned int deadline);

  /// Opens the end point of the context's port, replacing an open one and taking over its subscription.
  /// @return 0; 3 without a context; 10 when the port could not be opened (getPortError()); the code with which the
  ///   end point manager refuses the new end point
  virtual int createCANPort();

  /// Binds one application variable to the protocol. @return 11: this protocol binds none
  virtual int addVariable(KQVariable* variable);

  /// A request of the application to write or read the variable @p variableID. @return 11: not served
  virtual int updateRequest(unsigned int variableID, int value);
  virtual int updateRequest(unsigned int variableID, const std::string& value);
  virtual int getValueRequest(unsigned int variableID);

  /// Notifications of the end point; by default nothing happens.
  void onEndPointReadable(KQEndPoint* endPoint, KQEndPointManager* manager) override;
  void onEndPointReconnected(KQEndPoint* endPoint) override;
  void onEndPointDisconnected(KQEndPoint* endPoint) override;

  /// Lets @p manager watch the CAN port for this protocol.
  /// @return 0; 20 when @p manager is null; 10 without a port; the manager's code when it refuses
  int subscribeToEndpointManager(KQEndPointManager* manager) override;

  /// A variable was added to the runtime after the protocol was initialised. @return 11: not of interest
  virtual int handleNewVariable(KQVariable* variable);

  /// @return 11: the signal is not of interest
  int signalOccurred(KQSignal& signal) override;

  /// The context given to create(), null before.
  [[nodiscard]] const KQCANProtocolContext* getContext() const { return context.get(); }

  /// The CAN port, null until it exists.
  [[nodiscard]] KQEndPoint* getEndPoint() const { return endPoint.get(); }

  /// Why the CAN port could not be opened; empty when it is open.
  [[nodiscard]] const std::string& getPortError() const { return portError; }

  /// The kind of protocol that the constructor was given; 3: CANopen.
  [[nodiscard]] int getProtocolType() const { return protocolType; }

  /// The status word: milliseconds after which the protocol next wants a cycle. Initially 0.
  [[nodiscard]] int getProtocolStatus() const { return protocolStatus; }
  void setProtocolStatus(int status) { protocolStatus = status; }

private:
  void closePort();

  int protocolType;
  int protocolStatus = 0;
  std::unique_ptr<KQCANProtocolContext> context;
  std::unique_ptr<KQEndPoint> endPoint;
  KQEndPointManager* endPointManager = nullptr;
  std::string portError;
};

}  // namespace KQ
