#include "FrameTrace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <optional>

#include "KQCANMessage.h"
#include "PanelError.h"

namespace panel {

namespace {

constexpr std::size_t LONGEST_BUFFER = 16384;
constexpr std::size_t LONGEST_LINE = 256;

// @param mode O_TRUNC, or 0 to go on behind what the file holds
int openForWriting(const std::string& fileName, int mode) {
  constexpr int OPTIONS = O_NONBLOCK | O_APPEND | O_CLOEXEC;
  const int descriptor = open(fileName.c_str(), O_WRONLY | O_CREAT | mode | OPTIONS, 0644);
  // A pipe that nobody reads yet: the node does not wait.
  return descriptor < 0 && errno == ENXIO ? open(fileName.c_str(), O_RDWR | OPTIONS) : descriptor;
}

// @return nothing when it is no plain file, which cannot be full either
std::optional<std::size_t> getSize(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(status.st_size);
}

std::string getReason() {
  return std::string(": ") + std::strerror(errno);
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

FrameTrace::FrameTrace(std::string file, const std::string& name, TraceRotation wanted)
    : fileName(std::move(file)), interfaceName(name), rotation(wanted), descriptor(openForWriting(fileName, O_TRUNC)) {
  if (descriptor < 0) {
    throw PanelError("--trace: cannot write '" + fileName + "'" + getReason());
  }
  if (rotation.size > 0 && !getSize(descriptor)) {
    close(descriptor);
    throw PanelError("--trace-size: '" + fileName + "' is no plain file");
  }
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
  if (rotation.size > 0 && written > 0 && written + lines.size() > rotation.size) {
    rotate();
  }
  const ssize_t count = write(descriptor, lines.data(), lines.size());
  if (count < 0 && errno == EAGAIN) {
    return;  // a pipe whose reader is busy
  }
  if (count < 0 && !failed) {
    failed = true;
    complain("frames are missing in the trace '" + fileName + "'" + getReason());
  }
  const std::size_t taken = count < 0 ? lines.size() : static_cast<std::size_t>(count);
  written += taken;
  lines.erase(0, taken);
  if (lines.empty() && missing > 0) {
    complain(std::to_string(missing) + " frames are missing in the trace '" + fileName + "': it was not read");
    missing = 0;
  }
}

void FrameTrace::complain(const std::string& what) {
  std::cerr << "tavo-panel: " + what + '\n';
}

void FrameTrace::reopen() {
  const std::lock_guard<std::mutex> lock(mutex);
  writeLines();
  if (reopen(0)) {
    written = getSize(descriptor).value_or(0);
  }
}

// The old file stays open until the new one is.
bool FrameTrace::reopen(int mode) {
  const int opened = openForWriting(fileName, mode);
  if (opened < 0) {
    complain("cannot open the trace '" + fileName + "' again" + getReason());
    return false;
  }
  close(descriptor);
  descriptor = opened;
  failed = false;
  return true;
}

// When it cannot be done, the file is filled once more before the next try.
void FrameTrace::rotate() {
  written = 0;
  for (unsigned int number = rotation.files; number > 1; --number) {
    const std::string older = fileName + "." + std::to_string(number);
    const std::string newer = fileName + "." + std::to_string(number - 1);
    std::rename(newer.c_str(), older.c_str());  // as long as there are fewer, there is nothing to rename
  }
  if (std::rename(fileName.c_str(), (fileName + ".1").c_str()) != 0) {
    complain("cannot rename the trace '" + fileName + "'" + getReason());
    return;
  }
  reopen(O_TRUNC);
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
