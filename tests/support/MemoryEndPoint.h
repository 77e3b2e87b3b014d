#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <string>

#include "EditionEndPoint.h"
#include "Frames.h"

namespace test {

/// A CAN port in memory: the test puts frames in and looks at what was sent.
class MemoryEndPoint : public EditionEndPoint {
public:
  /// Lets @p text ("605#40 ...") or @p message wait at the port.
  void inject(const std::string& text);
  void inject(const KQ::KQCANMessage& message);

  /// The frames sent since the last call, oldest first.
  Frames takeSent();

  /// Refuses the next @p count writes with @p code.
  void refuse(unsigned int count, int code);

  /// Lets the next @p count reads end with @p code; the frames wait on.
  void failReads(unsigned int count, int code);

  /// How many writes were asked for, the refused ones included.
  unsigned int writeAttempts() const { return attempts; }
  std::size_t waitingFrames() const { return incoming.size(); }

  /// Called in every write, on the thread that writes: what a test makes of the time that one takes.
  std::function<void()> onWrite = [] {};

protected:
  int doRead(KQ::KQCANMessage& message) override;
  int doWrite(const KQ::KQCANMessage& message) override;

private:
  std::deque<KQ::KQCANMessage> incoming;
  std::mutex sentMutex;  // application threads may send too
  Frames sent;
  unsigned int refusals = 0;
  int refusalCode = 0;
  unsigned int attempts = 0;
  unsigned int readFailures = 0;
  int readFailureCode = 0;
};

}  // namespace test
