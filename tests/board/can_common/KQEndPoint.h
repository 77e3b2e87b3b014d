#pragma once

namespace KQ {

class KQCANMessage;

/// A CAN port. What is behind it, a derived class says.
class KQEndPoint {
public:
  KQEndPoint();
  virtual ~KQEndPoint();
  KQEndPoint(const KQEndPoint&) = delete;
  KQEndPoint& operator=(const KQEndPoint&) = delete;

  int readMessage(KQCANMessage& message);
  int writeMessage(const KQCANMessage& message);

protected:
  virtual int doRead(KQCANMessage& message) = 0;
  virtual int doWrite(const KQCANMessage& message) = 0;
};

}  // namespace KQ
