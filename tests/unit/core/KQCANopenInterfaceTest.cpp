// Covers: the binary interface of the stack's classes to the runtime.
//
// | subject                            | functional | robustness  |
// |------------------------------------|------------|-------------|
// | slot of every virtual operation    | x          |             |
// | the two destructors in front       | x          |             |
// | handlers and state machine         | x          |             |
// | sub-interfaces reach the same code | x          | before init |
//
// Slots are counted in the virtual table of the primary interface as the Itanium C++ ABI lays it out; the runtime on
// the board calls by these numbers.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "KQCANopenInstanceManager.h"
#include "KQCANopenMessageHandler.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQEmergencyHandler.h"
#include "KQErrorCodes.h"
#include "KQNMTHandler.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQSyncHandler.h"
#include "TestNode.h"

namespace {

using KQ::KQCANopen;
using KQ::KQCANProtocol;
using test::TestNode;

constexpr std::ptrdiff_t NOT_VIRTUAL = -1;

// The number of the virtual table slot that a pointer to a member stands for.
template <typename Member>
std::ptrdiff_t slotOf(Member member) {
  struct {
    std::ptrdiff_t pointer;
    std::ptrdiff_t adjustment;
  } parts;
  static_assert(sizeof member == sizeof parts, "not the Itanium layout of a pointer to member");
  std::memcpy(&parts, &member, sizeof parts);
#if defined(__arm__) || defined(__aarch64__)
  const bool isVirtual = (parts.adjustment & 1) != 0;
  const std::ptrdiff_t offset = parts.pointer;
#else
  const bool isVirtual = (parts.pointer & 1) != 0;
  const std::ptrdiff_t offset = parts.pointer - 1;
#endif
  return isVirtual ? offset / static_cast<std::ptrdiff_t>(sizeof(void*)) : NOT_VIRTUAL;
}

// What a pointer to member adds to `this`: 0 for an operation of the primary interface.
template <typename Member>
std::ptrdiff_t thisAdjustmentOf(Member member) {
  std::ptrdiff_t parts[2];
  static_assert(sizeof member == sizeof parts, "not the Itanium layout of a pointer to member");
  std::memcpy(parts, &member, sizeof parts);
#if defined(__arm__) || defined(__aarch64__)
  return parts[1] >> 1;
#else
  return parts[1];
#endif
}

struct Slot {
  const char* name;
  std::ptrdiff_t expected;
  std::ptrdiff_t slot;
  std::ptrdiff_t adjustment;
};

template <typename Member>
Slot row(const char* name, std::ptrdiff_t expected, Member member) {
  return {name, expected, slotOf(member), thisAdjustmentOf(member)};
}

class PrimaryInterface : public testing::TestWithParam<Slot> {};

TEST_P(PrimaryInterface, OperationHasItsSlot) {
  EXPECT_EQ(GetParam().expected, GetParam().slot);
  EXPECT_EQ(0, GetParam().adjustment);
}

using Text = const std::string&;

INSTANTIATE_TEST_SUITE_P(
    VirtualTable, PrimaryInterface,
    testing::Values(
        row("updateRequestOfGroup", 2,
            static_cast<int (KQCANProtocol::*)(unsigned short, unsigned short, int)>(&KQCANProtocol::updateRequest)),
        row("updateTextRequestOfGroup", 3,
            static_cast<int (KQCANProtocol::*)(unsigned short, unsigned short, Text)>(&KQCANProtocol::updateRequest)),
        row("getValueRequestOfGroup", 4,
            static_cast<int (KQCANProtocol::*)(unsigned short, unsigned short)>(&KQCANProtocol::getValueRequest)),
        row("startProtocol", 5, &KQCANProtocol::startProtocol), row("stopProtocol", 6, &KQCANProtocol::stopProtocol),
        row("resetProtocol", 7, &KQCANProtocol::resetProtocol), row("runProtocol", 8, &KQCANopen::runProtocol),
        row("enableMessage", 9, &KQCANopen::enableMessage), row("create", 10, &KQCANProtocol::create),
        row("init", 11, &KQCANopen::init), row("release", 12, &KQCANProtocol::release),
        row("reset", 13, &KQCANProtocol::reset), row("process", 14, &KQCANopen::process),
        row("createCANPort", 15, &KQCANProtocol::createCANPort), row("addVariable", 16, &KQCANopen::addVariable),
        row("updateRequest", 17, static_cast<int (KQCANopen::*)(unsigned int, int)>(&KQCANopen::updateRequest)),
        row("updateTextRequest", 18, static_cast<int (KQCANopen::*)(unsigned int, Text)>(&KQCANopen::updateRequest)),
        row("getValueRequest", 19, static_cast<int (KQCANopen::*)(unsigned int)>(&KQCANopen::getValueRequest)),
        row("onEndPointReadable", 20, &KQCANopen::onEndPointReadable),
        row("onEndPointReconnected", 21, &KQCANopen::onEndPointReconnected),
        row("onEndPointDisconnected", 22, &KQCANProtocol::onEndPointDisconnected),
        row("subscribeToEndpointManager", 23, &KQCANProtocol::subscribeToEndpointManager),
        row("handleNewVariable", 24, &KQCANProtocol::handleNewVariable),
        row("signalOccurred", 25, &KQCANopen::signalOccurred)),
    [](const testing::TestParamInfo<Slot>& testInfo) { return testInfo.param.name; });

// Tells which of the two destructors ran.
class Mortal : public KQCANopen {
public:
  explicit Mortal(int& destructionCount) : KQCANopen("mortal"), destructions(destructionCount) {}
  ~Mortal() override { ++destructions; }
  static void* operator new(std::size_t /*size*/, void* place) { return place; }
  static void operator delete(void* /*place*/) { ++deletions; }

  static int deletions;

private:
  int& destructions;
};

int Mortal::deletions = 0;

void callDestructorInSlot(Mortal* object, std::size_t slot) {
  using Destructor = void (*)(void*);
  Destructor* table = nullptr;
  std::memcpy(&table, static_cast<void*>(object), sizeof table);
  table[slot](object);
}

TEST(PrimaryInterfaceDestructors, FirstDestroysAndSecondDeletesToo) {
  int destructions = 0;
  Mortal::deletions = 0;
  alignas(Mortal) unsigned char place[sizeof(Mortal)];
  callDestructorInSlot(new (place) Mortal(destructions), 0);
  EXPECT_EQ(1, destructions);
  EXPECT_EQ(0, Mortal::deletions);
  callDestructorInSlot(new (place) Mortal(destructions), 1);
  EXPECT_EQ(2, destructions);
  EXPECT_EQ(1, Mortal::deletions);
}

TEST(PrimaryInterfaceDestructors, PrimaryInterfaceStartsTheObject) {
  KQCANopen node("node");
  EXPECT_EQ(static_cast<void*>(&node), static_cast<void*>(static_cast<KQCANProtocol*>(&node)));
  EXPECT_EQ(static_cast<void*>(&node), static_cast<void*>(static_cast<KQ::KQVariableOwner*>(&node)));
}

// ---- the other classes

TEST(HandlerInterface, HandleMessageFollowsTheDestructors) {
  EXPECT_EQ(2, slotOf(&KQ::KQCANopenMessageHandler::handleMessage));
  EXPECT_EQ(2, slotOf(&KQ::KQNMTHandler::handleMessage));
  EXPECT_EQ(2, slotOf(&KQ::KQSyncHandler::handleMessage));
  EXPECT_EQ(2, slotOf(&KQ::KQPDOHandler::handleMessage));
  EXPECT_EQ(2, slotOf(&KQ::KQSDOHandler::handleMessage));
  EXPECT_EQ(2, slotOf(&KQ::KQEmergencyHandler::handleMessage));
}

TEST(HandlerInterface, HandlerBaseIsAbstract) {
  EXPECT_TRUE(std::is_abstract<KQ::KQCANopenMessageHandler>::value);
  EXPECT_TRUE(std::has_virtual_destructor<KQ::KQCANopenMessageHandler>::value);
}

TEST(StateMachineInterface, OnlyTheDestructorIsVirtual) {
  EXPECT_TRUE(std::has_virtual_destructor<KQ::KQCANopenStateMachine>::value);
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenStateMachine::initHandlers));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenStateMachine::handleInitState));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenStateMachine::setState));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenStateMachine::run));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenStateMachine::receiveCANMessages));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenStateMachine::sendCANMessages));
}

TEST(InstanceManagerInterface, OnlyTheDestructorIsVirtual) {
  EXPECT_TRUE(std::has_virtual_destructor<KQ::KQCANopenInstanceManager>::value);
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenInstanceManager::addCANopenInstance));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenInstanceManager::getCANopenInstance));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenInstanceManager::updateAllData));
  EXPECT_EQ(NOT_VIRTUAL, slotOf(&KQ::KQCANopenInstanceManager::deleteAllInstances));
}

TEST(DictionaryInterface, DestructorIsVirtual) {
  EXPECT_TRUE(std::has_virtual_destructor<KQ::KQCANopenObjectDictionary>::value);
}

// ---- sub-interfaces

TEST(SubInterface, SignalListenerReachesTheInstance) {
  TestNode node;
  KQ::KQSignalListener& listener = node.canopen();
  KQ::KQSignal change(KQ::KQ_SIGNAL_TYPE_VARIABLE, KQ::KQ_SIGNAL_VARIABLE_CHANGED, 0x20000001, 1);
  EXPECT_EQ(KQ::KQ_NOT_AVAILABLE, listener.signalOccurred(change));
}

TEST(SubInterface, EndPointListenerDrainsThePort) {
  TestNode node;
  node.boot();
  KQ::KQEndPointListener& listener = node.canopen();
  node.port().inject("000#01 00");
  listener.onEndPointReconnected(&node.port());
  listener.onEndPointDisconnected(&node.port());
  EXPECT_EQ(KQ::CANOPEN_STATE_PRE_OPERATIONAL, node.canopen().getCANopenState());
  listener.onEndPointReadable(&node.port(), nullptr);
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
}

TEST(SubInterface, ProtocolControlDrivesTheNode) {
  TestNode node;
  KQ::KQProtocolControl& control = node.canopen();
  EXPECT_EQ(0, control.runProtocol(0));
  node.init();
  EXPECT_EQ(0, control.runProtocol(0));
  EXPECT_EQ(test::Frames{"705#00"}, node.port().takeSent());
}

TEST(SubInterface, StartStopAndResetDoNothing) {
  TestNode node;
  node.start();
  KQ::KQProtocolControl& control = node.canopen();
  EXPECT_EQ(1, control.startProtocol());
  EXPECT_EQ(1, control.stopProtocol());
  EXPECT_EQ(1, control.resetProtocol());
  EXPECT_EQ(1, node.canopen().startProtocol());
  EXPECT_EQ(1, node.canopen().stopProtocol());
  EXPECT_EQ(1, node.canopen().resetProtocol());
  EXPECT_EQ(KQ::CANOPEN_STATE_OPERATIONAL, node.canopen().getCANopenState());
  EXPECT_EQ(test::Frames{}, node.port().takeSent());
}

TEST(SubInterface, ProtocolControlSubscribesThePort) {
  TestNode node;
  KQ::KQProtocolControl& control = node.canopen();
  EXPECT_EQ(node.canopen().subscribeToEndpointManager(nullptr), control.subscribeToEndpointManager(nullptr));
}

}  // namespace
