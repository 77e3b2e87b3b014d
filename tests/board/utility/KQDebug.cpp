#include "KQDebug.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "BoardDebug.h"

namespace {

std::atomic<bool> isPrinting{true};
std::atomic<int> sections{0};

}  // namespace

namespace KQ {

int KQDebug::insertNewDebugSection(const std::string& /*name*/) {
  return sections++;
}

void KQDebug::debugPrintError(int /*level*/, int /*section*/, const char* format, ...) {
  if (!isPrinting) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::fputc('\n', stderr);
}

}  // namespace KQ

void board::printDebugLines(bool print) {
  isPrinting = print;
}
