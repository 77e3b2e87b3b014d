#pragma once

#include <cstddef>

namespace bench {

/// What a program asks of the kernel. A program that links CallCounter.cpp and exports its symbols has the calls of the
/// C library that serve ports and their descriptors replaced by counting ones, in all its libraries.
struct CallCounts {
  std::size_t waits = 0;   ///< epoll_wait, poll: each may let the process sleep, and wake it
  std::size_t reads = 0;   ///< read, recv, recvmmsg
  std::size_t writes = 0;  ///< write, send, sendmsg
  std::size_t others = 0;  ///< epoll_ctl, accept4, setsockopt
};

/// Since the start; all threads. Any thread.
CallCounts callCounts();

}  // namespace bench
