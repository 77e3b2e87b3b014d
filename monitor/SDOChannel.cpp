#include "SDOChannel.h"

#include <algorithm>

namespace monitor {

namespace {

constexpr std::size_t LONGEST_KEPT = 4096;
constexpr unsigned int EXPEDITED_BYTES = 4;
constexpr unsigned int SEGMENT_BYTES = 7;
constexpr unsigned char ABORT = 0x80;

// What a command byte, or the multiplexer behind it, says.

unsigned int specifier(const Frame& frame) {
  return frame.data[0] >> 5;
}

unsigned short indexOf(const Frame& frame) {
  return static_cast<unsigned short>(frame.data[1] | frame.data[2] << 8);
}

std::uint32_t numberOf(const Frame& frame) {
  return static_cast<std::uint32_t>(frame.data[4]) | static_cast<std::uint32_t>(frame.data[5]) << 8 |
         static_cast<std::uint32_t>(frame.data[6]) << 16 | static_cast<std::uint32_t>(frame.data[7]) << 24;
}

bool isSizeIndicated(const Frame& frame) {
  return (frame.data[0] & 0x01) != 0;
}

bool isExpedited(const Frame& frame) {
  return (frame.data[0] & 0x02) != 0;
}

bool toggle(const Frame& frame) {
  return (frame.data[0] & 0x10) != 0;
}

bool isLastSegment(const Frame& frame) {
  return (frame.data[0] & 0x01) != 0;
}

// With bit 4, which is none of the standard's: a value without bytes has four unused ones for some nodes.
unsigned int unusedExpeditedBytes(const Frame& frame) {
  return std::min(frame.data[0] >> 2 & 0x07U, EXPEDITED_BYTES);
}

unsigned int unusedSegmentBytes(const Frame& frame) {
  return frame.data[0] >> 1 & 0x07U;
}

bool isBlockSizeIndicated(const Frame& frame) {
  return (frame.data[0] & 0x02) != 0;
}

unsigned int unusedBlockBytes(const Frame& frame) {
  return frame.data[0] >> 2 & 0x07U;
}

}  // namespace

void SDOChannel::takeRequest(DecodedFrame& decoded) {
  valueComplete = false;
  if (phase == Phase::BLOCK_SEGMENTS && !upload && decoded.frame.data[0] != ABORT) {
    return takeBlockSegment(decoded);
  }
  switch (specifier(decoded.frame)) {
    case 0:
      return takeSegmentRequest(decoded, false);
    case 1:
      return takeInitiateDownload(decoded);
    case 2:
      return begin(decoded, SDOCommand::INITIATE_UPLOAD, true, false);
    case 3:
      return takeSegmentRequest(decoded, true);
    case 4:
      return abort(decoded);
    case 5:
      return takeBlockUploadRequest(decoded);
    case 6:
      return takeBlockDownloadRequest(decoded);
    default:
      return refuse(decoded);
  }
}

void SDOChannel::takeResponse(DecodedFrame& decoded) {
  valueComplete = false;
  if (phase == Phase::BLOCK_SEGMENTS && upload && decoded.frame.data[0] != ABORT) {
    return takeBlockSegment(decoded);
  }
  switch (specifier(decoded.frame)) {
    case 0:
      return takeSegmentResponse(decoded, true);
    case 1:
      return takeSegmentResponse(decoded, false);
    case 2:
      return takeInitiateResponse(decoded, true);
    case 3:
      return takeInitiateResponse(decoded, false);
    case 4:
      return abort(decoded);
    case 5:
      return takeBlockDownloadResponse(decoded);
    case 6:
      return takeBlockUploadResponse(decoded);
    default:
      return refuse(decoded);
  }
}

// Beginnings and ends

void SDOChannel::begin(DecodedFrame& decoded, SDOCommand command, bool isUpload, bool inBlocks) {
  const bool abandons = phase != Phase::IDLE;
  if (abandons) {
    decoded.complain("SDO request while a transfer has no end");
  }
  phase = Phase::INITIATED;
  seen = true;
  upload = isUpload;
  blocks = inBlocks;
  index = indexOf(decoded.frame);
  subIndex = decoded.frame.data[3];
  started = decoded.frame.microseconds;
  kept.clear();
  bytes = 0;
  confirmed = 0;
  outstanding = 0;
  expedited = false;
  sizeIndicated = false;
  sizeOpen = false;
  requestToggle = false;
  responseToggle = false;
  lastSegmentSeen = false;
  fill(decoded, command, TransferOutcome::RUNNING);
  decoded.sdo.starts = true;
  decoded.sdo.abandons = abandons;
}

void SDOChannel::fill(DecodedFrame& decoded, SDOCommand command, TransferOutcome outcome) const {
  SDOStep& step = decoded.sdo;
  step.command = command;
  step.outcome = outcome;
  step.upload = upload;
  step.objectKnown = true;
  step.index = index;
  step.subIndex = subIndex;
  step.microseconds = decoded.frame.microseconds - started;
  step.bytes = bytes;
}

void SDOChannel::finish(DecodedFrame& decoded, SDOCommand command) {
  fill(decoded, command, TransferOutcome::COMPLETED);
  phase = Phase::IDLE;
}

// Whether the frame has a place in what goes on. Otherwise it is a step of no transfer.
bool SDOChannel::isExpected(DecodedFrame& decoded, SDOCommand command, bool expected) {
  if (expected) {
    return true;
  }
  decoded.sdo.command = command;
  if (seen) {
    decoded.complain("SDO frame that has no place in a transfer");
  }
  return false;
}

void SDOChannel::abort(DecodedFrame& decoded) {
  SDOStep& step = decoded.sdo;
  fill(decoded, SDOCommand::ABORT, phase == Phase::IDLE ? TransferOutcome::NONE : TransferOutcome::ABORTED);
  const unsigned short named = indexOf(decoded.frame);
  if (named != 0 || phase == Phase::IDLE) {
    step.index = named;
    step.subIndex = decoded.frame.data[3];
  }
  if (phase == Phase::IDLE) {
    step.microseconds = 0;
    step.bytes = 0;
  }
  step.abortCode = numberOf(decoded.frame);
  phase = Phase::IDLE;
}

void SDOChannel::refuse(DecodedFrame& decoded) {
  decoded.sdo.command = SDOCommand::UNKNOWN;
  decoded.complain("unknown SDO command specifier");
}

// Expedited and segmented transfers

void SDOChannel::takeInitiateDownload(DecodedFrame& decoded) {
  begin(decoded, SDOCommand::INITIATE_DOWNLOAD, false, false);
  if (isExpedited(decoded.frame)) {
    takeExpedited(decoded);
  } else {
    takeIndicatedSize(decoded, isSizeIndicated(decoded.frame));
  }
}

void SDOChannel::takeInitiateResponse(DecodedFrame& decoded, bool ofUpload) {
  const SDOCommand command = ofUpload ? SDOCommand::INITIATE_UPLOAD : SDOCommand::INITIATE_DOWNLOAD;
  // A server may answer the request for a block upload by an ordinary one.
  const bool expected = phase == Phase::INITIATED && upload == ofUpload && (!blocks || ofUpload);
  if (!isExpected(decoded, command, expected)) {
    decoded.sdo.objectKnown = true;
    decoded.sdo.upload = ofUpload;
    decoded.sdo.index = indexOf(decoded.frame);
    decoded.sdo.subIndex = decoded.frame.data[3];
    return;
  }
  blocks = false;
  checkObject(decoded);
  if (ofUpload && isExpedited(decoded.frame)) {
    takeExpedited(decoded);
  }
  if (expedited) {
    return finish(decoded, command);
  }
  if (ofUpload) {
    takeIndicatedSize(decoded, isSizeIndicated(decoded.frame));
  }
  phase = Phase::SEGMENTS;
  fill(decoded, command, TransferOutcome::RUNNING);
}

void SDOChannel::takeExpedited(DecodedFrame& decoded) {
  expedited = true;
  sizeOpen = !isSizeIndicated(decoded.frame);
  add(decoded.frame.data + 4, EXPEDITED_BYTES - (sizeOpen ? 0 : unusedExpeditedBytes(decoded.frame)));
  decoded.sdo.bytes = bytes;
  valueComplete = true;
}

void SDOChannel::takeIndicatedSize(const DecodedFrame& decoded, bool isIndicated) {
  sizeIndicated = isIndicated;
  indicated = numberOf(decoded.frame);
}

void SDOChannel::takeSegmentRequest(DecodedFrame& decoded, bool ofUpload) {
  const SDOCommand command = ofUpload ? SDOCommand::UPLOAD_SEGMENT : SDOCommand::DOWNLOAD_SEGMENT;
  const bool running = phase == Phase::SEGMENTS || (phase == Phase::INITIATED && !expedited);
  if (!isExpected(decoded, command, running && upload == ofUpload && !blocks && (ofUpload || !lastSegmentSeen))) {
    return;
  }
  if (outstanding > 0 || phase == Phase::INITIATED) {
    decoded.complain("SDO request before the answer to the one before");
  }
  if (toggle(decoded.frame) != requestToggle) {
    decoded.complain("toggle bit did not alternate");
  }
  requestToggle = !toggle(decoded.frame);
  ++outstanding;
  if (!ofUpload) {
    takeSegmentData(decoded);
  }
  fill(decoded, command, TransferOutcome::RUNNING);
}

void SDOChannel::takeSegmentResponse(DecodedFrame& decoded, bool ofUpload) {
  const SDOCommand command = ofUpload ? SDOCommand::UPLOAD_SEGMENT : SDOCommand::DOWNLOAD_SEGMENT;
  if (!isExpected(decoded, command, phase == Phase::SEGMENTS && upload == ofUpload && outstanding > 0)) {
    return;
  }
  if (toggle(decoded.frame) != responseToggle) {
    decoded.complain("toggle bit did not alternate");
  }
  responseToggle = !toggle(decoded.frame);
  --outstanding;
  if (ofUpload) {
    takeSegmentData(decoded);
  }
  if (lastSegmentSeen && (ofUpload || outstanding == 0)) {
    return finish(decoded, command);
  }
  fill(decoded, command, TransferOutcome::RUNNING);
}

void SDOChannel::takeSegmentData(DecodedFrame& decoded) {
  add(decoded.frame.data + 1, SEGMENT_BYTES - unusedSegmentBytes(decoded.frame));
  if (isLastSegment(decoded.frame)) {
    lastSegmentSeen = true;
    valueComplete = true;
    checkSize(decoded);
  }
}

// Block transfers

void SDOChannel::takeBlockUploadRequest(DecodedFrame& decoded) {
  switch (decoded.frame.data[0] & 0x03) {
    case 0:
      begin(decoded, SDOCommand::INITIATE_BLOCK_UPLOAD, true, true);
      blockSize = decoded.frame.data[4];
      return;
    case 1:
      return takeBlockEndResponse(decoded);
    case 2:
      return takeAcknowledgement(decoded);
    default:
      if (isExpected(decoded, SDOCommand::START_BLOCK_UPLOAD, phase == Phase::BLOCK_START)) {
        phase = Phase::BLOCK_SEGMENTS;
        sequence = 0;
        fill(decoded, SDOCommand::START_BLOCK_UPLOAD, TransferOutcome::RUNNING);
      }
  }
}

void SDOChannel::takeBlockDownloadRequest(DecodedFrame& decoded) {
  if ((decoded.frame.data[0] & 0x01) != 0) {
    return takeBlockEnd(decoded);
  }
  begin(decoded, SDOCommand::INITIATE_BLOCK_DOWNLOAD, false, true);
  takeIndicatedSize(decoded, isBlockSizeIndicated(decoded.frame));
}

void SDOChannel::takeBlockUploadResponse(DecodedFrame& decoded) {
  if ((decoded.frame.data[0] & 0x01) != 0) {
    return takeBlockEnd(decoded);
  }
  takeBlockInitiateResponse(decoded);
}

void SDOChannel::takeBlockDownloadResponse(DecodedFrame& decoded) {
  switch (decoded.frame.data[0] & 0x03) {
    case 0:
      return takeBlockInitiateResponse(decoded);
    case 1:
      return takeBlockEndResponse(decoded);
    case 2:
      return takeAcknowledgement(decoded);
    default:
      return refuse(decoded);
  }
}

void SDOChannel::takeBlockInitiateResponse(DecodedFrame& decoded) {
  const bool ofUpload = specifier(decoded.frame) == 6;
  const SDOCommand command = ofUpload ? SDOCommand::INITIATE_BLOCK_UPLOAD : SDOCommand::INITIATE_BLOCK_DOWNLOAD;
  if (!isExpected(decoded, command, phase == Phase::INITIATED && blocks && upload == ofUpload)) {
    return;
  }
  checkObject(decoded);
  if (ofUpload) {
    takeIndicatedSize(decoded, isBlockSizeIndicated(decoded.frame));
    phase = Phase::BLOCK_START;
  } else {
    blockSize = decoded.frame.data[4];
    sequence = 0;
    phase = Phase::BLOCK_SEGMENTS;
  }
  fill(decoded, command, TransferOutcome::RUNNING);
}

void SDOChannel::takeBlockSegment(DecodedFrame& decoded) {
  const unsigned int number = decoded.frame.data[0] & 0x7F;
  if (number != sequence + 1U) {
    decoded.complain("block segment out of order");
  } else {
    sequence = static_cast<unsigned char>(number);
    add(decoded.frame.data + 1, SEGMENT_BYTES);
    lastSegmentSeen = (decoded.frame.data[0] & 0x80) != 0;
  }
  if (lastSegmentSeen || number >= blockSize) {
    phase = Phase::BLOCK_ANSWER;
  }
  fill(decoded, upload ? SDOCommand::BLOCK_UPLOAD_SEGMENT : SDOCommand::BLOCK_DOWNLOAD_SEGMENT,
       TransferOutcome::RUNNING);
}

// Segments behind the one that is acknowledged come again.
void SDOChannel::takeAcknowledgement(DecodedFrame& decoded) {
  const bool ofUpload = decoded.service == Service::SDO_REQUEST;
  const SDOCommand command = ofUpload ? SDOCommand::ACKNOWLEDGE_BLOCK_UPLOAD : SDOCommand::ACKNOWLEDGE_BLOCK_DOWNLOAD;
  const bool inBlock = phase == Phase::BLOCK_ANSWER || phase == Phase::BLOCK_SEGMENTS;
  if (!isExpected(decoded, command, inBlock && upload == ofUpload)) {
    return;
  }
  const unsigned int acknowledged = std::min<unsigned int>(decoded.frame.data[1], sequence);
  if (decoded.frame.data[1] > sequence) {
    decoded.complain("acknowledgement of a block segment that was not sent");
  }
  confirmed += std::uint64_t{acknowledged} * SEGMENT_BYTES;
  cutTo(confirmed);
  const bool allArrived = lastSegmentSeen && acknowledged == sequence;
  lastSegmentSeen = allArrived;
  blockSize = decoded.frame.data[2];
  sequence = 0;
  phase = allArrived ? Phase::BLOCK_END : Phase::BLOCK_SEGMENTS;
  fill(decoded, command, TransferOutcome::RUNNING);
}

void SDOChannel::takeBlockEnd(DecodedFrame& decoded) {
  const bool ofUpload = decoded.service == Service::SDO_RESPONSE;
  const SDOCommand command = ofUpload ? SDOCommand::END_BLOCK_UPLOAD : SDOCommand::END_BLOCK_DOWNLOAD;
  if (!isExpected(decoded, command, phase == Phase::BLOCK_END && upload == ofUpload)) {
    return;
  }
  cutTo(bytes - std::min<std::uint64_t>(bytes, unusedBlockBytes(decoded.frame)));
  checkSize(decoded);
  valueComplete = true;
  phase = Phase::BLOCK_ENDED;
  fill(decoded, command, TransferOutcome::RUNNING);
}

void SDOChannel::takeBlockEndResponse(DecodedFrame& decoded) {
  const bool ofUpload = decoded.service == Service::SDO_REQUEST;
  const SDOCommand command = ofUpload ? SDOCommand::END_BLOCK_UPLOAD : SDOCommand::END_BLOCK_DOWNLOAD;
  if (isExpected(decoded, command, phase == Phase::BLOCK_ENDED && upload == ofUpload)) {
    finish(decoded, command);
  }
}

// Data

void SDOChannel::checkObject(DecodedFrame& decoded) const {
  if (indexOf(decoded.frame) != index || decoded.frame.data[3] != subIndex) {
    decoded.complain("SDO response for another object");
  }
}

void SDOChannel::checkSize(DecodedFrame& decoded) const {
  if (sizeIndicated && bytes != indicated) {
    decoded.complain("size differs from the one that was indicated");
  }
}

void SDOChannel::add(const unsigned char* data, unsigned int count) {
  const std::size_t room = LONGEST_KEPT - kept.size();
  kept.append(reinterpret_cast<const char*>(data), std::min<std::size_t>(count, room));
  bytes += count;
}

void SDOChannel::cutTo(std::uint64_t count) {
  bytes = count;
  if (kept.size() > count) {
    kept.resize(static_cast<std::size_t>(count));
  }
}

}  // namespace monitor
