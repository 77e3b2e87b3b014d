#pragma once

#include <memory>
#include <string>

#include "CapturedOutput.h"
#include "Frames.h"
#include "KQCANopen.h"
#include "MemoryEndPoint.h"
#include "TemporaryDirectory.h"
#include "TestClock.h"

namespace test {

/// A whole node on an in-memory port, in a working directory of its own, with a clock that the test moves and an empty
/// variable store. Everything that the node prints is captured.
class TestNode {
public:
  static constexpr unsigned int PORT = 77;

  /// Constructs and creates the node; nothing is initialised yet.
  explicit TestNode(unsigned char nodeID = 5);
  ~TestNode();
  TestNode(const TestNode&) = delete;
  TestNode& operator=(const TestNode&) = delete;

  /// init() of the node. Its result is checked.
  void init();

  /// init() and the first cycle, up to PRE-OPERATIONAL. The boot-up frame and the output are dropped.
  void boot();

  /// boot() and NMT start.
  void start();

  /// One process() call. @return the frames sent
  Frames cycle();

  /// Lets the clock run by @p milliseconds in steps of one, with one cycle a step. @return the frames sent
  Frames run(unsigned int milliseconds);

  /// Lets a frame arrive at the port and the node drain it. @return the frames sent in answer
  Frames receive(const std::string& text);

  KQ::KQCANopen& canopen() { return *node; }
  KQ::KQCANopenObjectDictionary& dictionary() { return *node->getObjectDictionary(); }
  MemoryEndPoint& port() { return *endPoint; }

  /// Deletes the node.
  void destroy() { node.reset(); }

  TemporaryDirectory directory;
  TestClock clock;
  CapturedOutput output;

private:
  MemoryEndPoint* endPoint = nullptr;  // owned by the node
  std::unique_ptr<KQ::KQCANopen> node;
};

}  // namespace test
