#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "KQEndPoint.h"
#include "internal/KQCANSocketCalls.h"
#include "internal/KQFrameQueue.h"

namespace KQ {

/// An end point on a CAN interface of the kernel ("socketcan:IF").
///
/// Frames are taken from the kernel in batches, which it filters: what nobody wants does not wake the process. A frame
/// is written to the kernel at once while nothing waits, else into a bounded queue, which flush() empties in order. The
/// port is down while the interface is down or gone and while the controller is bus-off; frames that were still queued
/// then are discarded, for they would be process values of the past when it returns. It returns by itself, tried every
/// RETRY_MS by service(), or by readMessage when no manager serves the end point.
class KQSocketCANEndPoint : public KQEndPoint {
public:
  static constexpr std::size_t TRANSMIT_CAPACITY = 1024;  ///< frames that wait for the kernel
  static constexpr unsigned RETRY_MS = 100;               ///< between two tries to return
  static constexpr unsigned BUS_OFF_MS = 2000;        ///< after which a running interface ends bus-off even unannounced
  static constexpr unsigned OVERRUN_QUIET_MS = 1000;  ///< without overruns, after which they are said to be over

  /// Opens an end point on an interface. An interface that is down opens all the same, and the port is down.
  /// @param interfaceName as in "can0"
  /// @param error receives one line about what went wrong when null is returned
  /// @param calls system calls to use, not owned, must outlive the end point
  [[nodiscard]] static std::unique_ptr<KQSocketCANEndPoint> open(const std::string& interfaceName, std::string& error,
                                                                 KQCANSocketCalls* calls = KQCANSocketCalls::kernel());
  ~KQSocketCANEndPoint() override;

  int getDescriptor() const override { return descriptor; }
  bool wantsWritable() const override;
  int flush() override;
  bool prepareRead() override {
    isEmptied = false;
    return true;
  }
  bool hasBufferedFrames() const override { return nextReceived < receivedCount; }
  int getServiceDelay() const override;
  void service() override;

protected:
  int doRead(KQCANMessage& message) override;
  int doWrite(const KQCANMessage& message) override;
  void doSetFilter(const KQReceptionFilter* filter) override;

private:
  /// Why the queue is not being emptied.
  enum class Obstacle { NONE, SOCKET_FULL, INTERFACE_FULL };
  /// Why the port is down.
  enum class Outage { NONE, INTERFACE_DOWN, BUS_OFF };

  KQSocketCANEndPoint(std::string interfaceName, int openDescriptor, KQCANSocketCalls* socketCalls);

  static constexpr unsigned USUAL_BATCH = 4;

  int receiveBatch();
  bool acceptReceived(const KQCANSocketCalls::Received& received, KQCANMessage& message);
  void countLost(unsigned lostInAll);
  void noteOverrun(unsigned number);
  void endOverrunWhenQuiet();
  void handleErrorFrame(unsigned errorClasses, unsigned char controllerState);
  void handleControllerState(unsigned state);
  void setErrorPassive(bool passive);

  int sendOrQueue(const KQBusFrame& frame);
  int sendQueued();
  bool noteObstacle(int error);
  void setObstacle(Obstacle found);
  void noteHindrance() { isHindered = obstacle != Obstacle::NONE || currentOutage != Outage::NONE; }
  bool noteSendFailure(int error);

  void goDown(Outage outage, const char* reason);
  void beginOutage(Outage outage, const char* reason);
  void comeBack(Outage outage, const char* reason);
  void tryToReturn(Outage outage, bool isLongOutage);
  bool bindAgain();
  bool interfaceHas(int flag) const;

  const std::string interface;
  const int descriptor;
  KQCANSocketCalls* const calls;

  // Reading side, of the one reading thread.
  std::array<KQCANSocketCalls::Received, 32> batch;
  unsigned receivedCount{0};
  unsigned nextReceived{0};
  unsigned wanted{USUAL_BATCH};  ///< as many as there may be: a read costs by what it asks for
  bool isEmptied{false};  ///< the batch was all that the kernel had: nobody need ask it again before the next wake
  unsigned lostBefore{0};
  bool errorPassive{false};
  bool overrun{false};
  unsigned overrunTick{0};

  // Transmit side and state of the port.
  mutable std::mutex mutex;
  KQFrameQueue queue;
  std::atomic<bool> isHindered{false};  ///< there is an obstacle or an outage: asked in every turn, without the lock
  Obstacle obstacle{Obstacle::NONE};
  unsigned obstacleTick{0};
  Outage currentOutage{Outage::NONE};
  unsigned outageTick{0};
  unsigned retryTick{0};
};

}  // namespace KQ
