#include "Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "TraceError.h"

namespace trace {

Output::Output(int file) : descriptor(file) {
  text.reserve(2 * FULL);
}

void Output::flush() {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
    if (count >= 0) {
      done += static_cast<std::size_t>(count);
    } else if (errno == EPIPE) {
      throw OutputClosed();
    } else if (errno != EINTR) {
      throw TraceError(std::string("cannot write the output: ") + std::strerror(errno));
    }
  }
  text.clear();
}

}  // namespace trace
