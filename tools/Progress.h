#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace trace {

/// One line on a terminal that says how far the reading has come, and goes away in the end. One thread.
class Progress {
public:
  /// @param descriptor of the terminal; anything else is left alone
  /// @param isQuiet show nothing: the terminal has the output itself
  Progress(int descriptor, bool isQuiet);
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// To be called now and then. @param total bytes of all files; 0 when nobody knows
  void show(std::uint64_t frames, std::uint64_t bytes, std::uint64_t total);

  /// Takes the line away: before something else is printed there, and in the end.
  void clear();

private:
  const int file;
  const bool isTerminal;
  bool isShown{false};
  std::chrono::steady_clock::time_point next;
};

}  // namespace trace
