#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "BusLoad.h"
#include "DecodedFrame.h"
#include "DurationStatistics.h"
#include "FrameSeries.h"
#include "HeartbeatStatistics.h"
#include "Recent.h"

namespace monitor {

/// A state that a node has reported, and since when.
struct StateChange {
  long long microseconds = 0;
  unsigned char state = 0;  ///< as in a heartbeat: 0 (boot-up), 4, 5 or 127, or a wrong one
};

/// What is known of a node by the frames that it sends.
struct NodeStatistics {
  static constexpr unsigned char UNKNOWN_STATE = 0xFF;

  unsigned long long frames = 0;
  long long first = 0;                  ///< when it was heard for the first time
  long long last = 0;                   ///< when it was heard last
  unsigned char state = UNKNOWN_STATE;  ///< reported last
  Recent<StateChange, 32> states;       ///< the latest ones; a boot-up is always one
  unsigned long long bootUps = 0;
  HeartbeatStatistics heartbeats;
  unsigned long long emergencies = 0;          ///< EMCY with an error
  unsigned long long emergenciesResolved = 0;  ///< EMCY that say that an error is gone
  unsigned short emergencyCode = 0;            ///< the latest one
  unsigned char errorRegister = 0;             ///< with it
};

enum class SDOTransferKind : unsigned char { EXPEDITED, SEGMENTED, BLOCK };
inline constexpr std::size_t SDO_TRANSFER_KINDS = 3;

/// "expedited", "segmented", "block". Any thread.
std::string_view getName(SDOTransferKind kind);

enum class SDOTransferEnd : unsigned char {
  COMPLETED,
  ABORTED,     ///< by either side
  UNANSWERED,  ///< a request got no response in time, or its client began anew meanwhile
  ABANDONED    ///< the client began anew instead of going on
};

/// "completed", "aborted", "unanswered", "abandoned". Any thread.
std::string_view getName(SDOTransferEnd end);

/// One SDO transfer that has ended.
struct SDOTransfer {
  long long begin = 0;     ///< when the first frame was seen
  long long duration = 0;  ///< from there to the last one
  unsigned char node = 0;  ///< the server's
  unsigned short channel = 1;
  bool isUpload = false;
  unsigned short index = 0;
  unsigned char subIndex = 0;
  SDOTransferKind kind = SDOTransferKind::EXPEDITED;
  SDOTransferEnd end = SDOTransferEnd::COMPLETED;
  std::uint64_t bytes = 0;
  std::uint32_t abortCode = 0;     ///< of an ABORTED one
  bool isAbortedByServer = false;  ///< of an ABORTED one
};

/// The transfers of one direction on an SDO channel.
struct SDODirectionStatistics {
  std::array<unsigned long long, SDO_TRANSFER_KINDS> completed{};  ///< by SDOTransferKind
  unsigned long long bytes = 0;                                    ///< of those that were completed
  DurationStatistics durations;                                    ///< likewise

  unsigned long long getCompleted() const;
};

/// An SDO channel: a server and its clients.
struct SDOChannelStatistics {
  unsigned char node = 0;      ///< the server's
  unsigned short channel = 1;  ///< 1 is the node's default server
  SDODirectionStatistics uploads;
  SDODirectionStatistics downloads;
  unsigned long long aborts = 0;
  unsigned long long unanswered = 0;     ///< requests that nobody answered in time
  unsigned long long lateResponses = 0;  ///< those of them that were answered after all
  unsigned long long abandoned = 0;

  /// Requests that others overtook: some clients ask for several objects before the first answer. Oldest first.
  static constexpr std::size_t MAXIMUM_OVERTAKEN = 16;
  std::array<SDOTransfer, MAXIMUM_OVERTAKEN> overtaken;
  std::size_t overtakenCount = 0;

  // The transfer that is under way.
  bool isOpen = false;
  bool isAwaitingServer = false;  ///< the last frame was a request
  bool isOverdue = false;         ///< it was counted as unanswered
  long long lastFrame = 0;
  SDOTransfer transfer;
};

/// A PDO by its identifier.
struct PDOStatistics {
  Service service = Service::TPDO;  ///< TPDO or RPDO, of that node, as the COB-ID is assigned
  unsigned char node = 0;
  unsigned short number = 0;
  unsigned char length = 0;  ///< of the last frame
  unsigned long long bytes = 0;
  FrameSeries series;
};

/// How often something with a text or a code happened on a node.
struct AbortCount {
  unsigned char node = 0;  ///< the server's
  std::uint32_t code = 0;
  unsigned long long count = 0;
};
struct ViolationCount {
  unsigned char node = 0;  ///< 0: none
  std::string_view text;   ///< of DecodedFrame::violation
  unsigned long long count = 0;
};

struct SeenEmergency {
  long long microseconds = 0;
  unsigned char node = 0;
  unsigned short code = 0;
  unsigned char errorRegister = 0;
};
struct SeenCommand {
  long long microseconds = 0;
  unsigned char command = 0;
  unsigned char node = 0;  ///< 0: all
};
struct SeenGap {
  long long begin = 0;
  long long duration = 0;
  unsigned char node = 0;
};
struct SeenViolation {
  long long microseconds = 0;
  unsigned int identifier = 0;
  unsigned char node = 0;
  std::string_view text;
};

/// Who is on a CANopen network, what they do there and how well: nodes and their states, SDO transfers, PDO periods and
/// jitter, heartbeats and their gaps, EMCY, SYNC, violations of the protocol and the load of the bus. It is fed with
/// what a FrameDecoder makes of each frame, in the order in which they were seen. All times are microseconds of the
/// frames' clock.
///
/// What it keeps is bounded, whatever it is given: lists hold the latest, tables have a last place for all others. A
/// kind of frame that is not new allocates nothing. One thread at a time.
class NetworkStatistics {
public:
  static constexpr unsigned int HIGHEST_NODE = 127;
  static constexpr unsigned int DEFAULT_BIT_RATE = 250000;
  static constexpr long long DEFAULT_SDO_TIMEOUT = 1000000;
  /// How many different pairs of node and code, or text, are counted by themselves.
  static constexpr std::size_t COUNTED_PAIRS = 256;

  /// @param bitRate of the bus in bit/s, above 0
  /// @param sdoTimeout after which a request without a response counts as unanswered, above 0
  explicit NetworkStatistics(unsigned int bitRate = DEFAULT_BIT_RATE, long long sdoTimeout = DEFAULT_SDO_TIMEOUT);

  /// Takes a frame. @param sent by this node itself; false for one that came in
  void add(const DecodedFrame& frame, bool sent);

  /// Settles what nothing but time decides, as of @p now: requests that nobody has answered. To be called before
  /// something is read, and in the end; a time in the past is no harm.
  void advance(long long now);

  // ---- what there was

  unsigned long long getFrames() const { return frames; }
  /// Stamps of the first and of the last frame, without meaning when there was none.
  long long getFirst() const { return first; }
  long long getLast() const { return last; }
  /// How often a stamp lay before the one before it.
  unsigned long long getClockSteps() const { return clockSteps; }
  unsigned long long getFrames(Service service, bool sent) const {
    return counts[static_cast<std::size_t>(service)][sent ? 1 : 0];
  }
  const BusLoad& getLoad() const { return load; }
  const FrameSeries& getSync() const { return sync; }

  /// @param node 1 to 127. @return null for a node that was not heard
  const NodeStatistics* getNode(unsigned int node) const { return nodes[node].get(); }
  /// @param identifier 11 bits. @return null when no PDO with it was seen
  const PDOStatistics* getPDO(unsigned int identifier) const { return pdos[identifier].get(); }
  /// @param channel 1: the node's default server. @return null when nothing was seen of it
  const SDOChannelStatistics* getSDOChannel(unsigned char node, unsigned short channel = 1) const;

  /// Calls @p visit(node-ID, const NodeStatistics&) for each node that was heard, in their order.
  template <typename Visitor>
  void forEachNode(Visitor visit) const {
    for (unsigned int node = 1; node <= HIGHEST_NODE; ++node) {
      if (nodes[node]) {
        visit(node, *nodes[node]);
      }
    }
  }

  /// Calls @p visit(identifier, const PDOStatistics&) for each PDO that was seen, in their order.
  template <typename Visitor>
  void forEachPDO(Visitor visit) const {
    for (unsigned int identifier = 0; identifier < pdos.size(); ++identifier) {
      if (pdos[identifier]) {
        visit(identifier, *pdos[identifier]);
      }
    }
  }

  /// Calls @p visit(const SDOChannelStatistics&) for each that was seen, in the order of nodes and channels.
  template <typename Visitor>
  void forEachSDOChannel(Visitor visit) const {
    for (const auto& [key, channel] : channels) {
      visit(channel);
    }
  }

  /// The different ones in the order in which they came up, and how many there were that found no place any more.
  const std::vector<AbortCount>& getAborts() const { return aborts; }
  unsigned long long getOtherAborts() const { return otherAborts; }
  const std::vector<ViolationCount>& getViolations() const { return violations; }
  unsigned long long getOtherViolations() const { return otherViolations; }

  // ---- the latest

  const Recent<SDOTransfer, 256>& getTransfers() const { return transfers; }
  /// Those that were not completed.
  const Recent<SDOTransfer, 256>& getFailedTransfers() const { return failedTransfers; }
  const Recent<SeenEmergency, 64>& getEmergencies() const { return emergencies; }
  const Recent<SeenCommand, 64>& getCommands() const { return commands; }
  const Recent<SeenGap, 64>& getHeartbeatGaps() const { return gaps; }
  const Recent<SeenViolation, 64>& getSeenViolations() const { return seenViolations; }

private:
  static unsigned int getKey(unsigned int node, unsigned int channel) { return node << 16 | channel; }

  void addService(const DecodedFrame& frame);
  void hear(const DecodedFrame& frame);
  void addState(NodeStatistics& node, const DecodedFrame& frame);
  void addEmergency(NodeStatistics& node, const DecodedFrame& frame);
  void addPDO(const DecodedFrame& frame);
  void addSDO(const DecodedFrame& frame);
  void addViolation(const DecodedFrame& frame);
  void begin(SDOChannelStatistics& channel, const DecodedFrame& frame);
  void leave(SDOChannelStatistics& channel);
  static bool overtake(SDOChannelStatistics& channel);
  bool answerOvertaken(SDOChannelStatistics& channel, const DecodedFrame& frame);
  void follow(SDOChannelStatistics& channel, const DecodedFrame& frame);
  void complete(SDOChannelStatistics& channel, SDOTransfer& transfer);
  void abort(SDOChannelStatistics& channel, const DecodedFrame& frame);
  void countAbort(SDOChannelStatistics& channel, SDOTransfer& transfer, const DecodedFrame& frame);
  void list(SDOTransfer& transfer, SDOTransferEnd end);
  void judge(SDOChannelStatistics& channel, long long now);
  void judgeOvertaken(SDOChannelStatistics& channel, long long now);

  const long long sdoTimeout;
  unsigned long long frames = 0;
  long long first = 0;
  long long last = 0;
  unsigned long long clockSteps = 0;
  std::array<std::array<unsigned long long, 2>, SERVICES> counts{};
  BusLoad load;
  FrameSeries sync;
  std::array<std::unique_ptr<NodeStatistics>, HIGHEST_NODE + 1> nodes;
  std::array<std::unique_ptr<PDOStatistics>, 0x800> pdos;
  std::map<unsigned int, SDOChannelStatistics> channels;  ///< by node << 16 | channel
  std::vector<AbortCount> aborts;
  unsigned long long otherAborts = 0;
  std::vector<ViolationCount> violations;
  unsigned long long otherViolations = 0;
  Recent<SDOTransfer, 256> transfers;
  Recent<SDOTransfer, 256> failedTransfers;
  Recent<SeenEmergency, 64> emergencies;
  Recent<SeenCommand, 64> commands;
  Recent<SeenGap, 64> gaps;
  Recent<SeenViolation, 64> seenViolations;
};

}  // namespace monitor
