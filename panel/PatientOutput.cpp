#include "PatientOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <utility>

namespace panel {

void makeNonBlocking(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || S_ISREG(status.st_mode)) {
    return;
  }
  // Opened anew, since the flag would be that of all who share what is open: a shell would lose its terminal's pace.
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  const int own = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (own >= 0) {
    dup2(own, descriptor);
    close(own);
  } else {  // a socket
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
  }
}

// ---- one stream

LineDropper::LineDropper(int openDescriptor, std::string streamName)
    : descriptor(openDescriptor), name(std::move(streamName)) {}

LineDropper::~LineDropper() {
  lines += lines.empty() || lines.back() == '\n' ? "" : "\n";
  LineDropper::sync();
}

LineDropper::int_type LineDropper::overflow(int_type letter) {
  if (!traits_type::eq_int_type(letter, traits_type::eof())) {
    lines += traits_type::to_char_type(letter);
  }
  return traits_type::not_eof(letter);
}

std::streamsize LineDropper::xsputn(const char* letters, std::streamsize count) {
  lines.append(letters, static_cast<std::size_t>(count));
  return count;
}

int LineDropper::sync() {
  std::size_t begin = 0;
  for (std::size_t end = lines.find('\n'); end != std::string::npos; end = lines.find('\n', begin)) {
    const std::string line = lines.substr(begin, end + 1 - begin);
    begin = end + 1;
    droppedLines += tellWhatIsMissing() && start(line) ? 0 : 1;
  }
  lines.erase(0, begin);
  finish();
  tellWhatIsMissing();
  return 0;  // never a failure: the stream would stay silent afterwards
}

bool LineDropper::tellWhatIsMissing() {
  if (droppedLines > 0 &&
      start("tavo-panel: " + std::to_string(droppedLines) + " lines are missing here, " + name + " was not read\n")) {
    droppedLines = 0;
  }
  return droppedLines == 0;
}

// @return false: nothing of the line is out
bool LineDropper::start(const std::string& line) {
  if (!finish()) {
    return false;
  }
  const std::size_t written = writeSome(line);
  begun = line.substr(written);
  if (written == 0) {
    begun.clear();
  }
  return written > 0;
}

// @return whether no line is begun any more
bool LineDropper::finish() {
  if (!begun.empty()) {
    begun.erase(0, writeSome(begun));
  }
  return begun.empty();
}

std::size_t LineDropper::writeSome(const std::string& text) const {
  ssize_t written = 0;
  do {
    written = write(descriptor, text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  return written > 0 ? static_cast<std::size_t>(written) : 0;
}

// ---- both streams of the process

PatientOutput::PatientOutput()
    : output(STDOUT_FILENO, "standard output"),
      errors(STDERR_FILENO, "standard error"),
      previousOutput(std::cout.rdbuf(&output)),
      previousErrors(std::cerr.rdbuf(&errors)) {
  makeNonBlocking(STDOUT_FILENO);
  makeNonBlocking(STDERR_FILENO);
}

PatientOutput::~PatientOutput() {
  std::cout.rdbuf(previousOutput);
  std::cerr.rdbuf(previousErrors);
}

}  // namespace panel
