#pragma once

#include <linux/can.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Frames.h"

namespace test {

/// Nanoseconds of the clocks of the kernel.
std::int64_t monotonicTime();
std::int64_t wallTime();

constexpr std::int64_t MILLISECOND = 1'000'000;

/// Runs canlink, which changes a network interface. Fails the test when the kernel refuses.
void canlink(const std::string& request);

/// While it lives, this process runs as soon as it has something to do, whatever another one is doing.
class AheadOfOthers {
public:
  AheadOfOthers();
  ~AheadOfOthers();
  AheadOfOthers(const AheadOfOthers&) = delete;
  AheadOfOthers& operator=(const AheadOfOthers&) = delete;
};

/// What a shell command writes on standard output.
std::string outputOf(const std::string& command);

/// Moves the wall clock, and puts it back at the end.
class SteppedWallClock {
public:
  SteppedWallClock() = default;
  ~SteppedWallClock() { step(-stepped); }
  SteppedWallClock(const SteppedWallClock&) = delete;
  SteppedWallClock& operator=(const SteppedWallClock&) = delete;

  void step(int seconds);

private:
  int stepped = 0;
};

/// Another node on a CAN interface of the kernel: a plain raw socket.
class RawSocket {
public:
  struct Received {
    std::string text;          ///< "585#43 ..."; "X" in front of an extended identifier, "R" of a remote frame
    std::int64_t arrived = 0;  ///< wall time at which the kernel took it from the controller
  };

  explicit RawSocket(const std::string& interface);
  ~RawSocket();
  RawSocket(const RawSocket&) = delete;
  RawSocket& operator=(const RawSocket&) = delete;

  /// From now on the kernel hands out frames with that identifier or with the other one only.
  void listenOnlyTo(unsigned int identifier, unsigned int other);

  /// Sends a data frame written as its identifier and bytes, "605#40 18 10 00 00 00 00 00".
  void send(const std::string& text);
  /// Sends whatever it is: extended, remote and error frames have their flags in the identifier.
  void send(const can_frame& frame);
  void send(const canfd_frame& frame);

  /// The oldest frame that waits, or arrives in that time.
  std::optional<Received> receive(int timeoutMs);
  /// The next frame with that identifier, "585"; others before it are thrown away.
  std::optional<Received> receiveOf(const std::string& identifier, int timeoutMs);
  /// All frames that wait.
  Frames take();

private:
  void sendBytes(const void* bytes, std::size_t size);

  int descriptor;
};

/// A program that runs beside the test, its output in a file.
class Process {
public:
  /// @param words program and arguments
  /// @param outputFile empty: the output goes nowhere
  explicit Process(const std::vector<std::string>& words, const std::string& outputFile = "");
  /// A copy of this process that does nothing but @p work.
  explicit Process(const std::function<void()>& work);
  /// Kills it when it is still running.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Asks it to end. @return its exit status, -1 when it was killed by a signal
  int terminate();
  bool isRunning();
  /// Processor time that it has used, in nanoseconds.
  std::int64_t processorTime() const;
  /// How often it has gone to sleep so far, and so come back.
  long wakes() const;
  /// Memory of its own that it has, without what is shared with a file, in KiB.
  long ownMemoryKiB() const;
  /// How many descriptors it has open.
  std::size_t openDescriptors() const;

private:
  /// The number behind a label in what the kernel says of the process.
  long statusOf(const std::string& label) const;

  pid_t process;
  bool ended = false;
  int status = 0;
};

}  // namespace test
