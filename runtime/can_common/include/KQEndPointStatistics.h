#pragma once

namespace KQ {

/// Counters of one end point since it was opened, wrapping at 2^32. A snapshot: see KQEndPoint::getStatistics.
struct KQEndPointStatistics {
  unsigned received{0};        ///< frames handed out by readMessage
  unsigned sent{0};            ///< frames accepted by writeMessage
  unsigned refused{0};         ///< frames that writeMessage answered with another code than 0
  unsigned dropped{0};         ///< frames that came in and are not CAN 2.0A data frames (extended, remote, FD)
  unsigned overruns{0};        ///< losses of received frames (controller, socket buffer or queue of the end point full)
  unsigned discarded{0};       ///< accepted frames thrown away unsent because the port went down before their turn
  unsigned unacknowledged{0};  ///< accepted frames that nobody was on the (virtual) bus to receive
  unsigned errorFrames{0};     ///< CAN error frames seen
  unsigned errorPassive{0};    ///< times the controller became error-passive
  unsigned busOff{0};          ///< times the controller went bus-off
  unsigned disconnects{0};     ///< times the port went down, for whatever reason
  unsigned reconnects{0};      ///< times it came back
};

}  // namespace KQ
