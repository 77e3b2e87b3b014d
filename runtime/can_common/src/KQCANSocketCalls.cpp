#include "internal/KQCANSocketCalls.h"

#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace KQ {

namespace {

constexpr unsigned LARGEST_BATCH = 32;
constexpr int RECEIVE_BUFFER_BYTES = 1 << 20;

int answer(int result) {
  return result < 0 ? -errno : result;
}

template <class Value>
int setOption(int descriptor, int level, int name, const Value& value) {
  return answer(setsockopt(descriptor, level, name, &value, sizeof value));
}

ifreq requestFor(const std::string& interfaceName) {
  ifreq request{};
  interfaceName.copy(request.ifr_name, sizeof request.ifr_name - 1);
  return request;
}

// The buffers that one recvmmsg fills.
struct Batch {
  mmsghdr messages[LARGEST_BATCH];
  iovec vectors[LARGEST_BATCH];
  alignas(cmsghdr) char control[LARGEST_BATCH][CMSG_SPACE(sizeof(std::uint32_t))];
};

void prepareBatch(Batch& batch, KQCANSocketCalls::Received* frames, unsigned number) {
  for (unsigned i = 0; i < number; ++i) {
    batch.vectors[i] = {&frames[i].frame, sizeof frames[i].frame};
    batch.messages[i] = {};
    batch.messages[i].msg_hdr.msg_iov = &batch.vectors[i];
    batch.messages[i].msg_hdr.msg_iovlen = 1;
    batch.messages[i].msg_hdr.msg_control = batch.control[i];
    batch.messages[i].msg_hdr.msg_controllen = sizeof batch.control[i];
  }
}

// What SO_RXQ_OVFL says with a frame; 0 while nothing was lost, for then the kernel says nothing.
unsigned lostFrames(const msghdr& header) {
  const cmsghdr* control = CMSG_FIRSTHDR(&header);
  if (control == nullptr || control->cmsg_level != SOL_SOCKET || control->cmsg_type != SO_RXQ_OVFL) {
    return 0;
  }
  std::uint32_t lost = 0;
  std::memcpy(&lost, CMSG_DATA(control), sizeof lost);
  return lost;
}

class KernelCalls : public KQCANSocketCalls {
public:
  int openSocket() override {
    const int descriptor = answer(socket(PF_CAN, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, CAN_RAW));
    if (descriptor < 0) {
      return descriptor;
    }
    const int failure = configure(descriptor);
    if (failure < 0) {
      close(descriptor);
      return failure;
    }
    return descriptor;
  }

  void closeSocket(int descriptor) override { close(descriptor); }

  int findInterface(int descriptor, const std::string& name) override {
    ifreq request = requestFor(name);
    const int result = answer(ioctl(descriptor, SIOCGIFINDEX, &request));
    return result < 0 ? result : request.ifr_ifindex;
  }

  int getInterfaceFlags(int descriptor, const std::string& name) override {
    ifreq request = requestFor(name);
    const int result = answer(ioctl(descriptor, SIOCGIFFLAGS, &request));
    return result < 0 ? result : static_cast<int>(static_cast<unsigned short>(request.ifr_flags));
  }

  int bindSocket(int descriptor, int interfaceIndex) override {
    // The kernel takes the filter away together with an interface that is unplugged: without a new one, a socket that
    // is bound again would receive error frames only.
    const can_filter all{0, 0};
    const int failure = setOption(descriptor, SOL_CAN_RAW, CAN_RAW_FILTER, all);
    if (failure < 0) {
      return failure;
    }
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = interfaceIndex;
    return answer(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }

  int setFilters(int descriptor, const can_filter* filters, unsigned number) override {
    const auto size = static_cast<socklen_t>(number * sizeof *filters);
    return answer(setsockopt(descriptor, SOL_CAN_RAW, CAN_RAW_FILTER, filters, size));
  }

  void clearError(int descriptor) override {
    int pending = 0;
    socklen_t size = sizeof pending;
    getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &pending, &size);
  }

  int receive(int descriptor, Received* frames, unsigned capacity) override {
    Batch batch;
    const unsigned number = std::min(capacity, LARGEST_BATCH);
    prepareBatch(batch, frames, number);
    const int received = answer(recvmmsg(descriptor, batch.messages, number, MSG_DONTWAIT, nullptr));
    for (int i = 0; i < received; ++i) {
      frames[i].size = batch.messages[i].msg_len;
      frames[i].lost = lostFrames(batch.messages[i].msg_hdr);
    }
    return received;
  }

  int send(int descriptor, const can_frame& frame) override {
    const int result = answer(static_cast<int>(::send(descriptor, &frame, sizeof frame, MSG_DONTWAIT)));
    return std::min(result, 0);
  }

private:
  static int configure(int descriptor) {
    const can_err_mask_t allErrors = CAN_ERR_MASK;
    const int failure = setOption(descriptor, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, allErrors);
    if (failure < 0) {
      return failure;
    }
    // The rest is help that an old kernel may refuse: the port works without it.
    setOption(descriptor, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, 0);
    setOption(descriptor, SOL_SOCKET, SO_RXQ_OVFL, 1);
    setOption(descriptor, SOL_SOCKET, SO_RCVBUF, RECEIVE_BUFFER_BYTES);
    return 0;
  }
};

}  // namespace

KQCANSocketCalls* KQCANSocketCalls::kernel() {
  static KernelCalls calls;
  return &calls;
}

}  // namespace KQ
