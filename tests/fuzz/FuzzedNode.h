#pragma once

#include <bitset>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Input.h"
#include "KQAction.h"
#include "KQCANMessage.h"
#include "KQCANopen.h"
#include "KQSignalListener.h"
#include "KQVariableOwner.h"
#include "MemoryPort.h"

namespace fuzz {

/// The objects of every fuzzed node. The sub-indexes begin at 1.
inline constexpr unsigned short APPLICATION_NUMBERS = 0x2000;  ///< variables of the application
inline constexpr unsigned short APPLICATION_TEXT = 0x2001;
inline constexpr unsigned short OWN_NUMBERS = 0x2100;  ///< variables of the node, with limits
inline constexpr unsigned short OWN_TEXT = 0x2101;
inline constexpr unsigned short REMOTE_NUMBERS = 0x2200;  ///< variables that another node holds
inline constexpr unsigned short REMOTE_TEXT = 0x2201;
inline constexpr unsigned char NUMBERS = 8;

inline constexpr unsigned char NODE_ID = 5;
inline constexpr unsigned char REMOTE_NODE = 10;
inline constexpr unsigned short PDOS = 10;  ///< of each direction

/// The application around the node: it owns variables, hears all signals and is asked for nothing.
class Application : public KQ::KQVariableOwner, public KQ::KQSignalListener, public KQ::KQAction {
public:
  Application() : KQVariableOwner("application") {}

  int updateRequest(unsigned short group, unsigned short id, int value) override;
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override;
  int getValueRequest(unsigned short /*group*/, unsigned short /*id*/) override { return 0; }

  /// Only signals and codes that are documented arrive.
  int signalOccurred(KQ::KQSignal& signal) override;
  int execute() override { return 0; }
};

/// A configured node on a port in memory, with variables of both kinds, PDOs of every transmission type, channels of
/// both roles and heartbeat consumers. Much of it is read from the input.
///
/// What it does is checked after each operation: which frames it sends, in which state, and what it keeps.
class FuzzedNode {
public:
  explicit FuzzedNode(Input& input);
  ~FuzzedNode();
  FuzzedNode(const FuzzedNode&) = delete;
  FuzzedNode& operator=(const FuzzedNode&) = delete;

  /// Lets a frame arrive at the port and the node drain it.
  void receive(const KQ::KQCANMessage& message);
  /// Lets the remote server answer what the node's client has sent last, or a master go on with an upload.
  void continueTransfer(Input& input);
  void advance(unsigned int milliseconds);
  void cycle();
  void configure(Input& input);
  /// Reads or writes a remote variable, as the application does.
  void requestRemote(Input& input);
  /// Writes a variable in the store, as the application does.
  void writeVariable(Input& input);
  /// Calls that change the node as a whole.
  void control(Input& input);
  void refuseWrites(unsigned int count, int code) { port->refuse(count, code); }

  /// What holds after every operation, whatever it was.
  void check();

private:
  void build(unsigned char seed);
  void addApplicationVariables();
  void addOwnVariables();
  void addChannels();
  void addPDOs(unsigned char seed);
  void addMapping(Input& input, unsigned short number, KQ::KQCANopenPDOType type);
  void learnIdentifiers();
  void checkSent(std::size_t mostSDOFrames);
  void checkFrame(const SentFrame& sent, std::size_t& sdoFrames) const;
  void noteTransfer(const KQ::KQCANMessage& message);
  bool isOwnHeartbeat(const SentFrame& sent) const;
  bool isForSDO(const KQ::KQCANMessage& message) const;

  struct Parameter {
    const int* value;
    int known;
    std::bitset<0x800>* identifiers;
  };

  MemoryPort* port = nullptr;  // owned by the node
  Application application;
  std::unique_ptr<KQ::KQCANopen> node;
  std::vector<Parameter> parameters;  ///< COB-IDs in the dictionary
  std::bitset<0x800> pdos;            ///< identifiers that TPDOs have had
  int stateOfApplication = 0;         ///< which the application has set last: any number is one
  std::bitset<0x800> sdoSent;         ///< identifiers that SDO channels may send on
  std::bitset<0x800> sdoReceived;     ///< and receive on
  KQ::KQCANMessage lastOfClient;
  KQ::KQCANMessage lastOfServer;
  std::size_t bytesBefore;
  std::size_t operations = 0;
};

}  // namespace fuzz
