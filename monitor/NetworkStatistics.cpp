#include "NetworkStatistics.h"

#include <algorithm>
#include <numeric>

#include "WireBits.h"

namespace monitor {

namespace {

constexpr std::uint32_t ABORT_TIMED_OUT = 0x05040000;

// What only the node itself sends. A request to its server says nothing of it, neither does a remote frame.
bool isOfNode(const DecodedFrame& frame) {
  if (frame.frame.kind != FrameKind::DATA || frame.node == 0 || frame.node > NetworkStatistics::HIGHEST_NODE) {
    return false;
  }
  switch (frame.service) {
    case Service::TPDO:
    case Service::EMERGENCY:
    case Service::SDO_RESPONSE:
    case Service::HEARTBEAT:
    case Service::BOOT_UP:
      return true;
    default:
      return false;
  }
}

// An initiating frame says what the transfer is going to be; segments that follow an ordinary one make it segmented.
SDOTransferKind getKind(SDOCommand command, SDOTransferKind before) {
  switch (command) {
    case SDOCommand::INITIATE_DOWNLOAD:
    case SDOCommand::INITIATE_UPLOAD:
      return SDOTransferKind::EXPEDITED;
    case SDOCommand::DOWNLOAD_SEGMENT:
    case SDOCommand::UPLOAD_SEGMENT:
      return SDOTransferKind::SEGMENTED;
    case SDOCommand::INITIATE_BLOCK_DOWNLOAD:
    case SDOCommand::INITIATE_BLOCK_UPLOAD:
      return SDOTransferKind::BLOCK;
    default:
      return before;
  }
}

unsigned int getExpeditedBytes(const Frame& response) {
  const bool isSizeIndicated = (response.data[0] & 0x01) != 0;
  return isSizeIndicated ? 4 - (response.data[0] >> 2 & 0x03) : 4;
}

// Whether a response ends a transfer of which nothing but the initiating request was seen.
bool isAnswerTo(const SDOTransfer& transfer, const DecodedFrame& frame) {
  // The object as the frame names it, whatever the decoder takes it for.
  const unsigned char* const data = frame.frame.data;
  if (transfer.index != (data[1] | data[2] << 8) || transfer.subIndex != data[3]) {
    return false;
  }
  const bool isExpedited = (data[0] & 0x02) != 0;
  switch (frame.sdo.command) {
    case SDOCommand::ABORT:
      return true;
    case SDOCommand::INITIATE_DOWNLOAD:
      return !transfer.isUpload;
    case SDOCommand::INITIATE_UPLOAD:
      return transfer.isUpload && isExpedited;
    default:
      return false;
  }
}

// Counts in a table of pairs. @return false when there is no place for another one
template <typename Count, typename Matches>
bool countPair(std::vector<Count>& table, const Count& fresh, Matches matches) {
  const auto found = std::find_if(table.begin(), table.end(), matches);
  if (found != table.end()) {
    ++found->count;
    return true;
  }
  if (table.size() == NetworkStatistics::COUNTED_PAIRS) {
    return false;
  }
  table.push_back(fresh);
  return true;
}

}  // namespace

std::string_view getName(SDOTransferKind kind) {
  static constexpr std::string_view NAMES[] = {"expedited", "segmented", "block"};
  return NAMES[static_cast<std::size_t>(kind)];
}

std::string_view getName(SDOTransferEnd end) {
  static constexpr std::string_view NAMES[] = {"completed", "aborted", "unanswered", "abandoned"};
  return NAMES[static_cast<std::size_t>(end)];
}

unsigned long long SDODirectionStatistics::getCompleted() const {
  return std::accumulate(completed.begin(), completed.end(), 0ULL);
}

NetworkStatistics::NetworkStatistics(unsigned int bitRate, long long sdoTimeoutMicroseconds)
    : sdoTimeout(sdoTimeoutMicroseconds), load(bitRate) {}

void NetworkStatistics::add(const DecodedFrame& frame, bool sent) {
  const long long now = frame.frame.microseconds;
  if (frames++ == 0) {
    first = now;
  } else if (now < last) {
    ++clockSteps;
  }
  last = now;
  ++counts[static_cast<std::size_t>(frame.service)][sent ? 1 : 0];
  load.add(now, getWireBits(frame.frame));
  addService(frame);
  if (!frame.violation.empty()) {
    addViolation(frame);
  }
}

void NetworkStatistics::addService(const DecodedFrame& frame) {
  if (isOfNode(frame)) {
    hear(frame);
  }
  if (frame.frame.kind != FrameKind::DATA) {
    return;
  }
  switch (frame.service) {
    case Service::NMT_COMMAND:
      commands.add({frame.frame.microseconds, frame.command, frame.node});
      break;
    case Service::SYNC:
      sync.add(frame.frame.microseconds);
      break;
    case Service::TPDO:
    case Service::RPDO:
      addPDO(frame);
      break;
    case Service::SDO_REQUEST:
    case Service::SDO_RESPONSE:
      addSDO(frame);
      break;
    default:
      break;
  }
}

void NetworkStatistics::hear(const DecodedFrame& frame) {
  std::unique_ptr<NodeStatistics>& place = nodes[frame.node];
  if (!place) {
    place = std::make_unique<NodeStatistics>();
    place->first = frame.frame.microseconds;
  }
  ++place->frames;
  place->last = frame.frame.microseconds;
  if (frame.service == Service::EMERGENCY) {
    addEmergency(*place, frame);
  } else if (frame.service == Service::HEARTBEAT || frame.service == Service::BOOT_UP) {
    addState(*place, frame);
  }
}

void NetworkStatistics::addState(NodeStatistics& node, const DecodedFrame& frame) {
  const long long now = frame.frame.microseconds;
  const bool isBootUp = frame.service == Service::BOOT_UP;
  const long long gap = isBootUp ? node.heartbeats.addBootUp(now) : node.heartbeats.add(now);
  if (gap > 0) {
    gaps.add({now - gap, gap, frame.node});
  }
  if (isBootUp) {
    ++node.bootUps;
  }
  if (isBootUp || frame.state != node.state) {
    node.states.add({now, frame.state});
  }
  node.state = frame.state;
}

void NetworkStatistics::addEmergency(NodeStatistics& node, const DecodedFrame& frame) {
  ++(frame.emergencyCode >> 8 == 0 ? node.emergenciesResolved : node.emergencies);
  node.emergencyCode = frame.emergencyCode;
  node.errorRegister = frame.errorRegister;
  emergencies.add({frame.frame.microseconds, frame.node, frame.emergencyCode, frame.errorRegister});
}

void NetworkStatistics::addPDO(const DecodedFrame& frame) {
  std::unique_ptr<PDOStatistics>& place = pdos[frame.frame.identifier & 0x7FF];
  if (!place) {
    place = std::make_unique<PDOStatistics>();
  }
  place->service = frame.service;
  place->node = frame.node;
  place->number = frame.number;
  place->length = frame.frame.length;
  place->bytes += frame.frame.length;
  place->series.add(frame.frame.microseconds);
}

const SDOChannelStatistics* NetworkStatistics::getSDOChannel(unsigned char node, unsigned short channel) const {
  const auto found = channels.find(getKey(node, channel));
  return found == channels.end() ? nullptr : &found->second;
}

void NetworkStatistics::addSDO(const DecodedFrame& frame) {
  SDOChannelStatistics& channel = channels[getKey(frame.node, frame.number)];
  channel.node = frame.node;
  channel.channel = frame.number;
  const bool isResponse = frame.service == Service::SDO_RESPONSE;
  judge(channel, frame.frame.microseconds);
  if (isResponse && answerOvertaken(channel, frame)) {
    return;
  }
  if (isResponse && channel.isOverdue) {
    ++channel.lateResponses;
    channel.isOverdue = false;
  }
  if (frame.sdo.starts) {
    begin(channel, frame);
  }
  channel.isAwaitingServer = channel.isOpen && !isResponse;
  channel.lastFrame = frame.frame.microseconds;
  follow(channel, frame);
}

void NetworkStatistics::begin(SDOChannelStatistics& channel, const DecodedFrame& frame) {
  if (channel.isOpen) {
    leave(channel);
  }
  channel.isOpen = true;
  channel.isOverdue = false;
  channel.transfer = SDOTransfer();
  channel.transfer.begin = frame.frame.microseconds;
  channel.transfer.node = frame.node;
  channel.transfer.channel = frame.number;
  channel.transfer.isUpload = frame.sdo.upload;
  channel.transfer.index = frame.sdo.index;
  channel.transfer.subIndex = frame.sdo.subIndex;
}

// A transfer whose client began another one. The answer to its first request may still come.
void NetworkStatistics::leave(SDOChannelStatistics& channel) {
  if (!channel.isAwaitingServer) {
    ++channel.abandoned;
    list(channel.transfer, SDOTransferEnd::ABANDONED);
  } else if (!channel.isOverdue && !overtake(channel)) {
    ++channel.unanswered;
    list(channel.transfer, SDOTransferEnd::UNANSWERED);
  }
}

// Puts a request aside that was not answered yet. @return false when more than that was seen of its transfer
bool NetworkStatistics::overtake(SDOChannelStatistics& channel) {
  const bool isRequested = channel.isAwaitingServer && channel.lastFrame == channel.transfer.begin;
  if (!isRequested || channel.overtakenCount == SDOChannelStatistics::MAXIMUM_OVERTAKEN) {
    return false;
  }
  channel.overtaken[channel.overtakenCount++] = channel.transfer;
  channel.isOpen = false;
  return true;
}

// The decoder follows the latest request of a channel only, so that it does not know what such a response belongs to.
// @return whether the frame is one
bool NetworkStatistics::answerOvertaken(SDOChannelStatistics& channel, const DecodedFrame& frame) {
  if (channel.isOpen && isAnswerTo(channel.transfer, frame)) {
    // Else the decoder took an earlier answer for this one, and has no transfer any more.
    const bool isFollowed = frame.sdo.outcome != TransferOutcome::NONE || channel.isOverdue;
    if (isFollowed || !overtake(channel)) {
      return false;
    }
  }
  SDOTransfer* const end = channel.overtaken.data() + channel.overtakenCount;
  SDOTransfer* const found = std::find_if(
      channel.overtaken.data(), end, [&frame](const SDOTransfer& transfer) { return isAnswerTo(transfer, frame); });
  if (found == end) {
    return false;
  }
  found->duration = std::max(0LL, frame.frame.microseconds - found->begin);
  if (frame.sdo.command == SDOCommand::ABORT) {
    countAbort(channel, *found, frame);
    list(*found, SDOTransferEnd::ABORTED);
  } else {
    found->bytes = found->isUpload ? getExpeditedBytes(frame.frame) : found->bytes;
    complete(channel, *found);
  }
  std::move(found + 1, end, found);
  --channel.overtakenCount;
  return true;
}

void NetworkStatistics::follow(SDOChannelStatistics& channel, const DecodedFrame& frame) {
  SDOTransfer& transfer = channel.transfer;
  transfer.kind = getKind(frame.sdo.command, transfer.kind);
  transfer.bytes = frame.sdo.bytes;
  transfer.duration = std::max(0LL, frame.sdo.microseconds);
  if (frame.sdo.command == SDOCommand::ABORT) {
    abort(channel, frame);
  } else if (channel.isOpen && frame.sdo.outcome == TransferOutcome::COMPLETED) {
    complete(channel, transfer);
    channel.isOpen = false;
  }
}

void NetworkStatistics::complete(SDOChannelStatistics& channel, SDOTransfer& transfer) {
  SDODirectionStatistics& direction = transfer.isUpload ? channel.uploads : channel.downloads;
  ++direction.completed[static_cast<std::size_t>(transfer.kind)];
  direction.bytes += transfer.bytes;
  direction.durations.add(transfer.duration);
  list(transfer, SDOTransferEnd::COMPLETED);
}

void NetworkStatistics::abort(SDOChannelStatistics& channel, const DecodedFrame& frame) {
  countAbort(channel, channel.transfer, frame);
  if (!channel.isOpen) {
    return;
  }
  channel.isOpen = false;
  // One that was listed as unanswered is not listed again for the abort that its client sends then.
  if (channel.isOverdue) {
    channel.isOverdue = false;
    return;
  }
  // The client had less patience than is waited for here.
  if (frame.service == Service::SDO_REQUEST && frame.sdo.abortCode == ABORT_TIMED_OUT) {
    ++channel.unanswered;
  }
  list(channel.transfer, SDOTransferEnd::ABORTED);
}

void NetworkStatistics::countAbort(SDOChannelStatistics& channel, SDOTransfer& transfer, const DecodedFrame& frame) {
  transfer.abortCode = frame.sdo.abortCode;
  transfer.isAbortedByServer = frame.service == Service::SDO_RESPONSE;
  ++channel.aborts;
  const AbortCount fresh{frame.node, frame.sdo.abortCode, 1};
  const bool isCounted = countPair(aborts, fresh, [&fresh](const AbortCount& known) {
    return known.node == fresh.node && known.code == fresh.code;
  });
  otherAborts += isCounted ? 0 : 1;
}

void NetworkStatistics::list(SDOTransfer& transfer, SDOTransferEnd end) {
  transfer.end = end;
  transfers.add(transfer);
  if (end != SDOTransferEnd::COMPLETED) {
    failedTransfers.add(transfer);
  }
}

void NetworkStatistics::advance(long long now) {
  for (auto& [key, channel] : channels) {
    judge(channel, now);
  }
}

// An overdue transfer stays open: a late response goes on with it.
void NetworkStatistics::judge(SDOChannelStatistics& channel, long long now) {
  judgeOvertaken(channel, now);
  const bool isWaiting = channel.isOpen && channel.isAwaitingServer && !channel.isOverdue;
  if (!isWaiting || now - channel.lastFrame <= sdoTimeout) {
    return;
  }
  ++channel.unanswered;
  list(channel.transfer, SDOTransferEnd::UNANSWERED);
  channel.isOverdue = true;
}

void NetworkStatistics::judgeOvertaken(SDOChannelStatistics& channel, long long now) {
  while (channel.overtakenCount > 0 && now - channel.overtaken.front().begin > sdoTimeout) {
    ++channel.unanswered;
    list(channel.overtaken.front(), SDOTransferEnd::UNANSWERED);
    std::move(channel.overtaken.begin() + 1, channel.overtaken.end(), channel.overtaken.begin());
    --channel.overtakenCount;
  }
}

void NetworkStatistics::addViolation(const DecodedFrame& frame) {
  const ViolationCount fresh{frame.node, frame.violation, 1};
  const bool isCounted = countPair(violations, fresh, [&fresh](const ViolationCount& known) {
    return known.node == fresh.node && known.text == fresh.text;
  });
  otherViolations += isCounted ? 0 : 1;
  seenViolations.add({frame.frame.microseconds, frame.frame.identifier, frame.node, frame.violation});
}

}  // namespace monitor
