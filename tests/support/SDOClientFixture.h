#pragma once

#include <gtest/gtest.h>

#include <string>

#include "KQSDOHandler.h"
#include "SignalRecorder.h"
#include "TestNode.h"

namespace test {

/// A booted node with node ID 5 that is an SDO client of node 6 ("remote", requests on 606, answers on 586) and of node
/// 7 ("other", 607 and 587). The test plays the servers.
///
/// The remote variables are sub-indexes of 2001; the server knows sub-index n as 6000 sub-index 10 + n (hexadecimal).
class SDOClientFixture : public ::testing::Test {
protected:
  static constexpr unsigned short INDEX = 0x2001;

  SDOClientFixture();

  /// Binds a variable that lives in node 6. @param initial its local value until the server is heard
  void addNumber(unsigned char subIndex, int bits, bool isSigned, int initial = 0);
  void addText(unsigned char subIndex, const std::string& initial = std::string());

  /// Lets the node 7 hold a variable instead.
  void moveToOtherServer(unsigned char subIndex);

  /// Requests of the application.
  int write(unsigned char subIndex, int value);
  int write(unsigned char subIndex, const std::string& text);
  int read(unsigned char subIndex);

  /// Queues a write or a read and lets one cycle send it. @return the frames sent
  Frames sendWrite(unsigned char subIndex, int value);
  Frames sendWrite(unsigned char subIndex, const std::string& text);
  Frames sendRead(unsigned char subIndex);

  /// Asks node 6 for variable 1 and drops the log.
  void ask();
  /// Whether an upload of variable 1 runs into its time-out, or nothing does.
  void expectPending() { EXPECT_EQ(Frames{"586#80 00 60 11 00 00 04 05"}, node.run(101)); }
  void expectOver() { EXPECT_EQ(Frames{}, node.run(200)); }

  /// Sends what node 6 answers. @return what the client sends then
  Frames server(const std::string& bytes) { return node.receive("586#" + bytes); }
  /// Offers a frame to the SDO handler alone. @return its result
  int offer(const std::string& text);
  /// The same for an answer of node 6.
  int answer(const std::string& bytes) { return offer("586#" + bytes); }
  Frames sent() { return node.port().takeSent(); }

  KQ::KQSDOHandler& client() { return *node.canopen().getSDOHandler(); }

  static unsigned int keyOf(unsigned char subIndex);
  /// What the variable store holds.
  static int stored(unsigned char subIndex);
  static std::string storedText(unsigned char subIndex);
  static bool isValid(unsigned char subIndex);

  /// The SDO events since the last call: "1103 20010001 1" is code, first value and flag.
  std::vector<std::string> takeEvents();

  TestNode node;

private:
  void bind(unsigned char subIndex, KQ::KQVariable& variable);

  SignalRecorder events;
};

}  // namespace test
