// tavo-trace: what the frames in a log mean.

#include <csignal>
#include <iostream>

#include "TraceError.h"
#include "TraceOptions.h"
#include "TraceRun.h"

namespace {

constexpr int STATUS_REFUSED_LINES = 1;
constexpr int STATUS_CANNOT_RUN = 2;

volatile std::sig_atomic_t interrupted = 0;

// An interrupt ends the reading, so that what was read until then is summed up; the next one ends the program. Nobody
// has to read the output to its end.
void setUpSignals() {
  struct sigaction interrupt {};
  interrupt.sa_handler = [](int) { interrupted = 1; };
  interrupt.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &interrupt, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

int run(int argumentCount, char** arguments) {
  const trace::TraceOptions options = trace::TraceOptions::parse(argumentCount, arguments);
  if (!options.information.empty()) {
    std::cout << options.information;
    return 0;
  }
  setUpSignals();
  return trace::TraceRun(options, interrupted).run() ? 0 : STATUS_REFUSED_LINES;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    return run(argumentCount, arguments);
  } catch (const trace::OutputClosed&) {
    return 0;
  } catch (const trace::TraceError& error) {
    std::cerr << "tavo-trace: " << error.what() << '\n';
    return STATUS_CANNOT_RUN;
  }
}
