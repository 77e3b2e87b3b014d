#include "KernelBus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace test {

namespace {

constexpr std::int64_t SECOND = 1'000'000'000;

std::int64_t timeOf(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * SECOND + now.tv_nsec;
}

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

std::string describe(const canfd_frame& frame) {
  const bool isExtended = (frame.can_id & CAN_EFF_FLAG) != 0;
  KQ::KQCANMessage message;
  message.identifier = frame.can_id & (isExtended ? CAN_EFF_MASK : CAN_SFF_MASK);
  message.length = std::min<unsigned int>(frame.len, CAN_MAX_DLEN);
  std::memcpy(message.data, frame.data, sizeof message.data);
  const bool isRemote = (frame.can_id & CAN_RTR_FLAG) != 0;
  return (isExtended ? "X" : "") + std::string(isRemote ? "R" : "") + toText(message);
}

std::int64_t arrivalOf(msghdr& header) {
  const cmsghdr* control = CMSG_FIRSTHDR(&header);
  if (control == nullptr || control->cmsg_type != SO_TIMESTAMPNS) {
    return 0;
  }
  timespec arrived{};
  std::memcpy(&arrived, CMSG_DATA(control), sizeof arrived);
  return arrived.tv_sec * SECOND + arrived.tv_nsec;
}

}  // namespace

std::int64_t monotonicTime() {
  return timeOf(CLOCK_MONOTONIC);
}

std::int64_t wallTime() {
  return timeOf(CLOCK_REALTIME);
}

void canlink(const std::string& request) {
  ASSERT_EQ(0, std::system(("canlink " + request).c_str())) << request;
}

AheadOfOthers::AheadOfOthers() {
  sched_param parameter{};
  parameter.sched_priority = 1;
  EXPECT_EQ(0, sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameter)) << std::strerror(errno);
}

AheadOfOthers::~AheadOfOthers() {
  const sched_param parameter{};
  EXPECT_EQ(0, sched_setscheduler(0, SCHED_OTHER, &parameter)) << std::strerror(errno);
}

std::string outputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    fail(command);
  }
  std::string output;
  std::array<char, 4096> part{};
  while (std::fgets(part.data(), part.size(), pipe) != nullptr) {
    output += part.data();
  }
  pclose(pipe);
  return output;
}

void SteppedWallClock::step(int seconds) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  now.tv_sec += seconds;
  stepped += seconds;
  EXPECT_EQ(0, clock_settime(CLOCK_REALTIME, &now)) << std::strerror(errno);
}

// ---- RawSocket

RawSocket::RawSocket(const std::string& interface) : descriptor(socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW)) {
  sockaddr_can address{};
  address.can_family = AF_CAN;
  address.can_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
  if (descriptor < 0 || address.can_ifindex == 0) {
    fail(interface);
  }
  const int on = 1;
  const int receiveBuffer = 4 << 20;
  setsockopt(descriptor, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &receiveBuffer, sizeof receiveBuffer);
  setsockopt(descriptor, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, &on, sizeof on);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
    fail(interface);
  }
}

RawSocket::~RawSocket() {
  close(descriptor);
}

void RawSocket::listenOnlyTo(unsigned int identifier, unsigned int other) {
  const can_filter filters[] = {{identifier, CAN_SFF_MASK | CAN_EFF_FLAG}, {other, CAN_SFF_MASK | CAN_EFF_FLAG}};
  if (setsockopt(descriptor, SOL_CAN_RAW, CAN_RAW_FILTER, filters, sizeof filters) < 0) {
    fail("filter");
  }
}

void RawSocket::send(const std::string& text) {
  const KQ::KQCANMessage message = frame(text);
  can_frame raw{};
  raw.can_id = message.identifier;
  raw.can_dlc = static_cast<unsigned char>(message.length);
  std::memcpy(raw.data, message.data, sizeof raw.data);
  send(raw);
}

void RawSocket::send(const can_frame& raw) {
  sendBytes(&raw, sizeof raw);
}

void RawSocket::send(const canfd_frame& raw) {
  sendBytes(&raw, sizeof raw);
}

void RawSocket::sendBytes(const void* bytes, std::size_t size) {
  // A full queue of the interface is no concern of the one who tests: it has room again within a millisecond.
  for (int attempt = 0; attempt < 1000; ++attempt) {
    if (write(descriptor, bytes, size) == static_cast<ssize_t>(size)) {
      return;
    }
    if (errno != ENOBUFS) {
      break;
    }
    poll(nullptr, 0, 1);
  }
  fail("raw socket");
}

std::optional<RawSocket::Received> RawSocket::receive(int timeoutMs) {
  pollfd waiting{descriptor, POLLIN, 0};
  if (poll(&waiting, 1, timeoutMs) <= 0) {
    return std::nullopt;
  }
  // That the interface went down is an error ahead of the frames that came before.
  int pending = 0;
  socklen_t size = sizeof pending;
  getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &pending, &size);
  canfd_frame raw{};
  iovec vector{&raw, sizeof raw};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> control{};
  msghdr header{};
  header.msg_iov = &vector;
  header.msg_iovlen = 1;
  header.msg_control = control.data();
  header.msg_controllen = control.size();
  if (recvmsg(descriptor, &header, MSG_DONTWAIT) < 0) {
    return std::nullopt;
  }
  return Received{describe(raw), arrivalOf(header)};
}

std::optional<RawSocket::Received> RawSocket::receiveOf(const std::string& identifier, int timeoutMs) {
  const std::int64_t end = monotonicTime() + timeoutMs * MILLISECOND;
  for (std::int64_t now = monotonicTime(); now <= end; now = monotonicTime()) {
    std::optional<Received> received = receive(static_cast<int>((end - now) / MILLISECOND));
    if (received && received->text.rfind(identifier + "#", 0) == 0) {
      return received;
    }
  }
  return std::nullopt;
}

Frames RawSocket::take() {
  Frames frames;
  while (const std::optional<Received> received = receive(0)) {
    frames.push_back(received->text);
  }
  return frames;
}

// ---- Process

Process::Process(const std::vector<std::string>& words, const std::string& outputFile)
    : Process([&words, &outputFile] {
        const char* file = outputFile.empty() ? "/dev/null" : outputFile.c_str();
        const int output = open(file, O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        std::vector<char*> arguments;
        for (const std::string& word : words) {
          arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
        _exit(127);
      }) {}

Process::Process(const std::function<void()>& work) : process(fork()) {
  if (process < 0) {
    fail("fork");
  }
  if (process == 0) {
    work();
    _exit(0);
  }
}

Process::~Process() {
  if (isRunning()) {
    kill(process, SIGKILL);
    waitpid(process, &status, 0);
  }
}

bool Process::isRunning() {
  ended = ended || waitpid(process, &status, WNOHANG) == process;
  return !ended;
}

int Process::terminate() {
  if (isRunning()) {
    kill(process, SIGTERM);
    waitpid(process, &status, 0);
    ended = true;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::int64_t Process::processorTime() const {
  clockid_t clock{};
  return clock_getcpuclockid(process, &clock) == 0 ? timeOf(clock) : 0;
}

long Process::wakes() const {
  return statusOf("voluntary_ctxt_switches:");
}

long Process::ownMemoryKiB() const {
  return statusOf("RssAnon:");
}

std::size_t Process::openDescriptors() const {
  const std::filesystem::directory_iterator descriptors("/proc/" + std::to_string(process) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

long Process::statusOf(const std::string& label) const {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(label, 0) == 0) {
      return std::stol(line.substr(label.size()));
    }
  }
  fail(label);
}

}  // namespace test
