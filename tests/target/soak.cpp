// target-soak HOURS: two panels on can0 for that long in the machine's time, and on can1 all that happens to a panel in
// the field, in an order that is the same every time.
//
// | what       | how often        | what must hold                                                                  |
// |------------|------------------|---------------------------------------------------------------------------------|
// | masters    | one a minute     | each is answered in time, whatever the one before it has left behind            |
// | saves      | by some of these | the file is there anew each time                                                |
// | floods     | two an hour      | as much as the bus carries: frames for nobody, requests                         |
// | outages    | four an hour     | can0 goes down and up; both panels return by themselves, with one line each way |
// | a peer     | one an hour      | the second panel reads it, notices that it is killed, and goes on without it    |
// | heartbeats | one a second     | none is late beyond the tolerance                                               |
// | memory     | each hour        | as much as after the first hour, and as many descriptors                        |
//
// Ends with one line of counts, and status 0 when all of that held.

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "KernelBus.h"
#include "Measuring.h"

namespace {

using test::MILLISECOND;
using test::pause;
using test::Process;
using test::RawSocket;

constexpr std::int64_t MINUTE = 60'000 * MILLISECOND;
constexpr int HEARTBEAT_MS = 1000;
// A period begins when the heartbeat before was sent: it is longer than its time by what the node was late.
constexpr std::int64_t LONGEST_PERIOD = (HEARTBEAT_MS + 20) * MILLISECOND;
// After which a panel has found an interface that is there again.
constexpr std::int64_t RETURN_TIME = 250 * MILLISECOND;
constexpr int PATIENCE_MS = 500;
// An SDO transfer that is left behind has been given up by then.
constexpr int FORGOTTEN_MS = 150;
// What the allocator may need more of at another moment.
constexpr long MEMORY_TOLERANCE_KIB = 16;

void require(bool condition, const std::string& what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

struct Counts {
  unsigned int heartbeats = 0;
  std::int64_t longestPeriod = 0;
  unsigned int masters = 0;
  unsigned int saves = 0;
  unsigned int outages = 0;
  unsigned int peers = 0;
  unsigned int floods = 0;
  unsigned long floodFrames = 0;
  long highestMemory = 0;  // of all hours after the first one
};

// Takes the time of every heartbeat of a node.
class HeartbeatWatch {
public:
  HeartbeatWatch(unsigned int identifier, Counts& sums) : counts(sums), bus("can1") {
    bus.listenOnlyTo(identifier, identifier);
  }

  // All that have come since the last call were in time, and none is overdue.
  void check() {
    while (const auto received = bus.receive(0)) {
      note(received->arrived);
      ++counts.heartbeats;
    }
    require(test::wallTime() - last <= LONGEST_PERIOD, "a heartbeat stays away");
  }

  // Periods are counted from here: there was nothing to be heard.
  void beginAnew(std::int64_t delay) {
    bus.take();
    last = test::wallTime() + delay;
  }

private:
  void note(std::int64_t arrived) {
    const std::int64_t period = arrived - last;
    counts.longestPeriod = std::max(counts.longestPeriod, period);
    require(period <= LONGEST_PERIOD, "a heartbeat after " + std::to_string(period / MILLISECOND) + " ms");
    last = arrived;
  }

  Counts& counts;
  RawSocket bus;
  std::int64_t last = test::wallTime();
};

// A panel that runs all day, and what is looked at when an hour is over.
class WatchedPanel {
public:
  WatchedPanel(const std::string& number, const std::vector<std::string>& options, Counts& sums)
      : logFile("/tmp/panel" + number + ".log"),
        counts(sums),
        heartbeats(0x700U + static_cast<unsigned int>(std::stoul(number)), sums),
        process(commandOf(number, options), logFile) {
    heartbeats.beginAnew(0);
  }

  static std::vector<std::string> commandOf(const std::string& number, const std::vector<std::string>& options) {
    std::vector<std::string> words = {"tavo-panel", "--node-id", number, "--heartbeat", std::to_string(HEARTBEAT_MS)};
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  void checkMemory() {
    const long memory = process.ownMemoryKiB();
    if (firstMemory == 0) {
      firstMemory = memory;
      descriptors = process.openDescriptors();
      return;
    }
    require(memory <= firstMemory + MEMORY_TOLERANCE_KIB,
            std::to_string(memory) + " KiB of memory after " + std::to_string(firstMemory));
    require(process.openDescriptors() == descriptors, "a descriptor is left open");
    counts.highestMemory = std::max(counts.highestMemory, memory);
  }

  // Ends it, and counts what it has said of its port.
  void end() {
    require(process.terminate() == 0, "a panel does not end well");
    requireLines("interface is down");
    requireLines("interface is up again");
  }

  HeartbeatWatch& getHeartbeats() { return heartbeats; }
  long getFirstMemory() const { return firstMemory; }

private:
  void requireLines(const std::string& text) const {
    const unsigned long lines = std::stoul(test::outputOf("grep -c '" + text + "' " + logFile));
    require(lines == counts.outages,
            std::to_string(counts.outages) + " outages, and " + std::to_string(lines) + " times '" + text + "'");
  }

  const std::string logFile;
  Counts& counts;
  HeartbeatWatch heartbeats;
  Process process;
  long firstMemory = 0;
  std::size_t descriptors = 0;
};

// A master of node 5 that is on the bus for a moment.
class Master {
public:
  Master() { bus.listenOnlyTo(0x585, 0x705); }

  void command(const std::string& frame) { bus.send(frame); }

  // The bytes of the answer.
  std::string ask(const std::string& request) {
    bus.send("605#" + request);
    const auto answer = bus.receiveOf("585", PATIENCE_MS);
    require(answer.has_value(), "no answer to " + request);
    return answer->text.substr(4);
  }

  void expect(const std::string& request, const std::string& beginning) {
    const std::string answer = ask(request);
    require(answer.rfind(beginning, 0) == 0, request + " is answered by " + answer);
  }

  void reset(const std::string& frame) {
    bus.take();
    bus.send(frame);
    const auto bootUp = bus.receiveOf("705", PATIENCE_MS);
    require(bootUp && bootUp->text == "705#00", "no boot-up after " + frame);
  }

private:
  RawSocket bus{"can1"};
};

const std::string SAVED_FILE = "/tmp/tavo.dcf";

class Day {
public:
  explicit Day(unsigned int length) : hours(length) {}

  void run() {
    pause(1000);
    checkHeartbeats();
    for (unsigned int hour = 0; hour < hours; ++hour) {
      for (unsigned int minute = 0; minute < 60; ++minute) {
        runMinute(minute);
        printProgress(hour, minute);
      }
      for (WatchedPanel* const panel : panels) {
        panel->checkMemory();
      }
    }
    for (WatchedPanel* const panel : panels) {
      panel->end();
    }
    printCounts();
  }

private:
  void runMinute(unsigned int minute) {
    const std::int64_t end = test::monotonicTime() + MINUTE;
    visit();
    if (minute % 15 == 7) {
      interruptBus();
    } else if (minute == 20) {
      flood(test::FOREIGN_FRAME);
    } else if (minute == 30) {
      bringPeer();
    } else if (minute == 40) {
      flood("605#40 18 10 01 00 00 00 00");
    }
    const std::int64_t left = end - test::monotonicTime();
    pause(static_cast<int>(std::max<std::int64_t>(left / MILLISECOND, 0)));
    checkHeartbeats();
  }

  // Now and then, so that a machine that is slow is not taken for one that hangs.
  void printProgress(unsigned int hour, unsigned int minute) const {
    if (minute % 10 == 9) {
      std::printf("%02u:%02u %u heartbeats, %u masters\n", hour, minute, counts.heartbeats, counts.masters);
      std::fflush(stdout);
    }
  }

  void checkHeartbeats() {
    for (WatchedPanel* const panel : panels) {
      panel->getHeartbeats().check();
    }
  }

  unsigned int choose(unsigned int number) { return static_cast<unsigned int>(random() % number); }

  // ---- Masters

  // What a master does before it goes.
  void visit() {
    static constexpr void (Day::*VISITS[])(Master&) = {
        &Day::commandState, &Day::stopForAWhile, &Day::resetNode,     &Day::uploadText,       &Day::leaveUpload,
        &Day::downloadText, &Day::leaveDownload, &Day::askForNothing, &Day::sendSyncsAndPDOs, &Day::save};
    {
      Master master;
      (this->*VISITS[choose(std::size(VISITS))])(master);
    }
    pause(FORGOTTEN_MS);
    Master().expect("40 18 10 01 00 00 00 00", "43 18 10 01");
    ++counts.masters;
  }

  void commandState(Master& master) {
    static constexpr const char* COMMANDS[] = {"000#01 00", "000#01 05", "000#80 05"};
    master.command(COMMANDS[choose(std::size(COMMANDS))]);
  }

  // A stopped node answers no requests.
  void stopForAWhile(Master& master) {
    master.command("000#02 05");
    pause(static_cast<int>(choose(5000)));
    master.command("000#01 05");
  }

  void resetNode(Master& master) { master.reset(choose(2) == 0 ? "000#81 05" : "000#82 05"); }

  void uploadText(Master& master) {
    master.expect("40 01 20 00 00 00 00 00", "41 01 20 00");
    for (bool toggled = false;; toggled = !toggled) {
      const std::string segment = master.ask(toggled ? "70 00 00 00 00 00 00 00" : "60 00 00 00 00 00 00 00");
      const unsigned long command = std::stoul(segment.substr(0, 2), nullptr, 16);
      require((command & 0xF0U) == (toggled ? 0x10U : 0U), "a segment that begins with " + segment.substr(0, 2));
      if ((command & 1U) != 0) {
        return;
      }
    }
  }

  void leaveUpload(Master& master) {
    master.expect("40 01 20 00 00 00 00 00", "41 01 20 00");
    master.ask("60 00 00 00 00 00 00 00");
  }

  void downloadText(Master& master) {
    master.expect("21 01 20 00 0A 00 00 00", "60 01 20 00");
    master.expect("00 54 41 56 4F 20 64 65", "20");
    master.expect("19 6D 6F 31 00 00 00 00", "30");
  }

  void leaveDownload(Master& master) {
    master.expect("21 01 20 00 0A 00 00 00", "60 01 20 00");
    master.expect("00 54 41 56 4F 20 64 65", "20");
  }

  void askForNothing(Master& master) { master.expect("40 00 50 00 00 00 00 00", "80 00 50 00 00 00 02 06"); }

  void sendSyncsAndPDOs(Master& master) {
    master.command("000#01 00");
    for (int i = 0; i < 100; ++i) {
      master.command(i % 2 == 0 ? "205#20 03" : "205#58 02");
      master.command("080#");
      pause(10);
    }
  }

  void save(Master& master) {
    test::outputOf("rm -f " + SAVED_FILE);
    master.expect("23 10 10 01 73 61 76 65", "60 10 10 01");
    require(!test::outputOf("cat " + SAVED_FILE).empty(), "nothing is saved");
    ++counts.saves;
  }

  // ---- The bus

  void interruptBus() {
    checkHeartbeats();
    require(std::system("canlink down can0") == 0, "can0 stays up");
    pause(static_cast<int>(200 + choose(5000)));
    require(std::system("canlink up can0") == 0, "can0 stays down");
    ++counts.outages;
    for (WatchedPanel* const panel : panels) {
      panel->getHeartbeats().beginAnew(RETURN_TIME);
    }
  }

  void flood(const std::string& frame) {
    const unsigned long before = test::sentFrames();
    {
      const test::Traffic traffic(frame);
      pause(1000);
    }
    counts.floodFrames += test::sentFrames() - before;
    ++counts.floods;
  }

  // ---- The second panel's peer

  std::string askSecondPanel(const std::string& request) {
    RawSocket bus("can1");
    bus.listenOnlyTo(0x588, 0x588);
    bus.send("608#" + request);
    const auto answer = bus.receiveOf("588", PATIENCE_MS);
    require(answer.has_value(), "no answer of the second panel");
    return answer->text.substr(4);
  }

  void bringPeer() {
    const std::string isPresent = "40 00 21 03 00 00 00 00";
    {
      const Process peer(WatchedPanel::commandOf("6", {"--can", "socketcan:can1"}));
      pause(static_cast<int>(5000 + choose(10000)));
      require(askSecondPanel(isPresent) == "4F 00 21 03 01 00 00 00", "the peer is not noticed");
    }
    pause(3000);
    require(askSecondPanel(isPresent) == "4F 00 21 03 00 00 00 00", "nobody notices that the peer is gone");
    ++counts.peers;
  }

  void printCounts() const {
    std::printf(
        "soak: %u hours, %u heartbeats, the longest period %.1f ms of %lld; %u masters, %u saves, %u outages, %u "
        "peers, "
        "%u floods of %lu frames; memory of the two panels after an hour %ld and %ld KiB, later at most %ld KiB\n",
        hours, counts.heartbeats, static_cast<double>(counts.longestPeriod) / MILLISECOND,
        static_cast<long long>(LONGEST_PERIOD / MILLISECOND), counts.masters, counts.saves, counts.outages,
        counts.peers, counts.floods, counts.floodFrames, visited.getFirstMemory(), reading.getFirstMemory(),
        counts.highestMemory);
  }

  const unsigned int hours;
  std::mt19937 random{1};
  Counts counts;
  WatchedPanel visited{"5", {"--can", "socketcan:can0"}, counts};
  WatchedPanel reading{"8", {"--can", "socketcan:can0", "--peer", "6"}, counts};
  WatchedPanel* const panels[2] = {&visited, &reading};
};

}  // namespace

int main(int argumentCount, char** arguments) {
  const int hours = argumentCount == 2 ? std::atoi(arguments[1]) : 0;
  if (hours < 2) {
    std::fprintf(stderr, "target-soak HOURS: two at least, since memory is compared with that after the first one\n");
    return 2;
  }
  try {
    Day(static_cast<unsigned int>(hours)).run();
  } catch (const std::exception& error) {
    std::printf("%s", test::outputOf("tail -n 10 /tmp/panel5.log /tmp/panel8.log").c_str());
    std::printf("target-soak: %s\n", error.what());
    return 1;
  }
  return 0;
}
