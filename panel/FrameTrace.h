#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <utility>

#include "KQFrameObserver.h"

namespace panel {

/// When a trace begins a new file, and how many old ones stay.
struct TraceRotation {
  std::size_t size = 0;    ///< bytes of a full file, 0: it is never full
  unsigned int files = 1;  ///< full ones that are kept
};

/// Writes every frame that passes a CAN port to a file, as lines of a candump log: "(1700000000.123456) bus0 705#00".
/// Lines are gathered until flush(): on a busy bus, a write for each would cost more than all else that the node does.
/// They are written whole, so that another program can follow the file while it grows. A pipe that nobody reads holds
/// nobody up: frames for which there is no room are left out and counted, which is told on standard error when it is
/// read again.
///
/// A trace with a size begins a new file when it is full: FILE is renamed FILE.1, what was that FILE.2, and so on.
class FrameTrace : public KQ::KQFrameObserver {
public:
  /// Opens the file and empties it.
  /// @param name stands in every line, see getInterfaceName()
  /// @throws PanelError when the file cannot be opened for writing, or is to rotate and is no plain file
  FrameTrace(std::string file, const std::string& name, TraceRotation wanted = {});
  ~FrameTrace() override;
  FrameTrace(const FrameTrace&) = delete;
  FrameTrace& operator=(const FrameTrace&) = delete;

  /// Takes down the frame's line. Any thread.
  void frameTransferred(const KQ::KQCANMessage& message, bool sent) override;

  /// Writes the lines taken down: whenever nothing is left to be done for the moment, and in the end. Any thread. A
  /// file that cannot be written to any more is reported once on standard error; the node goes on.
  void flush();

  /// Goes on in the file that has the name now, behind what it holds: whoever moved the old one away wants a new one.
  /// When it cannot be opened, the trace stays where it is and says so on standard error.
  void reopen();

  /// Adds the line of a frame, with its line end. @param microseconds wall clock since 1970
  static void appendLine(std::string& text, long long microseconds, const std::string& interfaceName,
                         const KQ::KQCANMessage& message);

  /// The name in a port's URI by which a log calls the bus: "can0" of "socketcan:can0", "bus0" of
  /// "socketcand:localhost:29536/bus0". It is one word, however the bus is called.
  static std::string getInterfaceName(const std::string& uri);

private:
  void writeLines();
  bool reopen(int mode);
  void rotate();
  static void complain(const std::string& what);

  const std::string fileName;
  const std::string interfaceName;
  const TraceRotation rotation;
  int descriptor;
  std::size_t written{0};  ///< bytes in the file
  std::mutex mutex;
  std::string lines;
  bool failed{false};
  unsigned int missing{0};  ///< frames since there was room last
};

}  // namespace panel
