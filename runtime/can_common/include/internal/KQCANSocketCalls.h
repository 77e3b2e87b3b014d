// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <linux/can.h>

#include <string>

namespace KQ {

/// The system calls of a raw CAN socket, so that every answer of a kernel can be had without one.
/// Each operation answers with a value that is not negative, or with a negated errno value. Any thread.
class KQCANSocketCalls {
public:
  /// One received frame with what the kernel says about it.
  struct Received {
    canfd_frame frame;  ///< large enough for both kinds of frame
    unsigned size;      ///< bytes received: CAN_MTU for a classic frame
    unsigned lost;      ///< frames that the socket buffer has lost since the socket was opened
  };

  virtual ~KQCANSocketCalls() = default;

  /// The calls of the kernel that this process runs on.
  static KQCANSocketCalls* kernel();

  /// Opens a raw socket for classic frames that does not block, with all error frames subscribed to. @return descriptor
  virtual int openSocket() = 0;
  /// @param descriptor of openSocket(), not used afterwards
  virtual void closeSocket(int descriptor) = 0;

  /// @return index of the network interface; -ENODEV: there is none of that name
  virtual int findInterface(int descriptor, const std::string& name) = 0;

  /// @return flags of the interface as of SIOCGIFFLAGS (IFF_UP, IFF_RUNNING)
  virtual int getInterfaceFlags(int descriptor, const std::string& name) = 0;

  /// Binds to an interface, also again after it was unplugged, and subscribes to all of its frames.
  virtual int bindSocket(int descriptor, int interfaceIndex) = 0;

  /// Lets only frames through that pass one of these filters (struct can_filter); error frames always do. Takes effect
  /// at once, without a moment in which neither the old filters nor the new ones hold. Lost with an interface that
  /// goes.
  virtual int setFilters(int descriptor, const can_filter* filters, unsigned number) = 0;

  /// Takes away the error that is pending on the socket, if any.
  virtual void clearError(int descriptor) = 0;

  /// Takes as many waiting frames as there are, up to capacity. @return their number, above 0; -EAGAIN: none
  virtual int receive(int descriptor, Received* frames, unsigned capacity) = 0;

  /// @return 0; -ENOBUFS: the interface's queue is full; -EAGAIN: the socket's buffer is
  virtual int send(int descriptor, const can_frame& frame) = 0;
};

}  // namespace KQ
