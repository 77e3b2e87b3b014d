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

int openSignalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  const int opened = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  if (opened < 0) {
    throw PanelError(std::string("cannot wait for signals: ") + std::strerror(errno));
  }
  return opened;
}

}  // namespace

TerminationSignals::TerminationSignals() : descriptor(openSignalDescriptor()) {}

TerminationSignals::~TerminationSignals() {
  close(descriptor);
}

}  // namespace panel
