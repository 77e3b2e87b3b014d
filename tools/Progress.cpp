#include "Progress.h"

#include <unistd.h>

#include <algorithm>

#include "TextParts.h"

namespace trace {

namespace {

// What a terminal does not take is no reason to stop.
void put(int file, const std::string& text) {
  const ssize_t written = write(file, text.data(), text.size());
  static_cast<void>(written);
}

}  // namespace

Progress::Progress(int descriptor, bool isQuiet)
    : file(descriptor), isTerminal(!isQuiet && isatty(descriptor) == 1), next(std::chrono::steady_clock::now()) {}

void Progress::show(std::uint64_t frames, std::uint64_t bytes, std::uint64_t total) {
  constexpr std::chrono::milliseconds PERIOD{200};
  if (!isTerminal) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < next) {
    return;
  }
  next = now + PERIOD;
  std::string text = "\r";
  if (total > 0) {
    monitor::appendNumber(text, std::min<std::uint64_t>(100, bytes * 100 / total));
    text += " %, ";
  }
  monitor::appendNumber(text, frames);
  text += " frames\x1B[K";
  put(file, text);
  isShown = true;
}

void Progress::clear() {
  if (isShown) {
    put(file, "\r\x1B[K");
    isShown = false;
  }
}

}  // namespace trace
