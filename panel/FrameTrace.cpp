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

int openForWriting(const std::string& fileName) {
  const int descriptor = open(fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
  if (descriptor < 0) {
    throw PanelError("--trace: cannot write '" + fileName + "': " + std::strerror(errno));
  }
  return descriptor;
}

long long getWallClock() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
}

}  // namespace

FrameTrace::FrameTrace(std::string file, const std::string& name)
    : fileName(std::move(file)), interfaceName(name), descriptor(openForWriting(fileName)) {}

FrameTrace::~FrameTrace() {
  close(descriptor);
}

void FrameTrace::frameTransferred(const KQ::KQCANMessage& message, bool /*sent*/) {
  const std::string line = getLine(getWallClock(), interfaceName, message);
  // One write a line: lines of several threads do not mix, and nothing is left in a buffer.
  const bool written = write(descriptor, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  if (!written && !failed.exchange(true)) {
    std::cerr << "tavo-panel: frames are missing in the trace '" << fileName << "': " << std::strerror(errno) << '\n';
  }
}

std::string FrameTrace::getLine(long long microseconds, const std::string& interfaceName,
                                const KQ::KQCANMessage& message) {
  constexpr long long PER_SECOND = 1000000;
  char text[64];
  std::snprintf(text, sizeof text, "(%010lld.%06lld) ", microseconds / PER_SECOND, microseconds % PER_SECOND);
  std::string line = text + interfaceName;
  std::snprintf(text, sizeof text, " %03X#", message.identifier);
  line += text;
  for (unsigned int i = 0; i < std::min<unsigned int>(message.length, sizeof message.data); ++i) {
    std::snprintf(text, sizeof text, "%02X", message.data[i]);
    line += text;
  }
  return line + '\n';
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
