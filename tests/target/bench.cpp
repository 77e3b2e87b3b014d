// target-bench: times of a node on can0 as another node on can1 sees them, and the node's share of the processor.
//
// The node is a process of its own, and the only one besides the measuring one. Arrival is when the kernel took the
// frame from the receiving controller, so that the measuring process adds nothing to it.

#include <malloc.h>
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "KernelBus.h"
#include "KernelNode.h"
#include "Measuring.h"
#include "PanelCosts.h"

namespace {

using test::FOREIGN_FRAME;
using test::KernelNode;
using test::measureShare;
using test::MILLISECOND;
using test::pause;
using test::RawSocket;
using test::sentFrames;
using test::SHARE_SECONDS;
using test::Times;
using test::Traffic;

constexpr int IDLE_HEARTBEAT_MS = 1000;
constexpr unsigned int VARIABLES = 50;
constexpr unsigned short SYNCHRONOUS_PDOS = 8;
constexpr unsigned short EVENT_PDO = 8;
constexpr unsigned short STAMPED_VARIABLE = 40;
constexpr unsigned short STAMPING_SWITCH = 41;  // while not 0, the application writes the time into the other one
constexpr std::int64_t STAMP_EVERY = 7 * MILLISECOND;
constexpr int MEASUREMENTS = 1000;

std::size_t usedHeap() {
  return mallinfo2().uordblks;
}

void configure(KernelNode& device) {
  device.addVariables(VARIABLES);
  for (unsigned short i = 0; i < SYNCHRONOUS_PDOS; ++i) {
    device.addTransmitPDO(i, 0x301U + i, 1, i);
  }
}

// The node's process: a node, and an application that writes the time of writing.
void runNode() {
  KernelNode device("can0", 5, IDLE_HEARTBEAT_MS);
  configure(device);
  device.addTransmitPDO(EVENT_PDO, 0x2C1, 255, STAMPED_VARIABLE);
  device.start();
  std::int64_t lastStamp = test::monotonicTime();
  for (;;) {
    const bool isDue = test::monotonicTime() - lastStamp >= STAMP_EVERY;
    if (isDue && device.read(STAMPING_SWITCH) != 0) {
      lastStamp = test::monotonicTime();
      device.write(STAMPED_VARIABLE, static_cast<unsigned int>(test::wallTime()));
    }
    const bool isStamping = device.read(STAMPING_SWITCH) != 0;
    device.cycle(isStamping ? 1 : IDLE_HEARTBEAT_MS);
  }
}

RawSocket::Received receive(RawSocket& master, const std::string& identifier) {
  constexpr int PATIENCE_MS = 2000;
  const auto received = master.receiveOf(identifier, PATIENCE_MS);
  if (!received) {
    throw std::runtime_error("no frame " + identifier);
  }
  return *received;
}

void download(RawSocket& master, const std::string& request) {
  master.send(request);
  if (receive(master, "585").text.substr(4, 2) != "60") {
    throw std::runtime_error("refused: " + request);
  }
}

// ---- What is measured

Times measureUpload(RawSocket& master) {
  Times times;
  for (int i = 0; i < MEASUREMENTS; ++i) {
    // Not in step with the node's cycles.
    pause(1 + i % 5);
    const std::int64_t begin = test::wallTime();
    master.send("605#40 18 10 01 00 00 00 00");
    times.push_back(receive(master, "585").arrived - begin);
  }
  return times;
}

Times measureEvent(RawSocket& master) {
  Times times;
  download(master, "605#23 29 20 00 01 00 00 00");
  for (int i = 0; i < MEASUREMENTS; ++i) {
    const RawSocket::Received received = receive(master, "2C1");
    const KQ::KQCANMessage message = test::frame(received.text);
    unsigned int written = 0;
    std::memcpy(&written, message.data, sizeof written);
    // The low 32 bits are enough for a difference of less than four seconds.
    times.push_back(static_cast<std::int64_t>(static_cast<unsigned int>(received.arrived) - written));
  }
  download(master, "605#23 29 20 00 00 00 00 00");
  return times;
}

Times measureSync(RawSocket& master) {
  Times times;
  // The first SYNC after a change carries a PDO once for the change and once for its cycle.
  master.send("080#");
  for (int i = 0; i < MEASUREMENTS; ++i) {
    pause(5 + i % 5);
    master.take();
    const std::int64_t begin = test::wallTime();
    master.send("080#");
    std::int64_t last = begin;
    for (unsigned int pdo = 0; pdo < SYNCHRONOUS_PDOS; ++pdo) {
      last = receive(master, "30" + std::to_string(pdo + 1)).arrived;
    }
    times.push_back(last - begin);
  }
  return times;
}

// By how much the time from one heartbeat to the next differs from 10 ms.
Times measureHeartbeat(RawSocket& master) {
  constexpr std::int64_t PERIOD = 10 * MILLISECOND;
  download(master, "605#2B 17 10 00 0A 00 00 00");
  receive(master, "705");
  Times times;
  std::int64_t last = receive(master, "705").arrived;
  for (int i = 0; i < MEASUREMENTS; ++i) {
    const std::int64_t arrived = receive(master, "705").arrived;
    times.push_back(std::abs(arrived - last - PERIOD));
    last = arrived;
  }
  download(master, "605#2B 17 10 00 E8 03 00 00");
  return times;
}

// ---- The table

void printTimes(const char* what, const Times& times) {
  const auto microseconds = [&times](double fraction) { return test::quantile(times, fraction); };
  std::printf("| %s | %.0f | %.0f | %.0f | %.0f |\n", what, microseconds(0), microseconds(0.5), microseconds(0.99),
              microseconds(1));
  std::fflush(stdout);
}

void printShare(const char* what, double percent) {
  std::printf("| %s | %.2f |\n", what, percent);
  std::fflush(stdout);
}

void measureShares(const test::Process& node) {
  std::puts("\n| node's share of the processor | % |\n|---|---|");
  printShare("idle bus, heartbeat every second", measureShare(node));
  {
    const Traffic flood(FOREIGN_FRAME, 9009);
    printShare("flood of 9009 frames/s, which is 1 Mbit/s with 8 bytes in each", measureShare(node));
  }
  const unsigned long before = sentFrames();
  const Traffic flood(FOREIGN_FRAME);
  const double share = measureShare(node);
  const unsigned long rate = (sentFrames() - before) / SHARE_SECONDS;
  printShare(("flood of " + std::to_string(rate) + " frames/s, all that the emulated bus carries").c_str(), share);
}

void printHeap() {
  const std::size_t before = usedHeap();
  KernelNode device("can0", 5, IDLE_HEARTBEAT_MS);
  const std::size_t fresh = usedHeap();
  configure(device);
  device.cycle(0);
  std::printf("\n| heap of the node | bytes |\n|---|---|\n| standard objects, and the port | %zu |\n", fresh - before);
  std::printf("| with %d PDOs and %u variables, after boot-up | %zu |\n", SYNCHRONOUS_PDOS, VARIABLES,
              usedHeap() - before);
  std::fflush(stdout);
}

void measure() {
  RawSocket master("can1");
  const test::Process node(runNode);
  receive(master, "705");
  pause(100);
  std::puts("| time, us | min | median | p99 | max |\n|---|---|---|---|---|");
  printTimes("SDO request to response", measureUpload(master));
  printTimes("application write to event-driven TPDO on the other controller", measureEvent(master));
  printTimes("SYNC to the last of 8 synchronous TPDOs", measureSync(master));
  printTimes("jitter of a 10 ms heartbeat", measureHeartbeat(master));
  measureShares(node);
}

}  // namespace

int main() {
  // The lines of the stack are no part of the table, and it prints nothing with printf.
  std::cout.setstate(std::ios::failbit);
  try {
    test::printPanelCosts();
    measure();
    printHeap();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "target-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
