#pragma once

#include <memory>
#include <string>

#include "BenchEnvironment.h"
#include "KQCANopen.h"
#include "KQVariableOwner.h"
#include "RingEndPoint.h"

namespace bench {

inline constexpr unsigned char NODE_ID = 5;
inline constexpr unsigned int VALUES_PER_PDO = 4;

/// What the SDO scenarios read and write: UNSIGNED32 in sub-index 1 to 4, an UNSIGNED16 and a text. More UNSIGNED32 are
/// in sub-index 1 to 4 of the objects that follow.
inline constexpr unsigned short SDO_OBJECT = 0x2200;
inline constexpr unsigned int SDO_UNSIGNED32_PER_OBJECT = 4;
inline constexpr unsigned char SDO_UNSIGNED16 = 5;
inline constexpr unsigned char SDO_TEXT = 6;
/// Objects from here on, one for each RPDO, are mapped into the RPDOs: four UNSIGNED16 in sub-index 1 to 4.
inline constexpr unsigned short FIRST_RECEIVED_OBJECT = 0x3000;
/// The same for the TPDOs.
inline constexpr unsigned short FIRST_SENT_OBJECT = 0x4000;

inline constexpr unsigned int FIRST_RPDO_COB_ID = 0x201;
inline constexpr unsigned int FIRST_TPDO_COB_ID = 0x181;

/// How much the node has to do with.
struct Configuration {
  unsigned int pdos;                   ///< of RPDOs and of TPDOs
  unsigned int consumers;              ///< heartbeat consumers
  unsigned char sentTransmissionType;  ///< of the TPDOs
  unsigned int variables = 4;          ///< UNSIGNED32 for SDOs
  unsigned int nodes = 1;              ///< in the process, all alike
};

inline constexpr unsigned char EVENT_DRIVEN = 255;
inline constexpr unsigned char EVERY_SYNC = 1;

inline constexpr Configuration CONFIGURATION_A{4, 1, EVENT_DRIVEN};
inline constexpr Configuration CONFIGURATION_A_SYNC{4, 1, EVERY_SYNC};
inline constexpr Configuration CONFIGURATION_B{64, 126, EVENT_DRIVEN};

/// The node-ID of a watched node. @param number from 0; this node's own ID is left out
inline unsigned int watchedNode(unsigned int number) {
  return number + 1 < NODE_ID ? number + 1 : number + 2;
}

/// The application of the panel: it owns all variables, in a store that is empty otherwise.
class BenchApplication : public KQ::KQVariableOwner {
public:
  explicit BenchApplication(const Configuration& configuration);
  ~BenchApplication() override;
  BenchApplication(const BenchApplication&) = delete;
  BenchApplication& operator=(const BenchApplication&) = delete;

  int updateRequest(unsigned short group, unsigned short id, int value) override;
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override;
  int getValueRequest(unsigned short group, unsigned short id) override;

private:
  void addVariable(unsigned short index, unsigned char subIndex, int bits);
};

/// Where UNSIGNED32 for SDOs are. @param number from 0
inline unsigned short indexOfUnsigned32(unsigned int number) {
  return static_cast<unsigned short>(SDO_OBJECT + number / SDO_UNSIGNED32_PER_OBJECT);
}
inline unsigned char subIndexOfUnsigned32(unsigned int number) {
  return static_cast<unsigned char>(number % SDO_UNSIGNED32_PER_OBJECT + 1);
}

/// A node on a port in memory, in OPERATIONAL, with all watched nodes heard and all TPDOs sent once.
class BenchNode {
public:
  /// @param portNumber that no other node has
  explicit BenchNode(const Configuration& configuration, unsigned int portNumber = 1);
  ~BenchNode();
  BenchNode(const BenchNode&) = delete;
  BenchNode& operator=(const BenchNode&) = delete;

  /// Lets a frame arrive at the port and the node drain it.
  void receive(const KQ::KQCANMessage& message) {
    rings->received = &message;
    node->onEndPointReadable(node->getEndPoint(), nullptr);
  }

  /// One cycle of the node. @return its result
  int cycle() { return node->process(BenchEnvironment::now() + 10); }

  const FrameRing& sent() const { return rings->sent; }
  KQ::KQCANopen& canopen() const { return *node; }

private:
  void build(const Configuration& configuration);
  void addPDOs(const Configuration& configuration);
  void start(const Configuration& configuration);

  unsigned int port;
  std::unique_ptr<FrameRings> rings;
  std::unique_ptr<KQ::KQCANopen> node;
};

}  // namespace bench
