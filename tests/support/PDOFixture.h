#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "KQCANopenObjectDictionary.h"
#include "KQCANopenPDOType.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQErrorCodes.h"
#include "KQPDO.h"
#include "KQPDOHandler.h"
#include "KQSyncHandler.h"
#include "TestNode.h"

namespace test {

/// Mapping entries as they stand in the dictionary: index << 16 | sub-index << 8 | bits.
using Mapping = std::vector<unsigned int>;

/// Communication parameters of a PDO with the values that a test rarely cares about.
struct PDOParameters {
  unsigned int cobID;
  unsigned char transmissionType = 255;
  unsigned short eventTimer = 0;
  unsigned short inhibitTime = 0;
};

/// A node with node ID 5 that has its dictionary and waits for its first cycle. Variables and PDOs are added, then
/// start() builds the PDOs.
///
/// Dictionary objects that any value may be written to: 0x1006 and 0x1007 (UNSIGNED32).
class PDOFixture : public ::testing::Test {
protected:
  PDOFixture();

  /// A variable of the application, without an owner, and its object.
  void addVariable(unsigned short index, unsigned char subIndex, int bits, bool isSigned = false);

  /// The variables 0x2001 sub-index 1 to @p count, unsigned.
  void addVariables(unsigned char count, int bits);

  /// A variable that the node owns. Its limits are those of its bits.
  void addOwnVariable(unsigned short index, unsigned char subIndex, int bits);

  /// An object of 32 bits below 0x2000.
  void addObject(unsigned short index, unsigned char subIndex, int value = 0);

  void addTransmitPDO(unsigned short number, const PDOParameters& parameters, const Mapping& mapping);
  void addReceivePDO(unsigned short number, const PDOParameters& parameters, const Mapping& mapping);

  /// A mapping parameter with these entries, whatever they name. One that exists is replaced; sub-index 0 counts them.
  void map(unsigned short mappingIndex, const Mapping& mapping);

  /// INIT and NMT start. Event-driven TPDOs then wait for their first pass.
  void start();

  /// start() and the first send pass, whose frames are dropped.
  void startAndSettle();

  /// What a bus write or, @p force, one of the stack's own gives.
  int write(unsigned short index, unsigned char subIndex, unsigned int value, bool force = false);
  unsigned int read(unsigned short index, unsigned char subIndex);

  /// The application writes a variable.
  static void change(unsigned short index, unsigned short subIndex, int value);
  static int stored(unsigned short index, unsigned short subIndex);

  /// The frames sent since the last look.
  Frames sent() { return node.port().takeSent(); }

  KQ::KQPDOHandler& handler() { return *node.canopen().getPDOHandler(); }
  KQ::KQSyncHandler& sync() { return *node.canopen().getSyncHandler(); }

  TestNode node;

private:
  void addPDO(KQ::KQCANopenPDOType type, unsigned short number, const PDOParameters& parameters,
              const Mapping& mapping);
};

}  // namespace test
