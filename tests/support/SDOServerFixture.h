#pragma once

#include <gtest/gtest.h>

#include <string>

#include "KQCANopenAccessType.h"
#include "KQCANopenDataType.h"
#include "KQSDOHandler.h"
#include "KQVariable.h"
#include "TestNode.h"

namespace test {

/// A booted node with node ID 5, seen by a master of its predefined SDO channel: requests on 605, answers on 585.
class SDOServerFixture : public ::testing::Test {
protected:
  SDOServerFixture() { node.boot(); }

  /// A request of the master, "40 18 10 01 00 00 00 00". @return the frames sent in answer
  Frames request(const std::string& bytes) { return node.receive("605#" + bytes); }

  KQ::KQSDOHandler& server() { return *node.canopen().getSDOHandler(); }

  /// Binds an integer variable of the node's own; its limits are those of its bits and sign.
  void addOwnNumber(unsigned short index, unsigned char subIndex, int bits, bool isSigned, int accessMode = 0);
  void addOwnNumber(unsigned short index, unsigned char subIndex, int bits, bool isSigned, int minimum, int maximum);

  /// Binds a text variable of the node's own.
  void addOwnText(unsigned short index, unsigned char subIndex, const std::string& text, int accessMode = 0);

  /// An object of any data type and access right, backed by a variable of the store that has no owner.
  void addObject(unsigned short index, unsigned char subIndex, KQ::KQCANopenDataType dataType,
                 KQ::KQCANopenAccessType accessType = KQ::ACCESS_RW);

  /// The same without a variable in the store.
  void addObjectWithoutVariable(unsigned short index, unsigned char subIndex, KQ::KQCANopenDataType dataType,
                                KQ::KQCANopenAccessType accessType = KQ::ACCESS_RW);

  /// One more SDO channel from the object @p index (0x1201 to 0x12FF) on.
  void addChannel(unsigned short index, int first, int second);

  /// What the variable store holds.
  static void store(unsigned short index, unsigned char subIndex, int value);
  static int stored(unsigned short index, unsigned char subIndex);
  static std::string storedText(unsigned short index, unsigned char subIndex);

  TestNode node;

private:
  void bind(KQ::KQVariable& variable);
};

/// @p count characters "abc...zabc...".
std::string pattern(std::size_t count);

/// Eight bytes of a frame: the command byte, then up to seven characters, then zeros.
std::string segment(unsigned int command, const std::string& text);

/// "01 20 03", as index and sub-index stand in a frame.
std::string multiplexer(unsigned short index, unsigned char subIndex);

}  // namespace test
