#include "CallCounter.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

namespace {

using Counter = std::atomic<std::size_t>;

Counter waits{0};
Counter reads{0};
Counter writes{0};
Counter others{0};

template <typename... Arguments>
long counted(Counter& counter, long number, Arguments... arguments) {
  counter.fetch_add(1, std::memory_order_relaxed);
  return syscall(number, arguments...);
}

}  // namespace

namespace bench {

CallCounts callCounts() {
  return {waits, reads, writes, others};
}

}  // namespace bench

extern "C" {

int epoll_wait(int descriptor, epoll_event* events, int capacity, int timeout) {
  return static_cast<int>(counted(waits, SYS_epoll_pwait, descriptor, events, capacity, timeout, nullptr, 0));
}

int poll(pollfd* descriptors, nfds_t count, int timeout) {
  const timespec time{timeout / 1000, timeout % 1000 * 1000000L};
  return static_cast<int>(counted(waits, SYS_ppoll, descriptors, count, timeout < 0 ? nullptr : &time, nullptr, 0));
}

ssize_t read(int descriptor, void* data, size_t size) {
  return counted(reads, SYS_read, descriptor, data, size);
}

ssize_t recv(int descriptor, void* data, size_t size, int flags) {
  return counted(reads, SYS_recvfrom, descriptor, data, size, flags, nullptr, nullptr);
}

int recvmmsg(int descriptor, mmsghdr* messages, unsigned int count, int flags, timespec* timeout) {
  return static_cast<int>(counted(reads, SYS_recvmmsg, descriptor, messages, count, flags, timeout));
}

ssize_t write(int descriptor, const void* data, size_t size) {
  return counted(writes, SYS_write, descriptor, data, size);
}

ssize_t send(int descriptor, const void* data, size_t size, int flags) {
  return counted(writes, SYS_sendto, descriptor, data, size, flags, nullptr, 0);
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
  return counted(writes, SYS_sendmsg, descriptor, message, flags);
}

int epoll_ctl(int descriptor, int operation, int subject, epoll_event* event) noexcept {
  return static_cast<int>(counted(others, SYS_epoll_ctl, descriptor, operation, subject, event));
}

int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
  return static_cast<int>(counted(others, SYS_accept4, descriptor, address, size, flags));
}

int setsockopt(int descriptor, int level, int name, const void* value, socklen_t size) noexcept {
  return static_cast<int>(counted(others, SYS_setsockopt, descriptor, level, name, value, size));
}

}  // extern "C"
