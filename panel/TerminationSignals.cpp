#include "TerminationSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include "PanelError.h"

namespace panel {

namespace {

extern "C" void endAtOnce(int /*signal*/) {
  _exit(0);
}

int openSignalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int opened = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  if (opened < 0) {
    throw PanelError(std::string("cannot wait for signals: ") + std::strerror(errno));
  }
  return opened;
}

}  // namespace

TerminationSignals::TerminationSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, endAtOnce);
  std::signal(SIGTERM, endAtOnce);
}

TerminationSignals::~TerminationSignals() {
  if (descriptor >= 0) {
    close(descriptor);
  }
}

int TerminationSignals::hold() {
  if (descriptor < 0) {
    descriptor = openSignalDescriptor();
  }
  return descriptor;
}

}  // namespace panel
