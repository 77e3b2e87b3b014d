#pragma once

#include <string>

namespace trace {

/// Nobody reads the output any more: no error, but nothing is left to be done.
struct OutputClosed {};

/// Standard output, or whatever else is written to, in large pieces. One thread.
class Output {
public:
  /// @param file descriptor open for writing; stays the caller's
  explicit Output(int file);

  /// Text to add to. It is written by writeWhenFull() and flush().
  std::string text;

  /// To be called after each line. @throws OutputClosed, or TraceError when it cannot be written
  void writeWhenFull() {
    if (text.size() >= FULL) {
      flush();
    }
  }

  /// Writes what is there. @throws as above
  void flush();

private:
  static constexpr std::size_t FULL = 65536;

  const int descriptor;
};

}  // namespace trace
