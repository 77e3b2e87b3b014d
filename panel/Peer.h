#pragma once

#include <array>
#include <iosfwd>
#include <string>

#include "KQSignalListener.h"
#include "KQVariableOwner.h"

namespace KQ {
class KQCANopen;
class KQDEI;
class KQVariable;
}  // namespace KQ

namespace panel {

/// Another panel on the same bus, as this one sees it: present or not, and two of its objects as variables here.
///
/// The node is the SDO client of the peer. What lives in the peer (set point and device text of its demo machine) is a
/// remote variable of the node: the peer's value is read about once a second, and a value written to it takes effect
/// here when the peer has confirmed it. A master or the application writes the peer by way of the command object: what
/// is written there is sent once, and the command is idle again.
///
/// Two transfers of the same direction disturb each other in a node, so that a read may go wrong now and then when two
/// panels read each other; the next one makes up for it.
class Peer : public KQ::KQVariableOwner, public KQ::KQSignalListener {
public:
  /// What is known of the peer: a RECORD and its sub-indexes.
  static constexpr unsigned short PEER = 0x2100;
  static constexpr unsigned char SUB_COUNT = 0;      ///< highest sub-index
  static constexpr unsigned char SUB_SET_POINT = 1;  ///< INTEGER16, remote: 0x2000 sub-index 2 of the peer
  static constexpr unsigned char SUB_TEXT = 2;       ///< VISIBLE_STRING, remote: 0x2001 of the peer
  static constexpr unsigned char SUB_PRESENT = 3;    ///< BOOLEAN, by the peer's heartbeat
  static constexpr unsigned char SUB_HIGHEST = SUB_PRESENT;

  /// What is to be sent to the peer: a RECORD whose SUB_SET_POINT and SUB_TEXT are idle until they are written.
  static constexpr unsigned short COMMAND = 0x2101;
  static constexpr unsigned char COMMAND_SUB_HIGHEST = SUB_TEXT;
  /// Set point of an idle command; an idle text is empty.
  static constexpr int IDLE = -32768;

  static constexpr unsigned short HEARTBEAT_TIME_MS = 2000;  ///< consumer heartbeat time
  static constexpr unsigned int READ_PERIOD_MS = 1000;
  /// Added to the period for every character of the text, so that a long one leaves the bus to others as well.
  static constexpr unsigned int PERIOD_PER_CHARACTER_MS = 10;

  /// Brings the peer's own variables, presence and command, into the store.
  /// @param store,stream must outlive the peer
  /// @param id node-ID of the peer, 1 to 127
  Peer(KQ::KQDEI& store, std::ostream& stream, unsigned char id);

  /// Makes @p node watch the peer's heartbeat and be its SDO client. Once, after getApplicationVariables() and before
  /// the first cycle, so that the two RECORDs are there.
  void bind(KQ::KQCANopen& node);

  /// Sends what was commanded and reads what is due. Called once before every cycle.
  void update();

  /// @return ms until the next reading is due
  unsigned int getTimeToNextUpdate() const;

  /// Writes of the runtime's other users: commands are theirs to give.
  /// @return 0; 30 for what is known of the peer; 23 for any other address
  int updateRequest(unsigned short group, unsigned short id, int value) override;
  int updateRequest(unsigned short group, unsigned short id, const std::string& value) override;

  /// Nothing is to be fetched: the store always holds the present values. @return 0
  int getValueRequest(unsigned short group, unsigned short id) override;

  /// Takes the heartbeat signals of the peer. @return 0; 11 for any other signal
  int signalOccurred(KQ::KQSignal& signal) override;

private:
  struct Reading {
    unsigned char subIndex;
    const char* name;
    bool isReadable;
    unsigned int tick;      ///< of the last request
    unsigned int interval;  ///< ms from there to the next one
  };

  void addVariables();
  void addVariable(KQ::KQVariable variable);
  void bindRemoteVariable(KQ::KQCANopen& node, KQ::KQVariable variable, unsigned int remoteKey) const;
  void sendSetPoint();
  void sendText();
  void reportReadability(Reading& reading);
  void readWhenDue(Reading& reading);
  unsigned int getInterval(const Reading& reading) const;
  int refusalOf(unsigned short group) const;

  KQ::KQDEI& dei;
  std::ostream& output;
  const unsigned char nodeID;
  unsigned int ownNodeID = 0;
  unsigned int sdoTimeout = 0;
  std::array<Reading, 2> readings{{{SUB_SET_POINT, "set point", true, 0, 0}, {SUB_TEXT, "device text", true, 0, 0}}};
};

}  // namespace panel
