#include "FrameTrace.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "KQCANMessage.h"
#include "PanelError.h"

namespace panel {

namespace {

constexpr std::size_t LONGEST_BUFFER = 16384;
constexpr std::size_t LONGEST_LINE = 256;

int openForWriting(const std::string& fileName) {
  constexpr int OPTIONS = O_NONBLOCK | O_APPEND | O_CLOEXEC;
  int descriptor = open(fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | OPTIONS, 0644);
  if (descriptor < 0 && errno == ENXIO) {
    descriptor = open(fileName.c_str(), O_RDWR | OPTIONS);  // a pipe that nobody reads yet: the node does not wait
  }
  if (descriptor < 0) {
    throw PanelError("--trace: cannot write '" + fileName + "': " + std::strerror(errno));
  }
  return descriptor;
}

long long getWallClock() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
}

void appendHex(std::string& line, unsigned int value, int digits) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
    line += "0123456789ABCDEF"[value >> shift & 0xF];
  }
}

}  // namespace

FrameTrace::FrameTrace(std::string file, const std::string& name)
    : fileName(std::move(file)), interfaceName(name), descriptor(openForWriting(fileName)) {
  lines.reserve(LONGEST_BUFFER);
}

FrameTrace::~FrameTrace() {
  flush();
  close(descriptor);
}

void FrameTrace::frameTransferred(const KQ::KQCANMessage& message, bool /*sent*/) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (lines.size() > LONGEST_BUFFER - LONGEST_LINE) {
    writeLines();
  }
  if (lines.size() > LONGEST_BUFFER - LONGEST_LINE) {
    ++missing;
    return;
  }
  appendLine(lines, getWallClock(), interfaceName, message);
}

void FrameTrace::flush() {
  const std::lock_guard<std::mutex> lock(mutex);
  if (!lines.empty()) {
    writeLines();
  }
}

void FrameTrace::writeLines() {
  const ssize_t written = write(descriptor, lines.data(), lines.size());
  if (written < 0 && errno == EAGAIN) {
    return;  // a pipe whose reader is busy
  }
  if (written < 0 && !failed) {
    failed = true;
    std::cerr << "tavo-panel: frames are missing in the trace '" << fileName << "': " << std::strerror(errno) << '\n';
  }
  lines.erase(0, written < 0 ? std::string::npos : static_cast<std::size_t>(written));
  if (lines.empty() && missing > 0) {
    std::cerr << "tavo-panel: " << missing << " frames are missing in the trace '" << fileName
              << "': it was not read\n";
    missing = 0;
  }
}

void FrameTrace::appendLine(std::string& text, long long microseconds, const std::string& interfaceName,
                            const KQ::KQCANMessage& message) {
  constexpr long long PER_SECOND = 1000000;
  char stamp[48];
  const int length =
      std::snprintf(stamp, sizeof stamp, "(%010lld.%06lld) ", microseconds / PER_SECOND, microseconds % PER_SECOND);
  text.append(stamp, static_cast<std::size_t>(length));
  text += interfaceName;
  text += ' ';
  appendHex(text, message.identifier, 3);
  text += '#';
  for (unsigned int i = 0; i < std::min<unsigned int>(message.length, sizeof message.data); ++i) {
    appendHex(text, message.data[i], 2);
  }
  text += '\n';
}

std::string FrameTrace::getInterfaceName(const std::string& uri) {
  // A "socketcand:" URI ends with "/CHANNEL", the others with ":NAME".
  const bool hasChannel = uri.rfind("socketcand:", 0) == 0;
  std::string name = uri.substr(uri.find(hasChannel ? '/' : ':') + 1);
  std::replace_if(
      name.begin(), name.end(), [](unsigned char letter) { return std::isgraph(letter) == 0; }, '_');
  return name.empty() ? "can" : name;
}

}  // namespace panel
