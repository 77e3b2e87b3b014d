// tavo-turn: what a panel pays for a turn of its loop, with the clock running: a node as tavo-panel starts it, on the
// embedded bus that is served, and the panel's loop around it.
//
// | row          | before a turn                                                       |
// |--------------|---------------------------------------------------------------------|
// | idle-turn    | nothing                                                             |
// | foreign-turn | another participant of the bus sends a frame that is for nobody here |
// | sdo-turn     | another participant asks for an UNSIGNED32; the turn answers        |
//
// Counted is the turn alone; what the other participant does is not the panel's.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>

#include "AllocationCounter.h"
#include "BenchEnvironment.h"
#include "CallCounter.h"
#include "KQBusFrame.h"
#include "KQBusParticipant.h"
#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQCANopenInstanceManager.h"
#include "KQCANopenState.h"
#include "KQDEI.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQSocketcandServer.h"
#include "KQTick.h"
#include "KQVariable.h"
#include "KQVariableEventDispatcher.h"
#include "KQVirtualBus.h"

namespace {

using bench::AllocationCounter;

constexpr unsigned int PORT = 1;
constexpr unsigned char NODE_ID = 5;
constexpr const char* BUS = "turn";
constexpr unsigned short OBJECT = 0x2000;
constexpr int HEARTBEAT_MS = 1000;
constexpr unsigned int CYCLE_BUDGET_MS = 50;
constexpr std::size_t TURNS_BEFORE = 100;
constexpr int WRONG_ARGUMENTS = 2;

std::size_t readings = 0;

// A turn takes a millisecond, so that whatever is looked at when the time has changed is looked at in each of them.
unsigned int readRunningClock() {
  ++readings;
  return bench::BenchEnvironment::now();
}

void require(bool condition, const char* what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

void requireOK(int result, const char* what) {
  require(result == KQ::KQ_OK, what);
}

// The other participant of the bus.
class Master : public KQ::KQBusParticipant {
public:
  Master() : bus(KQ::KQVirtualBus::get(BUS)) { bus->attach(this); }
  ~Master() override { bus->detach(this); }

  void send(unsigned int identifier, std::initializer_list<unsigned char> data) {
    KQ::KQBusFrame frame;
    frame.identifier = identifier;
    frame.length = static_cast<unsigned char>(data.size());
    std::copy(data.begin(), data.end(), frame.data);
    bus->send(this, frame);
  }

  void takeFrame(const KQ::KQBusFrame& frame) override {
    answers += frame.identifier == 0x580U + NODE_ID && frame.data[0] == 0x43 ? 1U : 0U;
  }

  std::size_t getAnswers() const { return answers; }

private:
  std::shared_ptr<KQ::KQVirtualBus> bus;
  std::size_t answers = 0;
};

// What turns take beside instructions.
struct Costs {
  bench::CallCounts calls;
  std::size_t readings = 0;
  std::size_t allocations = 0;

  static Costs sinceStart() { return {bench::callCounts(), ::readings, AllocationCounter::allocations()}; }

  void addDifference(const Costs& before, const Costs& after) {
    calls.waits += after.calls.waits - before.calls.waits;
    calls.reads += after.calls.reads - before.calls.reads;
    calls.writes += after.calls.writes - before.calls.writes;
    calls.others += after.calls.others - before.calls.others;
    readings += after.readings - before.readings;
    allocations += after.allocations - before.allocations;
  }
};

class TurnBench {
public:
  TurnBench();
  ~TurnBench();
  TurnBench(const TurnBench&) = delete;
  TurnBench& operator=(const TurnBench&) = delete;

  // Turns, with what prepare does before each of them. @return what they took, without that
  template <typename Prepare>
  Costs run(std::size_t count, Prepare prepare) {
    Costs costs;
    for (std::size_t i = 0; i < count; ++i) {
      prepare(master);
      bench::BenchEnvironment::advance(1);
      const Costs before = Costs::sinceStart();
      turn();
      costs.addDifference(before, Costs::sinceStart());
    }
    return costs;
  }

  std::size_t getAnswers() const { return master.getAnswers(); }

private:
  void startNode();

  // Once around the loop of the panel, which does not sleep here. Instructions are counted from its call to its
  // return, by its name, hence never inlined.
  [[gnu::noinline]] void turn() {
    KQ::KQCANopenInstanceManager::instance()->updateAllData(KQ::KQTick::getTickCount() + CYCLE_BUDGET_MS);
    timeToNextWork += node->getTimeToNextWork(KQ::KQTick::getTickCount());
    manager.wait(0);
  }

  bench::BenchEnvironment environment;
  KQ::KQEndPointManager manager;
  Master master;
  KQ::KQSocketcandServer server;
  KQ::KQCANopen* node = nullptr;
  unsigned int timeToNextWork = 0;  // of all turns: only to be asked for
};

TurnBench::TurnBench() {
  KQ::KQTick::setSource(readRunningClock);
  KQ::KQVariable value(OBJECT, 1, "value");
  requireOK(KQ::KQDEI::instance()->addVariable(&value), "variable");
  requireOK(KQ::KQCANPortRegistry::instance()->bindPort(PORT, std::string("virtual:") + BUS), "port");
  startNode();
  const auto doNothing = [](const Master& /*master*/) {};
  run(TURNS_BEFORE, doNothing);
  master.send(0x000, {0x01, NODE_ID});
  run(TURNS_BEFORE, doNothing);
  require(node->getCANopenState() == KQ::CANOPEN_STATE_OPERATIONAL, "start");
}

void TurnBench::startNode() {
  auto created = std::make_unique<KQ::KQCANopen>("turn");
  requireOK(created->create(KQ::KQDEI::instance(), KQ::KQVariableEventDispatcher::instance(), PORT, nullptr), "create");
  requireOK(created->subscribeToEndpointManager(&manager), "subscribe");
  std::string error;
  requireOK(server.listen("127.0.0.1", 0, BUS, manager, error), "listen");
  created->setNodeID(NODE_ID);
  created->setHeartbeatProducerTime(HEARTBEAT_MS);
  requireOK(created->init(), "init");
  created->getApplicationVariables();
  node = created.release();
  KQ::KQCANopenInstanceManager::instance()->addCANopenInstance(node);
}

TurnBench::~TurnBench() {
  KQ::KQCANopenInstanceManager::instance()->deleteAllInstances();
  KQ::KQCANPortRegistry::instance()->unbindPort(PORT);
  KQ::KQDEI::instance()->clear();
}

struct Row {
  const char* name;
  void (*prepare)(Master& master);
  std::size_t answers;  // to be seen in each turn
};

constexpr Row ROWS[] = {
    {"idle-turn", [](Master& /*master*/) {}, 0},
    {"foreign-turn",
     [](Master& master) {
       master.send(0x3FF, {1, 2, 3, 4, 5, 6, 7, 8});
     },
     0},
    {"sdo-turn",
     [](Master& master) {
       master.send(0x600 + NODE_ID, {0x40, OBJECT & 0xFF, OBJECT >> 8, 1, 0, 0, 0, 0});
     },
     1},
};

void runRow(const Row& row, std::size_t count) {
  TurnBench bench;
  bench.run(TURNS_BEFORE, row.prepare);
  const std::size_t answersBefore = bench.getAnswers();
  const Costs costs = bench.run(count, row.prepare);
  require(bench.getAnswers() - answersBefore == row.answers * count, "the requests were not answered");
  std::printf("%s\t%zu waits\t%zu reads\t%zu writes\t%zu others\t%zu readings\t%zu allocations\n", row.name,
              costs.calls.waits, costs.calls.reads, costs.calls.writes, costs.calls.others, costs.readings,
              costs.allocations);
}

int run(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
    for (const Row& row : ROWS) {
      std::printf("%s\n", row.name);
    }
    return EXIT_SUCCESS;
  }
  char* end = nullptr;
  const unsigned long count = argc == 3 ? std::strtoul(argv[2], &end, 10) : 0;
  const auto* const row = std::find_if(std::begin(ROWS), std::end(ROWS), [argc, argv](const Row& candidate) {
    return argc == 3 && std::strcmp(candidate.name, argv[1]) == 0;
  });
  if (count == 0 || *end != '\0' || row == std::end(ROWS)) {
    std::fprintf(stderr, "usage: tavo-turn ROW COUNT | --list\n");
    return WRONG_ARGUMENTS;
  }
  runRow(*row, count);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavo-turn: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
