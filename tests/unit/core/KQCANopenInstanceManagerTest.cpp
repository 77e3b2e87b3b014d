// Covers: the registry of stack instances.
//
// | subject            | functional                           | robustness                                      |
// |--------------------|--------------------------------------|-------------------------------------------------|
// | addCANopenInstance | ports, insertion order               | null, the same one twice, no context            |
// | getCANopenInstance | a row for each kind of look-up       | low 16 bits of the port, unknown ones           |
// | updateAllData      | slices, key order, tick of each turn | none registered, deadline passed, failing cycle |
// | deleteAllInstances | every instance once                  | empty registry, used again afterwards           |
// | removal            | by the owner's delete, by call       | twice registered, unknown, in a node's turn     |

#include <memory>
#include <vector>

#include "KQCANopenInstanceManager.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "TestNode.h"

namespace {

using KQ::KQCANopenInstanceManager;

struct Turn {
  int node;
  unsigned int deadline;
  bool operator==(const Turn& other) const { return node == other.node && deadline == other.deadline; }
};

void PrintTo(const Turn& turn, std::ostream* stream) {
  *stream << "node " << turn.node << " until " << turn.deadline;
}

using Turns = std::vector<Turn>;

// A node that notes its cycles and its end.
class ObservedNode : public KQ::KQCANopen {
public:
  ObservedNode(int nodeNumber, Turns& sharedTurns, std::vector<int>& sharedDeletions)
      : KQCANopen("node"), number(nodeNumber), turns(sharedTurns), deletions(sharedDeletions) {}
  ~ObservedNode() override { deletions.push_back(number); }

  int process(unsigned int deadline) override {
    turns.push_back({number, deadline});
    return KQ::KQ_NOT_AVAILABLE;
  }

private:
  int number;
  Turns& turns;
  std::vector<int>& deletions;
};

class InstanceManager : public testing::Test {
protected:
  InstanceManager() { manager.deleteAllInstances(); }
  ~InstanceManager() override { manager.deleteAllInstances(); }

  // Registers a new node; its number is the position of its registration.
  KQ::KQCANopen* add(unsigned int port, unsigned char nodeID) {
    auto* const node = new ObservedNode(++number, turns, deletions);
    node->create(KQ::KQDEI::instance(), nullptr, port, nullptr);  // the context is kept without a port, too
    node->setNodeID(nodeID);
    manager.addCANopenInstance(node);
    return node;
  }

  KQCANopenInstanceManager& manager = *KQCANopenInstanceManager::instance();
  test::TestClock clock{10000};
  int number = 0;
  Turns turns;
  std::vector<int> deletions;
};

TEST_F(InstanceManager, IsOneForTheProcess) {
  EXPECT_EQ(&manager, KQCANopenInstanceManager::instance());
}

// ---- look-up

TEST_F(InstanceManager, EmptyRegistryFindsNothing) {
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 0));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 5));
}

TEST_F(InstanceManager, NodeID0FindsTheFirstOfThePort) {
  KQ::KQCANopen* const first = add(1, 9);
  add(1, 5);
  EXPECT_EQ(first, manager.getCANopenInstance(1, 0));
}

TEST_F(InstanceManager, NodeIDPicksTheNodeOfThePort) {
  KQ::KQCANopen* const first = add(1, 5);
  KQ::KQCANopen* const second = add(1, 6);
  EXPECT_EQ(first, manager.getCANopenInstance(1, 5));
  EXPECT_EQ(second, manager.getCANopenInstance(1, 6));
}

TEST_F(InstanceManager, EqualNodeIDsFindTheFirstInOrderOfRegistration) {
  KQ::KQCANopen* const first = add(1, 5);
  add(1, 5);
  EXPECT_EQ(first, manager.getCANopenInstance(1, 5));
}

TEST_F(InstanceManager, UnknownNodeIDFindsNothing) {
  add(1, 5);
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 6));
}

TEST_F(InstanceManager, OtherPortFindsNothing) {
  add(1, 5);
  EXPECT_EQ(nullptr, manager.getCANopenInstance(2, 5));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(2, 0));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(0, 5));
}

TEST_F(InstanceManager, SameNodeIDOnTwoPortsAreTwoNodes) {
  KQ::KQCANopen* const onSecondPort = add(2, 5);
  KQ::KQCANopen* const onFirstPort = add(1, 5);
  EXPECT_EQ(onFirstPort, manager.getCANopenInstance(1, 5));
  EXPECT_EQ(onSecondPort, manager.getCANopenInstance(2, 5));
}

TEST_F(InstanceManager, OnlyTheLow16BitsOfTheAskedPortCount) {
  KQ::KQCANopen* const node = add(1, 5);
  EXPECT_EQ(node, manager.getCANopenInstance(0x10001, 5));
  EXPECT_EQ(node, manager.getCANopenInstance(0xFFFF0001, 0));
}

TEST_F(InstanceManager, OnlyTheLow16BitsOfTheRegisteredPortCount) {
  KQ::KQCANopen* const node = add(0x2FFFF, 5);
  EXPECT_EQ(node, manager.getCANopenInstance(0xFFFF, 5));
  EXPECT_EQ(node, manager.getCANopenInstance(0x2FFFF, 5));
}

TEST_F(InstanceManager, NodeIDIsThatOfTheMomentOfTheLookUp) {
  KQ::KQCANopen* const node = add(1, 5);
  node->setNodeID(6);
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 5));
  EXPECT_EQ(node, manager.getCANopenInstance(1, 6));
}

TEST_F(InstanceManager, NullIsIgnored) {
  manager.addCANopenInstance(nullptr);
  EXPECT_EQ(nullptr, manager.getCANopenInstance(0, 0));
  manager.updateAllData(clock.now() + 10);
}

TEST_F(InstanceManager, InstanceWithoutContextIsFoundOnPort0) {
  auto* const node = new ObservedNode(1, turns, deletions);
  manager.addCANopenInstance(node);
  EXPECT_EQ(node, manager.getCANopenInstance(0, 0));
}

// ---- cycle

TEST_F(InstanceManager, CycleWithoutInstancesReadsNoTick) {
  manager.updateAllData(10100);
  EXPECT_EQ(0U, clock.readings());
}

TEST_F(InstanceManager, OneNodeGetsTheWholeTime) {
  add(1, 5);
  manager.updateAllData(10100);
  EXPECT_EQ((Turns{{1, 10100}}), turns);
}

TEST_F(InstanceManager, EveryNodeGetsAnEqualSlice) {
  add(1, 5);
  add(1, 6);
  add(1, 7);
  manager.updateAllData(10100);  // 100 / 3, rounded down
  EXPECT_EQ((Turns{{1, 10033}, {2, 10033}, {3, 10033}}), turns);
}

TEST_F(InstanceManager, SliceCountsFromTheTurnOfTheNode) {
  add(1, 5);
  add(1, 6);
  clock.advanceOnEveryReading(7);
  manager.updateAllData(10100);
  EXPECT_EQ((Turns{{1, 10007 + 50}, {2, 10014 + 50}}), turns);
}

TEST_F(InstanceManager, PortsAreServedInAscendingOrder) {
  add(3, 5);
  add(1, 6);
  add(2, 7);
  manager.updateAllData(10000);
  EXPECT_EQ((Turns{{2, 10000}, {3, 10000}, {1, 10000}}), turns);
}

TEST_F(InstanceManager, NodesOfOnePortAreServedInOrderOfRegistration) {
  add(2, 9);
  add(1, 8);
  add(2, 7);
  add(1, 6);
  manager.updateAllData(10000);
  EXPECT_EQ((Turns{{2, 10000}, {4, 10000}, {1, 10000}, {3, 10000}}), turns);
}

TEST_F(InstanceManager, DeadlinePassedWrapsIntoALargeSlice) {
  add(1, 5);
  add(1, 6);
  manager.updateAllData(9998);  // (2^32 - 2) / 2
  EXPECT_EQ((Turns{{1, 10000U + 0x7FFFFFFF}, {2, 10000U + 0x7FFFFFFF}}), turns);
}

TEST_F(InstanceManager, DeadlineBeyondTheWrapOfTheTickCountsOn) {
  clock.set(0xFFFFFFF0);
  add(1, 5);
  add(1, 6);
  manager.updateAllData(0x10);
  EXPECT_EQ((Turns{{1, 0}, {2, 0}}), turns);
}

TEST_F(InstanceManager, FailedCycleDoesNotKeepTheOthersFromTheirs) {
  add(1, 5);
  add(1, 6);
  manager.updateAllData(10000);
  manager.updateAllData(10000);
  EXPECT_EQ(4U, turns.size());
}

TEST_F(InstanceManager, InstanceAddedTwiceHasTwoTurns) {
  KQ::KQCANopen* const node = add(1, 5);
  manager.addCANopenInstance(node);
  manager.updateAllData(10100);
  EXPECT_EQ((Turns{{1, 10050}, {1, 10050}}), turns);
}

// ---- end

TEST_F(InstanceManager, DeletesEveryInstanceInKeyOrder) {
  add(2, 5);
  add(1, 6);
  add(1, 7);
  manager.deleteAllInstances();
  EXPECT_EQ((std::vector<int>{2, 3, 1}), deletions);
}

TEST_F(InstanceManager, InstanceAddedTwiceIsDeletedOnce) {
  KQ::KQCANopen* const node = add(1, 5);
  manager.addCANopenInstance(node);
  manager.deleteAllInstances();
  EXPECT_EQ((std::vector<int>{1}), deletions);
}

TEST_F(InstanceManager, FindsNothingAfterDeletion) {
  add(1, 5);
  add(2, 6);
  manager.deleteAllInstances();
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 0));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 5));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(2, 0));
  EXPECT_EQ(nullptr, manager.getCANopenInstance(2, 6));
}

TEST_F(InstanceManager, CycleAfterDeletionReadsNoTick) {
  add(1, 5);
  manager.deleteAllInstances();
  manager.updateAllData(10100);
  EXPECT_EQ(0U, clock.readings());
  EXPECT_EQ(Turns{}, turns);
}

TEST_F(InstanceManager, IsUsableAfterDeletion) {
  add(1, 5);
  manager.deleteAllInstances();
  KQ::KQCANopen* const node = add(1, 6);
  manager.updateAllData(10100);
  EXPECT_EQ(node, manager.getCANopenInstance(1, 0));
  EXPECT_EQ((Turns{{2, 10100}}), turns);  // the count began anew as well
}

// ---- removal

TEST_F(InstanceManager, InstanceThatItsOwnerDeletesIsTakenOut) {
  delete add(1, 5);
  KQ::KQCANopen* const second = add(1, 6);
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 5));
  manager.updateAllData(10100);
  EXPECT_EQ((Turns{{2, 10100}}), turns);  // the whole time is its own
  EXPECT_EQ(second, manager.getCANopenInstance(1, 0));
}

TEST_F(InstanceManager, InstanceThatWasAddedTwiceIsTakenOutTwice) {
  KQ::KQCANopen* const node = add(1, 5);
  manager.addCANopenInstance(node);
  delete node;
  EXPECT_EQ(nullptr, manager.getCANopenInstance(1, 0));
  manager.updateAllData(10100);
  EXPECT_EQ(Turns{}, turns);
}

TEST_F(InstanceManager, RemovedInstanceIsNotDeleted) {
  const std::unique_ptr<KQ::KQCANopen> node(add(1, 5));
  manager.removeCANopenInstance(node.get());
  manager.deleteAllInstances();
  EXPECT_EQ(std::vector<int>{}, deletions);
}

TEST_F(InstanceManager, RemovalOfAnUnknownInstanceChangesNothing) {
  KQ::KQCANopen* const node = add(1, 5);
  KQ::KQCANopen unknown("unknown");
  manager.removeCANopenInstance(&unknown);
  manager.removeCANopenInstance(nullptr);
  EXPECT_EQ(node, manager.getCANopenInstance(1, 0));
}

// A node that deletes another one in its turn.
class DeletingNode : public KQ::KQCANopen {
public:
  explicit DeletingNode(KQ::KQCANopen* otherNode) : KQCANopen("deleting"), other(otherNode) {}
  int process(unsigned int /*deadline*/) override {
    delete other;
    other = nullptr;
    return KQ::KQ_OK;
  }

private:
  KQ::KQCANopen* other;
};

TEST_F(InstanceManager, InstanceDeletedInTheTurnOfAnotherOneHasNoTurn) {
  KQ::KQCANopen* const doomed = add(2, 5);
  add(3, 6);
  auto* const deleting = new DeletingNode(doomed);
  deleting->create(KQ::KQDEI::instance(), nullptr, 1, nullptr);
  manager.addCANopenInstance(deleting);
  manager.updateAllData(10300);
  EXPECT_EQ((Turns{{2, 10100}}), turns);
}

}  // namespace
