#pragma once

#include <mutex>
#include <string>

#include "KQFrameObserver.h"

namespace panel {

/// Writes every frame that passes a CAN port to a file, as lines of a candump log: "(1700000000.123456) bus0 705#00".
/// Lines are gathered until flush(): on a busy bus, a write for each would cost more than all else that the node does.
/// They are written whole, so that another program can follow the file while it grows. A pipe that nobody reads holds
/// nobody up: frames for which there is no room are left out and counted, which is told on standard error when it is
/// read again.
class FrameTrace : public KQ::KQFrameObserver {
public:
  /// Opens the file and empties it.
  /// @param interfaceName stands in every line, see getInterfaceName()
  /// @throws PanelError when the file cannot be opened for writing
  FrameTrace(std::string fileName, const std::string& interfaceName);
  ~FrameTrace() override;
  FrameTrace(const FrameTrace&) = delete;
  FrameTrace& operator=(const FrameTrace&) = delete;

  /// Takes down the frame's line. Any thread.
  void frameTransferred(const KQ::KQCANMessage& message, bool sent) override;

  /// Writes the lines taken down: whenever nothing is left to be done for the moment, and in the end. Any thread. A
  /// file that cannot be written to any more is reported once on standard error; the node goes on.
  void flush();

  /// Adds the line of a frame, with its line end. @param microseconds wall clock since 1970
  static void appendLine(std::string& text, long long microseconds, const std::string& interfaceName,
                         const KQ::KQCANMessage& message);

  /// The name in a port's URI by which a log calls the bus: "can0" of "socketcan:can0", "bus0" of
  /// "socketcand:localhost:29536/bus0". It is one word, however the bus is called.
  static std::string getInterfaceName(const std::string& uri);

private:
  void writeLines();

  const std::string fileName;
  const std::string interfaceName;
  const int descriptor;
  std::mutex mutex;
  std::string lines;
  bool failed{false};
  unsigned int missing{0};  ///< frames since there was room last
};

}  // namespace panel
