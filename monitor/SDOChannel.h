#pragma once

#include <cstdint>
#include <string>

#include "DecodedFrame.h"

namespace monitor {

/// One SDO channel: what is transferred on it just now. It takes the frames of both sides and says of each which step
/// of which transfer it is. A frame may be missing in a log, or wrong, so that nothing here relies on the one before
/// it.
class SDOChannel {
public:
  /// Fills decoded.sdo, and decoded.violation when the frame breaks the protocol.
  void takeRequest(DecodedFrame& decoded);
  void takeResponse(DecodedFrame& decoded);

  /// @return true when with the frame taken last the value has been carried completely; then it is in getBytes()
  bool isValueComplete() const { return valueComplete; }

  /// The value's bytes, of a long one as many as are kept.
  const std::string& getBytes() const { return kept; }

  /// @return true when an expedited frame did not say how many of its four bytes are the value
  bool isSizeOpen() const { return sizeOpen; }

private:
  /// What comes next.
  enum class Phase : unsigned char {
    IDLE,
    INITIATED,       ///< the answer to the initiating request
    SEGMENTS,        ///< segments, each with its answer
    BLOCK_START,     ///< the client's request to start a block upload
    BLOCK_SEGMENTS,  ///< segments of a block, without answers
    BLOCK_ANSWER,    ///< the acknowledgement of a block
    BLOCK_END,       ///< the frame that ends the last block
    BLOCK_ENDED      ///< the answer to it
  };

  void begin(DecodedFrame& decoded, SDOCommand command, bool isUpload, bool inBlocks);
  void fill(DecodedFrame& decoded, SDOCommand command, TransferOutcome outcome) const;
  void finish(DecodedFrame& decoded, SDOCommand command);
  bool isExpected(DecodedFrame& decoded, SDOCommand command, bool expected);
  void abort(DecodedFrame& decoded);
  void refuse(DecodedFrame& decoded);

  void takeInitiateDownload(DecodedFrame& decoded);
  void takeInitiateResponse(DecodedFrame& decoded, bool ofUpload);
  void takeExpedited(DecodedFrame& decoded);
  void takeIndicatedSize(const DecodedFrame& decoded, bool indicated);
  void takeSegmentRequest(DecodedFrame& decoded, bool ofUpload);
  void takeSegmentResponse(DecodedFrame& decoded, bool ofUpload);
  void takeSegmentData(DecodedFrame& decoded);

  void takeBlockUploadRequest(DecodedFrame& decoded);
  void takeBlockDownloadRequest(DecodedFrame& decoded);
  void takeBlockUploadResponse(DecodedFrame& decoded);
  void takeBlockDownloadResponse(DecodedFrame& decoded);
  void takeBlockInitiateResponse(DecodedFrame& decoded);
  void takeBlockSegment(DecodedFrame& decoded);
  void takeAcknowledgement(DecodedFrame& decoded);
  void takeBlockEnd(DecodedFrame& decoded);
  void takeBlockEndResponse(DecodedFrame& decoded);

  void checkObject(DecodedFrame& decoded) const;
  void checkSize(DecodedFrame& decoded) const;
  void add(const unsigned char* data, unsigned int count);
  void cutTo(std::uint64_t count);

  std::string kept;
  std::uint64_t bytes{0};       ///< of the value, seen so far
  std::uint64_t confirmed{0};   ///< of those, in blocks that were acknowledged
  long long started{0};         ///< microseconds
  std::uint32_t indicated{0};   ///< size that the initiating frame names
  unsigned int outstanding{0};  ///< requests for segments without their answers
  unsigned short index{0};
  unsigned char subIndex{0};
  unsigned char blockSize{0};
  unsigned char sequence{0};  ///< of the last segment of the block
  Phase phase{Phase::IDLE};
  bool seen{false};  ///< a transfer began here: what belongs to none before that began before the log
  bool upload{false};
  bool blocks{false};
  bool expedited{false};
  bool sizeIndicated{false};
  bool sizeOpen{false};
  bool requestToggle{false};   ///< of the next one
  bool responseToggle{false};  ///< of the next one
  bool lastSegmentSeen{false};
  bool valueComplete{false};
};

}  // namespace monitor
