#include "PanelCosts.h"

#include <linux/can.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <stdexcept>

#include "KernelBus.h"
#include "Measuring.h"

namespace test {

namespace {

constexpr unsigned int REQUESTS = 0x605;
constexpr unsigned int ANSWERS = 0x585;
constexpr int MEASUREMENTS = 1000;
constexpr unsigned int SECOND_MS = 1000;

// A socket with nothing around it: what both ends cost is the kernel's.
class BareSocket {
public:
  // @param identifier of the frames that it receives
  BareSocket(const char* interface, unsigned int identifier)
      : descriptor(socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW)) {
    const can_filter filter{identifier, CAN_SFF_MASK | CAN_EFF_FLAG | CAN_RTR_FLAG};
    const timeval patience{2, 0};
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(if_nametoindex(interface));
    if (setsockopt(descriptor, SOL_CAN_RAW, CAN_RAW_FILTER, &filter, sizeof filter) < 0 ||
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) < 0 ||
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
      throw std::runtime_error(interface);
    }
  }
  ~BareSocket() { close(descriptor); }
  BareSocket(const BareSocket&) = delete;
  BareSocket& operator=(const BareSocket&) = delete;

  bool receive(can_frame& frame) const { return read(descriptor, &frame, sizeof frame) == sizeof frame; }
  bool send(const can_frame& frame) const { return write(descriptor, &frame, sizeof frame) == sizeof frame; }

  const int descriptor;
};

can_frame frameOf(unsigned int identifier, const unsigned char (&bytes)[CAN_MAX_DLEN]) {
  can_frame frame{};
  frame.can_id = identifier;
  frame.can_dlc = CAN_MAX_DLEN;
  std::memcpy(frame.data, bytes, sizeof bytes);
  return frame;
}

const can_frame UPLOAD = frameOf(REQUESTS, {0x40, 0x18, 0x10, 1, 0, 0, 0, 0});
const can_frame DOWNLOAD = frameOf(REQUESTS, {0x2B, 0x00, 0x20, 2, 0x20, 3, 0, 0});
const can_frame STOP_OF_THE_MACHINE = frameOf(REQUESTS, {0x2F, 0x00, 0x20, 5, 0, 0, 0, 0});

// The floor's process: to every request the same answer.
void runFloor() {
  const BareSocket bus("can0", REQUESTS);
  const can_frame answer = frameOf(ANSWERS, {0x43, 0x18, 0x10, 1, 0, 0, 0, 0});
  for (can_frame request{};;) {
    if (bus.receive(request)) {
      bus.send(answer);
    }
  }
}

// The same with the calls of a program that waits for more than one thing and loses no frame of a burst unseen: what
// the panel's calls cost without the panel.
void runCalls() {
  constexpr unsigned int BATCH = 32;
  const BareSocket bus("can0", REQUESTS);
  const can_frame answer = frameOf(ANSWERS, {0x43, 0x18, 0x10, 1, 0, 0, 0, 0});
  const int events = epoll_create1(EPOLL_CLOEXEC);
  epoll_event readable{};
  readable.events = EPOLLIN;
  epoll_ctl(events, EPOLL_CTL_ADD, bus.descriptor, &readable);
  static can_frame frames[BATCH];
  static iovec vectors[BATCH];
  static mmsghdr messages[BATCH];
  alignas(cmsghdr) static char control[BATCH][CMSG_SPACE(sizeof(unsigned int))];
  for (unsigned int i = 0; i < BATCH; ++i) {
    vectors[i] = {&frames[i], sizeof frames[i]};
    messages[i].msg_hdr.msg_iov = &vectors[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
  for (;;) {
    epoll_event ready{};
    epoll_wait(events, &ready, 1, SECOND_MS);
    for (unsigned int i = 0; i < BATCH; ++i) {
      messages[i].msg_hdr.msg_control = control[i];
      messages[i].msg_hdr.msg_controllen = sizeof control[i];
    }
    const int number = recvmmsg(bus.descriptor, messages, BATCH, MSG_DONTWAIT, nullptr);
    for (int i = 0; i < number; ++i) {
      send(bus.descriptor, &answer, sizeof answer, MSG_DONTWAIT);
    }
  }
}

// @return the time until the answer was there
std::int64_t ask(const BareSocket& master, const can_frame& request) {
  can_frame answer{};
  const std::int64_t begin = monotonicTime();
  if (!master.send(request) || !master.receive(answer)) {
    throw std::runtime_error("no answer");
  }
  const std::int64_t end = monotonicTime();
  if (answer.data[0] != (request.data[0] == UPLOAD.data[0] ? 0x43 : 0x60)) {
    throw std::runtime_error("another answer than expected");
  }
  return end - begin;
}

Times askRepeatedly(const BareSocket& master, const can_frame& request) {
  Times times;
  for (int i = 0; i < MEASUREMENTS; ++i) {
    // Not in step with anything of the node.
    pause(1 + i % 5);
    times.push_back(ask(master, request));
  }
  return times;
}

// The share of a process that is asked once in every millisecond.
double measureUploads(const BareSocket& master, const Process& process) {
  const std::int64_t begin = monotonicTime();
  const std::int64_t used = process.processorTime();
  const std::int64_t end = begin + SHARE_SECONDS * SECOND_MS * MILLISECOND;
  for (std::int64_t next = begin; next < end; next += MILLISECOND) {
    const timespec until{static_cast<time_t>(next / (SECOND_MS * MILLISECOND)),
                         static_cast<long>(next % (SECOND_MS * MILLISECOND))};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    ask(master, UPLOAD);
  }
  return 100.0 * static_cast<double>(process.processorTime() - used) / static_cast<double>(monotonicTime() - begin);
}

// Microseconds of the processor for one upload, asked for again as soon as it is answered.
double measureUpload(const BareSocket& master, const Process& process) {
  const std::int64_t used = process.processorTime();
  for (int i = 0; i < MEASUREMENTS; ++i) {
    ask(master, UPLOAD);
  }
  return static_cast<double>(process.processorTime() - used) / 1e3 / MEASUREMENTS;
}

double measureTraffic(const std::string& frame, unsigned int framesPerSecond, const Process& process) {
  const Traffic traffic(frame, framesPerSecond);
  pause(100);
  const unsigned long before = sentFrames();
  const double share = measureShare(process);
  if (sentFrames() - before < SHARE_SECONDS * framesPerSecond * 9UL / 10) {
    throw std::runtime_error("less traffic than wanted");
  }
  return share;
}

struct Costs {
  double fullBus;
  double foreign;
  double heartbeats;
  std::optional<double> idle;  // not of the floor, which does nothing then
  double uploads;
  double upload;
  Times uploadTimes;
  Times downloadTimes;  // not of the floor
};

Costs measureCosts(const BareSocket& master, const Process& process) {
  Costs costs{};
  costs.fullBus = measureTraffic(FOREIGN_FRAME, 9009, process);
  costs.foreign = measureTraffic(FOREIGN_FRAME, 1000, process);
  costs.heartbeats = measureTraffic("710#05", 1000, process);
  costs.uploads = measureUploads(master, process);
  costs.upload = measureUpload(master, process);
  costs.uploadTimes = askRepeatedly(master, UPLOAD);
  return costs;
}

Costs measureLoop(const BareSocket& master, void (*loop)()) {
  const Process process(loop);
  pause(100);
  return measureCosts(master, process);
}

Costs measurePanel(const BareSocket& master) {
  const Process process({"tavo-panel", "--can", "socketcan:can0", "--node-id", "5", "--heartbeat", "1000"});
  pause(500);
  ask(master, STOP_OF_THE_MACHINE);
  // It cools down, and rests.
  pause(5000);
  const double idle = measureShare(process);
  Costs costs = measureCosts(master, process);
  costs.idle = idle;
  costs.downloadTimes = askRepeatedly(master, DOWNLOAD);
  return costs;
}

// ---- The table

std::string inText(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string share(std::optional<double> percent) {
  return percent ? inText("%.3f %%", *percent) : "-";
}

std::string medianAndP99(const Times& times) {
  return times.empty() ? "-" : inText("%.0f", quantile(times, 0.5)) + " / " + inText("%.0f us", quantile(times, 0.99));
}

// A row of the table, from what textOf makes of the costs.
template <typename TextOf>
void printRow(const char* what, const Costs (&columns)[3], const char* toReach, TextOf textOf) {
  std::printf("| %s |", what);
  for (const Costs& costs : columns) {
    std::printf(" %s |", std::string(textOf(costs)).c_str());
  }
  std::printf(" %s |\n", toReach);
}

}  // namespace

void printPanelCosts() {
  // The one who asks stands for another computer on the bus, which waits for no process here. Otherwise it is a matter
  // of what both have used of the processor so far whether an answer is taken before or after the rest of the node's
  // turn.
  const AheadOfOthers asker;
  const BareSocket master("can1", ANSWERS);
  const Costs columns[] = {measureLoop(master, runFloor), measureLoop(master, runCalls), measurePanel(master)};
  std::puts(
      "| share of the processor, or time | floor | the panel's calls alone | panel | to reach "
      "|\n|---|---|---|---|---|");
  printRow("9009 frames/s for nobody", columns, "0.2 %", [](const Costs& costs) { return share(costs.fullBus); });
  printRow("1000 frames/s for nobody", columns, "0.05 %", [](const Costs& costs) { return share(costs.foreign); });
  printRow("heartbeats of unwatched nodes, 1000/s", columns, "0.05 %",
           [](const Costs& costs) { return share(costs.heartbeats); });
  printRow("idle bus, heartbeat every second", columns, "0.10 %", [](const Costs& costs) { return share(costs.idle); });
  printRow("SDO uploads, 1000/s", columns, "4.2 %", [](const Costs& costs) { return share(costs.uploads); });
  printRow("one SDO upload at a time, processor time", columns, "45 us",
           [](const Costs& costs) { return inText("%.1f us", costs.upload); });
  printRow("the same, round trip, median / p99", columns, "78 / 88 us",
           [](const Costs& costs) { return medianAndP99(costs.uploadTimes); });
  printRow("expedited download, round trip, median / p99", columns, "80 / 90 us",
           [](const Costs& costs) { return medianAndP99(costs.downloadTimes); });
  std::puts("");
  std::fflush(stdout);
}

}  // namespace test
