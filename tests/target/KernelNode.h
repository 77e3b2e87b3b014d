#pragma once

#include <string>

#include "KQCANopen.h"
#include "KQEndPointManager.h"

namespace test {

/// A node on a CAN interface of the kernel, driven by the real clock as a program would do it.
class KernelNode {
public:
  /// @param interface as in "vcan0"
  KernelNode(const std::string& interface, unsigned char nodeID, int heartbeatMs);
  ~KernelNode();
  KernelNode(const KernelNode&) = delete;
  KernelNode& operator=(const KernelNode&) = delete;

  /// Adds UNSIGNED32 variables of the application as the objects 0x2000 + n, sub-index 0.
  void addVariables(unsigned int number);
  /// Adds a TPDO that sends variable @p variable.
  void addTransmitPDO(unsigned short number, unsigned int cobID, unsigned char transmissionType,
                      unsigned short variable);

  /// Adds an RPDO that is written into variable @p variable as it is received.
  void addReceivePDO(unsigned short number, unsigned int cobID, unsigned short variable);

  /// The application writes a variable.
  void write(unsigned short variable, unsigned int value);
  unsigned int read(unsigned short variable) const;

  /// One cycle, and the wait for frames up to the next. @param longestMs at least 0
  void cycle(int longestMs);
  void run(int milliseconds);
  /// Boots and enters OPERATIONAL.
  void start();

  KQ::KQEndPointManager endPoints;
  KQ::KQCANopen node;

private:
  void addPDO(KQ::KQCANopenPDOType type, unsigned short number, unsigned int cobID, unsigned char transmissionType,
              unsigned short variable);
};

}  // namespace test
