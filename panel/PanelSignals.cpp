#include "PanelSignals.h"

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
  sigaddset(&signals, SIGHUP);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int opened = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  if (opened < 0) {
    throw PanelError(std::string("cannot wait for signals: ") + std::strerror(errno));
  }
  return opened;
}

}  // namespace

PanelSignals::PanelSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, endAtOnce);
  std::signal(SIGTERM, endAtOnce);
  std::signal(SIGHUP, endAtOnce);
}

PanelSignals::~PanelSignals() {
  if (descriptor >= 0) {
    close(descriptor);
  }
}

int PanelSignals::hold() {
  if (descriptor < 0) {
    descriptor = openSignalDescriptor();
  }
  return descriptor;
}

int PanelSignals::take() const {
  signalfd_siginfo arrived{};
  const bool isThere = read(descriptor, &arrived, sizeof arrived) == static_cast<ssize_t>(sizeof arrived);
  return isThere ? static_cast<int>(arrived.ssi_signo) : 0;
}

}  // namespace panel
